/* "IPT": the image input of the ISP, its input paths, and the stream, injection and raw
 * capture switches. */
#ifndef T_DATABASE_RECORDS_INPUT_H
#define T_DATABASE_RECORDS_INPUT_H

#include <stdint.h>

#include "t_database_records/frame_window.h"

#define TDATABASE_INPUT_PATH_COUNT 3

/* Pattern and format codes are the driver's: bayerPattern 0 RGGB, 1 GRBG, 2 GBRG, 3 BGGR;
 * format 0 RAW8, 1 RAW10, 2 RAW12, 3 RAW14, 4 RAW16. */
typedef struct TDatabaseInputPath {
  uint16_t bayerPattern;
  uint64_t bufferLength; /* bytes of one frame buffer of this path */
  uint8_t isEnable;
  uint16_t format;
  TDatabaseFrameWindow rectangle;
  uint16_t stitchingMode; /* 0 linear, 1 two-exposure HDR, 2 three-exposure HDR */
} TDatabaseInputPath;

typedef struct TDatabaseInput {
  float framerate; /* frames per second */
  TDatabaseInputPath paths[TDATABASE_INPUT_PATH_COUNT];
  uint32_t type;        /* 0 sensor, 1 test pattern generator, 2 injected frames */
  uint8_t isInject;     /* frames come from memory instead of the sensor */
  uint8_t isInjectLive; /* injected frames are repeated as a live stream */
  uint64_t pathIndex;   /* the path that the client's path keys address */
  uint8_t isRaw;        /* raw capture: frames bypass the pipeline */
  uint8_t isStream;     /* the sensor streams frames through the ISP */
} TDatabaseInput;

#endif /* T_DATABASE_RECORDS_INPUT_H */
