/* The window of an image: where a path or a sensor mode takes its pixels from, and how
 * many. Shared by the input ("IPT"), output ("OPT") and sensor ("SS") records. */
#ifndef T_DATABASE_RECORDS_FRAME_WINDOW_H
#define T_DATABASE_RECORDS_FRAME_WINDOW_H

#include <stdint.h>

typedef struct TDatabaseFrameOffset {
  int32_t x; /* pixels from the left edge of the source */
  int32_t y; /* lines from the top edge of the source */
} TDatabaseFrameOffset;

typedef struct TDatabaseFrameWindow {
  uint32_t height; /* lines */
  TDatabaseFrameOffset offset;
  uint32_t width; /* pixels */
} TDatabaseFrameWindow;

#endif /* T_DATABASE_RECORDS_FRAME_WINDOW_H */
