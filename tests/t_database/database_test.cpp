// The database through its C API, with the records it really has.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "fields.h"
#include "t_common.h"
#include "t_database.h"

namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void writeFile(const fs::path &path, const std::string &text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::set<std::string> entriesOf(const fs::path &directory) {
  std::set<std::string> names;
  for (const auto &entry : fs::directory_iterator(directory)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

TDatabaseReport *report(TDatabase *database) {
  void *record = nullptr;
  EXPECT_EQ(TDatabase_query(database, "RPT", &record), TCOMMON_SUCCESS);
  return static_cast<TDatabaseReport *>(record);
}

template <typename Record>
Record *query(TDatabase *database, const char *category) {
  void *record = nullptr;
  EXPECT_EQ(TDatabase_query(database, category, &record), TCOMMON_SUCCESS) << category;
  return static_cast<Record *>(record);
}

// The settings fields of a category's record, as bytes in an otherwise zeroed record.
std::vector<unsigned char> settingsOf(TDatabase *database, const char *category) {
  uint64_t size = 0;
  EXPECT_EQ(TDatabase_recordSize(category, &size), TCOMMON_SUCCESS) << category;
  std::vector<unsigned char> settings(size);
  EXPECT_EQ(TDatabase_copyRecord(category, settings.data(), query<void>(database, category)),
            TCOMMON_SUCCESS);
  return settings;
}

std::vector<std::string> categories() {
  std::vector<std::string> names;
  TDatabase_forEachCategory(
      [](void *context, const char *category) -> uint32_t {
        static_cast<std::vector<std::string> *>(context)->push_back(category);
        return TCOMMON_SUCCESS;
      },
      &names);
  return names;
}

std::string serialize(TDatabase *database) {
  TCommonBuffer buffer{};
  EXPECT_EQ(TDatabase_serialize(database, &buffer), TCOMMON_SUCCESS);
  std::string text(reinterpret_cast<const char *>(buffer.data), buffer.length);
  std::free(buffer.data);
  return text;
}

class DatabaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/t_database_test.XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    directory_ = pattern;
    file_ = directory_ / "settings.json";
    ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
  }
  void TearDown() override {
    TDatabase_close(&database_);
    TDatabase_close(&other_);
    fs::remove_all(directory_);
  }

  fs::path directory_;
  fs::path file_;
  TDatabase *database_ = nullptr;
  TDatabase *other_ = nullptr;
};

TEST_F(DatabaseTest, DefaultsAndUnknownCategories) {
  // Driver 1.2, shell protocol 1.0, transmission protocol 1.1, as major << 16 | minor.
  const char *defaults = R"({"RPT":{"driver":65538,"shell":65536,"transmit":65537})";
  EXPECT_EQ(serialize(database_).rfind(defaults, 0), 0u) << serialize(database_);
  EXPECT_EQ(report(database_), report(database_));  // the same record every time
  for (const char *category : {"NOPE", "rpt", "RPT ", ""}) {
    void *record = &record;
    EXPECT_EQ(TDatabase_query(database_, category, &record), TCOMMON_NOT_REGISTERED);
    EXPECT_EQ(TDatabase_lastError(), "unknown category '" + std::string(category) + "'");
    EXPECT_EQ(record, &record);
  }
}

TEST_F(DatabaseTest, SerializeParseAndReset) {
  const std::string defaults = serialize(database_);
  *report(database_) = {UINT32_MAX, 0, 0x00020003};
  // Whatever the buffer held before is released (the leak checker watches this).
  TCommonBuffer buffer{static_cast<uint8_t *>(std::malloc(8)), 8, 8, 0};
  ASSERT_EQ(TDatabase_serialize(database_, &buffer), TCOMMON_SUCCESS);
  const std::string text(reinterpret_cast<const char *>(buffer.data));
  std::free(buffer.data);
  EXPECT_EQ(buffer.isFilled, 1);
  EXPECT_EQ(text.size(), buffer.length);
  EXPECT_EQ(text.rfind(R"({"RPT":{"driver":4294967295,"shell":0,"transmit":131075})", 0), 0u);
  ASSERT_EQ(TDatabase_open(nullptr, &other_), TCOMMON_SUCCESS);
  ASSERT_EQ(TDatabase_parse(other_, text.c_str()), TCOMMON_SUCCESS) << TDatabase_lastError();
  EXPECT_EQ(serialize(other_), text);

  // A partial document keeps what it leaves out; a refused one changes nothing.
  ASSERT_EQ(TDatabase_parse(other_, R"({"RPT":{"shell":7}})"), TCOMMON_SUCCESS);
  const TDatabaseReport changed = {UINT32_MAX, 7, 0x00020003};
  EXPECT_EQ(std::memcmp(report(other_), &changed, sizeof(changed)), 0);
  EXPECT_EQ(TDatabase_parse(other_, R"({"RPT":{"shell":8},"NOPE":{}})"),
            TCOMMON_WRONG_CONFIGURATION);
  EXPECT_STREQ(TDatabase_lastError(), "NOPE: unknown category");
  EXPECT_EQ(std::memcmp(report(other_), &changed, sizeof(changed)), 0);
  // A name given twice is refused, whichever value would have won.
  const std::pair<const char *, const char *> kTwice[] = {
      {R"({"RPT":{"shell":8,"shell":8}})", "RPT.shell: field named twice"},
      {R"({"RPT":{"shell":8},"DG":{},"RPT":{}})", "RPT: category named twice"}};
  for (const auto &[document, error] : kTwice) {
    EXPECT_EQ(TDatabase_parse(other_, document), TCOMMON_WRONG_CONFIGURATION) << document;
    EXPECT_STREQ(TDatabase_lastError(), error);
    EXPECT_EQ(std::memcmp(report(other_), &changed, sizeof(changed)), 0) << document;
  }

  // Reset brings back what the database was opened with: the defaults, or the content of
  // the file it was opened from (over the defaults).
  EXPECT_EQ(TDatabase_reset(other_, 0), TCOMMON_SUCCESS);
  EXPECT_EQ(report(other_)->shell, 7u);
  EXPECT_EQ(TDatabase_reset(other_, 1), TCOMMON_SUCCESS);
  EXPECT_EQ(serialize(other_), defaults);
  TDatabase_close(&other_);
  writeFile(file_, R"({"RPT":{"transmit":5}})");
  ASSERT_EQ(TDatabase_open(file_.c_str(), &other_), TCOMMON_SUCCESS) << TDatabase_lastError();
  const std::string opened = serialize(other_);
  EXPECT_EQ(opened.rfind(R"({"RPT":{"driver":65538,"shell":65536,"transmit":5})", 0), 0u);
  ASSERT_EQ(TDatabase_parse(other_, R"({"RPT":{"driver":1,"transmit":6}})"), TCOMMON_SUCCESS);
  EXPECT_EQ(TDatabase_reset(other_, 1), TCOMMON_SUCCESS);
  EXPECT_EQ(serialize(other_), opened);
}

TEST_F(DatabaseTest, EveryCategoryRoundTripsItsDefaults) {
  // The report first, then every other category in byte order of its name.
  const std::vector<std::string> expected = categories();
  ASSERT_EQ(expected.size(), 51u);
  EXPECT_EQ(expected.front(), "RPT");
  EXPECT_TRUE(std::is_sorted(expected.begin() + 1, expected.end()));
  EXPECT_EQ(std::adjacent_find(expected.begin(), expected.end()), expected.end());

  // Parsed into a database whose records were all wiped, the defaults' document must bring
  // back every setting of every category: a field the table misses or misplaces shows here.
  const std::string defaults = serialize(database_);
  ASSERT_EQ(TDatabase_open(nullptr, &other_), TCOMMON_SUCCESS);
  for (const std::string &category : expected) {
    uint64_t size = 0;
    ASSERT_EQ(TDatabase_recordSize(category.c_str(), &size), TCOMMON_SUCCESS);
    std::memset(query<void>(other_, category.c_str()), 0, size);
  }
  ASSERT_NE(serialize(other_), defaults);
  ASSERT_EQ(TDatabase_parse(other_, defaults.c_str()), TCOMMON_SUCCESS) << TDatabase_lastError();
  EXPECT_EQ(serialize(other_), defaults);
  for (const std::string &category : expected) {
    EXPECT_EQ(settingsOf(other_, category.c_str()), settingsOf(database_, category.c_str()))
        << category;
  }
}

// The alignment a field's member needs: what padding before it may be at most one short of.
size_t alignmentOf(const tdatabase::Field &field) {
  if (field.kind == tdatabase::Kind::Text) return 1;
  if (field.kind != tdatabase::Kind::Group) return field.elementSize;
  size_t alignment = 1;
  for (const auto &inner : field.layout->fields)
    alignment = std::max(alignment, alignmentOf(inner));
  return alignment;
}

// Field tables list every member of their struct in struct order: the only bytes no field
// covers are padding. (RGT's isRead sits where padding could, so it is checked by name.)
// Record members that are not settings (file buffers, measured statistics): field tables
// leave them out on purpose.
struct Transient {
  const char *category;
  size_t offset;
  size_t size;
  size_t alignment;
};
#define TRANSIENT(category, Record, member)                          \
  Transient {                                                        \
    category, offsetof(Record, member), sizeof(Record::member),      \
        alignof(std::remove_all_extents_t<decltype(Record::member)>) \
  }
const Transient kTransients[] = {
    TRANSIENT("AES_2", TDatabaseAutoExposureStatistics_2, statistics),
    TRANSIENT("AFM_3", TDatabaseAutoFocusMeasurement_3, statistics),
    TRANSIENT("CCM", TDatabaseColorCorrectionMatrix, fileCount),
    TRANSIENT("CCM", TDatabaseColorCorrectionMatrix, files),
    TRANSIENT("HTG", TDatabaseHistogram, statistics),
    TRANSIENT("HTG_2", TDatabaseHistogram_2, statistics),
    TRANSIENT("LSC_3", TDatabaseLensShadingCorrection_3, fileCount),
    TRANSIENT("LSC_3", TDatabaseLensShadingCorrection_3, files),
    TRANSIENT("ST", TDatabaseSetting, fileCount),
    TRANSIENT("ST", TDatabaseSetting, files),
};
#undef TRANSIENT

// Where the settings continue after end, past the transient members that lie between it
// and next (the offset of the next listed field, or the record's end).
size_t pastTransients(const std::string &place, size_t end, size_t next) {
  for (bool moved = true; moved;) {
    moved = false;
    for (const Transient &transient : kTransients) {
      if (place == transient.category && transient.offset >= end && transient.offset < next) {
        end = transient.offset + transient.size;
        moved = true;
      }
    }
  }
  return end;
}

void expectCoversTheStruct(const tdatabase::Layout &layout, const std::string &place) {
  size_t end = 0, recordAlignment = 1;
  for (const auto &field : layout.fields) {
    SCOPED_TRACE(place + "." + field.name);
    end = pastTransients(place, end, field.offset);
    const size_t alignment = alignmentOf(field);
    recordAlignment = std::max(recordAlignment, alignment);
    EXPECT_GE(field.offset, end) << "out of struct order";
    EXPECT_LT(field.offset - end, alignment) << "a member before it is missing";
    size_t elements = 1;
    for (const uint32_t count : field.shape) elements *= count == 0 ? 1 : count;
    end = field.offset +
          (field.kind == tdatabase::Kind::Text ? field.shape[0] : field.elementSize * elements);
    if (field.kind == tdatabase::Kind::Group)
      expectCoversTheStruct(*field.layout, place + "." + field.name);
  }
  end = pastTransients(place, end, layout.size);
  for (const Transient &transient : kTransients) {
    if (place == transient.category)
      recordAlignment = std::max(recordAlignment, transient.alignment);
  }
  EXPECT_LT(layout.size - end, recordAlignment) << place << ": a member at the end is missing";
}

TEST_F(DatabaseTest, FieldTablesMatchTheRecords) {
  for (const tdatabase::RecordType *type : tdatabase::recordTypes()) {
    expectCoversTheStruct(type->layout, type->category);
  }

  // The nested exposure gains, and the register transfer without its direction.
  const std::string document = serialize(database_);
  for (const char *piece :
       {R"("EC_2":{"state":0,"gain":{"analog":[1.0,1.0,1.0,1.0],"digital":[1.0,1.0,1.0,1.0]},)"
        R"("integrationTime":[0.00999999977)",
        R"("RGT":{"address":"0x0000","type":0,"value":"0"})",
        R"("GC_2":{"state":1,"curve":[0,156,213,)", R"("curvePx":[0,65,130,195,)"}) {
    EXPECT_NE(document.find(piece), std::string::npos) << piece << " not in " << document;
  }

  // The gamma curve: 64 points from black to full scale, rising, at 1/2.2 of the input
  // levels (which span 0..4095).
  const auto *gamma = query<TDatabaseGammaCorrection_2>(database_, "GC_2");
  ASSERT_EQ(std::size(gamma->curve), 64u);
  EXPECT_EQ(gamma->curvePx[63], 4095u);
  for (size_t i = 0; i < 64; ++i) {
    SCOPED_TRACE(i);
    if (i > 0) {
      EXPECT_GT(gamma->curve[i], gamma->curve[i - 1]);
    }
    const double expected = 1023.0 * std::pow(gamma->curvePx[i] / 4095.0, 1.0 / 2.2);
    EXPECT_NEAR(gamma->curve[i], expected, 0.5);
  }
}

// A register address or value may fill its buffer without a NUL, as the shell leaves it.
TEST_F(DatabaseTest, TextsThatFillTheirFieldRoundTrip) {
  auto *transfer = query<TDatabaseRegister>(database_, "RGT");
  std::memcpy(transfer->address, "0xFFFFFFFF", sizeof(transfer->address));
  std::memcpy(transfer->value, "4294967295", sizeof(transfer->value));
  const std::string document = serialize(database_);
  EXPECT_NE(document.find(R"("RGT":{"address":"0xFFFFFFFF","type":0,"value":"4294967295"})"),
            std::string::npos)
      << document;
  ASSERT_EQ(TDatabase_open(nullptr, &other_), TCOMMON_SUCCESS);
  ASSERT_EQ(TDatabase_parse(other_, document.c_str()), TCOMMON_SUCCESS) << TDatabase_lastError();
  EXPECT_EQ(settingsOf(other_, "RGT"), settingsOf(database_, "RGT"));
  EXPECT_EQ(serialize(other_), document);

  EXPECT_EQ(TDatabase_parse(other_, R"({"RGT":{"value":"42949672950"}})"),
            TCOMMON_WRONG_CONFIGURATION);
  EXPECT_STREQ(TDatabase_lastError(), "RGT.value: expected at most 10 bytes, found 11");
  EXPECT_EQ(serialize(other_), document);
}

TEST_F(DatabaseTest, SaveReplacesTheFileAtomically) {
  writeFile(file_, "old content");
  *report(database_) = {10, 20, 30};
  ASSERT_EQ(TDatabase_save(database_, file_.c_str()), TCOMMON_SUCCESS) << TDatabase_lastError();
  const std::string saved = serialize(database_) + "\n";
  EXPECT_EQ(readFile(file_), saved);
  ASSERT_EQ(TDatabase_open(file_.c_str(), &other_), TCOMMON_SUCCESS) << TDatabase_lastError();
  EXPECT_EQ(serialize(other_) + "\n", saved);

  // Failed saves leave no temporary file behind and the saved file as it was.
  *report(database_) = {1, 2, 3};
  const std::string missing = directory_ / "missing" / "settings.json";
  const std::string busy = directory_ / "busy";  // a directory that rename cannot replace
  fs::create_directories(busy + "/keep");
  const std::pair<std::string, std::string> cases[] = {
      {missing, "cannot create a file beside '" + missing + "': No such file or directory"},
      {busy, "cannot replace '" + busy + "': Is a directory"},
  };
  for (const auto &[target, error] : cases) {
    EXPECT_EQ(TDatabase_save(database_, target.c_str()), TCOMMON_IO_ERROR);
    EXPECT_EQ(TDatabase_lastError(), error);
    EXPECT_EQ(entriesOf(directory_), (std::set<std::string>{"busy", "settings.json"}));
    EXPECT_EQ(entriesOf(busy), std::set<std::string>{"keep"});
    EXPECT_EQ(readFile(file_), saved);
  }
}

TEST_F(DatabaseTest, OpenRefusesFilesItCannotUse) {
  const auto path = [&](const char *name) { return (directory_ / name).string(); };
  writeFile(path("syntax.json"), R"({"RPT":{"shell":)");
  writeFile(path("field.json"), R"({"RPT":{"shell":1,"colour":2}})");
  writeFile(path("huge.json"), "");
  fs::resize_file(path("huge.json"), (uint64_t{64} << 20) + 1);
  const struct {
    const char *name;
    uint32_t code;
    const char *before, *after;  // the error text around the path (the start of it)
  } cases[] = {
      {"absent.json", TCOMMON_IO_ERROR, "cannot open '", "': No such file or directory"},
      {"", TCOMMON_IO_ERROR, "cannot read '", "': Is a directory"},
      {"huge.json", TCOMMON_IO_ERROR, "'",
       "' is larger than the 64 MiB a settings document may have"},
      {"syntax.json", TCOMMON_WRONG_CONFIGURATION, "'", "': invalid JSON at byte 16: "},
      {"field.json", TCOMMON_WRONG_CONFIGURATION, "'", "': RPT.colour: unknown field"},
  };
  for (const auto &c : cases) {
    const std::string error = c.before + path(c.name) + c.after;
    TDatabase *database = reinterpret_cast<TDatabase *>(&database_);
    EXPECT_EQ(TDatabase_open(path(c.name).c_str(), &database), c.code) << c.name;
    EXPECT_EQ(database, nullptr);
    EXPECT_EQ(std::string(TDatabase_lastError()).substr(0, error.size()), error);
  }
}

}  // namespace
