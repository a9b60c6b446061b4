// The database through its C API, with the records it really has.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "t_common.h"
#include "t_database.h"

namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
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

bool sameReport(const TDatabaseReport &left, const TDatabaseReport &right) {
  return left.driver == right.driver && left.shell == right.shell &&
         left.transmit == right.transmit;
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
  }
  void TearDown() override {
    TDatabase_close(&database_);
    TDatabase_close(&other_);
    fs::remove_all(directory_);
  }

  fs::path directory_;
  TDatabase *database_ = nullptr;
  TDatabase *other_ = nullptr;
};

TEST_F(DatabaseTest, OpensWithTheBuiltInDefaults) {
  ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
  EXPECT_STREQ(TDatabase_lastError(), "");
  const TDatabaseReport *defaults = report(database_);
  ASSERT_NE(defaults, nullptr);
  // Driver 1.2, shell protocol 1.0, transmission protocol 1.1, as major << 16 | minor.
  EXPECT_EQ(defaults->driver, 0x00010002u);
  EXPECT_EQ(defaults->shell, 0x00010000u);
  EXPECT_EQ(defaults->transmit, 0x00010001u);
  // The record handed out stays the same record.
  EXPECT_EQ(report(database_), defaults);
  uint64_t size = 0;
  EXPECT_EQ(TDatabase_recordSize("RPT", &size), TCOMMON_SUCCESS);
  EXPECT_EQ(size, sizeof(TDatabaseReport));
}

TEST_F(DatabaseTest, UnknownCategoriesAreNotRegistered) {
  ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
  void *record = &record;
  uint64_t size = 17;
  TDatabaseReport a{}, b{};
  for (const char *category : {"NOPE", "rpt", "RPT ", ""}) {
    SCOPED_TRACE(category);
    EXPECT_EQ(TDatabase_query(database_, category, &record), TCOMMON_NOT_REGISTERED);
    EXPECT_NE(std::strstr(TDatabase_lastError(), "unknown category"), nullptr);
    EXPECT_EQ(TDatabase_recordSize(category, &size), TCOMMON_NOT_REGISTERED);
    EXPECT_EQ(TDatabase_copyRecord(category, &a, &b), TCOMMON_NOT_REGISTERED);
  }
  EXPECT_EQ(record, &record);
  EXPECT_EQ(size, 17u);
  EXPECT_EQ(TDatabase_query(database_, nullptr, &record), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TDatabase_query(nullptr, "RPT", &record), TCOMMON_INVALID_ARGUMENT);
}

TEST(Database, WalksEveryCategoryInOrder) {
  std::vector<std::string> seen;
  const auto collect = [](void *context, const char *category) -> uint32_t {
    static_cast<std::vector<std::string> *>(context)->push_back(category);
    return TCOMMON_SUCCESS;
  };
  ASSERT_EQ(TDatabase_forEachCategory(collect, &seen), TCOMMON_SUCCESS);
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen.front(), "RPT");
  EXPECT_EQ(std::set<std::string>(seen.begin(), seen.end()).size(), seen.size()) << "duplicate";
  for (const std::string &category : seen) {
    uint64_t size = 0;
    EXPECT_EQ(TDatabase_recordSize(category.c_str(), &size), TCOMMON_SUCCESS) << category;
    EXPECT_GT(size, 0u) << category;
  }

  uint32_t visits = 0;
  const auto stop = [](void *context, const char *) -> uint32_t {
    ++*static_cast<uint32_t *>(context);
    return 42;
  };
  EXPECT_EQ(TDatabase_forEachCategory(stop, &visits), 42u);
  EXPECT_EQ(visits, 1u);
}

TEST_F(DatabaseTest, SerializedSettingsParseBackIntoAnotherDatabase) {
  ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
  ASSERT_EQ(TDatabase_open(nullptr, &other_), TCOMMON_SUCCESS);
  *report(database_) = {UINT32_MAX, 0, 0x00020003};

  // Whatever the buffer held before is released (the leak checker watches this).
  TCommonBuffer buffer{};
  buffer.data = static_cast<uint8_t *>(std::malloc(8));
  buffer.length = 8;
  ASSERT_EQ(TDatabase_serialize(database_, &buffer), TCOMMON_SUCCESS);
  ASSERT_NE(buffer.data, nullptr);
  const char *text = reinterpret_cast<const char *>(buffer.data);
  EXPECT_EQ(buffer.isFilled, 1);
  EXPECT_EQ(std::strlen(text), buffer.length);
  EXPECT_EQ(
      std::string(text).rfind(R"({"RPT":{"driver":4294967295,"shell":0,"transmit":131075})", 0), 0u)
      << text;

  ASSERT_EQ(TDatabase_parse(other_, text), TCOMMON_SUCCESS) << TDatabase_lastError();
  EXPECT_TRUE(sameReport(*report(other_), *report(database_)));
  EXPECT_EQ(serialize(other_), std::string(text));
  std::free(buffer.data);
}

