/* "ST": the settings database as a whole, as the tuning client downloads, uploads and
 * resets it. */
#ifndef T_DATABASE_RECORDS_SETTING_H
#define T_DATABASE_RECORDS_SETTING_H

#include <stdint.h>

#include "t_common.h"

typedef struct TDatabaseSetting {
  uint8_t isReset;   /* a requested reset of the whole database, cleared once it is done */
  uint32_t protocol; /* revision of the settings transfer the client speaks */
  /* The settings document in transit: buffers allocated by the shell for one download or
   * upload and released when it is done. Not settings: never saved, copied or reset. */
  uint64_t fileCount;
  TCommonBuffer *files;
} TDatabaseSetting;

#endif /* T_DATABASE_RECORDS_SETTING_H */
