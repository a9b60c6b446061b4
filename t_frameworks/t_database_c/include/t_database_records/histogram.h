/* "HTG": the first histogram unit. It counts the samples of its window into
 * TDATABASE_HISTOGRAM_BINS bins of one selected channel. */
#ifndef T_DATABASE_RECORDS_HISTOGRAM_H
#define T_DATABASE_RECORDS_HISTOGRAM_H

#include <stdint.h>

#include "frame_window.h"

/* Grid of the measurement window: 5 x 5 cells, weights row-major from the top-left. */
#define TDATABASE_HISTOGRAM_GRID 5
#define TDATABASE_HISTOGRAM_BINS 16

typedef struct TDatabaseHistogramCoefficient {
  float blue;
  float green;
  float red;
} TDatabaseHistogramCoefficient;

typedef struct TDatabaseHistogramSampleRange {
  uint16_t offset; /* level subtracted before binning; levels below it land in bin 0 */
  uint16_t shift;  /* bin = (level - offset) >> shift, the last bin collecting the rest */
} TDatabaseHistogramSampleRange;

/* What the unit measured at the last read-back; not part of the settings. */
typedef struct TDatabaseHistogramStatistics {
  uint32_t bins[TDATABASE_HISTOGRAM_BINS]; /* weighted sample counts, darkest bin first */
} TDatabaseHistogramStatistics;

typedef struct TDatabaseHistogram {
  uint32_t state;   /* 0 the unit is off (every bin reads 0), 1 measuring */
  uint16_t channel; /* 0 luminance from coefficient, 1 red, 2 green, 3 blue */
  TDatabaseHistogramCoefficient coefficient; /* luminance = red R + green G + blue B */
  uint16_t gridWeight[TDATABASE_HISTOGRAM_GRID * TDATABASE_HISTOGRAM_GRID];
  uint16_t mode; /* 0 every sample counts once, 1 a sample counts its grid cell's weight */
  TDatabaseFrameWindow rectangle; /* measurement window, in pixels of the frame */
  TDatabaseHistogramSampleRange sampleRange;
  TDatabaseHistogramStatistics statistics;
} TDatabaseHistogram;

#endif /* T_DATABASE_RECORDS_HISTOGRAM_H */
