/* "RGT": one raw register transfer. */
#ifndef T_DATABASE_RECORDS_REGISTER_H
#define T_DATABASE_RECORDS_REGISTER_H

#include <stdint.h>

/* Address and value are texts, decimal or 0x hexadecimal. A text may fill its buffer
 * completely, without a terminating NUL: readers bound it by the buffer size. */
typedef struct TDatabaseRegister {
  char address[10];
  uint8_t isRead; /* 1: the transfer reads the register into value; 0: writes value */
  uint32_t type;  /* access width: 0 32-bit, 1 16-bit, 2 8-bit */
  char value[10];
} TDatabaseRegister;

#endif /* T_DATABASE_RECORDS_REGISTER_H */
