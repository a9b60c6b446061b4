/* "RGBIR_1_1": version 1.1 of the RGB-IR separation block, with the parameter set of the
 * first version. */
#ifndef T_DATABASE_RECORDS_RGB_INFRARED_RADIATION_1_1_H
#define T_DATABASE_RECORDS_RGB_INFRARED_RADIATION_1_1_H

#include "rgb_infrared_radiation.h"

typedef TDatabaseRgbInfraredRadiation TDatabaseRgbInfraredRadiation_1_1;

#endif /* T_DATABASE_RECORDS_RGB_INFRARED_RADIATION_1_1_H */
