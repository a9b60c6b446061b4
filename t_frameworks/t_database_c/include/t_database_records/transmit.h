/* "TM": where frames are sent for viewing in the tuning client. */
#ifndef T_DATABASE_RECORDS_TRANSMIT_H
#define T_DATABASE_RECORDS_TRANSMIT_H

#include <stdint.h>

#define TDATABASE_TRANSMIT_IP_CAPACITY 16

typedef struct TDatabaseTransmit {
  char nginxIp[TDATABASE_TRANSMIT_IP_CAPACITY]; /* the frame-serving web server, IPv4 */
  uint8_t isStreamable;                         /* frames are sent to that server while streaming */
} TDatabaseTransmit;

#endif /* T_DATABASE_RECORDS_TRANSMIT_H */
