/* "SS": the image sensor: its modes, a free-text query and its test pattern. */
#ifndef T_DATABASE_RECORDS_SENSOR_H
#define T_DATABASE_RECORDS_SENSOR_H

#include <stdint.h>

#include "t_database_records/frame_window.h"

#define TDATABASE_SENSOR_MODE_COUNT 12
#define TDATABASE_SENSOR_QUERY_CAPACITY 10240

/* Companding of the sensor's output: xBit-bit samples squeezed into yBit bits. */
typedef struct TDatabaseSensorCompress {
  uint8_t isEnable;
  uint32_t xBit;
  uint32_t yBit;
} TDatabaseSensorCompress;

/* One readout mode. Codes are the driver's: autoFocusMode 0 none, 1 voice coil motor;
 * bayerPattern 0 RGGB, 1 GRBG, 2 GBRG, 3 BGGR; stitchingMode 0 linear, 1 two-exposure
 * HDR, 2 three-exposure HDR; type 0 Bayer, 1 RGB-IR. A mode with a zero window is
 * unused. */
typedef struct TDatabaseSensorMode {
  uint16_t autoFocusMode;
  uint16_t bayerPattern;
  uint32_t bitWidth;
  TDatabaseSensorCompress compress;
  uint16_t fpsMax;
  uint16_t nativeMode; /* the sensor's own number of this mode */
  TDatabaseFrameWindow rectangle;
  uint16_t stitchingMode;
  uint32_t type;
} TDatabaseSensorMode;

typedef struct TDatabaseSensorTestPattern {
  uint8_t isEnable;
  uint16_t type; /* 0 colour bars, 1 fading colour bars, 2 solid colour, 3 walking ones */
} TDatabaseSensorTestPattern;

typedef struct TDatabaseSensor {
  uint16_t modeIndex; /* the mode that the client's mode keys address */
  TDatabaseSensorMode modes[TDATABASE_SENSOR_MODE_COUNT];
  char query[TDATABASE_SENSOR_QUERY_CAPACITY]; /* free text exchanged with the sensor */
  TDatabaseSensorTestPattern testPattern;
} TDatabaseSensor;

#endif /* T_DATABASE_RECORDS_SENSOR_H */
