// The colour and output stages on frames smaller than their filters and blocks: every pixel
// must come out finite and inside 0 .. 1, and every read must stay inside the frame (the
// sanitizer builds catch a stray one).
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "stages.h"
#include "test_images.h"

namespace tcamera {
namespace {

void expectSound(const RgbImage &in, const RgbImage &out, const char *stage) {
  ASSERT_EQ(out.width, in.width) << stage;
  ASSERT_EQ(out.height, in.height) << stage;
  ASSERT_EQ(out.data.size(), in.data.size()) << stage;
  for (float v : out.data) {
    ASSERT_TRUE(std::isfinite(v)) << stage;
    ASSERT_GE(v, 0.0f) << stage;
    ASSERT_LE(v, 1.0f) << stage;
  }
}

TEST(ColourStages, FramesSmallerThanTheirFiltersStayInside) {
  TDatabaseColorCorrectionMatrix ccm{
      1, {1.5f, -0.3f, -0.2f, -0.2f, 1.4f, -0.2f, 0, -0.5f, 1.5f}, {0, 0, 0}, 0, nullptr};
  TDatabaseGammaCorrection_2 gamma{};
  gamma.state = 1, gamma.isStandard = 1, gamma.standardVal = 2.2f;
  TDatabaseWideDynamicRange_5_2_1 wdr{};
  wdr.state = 1, wdr.strength = 255, wdr.lowStrength = 256, wdr.maxGain = 1024;
  wdr.minGain = 128, wdr.contrast = 1024, wdr.highStrength = 128, wdr.hlcSlope = 32;
  wdr.hlcBaseLog = 14, wdr.ratioActual = 16, wdr.deGamma = 2.2f, wdr.darkAttentionLevel = 32;
  wdr.wdrRgbCoef[0] = 77, wdr.wdrRgbCoef[1] = 150, wdr.wdrRgbCoef[2] = 29;
  wdr.wdrLightnessWeight = 128, wdr.wdrCurveSelect = 1, wdr.curve2LoFactor = 1.5f;
  wdr.curve2HiFactor = 0.5f, wdr.curve2Thr = 0.5f, wdr.curve2LoSat = 0.5f;
  TDatabaseColorProcess_1_2 cp{1, 10.0f, 1.4f, 30.0f, 1.8f, 3.0f, -3.0f, 1, 0};
  TDatabaseColorNoiseReduction_2_2 cnr{1, {8, 16, 32}, 255, 2, 0};
  TDatabaseEdgeEnhance_3 ee{};
  ee.state = 1, ee.strength = 255, ee.detailScaler = ee.edgeScaler = 64;
  ee.gradTh[1] = 64, ee.isCurve = 1, ee.isSharpLimit = 1, ee.sharpLimitType = 1;
  ee.sharpGain[0] = ee.sharpGain[1] = 512, ee.sharpLimit[0] = ee.sharpLimit[1] = 64;
  for (auto &g : ee.hfMergeCurve) g = 256;
  ee.yUpThreshold = 1023, ee.isYuvDomain = 0, ee.deGamma = 2.2f, ee.isDci = 1;
  for (int i = 0; i < 65; ++i) ee.dciCurve[i] = static_cast<uint16_t>(std::min(i * 18, 1023));
  TDatabase3DNoiseReduction_4 tnr{};
  tnr.state = 1, tnr.filterLen = 9, tnr.filterLen2 = 9, tnr.isGaussBlur = 1;
  tnr.isMotionDilate = 1, tnr.dilateH = 20, tnr.motionSmoothLevel = 4;
  tnr.motionSmoothFactor = 0.5, tnr.inputBits = 12, tnr.noiseModelB = 100, tnr.noiseLevel = 16;
  tnr.thrMotionSlope = 256, tnr.tnrStrength = tnr.tnrStrength2 = 255;
  for (int i = 0; i < 12; ++i) {
    tnr.tnrLumaCurveX[i] = static_cast<uint16_t>(i * 372);
    tnr.tnrLumaCurveY[i] = 1023, tnr.tnrMotionSlopeY[i] = 64;
  }

  const struct {
    int width, height;
  } kSizes[] = {{1, 1}, {2, 1}, {1, 3}, {3, 2}, {5, 7}, {9, 4}, {17, 3}};
  for (const auto &size : kSizes) {
    SCOPED_TRACE(::testing::Message() << size.width << " x " << size.height);
    auto noise = tcamera::testing::noiseSource(0.2f, 3);
    const RgbImage in = tcamera::testing::makeRgb(size.width, size.height, [&](int, int, int) {
      return std::clamp(0.4f + noise(), 0.0f, 1.0f);
    });
    const FrameContext context;
    RgbImage out;
    ASSERT_TRUE(stageColorCorrectionMatrix(in, ccm, context, out));
    for (float v : out.data) ASSERT_GE(v, 0.0f);
    ASSERT_TRUE(stageGammaCorrection_2(in, gamma, context, out));
    expectSound(in, out, "GC_2");
    ASSERT_TRUE(stageWideDynamicRange_5_2_1(in, wdr, context, out));
    expectSound(in, out, "WDR_5_2_1");
    ASSERT_TRUE(stageColorProcess_1_2(in, cp, context, out));
    expectSound(in, out, "CP_1_2");
    ASSERT_TRUE(stageColorNoiseReduction_2_2(in, cnr, context, out));
    expectSound(in, out, "CNR_2_2");
    ASSERT_TRUE(stageEdgeEnhance_3(in, ee, context, out));
    expectSound(in, out, "EE_3");
    TemporalHistory history;
    history.previous = tcamera::testing::makeRgb(
        size.width, size.height, [](int x, int, int) { return x & 1 ? 0.9f : 0.1f; });
    history.valid = true;
    ASSERT_TRUE(stage3DNoiseReduction_4(in, tnr, context, history, out));
    expectSound(in, out, "3DNR_4");
  }
}

}  // namespace
}  // namespace tcamera
