/* "OPT": the output paths of the ISP and the snapshot size. */
#ifndef T_DATABASE_RECORDS_OUTPUT_H
#define T_DATABASE_RECORDS_OUTPUT_H

#include <stdint.h>

#include "t_database_records/frame_window.h"

#define TDATABASE_OUTPUT_PATH_COUNT 4

/* Codes are the driver's: format 0 YUV420 semi-planar, 1 YUV422 semi-planar, 2 RGB888,
 * 3 raw; bitsIndex 0 8 bits, 1 10 bits, 2 12 bits per sample. */
typedef struct TDatabaseOutputPath {
  uint16_t bayerPattern; /* of raw output: 0 RGGB, 1 GRBG, 2 GBRG, 3 BGGR */
  uint16_t bitsIndex;
  uint64_t bufferLength; /* bytes of one frame buffer of this path */
  uint8_t isEnable;
  uint16_t format;
  TDatabaseFrameWindow rectangle;
  uint32_t stride; /* bytes from one line to the next in the frame buffer */
} TDatabaseOutputPath;

typedef struct TDatabaseOutput {
  TDatabaseOutputPath paths[TDATABASE_OUTPUT_PATH_COUNT];
  uint64_t snapshotNumber; /* frames taken by one snapshot */
  uint64_t pathIndex;      /* the path that the client's path keys address */
} TDatabaseOutput;

#endif /* T_DATABASE_RECORDS_OUTPUT_H */
