// Key coverage of the simulated camera: every key of every image block, written through the
// shell with a changed value within its range, must change the output picture or a
// measurement of the frame, unless the camera lists it as inert (with the reason a tuning
// engineer sees). The test prints the figures per block and in total.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "gain_tables_off.h"
#include "inert_keys.h"
#include "t_common.h"
#include "t_database.h"
#include "t_driver.h"
#include "t_json.h"
#include "t_shell.h"

namespace {

constexpr uint32_t kWidth = 256, kHeight = 144;

// The image blocks, in hardware order, then the per-gain tables that drive them while the
// camera streams.
const char *const kImageBlocks[] = {
    "BLS",     "DPCC",       "LSC_3",   "GE",       "DG",    "WB_1_1", "CPD_1_1",   "HDR_3_2DOL",
    "RGBIR",   "RGBIR_1_1",  "2DNR_6",  "DMSC_3",   "CCM",   "GC_2",   "WDR_5_2_1", "CP_1_2",
    "CNR_2_2", "EE_3",       "3DNR_4",  "ABLS",     "ADPCC", "ALSC_3", "A2DNR_6",   "ADMSC_3",
    "AGC_2",   "AWDR_5_2_1", "ACP_1_2", "ACNR_2_2", "AEE_3", "A3DNR_4"};

struct KeyInfo {
  std::string key;
  std::string access;
  std::string element;
  int64_t maximum = -1;  // -1: none given
  bool pushes = false;
  bool saysInert = false;  // the schema tells clients why the camera ignores the key
};

// The keys of category in the shell's schema.
std::vector<KeyInfo> schemaKeys(TJsonValue *schema, const char *category) {
  std::vector<KeyInfo> keys;
  TJsonValue *about = nullptr;
  TJsonValue *list = nullptr;
  if (TJsonValue_member(schema, category, &about) != TCOMMON_SUCCESS ||
      TJsonValue_member(about, "keys", &list) != TCOMMON_SUCCESS)
    return keys;
  uint64_t count = 0;
  TJsonValue_size(list, &count);
  for (uint64_t i = 0; i < count; ++i) {
    TJsonValue *entry = nullptr;
    TJsonValue_item(list, i, &entry);
    KeyInfo info;
    TJsonValue *member = nullptr;
    const char *text = nullptr;
    if (TJsonValue_member(entry, "key", &member) == TCOMMON_SUCCESS &&
        TJsonValue_asString(member, &text) == TCOMMON_SUCCESS)
      info.key = text;
    if (TJsonValue_member(entry, "access", &member) == TCOMMON_SUCCESS &&
        TJsonValue_asString(member, &text) == TCOMMON_SUCCESS)
      info.access = text;
    if (TJsonValue_member(entry, "element", &member) == TCOMMON_SUCCESS &&
        TJsonValue_asString(member, &text) == TCOMMON_SUCCESS)
      info.element = text;
    int64_t maximum = 0;
    if (TJsonValue_member(entry, "maximum", &member) == TCOMMON_SUCCESS &&
        TJsonValue_asInteger(member, &maximum) == TCOMMON_SUCCESS)
      info.maximum = maximum;
    uint8_t pushes = 0;
    if (TJsonValue_member(entry, "pushesHardware", &member) == TCOMMON_SUCCESS &&
        TJsonValue_asBoolean(member, &pushes) == TCOMMON_SUCCESS)
      info.pushes = pushes != 0;
    info.saysInert = TJsonValue_member(entry, "inert", &member) == TCOMMON_SUCCESS &&
                     TJsonValue_asString(member, &text) == TCOMMON_SUCCESS && text[0] != '\0';
    keys.push_back(info);
  }
  return keys;
}

// The range of an integer key's elements, kept to values an engineer would try: keys of the
// wide types without a maximum go up to four times their value, and at least to 4096.
std::pair<int64_t, int64_t> integerRange(const KeyInfo &info, int64_t current) {
  static const std::map<std::string, std::pair<int64_t, int64_t>> kRanges = {
      {"u8", {0, 255}},        {"i8", {-128, 127}},
      {"u16", {0, 65535}},     {"i16", {-32768, 32767}},
      {"u32", {0, INT64_MAX}}, {"i32", {INT32_MIN, INT32_MAX}},
      {"u64", {0, INT64_MAX}}, {"i64", {INT64_MIN, INT64_MAX}}};
  auto range =
      kRanges.count(info.element) ? kRanges.at(info.element) : std::pair<int64_t, int64_t>{0, 255};
  if (info.maximum >= 0) range.second = std::min(range.second, info.maximum);
  const bool wide = info.element == "u32" || info.element == "i32" || info.element == "u64" ||
                    info.element == "i64";
  if (wide && info.maximum < 0) {
    const int64_t reach = std::max<int64_t>(4096, std::abs(current) * 4);
    range.second = std::min(range.second, reach);
    range.first = std::max(range.first, info.element[0] == 'i' ? -reach : 0);
  }
  return range;
}

constexpr int kAttempts = 4;

// Rewrites every number and switch of value with probe number attempt: integers go to the far
// end of their range (0), the near end (1) or a moderate step away (2); floats to twice their
// value plus one (0) or half their value less a quarter (1, 2); switches flip. Attempt 3 is
// attempt 0 on the first element of an array only (a block may use only the differences
// between the elements).
void changeValue(TJsonValue *value, const KeyInfo &info, int attempt) {
  uint32_t type = 0;
  TJsonValue_type(value, &type);
  if (type == TJSON_TYPE_ARRAY) {
    uint64_t size = 0;
    TJsonValue_size(value, &size);
    if (attempt == 3) {
      TJsonValue *item = nullptr;
      if (size != 0 && TJsonValue_item(value, 0, &item) == TCOMMON_SUCCESS)
        changeValue(item, info, 0);
      return;
    }
    for (uint64_t i = 0; i < size; ++i) {
      TJsonValue *item = nullptr;
      TJsonValue_item(value, i, &item);
      changeValue(item, info, attempt);
    }
  } else if (type == TJSON_TYPE_OBJECT) {
    std::pair<const KeyInfo *, int> context(&info, attempt);
    TJsonValue_forEachMember(
        value,
        [](void *context, const char *, TJsonValue *member) -> uint32_t {
          const auto &[what, which] = *static_cast<std::pair<const KeyInfo *, int> *>(context);
          changeValue(member, *what, which);
          return TCOMMON_SUCCESS;
        },
        &context);
  } else if (type == TJSON_TYPE_BOOLEAN) {
    uint8_t flag = 0;
    TJsonValue_asBoolean(value, &flag);
    TJsonValue_assignAsBoolean(value, flag == 0);
  } else if (type == TJSON_TYPE_INTEGER &&
             (info.access == "integer" || info.access == "curve" || info.access == "flag")) {
    int64_t current = 0;
    TJsonValue_asInteger(value, &current);
    if (info.access == "flag") {
      TJsonValue_assignAsInteger(value, current == 0 ? 1 : 0);
      return;
    }
    const auto [low, high] = integerRange(info, current);
    int64_t probe = 0;
    const bool nearerLow = current - low <= high - current;
    if (attempt == 0 || attempt == 3) {
      probe = nearerLow ? high : low;
    } else if (attempt == 1) {
      probe = nearerLow ? low : high;
    } else {
      const int64_t step = std::max<int64_t>(1, std::abs(current) / 2);
      probe = current + step <= high ? current + step : current - step;
    }
    TJsonValue_assignAsInteger(value, std::clamp(probe, low, high));
  } else if (type == TJSON_TYPE_INTEGER || type == TJSON_TYPE_FLOAT) {
    double current = 0;
    TJsonValue_asFloat(value, &current);
    TJsonValue_assignAsFloat(value,
                             attempt == 0 || attempt == 3 ? current * 2 + 1 : current * 0.5 - 0.25);
  }
}

// Where the frame is set up for a block: sensor modes and the other blocks it needs.
struct Setup {
  bool twoExposure = false;
  bool rgbIr = false;
  bool legacyRgbIr = false;  // "RGBIR" runs only while "RGBIR_1_1" is bypassed
  bool gainTables = false;   // the per-gain tables drive their blocks (else the pushed records)
};

Setup setupFor(const std::string &category) {
  Setup setup;
  if (category == "HDR_3_2DOL") setup.twoExposure = true;
  if (category == "RGBIR" || category == "RGBIR_1_1") setup.rgbIr = true;
  if (category == "RGBIR") setup.legacyRgbIr = true;
  setup.gainTables = category[0] == 'A';
  return setup;
}

// Settings under which keys that act only in a mode of their block (or once another key is
// off its neutral value) get their role: each context is written through the shell into a
// fresh frame, and the keys that did not move the frame so far are probed again under it.
struct Write {
  const char *category;
  const char *key;
  std::string value;
};
using Context = std::vector<Write>;

// A 33 x 33 gain grid per channel rising towards the corners, as a lens needs.
std::string vignettingGrid() {
  std::string grid = "[";
  for (int channel = 0; channel < 4; ++channel) {
    grid += channel != 0 ? ",[" : "[";
    for (int i = 0; i < 33 * 33; ++i) {
      const double dx = (i % 33 - 16) / 16.0, dy = (i / 33 - 16) / 16.0;
      grid += (i != 0 ? "," : "") + std::to_string(int(1024 * (1 + 0.5 * (dx * dx + dy * dy))));
    }
    grid += "]";
  }
  return grid + "]";
}

// A 64-point input axis that is not the evenly spaced default (12-bit, rising).
std::string unevenCurveX() {
  std::string axis = "[";
  for (int i = 0; i < 64; ++i) axis += (i != 0 ? "," : "") + std::to_string(i * i * 4095 / 3969);
  return axis + "]";
}

// The bad-pixel table of DPCC with entries spread over the frame.
Context badPixelTable() {
  std::string x = "[", y = "[";
  for (int i = 0; i < TDATABASE_DPCC_BPT_ENTRIES; ++i) {
    x += (i != 0 ? "," : "") + std::to_string(i < 64 ? 8 + (i % 8) * 30 : 0);
    y += (i != 0 ? "," : "") + std::to_string(i < 64 ? 8 + (i / 8) * 16 : 0);
  }
  return {{"DPCC", "bptEnable", "true"},
          {"DPCC", "bptNum", "64"},
          {"DPCC", "bptPosX", x + "]"},
          {"DPCC", "bptPosY", y + "]"}};
}

// DPCC with one detection method alone in the first set, so that its own thresholds decide.
Context defectMethod(int bit) {
  const int bits = (1 << bit) | (1 << (bit + 8));
  return {
      {"DPCC", "setUse", "1"},
      {"DPCC", "methodsSet",
       "[" + std::to_string(bits) + "," + std::to_string(bits) + "," + std::to_string(bits) + "]"}};
}

// A compander curve that doubles the levels below half scale (12-bit, 64 points).
Context doublingCurve() {
  std::string x = "[", y = "[";
  for (int i = 0; i < 64; ++i) {
    x += (i != 0 ? "," : "") + std::to_string(i * 65);
    y += (i != 0 ? "," : "") + std::to_string(std::min(4095, i * 130));
  }
  return {{"CPD_1_1", "expandCurveX", x + "]"}, {"CPD_1_1", "expandCurveY", y + "]"}};
}

// A longer exposure (the short one 16 times shorter) that puts the chart's greys into the
// HDR merge's transition band.
const Write kLongExposure = {"EC_2", "integrationTime", "[0.03,0.001875,0.01,0.01]"};

// A table key's value with every gain point set to entry (a JSON value).
std::string everyPoint(const std::string &entry) {
  std::string points = "[";
  for (int k = 0; k < 20; ++k) points += (k != 0 ? "," : "") + entry;
  return points + "]";
}

// Row 1 of a table selected, with its first gain point apart from row 0's.
Context otherRow(const char *category, const char *key, const std::string &pointZero) {
  return {{category, "tableIndex", "1"}, {category, key, "[" + pointZero + "]"}};
}

// A 64-point gamma curve that shows every level as half grey.
std::string halfGreyCurve() {
  std::string curve = "[";
  for (int i = 0; i < 64; ++i) curve += i != 0 ? ",512" : "512";
  return curve + "]";
}

// The sensor at analog gain (frame 0), for the tables and the entries that follow the gain.
Write sensorGain(const char *gain) {
  return {"EC_2", "gain.analog", std::string("[") + gain + ",1,1,1]"};
}

// DPCC's detection by the table, with one detection method alone in the first set.
Context tableDefectMethod(int bit) {
  const std::string bits = std::to_string((1 << bit) | (1 << (bit + 8)));
  return {{"ADPCC", ":setUse", everyPoint("1")},
          {"ADPCC", ":methodsSet", everyPoint("[" + bits + "," + bits + "," + bits + "]")}};
}

// The chromatic aberration the demosaic's purple-fringe removal acts on.
Context lateralColour() {
  return {{"DMSC_3", "isCac", "true"},      {"DMSC_3", "cac:aRed", "0.02"},
          {"DMSC_3", "cac:aBlue", "-0.02"}, {"DMSC_3", "cac:bRed", "0.02"},
          {"DMSC_3", "cac:bBlue", "-0.02"}, {"DMSC_3", "cac:cRed", "0.02"},
          {"DMSC_3", "cac:cBlue", "-0.02"}};
}

std::vector<Context> contextsFor(const std::string &category) {
  static const std::map<std::string, std::vector<Context>> kContexts = {
      {"BLS", {{{"BLS", "isOverrideCalibration", "true"}, {"BLS", "data", "[300,320,340,360]"}}}},
      {"DPCC",
       {badPixelTable(), defectMethod(0), defectMethod(1), defectMethod(2), defectMethod(3),
        defectMethod(4)}},
      {"LSC_3", {{{"LSC_3", "matrix", vignettingGrid()}}}},
      {"DG", {{{"DG", "r", "1.5"}, {"DG", "gr", "1.2"}, {"DG", "gb", "1.3"}, {"DG", "b", "1.4"}}}},
      {"WB_1_1", {{{"WB_1_1", "gain", "[1.8,1.0,1.1,1.5]"}}}},
      {"CCM", {{{"CCM", "ccMatrix", "[1.5,-0.3,-0.2,-0.2,1.4,-0.2,-0.1,-0.4,1.5]"}}}},
      {"CPD_1_1",
       {{{"CPD_1_1", "blsEnable", "true"}, {"CPD_1_1", "bls", "[200,210,220,230]"}},
        doublingCurve()}},
      {"CP_1_2", {{{"CP_1_2", "bright", "20"}}}},
      {"GC_2",
       {{{"GC_2", "isUserCurveX", "true"}, {"GC_2", "curvePx", unevenCurveX()}},
        {{"GC_2", "isStandard", "true"}}}},
      {"DMSC_3",
       {{{"DMSC_3", "isCac", "true"},
         {"DMSC_3", "cac:aRed", "0.02"},
         {"DMSC_3", "cac:aBlue", "-0.02"},
         {"DMSC_3", "cac:bRed", "0.02"},
         {"DMSC_3", "cac:bBlue", "-0.02"},
         {"DMSC_3", "cac:cRed", "0.02"},
         {"DMSC_3", "cac:cBlue", "-0.02"},
         {"DMSC_3", "isDePurple", "true"},
         {"DMSC_3", "isSharpenLine", "true"}}}},
      // A strong lift that carries the chart's saturated patches to full scale, where the
      // coloured-light protection holds their gain.
      {"WDR_5_2_1",
       {{{"WDR_5_2_1", "wdrCurveSelect", "1"}},
        {{"WDR_5_2_1", "hlcBaseLog", "8"}},
        {{"WDR_5_2_1", "flatMode", "true"}},
        {{"WDR_5_2_1", "lightEn", "true"},
         {"WDR_5_2_1", "strength", "255"},
         {"WDR_5_2_1", "lowStrength", "1024"}}}},
      // A strong filter that also takes edges, so that its detail give-back has detail to boost.
      {"2DNR_6", {{{"2DNR_6", "sigmaScale", "[8,12,16]"}}}},
      {"HDR_3_2DOL",
       {{{"HDR_3_2DOL", "deGhostLs.isEnable", "true"}},
        {{"HDR_3_2DOL", "state", "0"}},
        {kLongExposure},
        {kLongExposure, {"HDR_3_2DOL", "deGhostLs.isEnable", "true"}}}},
      {"RGBIR_1_1", {{{"RGBIR", "state", "0"}}}},
      // The second: strong sharpening, whose halos the limits clip, with purple-fringe removal
      // on for its detection and fix keys.
      {"EE_3",
       {{{"EE_3", "isDci", "true"},
         {"EE_3", "isYuvDomain", "false"},
         {"EE_3", "skinProcessEn", "1"}},
        {{"EE_3", "strength", "255"}, {"EE_3", "isDePurple", "true"}}}},
      {"3DNR_4", {{{"3DNR_4", "diffType", "1"}}}},
      // The tables: another row selected (tableIndex and the gain points then have a row to
      // move to), and the settings their blocks need.
      {"ABLS", {otherRow("ABLS", ":bls", "[100,100,100,100]")}},
      {"ADPCC",
       {otherRow("ADPCC", ":setUse", "0"), tableDefectMethod(0), tableDefectMethod(1),
        tableDefectMethod(2), tableDefectMethod(3), tableDefectMethod(4)}},
      {"ALSC_3",
       {{{"LSC_3", "matrix", vignettingGrid()}},
        {{"LSC_3", "matrix", vignettingGrid()}, sensorGain("1.3")}}},
      {"A2DNR_6",
       {otherRow("A2DNR_6", ":sigmaScale", "[8,12,16]"),
        {{"A2DNR_6", ":sigmaScale", everyPoint("[8,12,16]")}},
        {sensorGain("16"), {"A2DNR_6", ":sigmaScale", everyPoint("[8,12,16]")}},
        {sensorGain("16"),
         {"A2DNR_6", ":sigmaScale", everyPoint("[8,12,16]")},
         {"A2DNR_6", ":blendStatic", everyPoint("1")},
         {"A2DNR_6", ":movingDetailBoost", everyPoint("[[2,2,2],[2,2,2]]")}}}},
      {"ADMSC_3", {{sensorGain("4")}, {sensorGain("16")}, lateralColour()}},
      {"AGC_2", {otherRow("AGC_2", ":curve", halfGreyCurve())}},
      {"AWDR_5_2_1",
       {otherRow("AWDR_5_2_1", ":lowStrength", "2048"),
        {{"WDR_5_2_1", "flatMode", "true"}},
        {{"WDR_5_2_1", "strength", "255"},
         {"AWDR_5_2_1", ":lightEn", everyPoint("1")},
         {"AWDR_5_2_1", ":lowStrength", everyPoint("1024")}},
        {{"AWDR_5_2_1", ":satThrGainUp", everyPoint("96")},
         {"AWDR_5_2_1", ":satThrGainDown", everyPoint("160")},
         {"AWDR_5_2_1", ":satRange", everyPoint("0.8")}}}},
      {"ACP_1_2", {otherRow("ACP_1_2", ":bright", "20")}},
      {"ACNR_2_2", {otherRow("ACNR_2_2", ":cnrStrength", "255")}},
      {"AEE_3",
       {otherRow("AEE_3", ":eeStrength", "255"), {{"AEE_3", ":dciEnable", everyPoint("1")}}}},
      {"A3DNR_4",
       {otherRow("A3DNR_4", ":tnrStrength", "255"),
        {{"3DNR_4", "diffType", "1"}, {"A3DNR_4", ":motionDilateEn", everyPoint("1")}}}},
  };
  const auto found = kContexts.find(category);
  return found != kContexts.end() ? found->second : std::vector<Context>{};
}

class Rig {
 public:
  explicit Rig(const Setup &setup) {
    EXPECT_EQ(TCommonLogger_open(&logger_), TCOMMON_SUCCESS);
    EXPECT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
    EXPECT_EQ(TDriver_open(database_, &driver_), TCOMMON_SUCCESS);
    void *handles[3] = {database_, driver_, logger_};
    EXPECT_EQ(TShell_open(handles, &shell_), TCOMMON_SUCCESS);
    EXPECT_EQ(TJsonReader_open(&reader_), TCOMMON_SUCCESS);
    EXPECT_EQ(TJsonWriter_open(nullptr, &writer_), TCOMMON_SUCCESS);
    auto &path = record<TDatabaseInput>("IPT").paths[0];
    path.rectangle = {.height = kHeight, .offset = {0, 0}, .width = kWidth};
    path.stitchingMode = setup.twoExposure ? 1 : 0;
    auto &sensor = record<TDatabaseSensor>("SS");
    sensor.modes[sensor.modeIndex].type = setup.rgbIr ? 1 : 0;
    if (setup.legacyRgbIr) record<TDatabaseRgbInfraredRadiation>("RGBIR_1_1").state = 0;
    auto &focus = record<TDatabaseAutoFocusMeasurement_3>("AFM_3");
    focus.hwRoi[0] = 0;
    focus.hwRoi[1] = 0;
    focus.hwRoi[2] = kWidth;
    focus.hwRoi[3] = kHeight;
    if (!setup.gainTables) switchOffGainTables(database_);
    EXPECT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
    EXPECT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
    // One frame looked at before, so that the temporal noise reducer has a history to blend.
    TDriverImage first{};
    EXPECT_EQ(TDriverFrame_get(driver_, "output", &first), TCOMMON_SUCCESS);
    TDriverImage_release(&first);
    EXPECT_EQ(TDriverFrame_next(driver_), TCOMMON_SUCCESS);
  }
  ~Rig() {
    TJsonWriter_close(&writer_);
    TJsonReader_close(&reader_);
    TShell_close(&shell_);
    TDriver_close(&driver_);
    TDatabase_close(&database_);
    TCommonLogger_close(&logger_);
  }

