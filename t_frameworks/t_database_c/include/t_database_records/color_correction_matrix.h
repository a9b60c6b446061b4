/* "CCM": colour correction matrix, which turns white-balanced sensor RGB into the output
 * colour space: out = ccMatrix * in + ccOffset, per pixel. */
#ifndef T_DATABASE_RECORDS_COLOR_CORRECTION_MATRIX_H
#define T_DATABASE_RECORDS_COLOR_CORRECTION_MATRIX_H

#include <stdint.h>

#include "t_common.h"

typedef struct TDatabaseColorCorrectionMatrix {
  uint32_t state;    /* 0 bypassed, 1 enabled */
  float ccMatrix[9]; /* 3 x 3, row-major: row i gives output channel i (R, G, B) from the
                        input R, G, B; rows that sum to 1 keep greys grey */
  float ccOffset[3]; /* added to the output R, G, B after the matrix, in 12-bit code values */
  /* Calibration files uploaded by a client and not yet imported; not settings. */
  uint64_t fileCount;
  TCommonBuffer *files; /* fileCount buffers (malloc'd array), or NULL */
} TDatabaseColorCorrectionMatrix;

#endif /* T_DATABASE_RECORDS_COLOR_CORRECTION_MATRIX_H */
