// The per-gain tuning tables of the auto categories ("ABLS", "A2DNR_6", ...), applied to their
// blocks frame by frame as the ISP's firmware does while the camera streams.
//
// Each auto category holds its block's settings per gain point. While the table is on, the
// firmware interpolates the selected row at the sensor's current total gain and programs the
// result into the block; the block's own (pushed) record supplies every setting that the table
// does not carry. When the table is off the block runs on its pushed record alone.
//
//   - The gain: "EC_2" frame 0, analog[0] x digital[0] (the gain the sensor applies).
//   - The row: rows[tableIndex] (clamped to the last row); "ALSC_3" and "ADMSC_3" hold their
//     per-gain arrays in the record itself.
//   - The gain points: the row's gains ("AEE_3" rows carry none and use the standard points
//     1x, 1.5x, 2x, 3x ... 768x). Used: the leading strictly ascending run of gains (an "autoLevel"
//     that counts the filled points shortens it further). Below the first point the first applies,
//     above the last the last; in between the two surrounding points are blended linearly,
//     or the lower one is taken when the record's interpolate is 0 ("ALSC_3": interMode 0
//     takes the nearer point). Switches (enables, modes, method bits) always take the lower
//     point; numbers are rounded to the nearest step of the block's member and clamped to it.
//   - On: enable != 0; "ADMSC_3" and "AEE_3": autoLevel != 0 as well (no filled gain point:
//     nothing to apply); "ALSC_3" has no switch and applies whenever the loop runs.
//
// Which member of a row drives which member of the block is the table in gain_tables.cpp,
// one line per pair; README.md lists it per block.
#ifndef T_DRIVER_CAMERA_GAIN_TABLES_H
#define T_DRIVER_CAMERA_GAIN_TABLES_H

#include <span>

#include "pipeline.h"

namespace tcamera {

struct GainTable {
  const char *category;  // the auto category, e.g. "ABLS"
  const char *block;     // the block it drives, e.g. "BLS"
  // Writes the block's effective settings into state at gain from record (a record of
  // category); false when the table is off and state is left alone.
  bool (*apply)(const void *record, float gain, HardwareState &state);
};

std::span<const GainTable> gainTables();

// The sensor's total gain under state: analogue times digital gain of exposure frame 0.
float totalGain(const HardwareState &state);

// Applies every table at the total gain of state. record(category) returns the auto
// category's hardware state, or nullptr when it was never programmed (the table is then off).
template <typename Lookup>
void applyGainTables(Lookup &&record, HardwareState &state) {
  const float gain = totalGain(state);
  for (const GainTable &table : gainTables())
    if (const void *found = record(table.category); found != nullptr)
      table.apply(found, gain, state);
}

}  // namespace tcamera

#endif  // T_DRIVER_CAMERA_GAIN_TABLES_H
