/* "DMSC_3": demosaic, with chromatic aberration correction, false-colour, moire and
 * purple-fringe suppression, and the sharpening that runs on the interpolated green. */
#ifndef T_DATABASE_RECORDS_DEMOSAIC_3_H
#define T_DATABASE_RECORDS_DEMOSAIC_3_H

#include <stdint.h>

/* Lateral chromatic aberration: red and blue are scaled radially about the optical centre
 * by a + b * r + c * r^2 (r the normalised distance from the centre). */
typedef struct TDatabaseDeMosaic_3Cac {
  float aBlue;
  float aRed;
  float bBlue;
  float bRed;
  float cBlue;
  int16_t centerHOffs; /* optical centre relative to the image centre, pixels */
  int16_t centerVOffs;
  float cRed;
} TDatabaseDeMosaic_3Cac;

/* One sharpening curve: the gain (layerR*) applied over the detail-level thresholds
 * (layerT*), the shifts spacing the upper thresholds as powers of two. */
typedef struct TDatabaseDeMosaic_3SharpenCurve {
  uint16_t layerT1;
  uint8_t layerT2Shift;
  uint16_t layer0T3;
  uint8_t layerT4Shift;
  uint16_t layerR1;
  uint16_t layerR2;
  uint16_t layerR3;
} TDatabaseDeMosaic_3SharpenCurve;

/* One curve of the line (thin edge) sharpening. */
typedef struct TDatabaseDeMosaic_3SharpenLineCurve {
  uint16_t strength;
  uint16_t t1;
  uint8_t shift1;
  uint16_t r1;
  uint16_t r2;
} TDatabaseDeMosaic_3SharpenLineCurve;

typedef struct TDatabaseDeMosaic_3 {
  uint32_t state; /* 0 bypassed, 1 enabled */
  uint8_t adaptCoefficientMax;
  uint8_t adaptCoefficientMin;
  uint16_t adaptCoefficientMode;
  uint8_t adaptCoefficientThresholdLow;
  uint8_t adaptCoefficientThresholdShift;
  uint8_t isCac;
  TDatabaseDeMosaic_3Cac cac;
  uint8_t cbCrClassThreshold;
  uint16_t cbCrMode;
  uint16_t cbCrRange[8];
  uint16_t clips[6];
  uint16_t colorRangeMode;
  uint8_t colorStrength;
  uint16_t deBurstMode;
  uint16_t cornerLowTh;
  uint8_t cornerShift;
  uint8_t isDecline;
  uint8_t isDeFalseColor;
  uint8_t isDeMoireRefineGreen;
  uint8_t deNoiseStrength;
  uint8_t isDePurple;
  uint8_t diffColorCoefficient;
  uint16_t factors[6];
  uint8_t gradControl;
  uint16_t gradThresholdMax;
  uint16_t gradThresholdMin;
  uint8_t grayProtectStrength;
  uint8_t highlightControlShift;
  uint16_t highlightControlThreshold;
  uint8_t interpDirStrength[4];
  uint8_t interpLargeStr[2];
  uint16_t dir0InterpType;
  uint8_t isInterpCorner;
  uint8_t isOverrideCalibration;
  uint8_t protectShift;
  uint8_t protectThresholdLow;
  uint8_t pureGreenWeight;
  uint8_t pureGreenWeightIso;
  uint8_t pureRedBlueWeight;
  uint8_t pureRedBlueWeightIso;
  uint16_t refineGreenThreshold;
  uint8_t saturationShrink;
  uint8_t isSharpen;
  TDatabaseDeMosaic_3SharpenCurve sharpenCurve[3];
  uint8_t isSharpenLine;
  TDatabaseDeMosaic_3SharpenLineCurve sharpenLineCurve[4];
  uint8_t threshold;
  uint16_t sharpenCurveIndex;     /* the sharpenCurve entry that clients edit */
  uint16_t sharpenLineCurveIndex; /* the sharpenLineCurve entry that clients edit */
  uint8_t isStatistics;           /* the client shows this block's values in its statistics view */
} TDatabaseDeMosaic_3;

#endif /* T_DATABASE_RECORDS_DEMOSAIC_3_H */
