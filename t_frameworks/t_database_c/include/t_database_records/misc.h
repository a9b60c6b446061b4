/* "MISC": switches that belong to no block. */
#ifndef T_DATABASE_RECORDS_MISC_H
#define T_DATABASE_RECORDS_MISC_H

#include <stdint.h>

typedef struct TDatabaseMisc {
  uint8_t nrReloc; /* run noise reduction before (0) or after (1) demosaicing */
} TDatabaseMisc;

#endif /* T_DATABASE_RECORDS_MISC_H */
