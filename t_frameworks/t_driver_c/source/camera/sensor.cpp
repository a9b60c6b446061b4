// The image sensor of the simulated camera: lens, colour filters, exposure, noise, defects.
//
// What does not change from frame to frame is computed once and kept: the scene's radiance
// through the lens (blur and vignetting) sampled at every site by its colour filter, in units
// of full scale at 20 ms and unity gain. A frame then only scales it by lux x exposure x gain and
// draws the noise, from a counter-based hash of (frame number, site), so that a frame is the
// same bit for bit whenever it is rendered, and frames are independent of one another.
#include "sensor.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>
#include <mutex>

#include "scene.h"

namespace tcamera {

namespace {

// Electrons at full scale with unity gain; the analog gain amplifies before the converter. The
// photodiode holds a quarter more, so that a saturated site clips cleanly at the white level
// rather than showing its shot noise.
constexpr double kFullWell = 6000;
constexpr double kWellCapacity = 1.25 * kFullWell;
// Read noise before the analog gain (electrons) and converter noise after it (10-bit codes).
constexpr double kReadNoiseElectrons = 3;
constexpr double kConverterNoise = 0.6;
constexpr double kCodes10 = 1023 - 64;  // range above black of a 10-bit sensor

// Lens: blur of the pixel aperture in focus, and defocus growing one pixel (of a 1080-line
// frame) every kStepsPerPixel motor steps away from focus, up to kMaxDefocus.
constexpr double kSharpSigma = 0.45;
constexpr double kStepsPerPixel = 25;
constexpr double kMaxDefocus = 8;
constexpr double kReferenceLines = 1080;

// Vignetting: cos^4 of the field angle, tan^2 of which is kCornerTan2 at the corner, and a
// colour fall-off (R, Gr, Gb, B, IR) on top, growing with the square of the radius.
constexpr double kCornerTan2 = 0.313;
constexpr std::array<double, 5> kColourFalloff = {0.06, 0, 0, 0.03, 0.10};

// Crosstalk from the neighbouring red and blue sites makes the two greens differ: Gr reads this
// much above the mean green and Gb as much below at the centre, twice that at the corners,
// where the rays come in more steeply.
constexpr double kGreenSplit = 0.01;

// RGB-IR sensors have no infrared-cut filter, and the dyes of the colour filters are nearly
// transparent to near infrared: every colour site sees the infrared about as the infrared site
// does (R, Gr, Gb, B), which the separation's default matrix (each colour less 1.0 x IR)
// takes away again.
constexpr std::array<double, 4> kInfraredLeak = {1.0, 1.0, 1.0, 1.0};

// Defects: one site in kDefectSpacing, at least kMinDefects; hot sites read this high.
constexpr int kDefectSpacing = 20000;
constexpr int kMinDefects = 4;
constexpr double kHotLevel = 0.8;

// Sites rendered through the lens are kept for the last few settings, up to this many bytes.
constexpr size_t kCacheBytes = size_t{96} << 20;
constexpr size_t kCacheEntries = 4;

constexpr uint64_t kGolden = 0x9E3779B97F4A7C15ull;
constexpr uint64_t kLongStream = 0x5E25C0DEull, kShortStream = 0xC0FFEE5Full;
constexpr uint64_t kDefectSeed = 0xDEFEC7ull;

// A 64-bit finaliser (MurmurHash3's): every input bit flips about half of the output bits, so
// neighbouring counters give unrelated numbers.
uint64_t mix(uint64_t z) {
  z ^= z >> 33;
  z *= 0xff51afd7ed558ccdull;
  z ^= z >> 33;
  z *= 0xc4ceb9fe1a85ec53ull;
  z ^= z >> 33;
  return z;
}

// A standard normal deviate from 64 random bits: the sum of four 16-bit uniforms, centred and
// scaled (Irwin-Hall), which is close enough to Gaussian for sensor noise and cheap.
float normalOf(uint64_t bits) {
  constexpr float kScale = 1.7320508f / 65536;  // sqrt(3), and 16 bits to [0, 1)
  // At most 18 bits: converted as a signed 32-bit integer, which is one instruction.
  const float sum = static_cast<float>(static_cast<int32_t>(
      (bits & 0xffff) + ((bits >> 16) & 0xffff) + ((bits >> 32) & 0xffff) + (bits >> 48)));
  return (sum + 2 - 2 * 65536.0f) * kScale;
}

// relativeIllumination at the square of the radius.
double illuminationAt(Cfa colour, double radiusSquared) {
  const double cosine2 = 1 / (1 + kCornerTan2 * radiusSquared);
  return cosine2 * cosine2 * (1 - kColourFalloff[static_cast<int>(colour)] * radiusSquared);
}

// Sensitivity of a green site relative to the mean green; 1 for the other colours.
double greenSplit(Cfa colour, double radiusSquared) {
  const double split = kGreenSplit * (1 + radiusSquared);
  return colour == Cfa::kGreenRed ? 1 + split : colour == Cfa::kGreenBlue ? 1 - split : 1;
}

int planeOf(Cfa colour) {
  switch (colour) {
    case Cfa::kRed:
      return 0;
    case Cfa::kGreenRed:
    case Cfa::kGreenBlue:
      return 1;
    case Cfa::kBlue:
      return 2;
    case Cfa::kInfrared:
      return 3;
  }
  return 1;
}

int clampBitDepth(int bitDepth) {
  return bitDepth >= 12 ? 12 : 10;
}

double codesAboveBlack(int bitDepth) {
  return sensorWhiteLevel(bitDepth) - sensorBlackLevel(bitDepth);
}

// A finite, non-negative factor (exposure time, gain, lux) as the hardware would take it.
double factor(double value) {
  return std::isfinite(value) && value > 0 ? value : 0;
}

// Box blur of radius n + f: weight 1 out to n, f at n + 1. Three passes make a Gaussian whose
// sigma follows the fractional radius smoothly, at a cost that does not grow with the blur.
struct Box {
  int n = 0;
  float f = 0, norm = 1;
};

Box boxFor(double sigma) {
  const double variance = sigma * sigma / 3;  // per pass
  const auto boxVariance = [](double r) {
    const double n = std::floor(r), f = r - n;
    return (n * (n + 1) * (2 * n + 1) / 3 + 2 * f * (n + 1) * (n + 1)) / (2 * n + 1 + 2 * f);
  };
  double low = 0, high = 3 * sigma + 2;
  for (int i = 0; i < 40; ++i) {
    const double mid = (low + high) / 2;
    (boxVariance(mid) < variance ? low : high) = mid;
  }
  Box box;
  box.n = static_cast<int>(std::floor(low));
  box.f = static_cast<float>(low - box.n);
  box.norm = 1.0f / (2 * box.n + 1 + 2 * box.f);
  return box;
}

// Three box passes along each row, edges repeated.
void blurRows(std::vector<float> &plane, int width, int height, const Box &box) {
  parallelRows(height, [&](int first, int last) {
    const int pad = box.n + 1;
    std::vector<float> line(width + 2 * pad), result(width);
    for (int y = first; y < last; ++y) {
      float *row = &plane[static_cast<size_t>(y) * width];
      for (int pass = 0; pass < 3; ++pass) {
        std::fill_n(line.begin(), pad, row[0]);
        std::copy_n(row, width, line.begin() + pad);
        std::fill_n(line.begin() + pad + width, pad, row[width - 1]);
        const float *p = line.data() + pad;
        double sum = 0;
        for (int k = -box.n; k <= box.n; ++k) sum += p[k];
        for (int x = 0; x < width; ++x) {
          row[x] =
              static_cast<float>((sum + box.f * (p[x - box.n - 1] + p[x + box.n + 1])) * box.norm);
          sum += p[x + box.n + 1] - p[x - box.n];
        }
      }
    }
  });
}

constexpr int kGroup = 8;

// One output line of a vertical box pass over kGroup columns. The local copies show the
// compiler that nothing aliases, so the group stays in vector registers.
void columnStep(const Box &box, const float *before, const float *after, const float *leaving,
                float *sum, float *out) {
  float b[kGroup], a[kGroup], l[kGroup], s[kGroup], o[kGroup];
  for (int c = 0; c < kGroup; ++c) {
    b[c] = before[c];
    a[c] = after[c];
    l[c] = leaving[c];
    s[c] = sum[c];
  }
  for (int c = 0; c < kGroup; ++c) {
    o[c] = (s[c] + box.f * (b[c] + a[c])) * box.norm;
    s[c] += a[c] - l[c];
  }
  for (int c = 0; c < kGroup; ++c) {
    out[c] = o[c];
    sum[c] = s[c];
  }
}

// Three box passes down the columns, a band of columns per core, a whole line at a time, in
// groups of kGroup columns.
void blurColumns(std::vector<float> &plane, std::vector<float> &scratch, int width, int height,
                 const Box &box) {
  scratch.resize(plane.size());
  const int groups = width / kGroup;  // the last group also covers the columns left over
  for (int pass = 0; pass < 3; ++pass) {
    const float *src = (pass == 1 ? scratch : plane).data();
    float *dst = (pass == 1 ? plane : scratch).data();
    const auto line = [&](int y) {
      return src + static_cast<size_t>(std::clamp(y, 0, height - 1)) * width;
    };
    parallelRows(groups, [&](int first, int last) {
      const int x0 = first * kGroup;
      const int x1 = last == groups ? width : last * kGroup;
      std::vector<float> sums(x1 - x0, 0.0f);
      for (int k = -box.n; k <= box.n; ++k) {
        const float *in = line(k);
        for (int x = x0; x < x1; ++x) sums[x - x0] += in[x];
      }
      for (int y = 0; y < height; ++y) {
        const float *before = line(y - box.n - 1);
        const float *after = line(y + box.n + 1);
        const float *leaving = line(y - box.n);
        float *out = dst + static_cast<size_t>(y) * width;
        int x = x0;
        for (; x + kGroup <= x1; x += kGroup)
          columnStep(box, before + x, after + x, leaving + x, &sums[x - x0], out + x);
        for (; x < x1; ++x) {
          out[x] = (sums[x - x0] + box.f * (before[x] + after[x])) * box.norm;
          sums[x - x0] += after[x] - leaving[x];
        }
      }
    });
  }
  plane.swap(scratch);
}

// What shapes the light at each site, apart from exposure and lux.
struct SiteKey {
  SceneKind scene;
  double kelvin;
  int width, height;
  double sigma;
  std::array<Cfa, 16> pattern;
  bool infrared;
  const InjectedPicture *picture;  // in place of the scene; kept alive by SiteRadiance
  bool operator==(const SiteKey &other) const {
    return scene == other.scene && kelvin == other.kelvin && width == other.width &&
           height == other.height && sigma == other.sigma && pattern == other.pattern &&
           infrared == other.infrared && picture == other.picture;
  }
};

struct SiteRadiance {
  SiteKey key;
  std::shared_ptr<const InjectedPicture> picture;
  std::vector<float> value;  // per site, full-scale units at 20 ms, unity gain, lux 1
};

// An injected picture as the sensor's channels see it under the light: each pixel's reflectance
// through the colour filters, its infrared that of a neutral surface of the same green.
void pictureScene(const InjectedPicture &picture, double kelvin, bool infrared, ScenePlanes &out) {
  out.width = picture.width;
  out.height = picture.height;
  const size_t size = static_cast<size_t>(picture.width) * picture.height;
  for (int c = 0; c < 4; ++c) out.plane[c].assign(c < 3 || infrared ? size : 0, 0.0f);
  const std::array<double, 9> m = surfaceResponseMatrix(kelvin);
  const double infraredOfWhite = illuminantResponse(kelvin).ir;
  const double greenOfWhite = m[3] + m[4] + m[5];
  parallelRows(picture.height, [&](int first, int last) {
    for (size_t i = static_cast<size_t>(first) * picture.width;
         i < static_cast<size_t>(last) * picture.width; ++i) {
      const float *rho = &picture.rgb[i * 3];
      for (int c = 0; c < 3; ++c)
        out.plane[c][i] =
            static_cast<float>(m[c * 3] * rho[0] + m[c * 3 + 1] * rho[1] + m[c * 3 + 2] * rho[2]);
      if (infrared)
        out.plane[3][i] = static_cast<float>(out.plane[1][i] / greenOfWhite * infraredOfWhite);
    }
  });
}

std::shared_ptr<const SiteRadiance> renderSites(const SiteKey &key,
                                                std::shared_ptr<const InjectedPicture> picture) {
  ScenePlanes scene;
  if (picture != nullptr)
    pictureScene(*picture, key.kelvin, key.infrared, scene);
  else
    renderScene(key.scene, key.kelvin, key.infrared, key.width, key.height, scene);
  if (key.sigma > 0.05) {
    const Box box = boxFor(key.sigma);
    std::vector<float> scratch;
    for (auto &plane : scene.plane) {
      if (plane.empty()) continue;
      blurRows(plane, key.width, key.height, box);
      blurColumns(plane, scratch, key.width, key.height, box);
    }
  }
  auto sites = std::make_shared<SiteRadiance>();
  sites->key = key;
  sites->picture = std::move(picture);
  sites->value.resize(static_cast<size_t>(key.width) * key.height);
  const double halfWidth = key.width / 2.0, halfHeight = key.height / 2.0;
  const double cornerSquared = halfWidth * halfWidth + halfHeight * halfHeight;
  parallelRows(key.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const double dy = y + 0.5 - halfHeight;
      for (int x = 0; x < key.width; ++x) {
        const size_t i = static_cast<size_t>(y) * key.width + x;
        const Cfa colour = key.pattern[(y & 3) * 4 + (x & 3)];
        double light = scene.plane[planeOf(colour)][i];
        if (key.infrared && colour != Cfa::kInfrared)
          light += kInfraredLeak[static_cast<int>(colour)] * scene.plane[3][i];
        const double dx = x + 0.5 - halfWidth;
        const double radiusSquared = (dx * dx + dy * dy) / cornerSquared;
        sites->value[i] = static_cast<float>(light * illuminationAt(colour, radiusSquared) *
                                             greenSplit(colour, radiusSquared));
      }
    }
  });
  return sites;
}

