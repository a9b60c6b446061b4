#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "t_common.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::string_literals;

struct FreeDeleter {
  void operator()(void *p) const { std::free(p); }
};

std::string encode(const std::string &bytes) {
  char *text = nullptr;
  EXPECT_EQ(
      TCommonBase64_encode(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), &text),
      TCOMMON_SUCCESS);
  std::unique_ptr<char, FreeDeleter> owner(text);
  return text == nullptr ? std::string("<null>") : std::string(text);
}

// What the first length bytes at text decode to, or "<error N>"; checks what every result
// must keep.
std::string decoded(const char *text, size_t length) {
  uint8_t *data = reinterpret_cast<uint8_t *>(&length);  // must be overwritten
  uint64_t size = 12345;
  const uint32_t code = TCommonBase64_decode(text, length, &data, &size);
  std::unique_ptr<uint8_t, FreeDeleter> owner(code == TCOMMON_SUCCESS ? data : nullptr);
  EXPECT_EQ(data == nullptr, code != TCOMMON_SUCCESS);
  if (code != TCOMMON_SUCCESS || data == nullptr) return "<error " + std::to_string(code) + ">";
  EXPECT_EQ(data[size], 0) << "decoded bytes must be followed by a NUL";
  return std::string(reinterpret_cast<const char *>(data), size);
}
std::string decoded(const std::string &text) {
  return decoded(text.data(), text.size());
}

// ---- Base64 ---------------------------------------------------------------------------------

TEST(Base64, DecodesAndEncodesTheStandardAlphabet) {
  const std::string rfc[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
  for (size_t n = 0; n < std::size(rfc); ++n) {  // the prefixes of "foobar"
    EXPECT_EQ(encode(std::string("foobar", n)), rfc[n]);
    EXPECT_EQ(decoded(rfc[n]), std::string("foobar", n));
  }
  EXPECT_EQ(encode("\xFB\xFF\xBF"), "+/+/");
  // Padding may be left out, white space is skipped anywhere.
  const std::pair<std::string, std::string> decodes[] = {
      {"+/+/", "\xFB\xFF\xBF"},      {"Zg", "f"},  {"Zm9vYmE", "fooba"},
      {" Zm9v\nYmFy\r\n", "foobar"}, {"\n\n", ""}, {"Zm 9v\tYg =\v=\f", "foob"}};
  for (const auto &[coded, plain] : decodes) EXPECT_EQ(decoded(coded), plain) << coded;
}

TEST(Base64, RoundTripsRandomBytesOfEveryLength) {
  std::mt19937 random(20240611);
  for (size_t length = 0; length <= 300; ++length) {
    std::string bytes(length, '\0');
    for (char &c : bytes) c = static_cast<char>(random() & 0xFF);
    const std::string coded = encode(bytes);
    EXPECT_EQ(coded.size(), (length + 2) / 3 * 4);
    EXPECT_EQ(decoded(coded), bytes) << "length " << length;
  }
}

TEST(Base64, ReadsEveryByteInEveryPlaceOfALongText) {
  // Long texts are read in blocks: any byte in any place of one must be read as it is one
  // at a time, an alphabet character as its value, white space skipped, anything else
  // refused.
  const std::string plain = "A text of 36 bytes, 48 in its code..";
  const std::string coded = encode(plain);
  for (size_t at = 0; at < coded.size(); ++at) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string changed = coded;
      changed[at] = static_cast<char>(byte);
      if (byte == '=' && at + 1 == coded.size()) continue;  // padding where it may stand
      const std::string result = decoded(changed);
      const bool isSpace = std::strchr(" \t\n\v\f\r", byte) != nullptr && byte != 0;
      const bool isAlphabet = std::isalnum(byte) != 0 || byte == '+' || byte == '/';
      if (isAlphabet) {
        EXPECT_EQ(encode(result), changed) << at << " " << byte;
      } else if (isSpace) {
        EXPECT_EQ(result, decoded(changed.erase(at, 1))) << at << " " << byte;
      } else {
        EXPECT_EQ(result, "<error 11>") << at << " " << byte;
      }
    }
  }
}

TEST(Base64, RefusesMalformedInput) {
  // Outside the alphabet (also URL-safe, non-ASCII, NUL), lone trailing characters, padding
  // misplaced, incomplete or too long.
  const std::string cases[] = {"Zm9v!", "Zm9v-_", "Zm\xC3\xA9", "Zm\0v"s, "Zm9v\0"s, "Z",
                               "Zm9vY", "Zm=9v",  "Zg==Zg==",   "Zg== x", "=",       "Zm9v=",
                               "Z===",  "Zg===",  "Zm9==",      "Zg=",    "Zm9vYg="};
  for (const std::string &coded : cases) EXPECT_EQ(decoded(coded), "<error 11>") << coded;
}

