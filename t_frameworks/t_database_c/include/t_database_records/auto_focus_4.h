/* "AF_4": the auto-focus control: contrast and phase-detection search settings and the
 * measurement windows it weighs. */
#ifndef T_DATABASE_RECORDS_AUTO_FOCUS_4_H
#define T_DATABASE_RECORDS_AUTO_FOCUS_4_H

#include <stdint.h>

typedef struct TDatabaseAutoFocus_4 {
  uint8_t accurateFocusEnable; /* finish a search with fine steps around the peak */
  uint8_t accurateFocusStep;
  uint8_t afmV11RoiNum;            /* windows in use of afmV11RoiWindow */
  float afmV11RoiWeight;           /* weight of the windows against the whole picture */
  uint16_t afmV11RoiWindow[25][4]; /* x, y, width, height in pixels */
  float afmV11RoiWindowWeight;
  float afmV3WeightWindow[225]; /* 15 x 15 grid over the picture */
  float cMotionThreshold;       /* contrast change that counts as scene motion */
  float cPdConfThreshold;       /* phase-detection confidence needed to trust it */
  uint8_t cPointsOfCurve;
  float cStableTolerance;
  uint8_t deFocusFrameNum; /* frames out of focus before a new search */
  uint8_t lossConfidenceFrameNum;
  uint16_t maxFocal; /* motor positions the search covers */
  uint16_t minFocal;
  uint16_t mode; /* 0 manual, 1 single search, 2 continuous */
  uint8_t pdRoiIndex;
  float pdShiftThreshold;
  uint8_t pdStableCountMax;
  float weightWindow[9]; /* 3 x 3 grid over the picture */
} TDatabaseAutoFocus_4;

#endif /* T_DATABASE_RECORDS_AUTO_FOCUS_4_H */