// The sites for these settings, from the cache when they were rendered lately.
std::shared_ptr<const SiteRadiance> sitesFor(
    const SiteKey &key, const std::shared_ptr<const InjectedPicture> &picture) {
  static std::mutex mutex;
  static std::deque<std::shared_ptr<const SiteRadiance>> cache;
  std::lock_guard<std::mutex> lock(mutex);
  for (auto it = cache.begin(); it != cache.end(); ++it) {
    if ((*it)->key == key) {
      auto found = *it;
      cache.erase(it);
      cache.push_front(found);
      return found;
    }
  }
  auto made = renderSites(key, picture);
  cache.push_front(made);
  size_t bytes = 0;
  for (size_t i = 0; i < cache.size(); ++i) {
    bytes += cache[i]->value.size() * sizeof(float);
    if (i > 0 && (bytes > kCacheBytes || i >= kCacheEntries)) {
      cache.resize(i);
      break;
    }
  }
  return made;
}

// One exposure of every site: light in, noisy codes out.
struct Exposure {
  double electronsPerUnit;  // electrons per unit of site radiance
  float codesPerElectron;
  float readVariance;  // codes^2, before and after the gain
  float black, white;
  uint64_t seed;
  bool noise;
};

Exposure exposureOf(const SensorSettings &settings, int bitDepth, double time, uint64_t stream,
                    uint64_t frameNumber) {
  const double gain = std::min(factor(settings.analogGain), 1e6);
  const double range = codesAboveBlack(bitDepth);
  Exposure exposure;
  exposure.electronsPerUnit = factor(settings.lux) * factor(time) / kFullScaleExposure * kFullWell;
  exposure.codesPerElectron = static_cast<float>(gain * range / kFullWell);
  exposure.readVariance = static_cast<float>(sensorNoiseVariance(bitDepth, gain, 0));
  exposure.black = sensorBlackLevel(bitDepth);
  exposure.white = sensorWhiteLevel(bitDepth);
  exposure.seed = mix(frameNumber * kGolden ^ stream);
  exposure.noise = settings.noise;
  return exposure;
}