TEST(Base64, ReadsOnlyTheGivenLength) {
  // Heap copies without a terminating NUL: a read past the block shows up under ASan, and
  // what lies beyond length must not matter.
  const std::pair<std::string, std::string> cases[] = {
      {"Zm9vYmFy", "foobar"}, {"Zm9vYg!!", "foob"}, {"Zm9v!!!!", "foo"}};
  for (const auto &[source, plain] : cases) {
    std::unique_ptr<char, FreeDeleter> text(static_cast<char *>(std::malloc(source.size())));
    std::memcpy(text.get(), source.data(), source.size());
    EXPECT_EQ(decoded(text.get(), std::min(source.find('!'), source.size())), plain) << source;
  }
  char *text = nullptr;  // no data at all
  ASSERT_EQ(TCommonBase64_encode(nullptr, 0, &text), TCOMMON_SUCCESS);
  EXPECT_STREQ(text, "");
  std::free(text);
}

// ---- Strings and buffer -----------------------------------------------------------

TEST(String, EqualUnderEachMode) {
  struct Case {
    const char *left, *right;
    uint8_t ignoringCase, exact;
  };
  // '[' / '{' and '@' / '`' differ by the case bit but are not letters.
  const Case cases[] = {{"AE_4", "ae_4", 1, 0},  {"DG", "DG", 1, 1},     {"DG", "DGX", 0, 0},
                        {"DGX", "DG", 0, 0},     {"", "", 1, 1},         {"[", "{", 0, 0},
                        {"@", "`", 0, 0},        {"\xC4", "\xE4", 0, 0}, {nullptr, "a", 0, 0},
                        {nullptr, nullptr, 0, 0}};
  for (size_t i = 0; i < std::size(cases); ++i) {
    const auto &[left, right, ignoringCase, exact] = cases[i];
    EXPECT_EQ(TCommonString_equal(left, right, TCOMMON_STRING_IGNORE_CASE), ignoringCase) << i;
    EXPECT_EQ(TCommonString_equal(left, right, TCOMMON_STRING_EXACT), exact) << i;
  }
}

TEST(Buffer, AssignCopiesTerminatesAndMayReuseItsOwnContent) {
  TCommonBuffer buffer{};
  ASSERT_EQ(TCommonBuffer_assign(&buffer, "a\0bc", 3), TCOMMON_SUCCESS);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(buffer.data), 4), "a\0b\0"s);
  EXPECT_EQ(buffer.length + buffer.isFilled, 4u);
  ASSERT_EQ(TCommonBuffer_assign(&buffer, buffer.data + 2, 1), TCOMMON_SUCCESS);
  EXPECT_STREQ(reinterpret_cast<char *>(buffer.data), "b");
  ASSERT_EQ(TCommonBuffer_clear(&buffer), TCOMMON_SUCCESS);
  EXPECT_EQ(buffer.data, nullptr);
  EXPECT_EQ(buffer.length + buffer.capacity + buffer.isFilled, 0u);
}

// ---- Map ------------------------------------------------------------------------------------

std::vector<std::string> keysOf(const TCommonMap *map) {
  std::vector<std::string> keys;
  EXPECT_EQ(TCommonMap_forEach(
                map,
                [](void *context, const char *key, void *) -> uint32_t {
                  static_cast<std::vector<std::string> *>(context)->push_back(key);
                  return TCOMMON_SUCCESS;
                },
                &keys),
            TCOMMON_SUCCESS);
  return keys;
}

TEST(Map, CopiedCaseSensitiveKeysWithoutDuplicates) {
  TCommonMap *map = nullptr;
  ASSERT_EQ(TCommonMap_open(&map), TCOMMON_SUCCESS);
  int first = 0, second = 0;
  char key[] = "Gamma";
  ASSERT_EQ(TCommonMap_add(map, key, &first), TCOMMON_SUCCESS);
  std::strcpy(key, "XXXXX");
  EXPECT_EQ(TCommonMap_add(map, "Gamma", &second), TCOMMON_INVALID_ARGUMENT);
  ASSERT_EQ(TCommonMap_add(map, "gamma", &second), TCOMMON_SUCCESS);
  ASSERT_EQ(TCommonMap_remove(map, "gamma"), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonMap_remove(map, "gamma"), TCOMMON_OUT_OF_RANGE);
  void *value = nullptr;
  ASSERT_EQ(TCommonMap_get(map, "Gamma", &value), TCOMMON_SUCCESS);
  EXPECT_EQ(value, &first);
  for (const char *missing : {"gamma", "GAMMA", "Gamm", "Gamma ", "XXXXX"}) {
    EXPECT_EQ(TCommonMap_get(map, missing, &value), TCOMMON_OUT_OF_RANGE) << missing;
    EXPECT_EQ(value, &first) << "a failed lookup leaves *value alone";
  }
  uint64_t size = 0;
  ASSERT_EQ(TCommonMap_size(map, &size), TCOMMON_SUCCESS);
  EXPECT_EQ(size, 1u);
  EXPECT_EQ(TCommonMap_close(&map), TCOMMON_SUCCESS);
  EXPECT_EQ(map, nullptr);
}

