/* "WDR_5_2_1": wide dynamic range by local tone mapping. Thresholds named ...Log are on a
 * log2 scale of the linear input level. */
#ifndef T_DATABASE_RECORDS_WIDE_DYNAMIC_RANGE_5_2_1_H
#define T_DATABASE_RECORDS_WIDE_DYNAMIC_RANGE_5_2_1_H

#include <stdint.h>

typedef struct TDatabaseWideDynamicRange_5_2_1 {
  uint32_t state; /* 0 bypassed, 1 enabled */
  uint16_t contrast;
  float curve2HiFactor;
  float curve2LoFactor;
  float curve2LoSat;
  float curve2Thr;
  /* Damping: how fast the tone curve may follow a change of the scene between frames. */
  uint8_t dampAvgCoef;
  uint8_t dampAvgMax;
  uint8_t dampAvgMin;
  uint8_t dampCoefDecLimit;
  uint8_t dampCoefIncLimit;
  uint8_t dampCurveCoef;
  uint8_t dampCurveMax;
  uint8_t dampCurveMin;
  uint8_t dampFilterSize;
  float dampHiThrLog;
  float dampLoThrLog;
  uint8_t dampMode;
  uint8_t darkAttentionLevel;
  float deGamma;
  float diffHigh;
  float diffLow;
  uint16_t entropyBase;
  uint8_t entropyEnable;
  uint16_t entropySlope;
  uint16_t fixedWeight;
  uint8_t flatLevel;
  uint8_t flatLevelGlobal;
  uint8_t flatLevelInc[4][17]; /* per flatness class, over 17 luma bins */
  uint8_t flatMode;
  uint8_t highStrength;
  float hlcBaseLog; /* highlight compression starts here */
  uint8_t hlcSlope;
  float lightBlueThrLog[4];
  float lightCyanThrLog[4];
  uint8_t lightEn;
  float lightGreenThrLog[4];
  float lightMagentaThrLog[4];
  float lightRedThrLog[4];
  uint8_t lightSatHiThr;
  uint8_t lightSatLoThr;
  float lightYellowThrLog[4];
  uint16_t logAnchorSlope;
  float logAnchorXLog;
  uint8_t logWeight;
  uint16_t lowStrength;
  uint16_t maxGain; /* local gain limits, 256 = 1.0 */
  uint16_t minGain;
  float ratioActual; /* exposure ratio of the merged frames */
  float satRange;
  uint16_t satThrGainDown;
  uint16_t satThrGainUp;
  uint8_t strength;
  uint8_t wdrColorWeight[3];
  uint8_t wdrCurveSelect;
  uint8_t wdrLightnessWeight;
  uint16_t wdrLumaThr;
  uint8_t wdrRgbCoef[3]; /* R, G, B weights of the luma that drives the tone curve, of 256 */
  uint8_t isStatistics;
} TDatabaseWideDynamicRange_5_2_1;

#endif /* T_DATABASE_RECORDS_WIDE_DYNAMIC_RANGE_5_2_1_H */