// The standard normal deviate of the site at index.
inline float deviateAt(const Exposure &exposure, size_t index) {
  return exposure.noise ? normalOf(mix(exposure.seed + index * kGolden)) : 0.0f;
}

// The code a site delivers for its electrons, with its noise deviate.
inline float siteCode(const Exposure &exposure, float electrons, float deviate) {
  const float signal = electrons * exposure.codesPerElectron;
  float code = exposure.black + signal;
  if (exposure.noise) {
    const float variance =
        electrons * exposure.codesPerElectron * exposure.codesPerElectron + exposure.readVariance;
    code += std::sqrt(variance) * deviate;
  }
  // Whole codes, rounded half up, from 0 to white: the conversion truncates, which for these
  // non-negative values is rounding.
  const float clamped = std::clamp(code + 0.5f, 0.0f, exposure.white + 0.5f);
  return static_cast<float>(static_cast<int32_t>(clamped));
}

inline float siteCode(const Exposure &exposure, float electrons, size_t index) {
  return siteCode(exposure, electrons, deviateAt(exposure, index));
}

void expose(const SiteRadiance &sites, const Exposure &exposure,
            const std::vector<SensorDefect> &defects, std::vector<float> &out) {
  const int width = sites.key.width;
  out.resize(sites.value.size());
  const float perUnit = static_cast<float>(exposure.electronsPerUnit);
  const float well = static_cast<float>(kWellCapacity);
  parallelRows(sites.key.height, [&](int first, int last) {
    // The deviates of a run of sites first (64-bit hashing, one site at a time), then the codes
    // of the run in a loop the compiler vectorises.
    constexpr size_t kRun = 256;
    float deviates[kRun];
    const size_t end = static_cast<size_t>(last) * width;
    for (size_t start = static_cast<size_t>(first) * width; start < end; start += kRun) {
      const size_t count = std::min(kRun, end - start);
      for (size_t k = 0; k < count; ++k) deviates[k] = deviateAt(exposure, start + k);
      const float *value = &sites.value[start];
      float *code = &out[start];
      for (size_t k = 0; k < count; ++k)
        code[k] = siteCode(exposure, std::min(value[k] * perUnit, well), deviates[k]);
    }
  });
  const float range = exposure.white - exposure.black;
  for (const SensorDefect &defect : defects) {
    const size_t i = static_cast<size_t>(defect.y) * width + defect.x;
    out[i] = defect.hot ? std::nearbyint(exposure.black + static_cast<float>(kHotLevel) * range)
                        : siteCode(exposure, 0, i);
  }
}

}  // namespace

