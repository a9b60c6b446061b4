/* "A2DNR_6": spatial noise reduction settings that follow the sensor gain, stronger as the
 * noise grows. One table row per sensor mode; within a row, one set of settings per gain
 * point. The curves are the 12-point curves of the block ("2DNR_6"). */
#ifndef T_DATABASE_RECORDS_AUTO_2D_NOISE_REDUCTION_6_H
#define T_DATABASE_RECORDS_AUTO_2D_NOISE_REDUCTION_6_H

#include <stdint.h>

typedef struct TDatabaseAuto2DNoiseReduction_6Row {
  float gains[20]; /* the gain points, ascending */
  float blendMotion[20];
  float blendSlope[20];
  float blendStatic[20];
  uint16_t lscCompCurveY[20][12]; /* lens shading compensation over the image radius */
  uint16_t lumaCurveY[20][12];    /* noise level over the luminance */
  uint16_t motionAnchorX[20][2];
  uint16_t motionFacCurveY[20][12];
  uint16_t movingDetailBoostThresh[20][3];
  float movingDetailBoost[20][2][3];
  uint16_t movingDetailClipThresh[20][3];
  uint16_t movingDetailThresh[20][3];
  uint16_t sigmaFactorMotionMax[20];
  float sigmaFactorMul[20][3];
  uint16_t sigmaOffset[20];
  float sigmaScale[20][3];
  uint16_t staticDetailBoostThresh[20][3];
  float staticDetailBoost[20][2][3];
  uint16_t staticDetailClipThresh[20][3];
  uint16_t staticDetailThresh[20][3];
  float staticFactor[20][3];
  float vstFactor[20]; /* variance stabilisation */
} TDatabaseAuto2DNoiseReduction_6Row;

typedef struct TDatabaseAuto2DNoiseReduction_6 {
  uint8_t enable; /* the ISP follows the table as the gain changes */
  TDatabaseAuto2DNoiseReduction_6Row rows[10];
  uint8_t interpolate; /* 1: blend between gain points, 0: take the nearest lower one */
  uint64_t tableIndex; /* the row in use */
} TDatabaseAuto2DNoiseReduction_6;

#endif /* T_DATABASE_RECORDS_AUTO_2D_NOISE_REDUCTION_6_H */
