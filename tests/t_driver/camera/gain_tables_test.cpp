// The per-gain tuning tables: each auto category's row blended at the sensor's total gain and
// programmed into its block while the camera streams, and the pushed record otherwise.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string_view>

#include "camera_rig.h"
#include "gain_tables.h"
#include "sensor.h"
#include "t_driver.h"

namespace tcamera {
namespace {

// The built-in gain points: 1x, 1.5x, 2x, 3x ... 768x.
double gainPoint(int k) {
  return std::ldexp(k % 2 ? 1.5 : 1.0, k / 2);
}

// Value of gain point k in the tests below; rises by 8 per point, so that halfway blends land
// on whole steps of integer members.
double pointValue(int k) {
  return 16 + 8 * k;
}

// What the block should carry at gain: the surrounding points blended linearly, the first or
// last point outside them.
double expectedAt(double gain) {
  if (gain <= gainPoint(0)) return pointValue(0);
  for (int k = 0; k + 1 < 20; ++k)
    if (gain < gainPoint(k + 1))
      return pointValue(k) + (pointValue(k + 1) - pointValue(k)) * (gain - gainPoint(k)) /
                                 (gainPoint(k + 1) - gainPoint(k));
  return pointValue(19);
}

template <typename Record>
Record &as(void *record) {
  return *static_cast<Record *>(record);
}

// One member per auto category: where its table holds gain point k (row 0), and the block
// member that it drives. off switches the table off (nullptr: the category has no switch).
struct Case {
  const char *category;
  void (*set)(void *record, int k, double value);
  double (*get)(const HardwareState &state);
  void (*off)(void *record);
};

constexpr uint16_t kShadingGain = 2048;  // the grid point "ALSC_3" is seen through: gain 2.0

const Case kCases[] = {
    {"ABLS",
     [](void *r, int k, double v) {
       as<TDatabaseAutoBlackLevelSubtraction>(r).rows[0].bls[k][0] = static_cast<uint32_t>(v);
     },
     [](const HardwareState &s) {
       return s.blackLevel.isOverrideCalibration ? double(s.blackLevel.data[0]) : -1.0;
     },
     [](void *r) { as<TDatabaseAutoBlackLevelSubtraction>(r).enable = 0; }},
    {"ACP_1_2",
     [](void *r, int k, double v) {
       as<TDatabaseAutoColorProcess_1_2>(r).rows[0].saturation[k] = static_cast<float>(v);
     },
     [](const HardwareState &s) { return double(s.colorProcess.saturation); },
     [](void *r) { as<TDatabaseAutoColorProcess_1_2>(r).enable = 0; }},
    {"ACNR_2_2",
     [](void *r, int k, double v) {
       as<TDatabaseAutoColorNoiseReduction_2_2>(r).rows[0].cSigmaLayer1[k] = static_cast<float>(v);
     },
     [](const HardwareState &s) { return double(s.colorNoiseReduction.cSigmaLayer[1]); },
     [](void *r) { as<TDatabaseAutoColorNoiseReduction_2_2>(r).enable = 0; }},
    {"AGC_2",
     [](void *r, int k, double v) {
       as<TDatabaseAutoGammaCorrection_2>(r).rows[0].curve[k][10] = static_cast<uint16_t>(v);
     },
     [](const HardwareState &s) { return double(s.gamma.curve[10]); },
     [](void *r) { as<TDatabaseAutoGammaCorrection_2>(r).enable = 0; }},
    // The strength pulls the grid's gain towards 1.0: seen as the gain above 1.0, in 1/1024.
    {"ALSC_3",
     [](void *r, int k, double v) {
       as<TDatabaseAutoLensShadingCorrection_3>(r).strength[k] = static_cast<float>(v / 1024);
     },
     [](const HardwareState &s) { return s.lensShading.matrix[0][0] - 1024.0; }, nullptr},
    {"A2DNR_6",
     [](void *r, int k, double v) {
       as<TDatabaseAuto2DNoiseReduction_6>(r).rows[0].sigmaScale[k][1] = static_cast<float>(v);
     },
     [](const HardwareState &s) { return double(s.noiseReduction2D.sigmaScale[1]); },
     [](void *r) { as<TDatabaseAuto2DNoiseReduction_6>(r).enable = 0; }},
    {"A3DNR_4",
     [](void *r, int k, double v) {
       as<TDatabaseAuto3DNoiseReduction_4>(r).rows[0].tnrStrength[k] = static_cast<uint8_t>(v);
     },
     [](const HardwareState &s) { return double(s.noiseReduction3D.tnrStrength); },
     [](void *r) { as<TDatabaseAuto3DNoiseReduction_4>(r).enable = 0; }},
    {"ADMSC_3",
     [](void *r, int k, double v) {
       as<TDatabaseAutoDeMosaic_3>(r).denoiseStrength[k] = static_cast<uint8_t>(v);
     },
     [](const HardwareState &s) { return double(s.demosaic.deNoiseStrength); },
     [](void *r) { as<TDatabaseAutoDeMosaic_3>(r).autoLevel = 0; }},
    {"AEE_3",
     [](void *r, int k, double v) {
       as<TDatabaseAutoEdgeEnhance_3>(r).rows[0].sharpGain[k][1] = static_cast<uint16_t>(v);
     },
     [](const HardwareState &s) { return double(s.edgeEnhance.sharpGain[1]); },
     [](void *r) { as<TDatabaseAutoEdgeEnhance_3>(r).enable = 0; }},
    {"AWDR_5_2_1",
     [](void *r, int k, double v) {
       as<TDatabaseAutoWideDynamicRange_5_2_1>(r).rows[0].maxGain[k] = static_cast<uint16_t>(v);
     },
     [](const HardwareState &s) { return double(s.wideDynamicRange.maxGain); },
     [](void *r) { as<TDatabaseAutoWideDynamicRange_5_2_1>(r).enable = 0; }},
    // One threshold per method set in the table; both colour classes of the block take it.
    {"ADPCC",
     [](void *r, int k, double v) {
       as<TDatabaseAutoDefectPixelClusterCorrection>(r).rows[0].rndThresh[k][2] =
           static_cast<uint8_t>(v);
     },
     [](const HardwareState &s) {
       return s.defectPixel.rndThresh[0][2] == s.defectPixel.rndThresh[1][2]
                  ? double(s.defectPixel.rndThresh[1][2])
                  : -1.0;
     },
     [](void *r) { as<TDatabaseAutoDefectPixelClusterCorrection>(r).enable = 0; }},
};

// The block's effective state with only category's table (record) applied, at analog x
// digital gain.
std::unique_ptr<HardwareState> applied(const char *category, const void *record, float analog,
                                       float digital) {
  auto state = std::make_unique<HardwareState>(defaultHardwareState());
  state->lensShading.matrix[0][0] = kShadingGain;
  state->exposure.gain.analog[0] = analog;
  state->exposure.gain.digital[0] = digital;
  applyGainTables(
      [&](const char *name) { return std::string_view(name) == category ? record : nullptr; },
      *state);
  return state;
}

class Database {
 public:
  Database() { EXPECT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS); }
  ~Database() { TDatabase_close(&database_); }
  void *record(const char *category) {
    void *found = nullptr;
    EXPECT_EQ(TDatabase_query(database_, category, &found), TCOMMON_SUCCESS) << category;
    return found;
  }

