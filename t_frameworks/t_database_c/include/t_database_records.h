/*
 * Parameter records of the calibration database, one struct per category. Each record
 * is a plain C struct; the database describes its settings fields in a field table of
 * its own (source/record_<name>.cpp), in the order given here.
 */
#ifndef T_DATABASE_RECORDS_H
#define T_DATABASE_RECORDS_H

#include "t_database_records/report.h"

#endif /* T_DATABASE_RECORDS_H */
