// The measuring categories through the shell: when "statistics" reads the hardware, what
// writing the units pushes, and the JSON that clients get.
#include <string>

#include "shell_fixture.h"

namespace {

struct Unit {
  const char *category;
  const char *readBack;  // what a read of "statistics" calls
  const char *shape;     // of the statistics, as signature() writes it
};

const Unit kUnits[] = {
    {"HTG", "TDriverHistogram_statistics", "{bins:[16 i]}"},
    {"HTG_2", "TDriverHistogram_2_statistics", "{bins:[32 i]}"},
    {"AES_2", "TDriverExposureControl_2_statistics",
     "{mean:[5 [5 f]],luma:f,aboveRatio:f,count:i}"},
    {"AFM_3", "TDriverFocusControl_statistics",
     "{fir:[3 i],iir:[3 i],luma:[3 f],highlights:[3 i]}"},
};

constexpr uint32_t kWidth = 320, kHeight = 180;
constexpr int64_t kFrameSamples = (kWidth / 2) * (kHeight / 2);  // one per Bayer quad

constexpr char kStreamingNeeded[] =
    "Shell: Streaming needed, or data will come from cache not hardware";

// The shape of a JSON value: i for an integer, f for a float, {name:shape,...} for an
// object, [n shape] for an array of n elements of one shape.
std::string signature(TJsonValue *value) {
  uint32_t type = TJSON_TYPE_ABSENT;
  TJsonValue_type(value, &type);
  if (type == TJSON_TYPE_INTEGER) return "i";
  if (type == TJSON_TYPE_FLOAT) return "f";
  if (type == TJSON_TYPE_OBJECT) {
    std::string text = "{";
    TJsonValue_forEachMember(
        value,
        [](void *context, const char *name, TJsonValue *member) -> uint32_t {
          auto &out = *static_cast<std::string *>(context);
          out += (out.size() > 1 ? "," : "") + std::string(name) + ":" + signature(member);
          return TCOMMON_SUCCESS;
        },
        &text);
    return text + "}";
  }
  if (type == TJSON_TYPE_ARRAY) {
    uint64_t size = 0;
    TJsonValue_size(value, &size);
    std::string element;
    for (uint64_t i = 0; i < size; ++i) {
      TJsonValue *item = nullptr;
      TJsonValue_item(value, i, &item);
      const std::string shape = signature(item);
      if (i > 0 && shape != element) return "[mixed]";
      element = shape;
    }
    return "[" + std::to_string(size) + " " + element + "]";
  }
  return "?";
}

class MeasurementTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    ASSERT_EQ(TJsonReader_open(&reader_), TCOMMON_SUCCESS);
    ASSERT_EQ(TJsonWriter_open(nullptr, &writer_), TCOMMON_SUCCESS);
    // A small frame keeps the measurements quick; the input path is latched by the init.
    void *input = nullptr;
    ASSERT_EQ(TDatabase_query(database_, "IPT", &input), TCOMMON_SUCCESS);
    static_cast<TDatabaseInput *>(input)->paths[0].rectangle = {
        .height = kHeight, .offset = {0, 0}, .width = kWidth};
    ASSERT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
    ASSERT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
  }
  void TearDown() override {
    TJsonWriter_close(&writer_);
    TJsonReader_close(&reader_);
    ShellTest::TearDown();
  }

  // Calls use(value) with the member at path of the response text.
  template <typename Use>
  void at(const std::string &response, const char *path, Use use) {
    TJsonValue *root = nullptr;
    ASSERT_EQ(TJsonReader_parse(reader_, response.data(), response.data() + response.size(), &root),
              TCOMMON_SUCCESS)
        << response;
    TJsonValue *value = nullptr;
    ASSERT_EQ(TJsonPath(root, path, &value), TCOMMON_SUCCESS);
    use(value);
    TJsonValue_delete(root);
  }
  std::string text(const std::string &response, const char *path) {
    std::string printed;
    at(response, path, [&](TJsonValue *value) {
      const char *out = nullptr;
      ASSERT_EQ(TJsonWriter_stringify(writer_, value, &out), TCOMMON_SUCCESS);
      printed = out;
    });
    return printed;
  }

  TJsonReader *reader_ = nullptr;
  TJsonWriter *writer_ = nullptr;
};

