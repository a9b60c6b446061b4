// Defaults of the tables that auto controls keep per sensor gain point: the gain points
// themselves and settings that move with the gain from clean to noisy pictures.
#ifndef T_DATABASE_AUTO_GAIN_POINTS_H
#define T_DATABASE_AUTO_GAIN_POINTS_H

#include <cstdint>

namespace tdatabase {

constexpr uint32_t kGainPoints = 20;

// 1x, 1.5x, 2x, 3x, 4x, 6x ... 768x: the gain doubles every second point, which spans what
// analogue and digital sensor gain reach together.
constexpr float gainPoint(uint32_t point) {
  return static_cast<float>(1u << (point / 2)) * (point % 2 ? 1.5f : 1.0f);
}

template <typename Row>
constexpr void fillGainPoints(Row &row) {
  for (uint32_t point = 0; point < kGainPoints; ++point) row.gains[point] = gainPoint(point);
}

// A setting that goes evenly from low at the first gain point to high at the last.
constexpr float rampFloat(uint32_t point, float low, float high) {
  return low + (high - low) * static_cast<float>(point) / static_cast<float>(kGainPoints - 1);
}

template <typename Integer>
constexpr Integer ramp(uint32_t point, uint32_t low, uint32_t high) {
  const int64_t span = static_cast<int64_t>(high) - static_cast<int64_t>(low);
  return static_cast<Integer>(static_cast<int64_t>(low) +
                              span * static_cast<int64_t>(point) / (kGainPoints - 1));
}

// A tuning table that is on, interpolates between gain points and starts at row 0, with every
// row at the given defaults.
template <typename Record, typename Row>
constexpr Record tuningTable(const Row &row) {
  Record table{};
  table.enable = 1;
  for (Row &each : table.rows) each = row;
  table.interpolate = 1;
  table.tableIndex = 0;
  return table;
}

}  // namespace tdatabase

#endif  // T_DATABASE_AUTO_GAIN_POINTS_H
