/* "A3DNR_4": temporal noise reduction settings that follow the sensor gain. nmK and nmP
 * describe the sensor's noise model for every row; one table row per sensor mode, within a
 * row one set of settings per gain point. */
#ifndef T_DATABASE_RECORDS_AUTO_3D_NOISE_REDUCTION_4_H
#define T_DATABASE_RECORDS_AUTO_3D_NOISE_REDUCTION_4_H

#include <stdint.h>

typedef struct TDatabaseAuto3DNoiseReduction_4Row {
  uint32_t blsExp[20][4]; /* black level per Bayer channel the filter works above */
  uint16_t dilateH[20];
  uint16_t fixCurveStart[20];
  uint8_t filterLen[20];
  uint8_t filterLen2[20];
  float gains[20];            /* the gain points, ascending */
  uint8_t motionDilateEn[20]; /* booleans */
  double motionSmoothFactor[20];
  uint8_t motionSmoothLvl[20];
  double noiseModelA[20]; /* noise variance = A * level + B */
  double noiseModelB[20];
  uint16_t rangeH[20];
  uint8_t sadWeight[20];
  uint8_t sqrDiffFactor[20];
  uint8_t tnrStrength[20];
  uint8_t tnrStrength2[20];
  uint16_t tnrLumaCurveY[20][12];
  uint16_t tnrMotionSlopeY[20][12];
} TDatabaseAuto3DNoiseReduction_4Row;

typedef struct TDatabaseAuto3DNoiseReduction_4 {
  uint8_t enable; /* the ISP follows the table as the gain changes */
  float nmK;      /* sensor noise model: slope and offset of the noise over the level */
  float nmP;
  TDatabaseAuto3DNoiseReduction_4Row rows[10];
  uint8_t interpolate; /* 1: blend between gain points, 0: take the nearest lower one */
  uint64_t tableIndex; /* the row in use */
} TDatabaseAuto3DNoiseReduction_4;

#endif /* T_DATABASE_RECORDS_AUTO_3D_NOISE_REDUCTION_4_H */