float sensorBlackLevel(int bitDepth) {
  return clampBitDepth(bitDepth) == 12 ? 256.0f : 64.0f;
}

float sensorWhiteLevel(int bitDepth) {
  return clampBitDepth(bitDepth) == 12 ? 4095.0f : 1023.0f;
}

std::array<Cfa, 16> rgbIrPattern(unsigned order) {
  static constexpr std::array<Cfa, 16> kTile = {
      Cfa::kRed,       Cfa::kGreenRed, Cfa::kBlue,      Cfa::kGreenRed,  //
      Cfa::kGreenBlue, Cfa::kInfrared, Cfa::kGreenBlue, Cfa::kInfrared,  //
      Cfa::kBlue,      Cfa::kGreenRed, Cfa::kRed,       Cfa::kGreenRed,  //
      Cfa::kGreenBlue, Cfa::kInfrared, Cfa::kGreenBlue, Cfa::kInfrared,  //
  };
  const unsigned dx = order & 1, dy = (order >> 1) & 1;
  std::array<Cfa, 16> pattern{};
  for (unsigned y = 0; y < 4; ++y)
    for (unsigned x = 0; x < 4; ++x)
      pattern[y * 4 + x] = kTile[((y + dy) & 3) * 4 + ((x + dx) & 3)];
  return pattern;
}

