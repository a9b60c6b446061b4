/* "ISP": the ISP on/off switch and the hardware identity. */
#ifndef T_DATABASE_RECORDS_ISP_H
#define T_DATABASE_RECORDS_ISP_H

#include <stdint.h>

/* The identity of the simulated ISP, as its identification register (address 0) reads:
 * product 0x5A17, revision 1.2. */
#define TDATABASE_ISP_HW_ID 0x5A170102u

typedef struct TDatabaseIsp {
  uint8_t isEnable;
  uint32_t hwId; /* identity of the ISP hardware, as its identification register reads */
} TDatabaseIsp;

#endif /* T_DATABASE_RECORDS_ISP_H */