TEST(Map, WalksInInsertionOrderAcrossRemovalsAndRehashing) {
  TCommonMap *map = nullptr;
  ASSERT_EQ(TCommonMap_open(&map), TCOMMON_SUCCESS);
  std::vector<std::string> added, kept;
  for (int i = 0; i < 200; ++i) {  // long keys too, beyond any short-string buffer
    added.push_back((i % 3 == 0 ? std::string(40, 'k') : "key") + std::to_string(i * 37 % 200));
    ASSERT_EQ(TCommonMap_add(map, added.back().c_str(), nullptr), TCOMMON_SUCCESS);
    if (i % 5 != 0) kept.push_back(added.back());
  }
  for (size_t i = 0; i < added.size(); i += 5)
    ASSERT_EQ(TCommonMap_remove(map, added[i].c_str()), TCOMMON_SUCCESS);
  ASSERT_EQ(TCommonMap_add(map, added[0].c_str(), nullptr), TCOMMON_SUCCESS);  // goes last
  kept.push_back(added[0]);
  EXPECT_EQ(keysOf(map), kept);

  // The visitor may remove the entry it is given; its first non-zero result ends the walk.
  std::vector<std::string> seen;
  std::pair<TCommonMap *, std::vector<std::string> *> walk{map, &seen};
  EXPECT_EQ(TCommonMap_forEach(
                map,
                [](void *context, const char *key, void *) -> uint32_t {
                  auto [walked, visited] = *static_cast<decltype(walk) *>(context);
                  visited->push_back(key);
                  if (visited->size() == 2) return TCommonMap_remove(walked, key);
                  return visited->size() == 3 ? 42u : 0u;
                },
                &walk),
            42u);
  EXPECT_EQ(seen, std::vector<std::string>(kept.begin(), kept.begin() + 3));
  kept.erase(kept.begin() + 1);
  EXPECT_EQ(keysOf(map), kept);
  EXPECT_EQ(TCommonMap_close(&map), TCOMMON_SUCCESS);
}

// ---- Logger ---------------------------------------------------------------------------------

TEST(Logger, KeepsEachProducersOrderAndOwnsEveryText) {
  // Leaks are reported by the address sanitizer build.
  EXPECT_EQ(TCommonLogger_messageSet(nullptr, strdup("dropped")), TCOMMON_INVALID_ARGUMENT);
  constexpr int kProducers = 4, kMessages = 1000;
  TCommonLogger *logger = nullptr;
  ASSERT_EQ(TCommonLogger_open(&logger), TCOMMON_SUCCESS);
  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p) {
    producers.emplace_back([logger, p] {
      for (int i = p * kMessages; i < (p + 1) * kMessages; ++i)
        EXPECT_EQ(TCommonLogger_messageSet(logger, strdup(std::to_string(i).c_str())), 0u);
    });
  }
  for (auto &thread : producers) thread.join();
  std::vector<int> next(kProducers, 0);
  char *text = nullptr;
  uint32_t code = TCOMMON_SUCCESS;
  while ((code = TCommonLogger_messageGet(logger, &text)) == TCOMMON_SUCCESS) {
    const int number = std::atoi(text);
    std::free(text);
    text = reinterpret_cast<char *>(&logger);  // an empty queue must reset it
    EXPECT_EQ(number % kMessages, next.at(number / kMessages)++) << number;
  }
  EXPECT_EQ(code, TCOMMON_OUT_OF_RANGE);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(next, std::vector<int>(kProducers, kMessages));
  ASSERT_EQ(TCommonLogger_messageSet(logger, strdup("left over")), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonLogger_close(&logger), TCOMMON_SUCCESS);
  EXPECT_EQ(logger, nullptr);
}

// ---- Semaphore ------------------------------------------------------------------------------

