// Black level from dark frames: per channel the robust mean of the sites (hot sites and other
// outliers left out) and their scatter, per sensor gain.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

#include "calibrate.h"

namespace calibrate {

namespace {

constexpr int kBlocks = 8;             // per side, for the check that the frame is dark
constexpr double kMaxLitShare = 0.05;  // of the range above the file's black level
constexpr double kMaxClippedShare = 0.01;

struct Robust {
  double mean = 0, sd = 0;
  size_t count = 0;
};

// Mean and standard deviation of the values within six robust deviations of their median.
Robust robustMean(std::vector<double> &values) {
  Robust out;
  if (values.empty()) return out;
  const size_t middle = values.size() / 2;
  std::nth_element(values.begin(), values.begin() + middle, values.end());
  const double median = values[middle];
  std::vector<double> deviations(values.size());
  for (size_t i = 0; i < values.size(); ++i) deviations[i] = std::abs(values[i] - median);
  std::nth_element(deviations.begin(), deviations.begin() + middle, deviations.end());
  // Codes are whole numbers: a deviation below half a code says little about the spread.
  const double cutoff = 6 * std::max(1.4826 * deviations[middle], 0.5) + 1;
  double sum = 0, squares = 0;
  for (double value : values)
    if (std::abs(value - median) <= cutoff) {
      sum += value;
      squares += value * value;
      ++out.count;
    }
  out.mean = sum / out.count;
  out.sd = std::sqrt(std::max(0.0, squares / out.count - out.mean * out.mean));
  return out;
}

std::string codes(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", value);
  return text;
}

// Levels of one dark frame, or false with the reason it is not dark.
bool measureDark(const Capture &capture, std::array<ChannelLevel, 4> *levels, std::string *error) {
  const imaging::RawFrame &raw = capture.raw;
  const double scale = std::ldexp(1.0, bitDepthOf(raw) - 10);  // 10-bit codes to the capture's
  std::array<std::vector<double>, 4> values;
  size_t clipped = 0;
  for (int y = 0; y < raw.height; ++y)
    for (int x = 0; x < raw.width; ++x) {
      const int channel = channelAt(raw, x, y);
      const uint16_t code = raw.data[static_cast<size_t>(y) * raw.width + x];
      clipped += code >= raw.whiteLevel;
      if (channel >= 0) values[channel].push_back(code);
    }
  if (clipped > kMaxClippedShare * raw.data.size()) {
    *error = capture.name + ": not a dark frame, " + codes(100.0 * clipped / raw.data.size()) +
             "% of the sites are at the white level (is the lens covered?)";
    return false;
  }
  std::array<double, 4> fileBlack{};
  for (int i = 0; i < 4; ++i) fileBlack[raw.cfa[i] & 3] = raw.blackLevel[i];
  for (int c = 0; c < 4; ++c) {
    const Robust level = robustMean(values[c]);
    if (level.count == 0) {
      *error = capture.name + ": no " + kChannelNames[c] + " sites";
      return false;
    }
    (*levels)[c] = {level.mean, level.sd};
    const double black = fileBlack[c];
    if (level.mean - black > kMaxLitShare * (raw.whiteLevel - black)) {
      *error = capture.name + ": not a dark frame, " + kChannelNames[c] + " reads " +
               codes(level.mean - black) + " codes above the file's black level of " +
               codes(black) + " (is the lens covered?)";
      return false;
    }
  }
  // Light on the sensor shows as a level that changes across the frame (the scene, the lens's
  // fall-off); a dark frame is the same everywhere within its noise.
  std::vector<double> blockValues;
  double lowest = 1e300, highest = -1e300, noise = 0;
  for (int by = 0; by < kBlocks; ++by)
    for (int bx = 0; bx < kBlocks; ++bx) {
      blockValues.clear();
      for (int y = by * raw.height / kBlocks; y < (by + 1) * raw.height / kBlocks; ++y)
        for (int x = bx * raw.width / kBlocks; x < (bx + 1) * raw.width / kBlocks; ++x)
          if (channelAt(raw, x, y) == kGr)
            blockValues.push_back(raw.data[static_cast<size_t>(y) * raw.width + x]);
      const Robust block = robustMean(blockValues);
      if (block.count == 0) continue;
      lowest = std::min(lowest, block.mean);
      highest = std::max(highest, block.mean);
      noise = std::max(noise, block.sd / std::sqrt(static_cast<double>(block.count)));
    }
  const double allowed = std::max(2.0 * scale, 8 * noise);
  if (highest - lowest > allowed) {
    *error = capture.name + ": not a dark frame, the level changes by " + codes(highest - lowest) +
             " codes across the frame (at most " + codes(allowed) +
             " for a covered lens): light reaches the sensor";
    return false;
  }
  return true;
}

}  // namespace

bool calibrateBlack(const std::vector<Capture> &captures, const std::vector<double> &gains,
                    BlackResult *result, std::string *error) {
  if (captures.empty()) {
    *error = "no dark frame given";
    return false;
  }
  if (!gains.empty() && gains.size() != captures.size()) {
    *error = "give one gain per dark frame (" + std::to_string(gains.size()) + " gains for " +
             std::to_string(captures.size()) + " frames)";
    return false;
  }
  const int bitDepth = bitDepthOf(captures.front().raw);
  std::map<double, BlackPoint> byGain;
  for (size_t i = 0; i < captures.size(); ++i) {
    const double gain = gains.empty() ? 1.0 : gains[i];
    if (!(gain > 0) || !std::isfinite(gain)) {
      *error = "gain " + codes(gain) + " of " + captures[i].name + " is not a positive number";
      return false;
    }
    if (bitDepthOf(captures[i].raw) != bitDepth) {
      *error = captures[i].name + ": not the bit depth of " + captures.front().name;
      return false;
    }
    std::array<ChannelLevel, 4> levels;
    if (!measureDark(captures[i], &levels, error)) return false;
    BlackPoint &point = byGain[gain];
    point.gain = gain;
    ++point.frames;
    // Sums for now: levels, and noise as variance.
    for (int c = 0; c < 4; ++c) {
      point.channel[c].level += levels[c].level;
      point.channel[c].noise += levels[c].noise * levels[c].noise;
    }
  }
  BlackResult out;
  out.bitDepth = bitDepth;
  for (auto &[gain, point] : byGain) {
    for (ChannelLevel &level : point.channel) {
      level.level /= point.frames;
      level.noise = std::sqrt(level.noise / point.frames);
    }
    out.points.push_back(point);
  }
  *result = std::move(out);
  return true;
}

}  // namespace calibrate
