/* "EC_2": sensor exposure per exposure frame (up to four for multi-exposure HDR). */
#ifndef T_DATABASE_RECORDS_EXPOSURE_CONTROL_2_H
#define T_DATABASE_RECORDS_EXPOSURE_CONTROL_2_H

#include <stdint.h>

typedef struct TDatabaseExposureControlGain {
  float analog[4];
  float digital[4];
} TDatabaseExposureControlGain;

typedef struct TDatabaseExposureControl_2 {
  uint32_t state; /* 0 manual, 1 driven by auto exposure */
  TDatabaseExposureControlGain gain;
  float integrationTime[4]; /* seconds */
} TDatabaseExposureControl_2;

#endif /* T_DATABASE_RECORDS_EXPOSURE_CONTROL_2_H */
