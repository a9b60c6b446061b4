/* "BLS": black level subtraction. */
#ifndef T_DATABASE_RECORDS_BLACK_LEVEL_SUBTRACTION_H
#define T_DATABASE_RECORDS_BLACK_LEVEL_SUBTRACTION_H

#include <stdint.h>

typedef struct TDatabaseBlackLevelSubtraction {
  uint32_t state;                /* 0 bypassed, 1 enabled */
  uint8_t isOverrideCalibration; /* use data below instead of the sensor calibration */
  uint32_t data[4];              /* black level per channel R, Gr, Gb, B (12-bit scale) */
  uint8_t isStatistics;
} TDatabaseBlackLevelSubtraction;

#endif /* T_DATABASE_RECORDS_BLACK_LEVEL_SUBTRACTION_H */
