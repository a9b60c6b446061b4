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

#include "rgb_lanes.h"
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
void half(const Plane<N> &in, Plane<N> &out) {
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

// Cb and Cr of a row of interleaved RGB pixels, into planar rows padded to groups of four;
// the luma too where luma is not null.
void chromaOfRow(const float *p, int width, float *cb, float *cr, float *luma = nullptr) {
  using vector4::splat;
  for (int x = 0; x < width; x += vector4::kLanes, p += 12) {
    rgb_lanes::Rgb v;
    if (x + vector4::kLanes <= width) {
      v = rgb_lanes::load(p);
    } else {
      float group[12] = {};
      std::copy(p, p + (width - x) * 3, group);
      v = rgb_lanes::load(group);
    }
    const vector4::Vec y = splat(kKr) * v.r + splat(kKg) * v.g + splat(kKb) * v.b;
    vector4::store(cb + x, (v.b - y) * splat(kCbScale));
    vector4::store(cr + x, (v.r - y) * splat(kCrScale));
    if (luma) vector4::store(luma + x, y);
  }
}

// The picture's chroma and luma at full resolution, as planar rows padded to groups of four.
struct FullChroma {
  Plane<1> cb, cr, luma;
};

// The chroma of an RGB picture halved: 2 x 2 means, the last row or column repeated on odd
// sizes. The full-resolution chroma and luma it is worked out from are kept in full for the
// finest layer, which would otherwise convert every pixel a second time.
void halfChroma(const RgbImage &in, Plane<2> &out, FullChroma &full) {
  out.resize((in.width + 1) / 2, (in.height + 1) / 2);
  const int width = in.width;
  const int padded = vector4::roundUp(width);
  full.cb.resize(padded, in.height);
  full.cr.resize(padded, in.height);
  full.luma.resize(padded, in.height);
  parallelRows(out.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const int y0 = 2 * y, y1 = std::min(2 * y + 1, in.height - 1);
      const float *cb0 = full.cb.row(y0), *cr0 = full.cr.row(y0);
      const float *cb1 = full.cb.row(y1), *cr1 = full.cr.row(y1);
      chromaOfRow(in.pixel(0, y0), width, full.cb.row(y0), full.cr.row(y0), full.luma.row(y0));
      if (y1 != y0)
        chromaOfRow(in.pixel(0, y1), width, full.cb.row(y1), full.cr.row(y1), full.luma.row(y1));
      float *dst = out.row(y);
      // Four output pixels at a time from eight sites split into even and odd ones, summed in
      // the order of the loop below; the last pixels (an odd width repeats the last site) one
      // at a time.
      int x = 0;
      for (; 2 * x + 2 * vector4::kLanes <= width; x += vector4::kLanes) {
        using vector4::load;
        using vector4::Vec;
        const auto mean = [&](const float *top, const float *bottom) {
          const Vec t0 = load(&top[2 * x]), t1 = load(&top[2 * x + 4]);
          const Vec b0 = load(&bottom[2 * x]), b1 = load(&bottom[2 * x + 4]);
          const Vec sum = __builtin_shufflevector(t0, t1, 0, 2, 4, 6) +
                          __builtin_shufflevector(t0, t1, 1, 3, 5, 7) +
                          __builtin_shufflevector(b0, b1, 0, 2, 4, 6) +
                          __builtin_shufflevector(b0, b1, 1, 3, 5, 7);
          return vector4::splat(0.25f) * sum;
        };
        const Vec cb = mean(cb0, cb1), cr = mean(cr0, cr1);
        vector4::store(dst + 2 * x, __builtin_shufflevector(cb, cr, 0, 4, 1, 5));
        vector4::store(dst + 2 * x + 4, __builtin_shufflevector(cb, cr, 2, 6, 3, 7));
      }
      for (; x < out.width; ++x) {
        const int x0 = 2 * x, x1 = std::min(2 * x + 1, width - 1);
        dst[x * 2] = 0.25f * (cb0[x0] + cb0[x1] + cb1[x0] + cb1[x1]);
        dst[x * 2 + 1] = 0.25f * (cr0[x0] + cr0[x1] + cr1[x0] + cr1[x1]);
      }
    }
  });
}

// The planes of a frame, kept by the thread between frames: allocated afresh they would cost
// zero-filling and page faults every frame.
struct Scratch {
  Plane<1> luma, mask[2];
  Plane<2> chroma[kLayers + 1];
  Plane<2> cleaned[2];
  FullChroma full;
};