  template <typename Record>
  Record &record(const char *category) {
    void *found = nullptr;
    EXPECT_EQ(TDatabase_query(database_, category, &found), TCOMMON_SUCCESS);
    return *static_cast<Record *>(found);
  }

  // What a client can observe of the frame: the output and the four measuring units.
  std::string observe() {
    std::string seen;
    TDriverImage image{};
    if (TDriverFrame_get(driver_, "output", &image) == TCOMMON_SUCCESS)
      seen.assign(static_cast<const char *>(image.data), image.size);
    TDriverImage_release(&image);
    const auto bytes = [&](const auto &part) {
      seen.append(reinterpret_cast<const char *>(&part), sizeof(part));
    };
    EXPECT_EQ(TDriverHistogram_statistics(driver_, 1), TCOMMON_SUCCESS);
    bytes(record<TDatabaseHistogram>("HTG").statistics);
    EXPECT_EQ(TDriverHistogram_2_statistics(driver_, 1), TCOMMON_SUCCESS);
    bytes(record<TDatabaseHistogram_2>("HTG_2").statistics);
    EXPECT_EQ(TDriverExposureControl_2_statistics(driver_, 1), TCOMMON_SUCCESS);
    bytes(record<TDatabaseAutoExposureStatistics_2>("AES_2").statistics);
    bytes(record<TDatabaseAutoExposureStatistics_2>("AES_2").zoneSum);
    EXPECT_EQ(TDriverFocusControl_statistics(driver_, 1), TCOMMON_SUCCESS);
    bytes(record<TDatabaseAutoFocusMeasurement_3>("AFM_3").statistics);
    return seen;
  }

