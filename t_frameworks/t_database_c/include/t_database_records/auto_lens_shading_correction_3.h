/* "ALSC_3": lens shading correction strength that follows the sensor gain (less corner
 * gain where it would only lift noise). */
#ifndef T_DATABASE_RECORDS_AUTO_LENS_SHADING_CORRECTION_3_H
#define T_DATABASE_RECORDS_AUTO_LENS_SHADING_CORRECTION_3_H

#include <stdint.h>

typedef struct TDatabaseAutoLensShadingCorrection_3 {
  uint8_t autoLevel;  /* calibration level the tables were made for */
  float damping;      /* 0..1: how slowly a new strength takes over */
  uint16_t interMode; /* 0 nearest gain point, 1 linear between gain points */
  float gains[20];    /* the gain points, ascending */
  float strength[20]; /* 0..1 of the calibrated correction, per gain point */
} TDatabaseAutoLensShadingCorrection_3;

#endif /* T_DATABASE_RECORDS_AUTO_LENS_SHADING_CORRECTION_3_H */