std::vector<SensorDefect> sensorDefects(int width, int height) {
  if (width <= 0 || height <= 0) return {};
  const int count =
      std::max(kMinDefects, static_cast<int>(int64_t{width} * height / kDefectSpacing));
  std::vector<SensorDefect> defects;
  defects.reserve(count);
  for (int k = 0; k < count; ++k) {
    const uint64_t bits = mix(kDefectSeed + k * kGolden);
    defects.push_back(SensorDefect{static_cast<int>((bits & 0xffffffff) % width),
                                   static_cast<int>((bits >> 32) % height), k % 2 == 0});
  }
  return defects;
}

double sensorNoiseVariance(int bitDepth, double analogGain, double signalCodes) {
  const double codesPerElectron = analogGain * codesAboveBlack(bitDepth) / kFullWell;
  const double converter = kConverterNoise * codesAboveBlack(bitDepth) / kCodes10;
  const double read = kReadNoiseElectrons * codesPerElectron;
  return std::max(0.0, signalCodes) * codesPerElectron + read * read + converter * converter;
}

double relativeIllumination(Cfa colour, double radius) {
  return illuminationAt(colour, radius * radius);
}

double focusBlurSigma(double lensPosition, int height) {
  const double distance = std::isfinite(lensPosition) ? lensPosition - kInFocusPosition : 1e9;
  const double defocus =
      std::min(kMaxDefocus, std::abs(distance) / kStepsPerPixel) * height / kReferenceLines;
  return std::sqrt(kSharpSigma * kSharpSigma + defocus * defocus);
}

