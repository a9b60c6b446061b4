// "CNR_2_2" in the simulated ISP: chroma noise reduction over a three-layer pyramid. The
// display-encoded RGB is split into BT.601 luma and chroma; the chroma is halved three times
// and each layer's detail (the layer minus the next coarser one brought back up) is shrunk
// where it is small against the noise: d * d^2 / (d^2 + s^2), with s = 2 x cSigmaLayer[layer]
// (8-bit chroma steps, finest layer first) x cnrStrength / 128. Detail well above s, a real
// colour edge, passes almost unchanged; the coarsest remainder is kept, so the mean colour
// of an area stays. Luma is not touched.
// textureMaskSelect lets luma texture protect the chroma detail that goes with it (a
// coloured pattern is usually textured in luma too): 0 no protection, 1 the finest layer,
// 2 (and above) the two finest layers; s falls by half where the luma changes by
// kTextureStep between neighbours.
#include <algorithm>
#include <cmath>
#include <vector>

#include "stages.h"

namespace tcamera {
namespace {

constexpr int kLayers = 3;
constexpr float kKr = 0.299f, kKg = 0.587f, kKb = 0.114f;
constexpr float kCbScale = 0.5f / (1.0f - kKb);
constexpr float kCrScale = 0.5f / (1.0f - kKr);
constexpr float kCbToB = 1.0f / kCbScale, kCrToR = 1.0f / kCrScale, kInverseKg = 1.0f / kKg;
constexpr float kChromaStep = 1.0f / 255.0f;  // cSigmaLayer unit
// Detail at twice the noise sigma is halved: most of the noise, which rarely reaches that
// far, goes, while colour edges well above it stay.
constexpr float kSigmaReach = 2.0f;
constexpr float kStrengthUnity = 128.0f;
constexpr float kTextureStep = 0.04f;  // luma change (of full scale) that halves s

// A plane of N interleaved channels.
template <int N>
struct Plane {
  int width = 0, height = 0;
  std::vector<float> data;
  void resize(int w, int h) {
    width = w;
    height = h;
    data.resize(static_cast<size_t>(w) * h * N);
  }
  float *row(int y) { return data.data() + static_cast<size_t>(y) * width * N; }
  const float *row(int y) const { return data.data() + static_cast<size_t>(y) * width * N; }
};

// 2 x 2 mean, the last row or column repeated on odd sizes.
template <int N>
Plane<N> half(const Plane<N> &in) {
  Plane<N> out;
  out.resize((in.width + 1) / 2, (in.height + 1) / 2);
  parallelRows(out.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const float *a = in.row(2 * y);
      const float *b = in.row(std::min(2 * y + 1, in.height - 1));
      float *dst = out.row(y);
      for (int x = 0; x < out.width; ++x) {
        const int x0 = 2 * x * N, x1 = std::min(2 * x + 1, in.width - 1) * N;
        for (int c = 0; c < N; ++c)
          dst[x * N + c] = 0.25f * (a[x0 + c] + a[x1 + c] + b[x0 + c] + b[x1 + c]);
      }
    }
  });
  return out;
}

// Bilinear taps from a coarse axis of `from` samples to a fine one of `to`.
struct Taps {
  std::vector<int> near, far;
  std::vector<float> weight;  // of far
};

Taps taps(int to, int from) {
  Taps t;
  t.near.resize(to);
  t.far.resize(to);
  t.weight.resize(to);
  for (int i = 0; i < to; ++i) {
    const float position = std::max(0.0f, 0.5f * i - 0.25f);
    const int low = std::min(static_cast<int>(position), from - 1);
    t.near[i] = low;
    t.far[i] = std::min(low + 1, from - 1);
    t.weight[i] = position - static_cast<float>(low);
  }
  return t;
}

// For every pixel of a layer: up(coarseDone) + shrink(fine - up(coarse)), handed to
// sink(y, x, cb, cr). mask (one value per fine pixel, 1 = no texture) scales the noise level,
// or is null. The coarse layers are interpolated a row at a time.
template <typename Sink>
void restoreLayer(const Plane<2> &fine, const Plane<2> &coarse, const Plane<2> &coarseDone,
                  float sigma, const Plane<1> *mask, Sink sink) {
  const Taps tx = taps(fine.width, coarse.width), ty = taps(fine.height, coarse.height);
  const float sigma2 = sigma * sigma;
  const int coarseFloats = coarse.width * 2;
  parallelRows(fine.height, [&](int first, int last) {
    // The coarse layer and its cleaning (done - coarse) at this row's height.
    std::vector<float> upC(coarseFloats), upE(coarseFloats);
    for (int y = first; y < last; ++y) {
      const float wy = ty.weight[y];
      const float *c0 = coarse.row(ty.near[y]), *c1 = coarse.row(ty.far[y]);
      const float *d0 = coarseDone.row(ty.near[y]), *d1 = coarseDone.row(ty.far[y]);
      for (int i = 0; i < coarseFloats; ++i) {
        upC[i] = c0[i] + wy * (c1[i] - c0[i]);
        upE[i] = (d0[i] - c0[i]) + wy * ((d1[i] - c1[i]) - (d0[i] - c0[i]));
      }
      const float *m = mask ? mask->row(y) : nullptr;
      const float *f = fine.row(y);
      for (int x = 0; x < fine.width; ++x) {
        const int a = tx.near[x] * 2, b = tx.far[x] * 2;
        const float wx = tx.weight[x];
        const float s2 = m ? sigma2 * m[x] * m[x] : sigma2;
        float result[2];
        for (int c = 0; c < 2; ++c) {
          const float up = upC[a + c] + wx * (upC[b + c] - upC[a + c]);
          const float cleaning = upE[a + c] + wx * (upE[b + c] - upE[a + c]);
          const float detail = f[x * 2 + c] - up;
          const float d2 = detail * detail;
          result[c] = up + cleaning + (d2 + s2 > 0 ? detail * d2 / (d2 + s2) : 0.0f);
        }
        sink(y, x, result[0], result[1]);
      }
    }
  });
}

}  // namespace

