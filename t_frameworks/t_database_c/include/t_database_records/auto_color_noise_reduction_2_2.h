/* "ACNR_2_2": chroma noise reduction that follows the sensor gain. One table row per
 * sensor mode. */
#ifndef T_DATABASE_RECORDS_AUTO_COLOR_NOISE_REDUCTION_2_2_H
#define T_DATABASE_RECORDS_AUTO_COLOR_NOISE_REDUCTION_2_2_H

#include <stdint.h>

typedef struct TDatabaseAutoColorNoiseReduction_2_2Row {
  uint8_t cnrEnable[20]; /* booleans */
  uint8_t cnrStrength[20];
  float cSigmaLayer[20]; /* chroma sigma of the finest pyramid layer */
  float cSigmaLayer1[20];
  float cSigmaLayer2[20];
  float cSigmaMerge[20]; /* weight of the coarse layers when they are merged back */
  float gains[20];       /* the gain points, ascending */
  float textureLevel[20];
  uint8_t textureMask[20];
} TDatabaseAutoColorNoiseReduction_2_2Row;

typedef struct TDatabaseAutoColorNoiseReduction_2_2 {
  uint8_t enable; /* the ISP follows the table as the gain changes */
  TDatabaseAutoColorNoiseReduction_2_2Row rows[10];
  uint8_t interpolate; /* 1: blend between gain points, 0: take the nearest lower one */
  uint64_t tableIndex; /* the row in use */
} TDatabaseAutoColorNoiseReduction_2_2;

#endif /* T_DATABASE_RECORDS_AUTO_COLOR_NOISE_REDUCTION_2_2_H */
