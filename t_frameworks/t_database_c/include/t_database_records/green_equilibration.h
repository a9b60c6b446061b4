/* "GE": green equilibration, which evens out the Gr and Gb pixels of the Bayer mosaic. */
#ifndef T_DATABASE_RECORDS_GREEN_EQUILIBRATION_H
#define T_DATABASE_RECORDS_GREEN_EQUILIBRATION_H

#include <stdint.h>

typedef struct TDatabaseGreenEquilibration {
  uint32_t state;  /* 0 bypassed, 1 enabled */
  float threshold; /* largest Gr/Gb difference still treated as noise */
} TDatabaseGreenEquilibration;

#endif /* T_DATABASE_RECORDS_GREEN_EQUILIBRATION_H */