TEST(Semaphore, TimesOutWhileHeldAndExcludesOtherHolders) {
  TCommonSemaphore *semaphore = nullptr;
  ASSERT_EQ(TCommonSemaphore_open(0, &semaphore), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonSemaphore_post(semaphore), TCOMMON_FAILED);  // adds no second permit
  ASSERT_EQ(TCommonSemaphore_waitFor(semaphore, 0), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonSemaphore_waitFor(semaphore, 0), TCOMMON_BUSY);
  auto start = Clock::now();
  EXPECT_EQ(TCommonSemaphore_waitFor(semaphore, 60), TCOMMON_BUSY);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(60));
  std::thread poster([semaphore] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(TCommonSemaphore_post(semaphore), TCOMMON_SUCCESS);
  });
  start = Clock::now();
  EXPECT_EQ(TCommonSemaphore_waitFor(semaphore, 20000), TCOMMON_SUCCESS);  // woken by the post
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
  poster.join();
  ASSERT_EQ(TCommonSemaphore_post(semaphore), TCOMMON_SUCCESS);

  constexpr int kThreads = 4, kRounds = 2000;
  std::atomic<int> holders{0};
  std::atomic<bool> overlapped{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        ASSERT_EQ((i + t) % 2 == 0 ? TCommonSemaphore_wait(semaphore)
                                   : TCommonSemaphore_waitFor(semaphore, 10000),
                  TCOMMON_SUCCESS);
        if (holders.fetch_add(1) != 0) overlapped = true;
        holders.fetch_sub(1);
        ASSERT_EQ(TCommonSemaphore_post(semaphore), TCOMMON_SUCCESS);
      }
    });
  }
  for (auto &thread : threads) thread.join();
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(TCommonSemaphore_close(&semaphore), TCOMMON_SUCCESS);
}

// ---- Tracer ---------------------------------------------------------------------------------

const int32_t kLevelAtStart = TCommonTracer_level(TCommonTracerHandle);  // before any test

std::vector<std::pair<uint32_t, std::string>> traced;

void captureLine(void *context, uint32_t level, const char *line) {
  static_cast<decltype(traced) *>(context)->emplace_back(level, line);
}

TEST(Tracer, PrintsALineIffItsLevelIsAtMostTheHighest) {
  EXPECT_EQ(kLevelAtStart, -1);
  ASSERT_EQ(TCommonTracer_setSink(TCommonTracerHandle, captureLine, &traced), TCOMMON_SUCCESS);
  for (int32_t highest : {-5, -1, 0, 1, 3}) {
    ASSERT_EQ(TCommonTracer_setLevel(TCommonTracerHandle, highest), TCOMMON_SUCCESS);
    EXPECT_EQ(TCommonTracer_level(TCommonTracerHandle), highest < 0 ? -1 : highest);
    for (uint32_t level : {0u, 1u, 2u, 3u, 4u, 0x80000000u, 0xFFFFFFFFu}) {
      traced.clear();
      ASSERT_EQ(TCommonTracer_print(TCommonTracerHandle, level, "level %u\n", level), 0u);
      const bool printed = static_cast<int64_t>(level) <= highest;
      ASSERT_EQ(traced.size(), printed ? 1u : 0u) << "level " << level << " highest " << highest;
      if (printed) {
        EXPECT_EQ(traced[0], std::pair(level, "level " + std::to_string(level) + "\n"));
      }
    }
  }
  // Dropped lines are never formatted: formatting this would dereference a bad pointer.
  traced.clear();
  ASSERT_EQ(TCommonTracer_setLevel(TCommonTracerHandle, 1), TCOMMON_SUCCESS);
  const char *poison = reinterpret_cast<const char *>(uintptr_t{8});
  EXPECT_EQ(TCommonTracer_print(TCommonTracerHandle, 2, "%s\n", poison), TCOMMON_SUCCESS);
  EXPECT_TRUE(traced.empty());
  // Long lines are cut.
  ASSERT_EQ(TCommonTracer_print(TCommonTracerHandle, 0, "%s\n", std::string(3000, 'x').c_str()),
            TCOMMON_SUCCESS);
  ASSERT_EQ(traced.size(), 1u);
  EXPECT_EQ(traced[0].second, std::string(1023, 'x'));
  // A NULL sink restores standard error.
  traced.clear();
  ASSERT_EQ(TCommonTracer_setSink(TCommonTracerHandle, nullptr, nullptr), TCOMMON_SUCCESS);
  ::testing::internal::CaptureStderr();
  TCommonTracer_print(TCommonTracerHandle, 1, "to %s %d\n", "stderr", 1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "to stderr 1\n");
  EXPECT_TRUE(traced.empty());
  TCommonTracer_setLevel(TCommonTracerHandle, -1);
}

}  // namespace
