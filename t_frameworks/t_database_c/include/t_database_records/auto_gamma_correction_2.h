/* "AGC_2": gamma curves that follow the sensor gain (flatter shadows where noise grows).
 * One table row per sensor mode; within a row, one 64-point curve per gain point, at the
 * input levels of the gamma block ("GC_2" curvePx). */
#ifndef T_DATABASE_RECORDS_AUTO_GAMMA_CORRECTION_2_H
#define T_DATABASE_RECORDS_AUTO_GAMMA_CORRECTION_2_H

#include <stdint.h>

typedef struct TDatabaseAutoGammaCorrection_2Row {
  uint16_t curve[20][64]; /* 10-bit output levels */
  float gains[20];        /* the gain points, ascending */
} TDatabaseAutoGammaCorrection_2Row;

typedef struct TDatabaseAutoGammaCorrection_2 {
  uint8_t enable; /* the ISP follows the table as the gain changes */
  TDatabaseAutoGammaCorrection_2Row rows[10];
  uint8_t interpolate; /* 1: blend between gain points, 0: take the nearest lower one */
  uint64_t tableIndex; /* the row in use */
} TDatabaseAutoGammaCorrection_2;

#endif /* T_DATABASE_RECORDS_AUTO_GAMMA_CORRECTION_2_H */
