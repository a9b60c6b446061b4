/* "AFM_3": the focus measurement unit that feeds auto focus. It filters the luminance of
 * three windows side by side (the left, centre and right thirds of hwRoi) along each line
 * and sums the filter responses: the sharper the picture, the larger the sums. */
#ifndef T_DATABASE_RECORDS_AUTO_FOCUS_MEASUREMENT_3_H
#define T_DATABASE_RECORDS_AUTO_FOCUS_MEASUREMENT_3_H

#include <stdint.h>

#define TDATABASE_AUTO_FOCUS_MEASUREMENT_3_WINDOWS 3

/* Per filter and window, a response below the coring level (10-bit levels) counts 0, a
 * larger one counts its excess over it. */
typedef struct TDatabaseAutoFocusMeasurement_3Coring {
  uint8_t firHighPass[3];
  uint8_t firLowPass[3];
  uint8_t iirHighPass[3];
  uint8_t iirLowPass[3];
} TDatabaseAutoFocusMeasurement_3Coring;

/* FIR filters: high pass (-1 2 -1)/4, and a coarser band (-1 0 2 0 -1)/4 named low pass. */
typedef struct TDatabaseAutoFocusMeasurement_3Fir {
  uint8_t dataShift;    /* the window's sum is shifted right by this before it is reported */
  float highPassWeight; /* the reported value is highPassWeight x high + lowPassWeight x low */
  float lowPassWeight;
} TDatabaseAutoFocusMeasurement_3Fir;

/* IIR filters: three cascaded sections per filter, each row {b0, b1, b2, a1}:
 * y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] + a1 y[n-1], saturating at +-65535. Each line
 * starts from the steady state of its first sample. */
typedef struct TDatabaseAutoFocusMeasurement_3Iir {
  uint8_t dataShift;
  float highPassWeight;
  float highPassCoeff[3][4];
  float lowPassWeight;
  float lowPassCoeff[3][4];
} TDatabaseAutoFocusMeasurement_3Iir;

/* Level-dependent gain of a filter's responses: a sample whose 8-bit luminance lies in
 * [x[0], x[1]) weighs y[0], in [x[1], x[2]) y[1], in [x[2], x[3]] y[2], elsewhere 0. */
typedef struct TDatabaseAutoFocusMeasurement_3Curve {
  uint8_t x[4];
  float y[3];
} TDatabaseAutoFocusMeasurement_3Curve;

typedef struct TDatabaseAutoFocusMeasurement_3Ldg {
  TDatabaseAutoFocusMeasurement_3Curve firHighPass;
  TDatabaseAutoFocusMeasurement_3Curve firLowPass;
  TDatabaseAutoFocusMeasurement_3Curve iirHighPass;
  TDatabaseAutoFocusMeasurement_3Curve iirLowPass;
} TDatabaseAutoFocusMeasurement_3Ldg;

/* What the unit measured at the last read-back, per window (left, centre, right); not part
 * of the settings. Every value is 0 while the unit is disabled. */
typedef struct TDatabaseAutoFocusMeasurement_3Statistics {
  uint32_t fir[TDATABASE_AUTO_FOCUS_MEASUREMENT_3_WINDOWS];        /* weighted FIR sharpness */
  uint32_t iir[TDATABASE_AUTO_FOCUS_MEASUREMENT_3_WINDOWS];        /* weighted IIR sharpness */
  double luma[TDATABASE_AUTO_FOCUS_MEASUREMENT_3_WINDOWS];         /* mean luminance, 10-bit */
  uint32_t highlights[TDATABASE_AUTO_FOCUS_MEASUREMENT_3_WINDOWS]; /* above histThreshold */
} TDatabaseAutoFocusMeasurement_3Statistics;

typedef struct TDatabaseAutoFocusMeasurement_3 {
  TDatabaseAutoFocusMeasurement_3Coring coring;
  TDatabaseAutoFocusMeasurement_3Fir fir;
  float gamma; /* luminance (as a share of full scale) is raised to gamma before filtering */
  uint8_t histThreshold; /* 8-bit luminance above which a sample counts as a highlight */
  uint16_t hwRoi[4];     /* x, y, width, height of the measured region, in pixels */
  TDatabaseAutoFocusMeasurement_3Iir iir;
  TDatabaseAutoFocusMeasurement_3Ldg ldg;
  TDatabaseAutoFocusMeasurement_3Statistics statistics;
  uint8_t isEnable;
} TDatabaseAutoFocusMeasurement_3;

#endif /* T_DATABASE_RECORDS_AUTO_FOCUS_MEASUREMENT_3_H */
