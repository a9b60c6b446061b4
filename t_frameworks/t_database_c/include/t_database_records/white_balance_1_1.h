/* "WB_1_1": white balance gains. */
#ifndef T_DATABASE_RECORDS_WHITE_BALANCE_1_1_H
#define T_DATABASE_RECORDS_WHITE_BALANCE_1_1_H

#include <stdint.h>

typedef struct TDatabaseWhiteBalance_1_1 {
  uint32_t state; /* 0 bypassed, 1 enabled */
  float gain[4];  /* R, Gr, Gb, B */
} TDatabaseWhiteBalance_1_1;

#endif /* T_DATABASE_RECORDS_WHITE_BALANCE_1_1_H */