 private:
  TDatabase *database_ = nullptr;
};

TEST(GainTables, EachBlockFollowsItsTableFromOneToSixtyFourTimesGain) {
  // (analog, digital): the sensor's total gain is their product.
  const std::pair<float, float> kGains[] = {{0.5f, 1}, {1, 1},  {1.25f, 1}, {2.5f, 1}, {5, 1},
                                            {12, 4},   {14, 4}, {16, 4},    {64, 1},   {1000, 2}};
  ASSERT_EQ(gainTables().size(), std::size(kCases));
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.category);
    Database database;
    void *record = database.record(c.category);
    for (int k = 0; k < 20; ++k) c.set(record, k, pointValue(k));
    for (const auto &[analog, digital] : kGains) {
      const double gain = double(analog) * digital;
      EXPECT_NEAR(c.get(*applied(c.category, record, analog, digital)), expectedAt(gain), 1e-3)
          << "gain " << gain;
    }
    // Off (or before any table is programmed): the block keeps its pushed record.
    const double manual = c.get(*applied("none", record, 64, 1));
    EXPECT_NE(manual, pointValue(12));
    if (c.off == nullptr) continue;
    c.off(record);
    EXPECT_EQ(c.get(*applied(c.category, record, 64, 1)), manual);
  }
}

