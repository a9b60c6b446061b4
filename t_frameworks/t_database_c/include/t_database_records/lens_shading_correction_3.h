/* "LSC_3": lens shading correction, a gain grid per Bayer channel that lifts the corners
 * of the frame, where the lens lets less light (and colour-skewed light) through, back to
 * the level of the centre. */
#ifndef T_DATABASE_RECORDS_LENS_SHADING_CORRECTION_3_H
#define T_DATABASE_RECORDS_LENS_SHADING_CORRECTION_3_H

#include <stdint.h>

#include "t_common.h"

/* Grid points per side (32 sectors between them) and per channel grid. */
#define TDATABASE_LSC_3_GRID_SIDE 33
#define TDATABASE_LSC_3_GRID_POINTS 1089
/* Gains are unsigned fixed point with 10 fractional bits: 1024 is a gain of 1.0. */
#define TDATABASE_LSC_3_UNITY_GAIN 1024

typedef struct TDatabaseLensShadingCorrection_3 {
  uint32_t state; /* 0 bypassed, 1 enabled */
  /* One 33 x 33 gain grid per Bayer channel, in the order R, Gr, Gb, B; each row-major
   * from the top-left corner of the frame. */
  uint16_t matrix[4][TDATABASE_LSC_3_GRID_POINTS];
  uint16_t xSize[32]; /* widths of the sector columns from left to right, in pixels; they
                         add up to the frame width */
  uint16_t ySize[16]; /* heights of the sector rows of the upper half, from the top, in
                         pixels; the lower half mirrors them, so they add up to half the
                         frame height */
  uint8_t isStatistics;
  /* Calibration files uploaded by a client and not yet imported; not settings. */
  uint64_t fileCount;
  TCommonBuffer *files; /* fileCount buffers (malloc'd array), or NULL */
} TDatabaseLensShadingCorrection_3;

#endif /* T_DATABASE_RECORDS_LENS_SHADING_CORRECTION_3_H */
