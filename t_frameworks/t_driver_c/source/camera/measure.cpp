// The frame as the measuring units see it, their windows, and the latching of the units that
// belong to a block.
#include "measure.h"

#include <cmath>
#include <string_view>

#include "driver_blocks.h"
#include "frames.h"

namespace tcamera {
namespace {

struct Offset {
  int dx, dy;
};

// Where each channel of a sample lies, from the top-left site of its 2 x 2 cell: the sites of
// that colour in the cell, or failing that in the cell's 4 x 4 tile. One list per cell
// position in the tile.
struct SampleSites {
  std::array<std::array<std::vector<Offset>, 4>, 4> sites;  // [cell][channel]
};

SampleSites sampleSites(const Mosaic &mosaic) {
  SampleSites made;
  for (int cell = 0; cell < 4; ++cell) {
    const int cellX = (cell & 1) * 2, cellY = (cell >> 1) * 2;
    for (int channel = kRed; channel <= kBlue; ++channel) {
      auto &list = made.sites[cell][channel];
      for (int dy = 0; dy < 2; ++dy)
        for (int dx = 0; dx < 2; ++dx)
          if (static_cast<int>(mosaic.pattern[(cellY + dy) * 4 + cellX + dx]) == channel)
            list.push_back({dx, dy});
      if (!list.empty()) continue;
      for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
          if (static_cast<int>(mosaic.pattern[y * 4 + x]) == channel)
            list.push_back({x - cellX, y - cellY});
      // A pattern without this colour at all (an RCCC-like sensor): the cell's greens stand in.
      if (list.empty() && channel != kGreenRed) list = made.sites[cell][kGreenRed];
    }
  }
  return made;
}

}  // namespace

Samples samplesOf(const Mosaic &mosaic) {
  Samples samples;
  samples.columns = mosaic.width / 2;
  samples.rows = mosaic.height / 2;
  samples.quads.resize(static_cast<size_t>(samples.columns) * samples.rows);
  const float scale =
      mosaic.whiteLevel > 0 ? static_cast<float>(kFullScale) / mosaic.whiteLevel : 0;
  const auto level = [&](float code) {
    const float value = code * scale;
    // Not "value < 0": a code that is not a number reads black.
    return value > 0 ? std::min(value, static_cast<float>(kFullScale)) : 0.0f;
  };
  const SampleSites sites = sampleSites(mosaic);
  for (int row = 0; row < samples.rows; ++row) {
    for (int column = 0; column < samples.columns; ++column) {
      const int x = column * 2, y = row * 2;
      const auto &cell = sites.sites[(column & 1) | ((row & 1) << 1)];
      Quad &quad = samples.quads[static_cast<size_t>(row) * samples.columns + column];
      for (int channel = kRed; channel <= kBlue; ++channel) {
        const auto &list = cell[channel];
        float sum = 0;
        for (const Offset &offset : list) {
          const int sx = std::clamp(x + offset.dx, 0, mosaic.width - 1);
          const int sy = std::clamp(y + offset.dy, 0, mosaic.height - 1);
          sum += level(mosaic.at(sx, sy));
        }
        quad[channel] = list.empty() ? 0 : sum / static_cast<float>(list.size());
      }
    }
  }
  return samples;
}

namespace {

constexpr int kSampleSize = 2;  // pixels of a sample, across and down

int64_t ceilDivide(int64_t value, int64_t divisor) {
  return value >= 0 ? (value + divisor - 1) / divisor : -(-value / divisor);
}

}  // namespace

Span spanOf(int64_t offset, int64_t length, int count) {
  const auto firstFrom = [&](int64_t pixel) {
    return static_cast<int>(
        std::clamp<int64_t>(ceilDivide(pixel - kSampleSize / 2, kSampleSize), 0, count));
  };
  Span span{firstFrom(offset), firstFrom(offset + length)};
  span.end = std::max(span.end, span.first);
  return span;
}

Window windowOf(const TDatabaseFrameWindow &rectangle, const Samples &samples) {
  return {spanOf(rectangle.offset.x, rectangle.width, samples.columns),
          spanOf(rectangle.offset.y, rectangle.height, samples.rows)};
}

uint32_t frameSamples(TDriver &locked, Source source, std::unique_lock<std::mutex> &lock,
                      SampledFrame **frame) {
  tdriver::Camera *camera = nullptr;
  if (const uint32_t code = tdriver::syncedCamera(locked, lock, &camera); code != TCOMMON_SUCCESS)
    return code;
  auto &kept = camera->sampled[source == Source::kSensor ? 1 : 0];
  const uint64_t frameNumber = camera->pipeline.frameNumber();
  if (kept.generation != camera->generation || kept.frameNumber != frameNumber) {
    kept.generation = UINT64_MAX;  // stale until taken again
    kept.measured.clear();
    if (const uint32_t code = tdriver::allocating([&] {
          const Tap tap = source == Source::kSensor ? Tap::kRaw : Tap::kWhiteBalance;
          kept.samples = samplesOf(camera->pipeline.mosaicAt(tap));
        });
        code != TCOMMON_SUCCESS)
      return code;
    kept.generation = camera->generation;
    kept.frameNumber = frameNumber;
  }
  *frame = &kept;
  return TCOMMON_SUCCESS;
}

uint32_t latchUnit(TDriver &locked, const char *unit) {
  void *record = nullptr;
  if (const uint32_t code = TDatabase_query(locked.database, unit, &record);
      code != TCOMMON_SUCCESS)
    return code;
  auto found = locked.hardware.find(std::string_view(unit));
  if (found == locked.hardware.end()) {
    uint64_t size = 0;
    if (const uint32_t code = TDatabase_recordSize(unit, &size); code != TCOMMON_SUCCESS)
      return code;
    if (const uint32_t code = tdriver::allocating([&] {
          found = locked.hardware.emplace(unit, std::make_unique<std::byte[]>(size)).first;
        });
        code != TCOMMON_SUCCESS)
      return code;
  }
  return TDatabase_copyRecord(unit, found->second.get(), record);
}

uint32_t readUnit(TDriver &locked, const char *unit, void **record) {
  if (const uint32_t code = TDatabase_query(locked.database, unit, record); code != TCOMMON_SUCCESS)
    return code;
  const auto found = locked.hardware.find(std::string_view(unit));
  if (found == locked.hardware.end()) return TCOMMON_SUCCESS;
  return TDatabase_copyRecord(unit, *record, found->second.get());
}

uint32_t transferWithUnit(TDriver *driver, const tdriver::Block &block, const char *function,
                          const char *unit, uint8_t flag) {
  if (flag != 0 || function != block.process)
    return tdriver::blockTransfer(driver, function, block.category, flag,
                                  tdriver::Direction::kReadBack, block.readBack);
  if (const uint32_t code =
          tdriver::blockTransfer(driver, function, block.category, 0, tdriver::Direction::kPush);
      code != TCOMMON_SUCCESS)
    return code;
  return tdriver::withDriver(driver, [&](TDriver &locked) { return latchUnit(locked, unit); });
}

}  // namespace tcamera
