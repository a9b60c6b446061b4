/* "EE_3": edge enhancement (sharpening) in the YUV domain, with chroma-adaptive and
 * dynamic-contrast curves, purple-fringe removal and a parameter set of its own for skin. */
#ifndef T_DATABASE_RECORDS_EDGE_ENHANCE_3_H
#define T_DATABASE_RECORDS_EDGE_ENHANCE_3_H

#include <stdint.h>

typedef struct TDatabaseEdgeEnhance_3 {
  uint32_t state; /* 0 bypassed, 1 enabled */
  uint8_t isCa;
  uint16_t caCurve[65]; /* sharpening gain (1/256) over the chroma saturation, 65 points */
  uint16_t caMode;
  int16_t cbDownThreshold; /* chroma window in which the chroma-adaptive curve applies */
  int16_t cbUpThreshold;
  int16_t crDownThreshold;
  int16_t crUpThreshold;
  uint8_t isCurve;
  uint8_t isDci;
  uint16_t dciCurve[65]; /* luma mapping (10-bit in, 10-bit out), 65 points */
  float deGamma;
  uint16_t depfCompLumaDiff;
  uint16_t depfDetectLumaDiff;
  uint16_t depfDetectLumaTh;
  uint8_t depfDetectRange;
  uint16_t depfFixStrength;
  uint16_t depfLimit[4];
  uint16_t depfSatStrength;
  uint8_t isDePurple;
  uint8_t detailLevel;
  uint16_t detailPreEnhanceStrength;
  uint8_t detailScaler;
  uint8_t edgeNrLevel;
  uint8_t edgeScaler;
  uint8_t edgeUseAuxiDir;
  uint16_t gradTh[2];
  uint16_t gradThSkin[2];
  uint16_t hfMergeCurve[4];
  uint16_t hfMergeCurveSkin[4];
  uint8_t sharpCurveLevel;
  uint16_t sharpGain[2]; /* gain of bright (overshoot) and dark (undershoot) edges, 1/256 */
  uint16_t sharpGainSkin[2];
  uint8_t sharpGainUv;
  uint8_t isSharpLimit;
  uint16_t sharpLimit[2]; /* largest overshoot and undershoot, 10-bit luma steps */
  uint16_t sharpLimitSkin[2];
  uint8_t sharpLimitType;
  uint8_t sharpSkinCurveLevel;
  uint16_t skinDetectStrength;
  uint8_t skinProcessEn;
  uint16_t sourceStrength;
  uint16_t sourceStrengthSkin;
  uint8_t strength;
  uint16_t yDownThreshold; /* luma window in which edges are enhanced */
  uint16_t yUpThreshold;
  uint8_t isYuvDomain;
  uint8_t isStatistics; /* the client shows this block's values in its statistics view */
} TDatabaseEdgeEnhance_3;

#endif /* T_DATABASE_RECORDS_EDGE_ENHANCE_3_H */
