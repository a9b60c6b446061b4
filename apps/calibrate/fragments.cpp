// Settings fragments of calibration results: settings documents that name only the fields a
// calibration sets, and the switches that make the ISP use them.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "calibrate.h"

namespace calibrate {

namespace {

constexpr int kRecordBits = 12;  // BLS and ABLS levels are on the 12-bit scale
constexpr int kGainPoints = 20;  // per ABLS row
constexpr int kTableRows = 10;   // ABLS rows, one per sensor mode

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", value);
  return text;
}

template <typename Values, typename Format>
std::string array(const Values &values, Format &&format) {
  std::string out = "[";
  for (size_t i = 0; i < std::size(values); ++i) out += (i ? "," : "") + format(values[i]);
  return out + "]";
}

// A black level in codes of a bitDepth capture, on the 12-bit scale of the records.
uint32_t recordLevel(double level, int bitDepth) {
  const double scaled = std::ldexp(level, kRecordBits - bitDepth);
  return static_cast<uint32_t>(std::clamp(std::lround(scaled), 0L, 65535L));
}

std::string levelsOf(const BlackPoint &point, int bitDepth) {
  return array(point.channel, [&](const ChannelLevel &channel) {
    return std::to_string(recordLevel(channel.level, bitDepth));
  });
}

}  // namespace

std::string blackFragment(const BlackResult &result) {
  if (result.points.empty()) return "{}";
  // BLS carries the levels of the lowest gain; with the per-gain table off the ISP uses them.
  const std::string bls = "\"BLS\":{\"state\":1,\"isOverrideCalibration\":true,\"data\":" +
                          levelsOf(result.points.front(), result.bitDepth) + "}";
  if (result.points.size() == 1) return "{" + bls + ",\"ABLS\":{\"enable\":false}}\n";
  // Several gains: every row of the table (one per sensor mode) holds the measured points. The
  // table uses its leading ascending gain points; the unused ones repeat the last point.
  std::string row = "{\"bls\":[";
  std::string gains = "[";
  for (int k = 0; k < kGainPoints; ++k) {
    const BlackPoint &point =
        result.points[std::min<size_t>(static_cast<size_t>(k), result.points.size() - 1)];
    row += (k ? "," : "") + levelsOf(point, result.bitDepth);
    gains += (k ? "," : "") + number(point.gain);
  }
  row += "],\"gains\":" + gains + "]}";
  std::string rows = "[";
  for (int r = 0; r < kTableRows; ++r) rows += (r ? "," : "") + row;
  rows += "]";
  return "{" + bls + ",\"ABLS\":{\"enable\":true,\"rows\":" + rows + "}}\n";
}

std::string shadingFragment(const ShadingResult &result) {
  std::string matrix = "[";
  for (int c = 0; c < 4; ++c)
    matrix +=
        (c ? "," : "") + array(result.grid.matrix[c], [](uint16_t v) { return std::to_string(v); });
  matrix += "]";
  const auto u16 = [](uint16_t v) { return std::to_string(v); };
  return "{\"LSC_3\":{\"state\":1,\"matrix\":" + matrix +
         ",\"xSize\":" + array(result.grid.xSize, u16) +
         ",\"ySize\":" + array(result.grid.ySize, u16) + "}}\n";
}

std::string colourFragment(const ColourResult &result) {
  return "{\"CCM\":{\"state\":1,\"ccMatrix\":" + array(result.matrix, number) +
         ",\"ccOffset\":" + array(result.offset, number) + "}}\n";
}

std::string whiteFragment(const std::vector<WhitePoint> &points, double applyKelvin) {
  if (points.empty()) return "{}";
  const WhitePoint *nearest = &points.front();
  for (const WhitePoint &point : points)
    if (std::abs(point.kelvin - applyKelvin) < std::abs(nearest->kelvin - applyKelvin))
      nearest = &point;
  return "{\"WB_1_1\":{\"state\":1,\"gain\":" + array(nearest->gains, number) + "}}\n";
}

}  // namespace calibrate