TEST_F(DatabaseTest, PartialDocumentsChangeOnlyWhatTheyName) {
  ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
  const TDatabaseReport defaults = *report(database_);
  ASSERT_EQ(TDatabase_parse(database_, R"({"RPT":{"shell":7}})"), TCOMMON_SUCCESS);
  EXPECT_EQ(report(database_)->shell, 7u);
  EXPECT_EQ(report(database_)->driver, defaults.driver);
  EXPECT_EQ(report(database_)->transmit, defaults.transmit);
  ASSERT_EQ(TDatabase_parse(database_, " {} "), TCOMMON_SUCCESS);
  ASSERT_EQ(TDatabase_parse(database_, R"({"RPT":{}})"), TCOMMON_SUCCESS);
  EXPECT_EQ(report(database_)->shell, 7u);
}

TEST_F(DatabaseTest, RefusedDocumentsChangeNothingAndSayWhere) {
  ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
  *report(database_) = {1, 2, 3};
  const std::string before = serialize(database_);
  struct Case {
    const char *document;
    const char *error;  // start of the text
  };
  const Case cases[] = {
      {R"({"RPT":{"shell":7,"driver":-1}})", "RPT.driver: -1 is out of range for u32"},
      {R"({"RPT":{"shell":4294967296}})", "RPT.shell: 4294967296 is out of range for u32"},
      {R"({"RPT":{"shell":"7"}})", "RPT.shell: expected an integer, found a string"},
      {R"({"RPT":{"shell":7,"version":1}})", "RPT.version: unknown field"},
      {R"({"RPT":{"shell":7},"NOPE":{}})", "NOPE: unknown category"},
      {R"({"RPT":[7]})", "RPT: expected an object, found an array"},
      {R"([{"RPT":{}}])", "a settings document is a JSON object, found an array"},
      {R"({"RPT":{"shell":7})", "invalid JSON at byte "},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.document);
    EXPECT_EQ(TDatabase_parse(database_, c.document), TCOMMON_WRONG_CONFIGURATION);
    EXPECT_EQ(std::string(TDatabase_lastError()).rfind(c.error, 0), 0u) << TDatabase_lastError();
    EXPECT_EQ(serialize(database_), before);
  }
  // A success clears the error.
  EXPECT_EQ(TDatabase_parse(database_, "{}"), TCOMMON_SUCCESS);
  EXPECT_STREQ(TDatabase_lastError(), "");
}

TEST_F(DatabaseTest, ResetRestoresWhatTheDatabaseWasOpenedWith) {
  ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
  const TDatabaseReport defaults = *report(database_);
  ASSERT_EQ(TDatabase_parse(database_, R"({"RPT":{"driver":9,"shell":9}})"), TCOMMON_SUCCESS);
  EXPECT_EQ(TDatabase_reset(database_, 0), TCOMMON_SUCCESS);
  EXPECT_EQ(report(database_)->driver, 9u);
  EXPECT_EQ(TDatabase_reset(database_, 1), TCOMMON_SUCCESS);
  EXPECT_TRUE(sameReport(*report(database_), defaults));

  // Opened from a file: the file's content, over the defaults, is what comes back.
  const fs::path file = directory_ / "settings.json";
  writeFile(file, R"({"RPT":{"transmit":5}})");
  ASSERT_EQ(TDatabase_open(file.c_str(), &other_), TCOMMON_SUCCESS) << TDatabase_lastError();
  const TDatabaseReport opened = {defaults.driver, defaults.shell, 5};
  EXPECT_TRUE(sameReport(*report(other_), opened));
  *report(other_) = {0, 0, 0};
  ASSERT_EQ(TDatabase_parse(other_, R"({"RPT":{"shell":77}})"), TCOMMON_SUCCESS);
  EXPECT_EQ(TDatabase_reset(other_, 1), TCOMMON_SUCCESS);
  EXPECT_TRUE(sameReport(*report(other_), opened));
}

TEST_F(DatabaseTest, CopyRecordCopiesTheSettings) {
  TDatabaseReport source = {4, 5, 6};
  TDatabaseReport destination = {};
  ASSERT_EQ(TDatabase_copyRecord("RPT", &destination, &source), TCOMMON_SUCCESS);
  EXPECT_TRUE(sameReport(destination, source));
}

