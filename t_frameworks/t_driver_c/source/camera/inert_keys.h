// The keys of the image blocks that the simulated ISP leaves inert, with the reason. A key is
// inert when the model of its block gives it no role (a hardware detail the model does not
// have, such as a line-buffer mode, or a parameter of a feature the model does not simulate).
// The tuning client shows the reason beside the key; the key-coverage test accepts exactly
// these keys as not changing the picture.
#ifndef T_DRIVER_CAMERA_INERT_KEYS_H
#define T_DRIVER_CAMERA_INERT_KEYS_H

#include <span>

namespace tcamera {

struct InertKey {
  const char *category;  // the shell's category text, e.g. "DMSC_3"
  const char *key;       // the shell's key text, e.g. "deBurstMode"
  const char *why;       // one line for an engineer
};

std::span<const InertKey> inertKeys();

}  // namespace tcamera

#endif  // T_DRIVER_CAMERA_INERT_KEYS_H