  // The value of a key as the shell prints it; "" when the read failed.
  std::string read(const std::string &category, const std::string &key) {
    const std::string response =
        process(R"({"category":")" + category + R"(","key":")" + key + R"("})");
    return member(response, "value.current");
  }
  // Writes value text; false when the shell refused it.
  bool write(const std::string &category, const std::string &key, const std::string &value) {
    const std::string response = process(R"({"category":")" + category + R"(","key":")" + key +
                                         R"(","value":{"current":)" + value + "}}");
    return response.find("message") == std::string::npos;
  }

  // value text changed by probe attempt, or "" when it has nothing to change.
  std::string changed(const std::string &value, const KeyInfo &info, int attempt) {
    TJsonValue *root = nullptr;
    if (TJsonReader_parse(reader_, value.data(), value.data() + value.size(), &root) !=
        TCOMMON_SUCCESS)
      return "";
    changeValue(root, info, attempt);
    const char *text = nullptr;
    std::string result;
    if (TJsonWriter_stringify(writer_, root, &text) == TCOMMON_SUCCESS) result = text;
    TJsonValue_delete(root);
    return result == value ? "" : result;
  }

 private:
  std::string process(const std::string &request) {
    const char *response = nullptr;
    if (TShell_process(shell_, request.c_str(), &response) != TCOMMON_SUCCESS ||
        response == nullptr)
      return "";
    return response;
  }
  std::string member(const std::string &response, const char *path) {
    TJsonValue *root = nullptr;
    if (TJsonReader_parse(reader_, response.data(), response.data() + response.size(), &root) !=
        TCOMMON_SUCCESS)
      return "";
    std::string result;
    TJsonValue *value = nullptr;
    const char *text = nullptr;
    if (TJsonPath(root, path, &value) == TCOMMON_SUCCESS &&
        TJsonWriter_stringify(writer_, value, &text) == TCOMMON_SUCCESS)
      result = text;
    TJsonValue_delete(root);
    return result;
  }

  TCommonLogger *logger_ = nullptr;
  TDatabase *database_ = nullptr;
  TDriver *driver_ = nullptr;
  TShell *shell_ = nullptr;
  TJsonReader *reader_ = nullptr;
  TJsonWriter *writer_ = nullptr;
};

