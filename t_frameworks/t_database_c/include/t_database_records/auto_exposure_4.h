/* "AE_4": the auto-exposure control: brightness target, damping, the exposure split over
 * up to eight exposure frames, metering windows and low-light behaviour. */
#ifndef T_DATABASE_RECORDS_AUTO_EXPOSURE_4_H
#define T_DATABASE_RECORDS_AUTO_EXPOSURE_4_H

#include <stdint.h>

typedef struct TDatabaseAutoExposure_4 {
  uint16_t aeFrontGroundType; /* 0 none, 1 face, 2 touch region */
  float aeFaceWeight;
  float aeTouchWeight;
  float aGain[8];           /* sensor analog gain per exposure frame */
  uint16_t antiFlickerMode; /* 0 off, 1 50 Hz, 2 60 Hz */
  float dampOver;           /* damping while the picture is too bright */
  float dampOverGain;
  float dampOverRatio;
  float dampUnder; /* damping while the picture is too dark */
  float dampUnderGain;
  float dampUnderRatio;
  float dGain[8];             /* sensor digital gain per exposure frame */
  uint8_t expDecomposeCustom; /* boolean: split exposure by the custom table */
  float exposureTime[8];      /* seconds per exposure frame */
  uint8_t expTableNum;
  float expV2WindowWeight[1024]; /* 32 x 32 metering grid, row by row */
  uint8_t expV3RoiNum;
  float expV3RoiWeight;
  float expV3RoiWindow[25][5]; /* x, y, width, height (0..1 of the frame), weight */
  float expV3RoiWindowWeight[25];
  uint8_t frameCalEnable; /* boolean */
  float ispGain[8];
  float lowLightHdrGain[8]; /* gain points of the low-light repression, HDR modes */
  uint32_t lowLightHdrLevel;
  float lowLightHdrRepress[8];
  float lowLightLinearGain[8]; /* gain points of the low-light repression, linear modes */
  uint32_t lowLightLinearLevel;
  float lowLightLinearRepress[8];
  float motionFilter;
  float motionThreshold;
  uint16_t performanceOptiMode;
  uint8_t roiNumber; /* windows of roiWindow in use, at most 25 */
  float roiWeight;
  float roiWindow[25][5]; /* x, y, width, height (0..1 of the frame), weight */
  uint16_t semMode;       /* scene evaluation: 0 off, 1 fixed, 2 adaptive */
  float setPoint;         /* target mean luma, 0..255 */
  float targetFilter;
  float tolerance; /* percent of setPoint within which exposure is left alone */
  float wdrContrastMax;
  float wdrContrastMin;
} TDatabaseAutoExposure_4;

#endif /* T_DATABASE_RECORDS_AUTO_EXPOSURE_4_H */
