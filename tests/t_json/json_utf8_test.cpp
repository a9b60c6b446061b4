// Texts that are valid UTF-8 take the reader's fast path; both paths must agree on what
// they accept, on the strings they produce and on where a bad sequence lies.
#include <gtest/gtest.h>

#include <string>

#include "t_common.h"
#include "t_json.h"

namespace {

TEST(JsonUtf8Test, LongTextsReadTheSameWhetherValidOrNot) {
  TJsonReader *reader = nullptr;
  ASSERT_EQ(TJsonReader_open(&reader), TCOMMON_SUCCESS);
  const std::string ascii(37, 'a');  // longer than a word, not a multiple of one
  struct Case {
    std::string content;  // between the quotes
    uint64_t badAt;       // 0: valid
  };
  const Case cases[] = {
      {ascii + "\xC3\xA9" + ascii + "\xE2\x82\xAC\xF0\x9F\x98\x80" + ascii, 0},
      {ascii + "\xC3\xA9" + ascii + "\xFF" + ascii, 1 + 37 + 2 + 37},
      {ascii + ascii + "\xED\xA0\x80", 1 + 74},  // a surrogate
      {ascii + "\xF0\x9F\x98", 1 + 37},          // cut short by the closing quote
  };
  for (const Case &c : cases) {
    const std::string text = "[\"" + c.content + "\"]";
    const char *begin = text.data();
    TJsonValue *value = nullptr;
    const uint32_t code = TJsonReader_parse(reader, begin, begin + text.size(), &value);
    uint64_t offset = 0;
    const char *problem = nullptr;
    TJsonReader_error(reader, &offset, &problem);
    if (c.badAt == 0) {
      ASSERT_EQ(code, TCOMMON_SUCCESS) << problem;
      const char *read = nullptr;
      ASSERT_EQ(TJsonValue_itemAsString(value, 0, &read), TCOMMON_SUCCESS);
      EXPECT_EQ(read, c.content);
    } else {
      EXPECT_EQ(code, TCOMMON_PARSE_ERROR);
      EXPECT_EQ(offset, c.badAt + 1) << c.content;  // after the array's bracket
      EXPECT_STREQ(problem, "Invalid encoding in string.");
    }
    TJsonValue_delete(value);
  }
  TJsonReader_close(&reader);
}

}  // namespace
