#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "t_common.h"

namespace {

// ---- Error texts --------------------------------------------------------------------------

TEST(ErrorText, NamedCodes) {
  const std::pair<uint32_t, const char *> named[] = {
      {TCOMMON_OUT_OF_RANGE, "Out of range"},
      {TCOMMON_NOT_INITIALIZED, "Not initialized"},
      {TCOMMON_NOT_REGISTERED, "Never registered"},
      {TCOMMON_PERMISSION_DENIED, "Permission denied"},
      {TCOMMON_WRONG_CONFIGURATION, "Wrong configuration"},
  };
  for (const auto &[code, text] : named) EXPECT_STREQ(TCommonError_text(code), text) << code;
}

TEST(ErrorText, EveryEnumeratedCodeHasItsOwnText) {
  std::set<std::string> texts;
  for (uint32_t code = 0; code <= 15; ++code) {
    const std::string text = TCommonError_text(code);
    if (code == 14) {
      EXPECT_EQ(text, "Unknown error");
      continue;
    }
    EXPECT_NE(text, "Unknown error") << code;
    EXPECT_TRUE(texts.insert(text).second) << "duplicate text for " << code;
  }
  for (uint32_t code : {16u, 255u, 0xFFFFFFFFu})
    EXPECT_STREQ(TCommonError_text(code), "Unknown error");
}

// ---- Map ------------------------------------------------------------------------------------

class MapTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(TCommonMap_open(&map_), TCOMMON_SUCCESS); }
  void TearDown() override {
    EXPECT_EQ(TCommonMap_close(&map_), TCOMMON_SUCCESS);
    EXPECT_EQ(map_, nullptr);
  }

  std::vector<std::string> keysInOrder() {
    std::vector<std::string> keys;
    EXPECT_EQ(TCommonMap_forEach(
                  map_,
                  [](void *context, const char *key, void *) -> uint32_t {
                    static_cast<std::vector<std::string> *>(context)->push_back(key);
                    return TCOMMON_SUCCESS;
                  },
                  &keys),
              TCOMMON_SUCCESS);
    return keys;
  }

  uint64_t size() {
    uint64_t size = 0;
    EXPECT_EQ(TCommonMap_size(map_, &size), TCOMMON_SUCCESS);
    return size;
  }

  TCommonMap *map_ = nullptr;
  int values_[8] = {};
};

TEST_F(MapTest, AddGetRemove) {
  ASSERT_EQ(TCommonMap_add(map_, "DG", &values_[0]), TCOMMON_SUCCESS);
  ASSERT_EQ(TCommonMap_add(map_, "AE_4", &values_[1]), TCOMMON_SUCCESS);
  void *value = nullptr;
  ASSERT_EQ(TCommonMap_get(map_, "AE_4", &value), TCOMMON_SUCCESS);
  EXPECT_EQ(value, &values_[1]);
  EXPECT_EQ(size(), 2u);

  ASSERT_EQ(TCommonMap_remove(map_, "AE_4"), TCOMMON_SUCCESS);
  value = &values_[7];
  EXPECT_EQ(TCommonMap_get(map_, "AE_4", &value), TCOMMON_OUT_OF_RANGE);
  EXPECT_EQ(value, &values_[7]) << "a failed lookup must leave *value alone";
  EXPECT_EQ(TCommonMap_remove(map_, "AE_4"), TCOMMON_OUT_OF_RANGE);
  ASSERT_EQ(TCommonMap_get(map_, "DG", &value), TCOMMON_SUCCESS);
  EXPECT_EQ(value, &values_[0]);
  EXPECT_EQ(size(), 1u);
}

TEST_F(MapTest, DuplicateKeyIsRefusedAndKeepsTheFirstValue) {
  ASSERT_EQ(TCommonMap_add(map_, "RPT", &values_[0]), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonMap_add(map_, "RPT", &values_[1]), TCOMMON_INVALID_ARGUMENT);
  void *value = nullptr;
  ASSERT_EQ(TCommonMap_get(map_, "RPT", &value), TCOMMON_SUCCESS);
  EXPECT_EQ(value, &values_[0]);
  EXPECT_EQ(size(), 1u);
}

