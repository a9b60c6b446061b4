// The calibration library and tshell-calibrate on frames of the simulated camera (noise and
// defects on) and on DNG files written from them: black level against the sensor's pedestal,
// the flatness of a flat field after the shading grid is imported into the ISP, the settings
// fragments as the database reads them, and refusals of captures that cannot be calibrated.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "calibrate.h"
#include "cli_fixture.h"
#include "driver_frames.h"
#include "gain_tables_off.h"
#include "t_driver.h"

namespace {

using calibrate::Capture;

// The simulated camera at a small frame size, streaming, with the per-gain tables off so that
// the blocks run on their records.
class Twin {
 public:
  static constexpr int kWidth = 320, kHeight = 180;

  explicit Twin(int bitDepth = 10, double gain = 1) {
    EXPECT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
    EXPECT_EQ(TDriver_open(database_, &driver_), TCOMMON_SUCCESS);
    switchOffGainTables(database_);
    auto &input = record<TDatabaseInput>("IPT");
    auto &path = input.paths[input.pathIndex];
    path.rectangle.width = kWidth;
    path.rectangle.height = kHeight;
    path.format = bitDepth == 12 ? 2 : 1;
    auto &exposure = record<TDatabaseExposureControl_2>("EC_2");
    exposure.state = 0;
    exposure.gain.analog[0] = static_cast<float>(gain);
    exposure.gain.digital[0] = 1;
    EXPECT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
    EXPECT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
  }
  ~Twin() {
    TDriver_close(&driver_);
    TDatabase_close(&database_);
  }

  template <typename Record>
  Record &record(const char *category) {
    void *found = nullptr;
    EXPECT_EQ(TDatabase_query(database_, category, &found), TCOMMON_SUCCESS) << category;
    return *static_cast<Record *>(found);
  }
  void scene(const char *name, double value) {
    ASSERT_EQ(TDriverScene_set(driver_, name, value), TCOMMON_SUCCESS) << name;
  }
  // count frames at stage, each with fresh noise.
  std::vector<Capture> frames(int count, const char *stage = "raw") {
    std::vector<Capture> captures;
    for (int i = 0; i < count; ++i) {
      imaging::Frame frame;
      EXPECT_EQ(TDriverFrame_get(driver_, stage, &frame.image), TCOMMON_SUCCESS) << stage;
      captures.push_back(
          {"twin frame " + std::to_string(i), imaging::rawFrameOf(driver_, frame.image)});
      EXPECT_EQ(TDriverFrame_next(driver_), TCOMMON_SUCCESS);
    }
    return captures;
  }
  TDriver *driver() { return driver_; }
  TDatabase *database() { return database_; }

