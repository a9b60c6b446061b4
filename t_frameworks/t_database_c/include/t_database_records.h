/*
 * Parameter records of the calibration database, one struct per category. Each record
 * is a plain C struct; the database describes its settings fields in a field table of
 * its own (source/record_<name>.cpp), in the order given here.
 */
#ifndef T_DATABASE_RECORDS_H
#define T_DATABASE_RECORDS_H

#include "t_database_records/3a_interface_2.h"
#include "t_database_records/black_level_subtraction.h"
#include "t_database_records/color_noise_reduction_2_2.h"
#include "t_database_records/color_process_1_2.h"
#include "t_database_records/compand_1_1.h"
#include "t_database_records/device.h"
#include "t_database_records/digital_gain.h"
#include "t_database_records/exposure_control_2.h"
#include "t_database_records/focus_control.h"
#include "t_database_records/gamma_correction_2.h"
#include "t_database_records/green_equilibration.h"
#include "t_database_records/isp.h"
#include "t_database_records/misc.h"
#include "t_database_records/register.h"
#include "t_database_records/report.h"
#include "t_database_records/white_balance_1_1.h"

#endif /* T_DATABASE_RECORDS_H */
