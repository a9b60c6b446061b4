// Every image block through the whole camera, the way a client tunes it: a record written and
// pushed moves a measured property of the frame at the block's tap the way the block should.
// One row per block's enable or strongest parameter: the setting before, the setting after,
// what is measured, which way it must move and by how much at least.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "camera_rig.h"
#include "sensor.h"

namespace tcamera {
namespace {

using Rig = testing::CameraRig;
using Frame = Rig::Frame;
constexpr int kWidth = Rig::kWidth, kHeight = Rig::kHeight;

const ChartLayout kChart = chartLayout(kWidth, kHeight);

// A rectangle shrunk to its middle half, away from edges and blur.
Rect inner(const Rect &rect) {
  return {rect.x + rect.width / 4, rect.y + rect.height / 4, rect.width / 2, rect.height / 2};
}

// ---- Properties of a mosaic tap (codes) ------------------------------------------------------

int colourAt(const Frame &frame, int x, int y) {
  return frame.image.cfa[(y & 3) * 4 + (x & 3)];
}

double mosaicMean(const Frame &frame, const Rect &rect, int colour = -1) {
  double sum = 0;
  int count = 0;
  for (int y = rect.y; y < rect.y + rect.height; ++y)
    for (int x = rect.x; x < rect.x + rect.width; ++x) {
      if (colour >= 0 && colourAt(frame, x, y) != colour) continue;
      sum += frame.codes()[y * kWidth + x];
      ++count;
    }
  return count != 0 ? sum / count : 0;
}

// Noise of the green sites of one kind over rect: half the mean squared difference of each
// site and the next one of its kind along the line, which a smooth shading does not reach.
double greenNoise(const Frame &frame, const Rect &rect) {
  double sum = 0;
  int count = 0;
  for (int y = rect.y; y < rect.y + rect.height; ++y)
    for (int x = rect.x; x + 2 < rect.x + rect.width; ++x)
      if (colourAt(frame, x, y) == TDRIVER_CFA_GREEN_RED) {
        const double d = double(frame.codes()[y * kWidth + x + 2]) - frame.codes()[y * kWidth + x];
        sum += d * d / 2;
        ++count;
      }
  return sum / count;
}

// Mean |Gr - Gb| of the quads in rect: the green imbalance.
double greenImbalance(const Frame &frame, const Rect &rect) {
  double sum = 0;
  int count = 0;
  for (int y = rect.y & ~1; y + 1 < rect.y + rect.height; y += 2)
    for (int x = rect.x & ~1; x + 1 < rect.x + rect.width; x += 2) {
      double gr = -1, gb = -1;
      for (int dy = 0; dy < 2; ++dy)
        for (int dx = 0; dx < 2; ++dx) {
          const int colour = colourAt(frame, x + dx, y + dy);
          const double v = frame.codes()[(y + dy) * kWidth + x + dx];
          if (colour == TDRIVER_CFA_GREEN_RED) gr = v;
          if (colour == TDRIVER_CFA_GREEN_BLUE) gb = v;
        }
      if (gr >= 0 && gb >= 0) {
        sum += std::abs(gr - gb);
        ++count;
      }
    }
  return sum / count;
}

// Sites far above all eight same-colour neighbours: hot pixels.
double hotSites(const Frame &frame) {
  int hot = 0;
  const uint16_t *c = frame.codes();
  for (int y = 2; y < kHeight - 2; ++y)
    for (int x = 2; x < kWidth - 2; ++x) {
      const double v = c[y * kWidth + x];
      double highest = 0;
      for (int dy = -2; dy <= 2; dy += 2)
        for (int dx = -2; dx <= 2; dx += 2)
          if (dx != 0 || dy != 0)
            highest = std::max<double>(highest, c[(y + dy) * kWidth + x + dx]);
      hot += v > highest * 1.5 + 100;
    }
  return hot;
}

double infraredSites(const Frame &frame) {
  int count = 0;
  for (uint8_t colour : frame.image.cfa) count += colour == TDRIVER_CFA_INFRARED;
  return count;
}

// ---- Properties of an RGB tap (16 bits) or the output (8 bits) --------------------------------

double value(const Frame &frame, int x, int y, int channel) {
  const size_t i = (static_cast<size_t>(y) * kWidth + x) * 3 + channel;
  return frame.image.format == TDRIVER_IMAGE_RGB8 ? frame.bytes[i] / 255.0
                                                  : frame.codes()[i] / 65535.0;
}

double rgbMean(const Frame &frame, const Rect &rect, int channel) {
  double sum = 0;
  for (int y = rect.y; y < rect.y + rect.height; ++y)
    for (int x = rect.x; x < rect.x + rect.width; ++x) sum += value(frame, x, y, channel);
  return sum / (rect.width * rect.height);
}

// Mean |4 G - neighbours| over rect: high-frequency energy.
double detail(const Frame &frame, const Rect &rect) {
  double sum = 0;
  for (int y = rect.y + 1; y < rect.y + rect.height - 1; ++y)
    for (int x = rect.x + 1; x < rect.x + rect.width - 1; ++x)
      sum += std::abs(4 * value(frame, x, y, 1) - value(frame, x - 1, y, 1) -
                      value(frame, x + 1, y, 1) - value(frame, x, y - 1, 1) -
                      value(frame, x, y + 1, 1));
  return sum / ((rect.width - 2) * (rect.height - 2));
}

// Mean |R - G| + |B - G| over rect: how colourful it is.
double chroma(const Frame &frame, const Rect &rect) {
  double sum = 0;
  for (int y = rect.y; y < rect.y + rect.height; ++y)
    for (int x = rect.x; x < rect.x + rect.width; ++x)
      sum += std::abs(value(frame, x, y, 0) - value(frame, x, y, 1)) +
             std::abs(value(frame, x, y, 2) - value(frame, x, y, 1));
  return sum / (rect.width * rect.height);
}

// The row of grey patches with the gaps between them: neutral, so what colour shows there
// comes from noise and from fringes at the patches' vertical edges.
Rect greyRow() {
  const Rect &first = kChart.patches[18], &last = kChart.patches[23];
  return {first.x, first.y, last.x + last.width - first.x, first.height};
}

double patchChroma(const Frame &frame) {
  double sum = 0;
  for (int patch = 0; patch < 18; ++patch) sum += chroma(frame, inner(kChart.patches[patch]));
  return sum / 18;
}

// Variance of R - G over rect: chroma noise.
double chromaNoise(const Frame &frame, const Rect &rect) {
  std::vector<double> values;
  for (int y = rect.y; y < rect.y + rect.height; ++y)
    for (int x = rect.x; x < rect.x + rect.width; ++x)
      values.push_back(value(frame, x, y, 0) - value(frame, x, y, 1));
  double mean = 0, squares = 0;
  for (double v : values) mean += v / values.size();
  for (double v : values) squares += (v - mean) * (v - mean) / values.size();
  return squares;
}

// ---- The table ------------------------------------------------------------------------------

template <typename Record>
std::function<void(Rig &)> set(const char *category, uint32_t (*push)(TDriver *, uint8_t),
                               std::function<void(Record &)> change) {
  return [=](Rig &rig) {
    change(rig.record<Record>(category));
    EXPECT_EQ(push(rig.driver(), 0), TCOMMON_SUCCESS) << category;
  };
}

enum Direction { kRises, kFalls, kMoves };

struct BlockCase {
  const char *what;
  std::function<void(Rig &)> before;  // after the rig's own setup
  std::function<void(Rig &)> after;
  std::function<double(Rig &)> measure;
  Direction direction;
  double margin;  // relative change at least
};

std::function<double(Rig &)> at(const char *tap, std::function<double(const Frame &)> property) {
  return [=](Rig &rig) { return property(rig.get(tap)); };
}

const Rect kFlat = inner(kChart.flatArea);

std::vector<BlockCase> blockCases() {
  using BLS = TDatabaseBlackLevelSubtraction;
  return {
      {"BLS enable lowers the black patch",
       set<BLS>("BLS", TDriverBlackLevelSubtraction_process, [](BLS &r) { r.state = 0; }),
       set<BLS>("BLS", TDriverBlackLevelSubtraction_process, [](BLS &r) { r.state = 1; }),
       at("BLS", [](const Frame &f) { return mosaicMean(f, inner(kChart.patches[23])); }), kFalls,
       0.3},
      {"BLS override levels lower a mid grey further", nullptr,
       set<BLS>("BLS", TDriverBlackLevelSubtraction_process,
                [](BLS &r) {
                  r.isOverrideCalibration = 1;
                  for (auto &level : r.data) level = 1024;
                }),
       at("BLS", [](const Frame &f) { return mosaicMean(f, inner(kChart.patches[21])); }), kFalls,
       0.1},
      {"DPCC removes the hot pixels",
       set<TDatabaseDefectPixelClusterCorrection>(
           "DPCC", TDriverDefectPixelClusterCorrection_process,
           [](TDatabaseDefectPixelClusterCorrection &r) { r.state = 0; }),
       set<TDatabaseDefectPixelClusterCorrection>(
           "DPCC", TDriverDefectPixelClusterCorrection_process,
           [](TDatabaseDefectPixelClusterCorrection &r) { r.state = 1; }),
       at("DPCC", hotSites), kFalls, 0.5},
      {"LSC gains towards the corners lift the corners",
       set<TDatabaseLensShadingCorrection_3>("LSC_3", TDriverLensShadingCorrection_3_process,
                                             [](TDatabaseLensShadingCorrection_3 &r) {
                                               for (auto &plane : r.matrix)
                                                 for (auto &gain : plane) gain = 1024;
                                             }),
       set<TDatabaseLensShadingCorrection_3>(
           "LSC_3", TDriverLensShadingCorrection_3_process,
           [](TDatabaseLensShadingCorrection_3 &r) {
             for (auto &plane : r.matrix)
               for (int i = 0; i < 33 * 33; ++i) {
                 const double dx = (i % 33 - 16) / 16.0, dy = (i / 33 - 16) / 16.0;
                 plane[i] = static_cast<uint16_t>(1024 * (1 + 0.5 * (dx * dx + dy * dy)));
               }
           }),
       at("LSC_3",
          [](const Frame &f) {
            const Rect corner{0, 0, kWidth / 8, kHeight / 8};
            const Rect centre{kWidth * 7 / 16, kHeight * 7 / 16, kWidth / 8, kHeight / 8};
            return mosaicMean(f, corner) / mosaicMean(f, centre);
          }),
       kRises, 0.3},
      {"GE evens out the two greens",
       set<TDatabaseGreenEquilibration>("GE", TDriverGreenEquilibration_process,
                                        [](TDatabaseGreenEquilibration &r) { r.state = 0; }),
       set<TDatabaseGreenEquilibration>("GE", TDriverGreenEquilibration_process,
                                        [](TDatabaseGreenEquilibration &r) {
                                          r.state = 1;
                                          r.threshold = 400;  // 12-bit codes: the noise too
                                        }),
       at("GE", [](const Frame &f) { return greenImbalance(f, kFlat); }), kFalls, 0.2},
      {"DG gains brighten the picture", nullptr,
       set<TDatabaseDigitalGain>("DG", TDriverDigitalGain_process,
                                 [](TDatabaseDigitalGain &r) { r.r = r.gr = r.gb = r.b = 1.5f; }),
       at("DG", [](const Frame &f) { return mosaicMean(f, kFlat); }), kRises, 0.3},
      {"WB red gain raises R/G of a grey patch", nullptr,
       set<TDatabaseWhiteBalance_1_1>("WB_1_1", TDriverWhiteBalance_1_1_process,
                                      [](TDatabaseWhiteBalance_1_1 &r) { r.gain[0] *= 2; }),
       at("WB_1_1",
          [](const Frame &f) {
            const Rect grey = inner(kChart.patches[21]);
            return mosaicMean(f, grey, TDRIVER_CFA_RED) /
                   mosaicMean(f, grey, TDRIVER_CFA_GREEN_RED);
          }),
       kRises, 0.5},
      {"CPD expansion curve raised doubles the levels", nullptr,
       set<TDatabaseCompand_1_1>("CPD_1_1", TDriverCompand_1_1_process,
                                 [](TDatabaseCompand_1_1 &r) {
                                   for (auto &y : r.expandCurveY) y *= 2;
                                 }),
       at("CPD_1_1", [](const Frame &f) { return mosaicMean(f, kFlat); }), kRises, 0.3},
      {"2DNR lowers the noise of the flat area",
       set<TDatabase2DNoiseReduction_6>("2DNR_6", TDriver2DNoiseReduction_6_process,
                                        [](TDatabase2DNoiseReduction_6 &r) { r.state = 0; }),
       set<TDatabase2DNoiseReduction_6>("2DNR_6", TDriver2DNoiseReduction_6_process,
                                        [](TDatabase2DNoiseReduction_6 &r) {
                                          r.state = 1;
                                          for (float &scale : r.sigmaScale) scale *= 4;
                                        }),
       at("2DNR_6", [](const Frame &f) { return greenNoise(f, kFlat); }), kFalls, 0.2},
      {"DMSC sharpening raises detail on the focus target",
       set<TDatabaseDeMosaic_3>("DMSC_3", TDriverDeMosaic_3_process,
                                [](TDatabaseDeMosaic_3 &r) { r.isSharpen = 0; }),
       set<TDatabaseDeMosaic_3>("DMSC_3", TDriverDeMosaic_3_process,
                                [](TDatabaseDeMosaic_3 &r) { r.isSharpen = 1; }),
       at("DMSC_3", [](const Frame &f) { return detail(f, inner(kChart.focusTarget)); }), kRises,
       0.05},
      {"DMSC CAC moves the colour fringes", nullptr,
       set<TDatabaseDeMosaic_3>("DMSC_3", TDriverDeMosaic_3_process,
                                [](TDatabaseDeMosaic_3 &r) {
                                  r.isCac = 1;
                                  r.cac.aRed = 0.05f;
                                  r.cac.aBlue = -0.05f;
                                }),
       at("DMSC_3", [](const Frame &f) { return chroma(f, greyRow()); }), kMoves, 0.05},
      {"CCM saturating matrix makes the colour patches more colourful", nullptr,
       set<TDatabaseColorCorrectionMatrix>("CCM", TDriverColorCorrectionMatrix_process,
                                           [](TDatabaseColorCorrectionMatrix &r) {
                                             const float m[9] = {1.6f,  -0.3f, -0.3f, -0.3f, 1.6f,
                                                                 -0.3f, -0.3f, -0.3f, 1.6f};
                                             std::copy(m, m + 9, r.ccMatrix);
                                           }),
       at("CCM", patchChroma), kRises, 0.2},
      {"GC standard curve 2.2 lifts mid grey over 1.0",
       set<TDatabaseGammaCorrection_2>("GC_2", TDriverGammaCorrection_2_process,
                                       [](TDatabaseGammaCorrection_2 &r) {
                                         r.isStandard = 1;
                                         r.standardVal = 1.0f;
                                       }),
       set<TDatabaseGammaCorrection_2>("GC_2", TDriverGammaCorrection_2_process,
                                       [](TDatabaseGammaCorrection_2 &r) { r.standardVal = 2.2f; }),
       at("GC_2", [](const Frame &f) { return rgbMean(f, inner(kChart.patches[21]), 1); }), kRises,
       0.2},
      {"WDR lifts the shadows",
       set<TDatabaseWideDynamicRange_5_2_1>(
           "WDR_5_2_1", TDriverWideDynamicRange_5_2_1_process,
           [](TDatabaseWideDynamicRange_5_2_1 &r) { r.state = 0; }),
       set<TDatabaseWideDynamicRange_5_2_1>("WDR_5_2_1", TDriverWideDynamicRange_5_2_1_process,
                                            [](TDatabaseWideDynamicRange_5_2_1 &r) {
                                              r.state = 1;
                                              r.strength = 255;
                                            }),
       at("WDR_5_2_1", [](const Frame &f) { return rgbMean(f, inner(kChart.patches[22]), 1); }),
       kRises, 0.1},
      {"WDR coloured-light protection keeps the colour of patches lifted to full scale",
       set<TDatabaseWideDynamicRange_5_2_1>("WDR_5_2_1", TDriverWideDynamicRange_5_2_1_process,
                                            [](TDatabaseWideDynamicRange_5_2_1 &r) {
                                              r.strength = 255;
                                              r.lowStrength = 1024;
                                            }),
       set<TDatabaseWideDynamicRange_5_2_1>("WDR_5_2_1", TDriverWideDynamicRange_5_2_1_process,
                                            [](TDatabaseWideDynamicRange_5_2_1 &r) {
                                              r.lightEn = 1;
                                              // Every clearly coloured pixel counts.
                                              r.lightSatLoThr = 16;
                                              r.lightSatHiThr = 64;
                                            }),
       at("WDR_5_2_1", patchChroma), kRises, 0.1},
      {"WDR saturation by gain pales the lifted dark patches",
       set<TDatabaseWideDynamicRange_5_2_1>(
           "WDR_5_2_1", TDriverWideDynamicRange_5_2_1_process,
           [](TDatabaseWideDynamicRange_5_2_1 &r) { r.strength = 255; }),
       set<TDatabaseWideDynamicRange_5_2_1>(
           "WDR_5_2_1", TDriverWideDynamicRange_5_2_1_process,
           [](TDatabaseWideDynamicRange_5_2_1 &r) { r.satRange = 0.2f; }),  // from 0.8
       at("WDR_5_2_1",
          [](const Frame &f) {
            // Dark skin, purple, blue, black: the patches the curve lifts most.
            return chroma(f, inner(kChart.patches[0])) + chroma(f, inner(kChart.patches[9])) +
                   chroma(f, inner(kChart.patches[12])) + chroma(f, inner(kChart.patches[23]));
          }),
       kFalls, 0.05},
      {"CP brightness raises the output", nullptr,
       set<TDatabaseColorProcess_1_2>("CP_1_2", TDriverColorProcess_1_2_process,
                                      [](TDatabaseColorProcess_1_2 &r) { r.bright = 40; }),
       at("output", [](const Frame &f) { return rgbMean(f, inner(kChart.patches[21]), 1); }),
       kRises, 0.1},
      {"CP saturation makes the colour patches more colourful", nullptr,
       set<TDatabaseColorProcess_1_2>("CP_1_2", TDriverColorProcess_1_2_process,
                                      [](TDatabaseColorProcess_1_2 &r) { r.saturation = 2; }),
       at("CP_1_2", patchChroma), kRises, 0.3},
      {"CNR lowers the chroma noise of the flat area",
       set<TDatabaseColorNoiseReduction_2_2>(
           "CNR_2_2", TDriverColorNoiseReduction_2_2_process,
           [](TDatabaseColorNoiseReduction_2_2 &r) { r.state = 0; }),
       set<TDatabaseColorNoiseReduction_2_2>("CNR_2_2", TDriverColorNoiseReduction_2_2_process,
                                             [](TDatabaseColorNoiseReduction_2_2 &r) {
                                               r.state = 1;
                                               r.cnrStrength = 255;
                                             }),
       at("CNR_2_2", [](const Frame &f) { return chromaNoise(f, kFlat); }), kFalls, 0.2},
      {"EE raises detail on the focus target",
       set<TDatabaseEdgeEnhance_3>("EE_3", TDriverEdgeEnhance_3_process,
                                   [](TDatabaseEdgeEnhance_3 &r) { r.state = 0; }),
       set<TDatabaseEdgeEnhance_3>("EE_3", TDriverEdgeEnhance_3_process,
                                   [](TDatabaseEdgeEnhance_3 &r) {
                                     r.state = 1;
                                     r.strength = 255;
                                   }),
       at("EE_3", [](const Frame &f) { return detail(f, inner(kChart.focusTarget)); }), kRises,
       0.1},
      {"3DNR lowers the frame-to-frame change of the flat area",
       set<TDatabase3DNoiseReduction_4>("3DNR_4", TDriver3DNoiseReduction_4_process,
                                        [](TDatabase3DNoiseReduction_4 &r) { r.state = 0; }),
       set<TDatabase3DNoiseReduction_4>("3DNR_4", TDriver3DNoiseReduction_4_process,
                                        [](TDatabase3DNoiseReduction_4 &r) {
                                          r.state = 1;
                                          r.tnrStrength = 255;
                                        }),
       [](Rig &rig) {
         // Two frames of history, then the change between two successive frames.
         rig.next();
         rig.next();
         const Frame first = rig.get("3DNR_4");
         rig.next();
         const Frame second = rig.get("3DNR_4");
         double sum = 0;
         for (int y = kFlat.y; y < kFlat.y + kFlat.height; ++y)
           for (int x = kFlat.x; x < kFlat.x + kFlat.width; ++x)
             sum += std::abs(value(second, x, y, 1) - value(first, x, y, 1));
         return sum / (kFlat.width * kFlat.height);
       },
       kFalls, 0.2},
  };
}

// Cases that need a sensor mode of their own.
struct ModeCase {
  const char *what;
  std::function<void(Rig &)> mode;
  BlockCase change;
};

std::vector<ModeCase> modeCases() {
  return {
      {"HDR merge keeps the lamp above the long exposure's clip",
       [](Rig &rig) { rig.path().stitchingMode = 1; },
       {"",
        set<TDatabaseHighDynamicRange_3_2Dol>(
            "HDR_3_2DOL", TDriverHighDynamicRange_3_2Dol_process,
            [](TDatabaseHighDynamicRange_3_2Dol &r) { r.state = 0; }),
        set<TDatabaseHighDynamicRange_3_2Dol>(
            "HDR_3_2DOL", TDriverHighDynamicRange_3_2Dol_process,
            [](TDatabaseHighDynamicRange_3_2Dol &r) { r.state = 1; }),
        at("HDR_3_2DOL",
           [](const Frame &f) {
             return mosaicMean(f, inner(kChart.lamps[1])) /
                    mosaicMean(f, inner(kChart.patches[21]));
           }),
        kRises, 0.5}},
      {"RGB-IR separation leaves a Bayer frame",
       [](Rig &rig) { rig.sensorMode().type = 1; },
       {"",
        [](Rig &rig) {
          // Both revisions off: the RGB-IR stage takes RGBIR_1_1's settings while it is
          // enabled, RGBIR's otherwise.
          rig.record<TDatabaseRgbInfraredRadiation>("RGBIR").state = 0;
          rig.record<TDatabaseRgbInfraredRadiation>("RGBIR_1_1").state = 0;
          EXPECT_EQ(TDriverRgbInfraredRadiation_process(rig.driver(), 0), TCOMMON_SUCCESS);
          EXPECT_EQ(TDriverRgbInfraredRadiation_1_1_process(rig.driver(), 0), TCOMMON_SUCCESS);
        },
        set<TDatabaseRgbInfraredRadiation>("RGBIR_1_1", TDriverRgbInfraredRadiation_1_1_process,
                                           [](TDatabaseRgbInfraredRadiation &r) { r.state = 1; }),
        at("RGBIR_1_1", infraredSites), kFalls, 0.99}},
  };
}

void check(Rig &rig, const BlockCase &c) {
  if (c.before) c.before(rig);
  const double before = c.measure(rig);
  c.after(rig);
  const double after = c.measure(rig);
  const double change = before != 0 ? (after - before) / std::abs(before) : after;
  switch (c.direction) {
    case kRises:
      EXPECT_GT(change, c.margin) << before << " -> " << after;
      break;
    case kFalls:
      EXPECT_LT(change, -c.margin) << before << " -> " << after;
      break;
    case kMoves:
      EXPECT_GT(std::abs(change), c.margin) << before << " -> " << after;
      break;
  }
}

TEST(CameraBlocks, EachBlockMovesItsPropertyOfTheFrame) {
  for (const BlockCase &c : blockCases()) {
    SCOPED_TRACE(c.what);
    Rig rig;
    check(rig, c);
  }
  for (const ModeCase &c : modeCases()) {
    SCOPED_TRACE(c.what);
    Rig rig;
    c.mode(rig);
    rig.restart();
    check(rig, c.change);
  }
}

// The RGB-IR sensor's colour sites see the infrared as its infrared sites do; the separation
// at its shipped matrix takes it away again, so the rebuilt Bayer frame reads as the Bayer
// sensor's does: a grey patch, and the red patch, whose dyes reflect the most infrared.
TEST(CameraBlocks, RgbIrSeparationAtItsDefaultsMatchesTheBayerSensor) {
  double level[2][2];
  for (int type = 0; type < 2; ++type) {
    Rig rig;
    rig.sensorMode().type = type;
    rig.restart();
    const Frame frame = rig.get("RGBIR_1_1");
    level[type][0] = mosaicMean(frame, inner(kChart.patches[21]));
    level[type][1] = mosaicMean(frame, inner(kChart.patches[14]), TDRIVER_CFA_RED);
  }
  for (int i = 0; i < 2; ++i) EXPECT_NEAR(level[1][i] / level[0][i], 1.0, 0.05) << i;
}

}  // namespace
}  // namespace tcamera
