/* "ACP_1_2": brightness, contrast, hue and saturation that follow the sensor gain, so that
 * colours are toned down where the noise grows. One table row per sensor mode. */
#ifndef T_DATABASE_RECORDS_AUTO_COLOR_PROCESS_1_2_H
#define T_DATABASE_RECORDS_AUTO_COLOR_PROCESS_1_2_H

#include <stdint.h>

typedef struct TDatabaseAutoColorProcess_1_2Row {
  float bright[20];
  float contrast[20];
  float gains[20];       /* the gain points, ascending */
  float chromaNoise[20]; /* noise level the calibration measured at each gain point */
  float hue[20];         /* degrees */
  float saturation[20];
} TDatabaseAutoColorProcess_1_2Row;

typedef struct TDatabaseAutoColorProcess_1_2 {
  uint8_t enable; /* the ISP follows the table as the gain changes */
  TDatabaseAutoColorProcess_1_2Row rows[10];
  uint8_t interpolate; /* 1: blend between gain points, 0: take the nearest lower one */
  uint64_t tableIndex; /* the row in use */
} TDatabaseAutoColorProcess_1_2;

#endif /* T_DATABASE_RECORDS_AUTO_COLOR_PROCESS_1_2_H */
