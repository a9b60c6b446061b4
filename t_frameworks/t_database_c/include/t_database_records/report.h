/* "RPT": version numbers that the device reports to the tuning client. */
#ifndef T_DATABASE_RECORDS_REPORT_H
#define T_DATABASE_RECORDS_REPORT_H

#include <stdint.h>

typedef struct TDatabaseReport {
  uint32_t driver;   /* version of the driver the settings were tuned with */
  uint32_t shell;    /* version of the tuning shell protocol */
  uint32_t transmit; /* version of the frame transmission protocol */
} TDatabaseReport;

#endif /* T_DATABASE_RECORDS_REPORT_H */
