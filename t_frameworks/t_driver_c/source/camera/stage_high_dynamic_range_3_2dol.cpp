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

#include "stages.h"

namespace tcamera {
namespace {

constexpr float kMotionWeightUnit = 256;  // motionWeight: 256 = 1
constexpr float kClipMargin = 1;
constexpr int kMaxShift = 16;  // extendBit beyond this adds nothing a float can use          // a
                               // long site within this many codes of white clips

// 0 below lo, 1 above hi, linear between (a step at lo when hi <= lo).
float ramp(float v, float lo, float hi) {
  if (hi <= lo) return v >= lo ? 1.0f : 0.0f;
  return std::clamp((v - lo) / (hi - lo), 0.0f, 1.0f);
}

struct Merge {
  float black, clip;           // input pedestal and the long frame's clip, codes above black
  float longGain, shortGain;   // alignment of each frame to the merged scale
  float ratio;                 // long over short, as the block assumes it
  float weights[4];            // luma weight per site of the quad, summing to 1
  float transStart, transEnd;  // in codes of the long frame above black
  bool deGhost;
  float motionLow, motionHigh, motionScale, darkLow, darkHigh;
  float reference;  // short-frame weight the de-ghosting leans to
  float outClip;    // merged clip, codes above black
};

void mergeRows(const Mosaic &in, const Merge &m, Mosaic &out, int firstQuadRow, int lastQuadRow) {
  const int width = in.width;
  for (int qy = firstQuadRow; qy < lastQuadRow; ++qy) {
    for (int qx = 0; qx < (width + 1) / 2; ++qx) {
      size_t index[4];
      int sites = 0;
      for (int dy = 0; dy < 2; ++dy)
        for (int dx = 0; dx < 2; ++dx) {
          const int x = std::min(qx * 2 + dx, width - 1), y = std::min(qy * 2 + dy, in.height - 1);
          index[sites++] = static_cast<size_t>(y) * width + x;
        }
      float longValue[4], shortValue[4];
      float longLuma = 0, shortLuma = 0;
      bool clipped = false;
      for (int i = 0; i < 4; ++i) {
        longValue[i] = in.data[index[i]] - m.black;
        shortValue[i] = in.shortData[index[i]] - m.black;
        clipped = clipped || longValue[i] >= m.clip - kClipMargin;
        longLuma += m.weights[i] * longValue[i];
        shortLuma += m.weights[i] * shortValue[i];
      }
      float shortWeight = ramp(longLuma, m.transStart, m.transEnd);
      if (m.deGhost) {
        const float motion = std::fabs(longLuma - shortLuma * m.ratio) * m.motionScale;
        const float ghost =
            ramp(motion, m.motionLow, m.motionHigh) * ramp(longLuma, m.darkLow, m.darkHigh);
        shortWeight += ghost * (m.reference - shortWeight);
      }
      if (clipped) shortWeight = 1;
      for (int i = 0; i < 4; ++i) {
        const float merged = (1 - shortWeight) * longValue[i] * m.longGain +
                             shortWeight * shortValue[i] * m.shortGain;
        out.data[index[i]] = m.black + std::clamp(merged, 0.0f, m.outClip);
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
  m.transStart = state.transRange[0][0] * m.clip;
  m.transEnd = state.transRange[0][1] * m.clip;
  const auto &ghost = state.deGhostLs;
  m.deGhost = ghost.isEnable != 0;
  m.motionLow = ghost.motionLowerThreshold;
  m.motionHigh = ghost.motionUpperThreshold;
  m.motionScale = state.motionWeight[0] / kMotionWeightUnit;
  m.darkLow = ghost.darkLowerThreshold;
  m.darkHigh = ghost.darkUpperThreshold;
  m.reference = state.referenceFrame != 0 ? 1.0f : 0.0f;
  m.outClip = m.clip * std::ldexp(1.0f, std::clamp<int>(state.extendBit[1], -kMaxShift, kMaxShift));
  out.whiteLevel = in.blackLevel + m.outClip;
  out.data.resize(in.data.size());
  parallelRows((in.height + 1) / 2,
               [&](int first, int last) { mergeRows(in, m, out, first, last); });
  return true;
}

}  // namespace tcamera
