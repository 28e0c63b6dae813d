#include "nuv_digitmap.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "doubles/captured_stdout.h"
#include "doubles/contract_recorder.h"
#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"
#include "models/digitmap_model.h"

namespace {

using support::CapturedStdout;
using support::ContractRecorder;
using support::DigitMapModel;
using support::each_fault;
using support::Fault;
using support::FaultInjector;

constexpr int kFirst = NUV_DIGITMAP_FIRST_MATCH;
constexpr int kBest = NUV_DIGITMAP_BEST_MATCH;
constexpr int kUndecided = NUV_DIGITMAP_UNDECIDED;
constexpr int kComplete = NUV_DIGITMAP_COMPLETE;
constexpr int kNoMatch = NUV_DIGITMAP_NO_MATCH;

constexpr uint32_t kAny = 0x3FF;
constexpr uint32_t kRepeat = 0x10000;
constexpr uint32_t kHash = 0x4000;
constexpr uint32_t kStar = 0x8000;

constexpr std::string_view kSymbols = "0123456789ABCD#*";

using Symbols = std::vector<uint32_t>;
using Texts = std::vector<std::string>;

std::string times(int count, const std::string& piece) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    text += piece;
  }
  return text;
}

// The result of a check, and the text that it printed, if any.
struct Answer {
  int result;
  std::optional<std::string> text;

  bool operator==(const Answer& other) const { return result == other.result && text == other.text; }
};

std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  return out << "{" << answer.result << ", " << answer.text.value_or("(nothing)") << "}";
}

constexpr auto kNothing = std::nullopt;

class DigitMapTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(NUV_DigitMap_construct(&map_), 1); }
  void TearDown() override { NUV_DigitMap_destruct(&map_); }

  int set(const std::string& text) { return NUV_DigitMap_setMap(&map_, text.c_str()); }
  int add(const std::string& text) { return NUV_DigitMap_addMap(&map_, text.c_str()); }

  Texts texts() const {
    Texts all;
    for (const NUV_DigitMapPattern* pattern = map_; pattern != nullptr; pattern = pattern->m_pNext) {
      all.emplace_back(pattern->m_pText);
    }
    return all;
  }

  static Symbols symbols_of(const NUV_DigitMapPattern& pattern) {
    return {pattern.m_pSymbols, pattern.m_pSymbols + pattern.m_uCount};
  }

  Answer check(int mode, const std::string& dialled, uint32_t timer = 0) const {
    std::array<char, 256> out;
    out.fill('~');
    const int result = NUV_DigitMap_checkDialString(&map_, mode, dialled.c_str(), timer, out.data(), out.size());
    return {result, out[0] != '~' ? std::optional<std::string>(out.data()) : std::nullopt};
  }

  ContractRecorder contracts_;
  DigitMap map_ = nullptr;
};

// ---- record and life ----

TEST(DigitMapRecord, HoldsSymbolsCountTextTimerNextInThisOrder) {
  EXPECT_EQ(offsetof(NUV_DigitMapPattern, m_pSymbols), 0U);
  EXPECT_EQ(offsetof(NUV_DigitMapPattern, m_uCount), sizeof(void*));
  EXPECT_EQ(offsetof(NUV_DigitMapPattern, m_pText), 2 * sizeof(void*));
  EXPECT_EQ(offsetof(NUV_DigitMapPattern, m_bTimer), 3 * sizeof(void*));
  EXPECT_EQ(offsetof(NUV_DigitMapPattern, m_pNext), 4 * sizeof(void*));
  EXPECT_EQ(sizeof(NUV_DigitMapPattern), 5 * sizeof(void*));
}

TEST(DigitMapLife, ConstructIgnoresTheFormerValue) {
  const ContractRecorder contracts;
  NUV_DigitMapPattern stranger = {};
  DigitMap map = &stranger;
  EXPECT_EQ(NUV_DigitMap_construct(&map), 1);
  EXPECT_EQ(map, nullptr);
}

TEST_F(DigitMapTest, DestructLeavesAnEmptyMapThatCanBeUsedAgain) {
  EXPECT_EQ(set("1|2."), 1);
  NUV_DigitMap_destruct(&map_);
  EXPECT_EQ(map_, nullptr);
  NUV_DigitMap_destruct(&map_);
  EXPECT_EQ(map_, nullptr);
  EXPECT_EQ(add("3"), 1);
  EXPECT_EQ(texts(), Texts{"3"});
}

// ---- reading one pattern ----

TEST_F(DigitMapTest, ReadsPatterns) {
  const struct {
    const char* text;
    Symbols symbols;
    int timer;
  } kCases[] = {
      {"", {}, 0},
      {"0123456789", {0x1, 0x2, 0x4, 0x8, 0x10, 0x20, 0x40, 0x80, 0x100, 0x200}, 0},
      {"ABCD#*", {0x400, 0x800, 0x1000, 0x2000, kHash, kStar}, 0},
      {"xX", {kAny, kAny}, 0},
      {"11", {0x2, 0x2}, 0},

      // A repetition marks the symbol before it and is not a symbol itself.
      {"1.2", {0x2 | kRepeat, 0x4}, 0},
      {"x.", {kAny | kRepeat}, 0},
      {"1..", {0x2 | kRepeat}, 0},
      {"12.3.", {0x2, 0x4 | kRepeat, 0x8 | kRepeat}, 0},
      {"[12].", {0x6 | kRepeat}, 0},

      // Neither is the timer, at any position.
      {"T", {}, 1},
      {"1T", {0x2}, 1},
      {"T1", {0x2}, 1},
      {"1T2T", {0x2, 0x4}, 1},
      {"1T.", {0x2 | kRepeat}, 1},
      {"x.T", {kAny | kRepeat}, 1},

      // Brackets allow every symbol in them.
      {"[1]", {0x2}, 0},
      {"[135]", {0x2A}, 0},
      {"[531]", {0x2A}, 0},
      {"[11]", {0x2}, 0},
      {"[0123456789ABCD#*]", {0xFFFF}, 0},
      {"[]", {0}, 0},
      {"[].", {kRepeat}, 0},
      {"9[12]x[#*]T", {0x200, 0x6, kAny, kHash | kStar}, 1},

      // A range goes from the first symbol to the last; those between them are ignored.
      {"[2-5]", {0x3C}, 0},
      {"[13-5]", {0x3E}, 0},
      {"[1-35]", {0x3E}, 0},
      {"[1-95]", {0x3E}, 0},
      {"[15-]", {0x3E}, 0},
      {"[-15]", {0x3E}, 0},
      {"[1--5]", {0x3E}, 0},
      {"[1-3-5]", {0x3E}, 0},
      {"[9-A]", {0x600}, 0},
      {"[D-*]", {0x2000 | kHash | kStar}, 0},
      {"[#-*]", {kHash | kStar}, 0},
      {"[0-*]", {0xFFFF}, 0},
      {"[0-9]", {kAny}, 0},
      {"[5-5]", {0x20}, 0},
      {"[*-*]", {kStar}, 0},

      // A range that runs backwards or lacks an end is empty.
      {"[5-2]", {0}, 0},
      {"[*-#]", {0}, 0},
      {"[5-]", {0}, 0},
      {"[-5]", {0}, 0},
      {"[0-]", {0}, 0},
      {"[-0]", {0}, 0},
      {"[-]", {0}, 0},
      {"[1-20]", {0}, 0},
      {"[5-2].", {kRepeat}, 0},
      {"[5-2]1", {0, 0x2}, 0},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.text);
    NUV_DigitMap_destruct(&map_);
    ASSERT_EQ(add(row.text), 1);
    EXPECT_EQ(symbols_of(*map_), row.symbols);
    EXPECT_EQ(map_->m_uCount, row.symbols.size());
    EXPECT_STREQ(map_->m_pText, row.text);
    EXPECT_EQ(map_->m_bTimer, row.timer);
    EXPECT_EQ(map_->m_pNext, nullptr);
  }
}

