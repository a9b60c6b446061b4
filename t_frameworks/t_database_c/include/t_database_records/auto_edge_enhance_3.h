/* "AEE_3": edge enhancement settings that follow the sensor gain (less sharpening as the
 * noise grows), with separate settings for skin tones. One table row per sensor mode;
 * within a row, one set of settings per gain point. */
#ifndef T_DATABASE_RECORDS_AUTO_EDGE_ENHANCE_3_H
#define T_DATABASE_RECORDS_AUTO_EDGE_ENHANCE_3_H

#include <stdint.h>

typedef struct TDatabaseAutoEdgeEnhance_3Row {
  float anchor1[20];
  float anchor2[20];
  uint16_t autoLevel; /* how many of the gain points the calibration filled in */
  uint8_t caEnable[20];
  uint16_t caCurve[20][65];  /* chroma adjustment over the luminance */
  uint16_t dciCurve[20][65]; /* dynamic contrast over the luminance */
  uint8_t dciEnable[20];     /* booleans */
  uint16_t depfCompLumaDiff[20];
  uint16_t depfDetectLumaDiff[20];
  uint16_t depfDetectLumaTh[20];
  uint8_t depfFixStr[20];
  uint16_t depfLimit[20][4];
  uint8_t depfSatStr[20];
  uint8_t depurpleEn[20];
  uint8_t detailLvl[20];
  uint16_t detailPreEnhanceStr[20];
  uint8_t edgeNrLvl[20];
  uint8_t eeEnable[20];
  uint16_t eeSrcStrength[20];
  uint16_t eeSrcStrengthSkin[20];
  uint8_t eeStrength[20];
  uint16_t gradTh[20][2];
  uint16_t gradThSkin[20][2];
  uint16_t hfMergeCurve[20][4];
  uint16_t hfMergeCurveSkin[20][4];
  uint8_t sharpCurveLvl[20];
  uint16_t sharpGain[20][2]; /* for edges getting brighter and darker */
  uint16_t sharpGainSkin[20][2];
  uint8_t sharpGainUv[20];
  uint16_t sharpLimit[20][2];
  uint16_t sharpLimitSkin[20][2];
  uint8_t sharpSkinCurveLvl[20];
  uint8_t skinDetectStr[20];
  uint8_t skinProcEn[20];
  int16_t skinThreshold[20][6]; /* Cb, Cr and luma bounds of skin tones, low and high */
} TDatabaseAutoEdgeEnhance_3Row;

typedef struct TDatabaseAutoEdgeEnhance_3 {
  uint8_t enable; /* the ISP follows the table as the gain changes */
  TDatabaseAutoEdgeEnhance_3Row rows[10];
  uint8_t interpolate; /* 1: blend between gain points, 0: take the nearest lower one */
  uint64_t tableIndex; /* the row in use */
} TDatabaseAutoEdgeEnhance_3;

#endif /* T_DATABASE_RECORDS_AUTO_EDGE_ENHANCE_3_H */
