/* "ADPCC": defect pixel correction settings that follow the sensor gain. One table row per
 * sensor mode; within a row one set per gain point, most of them with a value for each of
 * the three detection method sets. */
#ifndef T_DATABASE_RECORDS_AUTO_DEFECT_PIXEL_CLUSTER_CORRECTION_H
#define T_DATABASE_RECORDS_AUTO_DEFECT_PIXEL_CLUSTER_CORRECTION_H

#include <stdint.h>

typedef struct TDatabaseAutoDefectPixelClusterCorrectionRow {
  float gains[20]; /* the gain points, ascending */
  uint8_t lineMadFac[20][3];
  uint8_t lineThresh[20][3];
  uint16_t methodsSet[20][3]; /* detection methods enabled in each set, one bit each */
  uint8_t outMode[20];
  uint8_t pgFac[20][3];
  uint8_t rgFac[20][3];
  uint8_t rndOffs[20][3];
  uint8_t rndThresh[20][3];
  uint8_t roLimits[20][3];
  uint8_t setUse[20]; /* which method sets are used, one bit each */
} TDatabaseAutoDefectPixelClusterCorrectionRow;

typedef struct TDatabaseAutoDefectPixelClusterCorrection {
  uint8_t enable; /* the ISP follows the table as the gain changes */
  TDatabaseAutoDefectPixelClusterCorrectionRow rows[10];
  uint8_t interpolate; /* 1: blend between gain points, 0: take the nearest lower one */
  uint64_t tableIndex; /* the row in use */
} TDatabaseAutoDefectPixelClusterCorrection;

#endif /* T_DATABASE_RECORDS_AUTO_DEFECT_PIXEL_CLUSTER_CORRECTION_H */
