/* "AWB_4": the auto-white-balance control: damping and locking, the confounding light
 * sources, preferred grey gains by brightness, light weights by brightness, colour
 * temperature preferences and metering windows. */
#ifndef T_DATABASE_RECORDS_AUTO_WHITE_BALANCE_4_H
#define T_DATABASE_RECORDS_AUTO_WHITE_BALANCE_4_H

#include <stdint.h>

/* A light source whose grey is easily mistaken for another's, in the R/G, B/G plane. */
typedef struct TDatabaseAutoWhiteBalance_4ConfoundPoint {
  uint8_t customPositionEnable; /* boolean: use bg/rg below instead of the calibration */
  float bg;
  float rg;
  float threshold; /* distance within which a grey counts as this source */
} TDatabaseAutoWhiteBalance_4ConfoundPoint;

/* Grey gains the picture is steered to, per scene brightness level. */
typedef struct TDatabaseAutoWhiteBalance_4GrayPreference {
  float brightnessLevel[18]; /* ascending, in lux */
  uint16_t grayBgain[18];    /* 8.8 fixed point, 256 = unity */
  uint16_t grayRgain[18];    /* 8.8 fixed point, 256 = unity */
  uint8_t preferenceGainEnable;
} TDatabaseAutoWhiteBalance_4GrayPreference;

/* How much each brightness level counts in the light-source estimate. */
typedef struct TDatabaseAutoWhiteBalance_4LightWeightLevel {
  uint8_t lightWeightLevelEnable;
  float brightnessLevel[18]; /* ascending, in lux */
  float weight[18];
} TDatabaseAutoWhiteBalance_4LightWeightLevel;

typedef struct TDatabaseAutoWhiteBalance_4TemPreference {
  uint16_t preferenceA; /* warmth kept under incandescent light, percent */
  uint16_t preferenceCwf;
  uint16_t preferenceD65;
  uint8_t temptureEnable;
} TDatabaseAutoWhiteBalance_4TemPreference;

typedef struct TDatabaseAutoWhiteBalance_4 {
  uint8_t useDamping;
  uint8_t useManualDampCoff;
  float manualDampCoff;
  float awbEnterLockThreshold;
  float awbEnterUnlockThreshold;
  float awbTemWeight[7]; /* weight per colour temperature band, warmest first */
  float faceAwbBg;
  float confidenceThreshold[10];
  TDatabaseAutoWhiteBalance_4ConfoundPoint confoundPointCwf;
  TDatabaseAutoWhiteBalance_4ConfoundPoint confoundPointD65;
  TDatabaseAutoWhiteBalance_4ConfoundPoint confoundPointTl84;
  uint8_t faceAwbEnable;
  float faceWeight;
  TDatabaseAutoWhiteBalance_4GrayPreference grayPreference[10];
  TDatabaseAutoWhiteBalance_4LightWeightLevel lightWeightLevel[10];
  uint16_t mode; /* 0 manual, 1 auto */
  float faceAwbRg;
  uint8_t faceAwbRoiNum;
  uint16_t performanceOptiMode;
  uint8_t roiNumber; /* windows of roiWindow in use, at most 25 */
  float roiWeight;
  float roiWindow[25][5]; /* x, y, width, height (0..1 of the frame), weight */
  TDatabaseAutoWhiteBalance_4TemPreference temPreference;
  uint8_t useCcOffset;
  uint8_t useCcMatrix;
  uint16_t grayPreferenceIndex;   /* the grayPreference row in use */
  uint16_t lightWeightLevelIndex; /* the lightWeightLevel row in use */
} TDatabaseAutoWhiteBalance_4;

#endif /* T_DATABASE_RECORDS_AUTO_WHITE_BALANCE_4_H */
