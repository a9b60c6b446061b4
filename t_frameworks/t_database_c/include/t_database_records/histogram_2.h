/* "HTG_2": the second histogram unit, with a finer fixed bin range and the channel chosen
 * by its mode. */
#ifndef T_DATABASE_RECORDS_HISTOGRAM_2_H
#define T_DATABASE_RECORDS_HISTOGRAM_2_H

#include <stdint.h>

#include "frame_window.h"
#include "histogram.h"

/* Bins of 32 levels each over the 10-bit range. */
#define TDATABASE_HISTOGRAM_2_BINS 32

/* What the unit measured at the last read-back; not part of the settings. */
typedef struct TDatabaseHistogram_2Statistics {
  uint32_t bins[TDATABASE_HISTOGRAM_2_BINS]; /* weighted sample counts, darkest bin first */
} TDatabaseHistogram_2Statistics;

typedef struct TDatabaseHistogram_2 {
  uint32_t state; /* 0 the unit is off (every bin reads 0), 1 measuring */
  /* Weights of the 5 x 5 grid over the window, row-major from the top-left. */
  uint16_t gridWeight[TDATABASE_HISTOGRAM_GRID * TDATABASE_HISTOGRAM_GRID];
  uint16_t mode; /* channel: 0 luminance (0.299 R + 0.587 G + 0.114 B), 1 red, 2 green,
                    3 blue */
  TDatabaseFrameWindow rectangle; /* measurement window, in pixels of the frame */
  TDatabaseHistogram_2Statistics statistics;
} TDatabaseHistogram_2;

#endif /* T_DATABASE_RECORDS_HISTOGRAM_2_H */
