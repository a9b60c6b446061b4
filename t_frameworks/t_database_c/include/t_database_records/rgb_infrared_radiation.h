/* "RGBIR": separates the infrared component of an RGB-IR sensor and rebuilds a Bayer image. */
#ifndef T_DATABASE_RECORDS_RGB_INFRARED_RADIATION_H
#define T_DATABASE_RECORDS_RGB_INFRARED_RADIATION_H

#include <stdint.h>

typedef struct TDatabaseRgbInfraredRadiation {
  uint32_t state;          /* 0 bypassed, 1 enabled */
  uint32_t bls[4];         /* black level per input channel */
  float ccMatrix[12];      /* 3 x 4, row-major: R, G, B out of R, G, B and IR in */
  uint16_t dpccMidTh[4];   /* defect detection: mid thresholds per channel */
  uint16_t dpccTh[4];      /* defect detection: thresholds per channel */
  uint16_t irBayerPattern; /* position of the IR pixel in the sensor's 4 x 4 pattern */
  uint32_t irThreshold;    /* IR level above which the IR removal is faded out */
  uint32_t lThreshold;     /* luma level above which the IR removal is faded out */
  uint16_t outRgbPattern;  /* Bayer order of the output */
  uint8_t rcccEnable;      /* the sensor is RCCC instead of RGB-IR */
} TDatabaseRgbInfraredRadiation;

#endif /* T_DATABASE_RECORDS_RGB_INFRARED_RADIATION_H */
