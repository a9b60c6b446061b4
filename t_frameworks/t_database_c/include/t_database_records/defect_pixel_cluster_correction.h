/* "DPCC": defect pixel cluster correction: a table of known bad pixels plus on-line detection
 * of defects, replacing what it finds from the neighbourhood. */
#ifndef T_DATABASE_RECORDS_DEFECT_PIXEL_CLUSTER_CORRECTION_H
#define T_DATABASE_RECORDS_DEFECT_PIXEL_CLUSTER_CORRECTION_H

#include <stdint.h>

/* Entries of the bad-pixel table. */
#define TDATABASE_DPCC_BPT_ENTRIES 2048

/* The detection tables hold one row per colour plane (green, then red and blue) and one
 * column per detection method set. */
typedef struct TDatabaseDefectPixelClusterCorrection {
  uint32_t state;     /* 0 bypassed, 1 enabled */
  uint8_t bptEnable;  /* correct the pixels listed in the bad-pixel table */
  uint16_t bptNum;    /* entries of the table in use */
  uint8_t bptOutMode; /* how a listed pixel is replaced (interpolation mode of the block) */
  uint16_t bptPosX[TDATABASE_DPCC_BPT_ENTRIES]; /* column of entry i */
  uint16_t bptPosY[TDATABASE_DPCC_BPT_ENTRIES]; /* row of entry i */
  uint8_t lineMadFac[2][3];
  uint8_t lineThresh[2][3];
  uint16_t methodsSet[3]; /* enable bits of the detection methods, per method set */
  uint8_t outMode;        /* how a detected pixel is replaced */
  uint8_t pgFac[2][3];    /* peak gradient factors */
  uint8_t rgFac[2][3];    /* rank gradient factors */
  uint8_t rndOffs[2][3];  /* rank neighbour difference offsets */
  uint8_t rndThresh[2][3];
  uint8_t roLimits[2][3]; /* rank order limits */
  uint8_t setUse;         /* bit i: method set i takes part in detection */
  uint8_t isStatistics;   /* the client shows this block's values in its statistics view */
} TDatabaseDefectPixelClusterCorrection;

#endif /* T_DATABASE_RECORDS_DEFECT_PIXEL_CLUSTER_CORRECTION_H */