size_t occurrences(const std::string &text, const std::string &part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST_F(MeasurementTest, StatisticsReadTheHardwareOncePerRequestUnlessTheReadFailed) {
  for (const Unit &unit : kUnits) {
    SCOPED_TRACE(unit.category);
    const std::string read = std::string(unit.category) + "/statistics";
    const std::string twice = request({read.c_str(), read.c_str()});
    const std::string call = std::string(unit.readBack) + "(1)\n";
    const Exchange streaming = send(twice);
    EXPECT_EQ(streaming.journal, call);
    EXPECT_EQ(streaming.response.find("message"), std::string::npos) << streaming.response;

    ASSERT_EQ(TDriverFault_set(driver_, unit.readBack, TCOMMON_NOT_INITIALIZED), TCOMMON_SUCCESS);
    const Exchange refused = send(twice);
    ASSERT_EQ(TDriverFault_clear(driver_), TCOMMON_SUCCESS);
    EXPECT_EQ(refused.journal, call + call);
    EXPECT_EQ(occurrences(refused.response, kStreamingNeeded), 2u) << refused.response;
    // The measurement last read is served from the record.
    EXPECT_EQ(text(refused.response, "1.value.current"),
              text(streaming.response, "0.value.current"));
  }
}

TEST_F(MeasurementTest, WritingStatisticsIsAcceptedAndTouchesNothing) {
  for (const Unit &unit : kUnits) {
    SCOPED_TRACE(unit.category);
    const std::string before =
        send(request({(std::string(unit.category) + "/statistics").c_str()})).response;
    const Exchange write = send(std::string(R"({"category":")") + unit.category +
                                R"(","key":"statistics","value":{"current":{"bins":[7]}}})");
    EXPECT_EQ(write.code, TCOMMON_SUCCESS);
    EXPECT_EQ(write.journal, "");
    EXPECT_EQ(write.response,
              std::string(R"({"category":")") + unit.category + R"(","key":"statistics"})");
    EXPECT_EQ(send(request({(std::string(unit.category) + "/statistics").c_str()})).response,
              before);
  }
}

TEST_F(MeasurementTest, EachUnitIsPushedOnceWhenTheRequestMovesOn) {
  const std::pair<std::string, const char *> kCases[] = {
      {request({"HTG/mode=0", "HTG/rectangle.offset.x=-16", "HTG_2/mode=1"}),
       "TDriverHistogram_process(0)\nTDriverHistogram_2_process(0)\n"},
      {request({"AES_2/weight.red=300", "AES_2/ratio=0.5", "AFM_3/gamma=0.8",
                "AFM_3/iir.lowPassCoeff=[[1,0,0,0]]"}),
       "TDriverExposureControl_2_process(0)\nTDriverFocusControl_process(0)\n"},
      // A read that follows runs the pending push with its read flag set: nothing is pushed.
      {request({"HTG/mode=1", "HTG_2/mode"}), ""},
  };
  for (const auto &[text, journal] : kCases) {
    const Exchange exchange = send(text);
    EXPECT_EQ(exchange.journal, journal) << exchange.response;
    EXPECT_EQ(exchange.response.find("message"), std::string::npos) << exchange.response;
  }
}

TEST_F(MeasurementTest, StatisticsHaveTheDocumentedShapeAndUnits) {
  for (const Unit &unit : kUnits) {
    SCOPED_TRACE(unit.category);
    const std::string response =
        send(request({(std::string(unit.category) + "/statistics").c_str()})).response;
    at(response, "0.value.current",
       [&](TJsonValue *value) { EXPECT_EQ(signature(value), unit.shape) << response; });
  }
  // Counts are of samples, one per Bayer quad of the frame: the default windows cover it.
  const std::string htg = send(request({"HTG/statistics"})).response;
  at(htg, "0.value.current.bins", [](TJsonValue *bins) {
    int64_t total = 0;
    for (uint64_t i = 0; i < 16; ++i) {
      int64_t count = 0;
      TJsonValue_itemAsInteger(bins, i, &count);
      total += count;
    }
    EXPECT_EQ(total, kFrameSamples);
  });
  EXPECT_EQ(text(send(request({"AES_2/statistics"})).response, "0.value.current.count"),
            std::to_string(kFrameSamples));
}

}  // namespace
