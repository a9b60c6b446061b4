/* "ABLS": black levels that follow the sensor gain. One table row per sensor mode; within a
 * row, one set of R, Gr, Gb, B levels per gain point. */
#ifndef T_DATABASE_RECORDS_AUTO_BLACK_LEVEL_SUBTRACTION_H
#define T_DATABASE_RECORDS_AUTO_BLACK_LEVEL_SUBTRACTION_H

#include <stdint.h>

typedef struct TDatabaseAutoBlackLevelSubtractionRow {
  uint32_t bls[20][4]; /* per gain point: R, Gr, Gb, B in 12-bit sensor units */
  float gains[20];     /* the gain points, ascending */
} TDatabaseAutoBlackLevelSubtractionRow;

typedef struct TDatabaseAutoBlackLevelSubtraction {
  uint8_t enable; /* the ISP follows the table as the gain changes */
  TDatabaseAutoBlackLevelSubtractionRow rows[10];
  float hysteresis;    /* relative gain change needed before the levels move */
  uint64_t tableIndex; /* the row in use */
} TDatabaseAutoBlackLevelSubtraction;

#endif /* T_DATABASE_RECORDS_AUTO_BLACK_LEVEL_SUBTRACTION_H */