Mosaic captureSensor(const SensorSettings &settings, uint64_t frameNumber) {
  Mosaic raw;
  captureSensor(settings, frameNumber, raw);
  return raw;
}

void captureSensor(const SensorSettings &settings, uint64_t frameNumber, Mosaic &raw) {
  const InjectedPicture *picture = settings.picture.get();
  raw.width = picture != nullptr ? picture->width : std::clamp(settings.width, 16, kMaxWidth) & ~1;
  raw.height =
      picture != nullptr ? picture->height : std::clamp(settings.height, 16, kMaxHeight) & ~1;
  raw.pattern =
      settings.rgbIr ? rgbIrPattern(settings.bayerOrder) : bayerPattern(settings.bayerOrder);
  const int bitDepth = clampBitDepth(settings.bitDepth);
  raw.blackLevel = sensorBlackLevel(bitDepth);
  raw.whiteLevel = sensorWhiteLevel(bitDepth);
  raw.colourGain = {1, 1, 1, 1};  // the frame may be a recycled one that passed the gains

  SiteKey key{settings.scene,
              std::isfinite(settings.illuminantKelvin) ? settings.illuminantKelvin : 5000,
              raw.width,
              raw.height,
              focusBlurSigma(settings.lensPosition, raw.height),
              raw.pattern,
              settings.rgbIr,
              picture};
  const auto sites = sitesFor(key, settings.picture);
  const auto defects =
      settings.defects ? sensorDefects(raw.width, raw.height) : std::vector<SensorDefect>{};
  expose(*sites, exposureOf(settings, bitDepth, settings.exposureTime, kLongStream, frameNumber),
         defects, raw.data);
  if (settings.twoExposure) {
    const double ratio =
        std::isfinite(settings.exposureRatio) ? std::clamp(settings.exposureRatio, 1.0, 1e6) : 1.0;
    raw.exposureRatio = static_cast<float>(ratio);
    expose(*sites,
           exposureOf(settings, bitDepth, settings.exposureTime / ratio, kShortStream, frameNumber),
           defects, raw.shortData);
  } else {
    raw.exposureRatio = 1;
    raw.shortData.clear();
  }
}

}  // namespace tcamera
