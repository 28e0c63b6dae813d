#include "nuv_convert.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "doubles/contract_recorder.h"

namespace {

using support::ContractRecorder;

template <typename T>
struct Case {
  const char* text;
  int32_t result;
  T value;  // in the destination afterwards
};

// Converts each text of the table into a destination that starts as kBefore.
template <typename T, T kBefore, size_t N>
void expect_conversions(int32_t (*convert)(T*, const char*), const Case<T> (&cases)[N]) {
  for (const auto& row : cases) {
    SCOPED_TRACE(std::string("'") + row.text + "'");
    const ContractRecorder contracts;
    T value = kBefore;
    EXPECT_EQ(convert(&value, row.text), row.result);
    EXPECT_EQ(value, row.value);
  }
}

TEST(Convert, Uint16TakesDigitsBelow65536) {
  constexpr uint16_t kBefore = 4711;
  const Case<uint16_t> kCases[] = {
      {"0", 1, 0},
      {"7", 1, 7},
      {" 7", 1, 7},
      {"   42", 1, 42},
      {"00065", 1, 65},
      {"65534", 1, 65534},
      {"65535", 1, 65535},
      {"65536", 0, kBefore},
      {"99999", 0, kBefore},
      {"4294967295", 0, kBefore},
      // The accumulator wraps before the comparison.
      {"4294967296", 1, 0},
      {"4295032831", 1, 65535},
      {"4295032832", 0, kBefore},
      {"", 0, kBefore},
      {"  ", 0, kBefore},
      {"7 ", 0, kBefore},
      {"7x", 0, kBefore},
      {"7/", 0, kBefore},
      {"7:", 0, kBefore},
      {"1 2", 0, kBefore},
      {"+7", 0, kBefore},
      {"-7", 0, kBefore},
      {"-0", 0, kBefore},
      {"0x7", 0, kBefore},
      {"7.0", 0, kBefore},
      {"\t7", 0, kBefore},
      {" \t7", 0, kBefore},
      {"\n7", 0, kBefore},
      {"7\n", 0, kBefore},
      {"7\r", 0, kBefore},
      {"\xB2", 0, kBefore},
  };
  expect_conversions<uint16_t, kBefore>(NUV_Convert_uint16, kCases);
}

TEST(Convert, Uint32WrapsIfTheNumberIsTooLarge) {
  constexpr uint32_t kBefore = 4711;
  const Case<uint32_t> kCases[] = {
      {"0", 1, 0},
      {"  113", 1, 113},
      {"65536", 1, 65536},
      {"2147483648", 1, 2147483648},
      {"4294967295", 1, 4294967295},
      {"4294967296", 1, 0},
      {"4294967297", 1, 1},
      {"18446744073709551617", 1, 1},
      {"", 0, kBefore},
      {" ", 0, kBefore},
      {"5 ", 0, kBefore},
      {"+5", 0, kBefore},
      {"-5", 0, kBefore},
      {"5a", 0, kBefore},
      {"a5", 0, kBefore},
      {"\v5", 0, kBefore},
  };
  expect_conversions<uint32_t, kBefore>(NUV_Convert_uint32, kCases);
}

TEST(Convert, Int16TakesOneSignAndOneLimitForEach) {
  constexpr int16_t kBefore = 4711;
  const Case<int16_t> kCases[] = {
      {"0", 1, 0},
      {"-0", 1, 0},
      {"  -12", 1, -12},
      {"+12", 1, 12},
      {"32766", 1, 32766},
      {"32767", 1, 32767},
      {"32768", 0, kBefore},
      {"+32767", 1, 32767},
      {"+32768", 0, kBefore},
      {"-32767", 1, -32767},
      {"-32768", 1, -32768},
      {"-32769", 0, kBefore},
      {"65536", 0, kBefore},
      {"2147483647", 0, kBefore},
      {"-2147483647", 0, kBefore},
      {"-2147483648", 0, kBefore},
      // These wrap in 32 bits and then pass the comparison, because only one limit is checked for each sign.
      {"2147483648", 1, 0},
      {"4294967295", 1, -1},
      {"4294967296", 1, 0},
      {"-4294967295", 1, 1},
      {"-2147483649", 1, -1},
      {"-4294934529", 1, 32767},
      // A sign alone counts as a number; an empty text does not.
      {"-", 1, 0},
      {"+", 1, 0},
      {"  -", 1, 0},
      {"", 0, kBefore},
      {"   ", 0, kBefore},
      {"- ", 0, kBefore},
      {"- 5", 0, kBefore},
      {"+-5", 0, kBefore},
      {"-+5", 0, kBefore},
      {"--5", 0, kBefore},
      {"++5", 0, kBefore},
      {"5-", 0, kBefore},
      {"5 ", 0, kBefore},
      {"\t5", 0, kBefore},
  };
  expect_conversions<int16_t, kBefore>(NUV_Convert_int16, kCases);
}

TEST(Convert, Int32WrapsIfTheNumberIsTooLarge) {
  constexpr int32_t kBefore = 4711;
  const Case<int32_t> kCases[] = {
      {"0", 1, 0},
      {"  -12", 1, -12},
      {"+12", 1, 12},
      {"2147483647", 1, 2147483647},
      {"2147483648", 1, INT32_MIN},
      {"-2147483647", 1, -2147483647},
      {"-2147483648", 1, INT32_MIN},
      {"-2147483649", 1, 2147483647},
      {"4294967295", 1, -1},
      {"-4294967295", 1, 1},
      {"4294967296", 1, 0},
      {"-", 1, 0},
      {"+", 1, 0},
      {" +", 1, 0},
      {"", 0, kBefore},
      {"  ", 0, kBefore},
      {"-5x", 0, kBefore},
      {"-5 ", 0, kBefore},
      {"+-5", 0, kBefore},
      {"--", 0, kBefore},
      {"x", 0, kBefore},
      {"\t1", 0, kBefore},
  };
  expect_conversions<int32_t, kBefore>(NUV_Convert_int32, kCases);
}

TEST(Convert, BoolTakesTheNumbers0And1) {
  constexpr uint8_t kBefore = 0x5A;
  const Case<uint8_t> kCases[] = {
      {"0", 1, 0},
      {"1", 1, 1},
      {" 1", 1, 1},
      {"   0", 1, 0},
      {"2", 0, kBefore},
      {"10", 0, kBefore},
      {"256", 0, kBefore},
      {"257", 0, kBefore},
      {"4294967295", 0, kBefore},
      {"", 0, kBefore},
      {"  ", 0, kBefore},
      {"true", 0, kBefore},
      {"false", 0, kBefore},
      {"x1", 0, kBefore},
      // The number is read as by scanf(): white space and a sign may come first, anything may follow.
      {"1x", 1, 1},
      {"1 ", 1, 1},
      {"1 2", 1, 1},
      {"0.9", 1, 0},
      {"0x1", 1, 0},
      {"001", 1, 1},
      {"\t1", 1, 1},
      {" \n 0", 1, 0},
      {"+1", 1, 1},
      {"-0", 1, 0},
      {"-1", 0, kBefore},
      {"-", 0, kBefore},
      {"- 1", 0, kBefore},
  };
  expect_conversions<uint8_t, kBefore>(NUV_Convert_bool, kCases);
}

// The C library decides how a number beyond 32 bits is read, here as in sscanf().
TEST(Convert, BoolReadsLargeNumbersAsTheCLibraryDoes) {
  for (const char* text :
       {"4294967296", "4294967297", "-4294967295", "18446744073709551616", "99999999999999999999999"}) {
    SCOPED_TRACE(text);
    unsigned number = 0;
    ASSERT_EQ(std::sscanf(text, "%u", &number), 1);
    const bool is_flag = number <= 1;
    uint8_t value = 0x5A;
    EXPECT_EQ(NUV_Convert_bool(&value, text), is_flag ? 1 : 0);
    EXPECT_EQ(value, is_flag ? number : 0x5A);
  }
}

TEST(Convert, StringTakesTheTextBetweenTheFirstTwoQuotes) {
  const struct {
    const char* text;
    int32_t result;
    std::string buffer;  // the destination afterwards; it starts as 8 times '#'
  } kCases[] = {
      {"\"ab\"", 1, std::string("ab\0#####", 8)},
      {"  \"ab c\" tail", 1, std::string("ab c\0###", 8)},
      {"\"\"", 1, std::string("\0#######", 8)},
      {"\"ab\"cd\"", 1, std::string("ab\0#####", 8)},
      {"\"a\\\"b\"", 1, std::string("a\\\0#####", 8)},
      {"\" a \"", 1, std::string(" a \0####", 8)},
      {"\"a\tb\nc\"", 1, std::string("a\tb\nc\0##", 8)},
      {"\"1234567\"", 1, std::string("1234567\0", 8)},
      // Without the closing quote, the characters are copied but not terminated.
      {"\"ab", 0, "ab######"},
      {"  \"ab ", 0, "ab #####"},
      {"\"", 0, "########"},
      {"", 0, "########"},
      {"   ", 0, "########"},
      {"ab", 0, "########"},
      {"ab\"cd\"", 0, "########"},
      {"'ab'", 0, "########"},
      {"\t\"ab\"", 0, "########"},
      {" \t\"ab\"", 0, "########"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.text);
    const ContractRecorder contracts;
    std::vector<char> dest(8, '#');
    EXPECT_EQ(NUV_Convert_string(dest.data(), row.text), row.result);
    EXPECT_EQ(std::string(dest.begin(), dest.end()), row.buffer);
  }
}

TEST(Convert, StringMayBeConvertedInPlace) {
  char text[] = "  \"abcdefghijklmnop\"";
  EXPECT_EQ(NUV_Convert_string(text, text), 1);
  EXPECT_STREQ(text, "abcdefghijklmnop");
}

// A writable text and the fields found in it, with guard pointers on both sides.
class Split {
 public:
  Split(const std::string& text, uint32_t room, char separator)
      : text_(text.begin(), text.end()), fields_(room + 2, guard_) {
    text_.push_back('\0');
    count_ = NUV_Convert_split(fields_.data() + 1, room, text_.data(), separator);
    EXPECT_EQ(fields_.front(), guard_);
    for (uint32_t i = count_ + 1; i < fields_.size(); ++i) {
      EXPECT_EQ(fields_[i], guard_) << "stores no more than it counts";
    }
  }

