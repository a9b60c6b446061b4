// "RGBIR" and "RGBIR_1_1" in the simulated ISP: separates the infrared seen by an RGB-IR
// sensor and rebuilds a Bayer mosaic from what is left.
//
// An RGB-IR sensor has no infrared-cut filter: its colour sites see some infrared as well, and
// a quarter of its sites see infrared only. The block works on the frame's own 4 x 4 colour
// layout. First, per channel (R, G, B, IR), each site's black level is evened out (the channel's
// bls less the mean of the four: the common pedestal is the black-level block's business) and
// lone defects are replaced by the mean of their nearest same-channel neighbours. Then every
// site gets an estimate of all four channels (its own value for its own channel, the mean of
// the nearest sites of that channel otherwise), and the colour that the output Bayer order
// wants there is rebuilt through the 3 x 4 matrix (R, G, B out of R, G, B, IR). Near
// saturation the infrared estimate is unreliable, so above irThreshold (infrared level) and
// lThreshold (green level, standing for luma) the removal fades out over kFadeWidth. Levels
// are on the 12-bit scale and scaled to the sensor's depth. A Bayer frame passes through.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "stages.h"
#include "vector4.h"

namespace tcamera {
namespace {

constexpr float kRecordCodes = 4096;  // levels are on the 12-bit scale
constexpr float kFadeWidth = 256;     // 12-bit codes over which the removal fades out
constexpr int kChannels = 4;          // R, G, B, IR
constexpr int kMaxTaps = 8;
constexpr int kReach = 2;  // nearest sites are looked for up to this far

using vector4::Vec;
using Bits = int32_t __attribute__((vector_size(16)));

int channelOf(Cfa c) {
  switch (c) {
    case Cfa::kRed:
      return 0;
    case Cfa::kBlue:
      return 2;
    case Cfa::kInfrared:
      return 3;
    default:
      return 1;
  }
}

// The nearest sites of each channel around each of the 16 positions of the pattern (the
// site itself left out).
struct Taps {
  int count = 0;
  std::array<int8_t, kMaxTaps> dx{}, dy{};
};
using TapTable = std::array<std::array<Taps, kChannels>, 16>;

TapTable tapTable(const std::array<Cfa, 16> &pattern) {
  TapTable table{};
  for (int py = 0; py < 4; ++py)
    for (int px = 0; px < 4; ++px)
      for (int channel = 0; channel < kChannels; ++channel) {
        int nearest = 1 << 30;
        for (int dy = -kReach; dy <= kReach; ++dy)
          for (int dx = -kReach; dx <= kReach; ++dx) {
            const Cfa c = pattern[((py + dy) & 3) * 4 + ((px + dx) & 3)];
            if ((dx || dy) && channelOf(c) == channel)
              nearest = std::min(nearest, dx * dx + dy * dy);
          }
        Taps &taps = table[py * 4 + px][channel];
        for (int dy = -kReach; dy <= kReach; ++dy)
          for (int dx = -kReach; dx <= kReach; ++dx) {
            const Cfa c = pattern[((py + dy) & 3) * 4 + ((px + dx) & 3)];
            if ((dx || dy) && channelOf(c) == channel && dx * dx + dy * dy == nearest &&
                taps.count < kMaxTaps) {
              taps.dx[taps.count] = static_cast<int8_t>(dx);
              taps.dy[taps.count] = static_cast<int8_t>(dy);
              ++taps.count;
            }
          }
      }
  return table;
}

struct Separation {
  std::array<float, kChannels> offset;  // black level of each channel above the common one
  std::array<float, kChannels> threshold, midThreshold;  // defect detection
  float matrix[3][kChannels];
  float irThreshold, lumaThreshold, fadeWidth;
};

// A copy of one exposure with a border of kReach sites, filled from one pattern period
// inwards so that every border site has the colour its position in the pattern says; taps
// then become fixed offsets.
struct Padded {
  int width = 0, height = 0, stride = 0;
  std::vector<float> data;