// For every pixel of a layer: up(coarseDone) + shrink(fine - up(coarse)), a row at a time.
// fineRow(y, cb, cr) hands the layer's chroma of row y as planar rows; sink(y, cb, cr) takes
// the result. mask (one value per fine pixel, 1 = no texture) scales the noise level, or is
// null. The coarse layers are interpolated a row at a time, the shrinking runs four pixels at
// a time.
template <typename FineRow, typename Sink>
void restoreLayer(int width, int height, const Plane<2> &coarse, const Plane<2> &coarseDone,
                  float sigma, const Plane<1> *mask, FineRow fineRow, Sink sink) {
  const Taps ty = taps(height, coarse.height);
  const float sigma2 = sigma * sigma;
  const int coarseFloats = coarse.width * 2;
  parallelRows(height, [&](int first, int last) {
    using vector4::Vec;
    using vector4::splat;
    // Fine rows cover twice the coarse row in whole groups; coarse rows one pixel more at
    // either end.
    const size_t padded =
        std::max<size_t>(vector4::roundUp(width), 2 * vector4::roundUp(coarse.width));
    const size_t coarsePadded = vector4::roundUp(coarse.width) + 2 * vector4::kLanes;
    std::vector<float> coarseCb(coarsePadded), coarseCr(coarsePadded), coarseDoneCb(coarsePadded),
        coarseDoneCr(coarsePadded);
    // The coarse layer and its cleaned version at this row's height, then at every pixel.
    std::vector<float> upC(coarseFloats), upD(coarseFloats);
    std::vector<float> upCb(padded), upCr(padded), doneCb(padded), doneCr(padded);
    std::vector<float> fineCb(padded), fineCr(padded), level(padded, 1.0f);
    for (int y = first; y < last; ++y) {
      const float wy = ty.weight[y];
      const float *c0 = coarse.row(ty.near[y]), *c1 = coarse.row(ty.far[y]);
      const float *d0 = coarseDone.row(ty.near[y]), *d1 = coarseDone.row(ty.far[y]);
      int i = 0;
      for (; i + vector4::kLanes <= coarseFloats; i += vector4::kLanes) {
        using vector4::load;
        const Vec weight = splat(wy);
        const Vec near = load(c0 + i), doneNear = load(d0 + i);
        vector4::store(&upC[i], near + weight * (load(c1 + i) - near));
        vector4::store(&upD[i], doneNear + weight * (load(d1 + i) - doneNear));
      }
      for (; i < coarseFloats; ++i) {
        upC[i] = c0[i] + wy * (c1[i] - c0[i]);
        upD[i] = d0[i] + wy * (d1[i] - d0[i]);
      }
      // Along the row each layer is twice the next coarser one: fine pixel 2j lies a quarter
      // of the way from coarse j to j - 1 (none for j = 0), pixel 2j + 1 a quarter of the way
      // to j + 1. The coarse row goes to planar rows with its end pixels repeated, then four
      // coarse pixels make eight fine ones at a time.
      for (int j = 0; j < coarse.width; ++j) {
        coarseCb[j + 1] = upC[2 * j], coarseCr[j + 1] = upC[2 * j + 1];
        coarseDoneCb[j + 1] = upD[2 * j], coarseDoneCr[j + 1] = upD[2 * j + 1];
      }
      for (std::vector<float> *edge : {&coarseCb, &coarseCr, &coarseDoneCb, &coarseDoneCr}) {
        (*edge)[0] = (*edge)[1];
        (*edge)[coarse.width + 1] = (*edge)[coarse.width];
      }
      auto upsample = [&](const std::vector<float> &from, std::vector<float> &to) {
        using vector4::load;
        for (int j = 0; j < coarse.width; j += vector4::kLanes) {
          const Vec before = load(&from[j]), at = load(&from[j + 1]), after = load(&from[j + 2]);
          const Vec even = before + splat(0.75f) * (at - before);
          const Vec odd = at + splat(0.25f) * (after - at);
          vector4::store(&to[2 * j], __builtin_shufflevector(even, odd, 0, 4, 1, 5));
          vector4::store(&to[2 * j + 4], __builtin_shufflevector(even, odd, 2, 6, 3, 7));
        }
      };
      upsample(coarseCb, upCb);
      upsample(coarseCr, upCr);
      upsample(coarseDoneCb, doneCb);
      upsample(coarseDoneCr, doneCr);
      if (mask) {
        const float *m = mask->row(y);
        for (int x = 0; x < width; ++x) level[x] = m[x] * m[x];
      }
      fineRow(y, fineCb.data(), fineCr.data());
      const Vec s2 = splat(sigma2);
      auto shrink = [&](Vec detail, Vec noise2) {
        const Vec d2 = detail * detail, total = d2 + noise2;
        return total > splat(0.0f) ? detail * d2 / total : splat(0.0f);
      };
      for (size_t x = 0; x < padded; x += vector4::kLanes) {
        const Vec noise2 = s2 * vector4::load(&level[x]);
        const Vec cb = vector4::load(&fineCb[x]), cr = vector4::load(&fineCr[x]);
        vector4::store(&fineCb[x],
                       vector4::load(&doneCb[x]) + shrink(cb - vector4::load(&upCb[x]), noise2));
        vector4::store(&fineCr[x],
                       vector4::load(&doneCr[x]) + shrink(cr - vector4::load(&upCr[x]), noise2));
      }
      sink(y, fineCb.data(), fineCr.data());
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

  thread_local Scratch scratch;
  // Luma at full resolution, for the texture mask.
  Plane<1> *mask = scratch.mask;
  if (maskedLayers > 0) {
    Plane<1> &luma = scratch.luma;
    luma.resize(width, height);
    parallelRows(height, [&](int first, int last) {
      for (int y = first; y < last; ++y) {
        const float *src = in.pixel(0, y);
        float *l = luma.row(y);
        for (int x = 0; x < width; ++x, src += 3) l[x] = kKr * src[0] + kKg * src[1] + kKb * src[2];
      }
    });
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
    if (maskedLayers > 1) half(mask[0], mask[1]);
  }

  // The full-resolution chroma is layer 0; it is kept planar, beside the picture's luma.
  Plane<2> *chroma = scratch.chroma;
  const FullChroma &full = scratch.full;
  halfChroma(in, chroma[1], scratch.full);
  for (int layer = 2; layer <= kLayers; ++layer) half(chroma[layer - 1], chroma[layer]);
  // From the coarsest remainder back up; the finest layer goes straight into the picture.
  const Plane<2> *done = &chroma[kLayers];
  for (int layer = kLayers - 1; layer >= 1; --layer) {
    const Plane<2> &fine = chroma[layer];
    Plane<2> &cleaned = scratch.cleaned[layer & 1];
    cleaned.resize(fine.width, fine.height);
    restoreLayer(
        fine.width, fine.height, chroma[layer + 1], *done, sigma[layer],
        layer < maskedLayers ? &mask[layer] : nullptr,
        [&](int y, float *cb, float *cr) {
          const float *c = fine.row(y);
          for (int x = 0; x < fine.width; ++x) cb[x] = c[x * 2], cr[x] = c[x * 2 + 1];
        },
        [&](int y, const float *cb, const float *cr) {
          float *c = cleaned.row(y);
          for (int x = 0; x < fine.width; ++x) c[x * 2] = cb[x], c[x * 2 + 1] = cr[x];
        });
    done = &cleaned;
  }

  out = in.sameShape();
  restoreLayer(
      width, height, chroma[1], *done, sigma[0], maskedLayers > 0 ? &mask[0] : nullptr,
      [&](int y, float *cb, float *cr) {
        std::copy_n(full.cb.row(y), full.cb.width, cb);
        std::copy_n(full.cr.row(y), full.cr.width, cr);
      },
      [&](int y, const float *cb, const float *cr) {
        using vector4::Vec;
        using vector4::splat;
        // The picture's own luma with the cleaned chroma, four pixels at a time.
        const float *luma = full.luma.row(y);
        auto convert = [&](int x) {
          const Vec yy = vector4::load(luma + x);
          const Vec r = yy + vector4::load(cr + x) * splat(kCrToR);
          const Vec b = yy + vector4::load(cb + x) * splat(kCbToB);
          const Vec g = (yy - splat(kKr) * r - splat(kKb) * b) * splat(kInverseKg);
          return rgb_lanes::Rgb{rgb_lanes::clamp(r, 0.0f, 1.0f), rgb_lanes::clamp(g, 0.0f, 1.0f),
                                rgb_lanes::clamp(b, 0.0f, 1.0f)};
        };
        float *dst = out.pixel(0, y);
        int x = 0;
        for (; x + vector4::kLanes <= width; x += vector4::kLanes, dst += 12)
          rgb_lanes::store(dst, convert(x));
        if (x < width) {
          float group[12];
          rgb_lanes::store(group, convert(x));
          std::copy(group, group + (width - x) * 3, dst);
        }
      });
  return true;
}

}  // namespace tcamera
