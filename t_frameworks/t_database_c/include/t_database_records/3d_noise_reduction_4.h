/* "3DNR_4": temporal noise reduction. Motion is detected from the sum of absolute (or squared)
 * differences to the previous frame, dilated and smoothed; static areas are averaged over
 * time with a strength that follows the noise model and the luma curve. */
#ifndef T_DATABASE_RECORDS_3D_NOISE_REDUCTION_4_H
#define T_DATABASE_RECORDS_3D_NOISE_REDUCTION_4_H

#include <stdint.h>

typedef struct TDatabase3DNoiseReduction_4 {
  uint32_t state;     /* 0 bypassed, 1 enabled */
  uint32_t blsExp[4]; /* black level per Bayer channel at the block's input precision */
  uint8_t dilateH;    /* horizontal reach of the motion dilation, pixels */
  uint8_t diffType;   /* 0 absolute differences, 1 squared differences */
  uint8_t filterLen;
  uint8_t filterLen2;
  uint16_t fixCurveStart;
  uint8_t isGammaFeBe; /* detect motion on gamma-compressed data */
  uint8_t isGaussBlur;
  uint8_t inputBits;
  uint8_t isMotionDilate;
  double motionSmoothFactor;
  uint8_t motionSmoothLevel;
  uint16_t noiseLevel;
  double noiseModelA; /* noise variance = A * signal + B */
  double noiseModelB;
  uint8_t rangeH;
  uint8_t sadWeight;
  uint8_t sqrDiffFactor;
  uint16_t thrMotionSlope;
  uint16_t tnrLumaCurveX[12]; /* input level of each point */
  uint16_t tnrLumaCurveY[12]; /* temporal strength at that level, of 1023 */
  uint16_t tnrMotionSlopeY[12];
  uint8_t tnrStrength;
  uint8_t tnrStrength2;
  double vstFactor;
  uint8_t isStatistics;
} TDatabase3DNoiseReduction_4;

#endif /* T_DATABASE_RECORDS_3D_NOISE_REDUCTION_4_H */
