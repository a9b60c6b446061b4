/* "ADMSC_3": demosaic settings per gain point, and three sharpening curves of 20 entries
 * each of which the ISP uses the entry its index selects. */
#ifndef T_DATABASE_RECORDS_AUTO_DEMOSAIC_3_H
#define T_DATABASE_RECORDS_AUTO_DEMOSAIC_3_H

#include <stdint.h>

/* One sharpening curve: thresholds (T) and ratios (R) of the detail layers. */
typedef struct TDatabaseAutoDeMosaic_3SharpenCurve {
  uint16_t layerT1;
  uint16_t layerT2Shift;
  uint16_t layer0T3;
  uint16_t layerT4Shift;
  uint16_t layerR1;
  uint16_t layerR2;
  uint16_t layerR3;
} TDatabaseAutoDeMosaic_3SharpenCurve;

typedef struct TDatabaseAutoDeMosaic_3 {
  uint8_t autoLevel; /* how many of the gain points the calibration filled in */
  float gains[20];   /* the gain points, ascending */
  uint8_t interpDirStrength[20][4];
  uint8_t interpLargeStr[20][2];
  uint8_t declineEn[20]; /* booleans */
  uint16_t highlightTh[20][2];
  uint8_t dmscDepurpleEnable[20]; /* booleans */
  uint8_t dmscDepurpleThr[20];
  uint8_t dmscDepurpleSatShrink[20];
  uint8_t dmscDepurpleCbCrRange[20][8];
  uint8_t denoiseStrength[20];
  uint8_t dmscSharpenEnable[20]; /* booleans */
  uint16_t dmscSharpenFactor[20][6];
  uint16_t dmscSharpenClip[20][6];
  TDatabaseAutoDeMosaic_3SharpenCurve sharpenCurve0[20];
  TDatabaseAutoDeMosaic_3SharpenCurve sharpenCurve1[20];
  TDatabaseAutoDeMosaic_3SharpenCurve sharpenCurve2[20];
  uint16_t sharpenCurve0Index; /* the entry of each curve in use */
  uint16_t sharpenCurve1Index;
  uint16_t sharpenCurve2Index;
} TDatabaseAutoDeMosaic_3;

#endif /* T_DATABASE_RECORDS_AUTO_DEMOSAIC_3_H */
