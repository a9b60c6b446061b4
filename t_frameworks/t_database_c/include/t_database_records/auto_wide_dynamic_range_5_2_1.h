/* "AWDR_5_2_1": local tone mapping settings that follow the sensor gain. One table row per
 * sensor mode; within a row, one set of settings per gain point. The ...ThrLog members are
 * log2 luminance thresholds of the light-source colours, four per colour. */
#ifndef T_DATABASE_RECORDS_AUTO_WIDE_DYNAMIC_RANGE_5_2_1_H
#define T_DATABASE_RECORDS_AUTO_WIDE_DYNAMIC_RANGE_5_2_1_H

#include <stdint.h>

typedef struct TDatabaseAutoWideDynamicRange_5_2_1Row {
  int16_t contrast[20]; /* negative values flatten, positive ones add local contrast */
  float deGamma[20];
  uint16_t entropyBase[20];
  uint16_t entropySlope[20];
  uint16_t fixedWeight[20];
  uint8_t flatLevel[20];
  uint8_t flatLevelGlobal[20];
  float gains[20]; /* the gain points, ascending */
  uint8_t highStrength[20];
  float hlcBaseLog[20]; /* highlight compression */
  uint8_t hlcSlope[20];
  float lightBlueThrLog[20][4];
  float lightCyanThrLog[20][4];
  uint8_t lightEn[20];
  float lightGreenThrLog[20][4];
  float lightMagentaThrLog[20][4];
  float lightRedThrLog[20][4];
  uint8_t lightSatHiThr[20];
  uint8_t lightSatLoThr[20];
  float lightYellowThrLog[20][4];
  uint16_t logAnchorSlope[20];
  float logAnchorXLog[20];
  uint8_t logWeight[20];
  uint16_t lowStrength[20];
  uint16_t maxGain[20];
  float satRange[20];
  uint16_t satThrGainDown[20];
  uint16_t satThrGainUp[20];
  uint8_t wdrColorWeight[20][3]; /* R, G, B share of the luminance */
  uint16_t wdrLumaThr[20];
} TDatabaseAutoWideDynamicRange_5_2_1Row;

typedef struct TDatabaseAutoWideDynamicRange_5_2_1 {
  uint8_t enable; /* the ISP follows the table as the gain changes */
  TDatabaseAutoWideDynamicRange_5_2_1Row rows[10];
  uint8_t interpolate; /* 1: blend between gain points, 0: take the nearest lower one */
  uint64_t tableIndex; /* the row in use */
} TDatabaseAutoWideDynamicRange_5_2_1;

#endif /* T_DATABASE_RECORDS_AUTO_WIDE_DYNAMIC_RANGE_5_2_1_H */
