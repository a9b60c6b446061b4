#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "t_common.h"

namespace {

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

// Decodes text and checks the invariants every successful decode must keep.
uint32_t decode(const std::string &text, std::string *bytes) {
  uint8_t *data = reinterpret_cast<uint8_t *>(&bytes);  // must be overwritten
  uint64_t decoded = 12345;
  const uint32_t code = TCommonBase64_decode(text.data(), text.size(), &data, &decoded);
  std::unique_ptr<uint8_t, FreeDeleter> owner(data);
  if (code != TCOMMON_SUCCESS) {
    EXPECT_EQ(data, nullptr);
    return code;
  }
  EXPECT_NE(data, nullptr);
  EXPECT_EQ(data[decoded], 0) << "decoded bytes must be followed by a NUL";
  bytes->assign(reinterpret_cast<const char *>(data), decoded);
  return code;
}

TEST(Base64, Rfc4648VectorsBothWays) {
  const std::pair<std::string, std::string> vectors[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
  };
  for (const auto &[plain, coded] : vectors) {
    EXPECT_EQ(encode(plain), coded);
    std::string bytes;
    ASSERT_EQ(decode(coded, &bytes), TCOMMON_SUCCESS) << coded;
    EXPECT_EQ(bytes, plain);
  }
}

TEST(Base64, UsesPlusAndSlashForTheLastTwoDigits) {
  EXPECT_EQ(encode("\xFB\xFF\xBF"), "+/+/");
  std::string bytes;
  ASSERT_EQ(decode("+/+/", &bytes), TCOMMON_SUCCESS);
  EXPECT_EQ(bytes, "\xFB\xFF\xBF");
}

TEST(Base64, PaddingMayBeLeftOut) {
  const std::pair<std::string, std::string> cases[] = {
      {"Zg", "f"}, {"Zm8", "fo"}, {"Zm9vYg", "foob"}, {"Zm9vYmE", "fooba"}};
  for (const auto &[coded, plain] : cases) {
    std::string bytes;
    ASSERT_EQ(decode(coded, &bytes), TCOMMON_SUCCESS) << coded;
    EXPECT_EQ(bytes, plain);
  }
}

TEST(Base64, RoundTripsRandomBytesOfEveryLength) {
  std::mt19937 random(20240611);
  for (size_t length = 0; length <= 300; ++length) {
    std::string bytes(length, '\0');
    for (char &c : bytes) c = static_cast<char>(random() & 0xFF);
    const std::string coded = encode(bytes);
    EXPECT_EQ(coded.size(), (length + 2) / 3 * 4);
    std::string back;
    ASSERT_EQ(decode(coded, &back), TCOMMON_SUCCESS) << "length " << length;
    EXPECT_EQ(back, bytes) << "length " << length;
  }
}

TEST(Base64, SkipsWhiteSpaceAnywhere) {
  const std::pair<std::string, std::string> cases[] = {
      {" Zm9v\nYmFy\r\n", "foobar"},
      {"Zm 9v\tYg =\v=\f", "foob"},
      {"\n\n", ""},
      {"Z g", "f"},
  };
  for (const auto &[coded, plain] : cases) {
    std::string bytes;
    ASSERT_EQ(decode(coded, &bytes), TCOMMON_SUCCESS) << coded;
    EXPECT_EQ(bytes, plain);
  }
}

TEST(Base64, RefusesMalformedInput) {
  const std::string cases[] = {
      "Zm9v!",                   // outside the alphabet
      "Zm9v-_",                  // URL-safe alphabet is not the standard one
      "Zm\xC3\xA9v",             // non-ASCII
      std::string("Zm\0v", 4),   // NUL inside the range
      std::string("Zm9v\0", 5),  // NUL at the end of the range
      "Z",                       // lone character
      "Zm9vY",                   // lone trailing character after a full group
      "Zm=9v",                   // padding in the middle of a group
      "Zg==Zg==",                // data after padding
      "Zg== x",                  // data after padding and space
      "=",                       // padding alone
      "Zm9v=",                   // padding after a complete group
      "Z===",                    // padding after one character
      "Zg===",                   // too much padding
      "Zm9==",                   // two pads after three characters
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    std::string bytes;
    EXPECT_EQ(decode(cases[i], &bytes), TCOMMON_MALFORMED) << "case " << i;
  }
}

TEST(Base64, RefusesIncompletePadding) {
  for (const char *coded : {"Zg=", "Zm9vYg="}) {
    std::string bytes;
    EXPECT_EQ(decode(coded, &bytes), TCOMMON_MALFORMED) << coded;
  }
}

TEST(Base64, ReadsOnlyTheGivenLength) {
  // A heap block without a terminating NUL: a read past length shows up under ASan.
  const char source[] = "Zm9vYmFy";
  const std::pair<size_t, std::string> prefixes[] = {
      {0, ""}, {4, "foo"}, {6, "foob"}, {8, "foobar"}};
  for (const auto &[length, plain] : prefixes) {
    std::unique_ptr<char, FreeDeleter> text(static_cast<char *>(std::malloc(length ? length : 1)));
    std::memcpy(text.get(), source, length);
    uint8_t *data = nullptr;
    uint64_t decoded = 0;
    ASSERT_EQ(TCommonBase64_decode(text.get(), length, &data, &decoded), TCOMMON_SUCCESS);
    std::unique_ptr<uint8_t, FreeDeleter> owner(data);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(data), decoded), plain);
  }
  // Bad characters beyond length are never looked at.
  uint8_t *data = nullptr;
  uint64_t decoded = 0;
  ASSERT_EQ(TCommonBase64_decode("Zm9v!!!!", 4, &data, &decoded), TCOMMON_SUCCESS);
  std::unique_ptr<uint8_t, FreeDeleter> owner(data);
  EXPECT_EQ(decoded, 3u);
}

TEST(Base64, EncodesNothingFromNoData) {
  char *text = nullptr;
  ASSERT_EQ(TCommonBase64_encode(nullptr, 0, &text), TCOMMON_SUCCESS);
  EXPECT_STREQ(text, "");
  std::free(text);
  EXPECT_EQ(TCommonBase64_encode(nullptr, 1, &text), TCOMMON_INVALID_ARGUMENT);
}

}  // namespace