// How the point is picked: the record's interpolate and tableIndex, an autoLevel that counts
// the filled points, and gains that stop rising.
TEST(GainTables, RowPointsAndInterpolationFollowTheRecord) {
  struct Pick {
    const char *what;
    const char *category;
    void (*edit)(void *record);
    float gain;
    double expected;
  };
  const Pick kPicks[] = {
      {"interpolate 0 takes the lower point", "ACP_1_2",
       [](void *r) { as<TDatabaseAutoColorProcess_1_2>(r).interpolate = 0; }, 2.9f, pointValue(2)},
      {"tableIndex selects the row", "ACP_1_2",
       [](void *r) {
         auto &t = as<TDatabaseAutoColorProcess_1_2>(r);
         t.rows[3] = t.rows[0];
         t.rows[3].saturation[2] = 500;
         t.tableIndex = 3;
       },
       2, 500},
      {"a tableIndex past the rows takes the last row", "ACP_1_2",
       [](void *r) {
         auto &t = as<TDatabaseAutoColorProcess_1_2>(r);
         t.rows[9] = t.rows[0];
         t.rows[9].saturation[2] = 700;
         t.tableIndex = 42;
       },
       2, 700},
      {"autoLevel 6 uses the first six points", "AEE_3",
       [](void *r) { as<TDatabaseAutoEdgeEnhance_3>(r).rows[0].autoLevel = 6; }, 64, pointValue(5)},
      {"gains that stop rising end the table", "ACP_1_2",
       [](void *r) { as<TDatabaseAutoColorProcess_1_2>(r).rows[0].gains[8] = 1; }, 64,
       pointValue(7)},
      {"interMode 0 takes the nearer point", "ALSC_3",
       [](void *r) { as<TDatabaseAutoLensShadingCorrection_3>(r).interMode = 0; }, 2.6f,
       pointValue(3)},
  };
  for (const Pick &pick : kPicks) {
    SCOPED_TRACE(pick.what);
    const Case &c = *std::find_if(std::begin(kCases), std::end(kCases), [&](const Case &each) {
      return std::string_view(each.category) == pick.category;
    });
    Database database;
    void *record = database.record(c.category);
    for (int k = 0; k < 20; ++k) c.set(record, k, pointValue(k));
    pick.edit(record);
    EXPECT_NEAR(c.get(*applied(c.category, record, pick.gain, 1)), pick.expected, 1e-3);
  }
}

// The middle half of the chart's flat area, away from its blurred edges.
Rect flatMiddle() {
  const Rect flat = chartLayout(testing::CameraRig::kWidth, testing::CameraRig::kHeight).flatArea;
  return {flat.x + flat.width / 4, flat.y + flat.height / 4, flat.width / 2, flat.height / 2};
}

// Mean of the sites of one Bayer phase (even rows and columns) in the flat area.
double flatMean(const testing::CameraRig::Frame &frame) {
  const Rect rect = flatMiddle();
  double sum = 0;
  int count = 0;
  for (int y = rect.y & ~1; y < rect.y + rect.height; y += 2)
    for (int x = rect.x & ~1; x < rect.x + rect.width; x += 2) {
      sum += frame.codes()[y * testing::CameraRig::kWidth + x];
      ++count;
    }
  return sum / count;
}

// Noise variance in the flat area: half the mean squared difference of each site and the next
// one of its colour along the line, which a smooth shading does not reach.
double flatNoise(const testing::CameraRig::Frame &frame) {
  const Rect rect = flatMiddle();
  double sum = 0;
  int count = 0;
  for (int y = rect.y; y < rect.y + rect.height; ++y)
    for (int x = rect.x; x + 2 < rect.x + rect.width; ++x) {
      const uint16_t *site = &frame.codes()[y * testing::CameraRig::kWidth + x];
      sum += (double(site[2]) - site[0]) * (double(site[2]) - site[0]) / 2;
      ++count;
    }
  return sum / count;
}

