/* "CP_1_2": colour processing of the YUV output (brightness, contrast, hue, saturation). */
#ifndef T_DATABASE_RECORDS_COLOR_PROCESS_1_2_H
#define T_DATABASE_RECORDS_COLOR_PROCESS_1_2_H

#include <stdint.h>

typedef struct TDatabaseColorProcess_1_2 {
  uint32_t state; /* 0 bypassed, 1 enabled */
  float bright;
  float contrast;
  float hue;
  float saturation;
  float chromaOffsetCb; /* chroma offsets, set by calibration only */
  float chromaOffsetCr;
  uint32_t yuvRange; /* 0 full range, 1 limited (video) range */
  uint8_t isStatistics;
} TDatabaseColorProcess_1_2;

#endif /* T_DATABASE_RECORDS_COLOR_PROCESS_1_2_H */
