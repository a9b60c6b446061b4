/* "FC": lens focus motor. */
#ifndef T_DATABASE_RECORDS_FOCUS_CONTROL_H
#define T_DATABASE_RECORDS_FOCUS_CONTROL_H

#include <stdint.h>

typedef struct TDatabaseFocusControl {
  uint32_t state;    /* 0 idle, 1 moving, 2 settled */
  uint16_t mode;     /* 0 manual, 1 continuous */
  uint32_t position; /* motor position, 0 (infinity) to 1023 (macro) */
} TDatabaseFocusControl;

#endif /* T_DATABASE_RECORDS_FOCUS_CONTROL_H */
