// Streaming, injection and raw capture through "IPT", the path and mode selections of
// "IPT", "OPT" and "SS", the output and sensor pushes, and the settings document of "ST":
// download, upload, refused uploads and reset, also when other categories follow in the
// same request.
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "shell_fixture.h"

namespace {

constexpr char kUriHeader[] = "data:text/json;base64,";

bool has(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

// The request of the items separated by spaces, each written as for request().
std::string requestOf(const std::string &items) {
  std::istringstream stream(items);
  std::string text, item;
  while (stream >> item) {
    const std::string one = request({item.c_str()});
    text += (text.empty() ? "[" : ",") + one.substr(1, one.size() - 2);
  }
  return text + "]";
}

class StreamSettingTest : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    ASSERT_EQ(TJsonReader_open(&reader_), TCOMMON_SUCCESS);
    ASSERT_EQ(TJsonWriter_open(nullptr, &writer_), TCOMMON_SUCCESS);
  }
  void TearDown() override {
    TJsonWriter_close(&writer_);
    TJsonReader_close(&reader_);
    ShellTest::TearDown();
  }

  // The "current" of item index of a response, as JSON text ("" when it has none).
  std::string currentOf(const std::string &response, uint64_t index = 0) {
    TJsonValue *root = nullptr, *item = nullptr, *current = nullptr;
    const char *text = "";
    TJsonReader_parse(reader_, response.data(), response.data() + response.size(), &root);
    if (TJsonValue_item(root, index, &item) != TCOMMON_SUCCESS ||
        TJsonPath(item, "value.current", &current) != TCOMMON_SUCCESS ||
        TJsonWriter_stringify(writer_, current, &text) != TCOMMON_SUCCESS)
      text = "";
    TJsonValue_delete(root);
    return text;
  }

  std::string read(const std::string &item) { return currentOf(send(requestOf(item)).response); }

  TDatabaseSetting *setting() {
    void *record = nullptr;
    EXPECT_EQ(TDatabase_query(database_, "ST", &record), TCOMMON_SUCCESS);
    return static_cast<TDatabaseSetting *>(record);
  }

  std::string serialized() {
    TCommonBuffer buffer{};
    EXPECT_EQ(TDatabase_serialize(database_, &buffer), TCOMMON_SUCCESS);
    std::string text(reinterpret_cast<const char *>(buffer.data), buffer.length);
    TCommonBuffer_clear(&buffer);
    return text;
  }

  // The settings document as a client downloads it: ["data:text/json;base64,..."].
  std::string download() {
    const std::string current = read("ST/setting");
    const size_t start = 2 + sizeof(kUriHeader) - 1;
    EXPECT_EQ(current.compare(0, start, std::string("[\"") + kUriHeader), 0) << current;
    if (current.size() < start + 2) return "";
    uint8_t *data = nullptr;
    uint64_t length = 0;
    EXPECT_EQ(
        TCommonBase64_decode(current.data() + start, current.size() - start - 2, &data, &length),
        TCOMMON_SUCCESS);
    std::string document(reinterpret_cast<const char *>(data), length);
    free(data);
    return document;
  }

  // The item that uploads document as a client does.
  static std::string uploadItem(const std::string &document) {
    char *encoded = nullptr;
    EXPECT_EQ(TCommonBase64_encode(reinterpret_cast<const uint8_t *>(document.data()),
                                   document.size(), &encoded),
              TCOMMON_SUCCESS);
    std::string item = std::string("ST/setting=[\"") + kUriHeader + encoded + "\"]";
    free(encoded);
    return item;
  }

  TDriverStatus status() {
    TDriverStatus status{};
    EXPECT_EQ(TDriver_status(driver_, &status), TCOMMON_SUCCESS);
    return status;
  }

  TJsonReader *reader_ = nullptr;
  TJsonWriter *writer_ = nullptr;
};

// ---- Stream, injection and raw capture --------------------------------------------------

