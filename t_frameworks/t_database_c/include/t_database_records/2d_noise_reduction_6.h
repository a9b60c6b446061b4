/* "2DNR_6": spatial noise reduction. It blends between a filter tuned for moving content and
 * one tuned for static content, and shapes its strength by three 12-point curves. Each curve
 * is held as three arrays: X the input level of each point, Y its output, Px the log2 of the
 * distance from the point to the next one (the last is unused). */
#ifndef T_DATABASE_RECORDS_2D_NOISE_REDUCTION_6_H
#define T_DATABASE_RECORDS_2D_NOISE_REDUCTION_6_H

#include <stdint.h>

typedef struct TDatabase2DNoiseReduction_6 {
  uint32_t state; /* 0 bypassed, 1 enabled */
  float blendMotion;
  float blendSlope;
  float blendStatic;
  /* Strength over the lens shading gain (X in 1/256), Y in 1/64 of the base strength. */
  uint16_t lscCompCurvePx[12];
  uint16_t lscCompCurveX[12];
  uint16_t lscCompCurveY[12];
  uint8_t isLscGainComp;
  uint8_t isLumaCtrl;
  /* Strength over the 10-bit luma, Y in 1/64 of the base strength. */
  uint16_t lumaCurvePx[12];
  uint16_t lumaCurveX[12];
  uint16_t lumaCurveY[12];
  uint16_t motionAnchorX[2]; /* motion levels where blending starts and ends */
  uint8_t isMotionCtrl;
  /* Motion factor (Y, of 255) over the 8-bit motion level. */
  uint16_t motionFactorCurvePx[12];
  uint16_t motionFactorCurveX[12];
  uint16_t motionFactorCurveY[12];
  /* Detail tables: one row per frequency band (fine, coarse), one column per level. */
  float movingDetailBoost[2][3];
  uint16_t movingDetailBoostThresh[2][3];
  uint16_t movingDetailClipThresh[2][3];
  uint16_t movingDetailThresh[2][3];
  uint16_t sigmaFactorMotionMax;
  uint16_t sigmaFactorMotionMin;
  float sigmaFactorMul[3]; /* per level, finest first */
  uint16_t sigmaOffset;
  float sigmaScale[3];
  float staticDetailBoost[2][3];
  uint16_t staticDetailBoostThresh[2][3];
  uint16_t staticDetailClipThresh[2][3];
  uint16_t staticDetailThresh[2][3];
  float staticFactor[3];
  float vstFactor; /* variance stabilisation applied before filtering */
  uint8_t isStatistics;
} TDatabase2DNoiseReduction_6;

#endif /* T_DATABASE_RECORDS_2D_NOISE_REDUCTION_6_H */
