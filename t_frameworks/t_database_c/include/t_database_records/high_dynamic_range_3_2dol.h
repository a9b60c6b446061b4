/* "HDR_3_2DOL": merges the long and the short exposure of a two-frame digital-overlap sensor
 * into one high dynamic range image. */
#ifndef T_DATABASE_RECORDS_HIGH_DYNAMIC_RANGE_3_2DOL_H
#define T_DATABASE_RECORDS_HIGH_DYNAMIC_RANGE_3_2DOL_H

#include <stdint.h>

/* De-ghosting of one exposure pair: where the frames disagree by more than the motion
 * thresholds (or the scene is darker than the dark thresholds), the merge leans on one
 * frame instead of blending both. */
typedef struct TDatabaseHighDynamicRange_3_2DolDeGhost {
  uint16_t darkLowerThreshold;
  uint16_t darkUpperThreshold;
  uint8_t isEnable;
  uint16_t motionLowerThreshold;
  uint16_t motionUpperThreshold;
} TDatabaseHighDynamicRange_3_2DolDeGhost;

typedef struct TDatabaseHighDynamicRange_3_2Dol {
  uint32_t state;          /* 0 bypassed, 1 enabled */
  uint16_t referenceFrame; /* exposure the merge aligns to: 0 long, 1 short */
  uint16_t bypassSelect;   /* frame passed through while bypassed */
  uint8_t colorWeight[3];  /* R, G, B weights of the luma that drives the merge */
  TDatabaseHighDynamicRange_3_2DolDeGhost deGhostLs;
  TDatabaseHighDynamicRange_3_2DolDeGhost deGhostLsVs;
  int8_t extendBit[2];      /* bit shift applied to each frame before merging (may be negative) */
  uint16_t motionWeight[2]; /* weight of the motion measure per frame pair, 256 = 1 */
  float ratio[2];           /* exposure ratios between the merged frames */
  float transRange[4][2];   /* start and end of the blending range per transition */
} TDatabaseHighDynamicRange_3_2Dol;

#endif /* T_DATABASE_RECORDS_HIGH_DYNAMIC_RANGE_3_2DOL_H */