TEST_F(DigitMapTest, RefusesInvalidPatterns) {
  for (const char* text : {
           ".",    ".1",   "..",  "T.",   "T.1",  // nothing to repeat
           "[",    "1[2",  "[1-", "[1-5", "x[",   // not closed
           "]",    "1]",   "12]", "[1]]",         // not opened
           "[1x]", "[x]",  "[X]", "[T]",  "[.]",   "[1.]",   "[[1]", "[[1]]", "[a]", "[1-5x]", "[1-x]",
           "-",    "1-5",  "1,2", "1+",   "t",     "a",      "b",    "c",     "d",   "E",      "S",
           "1e",   "1\t2", "\n",  "1|2",  "[1|2]", "[1\t2]", "\x80", "1\xFF", "!1",  "1\"",
       }) {
    SCOPED_TRACE(text);
    EXPECT_EQ(add(text), 0);
    EXPECT_EQ(map_, nullptr);
  }
}

// Blanks and parentheses are removed before a pattern is read.
TEST_F(DigitMapTest, RefusesOtherCharacters) {
  const std::string known = "0123456789ABCD#*xXT ()";
  for (int c = 1; c < 256; ++c) {
    SCOPED_TRACE(c);
    const char character = static_cast<char>(c);
    const bool valid = known.find(character) != std::string::npos;
    NUV_DigitMap_destruct(&map_);
    EXPECT_EQ(add({character}), valid ? 1 : 0);
    EXPECT_EQ(add({'1', character, '2'}), valid || character == '.' ? 1 : 0);
  }
}

TEST_F(DigitMapTest, RefusesOtherCharactersInBrackets) {
  const std::string known = "0123456789ABCD#*- ()";
  for (int c = 1; c < 256; ++c) {
    SCOPED_TRACE(c);
    const char character = static_cast<char>(c);
    if (character != ']') {
      EXPECT_EQ(add({'[', '1', character, ']'}), known.find(character) != std::string::npos ? 1 : 0);
    }
  }
}

// ---- setMap and addMap ----

TEST_F(DigitMapTest, SetMapKeepsTheOrderOfThePatterns) {
  EXPECT_EQ(set("0x.T|110|[1-9]xxx"), 1);
  EXPECT_EQ(texts(), (Texts{"0x.T", "110", "[1-9]xxx"}));
  const NUV_DigitMapPattern* first = map_;
  EXPECT_EQ(symbols_of(*first), (Symbols{0x1, kAny | kRepeat}));
  EXPECT_EQ(first->m_bTimer, 1);
  const NUV_DigitMapPattern* second = first->m_pNext;
  EXPECT_EQ(symbols_of(*second), (Symbols{0x2, 0x2, 0x1}));
  EXPECT_EQ(second->m_bTimer, 0);
  const NUV_DigitMapPattern* third = second->m_pNext;
  EXPECT_EQ(symbols_of(*third), (Symbols{0x3FE, kAny, kAny, kAny}));
  EXPECT_EQ(third->m_pNext, nullptr);
}