  void shape(int w, int h) {
    width = w, height = h, stride = w + 2 * kReach;
    data.resize(static_cast<size_t>(stride) * (h + 2 * kReach));
  }
  float *row(int y) { return &data[static_cast<size_t>(y + kReach) * stride + kReach]; }
  const float *row(int y) const { return &data[static_cast<size_t>(y + kReach) * stride + kReach]; }
  void fillBorder() {
    for (int y = 0; y < height; ++y) {
      float *r = row(y);
      for (int k = 1; k <= kReach; ++k) r[-k] = r[4 - k], r[width - 1 + k] = r[width - 5 + k];
    }
    for (int k = 1; k <= kReach; ++k) {
      std::copy_n(row(4 - k) - kReach, stride, row(-k) - kReach);
      std::copy_n(row(height - 5 + k) - kReach, stride, row(height - 1 + k) - kReach);
    }
  }
};

// Tap offsets of one channel around one pattern position, with the weight of each.
struct Gather {
  int count = 0;
  std::array<int, kMaxTaps> offset{};
  float weight = 0;
};

std::array<std::array<Gather, kChannels>, 16> gatherTable(const TapTable &table, int stride) {
  std::array<std::array<Gather, kChannels>, 16> gather{};
  for (int phase = 0; phase < 16; ++phase)
    for (int channel = 0; channel < kChannels; ++channel) {
      const Taps &taps = table[phase][channel];
      Gather &g = gather[phase][channel];
      g.count = taps.count;
      g.weight = taps.count ? 1.0f / taps.count : 0;
      for (int t = 0; t < taps.count; ++t) g.offset[t] = taps.dy[t] * stride + taps.dx[t];
    }
  return gather;
}

// Every fourth site of a row from x0 (one column of the pattern, all of one channel) with
// the same Count taps: black levels evened out already, lone defects replaced. The tap count
// is a constant here, so the loops over the taps unroll.
template <int Count>
void cleanColumn(const float *row, float *out, int x0, int width, const Gather &g, float threshold,
                 float midThreshold) {
  for (int x = x0; x < width; x += 4) {
    const float v = row[x];
    float lo = 1e30f, hi = -1e30f, sum = 0;
    for (int t = 0; t < Count; ++t) {
      const float n = row[x + g.offset[t]];
      lo = std::min(lo, n), hi = std::max(hi, n), sum += n;
    }
    const float mean = Count ? sum * g.weight : v;
    // Far outside the neighbours' range, or off a flat neighbourhood by the mid threshold.
    const bool lone = v > hi + threshold || v < lo - threshold;
    const bool flatOutlier = hi - lo < midThreshold && std::fabs(v - mean) > midThreshold;
    out[x] = Count && (lone || flatOutlier) ? mean : v;
  }
}

// The mean of Count taps at every fourth site of a row from x0, into estimate[0, 1, ...].
template <int Count>
void estimateColumn(const float *row, int x0, int width, const Gather &g, float *estimate) {
  for (int x = x0, i = 0; x < width; x += 4, ++i) {
    float sum = 0;
    for (int t = 0; t < Count; ++t) sum += row[x + g.offset[t]];
    estimate[i] = sum * g.weight;
  }
}

// f<Count>() for the tap count count (0 .. kMaxTaps).
template <int Count = 0, typename F>
void byCount(int count, F &&f) {
  if constexpr (Count <= kMaxTaps) {
    if (count == Count) return f.template operator()<Count>();
    byCount<Count + 1>(count, f);
  }
}

// A masked tap: the offset and the lanes (all ones) that take it.
struct LaneTap {
  int offset;
  Bits lanes;
};

inline Vec select(Bits mask, Vec a, Vec b) {
  return reinterpret_cast<Vec>((reinterpret_cast<Bits>(a) & mask) |
                               (reinterpret_cast<Bits>(b) & ~mask));
}

// One row phase of the pattern (y & 3) laid across four lanes, one pattern column each, for
// the defect check: each lane's own channel, its taps in the order they are listed.
struct CleanPlan {
  std::vector<LaneTap> taps;
  Vec threshold, midThreshold, weight;
  Bits counted;  // lanes with neighbours of their channel
};

CleanPlan cleanPlan(int rowPhase, const std::array<Cfa, 16> &pattern, const TapTable &table,
                    const Separation &s, int stride) {
  CleanPlan plan{};
  int channels[4];
  for (int k = 0; k < 4; ++k) channels[k] = channelOf(pattern[rowPhase * 4 + k]);
  for (int dy = -kReach; dy <= kReach; ++dy)
    for (int dx = -kReach; dx <= kReach; ++dx) {
      Bits lanes{};
      bool any = false;
      for (int k = 0; k < 4; ++k) {
        const Taps &taps = table[rowPhase * 4 + k][channels[k]];
        for (int t = 0; t < taps.count; ++t)
          if (taps.dx[t] == dx && taps.dy[t] == dy) lanes[k] = -1, any = true;
      }
      if (any) plan.taps.push_back({dy * stride + dx, lanes});
    }
  for (int k = 0; k < 4; ++k) {
    const int count = table[rowPhase * 4 + k][channels[k]].count;
    plan.threshold[k] = s.threshold[channels[k]];
    plan.midThreshold[k] = s.midThreshold[channels[k]];
    plan.weight[k] = count ? 1.0f / count : 0.0f;
    plan.counted[k] = count ? -1 : 0;
  }
  return plan;
}

// Black levels evened out and lone defects replaced, on one exposure (values above black).
// Four sites at a time, one pattern period across the lanes; a row that does not end on the
// pattern finishes its last sites one pattern column at a time.
void cleanSites(const Mosaic &in, const Padded &src, const TapTable &table, const Separation &s,
                Padded &dst) {
  const auto gather = gatherTable(table, src.stride);
  std::array<CleanPlan, 4> plans;
  for (int rowPhase = 0; rowPhase < 4; ++rowPhase)
    plans[rowPhase] = cleanPlan(rowPhase, in.pattern, table, s, src.stride);
  const int groups = in.width / 4 * 4;
  parallelRows(in.height, [&](int first, int last) {
    const Vec zero = vector4::splat(0);
    const Vec lowest = vector4::splat(1e30f), highest = vector4::splat(-1e30f);
    for (int y = first; y < last; ++y) {
      const float *row = src.row(y);
      float *out = dst.row(y);
      const CleanPlan &plan = plans[y & 3];
      for (int x = 0; x < groups; x += 4) {
        const Vec v = vector4::load(row + x);
        Vec lo = lowest, hi = highest, sum = zero;
        for (const LaneTap &tap : plan.taps) {
          const Vec n = vector4::load(row + x + tap.offset);
          lo = select(tap.lanes & (n < lo), n, lo);
          hi = select(tap.lanes & (hi < n), n, hi);
          sum += reinterpret_cast<Vec>(reinterpret_cast<Bits>(n) & tap.lanes);
        }
        const Vec mean = select(plan.counted, sum * plan.weight, v);
        // Far outside the neighbours' range, or off a flat neighbourhood by the mid threshold.
        const Bits lone = (v > hi + plan.threshold) | (v < lo - plan.threshold);
        const Vec off = reinterpret_cast<Vec>(reinterpret_cast<Bits>(v - mean) & INT32_MAX);
        const Bits flatOutlier = (hi - lo < plan.midThreshold) & (off > plan.midThreshold);
        vector4::store(out + x, select(plan.counted & (lone | flatOutlier), mean, v));
      }
      for (int x0 = groups; x0 < in.width; ++x0) {
        const int channel = channelOf(in.colourAt(x0, y));
        const Gather &g = gather[(y & 3) * 4 + (x0 & 3)][channel];
        byCount(g.count, [&]<int Count>() {
          cleanColumn<Count>(row, out, x0, in.width, g, s.threshold[channel],
                             s.midThreshold[channel]);
        });
      }
    }
  });
}

// What one pattern position needs: its own channel, the output colour wanted there, and the
// channels to estimate (those the output colour's matrix row uses, itself, and green and
// infrared for the fade).
struct Site {
  int own = 0, target = 0, count = 0;
  std::array<int, kChannels> channels{};
};

// One row phase of the pattern (y & 3) laid across four lanes, one pattern column each, so
// that four sites go at once. A channel's estimate sums, over every offset any lane takes a
// tap from (in the order the taps are listed), the lanes that take it, and is then scaled by
// each lane's weight: the same sums, in the same order, as site by site.
struct RowPlan {
  struct Tap {
    int offset;
    Bits lanes;  // all ones in the lanes that take this tap
  };
  std::array<std::vector<Tap>, kChannels> taps;
  Vec weight[kChannels];   // 1 / count, 0 in lanes that do not need the channel
  Bits own[kChannels];     // lanes whose own channel this is: the site's value
  Bits target[kChannels];  // lanes that want this channel out
  Vec matrix[kChannels];   // the wanted colour's matrix weight of each channel
};

RowPlan rowPlan(int rowPhase, const std::array<Site, 16> &sites, const TapTable &table,
                const Separation &s, int stride) {
  RowPlan plan{};
  for (int channel = 0; channel < kChannels; ++channel) {
    for (int dy = -kReach; dy <= kReach; ++dy)
      for (int dx = -kReach; dx <= kReach; ++dx) {
        Bits lanes{};
        bool any = false;
        for (int k = 0; k < 4; ++k) {
          const Site &site = sites[rowPhase * 4 + k];
          if (std::find(site.channels.begin(), site.channels.begin() + site.count, channel) ==
              site.channels.begin() + site.count)
            continue;
          const Taps &taps = table[rowPhase * 4 + k][channel];
          for (int t = 0; t < taps.count; ++t)
            if (taps.dx[t] == dx && taps.dy[t] == dy) lanes[k] = -1, any = true;
        }
        if (any) plan.taps[channel].push_back({dy * stride + dx, lanes});
      }
    for (int k = 0; k < 4; ++k) {
      const Site &site = sites[rowPhase * 4 + k];
      const Taps &taps = table[rowPhase * 4 + k][channel];
      const bool needed = std::find(site.channels.begin(), site.channels.begin() + site.count,
                                    channel) != site.channels.begin() + site.count;
      plan.weight[channel][k] = needed && taps.count ? 1.0f / taps.count : 0.0f;
      plan.own[channel][k] = site.own == channel ? -1 : 0;
      plan.target[channel][k] = site.target == channel ? -1 : 0;
      plan.matrix[channel][k] = s.matrix[site.target][channel];
    }
  }
  return plan;
}

// The Bayer mosaic rebuilt from the cleaned sites (values above black).
void separate(const Mosaic &in, const Padded &clean, const TapTable &table, const Separation &s,
              const std::array<Cfa, 16> &outPattern, std::vector<float> &dst) {
  const int width = in.width;
  const auto gather = gatherTable(table, clean.stride);
  std::array<Site, 16> sites{};
  for (int phase = 0; phase < 16; ++phase) {
    Site &site = sites[phase];
    site.own = channelOf(in.pattern[phase]);
    site.target = channelOf(outPattern[phase]);
    for (int channel = 0; channel < kChannels; ++channel)
      if (s.matrix[site.target][channel] != 0 || channel == site.target || channel == 1 ||
          channel == 3)
        site.channels[site.count++] = channel;
  }
  std::array<RowPlan, 4> plans;
  for (int rowPhase = 0; rowPhase < 4; ++rowPhase)
    plans[rowPhase] = rowPlan(rowPhase, sites, table, s, clean.stride);
  const float fade = 1 / s.fadeWidth;
  const float irEnd = s.irThreshold + s.fadeWidth, lumaEnd = s.lumaThreshold + s.fadeWidth;
  const int groups = width / 4 * 4;  // sites that go four at a time
  const int column = (width - groups + 3) / 4;
  parallelRows(in.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const float *row = clean.row(y);
      float *out = &dst[static_cast<size_t>(y) * width];
      const RowPlan &plan = plans[y & 3];
      const Vec zero = vector4::splat(0), one = vector4::splat(1);
      for (int x = 0; x < groups; x += 4) {
        const Vec centre = vector4::load(row + x);
        Vec e[kChannels];
        for (int channel = 0; channel < kChannels; ++channel) {
          Vec sum = zero;
          for (const RowPlan::Tap &tap : plan.taps[channel])
            sum += reinterpret_cast<Vec>(
                reinterpret_cast<Bits>(vector4::load(row + x + tap.offset)) & tap.lanes);
          e[channel] = select(plan.own[channel], centre, sum * plan.weight[channel]);
        }
        Vec wanted = zero;
        for (int channel = 0; channel < kChannels; ++channel)
          wanted = select(plan.target[channel], e[channel], wanted);
        const Vec corrected = plan.matrix[0] * e[0] + plan.matrix[1] * e[1] +
                              plan.matrix[2] * e[2] + plan.matrix[3] * e[3];
        const auto unit = [&](Vec v) { return select(v < zero, zero, select(one < v, one, v)); };
        const Vec keep = unit((vector4::splat(irEnd) - e[3]) * fade) *
                         unit((vector4::splat(lumaEnd) - e[1]) * fade);
        vector4::store(out + x, vector4::splat(in.blackLevel) +
                                    vector4::max(wanted + keep * (corrected - wanted), zero));
      }
      if (groups == width) continue;
      // The last sites of a row that does not end on the pattern, a pattern column at a time.
      float estimates[kChannels][4];
      for (int x0 = groups; x0 < width; ++x0) {
        const int phase = (y & 3) * 4 + (x0 & 3);
        const Site &site = sites[phase];
        float *e[kChannels];
        for (int channel = 0; channel < kChannels; ++channel) {
          e[channel] = estimates[channel];
          std::fill_n(e[channel], column, 0.0f);
        }
        for (int i = 0; i < site.count; ++i) {
          const Gather &g = gather[phase][site.channels[i]];
          byCount(g.count, [&]<int Count>() {
            estimateColumn<Count>(row, x0, width, g, e[site.channels[i]]);
          });
        }
        for (int x = x0, i = 0; x < width; x += 4, ++i) e[site.own][i] = row[x];
        const float *m = s.matrix[site.target];
        const float *wanted = e[site.target];
        for (int x = x0, i = 0; x < width; x += 4, ++i) {
          const float corrected = m[0] * e[0][i] + m[1] * e[1][i] + m[2] * e[2][i] + m[3] * e[3][i];
          const float keep = std::clamp((irEnd - e[3][i]) * fade, 0.0f, 1.0f) *
                             std::clamp((lumaEnd - e[1][i]) * fade, 0.0f, 1.0f);
          out[x] = in.blackLevel + std::max(0.0f, wanted[i] + keep * (corrected - wanted[i]));
        }
      }
    }
  });
}