TEST_F(MapTest, KeysAreCopiedAndCaseSensitive) {
  char key[] = "Gamma";
  ASSERT_EQ(TCommonMap_add(map_, key, &values_[0]), TCOMMON_SUCCESS);
  std::strcpy(key, "XXXXX");
  void *value = nullptr;
  EXPECT_EQ(TCommonMap_get(map_, "Gamma", &value), TCOMMON_SUCCESS);
  for (const char *other : {"gamma", "GAMMA", "Gamm", "Gamma ", "", "XXXXX"})
    EXPECT_EQ(TCommonMap_get(map_, other, &value), TCOMMON_OUT_OF_RANGE) << other;
  EXPECT_EQ(TCommonMap_add(map_, "gamma", &values_[1]), TCOMMON_SUCCESS);
  EXPECT_EQ(size(), 2u);
}

TEST_F(MapTest, ForEachKeepsInsertionOrderAcrossRemovals) {
  std::vector<std::string> expected;
  // Long keys too, beyond any short-string buffer, and enough keys to force rehashing.
  for (int i = 0; i < 200; ++i) {
    std::string key =
        (i % 3 == 0 ? std::string(40, 'k') : std::string("key")) + std::to_string((i * 37) % 200);
    ASSERT_EQ(TCommonMap_add(map_, key.c_str(), &values_[i % 8]), TCOMMON_SUCCESS) << key;
    expected.push_back(key);
  }
  for (size_t i = 0; i < expected.size(); i += 5)
    ASSERT_EQ(TCommonMap_remove(map_, expected[i].c_str()), TCOMMON_SUCCESS);
  std::vector<std::string> kept;
  for (size_t i = 0; i < expected.size(); ++i)
    if (i % 5 != 0) kept.push_back(expected[i]);
  // A removed key added again goes to the end.
  ASSERT_EQ(TCommonMap_add(map_, expected[0].c_str(), &values_[0]), TCOMMON_SUCCESS);
  kept.push_back(expected[0]);

  EXPECT_EQ(keysInOrder(), kept);
  EXPECT_EQ(size(), kept.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    void *value = nullptr;
    EXPECT_EQ(TCommonMap_get(map_, expected[i].c_str(), &value),
              i % 5 != 0 || i == 0 ? TCOMMON_SUCCESS : TCOMMON_OUT_OF_RANGE)
        << expected[i];
  }
}

TEST_F(MapTest, ForEachStopsOnTheVisitorsResult) {
  for (const char *key : {"a", "b", "c"}) ASSERT_EQ(TCommonMap_add(map_, key, nullptr), 0u);
  std::vector<std::string> seen;
  const uint32_t result = TCommonMap_forEach(
      map_,
      [](void *context, const char *key, void *) -> uint32_t {
        auto *seen = static_cast<std::vector<std::string> *>(context);
        seen->push_back(key);
        return std::strcmp(key, "b") == 0 ? 42u : 0u;
      },
      &seen);
  EXPECT_EQ(result, 42u);
  EXPECT_EQ(seen, (std::vector<std::string>{"a", "b"}));
}

TEST_F(MapTest, VisitorMayRemoveTheEntryItIsGiven) {
  for (const char *key : {"a", "b", "c"}) ASSERT_EQ(TCommonMap_add(map_, key, nullptr), 0u);
  ASSERT_EQ(TCommonMap_forEach(
                map_,
                [](void *context, const char *key, void *) -> uint32_t {
                  return std::strcmp(key, "b") == 0
                             ? TCommonMap_remove(static_cast<TCommonMap *>(context), key)
                             : 0u;
                },
                map_),
            TCOMMON_SUCCESS);
  EXPECT_EQ(keysInOrder(), (std::vector<std::string>{"a", "c"}));
}

// ---- Logger (single thread; concurrency is in threads_test.cpp) ---------------------------

TEST(Logger, FirstInFirstOutAndEmptyQueue) {
  TCommonLogger *logger = nullptr;
  ASSERT_EQ(TCommonLogger_open(&logger), TCOMMON_SUCCESS);
  for (const char *text : {"first", "second", "third"})
    ASSERT_EQ(TCommonLogger_messageSet(logger, strdup(text)), TCOMMON_SUCCESS);
  uint64_t size = 0;
  ASSERT_EQ(TCommonLogger_size(logger, &size), TCOMMON_SUCCESS);
  EXPECT_EQ(size, 3u);
  for (const char *expected : {"first", "second", "third"}) {
    char *text = nullptr;
    ASSERT_EQ(TCommonLogger_messageGet(logger, &text), TCOMMON_SUCCESS);
    EXPECT_STREQ(text, expected);
    std::free(text);
  }
  char dummy = 0;
  char *text = &dummy;
  EXPECT_EQ(TCommonLogger_messageGet(logger, &text), TCOMMON_OUT_OF_RANGE);
  EXPECT_EQ(text, nullptr);
  ASSERT_EQ(TCommonLogger_size(logger, &size), TCOMMON_SUCCESS);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(TCommonLogger_close(&logger), TCOMMON_SUCCESS);
  EXPECT_EQ(logger, nullptr);
}