TEST_F(DigitMapTest, SetMapSplitsAtBars) {
  const struct {
    const char* text;
    Texts patterns;
  } kCases[] = {
      {"", {}},
      {"|", {}},
      {"|||", {}},
      {"1", {"1"}},
      {"1|", {"1"}},
      {"|1", {"1"}},
      {"1||2", {"1", "2"}},
      {"||1|||22||", {"1", "22"}},
      {"1|1", {"1", "1"}},
      {"T", {"T"}},
      // Blanks and parentheses are removed before the text is split.
      {"  ", {}},
      {"()", {}},
      {"( | )", {}},
      {"1| |2", {"1", "2"}},
      {"(0x.T | 1 1 0)", {"0x.T", "110"}},
      {")1(((2)", {"12"}},
      {"[ 1 3 ]x", {"[13]x"}},
      {"[(2) - (5)]", {"[2-5]"}},
      {"( 1 ) .", {"1."}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(set(row.text), 1);
    EXPECT_EQ(texts(), row.patterns);
  }
}

TEST_F(DigitMapTest, SetMapReplacesTheFormerMap) {
  EXPECT_EQ(set("1|2|3"), 1);
  EXPECT_EQ(set("4"), 1);
  EXPECT_EQ(texts(), Texts{"4"});
  EXPECT_EQ(set(""), 1);
  EXPECT_EQ(map_, nullptr);
}

TEST_F(DigitMapTest, SetMapStopsAtTheFirstInvalidPattern) {
  const struct {
    const char* text;
    Texts patterns;
  } kCases[] = {
      {"a", {}},        {"1|a", {"1"}},          {"1|2|a|3", {"1", "2"}}, {"1|[2|3]|4", {"1"}},
      {"1|.|2", {"1"}}, {"1|2x|t", {"1", "2x"}}, {"1\t|2", {}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(set("9|8|7"), 1);
    EXPECT_EQ(set(row.text), 0);
    EXPECT_EQ(texts(), row.patterns);
  }
}

TEST_F(DigitMapTest, SetMapAcceptsATextFromTheMapItself) {
  EXPECT_EQ(set("12x|3"), 1);
  EXPECT_EQ(NUV_DigitMap_setMap(&map_, map_->m_pText), 1);
  EXPECT_EQ(texts(), Texts{"12x"});
}

TEST_F(DigitMapTest, AddMapAppendsOnePattern) {
  EXPECT_EQ(add("1"), 1);
  EXPECT_EQ(add("( 2 x ) T"), 1);
  EXPECT_EQ(add(""), 1);
  EXPECT_EQ(add(" ( ) "), 1);
  EXPECT_EQ(texts(), (Texts{"1", "2xT", "", ""}));
}

TEST_F(DigitMapTest, AddMapAppendsAfterSetMap) {
  EXPECT_EQ(set("1|2"), 1);
  EXPECT_EQ(add("3"), 1);
  EXPECT_EQ(texts(), (Texts{"1", "2", "3"}));
}

TEST_F(DigitMapTest, AddMapKeepsTheMapWhenItFails) {
  EXPECT_EQ(set("1|2"), 1);
  for (const char* text : {"3|4", "|", "3|", "a", "[", "."}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(add(text), 0);
    EXPECT_EQ(texts(), (Texts{"1", "2"}));
  }
}

// ---- dumpMap ----

TEST_F(DigitMapTest, DumpsEveryPattern) {
  EXPECT_EQ(set("1x.T|[5-2]#|"), 1);
  EXPECT_EQ(add(""), 1);
  CapturedStdout out;
  NUV_DigitMap_dumpMap(&map_);
  EXPECT_EQ(out.take(),
            "---------------\n"
            "OrigString: 1x.T\n"
            "Timeout: 1\n"
            "Symbols:   0x2 0x103ff\n"
            "---------------\n"
            "---------------\n"
            "OrigString: [5-2]#\n"
            "Timeout: 0\n"
            "Symbols:   0x0 0x4000\n"
            "---------------\n"
            "---------------\n"
            "OrigString: \n"
            "Timeout: 0\n"
            "Symbols:  \n"
            "---------------\n");
}

TEST_F(DigitMapTest, DumpsNothingForAnEmptyMap) {
  CapturedStdout out;
  NUV_DigitMap_dumpMap(&map_);
  EXPECT_EQ(out.take(), "");
}

// The error is not reported, and the map still works.
TEST_F(DigitMapTest, DumpsToAFullDevice) {
  EXPECT_EQ(set(times(2000, "x")), 1);
  CapturedStdout out;
  const int captured = dup(STDOUT_FILENO);
  const int full = open("/dev/full", O_WRONLY);
  ASSERT_EQ(dup2(full, STDOUT_FILENO), STDOUT_FILENO);
  NUV_DigitMap_dumpMap(&map_);
  std::fflush(stdout);
  EXPECT_NE(std::ferror(stdout), 0) << "the device accepted the output";
  std::clearerr(stdout);
  dup2(captured, STDOUT_FILENO);
  close(captured);
  close(full);

  EXPECT_EQ(set("1"), 1);
  NUV_DigitMap_dumpMap(&map_);
  EXPECT_EQ(out.take(), "---------------\nOrigString: 1\nTimeout: 0\nSymbols:   0x2\n---------------\n");
}

// ---- one pattern against a dial string ----

TEST_F(DigitMapTest, SymbolsMatchThemselvesOnly) {
  for (const char symbol : kSymbols) {
    EXPECT_EQ(set({symbol}), 1);
    for (int c = 1; c < 256; ++c) {
      SCOPED_TRACE(std::to_string(symbol) + " against " + std::to_string(c));
      const char dialled = static_cast<char>(c);
      EXPECT_EQ(check(kFirst, {dialled}).result, dialled == symbol ? kComplete : kNoMatch);
    }
  }
}

TEST_F(DigitMapTest, WildcardMatchesDigitsOnly) {
  for (const char* wildcard : {"x", "X", "[0-9]"}) {
    EXPECT_EQ(set(wildcard), 1);
    for (const char c : std::string("0123456789")) {
      EXPECT_EQ(check(kFirst, {c}).result, kComplete) << c;
    }
    for (const char c : std::string("ABCD#*xX.T")) {
      EXPECT_EQ(check(kFirst, {c}).result, kNoMatch) << c;
    }
  }
}

TEST_F(DigitMapTest, OtherCharactersNeverMatch) {
  EXPECT_EQ(set("[0-*]"), 1);
  for (int c = 1; c < 256; ++c) {
    const char dialled = static_cast<char>(c);
    const bool known = kSymbols.find(dialled) != std::string_view::npos;
    EXPECT_EQ(check(kFirst, {dialled}).result, known ? kComplete : kNoMatch) << c;
  }
}

TEST_F(DigitMapTest, ChecksOnePatternInBothModes) {
  const struct {
    const char* pattern;
    const char* dialled;
    uint32_t timer;
    int result;
  } kCases[] = {
      {"110", "", 0, kUndecided},
      {"110", "1", 0, kUndecided},
      {"110", "11", 0, kUndecided},
      {"110", "110", 0, kComplete},
      {"110", "1101", 0, kNoMatch},
      {"110", "2", 0, kNoMatch},
      {"110", "12", 0, kNoMatch},
      {"110", "111", 0, kNoMatch},
      // The comparison ends at the first difference; the rest is ignored.
      {"110", "1x0", 0, kNoMatch},

      // Timer: a pattern is complete only in the timer state that it asks for, and otherwise undecided.
      {"110", "110", 1, kUndecided},
      {"110", "11", 1, kUndecided},
      {"110", "1101", 1, kNoMatch},
      {"110T", "110", 0, kUndecided},
      {"110T", "110", 1, kComplete},
      {"110T", "11", 1, kUndecided},
      {"110T", "1101", 1, kNoMatch},
      {"T", "", 0, kUndecided},
      {"T", "", 1, kComplete},
      {"T", "1", 1, kNoMatch},

      // Repetition: none, one, many.
      {"0x.T", "", 0, kUndecided},
      {"0x.T", "", 1, kUndecided},
      {"0x.T", "0", 0, kUndecided},
      {"0x.T", "0", 1, kComplete},
      {"0x.T", "0123", 0, kUndecided},
      {"0x.T", "0123", 1, kComplete},
      {"0x.T", "1", 1, kNoMatch},
      {"0x.T", "01#", 1, kNoMatch},
      {"1.T", "", 1, kComplete},
      {"1.T", "111", 1, kComplete},
      {"1.T", "112", 1, kNoMatch},
      {"1.2", "2", 0, kComplete},
      {"1.2", "1112", 0, kComplete},
      {"1.2", "111", 0, kUndecided},
      {"1.2", "1121", 0, kNoMatch},
      {"x.1", "2131", 0, kComplete},
      {"x.x.1", "1", 0, kComplete},
      {"1.2.3.T", "1133", 1, kComplete},
      {"1.2.3.T", "1123", 1, kComplete},
      {"1.2.3.T", "1132", 1, kNoMatch},
      {"1.1.1", "11111", 0, kComplete},

      // Without a complete expansion the longest one decides, even if a shorter one could still grow.
      {"0.12", "1", 0, kNoMatch},
      {"0.12", "12", 0, kComplete},
      {"0.12", "0", 0, kUndecided},
      {"0.12", "01", 0, kNoMatch},
      {"0.12", "", 0, kUndecided},
      {"1.2", "12", 1, kNoMatch},
      {"x.2", "12", 1, kUndecided},

      // A symbol that allows nothing.
      {"[5-2]", "", 0, kUndecided},
      {"[5-2]", "3", 0, kNoMatch},
      {"[]", "1", 0, kNoMatch},
      {"[-]1", "1", 0, kNoMatch},
      {"[].1", "1", 0, kComplete},
      {"[].T", "", 1, kComplete},

      {"[2-5]", "1", 0, kNoMatch},
      {"[2-5]", "2", 0, kComplete},
      {"[2-5]", "3", 0, kComplete},
      {"[2-5]", "4", 0, kComplete},
      {"[2-5]", "5", 0, kComplete},
      {"[2-5]", "6", 0, kNoMatch},
      {"[135]", "1", 0, kComplete},
      {"[135]", "2", 0, kNoMatch},
      {"[135]", "3", 0, kComplete},
      {"[135]", "4", 0, kNoMatch},
      {"[135]", "5", 0, kComplete},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(testing::Message() << row.pattern << " against '" << row.dialled << "', timer " << row.timer);
    ASSERT_EQ(set(row.pattern), 1);
    const auto text = row.result == kComplete ? std::optional<std::string>(row.pattern) : std::nullopt;
    EXPECT_EQ(check(kFirst, row.dialled, row.timer), (Answer{row.result, text}));
    EXPECT_EQ(check(kBest, row.dialled, row.timer), (Answer{row.result, text}));
  }
}

TEST_F(DigitMapTest, EmptyPatternMatchesNothingDialled) {
  EXPECT_EQ(add(""), 1);
  for (const int mode : {kFirst, kBest}) {
    EXPECT_EQ(check(mode, ""), (Answer{kComplete, ""}));
    EXPECT_EQ(check(mode, "", 1), (Answer{kUndecided, kNothing}));
    EXPECT_EQ(check(mode, "1"), (Answer{kNoMatch, kNothing}));
  }
}

TEST_F(DigitMapTest, OnlyTheLowByteOfTheTimerCounts) {
  EXPECT_EQ(set("1|2T"), 1);
  const struct {
    uint32_t timer;
    int without;
    int with;
  } kCases[] = {
      {0, kComplete, kUndecided},    {1, kUndecided, kComplete},          {2, kUndecided, kUndecided},
      {255, kUndecided, kUndecided}, {256, kComplete, kUndecided},        {257, kUndecided, kComplete},
      {258, kUndecided, kUndecided}, {0xFFFFFF00, kComplete, kUndecided}, {0xFFFFFF01, kUndecided, kComplete},
  };
  for (const auto& row : kCases) {
    for (const int mode : {kFirst, kBest}) {
      SCOPED_TRACE(row.timer);
      EXPECT_EQ(check(mode, "1", row.timer).result, row.without);
      EXPECT_EQ(check(mode, "2", row.timer).result, row.with);
    }
  }
}

TEST_F(DigitMapTest, OtherModesMatchNothing) {
  EXPECT_EQ(set("1|x."), 1);
  for (const int mode : {2, 3, -1, 256, 257, INT_MIN, INT_MAX}) {
    EXPECT_EQ(check(mode, "1"), (Answer{kNoMatch, kNothing})) << mode;
    EXPECT_EQ(check(mode, ""), (Answer{kNoMatch, kNothing})) << mode;
  }
}

TEST_F(DigitMapTest, EmptyMapMatchesNothing) {
  for (const int mode : {kFirst, kBest}) {
    EXPECT_EQ(check(mode, ""), (Answer{kNoMatch, kNothing}));
    EXPECT_EQ(check(mode, "1"), (Answer{kNoMatch, kNothing}));
  }
}

// ---- several patterns ----

TEST_F(DigitMapTest, FirstMatchPicksTheFirstCompletePattern) {
  const struct {
    const char* map;
    const char* dialled;
    uint32_t timer;
    Answer answer;
  } kCases[] = {
      {"1xx|112", "112", 0, {kComplete, "1xx"}},
      {"112|1xx", "112", 0, {kComplete, "112"}},
      {"11|11x", "11", 0, {kComplete, "11"}},
      {"11x|11", "11", 0, {kComplete, "11"}},
      {"2|3|11", "11", 0, {kComplete, "11"}},
      {"1x.", "12", 0, {kComplete, "1x."}},
      {"1x.T|12", "12", 0, {kComplete, "12"}},
      {"1x.T|12", "12", 1, {kComplete, "1x.T"}},
      {"12|1x.T", "12", 1, {kComplete, "1x.T"}},
      // No pattern is complete: undecided if any of them may grow.
      {"2|111|3", "11", 0, {kUndecided, kNothing}},
      {"111|2|3", "11", 0, {kUndecided, kNothing}},
      {"2|3|111", "11", 0, {kUndecided, kNothing}},
      {"11|12T", "12", 0, {kUndecided, kNothing}},
      // Patterns that are too short or different do not match.
      {"1|2|3", "11", 0, {kNoMatch, kNothing}},
      {"1|12|21", "11", 0, {kNoMatch, kNothing}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(testing::Message() << row.map << " against '" << row.dialled << "', timer " << row.timer);
    ASSERT_EQ(set(row.map), 1);
    EXPECT_EQ(check(kFirst, row.dialled, row.timer), row.answer);
  }
}

TEST_F(DigitMapTest, BestMatchPicksTheMostSpecificPattern) {
  const struct {
    const char* map;
    const char* dialled;
    uint32_t timer;
    Answer answer;
  } kCases[] = {
      // The first symbol that allows a different number of characters decides between complete patterns.
      {"1xx|112", "112", 0, {kComplete, "112"}},
      {"112|1xx", "112", 0, {kComplete, "112"}},
      {"xxx|1xx|11x|112", "112", 0, {kComplete, "112"}},
      {"112|11x|1xx|xxx", "112", 0, {kComplete, "112"}},
      {"x1|1x", "11", 0, {kComplete, "1x"}},
      {"1[1-9]|1x", "11", 0, {kComplete, "1[1-9]"}},
      {"1[0-*]|1x", "11", 0, {kComplete, "1x"}},
      {"[#*]|[0-*]", "*", 0, {kComplete, "[#*]"}},
      {"[AB]|A", "A", 0, {kComplete, "A"}},
      // Among equally specific patterns, the first one wins.
      {"1[12]|1[13]", "11", 0, {kComplete, "1[12]"}},
      {"1[13]|1[12]", "11", 0, {kComplete, "1[13]"}},
      {"1X|1x", "11", 0, {kComplete, "1X"}},

      // A complete pattern waits for one that may grow and is as specific.
      {"11|11x", "11", 0, {kUndecided, "11"}},
      {"11x|11", "11", 0, {kUndecided, "11"}},
      {"11|1[12]x", "11", 0, {kComplete, "11"}},
      {"11|x1x", "11", 0, {kComplete, "11"}},
      {"x1|11x", "11", 0, {kUndecided, "x1"}},
      {"1x|1xx", "11", 0, {kUndecided, "1x"}},
      // Of the patterns that may grow, the most specific one counts.
      {"1x|xxx|11x", "11", 0, {kUndecided, "1x"}},
      {"1x|11x|xxx", "11", 0, {kUndecided, "1x"}},
      {"1x|xxx|x1x", "11", 0, {kComplete, "1x"}},
      {"1x|1[12]1", "11", 0, {kUndecided, "1x"}},
      {"11|xx11|xx", "11", 0, {kComplete, "11"}},
      // A pattern that waits for the timer counts as one that may grow.
      {"12|1x.T", "12", 0, {kComplete, "12"}},
      {"1x|1x.T", "12", 0, {kUndecided, "1x"}},
      {"1xT|1x", "12", 0, {kUndecided, "1x"}},
      {"12|1x.T", "12", 1, {kUndecided, "1x.T"}},
      {"12|xxT|1xT", "12", 1, {kUndecided, "1xT"}},

      // Open-ended patterns are printed, but never complete.
      {"1x.", "12", 0, {kUndecided, "1x."}},
      {"1x.|12", "12", 0, {kComplete, "12"}},
      {"1.|1", "1", 0, {kUndecided, "1."}},
      {"1|1.", "1", 0, {kComplete, "1"}},
      {"1T.", "1", 1, {kUndecided, "1T."}},
      {"1.T", "1", 1, {kComplete, "1.T"}},
      {"1.2", "12", 0, {kComplete, "1.2"}},

      {"2|111|3", "11", 0, {kUndecided, kNothing}},
      {"2|3", "11", 0, {kNoMatch, kNothing}},
      {"1|11|2", "11", 0, {kComplete, "11"}},
      {"1|2|3", "11", 0, {kNoMatch, kNothing}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(testing::Message() << row.map << " against '" << row.dialled << "', timer " << row.timer);
    ASSERT_EQ(set(row.map), 1);
    EXPECT_EQ(check(kBest, row.dialled, row.timer), row.answer);
  }
}

// A pattern with repetitions is as specific as its first complete expansion: the one in which earlier repetitions stand
// for as few digits as possible.
TEST_F(DigitMapTest, ComparesTheFirstCompleteExpansion) {
  const struct {
    const char* map;
    const char* dialled;
    const char* winner;
  } kCases[] = {
      // x.1. expands to 11, not to x1 or xx.
      {"1[12]T|x.1.T", "11", "x.1.T"},
      {"11T|x.1.T", "11", "11T"},
      {"[12]1T|x.1.T", "11", "x.1.T"},
      // 1.x. expands to xx, not to 1x or 11.
      {"1.x.T|[1-5][1-5]T", "11", "[1-5][1-5]T"},
      {"1.x.T|1xT", "11", "1xT"},
      // x.1.[12]. expands to [12][12], not to 1[12].
      {"x.1.[12].T|1[1-3]T", "12", "1[1-3]T"},
      {"x.1.[12].T|[1-3]2T", "12", "x.1.[12].T"},
      // x.2.1. expands to 2111.
      {"x.2.1.T|[12]111T", "2111", "x.2.1.T"},
      {"211[12]T|x.2.1.T", "2111", "x.2.1.T"},
      // x.2 expands to xxx2; it has no shorter complete expansion.
      {"x.2T|[1-9][1-9][1-9]xT", "1112", "[1-9][1-9][1-9]xT"},
      {"xxx[12]T|x.2T", "1112", "x.2T"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(testing::Message() << row.map << " against " << row.dialled);
    ASSERT_EQ(set(row.map), 1);
    EXPECT_EQ(check(kBest, row.dialled, 1), (Answer{kComplete, row.winner}));
  }
}

// If a pattern may still grow, each of its repetitions stands for as many digits as were dialled.
TEST_F(DigitMapTest, ComparesTheLongestExpansionThatMayGrow) {
  const struct {
    const char* map;
    const char* dialled;
    Answer answer;
  } kCases[] = {
      {"12|1x.T", "12", {kComplete, "12"}},          // 12 against 1xx
      {"1x|1x.T", "12", {kUndecided, "1x"}},         // 1x against 1xx
      {"1x|x.1T", "12", {kComplete, "1x"}},          // 1x against xx1
      {"xx|1.x.T", "11", {kUndecided, "xx"}},        // xx against 11xx
      {"1[12]|1.x.T", "11", {kUndecided, "1[12]"}},  // 1[12] against 11xx
      {"11|1.x.T", "11", {kUndecided, "11"}},        // 11 against 11xx
      {"11|x.1.T", "11", {kComplete, "11"}},         // 11 against xx11
      {"1x|1x.T|[12].x.T", "11", {kUndecided, "1x"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(testing::Message() << row.map << " against " << row.dialled);
    ASSERT_EQ(set(row.map), 1);
    EXPECT_EQ(check(kBest, row.dialled), row.answer);
  }
}

// ---- the text of the pattern ----

class DigitMapOutTest : public DigitMapTest {
 protected:
  // Returns the whole buffer after a check that was given only `size` bytes of it.
  std::string out_after(int mode, const char* dialled, uint32_t size) {
    std::array<char, 16> out;
    out.fill('~');
    result_ = NUV_DigitMap_checkDialString(&map_, mode, dialled, 0, out.data(), size);
    return {out.data(), out.size()};
  }

  int result_ = -1;
};

TEST_F(DigitMapOutTest, CutsTheTextToTheBuffer) {
  EXPECT_EQ(set("1[2-3]x"), 1);
  const struct {
    uint32_t size;
    std::string out;
  } kCases[] = {
      {0, times(16, "~")},
      {1, std::string("\0", 1) + times(15, "~")},
      {2, std::string("1\0", 2) + times(14, "~")},
      {7, std::string("1[2-3]\0", 7) + times(9, "~")},
      {8, std::string("1[2-3]x\0", 8) + times(8, "~")},
      {9, std::string("1[2-3]x\0", 8) + times(8, "~")},
      {16, std::string("1[2-3]x\0", 8) + times(8, "~")},
  };
  for (const auto& row : kCases) {
    for (const int mode : {kFirst, kBest}) {
      SCOPED_TRACE(testing::Message() << "mode " << mode << ", size " << row.size);
      EXPECT_EQ(out_after(mode, "123", row.size), row.out);
      EXPECT_EQ(result_, kComplete);
    }
  }
}

TEST_F(DigitMapOutTest, AcceptsSizesAboveIntMax) {
  EXPECT_EQ(set("1[2-3]x"), 1);
  for (const uint32_t size : {static_cast<uint32_t>(INT_MAX), 0x80000000U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(size);
    EXPECT_EQ(out_after(kFirst, "123", size), std::string("1[2-3]x\0", 8) + times(8, "~"));
  }
}

TEST_F(DigitMapOutTest, NeedsNoBuffer) {
  EXPECT_EQ(set("1|x|xT|1x"), 1);
  for (const uint32_t size : {0U, 16U, 0xFFFFFFFFU}) {
    EXPECT_EQ(NUV_DigitMap_checkDialString(&map_, kFirst, "1", 0, nullptr, size), kComplete);
    EXPECT_EQ(NUV_DigitMap_checkDialString(&map_, kBest, "2", 0, nullptr, size), kUndecided);
    EXPECT_EQ(NUV_DigitMap_checkDialString(&map_, kBest, "12", 0, nullptr, size), kComplete);
  }
}

TEST_F(DigitMapOutTest, WritesNothingWithoutACompletePattern) {
  EXPECT_EQ(set("123|2T|3"), 1);
  for (const int mode : {kFirst, kBest}) {
    for (const char* dialled : {"1", "2", "4", "33"}) {
      EXPECT_EQ(out_after(mode, dialled, 16), times(16, "~")) << dialled;
    }
  }
}

// The rest of a longer text behind a shorter one shows what was printed before.
TEST_F(DigitMapOutTest, FirstMatchPrintsOnlyThePatternThatEndsTheSearch) {
  EXPECT_EQ(set("2|11[1]|[1]1[1]|1"), 1);
  EXPECT_EQ(out_after(kFirst, "111", 16), std::string("11[1]\0", 6) + times(10, "~"));
}

TEST_F(DigitMapOutTest, BestMatchPrintsEachCompletePatternAndFinallyTheWinner) {
  EXPECT_EQ(set("[1]x[1-2]|xxx|11x|111x|2"), 1);
  EXPECT_EQ(out_after(kBest, "111", 16), std::string("11x\0[1-2]\0", 10) + times(6, "~"));
  EXPECT_EQ(result_, kUndecided) << "111x may still match, so no winner is printed after the last complete pattern";

  EXPECT_EQ(set("1[0-9][1-2]|11x|[1-3]xx|2"), 1);
  EXPECT_EQ(out_after(kBest, "111", 16), std::string("11x\0]xx\0-2]\0", 12) + times(4, "~"));
  EXPECT_EQ(result_, kComplete) << "the winner overwrites the others";
}

TEST_F(DigitMapOutTest, BestMatchAlsoPrintsAnOpenEndedWinner) {
  EXPECT_EQ(set("11.|x1"), 1);
  EXPECT_EQ(out_after(kBest, "11", 16), std::string("11.\0", 4) + times(12, "~"));
  EXPECT_EQ(result_, kUndecided);
}

TEST_F(DigitMapOutTest, DoesNotUseThePatternAsFormat) {
  EXPECT_EQ(set("##*"), 1);
  EXPECT_EQ(out_after(kFirst, "##*", 16), std::string("##*\0", 4) + times(12, "~"));
}

// ---- without memory ----

TEST_F(DigitMapTest, SetMapWithoutMemoryKeepsThePatternsReadSoFar) {
  const Texts all = {"1", "2xT", "[3-5]"};
  int without_symbols = 0;
  int failures = 0;
  each_fault("malloc", {ENOMEM}, [&](Fault& fault) {
    ASSERT_EQ(set("9|9|9|9"), 1);
    const int result = fault.during([this] { return NUV_DigitMap_setMap(&map_, "1|2xT|[3-5]"); });
    const Texts kept = texts();
    ASSERT_LE(kept.size(), all.size());
    EXPECT_EQ(kept, Texts(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(kept.size())));
    EXPECT_EQ(result == 1, kept.size() == all.size());
    int lacking = 0;
    for (const NUV_DigitMapPattern* pattern = map_; pattern != nullptr; pattern = pattern->m_pNext) {
      lacking += pattern->m_uCount == 0 ? 1 : 0;
    }
    // A failure either cuts the map short or leaves one pattern without symbols.
    EXPECT_EQ((result == 0 ? 1 : 0) + lacking, fault.has_struck() ? 1 : 0);
    without_symbols += lacking;
    failures += result == 0 ? 1 : 0;
    if (fault.nth() == 1) {
      EXPECT_EQ(map_, nullptr) << "the text cannot be copied, but the former map is removed";
    }
    EXPECT_EQ(set("1|2xT|[3-5]"), 1);
    EXPECT_EQ(texts(), all);
    NUV_DigitMap_destruct(&map_);
  });
  EXPECT_EQ(without_symbols, 3);
  EXPECT_EQ(failures, 1 + 1 + 3) << "the map's text, the block for the patterns, and each pattern's record";
}

TEST_F(DigitMapTest, AddMapWithoutMemoryKeepsTheMap) {
  int without_symbols = 0;
  const int calls = each_fault("malloc", {ENOMEM}, [&](Fault& fault) {
    ASSERT_EQ(set("1|2"), 1);
    const int result = fault.during([this] { return NUV_DigitMap_addMap(&map_, "3T"); });
    EXPECT_EQ(texts(), result == 1 ? (Texts{"1", "2", "3T"}) : (Texts{"1", "2"}));
    without_symbols += result == 1 && fault.has_struck() ? 1 : 0;
    EXPECT_EQ(add("4"), 1);
    NUV_DigitMap_destruct(&map_);
  });
  EXPECT_EQ(without_symbols, 1);
  EXPECT_EQ(calls, 3) << "the copy of the text, record and symbols";
}

TEST_F(DigitMapTest, PatternWithoutSymbolsMatchesNothingDialled) {
  bool struck = true;
  for (int n = 1; struck && map_ == nullptr; ++n) {
    const FaultInjector no_memory("malloc", n, ENOMEM);
    NUV_DigitMap_addMap(&map_, "1x.");
    struck = no_memory.has_struck();
  }
  ASSERT_TRUE(struck) << "only without its symbols is a pattern added anyway";
  EXPECT_EQ(map_->m_pSymbols, nullptr);
  EXPECT_EQ(map_->m_uCount, 0U);
  EXPECT_EQ(check(kFirst, ""), (Answer{kComplete, "1x."}));
  EXPECT_EQ(check(kFirst, "1"), (Answer{kNoMatch, kNothing}));
  EXPECT_EQ(check(kBest, "1"), (Answer{kNoMatch, kNothing}));
  CapturedStdout out;
  NUV_DigitMap_dumpMap(&map_);
  EXPECT_EQ(out.take(), "---------------\nOrigString: 1x.\nTimeout: 0\nSymbols:  \n---------------\n");
}

// ---- long patterns, long dial strings, many repetitions ----

// Trying all expansions of this pattern would take centuries.
TEST_F(DigitMapTest, DecidesPatternsWithManyRepetitions) {
  const std::string pattern = "[0-9].x.x.x.x.x.x.x.x.T";
  const std::string thirty = times(3, "0123456789");
  ASSERT_EQ(set(pattern), 1);
  for (const int mode : {kFirst, kBest}) {
    SCOPED_TRACE(mode);
    EXPECT_EQ(check(mode, "", 0), (Answer{kUndecided, kNothing}));
    EXPECT_EQ(check(mode, "", 1), (Answer{kComplete, pattern}));
    EXPECT_EQ(check(mode, thirty, 0), (Answer{kUndecided, kNothing}));
    EXPECT_EQ(check(mode, thirty, 1), (Answer{kComplete, pattern}));
    EXPECT_EQ(check(mode, thirty + "#", 0), (Answer{kNoMatch, kNothing}));
    EXPECT_EQ(check(mode, thirty + "#", 1), (Answer{kNoMatch, kNothing}));
    EXPECT_EQ(check(mode, "#" + thirty, 1), (Answer{kNoMatch, kNothing}));
  }

  // It expands to 30 times x, and is as specific as that: less than 29 times x and a digit.
  ASSERT_EQ(set(pattern + "|" + times(30, "x") + "T"), 1);
  EXPECT_EQ(check(kBest, thirty, 1), (Answer{kComplete, pattern}));
  ASSERT_EQ(set(pattern + "|" + times(29, "x") + "9T"), 1);
  EXPECT_EQ(check(kBest, thirty, 1), (Answer{kComplete, times(29, "x") + "9T"}));
  ASSERT_EQ(set(pattern + "|" + times(31, "x") + "T"), 1);
  EXPECT_EQ(check(kBest, thirty, 1), (Answer{kUndecided, pattern}));
}

TEST_F(DigitMapTest, ChecksOrdinaryMapsWithoutTheHeap) {
  ASSERT_EQ(set("0x.T|110|[1-9]xxx|*x.#|[0-9].x.x.x.x.x.x.x.x.T|00[1-9]xxxxx.T|" + times(60, "x")), 1);
  for (const std::string& dialled : {std::string("0123"), std::string("110"), std::string("*21#"),
                                     times(3, "0123456789"), times(60, "1"), std::string()}) {
    for (const int mode : {kFirst, kBest}) {
      for (const uint32_t timer : {0U, 1U}) {
        std::array<char, 64> out;
        const FaultInjector counter("malloc", INT_MAX, 0);
        NUV_DigitMap_checkDialString(&map_, mode, dialled.c_str(), timer, out.data(), out.size());
        EXPECT_EQ(counter.calls(), 0) << dialled << ", mode " << mode << ", timer " << timer;
      }
    }
  }
}

TEST_F(DigitMapTest, AllocatesOnlyIfTheStackBufferIsTooSmall) {
  const struct {
    const char* pattern;
    int digits;
    int calls;
  } kCases[] = {
      {"1.", 1023, 0}, {"1.", 1024, 1},  // 2 * 1024 cells fit
      {"11.", 681, 0}, {"11.", 682, 1},  // 3 * 683 is one too many
      {"11", 5000, 0},                   // nothing repeats
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(testing::Message() << row.pattern << " against " << row.digits << " digits");
    ASSERT_EQ(set(row.pattern), 1);
    const std::string dialled = times(row.digits, "1");
    for (const int mode : {kFirst, kBest}) {
      const FaultInjector counter("malloc", INT_MAX, 0);
      std::array<char, 8> out;
      const int result = NUV_DigitMap_checkDialString(&map_, mode, dialled.c_str(), 0, out.data(), out.size());
      EXPECT_EQ(counter.calls(), row.calls);
      EXPECT_EQ(result, row.digits == 5000 ? kNoMatch : mode == kFirst ? kComplete : kUndecided);
    }
  }
}

TEST_F(DigitMapTest, PatternWithoutMemoryIsUndecided) {
  const std::string pattern = times(40, "1") + "1.";
  const std::string dialled = times(60, "1");
  ASSERT_EQ(set(pattern + "T|" + pattern + "2T|2"), 1);
  EXPECT_EQ(check(kBest, dialled, 1), (Answer{kUndecided, pattern + "T"}));
  for (const int mode : {kFirst, kBest}) {
    SCOPED_TRACE(mode);
    std::array<char, 64> out;
    out.fill('~');
    const FaultInjector no_memory("malloc", 1, ENOMEM);
    EXPECT_EQ(NUV_DigitMap_checkDialString(&map_, mode, dialled.c_str(), 1, out.data(), out.size()), kUndecided);
    EXPECT_TRUE(no_memory.has_struck());
    EXPECT_EQ(out[0], '~');
  }
  // The patterns after it are checked anyway.
  ASSERT_EQ(set(pattern + "T|" + times(60, "1") + "T"), 1);
  for (const int mode : {kFirst, kBest}) {
    SCOPED_TRACE(mode);
    std::array<char, 64> out;
    const FaultInjector no_memory("malloc", 1, ENOMEM);
    EXPECT_EQ(NUV_DigitMap_checkDialString(&map_, mode, dialled.c_str(), 1, out.data(), out.size()),
              mode == kFirst ? kComplete : kUndecided);
    EXPECT_STREQ(out.data(), (times(60, "1") + "T").c_str());
  }
}

// Both patterns are complete and need memory; one that gets none counts as undecided.
TEST_F(DigitMapTest, ChecksWithoutMemoryKeepTheMap) {
  const std::string pattern = times(40, "1") + "1.";
  const std::string dialled = times(60, "1");
  ASSERT_EQ(set(pattern + "T|" + pattern + "xT"), 1);
  const struct {
    int mode;
    Answer without;
    int calls;
  } kCases[] = {
      {kFirst, {kComplete, pattern + "xT"}, 1},
      {kBest, {kUndecided, kNothing}, 2},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.mode);
    const int calls = each_fault("malloc", {ENOMEM}, [&](Fault& fault) {
      const Answer answer = fault.during([&] { return check(row.mode, dialled, 1); });
      EXPECT_EQ(answer.result, fault.has_struck() ? row.without.result : kComplete);
      EXPECT_EQ(check(row.mode, dialled, 1), (Answer{kComplete, pattern + "T"}));
    });
    EXPECT_EQ(calls, row.calls);
  }
}

// ---- the library against the model ----

// One map, kept by the library and by the model.
class Twins {
 public:
  explicit Twins(const std::string& text) {
    NUV_DigitMap_construct(&map_);
    const int result = NUV_DigitMap_setMap(&map_, text.c_str());
    EXPECT_EQ(result, model_.set_map(text) ? 1 : 0) << text;
    const NUV_DigitMapPattern* pattern = map_;
    for (const DigitMapModel::Pattern& expected : model_.patterns()) {
      const bool equal = pattern != nullptr && pattern->m_pText == expected.text &&
                         pattern->m_bTimer == expected.timer && pattern->m_uCount == expected.symbols.size() &&
                         std::equal(expected.symbols.begin(), expected.symbols.end(), pattern->m_pSymbols);
      EXPECT_TRUE(equal) << expected.text << " of " << text;
      if (!equal) {
        return;
      }
      pattern = pattern->m_pNext;
    }
    EXPECT_EQ(pattern, nullptr) << text;
  }
  ~Twins() { NUV_DigitMap_destruct(&map_); }
  Twins(const Twins&) = delete;
  Twins& operator=(const Twins&) = delete;

  bool empty() const { return map_ == nullptr; }

  // Both must return the same result and write the same bytes. Returns the result, or -1 if they differ.
  int check(int mode, const std::string& dialled, uint32_t timer, uint32_t out_size) {
    std::array<char, 48> out;
    std::array<char, 48> expected;
    out.fill('~');
    expected.fill('~');
    const int result = NUV_DigitMap_checkDialString(&map_, mode, dialled.c_str(), timer, out.data(), out_size);
    const int expected_result = model_.check(mode, dialled, timer, expected.data(), out_size);
    if (result == expected_result && out == expected) {
      return result;
    }
    ADD_FAILURE() << "map " << text() << ", mode " << mode << ", dialled '" << dialled << "', timer " << timer
                  << ": result " << result << " instead of " << expected_result << ", text "
                  << std::string(out.data(), out.size()) << " instead of "
                  << std::string(expected.data(), expected.size());
    return -1;
  }

 private:
  std::string text() const {
    std::string all;
    for (const DigitMapModel::Pattern& pattern : model_.patterns()) {
      all += pattern.text + "|";
    }
    return all;
  }

  DigitMap map_ = nullptr;
  DigitMapModel model_;
};

// Counts the results, because a comparison that never sees one of them would prove little.
class Tally {
 public:
  void count(int result) { ++counts_.at(static_cast<size_t>(result < 0 ? kDiffers : result)); }

  bool differs() const { return counts_[kDiffers] != 0; }
  int of(int result) const { return counts_.at(static_cast<size_t>(result)); }

  void expect_each_at_least(int number) const {
    EXPECT_GE(of(kUndecided), number);
    EXPECT_GE(of(kComplete), number);
    EXPECT_GE(of(kNoMatch), number);
  }

 private:
  static constexpr int kDiffers = 2;  // not a result of a check

  std::array<int, 4> counts_ = {};
};

// All texts of at most `length` pieces.
Texts all_texts(const Texts& pieces, int length) {
  Texts texts = {""};
  size_t begin = 0;
  for (int i = 0; i < length; ++i) {
    const size_t end = texts.size();
    for (; begin < end; ++begin) {
      for (const std::string& piece : pieces) {
        texts.push_back(texts[begin] + piece);
      }
    }
  }
  return texts;
}

// Random numbers that are the same on every machine and in every run.
class Dice {
 public:
  explicit Dice(uint32_t seed) : engine_(seed) {}

  int below(int limit) { return static_cast<int>(engine_() % static_cast<uint32_t>(limit)); }

  std::string text(const Texts& pieces, int min_length, int max_length) {
    std::string result;
    for (int i = min_length + below(max_length - min_length + 1); i > 0; --i) {
      result += pieces[static_cast<size_t>(below(static_cast<int>(pieces.size())))];
    }
    return result;
  }

 private:
  std::mt19937 engine_;
};

void check_all(Twins& twins, const Texts& dial_strings, Tally& tally) {
  for (const std::string& dialled : dial_strings) {
    for (const int mode : {kFirst, kBest}) {
      for (const uint32_t timer : {0U, 1U}) {
        tally.count(twins.check(mode, dialled, timer, 40));
        if (tally.differs()) {
          return;
        }
      }
    }
  }
}

TEST(DigitMapModelTest, AgreesOnAllSmallPatterns) {
  const ContractRecorder contracts;
  const Texts dial_strings = all_texts({"1", "2", "3", "#"}, 3);
  Tally tally;
  for (const std::string& pattern : all_texts({"1", "2", "x", "[12]", ".", "T"}, 4)) {
    Twins twins(pattern);
    if (!twins.empty()) {
      check_all(twins, dial_strings, tally);
    }
    ASSERT_FALSE(HasFailure()) << pattern;
  }
  tally.expect_each_at_least(5000);
}

TEST(DigitMapModelTest, AgreesOnAllSmallDialStrings) {
  const ContractRecorder contracts;
  const Texts dial_strings = all_texts({"1", "2", "3"}, 4);
  Tally tally;
  for (const std::string& pattern : all_texts({"1", "2", "x", "[12]", "1.", "x.", "T"}, 3)) {
    Twins twins(pattern);
    check_all(twins, dial_strings, tally);
    ASSERT_FALSE(HasFailure()) << pattern;
  }
  tally.expect_each_at_least(5000);
}

TEST(DigitMapModelTest, AgreesOnAllPairsOfSmallPatterns) {
  const ContractRecorder contracts;
  const Texts dial_strings = all_texts({"1", "2"}, 3);
  const Texts patterns = all_texts({"1", "x", "[12]", "1.", "x.", "T"}, 2);
  Tally tally;
  for (const std::string& a : patterns) {
    for (const std::string& b : patterns) {
      Twins twins(a + "|" + b);
      check_all(twins, dial_strings, tally);
      ASSERT_FALSE(HasFailure()) << a << "|" << b;
    }
  }
  tally.expect_each_at_least(5000);
}

TEST(DigitMapModelTest, AgreesOnRandomMaps) {
  const ContractRecorder contracts;
  const Texts pieces = {"1", "2", "#", "x", "[12]", "[1-3]", "1.", "x.", "[12].", "T"};
  const Texts digits = {"1", "1", "1", "2", "2", "3", "#", "E"};
  Dice dice(20240229);
  Tally tally;
  for (int i = 0; i < 4000; ++i) {
    std::string map = dice.text(pieces, 1, 5);
    for (int more = 1 + dice.below(2); more > 0; --more) {
      map += "|" + dice.text(pieces, 1, 5);
    }
    Twins twins(map);
    for (int j = 0; j < 5; ++j) {
      const std::string dialled = dice.text(digits, 0, 5);
      const auto out_size = static_cast<uint32_t>(dice.below(10) == 0 ? dice.below(8) : 40);
      for (const int mode : {kFirst, kBest}) {
        for (const uint32_t timer : {0U, 1U, 2U, 256U}) {
          tally.count(twins.check(mode, dialled, timer, out_size));
        }
      }
    }
    ASSERT_FALSE(HasFailure()) << map;
  }
  tally.expect_each_at_least(5000);
}

// All patterns are complete at the same time, so only their expansions decide which one is printed.
TEST(DigitMapModelTest, AgreesOnTheWinnerAmongCompletePatterns) {
  const ContractRecorder contracts;
  const Texts repeated = {"1.", "2.", "x.", "[12].", "[1-3].", "[1-4]."};
  const Texts single = {"1", "2", "x", "[12]", "[1-3]", "[1-4]"};
  Dice dice(7);
  Tally tally;
  for (int i = 0; i < 4000; ++i) {
    const int length = 2 + dice.below(3);
    const std::string dialled = dice.text({"1", "2"}, length, length);
    std::string map;
    for (int j = 0; j < 3; ++j) {
      map += dice.text(repeated, 2, 3) + dice.text(single, 0, 1) + "T|" + dice.text(single, length, length) + "T|";
    }
    Twins twins(map);
    tally.count(twins.check(kBest, dialled, 1, 40));
    ASSERT_FALSE(HasFailure()) << map;
  }
  EXPECT_GT(tally.of(kComplete), 3000);
}

TEST(DigitMapModelTest, AgreesOnPatternsAndDialStringsThatNeedMemory) {
  const ContractRecorder contracts;
  Dice dice(99);
  Tally tally;
  for (int i = 0; i < 30; ++i) {
    std::string map;
    for (int j = 0; j < 3; ++j) {
      const int repeated_at = dice.below(40);
      map += times(repeated_at, "1") + dice.text({"1.", "x.", "[12].", "2."}, 1, 2) + times(40 - repeated_at, "1") +
             dice.text({"x", "2", "T"}, 1, 2) + "|";
    }
    Twins twins(map);
    const std::string dialled = times(52 + dice.below(4), "1") + dice.text({"1", "2", "3"}, 0, 2);
    for (const int mode : {kFirst, kBest}) {
      for (const uint32_t timer : {0U, 1U}) {
        tally.count(twins.check(mode, dialled, timer, 40));
      }
    }
    ASSERT_FALSE(HasFailure()) << map;
  }
  tally.expect_each_at_least(5);
}

TEST(DigitMapModelTest, ReadsRandomTextsAlike) {
  const ContractRecorder contracts;
  const std::string characters = "0123456789ABCD#*xXT..[[]]]--|| ()a\t";
  Texts pieces;
  for (const char c : characters) {
    pieces.emplace_back(1, c);
  }
  pieces.insert(pieces.end(), {"[1-5]", "[29]", "[*-0]", "x.", "[1"});
  Dice dice(4711);
  int valid = 0;
  for (int i = 0; i < 30000; ++i) {
    const std::string text = dice.text(pieces, 0, 8);
    const Twins twins(text);
    valid += twins.empty() ? 0 : 1;
    ASSERT_FALSE(HasFailure()) << text;
  }
  EXPECT_GT(valid, 5000);
}

}  // namespace