// One exposure through the block.
void processExposure(const Mosaic &in, const std::vector<float> &data, const TapTable &table,
                     const Separation &s, const std::array<Cfa, 16> &outPattern, Padded &raw,
                     Padded &clean, std::vector<float> &dst) {
  parallelRows(in.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      float offsets[4];
      for (int x = 0; x < 4; ++x)
        offsets[x] = in.blackLevel + s.offset[channelOf(in.colourAt(x, y))];
      const float *src = &data[static_cast<size_t>(y) * in.width];
      float *r = raw.row(y);
      for (int x = 0; x < in.width; ++x) r[x] = src[x] - offsets[x & 3];
    }
  });
  raw.fillBorder();
  cleanSites(in, raw, table, s, clean);
  clean.fillBorder();
  separate(in, clean, table, s, outPattern, dst);
}

}  // namespace

bool stageRgbInfraredRadiation(const Mosaic &in, const TDatabaseRgbInfraredRadiation &state,
                               const FrameContext &context, Mosaic &out) {
  (void)context;
  const bool infrared =
      std::any_of(in.pattern.begin(), in.pattern.end(), [](Cfa c) { return c == Cfa::kInfrared; });
  if (state.state == 0 || !infrared || in.width < 8 || in.height < 8) return false;
  // The record's levels are on the 12-bit scale: scale them to the sensor's depth.
  const float scale = (in.whiteLevel + 1) / kRecordCodes;
  Separation s{};
  const float meanBls =
      (static_cast<float>(state.bls[0]) + state.bls[1] + state.bls[2] + state.bls[3]) / kChannels;
  for (int c = 0; c < kChannels; ++c) {
    s.offset[c] = (state.bls[c] - meanBls) * scale;
    s.threshold[c] = state.dpccTh[c] * scale;
    s.midThreshold[c] = state.dpccMidTh[c] * scale;
  }
  // The matrix is for the signal as the sensor gave it: take out the gains applied since
  // (white balance before this block) and put the wanted colour's gain back.
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < kChannels; ++c) {
      const float from = in.colourGain[c] > 0 ? in.colourGain[c] : 1.0f;
      s.matrix[r][c] = state.ccMatrix[r * kChannels + c] * in.colourGain[r] / from;
    }
  s.irThreshold = state.irThreshold * scale;
  s.lumaThreshold = state.lThreshold * scale;
  s.fadeWidth = kFadeWidth * scale;

  const TapTable table = tapTable(in.pattern);
  out = in.sameShape();
  out.pattern = bayerPattern(state.outRgbPattern & 3);
  // Kept between frames: two frame-sized copies allocated afresh would cost page faults on
  // every frame.
  thread_local Padded raw, clean;
  raw.shape(in.width, in.height);
  clean.shape(in.width, in.height);
  processExposure(in, in.data, table, s, out.pattern, raw, clean, out.data);
  if (!in.shortData.empty())
    processExposure(in, in.shortData, table, s, out.pattern, raw, clean, out.shortData);
  return true;
}

}  // namespace tcamera