TEST(Logger, TakesOwnershipAlsoOnFailureAndCloseFreesLeftovers) {
  // Leaks here are reported by the address sanitizer build.
  EXPECT_EQ(TCommonLogger_messageSet(nullptr, strdup("dropped")), TCOMMON_INVALID_ARGUMENT);
  TCommonLogger *logger = nullptr;
  ASSERT_EQ(TCommonLogger_open(&logger), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonLogger_messageSet(logger, nullptr), TCOMMON_INVALID_ARGUMENT);
  for (int i = 0; i < 10; ++i)
    ASSERT_EQ(TCommonLogger_messageSet(logger, strdup("left over")), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonLogger_close(&logger), TCOMMON_SUCCESS);
}

// ---- Buffer ---------------------------------------------------------------------------------

TEST(Buffer, AssignCopiesAndTerminates) {
  TCommonBuffer buffer{};
  const char bytes[] = {'a', '\0', 'b'};
  ASSERT_EQ(TCommonBuffer_assign(&buffer, bytes, sizeof bytes), TCOMMON_SUCCESS);
  ASSERT_NE(buffer.data, nullptr);
  EXPECT_NE(static_cast<const void *>(buffer.data), static_cast<const void *>(bytes));
  EXPECT_EQ(std::memcmp(buffer.data, bytes, sizeof bytes), 0);
  EXPECT_EQ(buffer.data[3], 0);
  EXPECT_EQ(buffer.length, 3u);
  EXPECT_GE(buffer.capacity, 4u);
  EXPECT_EQ(buffer.isFilled, 1);

  // Assigning a part of the buffer's own content.
  ASSERT_EQ(TCommonBuffer_assign(&buffer, buffer.data + 2, 1), TCOMMON_SUCCESS);
  EXPECT_STREQ(reinterpret_cast<char *>(buffer.data), "b");
  EXPECT_EQ(buffer.length, 1u);

  ASSERT_EQ(TCommonBuffer_assign(&buffer, nullptr, 0), TCOMMON_SUCCESS);
  ASSERT_NE(buffer.data, nullptr);
  EXPECT_EQ(buffer.data[0], 0);
  EXPECT_EQ(buffer.length, 0u);
  EXPECT_EQ(buffer.isFilled, 1);

  EXPECT_EQ(TCommonBuffer_assign(&buffer, nullptr, 1), TCOMMON_INVALID_ARGUMENT);
  EXPECT_EQ(TCommonBuffer_assign(nullptr, bytes, 1), TCOMMON_INVALID_ARGUMENT);

  ASSERT_EQ(TCommonBuffer_clear(&buffer), TCOMMON_SUCCESS);
  EXPECT_EQ(buffer.data, nullptr);
  EXPECT_EQ(buffer.length, 0u);
  EXPECT_EQ(buffer.capacity, 0u);
  EXPECT_EQ(buffer.isFilled, 0);
  EXPECT_EQ(TCommonBuffer_clear(nullptr), TCOMMON_INVALID_ARGUMENT);
}

// ---- Strings --------------------------------------------------------------------------------

TEST(String, EqualUnderEachMode) {
  struct Case {
    const char *left;
    const char *right;
    uint8_t ignoringCase;
    uint8_t exact;
  };
  const Case cases[] = {
      {"DG", "DG", 1, 1},       {"dg", "DG", 1, 0},   {"AE_4", "ae_4", 1, 0},
      {"DG", "DGX", 0, 0},      {"DGX", "DG", 0, 0},  {"", "", 1, 1},
      {"", "a", 0, 0},          {"[", "{", 0, 0},     {"@", "`", 0, 0},
      {"\xC4", "\xE4", 0, 0},   {nullptr, "a", 0, 0}, {"a", nullptr, 0, 0},
      {nullptr, nullptr, 0, 0},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(TCommonString_equal(c.left, c.right, TCOMMON_STRING_IGNORE_CASE), c.ignoringCase)
        << (c.left ? c.left : "NULL") << " / " << (c.right ? c.right : "NULL");
    EXPECT_EQ(TCommonString_equal(c.left, c.right, TCOMMON_STRING_EXACT), c.exact)
        << (c.left ? c.left : "NULL") << " / " << (c.right ? c.right : "NULL");
  }
}

}  // namespace