TEST_F(StreamSettingTest, StreamSwitchRunsTheDriverSequenceAndStopsAtAFailure) {
  const struct {
    bool isStreaming;   // before the request
    const char *fault;  // driver function made to fail with 8
    const char *items;
    const char *journal;
    uint32_t state;      // afterwards
    const char *stored;  // what "isStream" reads afterwards
  } kCases[] = {
      {false, nullptr, "IPT/isStream=true", "TDriver_init(1)\nTDriver_stream(1)\n",
       TDRIVER_STATE_STREAMING, "true"},
      {true, nullptr, "IPT/isStream=false", "TDriver_stream(0)\nTDriver_deinit()\n",
       TDRIVER_STATE_OFF, "false"},
      {false, "TDriver_init", "IPT/isStream=true", "TDriver_init(1)\n", TDRIVER_STATE_OFF, "true"},
      {false, "TDriver_stream", "IPT/isStream=true", "TDriver_init(1)\nTDriver_stream(1)\n",
       TDRIVER_STATE_INITIALIZED, "true"},
      {true, "TDriver_stream", "IPT/isStream=false", "TDriver_stream(0)\n", TDRIVER_STATE_STREAMING,
       "false"},
      {true, "TDriver_deinit", "IPT/isStream=false", "TDriver_stream(0)\nTDriver_deinit()\n",
       TDRIVER_STATE_INITIALIZED, "false"},
      // Two writes in one request: one run, with the last value.
      {true, nullptr, "IPT/isStream=true IPT/isStream=false",
       "TDriver_stream(0)\nTDriver_deinit()\n", TDRIVER_STATE_OFF, "false"},
      {true, nullptr, "IPT/isStream", "", TDRIVER_STATE_STREAMING, "true"},
  };
  for (const auto &test : kCases) {
    SCOPED_TRACE(std::string(test.items) + " " + (test.fault ? test.fault : ""));
    send(requestOf(test.isStreaming ? "IPT/isStream=true" : "IPT/isStream=false"));
    if (test.fault != nullptr) {
      ASSERT_EQ(TDriverFault_set(driver_, test.fault, 8), 0u);
    }
    TraceCapture trace(3);
    const Exchange exchange = send(requestOf(test.items));
    TDriverFault_clear(driver_);
    EXPECT_EQ(exchange.journal, test.journal);
    EXPECT_EQ(status().state, test.state);
    EXPECT_EQ(has(exchange.response, "Shell: Driver is not initialized"), test.fault != nullptr);
    bool isTracedByHook = false;
    for (const std::string &line : trace.lines)
      isTracedByHook |= has(line, "shell_input.cpp") && has(line, " stream(): ");
    EXPECT_EQ(isTracedByHook, test.fault != nullptr);
    EXPECT_EQ(read("IPT/isStream"), test.stored);
  }
}

// A pending switch runs on the "IPT" record whatever command makes it run, and only when
// that command writes.
TEST_F(StreamSettingTest, SwitchesReachTheDriverOnWritesOnly) {
  const std::pair<const char *, const char *> kCases[] = {
      {"IPT/isInject=true", "TDriver_inject(1)\n"},
      {"IPT/isRaw=true", "TDriver_raw(1)\n"},
      {"IPT/isRaw=false", "TDriver_raw(0)\n"},
      {"IPT/isInjectLive=true", ""},
      {"IPT/isInject", ""},
      {"IPT/isInject=true IPT/isStream=true",
       "TDriver_inject(1)\nTDriver_init(1)\nTDriver_stream(1)\n"},
      {"IPT/isStream=true DG/gb=2",
       "TDriver_init(1)\nTDriver_stream(1)\nTDriverDigitalGain_process(0)\n"},
      {"IPT/isInject=false TL/numberX=3", "TDriver_inject(0)\n"},
      {"IPT/isStream=false DG/gb", "TDriverDigitalGain_statistics(1)\n"},
      {"IPT/isRaw=true TL/numberX", ""},
  };
  for (const auto &[items, journal] : kCases)
    EXPECT_EQ(send(requestOf(items)).journal, journal) << items;
  // The stop and raw switches followed by reads were dropped.
  EXPECT_EQ(status().state, uint32_t{TDRIVER_STATE_STREAMING});
  EXPECT_EQ(status().isRaw, 0);
  EXPECT_EQ(status().isInject, 0);
  EXPECT_EQ(read("IPT/isStream"), "false");
}

// ---- Paths and modes ------------------------------------------------------------------------

struct SelectionCase {
  std::string category;
  std::string index;  // the key
  int count;
  std::string entryKey;
  std::string value;  // differs from every entry's default

  std::string write(const std::string &key, const std::string &to) const {
    return category + "/" + key + "=" + to;
  }
  std::string reading(const std::string &key) const { return category + "/" + key; }
};

const SelectionCase kSelections[] = {
    {"IPT", "pathIndex", 3, ":format", "7"},
    {"OPT", "pathIndex", 4, ":rectangle.width", "800"},
    {"SS", "modeIndex", 12, ":fpsMax", "120"},
};

TEST_F(StreamSettingTest, EntryKeysAddressOnlyTheSelectedEntry) {
  for (const SelectionCase &selection : kSelections) {
    SCOPED_TRACE(selection.category);
    const std::string last = std::to_string(selection.count - 1);
    send(requestOf(selection.write(selection.index, last) + " " +
                   selection.write(selection.entryKey, selection.value)));
    for (int i = 0; i < selection.count; ++i) {
      const std::string response =
          send(requestOf(selection.write(selection.index, std::to_string(i)) + " " +
                         selection.reading(selection.entryKey)))
              .response;
      EXPECT_EQ(currentOf(response, 1) == selection.value, i == selection.count - 1) << response;
    }
  }
}

