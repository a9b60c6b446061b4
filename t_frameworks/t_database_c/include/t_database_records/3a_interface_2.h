/* "3AI_2": switches of the interface between the ISP and the 3A (exposure, white balance,
 * focus) controls. */
#ifndef T_DATABASE_RECORDS_3A_INTERFACE_2_H
#define T_DATABASE_RECORDS_3A_INTERFACE_2_H

#include <stdint.h>

typedef struct TDatabase3AInterface_2 {
  uint32_t statisticsSource; /* pipeline tap that feeds the 3A statistics: 0 raw, 1 after DG */
  uint32_t frameInterval;    /* the 3A controls run on every n-th frame */
  uint8_t awbEnable;
  uint8_t cacEnable; /* chromatic aberration correction */
  uint8_t ccEnable;  /* colour correction */
  uint8_t isEnable;  /* image stabilisation */
  float integrationTime;
  uint8_t lscEnable; /* lens shading correction */
  float sensorGain;
} TDatabase3AInterface_2;

#endif /* T_DATABASE_RECORDS_3A_INTERFACE_2_H */
