// The database through its C API, with the records it really has.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

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