TEST(CameraCoverage, EveryImageBlockKeyChangesTheFrameOrIsListedInert) {
  const char *schemaText = nullptr;
  ASSERT_EQ(TShell_schema(&schemaText), TCOMMON_SUCCESS);
  TJsonReader *reader = nullptr;
  ASSERT_EQ(TJsonReader_open(&reader), TCOMMON_SUCCESS);
  TJsonValue *schema = nullptr;
  ASSERT_EQ(TJsonReader_parse(reader, schemaText, schemaText + strlen(schemaText), &schema),
            TCOMMON_SUCCESS);

  std::set<std::pair<std::string, std::string>> inert;
  for (const tcamera::InertKey &key : tcamera::inertKeys()) inert.emplace(key.category, key.key);

  int changing = 0, total = 0, listed = 0;
  std::vector<std::string> unexplained, listedButChanging;
  std::string table;
  for (const char *category : kImageBlocks) {
    const std::vector<KeyInfo> keys = schemaKeys(schema, category);
    // A key the shell keeps until the block's next push reaches the hardware with the next
    // pushing key written, as it would in a tuning session.
    std::string pushingKey;
    for (const KeyInfo &info : keys)
      if (info.pushes && pushingKey.empty()) pushingKey = info.key;
    std::set<std::string> moved;
    // Probes every key not yet seen to move the frame, under the settings rig holds now.
    const auto probeKeys = [&](Rig &rig) {
      const std::string base = rig.observe();
      for (const KeyInfo &info : keys) {
        if (info.access == "statistics" || info.access == "files" || moved.count(info.key))
          continue;
        const std::string original = rig.read(category, info.key);
        bool moves = false;
        for (int attempt = 0; attempt < kAttempts && !moves && !original.empty(); ++attempt) {
          const std::string probe = rig.changed(original, info, attempt);
          if (probe.empty() || !rig.write(category, info.key, probe)) continue;
          if (!info.pushes && !pushingKey.empty())
            rig.write(category, pushingKey, rig.read(category, pushingKey));
          moves = rig.observe() != base;
          rig.write(category, info.key, original);
          if (!info.pushes && !pushingKey.empty())
            rig.write(category, pushingKey, rig.read(category, pushingKey));
        }
        if (moves) moved.insert(info.key);
      }
      EXPECT_EQ(rig.observe(), base) << category << ": the frame after every key was restored";
    };
    {
      Rig rig(setupFor(category));
      probeKeys(rig);
    }
    for (const Context &context : contextsFor(category)) {
      Rig rig(setupFor(category));
      for (const Write &write : context)
        EXPECT_TRUE(rig.write(write.category, write.key, write.value))
            << write.category << "/" << write.key << "=" << write.value;
      probeKeys(rig);
    }
    int blockChanging = 0, blockTotal = 0;
    for (const KeyInfo &info : keys) {
      if (info.access == "statistics" || info.access == "files") continue;
      ++blockTotal;
      const bool moves = moved.count(info.key) != 0;
      const bool isInert = inert.count({category, info.key}) != 0;
      EXPECT_EQ(info.saysInert, isInert) << category << "/" << info.key << " in the schema";
      blockChanging += moves;
      listed += isInert;
      if (!moves && !isInert) unexplained.push_back(std::string(category) + "/" + info.key);
      if (moves && isInert) listedButChanging.push_back(std::string(category) + "/" + info.key);
    }
    changing += blockChanging;
    total += blockTotal;
    table += "  " + std::string(category) + ": " + std::to_string(blockChanging) + " of " +
             std::to_string(blockTotal) + "\n";
  }
  TJsonValue_delete(schema);
  TJsonReader_close(&reader);

  printf("%s%d of %d image-block and table keys change the frame (%d listed inert)\n",
         table.c_str(), changing, total, listed);
  std::string list;
  for (const std::string &key : unexplained) list += " " + key;
  EXPECT_TRUE(unexplained.empty())
      << unexplained.size() << " keys neither change the frame nor are listed inert:" << list;
  list.clear();
  for (const std::string &key : listedButChanging) list += " " + key;
  EXPECT_TRUE(listedButChanging.empty()) << "listed inert but change the frame:" << list;
}

}  // namespace
