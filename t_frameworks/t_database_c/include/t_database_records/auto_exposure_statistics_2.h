/* "AES_2": the exposure statistics unit that feeds auto exposure. It measures the
 * luminance of its window on a 5 x 5 grid. */
#ifndef T_DATABASE_RECORDS_AUTO_EXPOSURE_STATISTICS_2_H
#define T_DATABASE_RECORDS_AUTO_EXPOSURE_STATISTICS_2_H

#include <stdint.h>

#include "frame_window.h"

#define TDATABASE_AUTO_EXPOSURE_STATISTICS_2_GRID 5
/* The unit also writes the channel sums of a 32 x 32 zone grid over its window. */
#define TDATABASE_AUTO_EXPOSURE_STATISTICS_2_ZONES 32

/* What the unit measured at the last read-back; not part of the settings. Luminance is
 * the weighted mean of the four Bayer channels (weight), in 10-bit levels. */
typedef struct TDatabaseAutoExposureStatistics_2Statistics {
  /* Mean luminance of each grid cell, row-major from the top-left (0 for a cell that
   * holds no sample). */
  double mean[TDATABASE_AUTO_EXPOSURE_STATISTICS_2_GRID][TDATABASE_AUTO_EXPOSURE_STATISTICS_2_GRID];
  double luma;       /* mean luminance of the whole window */
  double aboveRatio; /* share of the window's samples at or above ratio x 1023 */
  uint32_t count;    /* samples in the window */
} TDatabaseAutoExposureStatistics_2Statistics;

typedef struct TDatabaseAutoExposureStatistics_2Weight {
  uint8_t blue;
  uint8_t greenBlue;
  uint8_t greenRed;
  uint8_t red;
} TDatabaseAutoExposureStatistics_2Weight;

typedef struct TDatabaseAutoExposureStatistics_2 {
  uint16_t inputSelect; /* 0 after white balance and digital gain, 1 the sensor's output */
  float ratio;          /* brightness threshold of aboveRatio, as a share of full scale */
  TDatabaseFrameWindow rectangle; /* measurement window, in pixels of the frame */
  /* Sum of each Bayer channel (R, Gr, Gb, B) over each zone, as the unit writes it to
   * memory; rows of zones from the top. Zones that hold no sample are 0. */
  uint32_t zoneSum[TDATABASE_AUTO_EXPOSURE_STATISTICS_2_ZONES]
                  [TDATABASE_AUTO_EXPOSURE_STATISTICS_2_ZONES][4];
  TDatabaseAutoExposureStatistics_2Statistics statistics;
  TDatabaseAutoExposureStatistics_2Weight weight; /* luminance weight of each channel */
} TDatabaseAutoExposureStatistics_2;

#endif /* T_DATABASE_RECORDS_AUTO_EXPOSURE_STATISTICS_2_H */