// An index write outside the entries is refused; a settings document may still bring one,
// and then the entry keys refuse to follow it, changing nothing, until a valid index comes.
TEST_F(StreamSettingTest, IndexOutsideTheEntriesIsRefused) {
  for (const SelectionCase &selection : kSelections) {
    SCOPED_TRACE(selection.category);
    const std::string outside = std::to_string(selection.count);
    send(requestOf(selection.write(selection.index, "1")));
    for (const std::string &bad :
         {outside, std::to_string(selection.count + 1000), std::string("-1")}) {
      const Exchange exchange = send(requestOf(selection.write(selection.index, bad)));
      EXPECT_TRUE(has(exchange.response, "Shell: Out of range")) << exchange.response;
      EXPECT_EQ(exchange.journal, "");
      EXPECT_EQ(read(selection.reading(selection.index)), "1") << bad;
    }

    const std::string document =
        "{\"" + selection.category + "\":{\"" + selection.index + "\":" + outside + "}}";
    ASSERT_EQ(TDatabase_parse(database_, document.c_str()), TCOMMON_SUCCESS);
    uint64_t size = 0;
    ASSERT_EQ(TDatabase_recordSize(selection.category.c_str(), &size), TCOMMON_SUCCESS);
    void *record = nullptr;
    ASSERT_EQ(TDatabase_query(database_, selection.category.c_str(), &record), TCOMMON_SUCCESS);
    const std::string before(static_cast<const char *>(record), size);
    for (const std::string &item : {selection.reading(selection.entryKey),
                                    selection.write(selection.entryKey, selection.value)})
      EXPECT_TRUE(has(send(requestOf(item)).response, "Shell: Out of range")) << item;
    EXPECT_EQ(std::string(static_cast<const char *>(record), size), before);
    send(requestOf(selection.write(selection.index, "0")));
    EXPECT_FALSE(has(send(requestOf(selection.reading(selection.entryKey))).response, "message"));
  }
}

// ---- Output and sensor pushes ---------------------------------------------------------------

TEST_F(StreamSettingTest, OnlyTheHardwareKeysOfOutputAndSensorPush) {
  send(requestOf("IPT/isStream=true"));
  const std::pair<const char *, const char *> kCases[] = {
      {"OPT/:format=3", ""},
      {"OPT/:bufferLength=4096 OPT/:isEnable=false", ""},
      {"OPT/:format=1 OPT/snapshotNumber=5", "TDriverOutput_process(0)\n"},
      {"OPT/pathIndex=1", "TDriverOutput_process(0)\n"},
      {"OPT/:bitsIndex=1 OPT/:rectangle.height=600 OPT/:rectangle.width=800",
       "TDriverOutput_process(0)\n"},
      {"OPT/:bayerPattern=2 DG/gb=2", "TDriverOutput_process(0)\nTDriverDigitalGain_process(0)\n"},
      {"OPT/:bitsIndex=2 OPT/pathIndex", ""},
      {"OPT/snapshotNumber", ""},
      {"SS/testPattern.isEnable=true SS/testPattern.type=2", "TDriverSensor_process(0)\n"},
      {"SS/testPattern.type", ""},
      {"SS/modeIndex=1 SS/query=\"mode?\" SS/:bitWidth=10", ""},
      {"TL/numberX=2 TM/nginxIp=\"10.0.0.2\" ST/protocol=2", ""},
  };
  for (const auto &[items, journal] : kCases) {
    const Exchange exchange = send(requestOf(items));
    EXPECT_EQ(exchange.journal, journal) << items;
    EXPECT_FALSE(has(exchange.response, "message")) << exchange.response;
  }
  TDatabaseOutput hardware{};
  ASSERT_EQ(TDriverHardware_get(driver_, "OPT", &hardware), TCOMMON_SUCCESS);
  EXPECT_EQ(hardware.paths[1].bitsIndex, 1);  // the write followed by a read never arrived
  EXPECT_EQ(hardware.paths[0].format, 1);
  // Stored-only keys reach the hardware with the next push of the category.
  send(requestOf("OPT/:format=3 OPT/:bufferLength=4096"));
  send(requestOf("OPT/snapshotNumber=2"));
  ASSERT_EQ(TDriverHardware_get(driver_, "OPT", &hardware), TCOMMON_SUCCESS);
  EXPECT_EQ(hardware.paths[1].format, 3);
  EXPECT_EQ(hardware.paths[1].bufferLength, 4096u);
}

// ---- Settings document ----------------------------------------------------------------------