 private:
  TDatabase *database_ = nullptr;
  TDriver *driver_ = nullptr;
};

// Per channel: the median of each corner region (a sixteenth of the frame on a side) over the
// median of the centre region, averaged over the four corners, for frames averaged.
std::array<double, 4> cornerToCentre(const std::vector<Capture> &frames) {
  const auto &shape = frames.front().raw;
  const int w = shape.width / 16, h = shape.height / 16;
  const auto median = [&](int channel, int x0, int y0) {
    std::vector<double> values;
    for (int y = y0; y < y0 + h; ++y)
      for (int x = x0; x < x0 + w; ++x) {
        if (calibrate::channelAt(shape, x, y) != channel) continue;
        double sum = 0;
        for (const Capture &frame : frames) sum += frame.raw.data[y * shape.width + x];
        values.push_back(sum / frames.size() - shape.blackLevel[(y & 1) * 2 + (x & 1)]);
      }
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
  };
  std::array<double, 4> ratios{};
  for (int c = 0; c < 4; ++c) {
    const double corners = median(c, 0, 0) + median(c, shape.width - w, 0) +
                           median(c, 0, shape.height - h) +
                           median(c, shape.width - w, shape.height - h);
    ratios[c] = corners / 4 / median(c, (shape.width - w) / 2 & ~1, (shape.height - h) / 2 & ~1);
  }
  return ratios;
}

// ---- Black level --------------------------------------------------------------------------

TEST(CalibrateBlack, WithinOneCodeOfThePedestalPerChannel) {
  struct Case {
    int bitDepth;
    std::vector<double> gains;  // one twin per gain, four dark frames each
    double pedestal;
  };
  const Case cases[] = {{10, {1}, 64}, {12, {1}, 256}, {10, {1, 4}, 64}};
  for (const Case &c : cases) {
    std::vector<Capture> captures;
    std::vector<double> gains;
    for (double gain : c.gains) {
      Twin twin(c.bitDepth, gain);
      twin.scene("lux", 0);
      for (Capture &frame : twin.frames(4)) {
        captures.push_back(std::move(frame));
        gains.push_back(gain);
      }
    }
    calibrate::BlackResult result;
    std::string error;
    ASSERT_TRUE(calibrate::calibrateBlack(captures, gains, &result, &error)) << error;
    EXPECT_EQ(result.bitDepth, c.bitDepth);
    ASSERT_EQ(result.points.size(), c.gains.size());
    for (size_t p = 0; p < c.gains.size(); ++p) {
      EXPECT_EQ(result.points[p].gain, c.gains[p]);
      EXPECT_EQ(result.points[p].frames, 4);
      for (int ch = 0; ch < 4; ++ch) {
        const auto &level = result.points[p].channel[ch];
        EXPECT_NEAR(level.level, c.pedestal, 1.0)
            << c.bitDepth << " bits, gain " << c.gains[p] << ", " << calibrate::kChannelNames[ch];
        // Read noise: under 2 codes (10-bit) at unity gain, and it grows with the gain.
        EXPECT_GT(level.noise, 0.2);
        EXPECT_LT(level.noise, 2.0 * c.gains[p] * (c.bitDepth == 12 ? 4 : 1));
      }
    }
  }
}

// ---- Lens shading -------------------------------------------------------------------------

TEST(CalibrateShading, FlatFieldIsFlatAfterTheGridIsImported) {
  Twin twin;
  twin.scene("scene", 1);
  const auto before = cornerToCentre(twin.frames(4, "LSC_3"));
  calibrate::ShadingResult result;
  std::string error;
  ASSERT_TRUE(calibrate::calibrateShading(twin.frames(4), {}, &result, &error)) << error;

  // The file round trip: what the calibration file gives back, through the ISP's own parser.
  const std::string file = calibrate::shadingFile(result.grid, {"flat field", "of the twin"});
  calibrate::ShadingGrid back;
  ASSERT_TRUE(calibrate::parseShadingFile(file, &back, &error)) << error;
  EXPECT_EQ(back.matrix, result.grid.matrix);
  EXPECT_EQ(back.xSize, result.grid.xSize);
  EXPECT_EQ(back.ySize, result.grid.ySize);

  auto &lsc = twin.record<TDatabaseLensShadingCorrection_3>("LSC_3");
  const TCommonBuffer buffer{reinterpret_cast<uint8_t *>(const_cast<char *>(file.data())),
                             file.size(), 0, 1};
  ASSERT_EQ(TDatabaseLensShadingCorrection_3_parse2(&buffer, 1, &lsc), TCOMMON_SUCCESS)
      << TDatabase_lastError();
  lsc.state = 1;
  ASSERT_EQ(TDriverLensShadingCorrection_3_process(twin.driver(), 0), TCOMMON_SUCCESS);
  const auto after = cornerToCentre(twin.frames(4, "LSC_3"));
  for (int c = 0; c < 4; ++c) {
    SCOPED_TRACE(calibrate::kChannelNames[c]);
    EXPECT_LT(before[c], 0.8);  // the lens's fall-off is there to correct
    EXPECT_NEAR(result.cornerToCentreBefore[c], before[c], 0.03);
    EXPECT_NEAR(after[c], 1.0, 0.02);
    EXPECT_NEAR(result.cornerToCentreAfter[c], 1.0, 0.02);
    std::printf("%s corner/centre before %.4f after %.4f (calibration's own %.4f -> %.4f)\n",
                calibrate::kChannelNames[c], before[c], after[c], result.cornerToCentreBefore[c],
                result.cornerToCentreAfter[c]);
  }
}

// ---- Refusals -----------------------------------------------------------------------------

TEST(CalibrateRefusals, CapturesThatCannotBeCalibrated) {
  struct Case {
    const char *what;
    double scene, lux;
    bool dark;            // calibrated as dark frames, else as flat fields
    const char *message;  // part of the error
  };
  const Case cases[] = {
      {"lit chart as dark", 0, 400, true, "not a dark frame"},
      {"dim flat as dark", 1, 20, true, "not a dark frame"},
      {"chart as flat", 0, 400, false, "not a flat field"},
      {"dark as flat", 1, 0, false, "too dark"},
      {"over-exposed flat", 1, 2500, false, "clipped"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    Twin twin;
    twin.scene("scene", c.scene);
    twin.scene("lux", c.lux);
    const auto frames = twin.frames(1);
    std::string error;
    calibrate::BlackResult black;
    calibrate::ShadingResult shading;
    shading.cornerToCentreBefore = {7, 7, 7, 7};
    const bool ok = c.dark ? calibrate::calibrateBlack(frames, {}, &black, &error)
                           : calibrate::calibrateShading(frames, {}, &shading, &error);
    EXPECT_FALSE(ok);
    EXPECT_NE(error.find(c.message), std::string::npos) << error;
    EXPECT_TRUE(black.points.empty());
    EXPECT_EQ(shading.cornerToCentreBefore[0], 7);  // the result is left untouched
  }
}

// ---- Files --------------------------------------------------------------------------------

TEST(CalibrateFiles, DngRoundTripCalibratesToTheSameBlackLevel) {
  Twin twin;
  twin.scene("lux", 0);
  const auto frames = twin.frames(2);
  std::vector<Capture> loaded;
  for (const Capture &frame : frames) {
    std::string dng, error;
    ASSERT_TRUE(imaging::encodeDng(frame.raw, &dng, &error)) << error;
    Capture capture;
    ASSERT_TRUE(calibrate::loadCapture(dng, "dark.dng", &capture, &error)) << error;
    EXPECT_EQ(capture.raw.width, frame.raw.width);
    EXPECT_EQ(capture.raw.cfa, frame.raw.cfa);
    loaded.push_back(std::move(capture));
  }
  calibrate::BlackResult direct, fromFiles;
  std::string error;
  ASSERT_TRUE(calibrate::calibrateBlack(frames, {}, &direct, &error)) << error;
  ASSERT_TRUE(calibrate::calibrateBlack(loaded, {}, &fromFiles, &error)) << error;
  for (int c = 0; c < 4; ++c) {
    EXPECT_NEAR(fromFiles.points[0].channel[c].level, direct.points[0].channel[c].level, 0.01);
    EXPECT_NEAR(fromFiles.points[0].channel[c].level, 64, 1.0);
  }
}

// Every fragment is read by the database and sets what it names: a database given the same
// values field by field serialises to the same document, so nothing else changed.
TEST(CalibrateFragments, AcceptedAndSetOnlyTheirFields) {
  calibrate::BlackResult oneGain{10, {{1, 2, {{{64.2, 1}, {63.8, 1}, {64.6, 1}, {65.1, 1}}}}}};
  calibrate::BlackResult twoGains = oneGain;
  twoGains.points.push_back({4, 2, {{{66, 3}, {66.5, 3}, {67, 3}, {65.5, 3}}}});
  calibrate::ShadingResult shading;
  shading.grid = calibrate::equalSectors(320, 180);
  for (int c = 0; c < 4; ++c)
    for (int i = 0; i < calibrate::kGridPoints; ++i)
      shading.grid.matrix[c][i] = static_cast<uint16_t>(1024 + c * 7 + i % 50);
  calibrate::ColourResult colour;
  colour.matrix = {1.5f, -0.25f, -0.25f, -0.125f, 1.25f, -0.125f, 0, -0.5f, 1.5f};
  colour.offset = {1, -2, 0.5};
  const std::vector<calibrate::WhitePoint> white = {{2800, {2.5, 1, 1, 1.25}},
                                                    {6500, {1.5, 1, 1, 2.0}}};

  const auto query = [](TDatabase *database, const char *category) {
    void *record = nullptr;
    EXPECT_EQ(TDatabase_query(database, category, &record), TCOMMON_SUCCESS);
    return record;
  };
  struct Case {
    const char *what;
    std::string fragment;
    std::function<void(TDatabase *)> set;  // what the fragment should have done
  };
  const auto setBls = [&](TDatabase *database, std::array<uint32_t, 4> levels) {
    auto *bls = static_cast<TDatabaseBlackLevelSubtraction *>(query(database, "BLS"));
    bls->state = 1;
    bls->isOverrideCalibration = 1;
    std::copy(levels.begin(), levels.end(), bls->data);
  };
  const Case cases[] = {
      {"black, one gain", calibrate::blackFragment(oneGain),
       [&](TDatabase *database) {
         setBls(database, {257, 255, 258, 260});  // 12-bit scale
         static_cast<TDatabaseAutoBlackLevelSubtraction *>(query(database, "ABLS"))->enable = 0;
       }},
      {"black, two gains", calibrate::blackFragment(twoGains),
       [&](TDatabase *database) {
         setBls(database, {257, 255, 258, 260});
         auto *abls = static_cast<TDatabaseAutoBlackLevelSubtraction *>(query(database, "ABLS"));
         abls->enable = 1;
         for (auto &row : abls->rows)
           for (int k = 0; k < 20; ++k) {
             row.gains[k] = k == 0 ? 1 : 4;
             const uint32_t levels[2][4] = {{257, 255, 258, 260}, {264, 266, 268, 262}};
             std::copy(levels[k == 0 ? 0 : 1], levels[k == 0 ? 0 : 1] + 4, row.bls[k]);
           }
       }},
      {"shading", calibrate::shadingFragment(shading),
       [&](TDatabase *database) {
         auto *lsc = static_cast<TDatabaseLensShadingCorrection_3 *>(query(database, "LSC_3"));
         lsc->state = 1;
         for (int c = 0; c < 4; ++c)
           std::copy(shading.grid.matrix[c].begin(), shading.grid.matrix[c].end(), lsc->matrix[c]);
         std::copy(shading.grid.xSize.begin(), shading.grid.xSize.end(), lsc->xSize);
         std::copy(shading.grid.ySize.begin(), shading.grid.ySize.end(), lsc->ySize);
       }},
      {"colour", calibrate::colourFragment(colour),
       [&](TDatabase *database) {
         auto *ccm = static_cast<TDatabaseColorCorrectionMatrix *>(query(database, "CCM"));
         ccm->state = 1;
         std::copy(colour.matrix.begin(), colour.matrix.end(), ccm->ccMatrix);
         std::copy(colour.offset.begin(), colour.offset.end(), ccm->ccOffset);
       }},
      {"white nearest 3000 K", calibrate::whiteFragment(white, 3000),
       [&](TDatabase *database) {
         auto *wb = static_cast<TDatabaseWhiteBalance_1_1 *>(query(database, "WB_1_1"));
         wb->state = 1;
         std::copy(white[0].gains.begin(), white[0].gains.end(), wb->gain);
       }},
  };
  const auto serialised = [](TDatabase *database) {
    TCommonBuffer buffer{};
    EXPECT_EQ(TDatabase_serialize(database, &buffer), TCOMMON_SUCCESS);
    std::string out(reinterpret_cast<const char *>(buffer.data), buffer.length);
    TCommonBuffer_clear(&buffer);
    return out;
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    TDatabase *parsed = nullptr, *expected = nullptr;
    ASSERT_EQ(TDatabase_open(nullptr, &parsed), TCOMMON_SUCCESS);
    ASSERT_EQ(TDatabase_open(nullptr, &expected), TCOMMON_SUCCESS);
    const std::string untouched = serialised(parsed);
    EXPECT_EQ(TDatabase_parse(parsed, c.fragment.c_str()), TCOMMON_SUCCESS)
        << TDatabase_lastError();
    c.set(expected);
    const std::string result = serialised(parsed);
    EXPECT_NE(result, untouched);
    EXPECT_EQ(result, serialised(expected));
    TDatabase_close(&parsed);
    TDatabase_close(&expected);
  }
}

// ---- The program --------------------------------------------------------------------------

class CalibrateCli : public CliFixture {
 protected:
  // Frames of the twin written as DNG files name0.dng, name1.dng, ...
  std::string writeDngs(const std::string &name, const std::vector<Capture> &frames) {
    std::string paths;
    for (size_t i = 0; i < frames.size(); ++i) {
      std::string dng, error;
      EXPECT_TRUE(imaging::encodeDng(frames[i].raw, &dng, &error)) << error;
      const std::string file = name + std::to_string(i) + ".dng";
      write(file, dng);
      paths += " '" + path(file) + "'";
    }
    return paths;
  }
  Outcome run(const std::string &arguments) { return runTool(arguments, "", ""); }
};

TEST_F(CalibrateCli, BlackAndShadingFromDngFiles) {
  Twin twin;
  twin.scene("lux", 0);
  const std::string darks = writeDngs("dark", twin.frames(2));
  twin.scene("lux", 400);
  twin.scene("scene", 1);
  const std::string flats = writeDngs("flat", twin.frames(2));

  Outcome black = run("black" + darks + " -o '" + path("black.json") + "'");
  ASSERT_EQ(black.status, 0) << black.err;
  EXPECT_NE(black.out.find("Gb"), std::string::npos) << black.out;
  TDatabase *database = nullptr;
  ASSERT_EQ(TDatabase_open(nullptr, &database), TCOMMON_SUCCESS);
  EXPECT_EQ(TDatabase_parse(database, slurp(path("black.json")).c_str()), TCOMMON_SUCCESS);
  void *bls = nullptr;
  ASSERT_EQ(TDatabase_query(database, "BLS", &bls), TCOMMON_SUCCESS);
  for (uint32_t level : static_cast<TDatabaseBlackLevelSubtraction *>(bls)->data)
    EXPECT_NEAR(level, 256.0, 4.0);  // 64 at 10 bits, on the 12-bit scale
  TDatabase_close(&database);

  Outcome shading = run("shading" + flats + " -o '" + path("lsc.txt") + "' --fragment '" +
                        path("lsc.json") + "'");
  ASSERT_EQ(shading.status, 0) << shading.err;
  calibrate::ShadingGrid grid;
  std::string error;
  EXPECT_TRUE(calibrate::parseShadingFile(slurp(path("lsc.txt")), &grid, &error)) << error;
  calibrate::ShadingGrid fromFragment;
  EXPECT_TRUE(calibrate::parseShadingFile(slurp(path("lsc.json")), &fromFragment, &error)) << error;
  EXPECT_EQ(grid.matrix, fromFragment.matrix);
  EXPECT_GT(grid.matrix[0][0], 1.5 * calibrate::kUnityGain);  // the corner is lifted
}

TEST_F(CalibrateCli, BadInputExitsNonZeroAndWritesNothing) {
  Twin twin;
  const std::string chart = writeDngs("chart", twin.frames(1));
  imaging::Picture picture;
  picture.width = picture.height = 32;
  picture.channels = 3;
  picture.bits = 8;
  picture.data8.assign(32 * 32 * 3, 128);
  std::string png, error;
  ASSERT_TRUE(imaging::encodePng(picture, &png, &error)) << error;
  write("picture.png", png);
  write("garbage.dng", std::string(5000, '\x5a'));
  const std::string out = " -o '" + path("out") + "'";
  struct Case {
    std::string arguments;
    int status;
    const char *message;
  };
  const Case cases[] = {
      {"black '" + path("picture.png") + "'" + out, 1, "not a raw capture"},
      {"black '" + path("garbage.dng") + "'" + out, 1, "garbage.dng"},
      {"black" + chart + out, 1, "not a dark frame"},
      {"shading" + chart + out, 1, "not a flat field"},
      {"black '" + path("missing.dng") + "'" + out, 1, "missing.dng"},
      {"black" + chart, 2, "no output file"},
      {"shading" + chart + out + " --gains 1", 2, "--gains is for black"},
      {"black" + chart + out + " --gains 1,2", 2, "2 gains for 1 files"},
      {"blak" + chart + out, 2, "unknown command"},
      {"black" + chart + out + " --black 1,2", 2, "--black takes 4"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.arguments);
    const Outcome outcome = run(c.arguments);
    EXPECT_EQ(outcome.status, c.status);
    EXPECT_NE(outcome.err.find(c.message), std::string::npos) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_NE(std::system(("test -e '" + path("out") + "'").c_str()), 0);  // nothing written
  }
  const Outcome help = run("--help");
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("Usage: tshell-calibrate"), std::string::npos);
}

}  // namespace
