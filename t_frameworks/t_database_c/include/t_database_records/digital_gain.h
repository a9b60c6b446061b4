/* "DG": digital gain applied per Bayer channel after black level subtraction. */
#ifndef T_DATABASE_RECORDS_DIGITAL_GAIN_H
#define T_DATABASE_RECORDS_DIGITAL_GAIN_H

#include <stdint.h>

typedef struct TDatabaseDigitalGain {
  uint32_t state; /* 0 bypassed, 1 enabled */
  float b;
  float gb;
  float gr;
  float r;
  uint8_t isStatistics; /* the client shows this block's values in its statistics view */
} TDatabaseDigitalGain;

#endif /* T_DATABASE_RECORDS_DIGITAL_GAIN_H */