TEST_F(StreamSettingTest, DownloadedDocumentComesBackChangedThroughAnUpload) {
  std::string document = download();
  ASSERT_EQ(document, serialized());
  const std::string old = R"("TL":{"joint":0,"numberX":1,)";
  const size_t at = document.find(old);
  ASSERT_NE(at, std::string::npos) << document;
  document.replace(at, old.size(), R"("TL":{"joint":0,"numberX":4,)");
  const Exchange upload = send(requestOf(uploadItem(document)));
  EXPECT_EQ(upload.response, R"([{"category":"ST","key":"setting"}])");
  EXPECT_EQ(upload.journal, "");
  EXPECT_EQ(read("TL/numberX"), "4");
  EXPECT_EQ(serialized(), document);
  EXPECT_EQ(setting()->files, nullptr);
  EXPECT_EQ(setting()->fileCount, 0u);
}

TEST_F(StreamSettingTest, RefusedUploadChangesNothingAndNamesThePlace) {
  const std::pair<std::string, const char *> kCases[] = {
      {R"({"TL":{"numberX":4},"DG":{"gb":)", "invalid JSON"},
      {R"({"TL":{"numberX":4,"bogus":1}})", "TL.bogus: unknown field"},
      {R"({"TL":{"numberX":4},"EC_2":{"integrationTime":[1,2,3]}})",
       "EC_2.integrationTime: expected 4 elements, found 3"},
      {R"({"TL":{"numberX":4},"IPT":{"paths":[{"format":1}]}})",
       "IPT.paths: expected 3 elements, found 1"},
      {std::string(R"({"TL":{"numberX":4}})") + '\0' + "}", "the document contains a NUL byte"},
  };
  const std::string before = serialized();
  for (const auto &[document, reason] : kCases) {
    SCOPED_TRACE(reason);
    TraceCapture trace(3);
    EXPECT_EQ(send(requestOf(uploadItem(document))).response,
              R"([{"category":"ST","key":"setting","message":["Shell: Wrong configuration"]}])");
    EXPECT_EQ(read("TL/numberX"), "1");
    bool isNamed = false;
    for (const std::string &line : trace.lines)
      isNamed |= has(line, "shell_setting.cpp") && has(line, " after(): ") && has(line, reason);
    EXPECT_TRUE(isNamed);
    EXPECT_EQ(setting()->fileCount, 1u);  // kept until the next "setting" command
  }
  EXPECT_TRUE(has(send(requestOf("ST/setting=[]")).response, "Shell: Wrong configuration"));
  EXPECT_EQ(download(), before);
  EXPECT_EQ(setting()->files, nullptr);
}

TEST_F(StreamSettingTest, ResetRestoresTheOpenedContentAndClearsItself) {
  send(requestOf(uploadItem(R"({"TL":{"numberX":4}})")));
  send(requestOf("TM/nginxIp=\"10.0.0.2\" IPT/pathIndex=2"));
  const std::string changed = serialized();
  EXPECT_EQ(send(requestOf("ST/isReset=false")).response, R"([{"category":"ST","key":"isReset"}])");
  EXPECT_EQ(serialized(), changed);
  EXPECT_EQ(send(requestOf("ST/isReset=true")).journal, "");
  EXPECT_EQ(read("TL/numberX"), "1");
  EXPECT_EQ(read("TM/nginxIp"), "\"127.0.0.1\"");
  EXPECT_EQ(read("IPT/pathIndex"), "0");
  EXPECT_EQ(read("ST/isReset"), "false");
}

// The "ST" hooks run when the request moves on, on their own record, and act only when the
// command during which they run writes.
TEST_F(StreamSettingTest, SettingHooksFollowTheRequestOrder) {
  send(requestOf("TL/numberX=9 ST/isReset=true TL/numberX"));
  EXPECT_EQ(read("TL/numberX"), "9");
  EXPECT_EQ(read("ST/isReset"), "true");            // the reset was dropped with the read
  send(requestOf("ST/isReset=true TL/numberY=3"));  // the reset runs after numberY is stored
  EXPECT_EQ(read("TL/numberX") + read("TL/numberY") + read("ST/isReset"), "11false");

  const std::string upload = uploadItem(R"({"TL":{"numberX":4}})");
  send(requestOf(upload + " TL/numberX"));
  EXPECT_EQ(read("TL/numberX"), "1");
  send(requestOf(upload + " TL/numberX=7"));  // the import runs after the write
  EXPECT_EQ(read("TL/numberX"), "4");

  const Exchange both = send(requestOf("ST/setting DG/gb"));
  EXPECT_TRUE(has(currentOf(both.response), kUriHeader));
  EXPECT_EQ(setting()->files, nullptr);
  EXPECT_EQ(setting()->fileCount, 0u);
}

}  // namespace
