/* "CNR_2_2": chroma noise reduction. */
#ifndef T_DATABASE_RECORDS_COLOR_NOISE_REDUCTION_2_2_H
#define T_DATABASE_RECORDS_COLOR_NOISE_REDUCTION_2_2_H

#include <stdint.h>

typedef struct TDatabaseColorNoiseReduction_2_2 {
  uint32_t state;       /* 0 bypassed, 1 enabled */
  float cSigmaLayer[3]; /* chroma noise sigma per pyramid layer, finest first */
  uint8_t cnrStrength;
  uint8_t textureMaskSelect;
  uint8_t isStatistics;
} TDatabaseColorNoiseReduction_2_2;

#endif /* T_DATABASE_RECORDS_COLOR_NOISE_REDUCTION_2_2_H */
