/* "GC_2": gamma correction, a 64-point curve over the pixel range. */
#ifndef T_DATABASE_RECORDS_GAMMA_CORRECTION_2_H
#define T_DATABASE_RECORDS_GAMMA_CORRECTION_2_H

#include <stdint.h>

typedef struct TDatabaseGammaCorrection_2 {
  uint32_t state;       /* 0 bypassed, 1 enabled */
  uint16_t curve[64];   /* output level per curve point (10-bit) */
  uint32_t curvePx[64]; /* input level of each point (12-bit), used when isUserCurveX is set */
  uint8_t isStandard;   /* use the standard curve x^(1/standardVal) instead of curve */
  uint8_t isUserCurveX;
  float standardVal;
  uint8_t isStatistics;
} TDatabaseGammaCorrection_2;

#endif /* T_DATABASE_RECORDS_GAMMA_CORRECTION_2_H */
