/* "CPD_1_1": companding, the expansion of a sensor's compressed (companded) raw data. */
#ifndef T_DATABASE_RECORDS_COMPAND_1_1_H
#define T_DATABASE_RECORDS_COMPAND_1_1_H

#include <stdint.h>

typedef struct TDatabaseCompand_1_1 {
  uint32_t state;  /* 0 bypassed, 1 enabled */
  uint32_t bls[4]; /* black level removed before expansion, per channel */
  uint8_t blsEnable;
  uint32_t expandCurveX[64]; /* input (compressed) level of each curve point */
  uint32_t expandCurveY[64]; /* output (linear) level of each curve point */
  uint8_t expandUseOutYCurve;
} TDatabaseCompand_1_1;

#endif /* T_DATABASE_RECORDS_COMPAND_1_1_H */