  uint32_t count() const { return count_; }
  std::vector<std::string> fields() const { return {fields_.begin() + 1, fields_.begin() + 1 + count_}; }
  bool lies_in_text(uint32_t field) const {
    return fields_[field + 1] >= text_.data() && fields_[field + 1] < text_.data() + text_.size();
  }
  std::string text() const { return {text_.begin(), text_.end() - 1}; }

 private:
  char guard_[1] = {};
  std::vector<char> text_;
  std::vector<char*> fields_;
  uint32_t count_ = 0;
};

TEST(Convert, SplitCutsAtSeparators) {
  using Fields = std::vector<std::string>;
  const struct {
    const char* name;
    const char* text;
    uint32_t room;
    Fields fields;
  } kCases[] = {
      {"exact room", "a,b,c", 3, {"a", "b", "c"}},
      {"more room than fields", "a,b,c", 5, {"a", "b", "c"}},
      {"the last field keeps its separators", "a,,b", 2, {"a", ",b"}},
      {"one field", "a,b", 1, {"a,b"}},
      {"no separator", "abc", 3, {"abc"}},
      {"empty text", "", 3, {""}},
      {"empty text, room for one", "", 1, {""}},
      {"empty field between", "a,,b", 5, {"a", "", "b"}},
      {"empty field in front", ",a", 5, {"", "a"}},
      {"empty field at the end", "a,", 5, {"a", ""}},
      {"empty field at the end, exact room", "a,", 2, {"a", ""}},
      {"separators only", ",,", 5, {"", "", ""}},
      {"separators only, little room", ",,", 2, {"", ","}},
      {"blanks belong to the fields", " a , b ", 2, {" a ", " b "}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    const ContractRecorder contracts;
    const Split split(row.text, row.room, ',');
    EXPECT_EQ(split.fields(), row.fields);
    for (uint32_t i = 0; i < split.count(); ++i) {
      EXPECT_TRUE(split.lies_in_text(i)) << i;
    }
  }
}

TEST(Convert, SplitTerminatesTheFieldsInPlace) {
  EXPECT_EQ(Split("a;b;c", 2, ';').text(), std::string("a\0b;c", 5));
  EXPECT_EQ(Split("a;b;c", 3, ';').text(), std::string("a\0b\0c", 5));
  EXPECT_EQ(Split("a;b;c", 3, ',').text(), "a;b;c");
}

TEST(Convert, SplitAtZeroEndsWithTheText) {
  EXPECT_EQ(Split("abc", 5, '\0').fields(), (std::vector<std::string>{"abc"}));
}

TEST(Convert, SplitAtACharacterPast127) {
  EXPECT_EQ(Split("a\xA7"
                  "b",
                  5, '\xA7')
                .fields(),
            (std::vector<std::string>{"a", "b"}));
}

TEST(Convert, SplitWithoutRoomTouchesNothing) {
  const ContractRecorder contracts;
  char text[] = "a,b";
  EXPECT_EQ(NUV_Convert_split(nullptr, 0, text, ','), 0U);
  EXPECT_STREQ(text, "a,b");
}

}  // namespace
