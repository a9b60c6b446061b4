/* "DVC": the tuning port and the work mode of the device. */
#ifndef T_DATABASE_RECORDS_DEVICE_H
#define T_DATABASE_RECORDS_DEVICE_H

#include <stdint.h>

typedef struct TDatabaseDevice {
  uint16_t operation; /* last operation requested by the client */
  uint16_t portId;    /* camera port the tuning session drives */
  uint16_t workMode;  /* 0 preview, 1 capture, 2 video */
} TDatabaseDevice;

#endif /* T_DATABASE_RECORDS_DEVICE_H */
