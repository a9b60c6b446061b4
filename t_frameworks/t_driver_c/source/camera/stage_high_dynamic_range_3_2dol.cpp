// "HDR_3_2DOL" in the simulated ISP: merges the long and the short exposure of a two-frame
// (digital overlap) sensor into one frame of extended range.
//
// The merge works on 2 x 2 Bayer quads. The short frame is brought to the long frame's scale
// by the exposure ratio; the luma of the long quad (colour-weighted) selects between the two:
// below the start of the transition range only the long frame counts, above its end only the
// short one, linearly between; a quad with a clipped long site always takes the short frame.
// De-ghosting: where the long and the aligned short lumas differ by more than the motion
// thresholds (the frames saw something move), the merge leans on the reference frame; in
// the dark, below the dark thresholds, the short frame's amplified noise would look like
// motion, so there the motion measure is faded out. The merged frame keeps the long frame's
// scale and gains extendBit[1] bits of range above the sensor's clip. A bypassed block passes
// the frame chosen by bypassSelect. A frame of a linear sensor mode passes through.
#include <algorithm>
#include <cmath>
#include <limits>

#include "stages.h"

namespace tcamera {
namespace {

constexpr float kMotionWeightUnit = 256;  // motionWeight: 256 = 1
constexpr float kClipMargin = 1;          // a long site within this many codes of white clips
constexpr int kMaxShift = 16;             // extendBit beyond this adds nothing a float can use

// A rising ramp: 0 up to start, 1 from start + 1 / slope on (a step just above start when
// the range is empty).
struct Ramp {
  float start = 0, slope = 0;

  static Ramp between(float lo, float hi) {
    return {lo, hi > lo ? 1 / (hi - lo) : std::numeric_limits<float>::max()};
  }
  float operator()(float v) const { return v < start ? 0.0f : std::min(1.0f, (v - start) * slope); }
};

struct Merge {
  float black, clip;          // input pedestal and the long frame's clip, codes above black
  float longGain, shortGain;  // alignment of each frame to the merged scale
  float ratio;                // long over short, as the block assumes it
  float weights[4];           // luma weight per site of the quad, summing to 1
  Ramp transition;            // in codes of the long frame above black
  bool deGhost;
  Ramp motion, dark;
  float motionScale;
  float reference;  // short-frame weight the de-ghosting leans to
  float outClip;    // merged clip, codes above black
};

void mergeRows(const Mosaic &in, const Merge &m, Mosaic &out, int firstQuadRow, int lastQuadRow) {
  const int width = in.width;
  for (int qy = firstQuadRow; qy < lastQuadRow; ++qy) {
    // The quad's two rows (the last row of an odd height stands in for the missing one).
    const size_t rows[2] = {static_cast<size_t>(2 * qy) * width,
                            static_cast<size_t>(std::min(2 * qy + 1, in.height - 1)) * width};
    const float *longRows[2] = {&in.data[rows[0]], &in.data[rows[1]]};
    const float *shortRows[2] = {&in.shortData[rows[0]], &in.shortData[rows[1]]};
    float *outRows[2] = {&out.data[rows[0]], &out.data[rows[1]]};
    for (int x = 0; x < width; x += 2) {
      const int columns[2] = {x, std::min(x + 1, width - 1)};
      float longValue[4], shortValue[4];
      float longLuma = 0, shortLuma = 0, brightest = 0;
      for (int i = 0; i < 4; ++i) {
        const int row = i >> 1, column = columns[i & 1];
        longValue[i] = longRows[row][column] - m.black;
        shortValue[i] = shortRows[row][column] - m.black;
        brightest = std::max(brightest, longValue[i]);
        longLuma += m.weights[i] * longValue[i];
        shortLuma += m.weights[i] * shortValue[i];
      }
      float shortWeight = m.transition(longLuma);
      if (m.deGhost) {
        const float motion = std::fabs(longLuma - shortLuma * m.ratio) * m.motionScale;
        const float ghost = m.motion(motion) * m.dark(longLuma);
        shortWeight += ghost * (m.reference - shortWeight);
      }
      if (brightest >= m.clip - kClipMargin) shortWeight = 1;  // the long frame clipped here
      for (int i = 0; i < 4; ++i) {
        const float merged = (1 - shortWeight) * longValue[i] * m.longGain +
                             shortWeight * shortValue[i] * m.shortGain;
        outRows[i >> 1][columns[i & 1]] = m.black + std::clamp(merged, 0.0f, m.outClip);
      }
    }
  }
}

}  // namespace

bool stageHighDynamicRange_3_2Dol(const Mosaic &in, const TDatabaseHighDynamicRange_3_2Dol &state,
                                  const FrameContext &context, Mosaic &out) {
  (void)context;
  if (in.shortData.size() != in.data.size()) return false;  // a linear sensor mode
  out.width = in.width;
  out.height = in.height;
  out.pattern = in.pattern;
  out.blackLevel = in.blackLevel;
  out.whiteLevel = in.whiteLevel;
  out.exposureRatio = 1;
  out.shortData.clear();
  if (state.state == 0) {
    out.data = state.bypassSelect != 0 ? in.shortData : in.data;
    return true;
  }
  Merge m{};
  m.black = in.blackLevel;
  m.clip = in.whiteLevel - in.blackLevel;
  m.ratio = state.ratio[0];
  m.longGain = std::ldexp(1.0f, std::clamp<int>(state.extendBit[0], -kMaxShift, kMaxShift));
  m.shortGain = m.ratio * m.longGain;
  // The quad's luma: red, the mean of the two greens, blue.
  const float sum =
      static_cast<float>(state.colorWeight[0]) + state.colorWeight[1] + state.colorWeight[2];
  for (int i = 0; i < 4; ++i) {
    const Cfa c = in.pattern[(i >> 1) * 4 + (i & 1)];
    const int channel = c == Cfa::kRed ? 0 : c == Cfa::kBlue ? 2 : 1;
    const float share = channel == 1 ? 0.5f : 1.0f;
    m.weights[i] = sum > 0 ? share * state.colorWeight[channel] / sum : 0.25f;
  }
  m.transition = Ramp::between(state.transRange[0][0] * m.clip, state.transRange[0][1] * m.clip);
  const auto &ghost = state.deGhostLs;
  m.deGhost = ghost.isEnable != 0;
  m.motion = Ramp::between(ghost.motionLowerThreshold, ghost.motionUpperThreshold);
  m.motionScale = state.motionWeight[0] / kMotionWeightUnit;
  m.dark = Ramp::between(ghost.darkLowerThreshold, ghost.darkUpperThreshold);
  m.reference = state.referenceFrame != 0 ? 1.0f : 0.0f;
  m.outClip = m.clip * std::ldexp(1.0f, std::clamp<int>(state.extendBit[1], -kMaxShift, kMaxShift));
  out.whiteLevel = in.blackLevel + m.outClip;
  out.data.resize(in.data.size());
  parallelRows((in.height + 1) / 2,
               [&](int first, int last) { mergeRows(in, m, out, first, last); });
  return true;
}

}  // namespace tcamera