bool stageColorNoiseReduction_2_2(const RgbImage &in, const TDatabaseColorNoiseReduction_2_2 &state,
                                  const FrameContext &, RgbImage &out) {
  if (state.state == 0 || state.cnrStrength == 0) return false;
  float sigma[kLayers];
  bool any = false;
  for (int layer = 0; layer < kLayers; ++layer) {
    sigma[layer] = std::max(0.0f, state.cSigmaLayer[layer]) * kChromaStep * kSigmaReach *
                   (state.cnrStrength / kStrengthUnity);
    any = any || sigma[layer] > 0;
  }
  if (!any) return false;
  const int width = in.width, height = in.height;
  const int maskedLayers = std::min<int>(state.textureMaskSelect, 2);

  // Chroma (and luma, for the texture mask) at full resolution.
  Plane<2> chroma[kLayers + 1];
  chroma[0].resize(width, height);
  Plane<1> luma;
  if (maskedLayers > 0) luma.resize(width, height);
  parallelRows(height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const float *src = in.data.data() + static_cast<size_t>(y) * width * 3;
      float *c = chroma[0].row(y);
      float *l = maskedLayers > 0 ? luma.row(y) : nullptr;
      for (int x = 0; x < width; ++x, src += 3) {
        const float yy = kKr * src[0] + kKg * src[1] + kKb * src[2];
        c[x * 2] = (src[2] - yy) * kCbScale;
        c[x * 2 + 1] = (src[0] - yy) * kCrScale;
        if (l) l[x] = yy;
      }
    }
  });
  Plane<1> mask[2];
  if (maskedLayers > 0) {
    mask[0].resize(width, height);
    parallelRows(height, [&](int first, int last) {
      for (int y = first; y < last; ++y) {
        const float *up = luma.row(std::max(y - 1, 0)), *mid = luma.row(y);
        const float *down = luma.row(std::min(y + 1, height - 1));
        float *m = mask[0].row(y);
        for (int x = 0; x < width; ++x) {
          const float texture =
              std::fabs(mid[std::min(x + 1, width - 1)] - mid[std::max(x - 1, 0)]) +
              std::fabs(down[x] - up[x]);
          const float t = texture / kTextureStep;
          m[x] = 1.0f / (1.0f + t * t);
        }
      }
    });
    if (maskedLayers > 1) mask[1] = half(mask[0]);
  }

  for (int layer = 1; layer <= kLayers; ++layer) chroma[layer] = half(chroma[layer - 1]);
  // From the coarsest remainder back up; the finest layer goes straight into the picture.
  Plane<2> done = chroma[kLayers];
  for (int layer = kLayers - 1; layer >= 1; --layer) {
    Plane<2> cleaned;
    cleaned.resize(chroma[layer].width, chroma[layer].height);
    restoreLayer(chroma[layer], chroma[layer + 1], done, sigma[layer],
                 layer < maskedLayers ? &mask[layer] : nullptr,
                 [&](int y, int x, float cb, float cr) {
                   float *c = cleaned.row(y) + x * 2;
                   c[0] = cb;
                   c[1] = cr;
                 });
    done = std::move(cleaned);
  }

  out = in.sameShape();
  const float *source = in.data.data();
  float *target = out.data.data();
  restoreLayer(chroma[0], chroma[1], done, sigma[0], maskedLayers > 0 ? &mask[0] : nullptr,
               [=](int y, int x, float cb, float cr) {
                 const size_t at = (static_cast<size_t>(y) * width + x) * 3;
                 const float *src = source + at;
                 float *dst = target + at;
                 const float yy = kKr * src[0] + kKg * src[1] + kKb * src[2];
                 const float r = yy + cr * kCrToR;
                 const float b = yy + cb * kCbToB;
                 dst[0] = std::clamp(r, 0.0f, 1.0f);
                 dst[1] = std::clamp((yy - kKr * r - kKb * b) * kInverseKg, 0.0f, 1.0f);
                 dst[2] = std::clamp(b, 0.0f, 1.0f);
               });
  return true;
}

}  // namespace tcamera