// Through the driver: the tables act only while the camera streams, follow the exposure
// gain the driver is programmed with, and leave the pushed record in the read-back.
TEST(GainTables, TheStreamingCameraFollowsTheTablesAndTheirSwitch) {
  testing::CameraRig rig;
  auto &exposure = rig.record<TDatabaseExposureControl_2>("EC_2");
  const auto setGain = [&](float gain) {
    exposure.gain.analog[0] = gain;
    exposure.integrationTime[0] = 0.01f / gain;  // the same picture level at every gain
    EXPECT_EQ(TDriverExposureControl_2_process(rig.driver(), 0), TCOMMON_SUCCESS);
  };
  auto &table = rig.record<TDatabaseAutoBlackLevelSubtraction>("ABLS");
  table.enable = 1;
  for (auto &levels : table.rows[0].bls) std::fill(std::begin(levels), std::end(levels), 256);
  std::fill(std::begin(table.rows[0].bls[6]), std::end(table.rows[0].bls[6]), 0);  // 8x
  ASSERT_EQ(TDriverBlackLevelSubtraction_process(rig.driver(), 0), TCOMMON_SUCCESS);
  setGain(8);
  const testing::CameraRig::Frame raw = rig.get("raw");
  const double rawMean = flatMean(raw);
  const double followed = flatMean(rig.get("BLS"));
  EXPECT_NEAR(followed, rawMean, 0.5) << "the table's level 0 leaves the pedestal in";

  // The read-back hands back the pushed record, not the levels the table programs.
  const TDatabaseBlackLevelSubtraction pushed = rig.record<TDatabaseBlackLevelSubtraction>("BLS");
  ASSERT_EQ(TDriverBlackLevelSubtraction_statistics(rig.driver(), 1), TCOMMON_SUCCESS);
  EXPECT_EQ(std::memcmp(&pushed, &rig.record<TDatabaseBlackLevelSubtraction>("BLS"), sizeof pushed),
            0);

  // The same picture idle (initialised, not streaming), and with the table switched off.
  ASSERT_EQ(raw.image.blackLevel, 256u);  // the sensor's pedestal, 12-bit
  const double manual = rawMean - raw.image.blackLevel;
  ASSERT_EQ(TDriver_stream(rig.driver(), 0), TCOMMON_SUCCESS);
  EXPECT_NEAR(flatMean(rig.get("BLS")), manual, 0.5) << "idle";
  ASSERT_EQ(TDriver_stream(rig.driver(), 1), TCOMMON_SUCCESS);
  EXPECT_NEAR(flatMean(rig.get("BLS")), followed, 1e-9) << "streaming again";
  table.enable = 0;
  ASSERT_EQ(TDriverBlackLevelSubtraction_process(rig.driver(), 0), TCOMMON_SUCCESS);
  EXPECT_NEAR(flatMean(rig.get("BLS")), manual, 0.5) << "table off";
  table.enable = 1;
  ASSERT_EQ(TDriverBlackLevelSubtraction_process(rig.driver(), 0), TCOMMON_SUCCESS);
  setGain(4);  // point 4: the table's level is the sensor's pedestal
  EXPECT_NEAR(flatMean(rig.get("BLS")), flatMean(rig.get("raw")) - 256, 0.5) << "4x";
}

// The 2-D noise reducer's strength from its table: weak at low gain, strong from 16x on, with
// no detail given back. At 16x the flat area keeps at most a third of the noise variance it
// enters with (measured 0.04); at 1x more than two thirds (measured 1.00).
TEST(GainTables, NoiseReductionStrengthFollowsTheGain) {
  testing::CameraRig rig;
  auto &table = rig.record<TDatabaseAuto2DNoiseReduction_6>("A2DNR_6");
  table.enable = 1;
  for (int k = 0; k < 20; ++k) {
    auto &row = table.rows[0];
    std::fill(std::begin(row.sigmaScale[k]), std::end(row.sigmaScale[k]), k < 8 ? 0.05f : 16.0f);
    // Nothing the strong filter takes off goes back as detail.
    std::fill(std::begin(row.staticDetailThresh[k]), std::end(row.staticDetailThresh[k]), 1023);
    std::fill(std::begin(row.movingDetailThresh[k]), std::end(row.movingDetailThresh[k]), 1023);
  }
  ASSERT_EQ(TDriver2DNoiseReduction_6_process(rig.driver(), 0), TCOMMON_SUCCESS);
  auto &exposure = rig.record<TDatabaseExposureControl_2>("EC_2");
  for (const float gain : {1.0f, 16.0f}) {
    exposure.gain.analog[0] = gain;
    exposure.integrationTime[0] = 0.01f / gain;
    ASSERT_EQ(TDriverExposureControl_2_process(rig.driver(), 0), TCOMMON_SUCCESS);
    const double ratio = flatNoise(rig.get("2DNR_6")) / flatNoise(rig.get("RGBIR"));
    if (gain == 1)
      EXPECT_GT(ratio, 2.0 / 3) << "1x";
    else
      EXPECT_LT(ratio, 1.0 / 3) << "16x";
  }
}

}  // namespace
}  // namespace tcamera