TEST_F(DatabaseTest, SaveWritesADocumentThatOpensAgain) {
  ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
  *report(database_) = {10, 20, 30};
  const fs::path file = directory_ / "settings.json";
  ASSERT_EQ(TDatabase_save(database_, file.c_str()), TCOMMON_SUCCESS) << TDatabase_lastError();
  EXPECT_EQ(readFile(file), serialize(database_) + "\n");
  EXPECT_EQ(entriesOf(directory_), std::set<std::string>{"settings.json"});

  ASSERT_EQ(TDatabase_open(file.c_str(), &other_), TCOMMON_SUCCESS) << TDatabase_lastError();
  EXPECT_TRUE(sameReport(*report(other_), *report(database_)));
}

TEST_F(DatabaseTest, SaveReplacesAnExistingFileAndKeepsItsMode) {
  ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
  const fs::path file = directory_ / "settings.json";
  writeFile(file, "old content");
  ASSERT_EQ(chmod(file.c_str(), 0640), 0);
  *report(database_) = {1, 1, 1};
  ASSERT_EQ(TDatabase_save(database_, file.c_str()), TCOMMON_SUCCESS) << TDatabase_lastError();
  EXPECT_EQ(readFile(file), serialize(database_) + "\n");
  struct stat status {};
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
  EXPECT_EQ(entriesOf(directory_), std::set<std::string>{"settings.json"});
}

TEST_F(DatabaseTest, FailedSavesLeaveNoTraceAndTheOldFileUntouched) {
  ASSERT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
  const fs::path missing = directory_ / "missing" / "settings.json";
  EXPECT_EQ(TDatabase_save(database_, missing.c_str()), TCOMMON_IO_ERROR);
  EXPECT_NE(std::strstr(TDatabase_lastError(), "missing"), nullptr) << TDatabase_lastError();
  EXPECT_TRUE(entriesOf(directory_).empty());

  // A target that cannot be replaced (a non-empty directory) survives as it was, and the
  // temporary file is gone again.
  const fs::path target = directory_ / "settings.json";
  fs::create_directory(target);
  writeFile(target / "keep", "kept");
  EXPECT_EQ(TDatabase_save(database_, target.c_str()), TCOMMON_IO_ERROR);
  EXPECT_NE(std::string(TDatabase_lastError()), "");
  EXPECT_EQ(entriesOf(directory_), std::set<std::string>{"settings.json"});
  EXPECT_EQ(readFile(target / "keep"), "kept");

  EXPECT_EQ(TDatabase_save(database_, (directory_.string() + "/").c_str()), TCOMMON_IO_ERROR);
  EXPECT_EQ(entriesOf(directory_), std::set<std::string>{"settings.json"});
}

TEST_F(DatabaseTest, OpenRefusesFilesItCannotUse) {
  struct Case {
    const char *name;
    const char *content;  // nullptr: the file is not created
    uint32_t code;
    const char *error;  // part of the text
  };
  const Case cases[] = {
      {"absent.json", nullptr, TCOMMON_IO_ERROR, "No such file or directory"},
      {"syntax.json", R"({"RPT":{"shell":)", TCOMMON_WRONG_CONFIGURATION, "invalid JSON at byte"},
      {"field.json", R"({"RPT":{"shell":1,"colour":2}})", TCOMMON_WRONG_CONFIGURATION,
       "field.json': RPT.colour: unknown field"},
      {"category.json", R"({"XYZ":{}})", TCOMMON_WRONG_CONFIGURATION, "XYZ: unknown category"},
      {"empty.json", "", TCOMMON_WRONG_CONFIGURATION, "invalid JSON"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const fs::path file = directory_ / c.name;
    if (c.content != nullptr) writeFile(file, c.content);
    TDatabase *database = reinterpret_cast<TDatabase *>(&database_);
    EXPECT_EQ(TDatabase_open(file.c_str(), &database), c.code);
    EXPECT_EQ(database, nullptr);
    EXPECT_NE(std::strstr(TDatabase_lastError(), c.error), nullptr) << TDatabase_lastError();
    EXPECT_NE(std::strstr(TDatabase_lastError(), c.name), nullptr) << TDatabase_lastError();
  }

  TDatabase *database = nullptr;
  EXPECT_EQ(TDatabase_open(directory_.c_str(), &database), TCOMMON_IO_ERROR);
  EXPECT_EQ(database, nullptr);

  // Far larger than any settings document: refused without reading it.
  const fs::path huge = directory_ / "huge.json";
  writeFile(huge, "");
  fs::resize_file(huge, (uint64_t{64} << 20) + 1);
  EXPECT_EQ(TDatabase_open(huge.c_str(), &database), TCOMMON_IO_ERROR);
  EXPECT_NE(std::strstr(TDatabase_lastError(), "larger than"), nullptr) << TDatabase_lastError();
  EXPECT_EQ(database, nullptr);
}

}  // namespace
