// The logging macros, as C and as C++ expand them.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "doubles/trace_fixture.h"
#include "log_macro_calls.h"
#include "nuv_sysloglevel.h"
#include "nuv_utility.h"

namespace {

using support::Report;
using support::Reports;
using support::require_report;
using Texts = std::vector<std::string>;

const LogMacroCalls kCallsInCpp = {log_with_arguments, log_without_arguments, log_in_branches, log_counting,
                                   log_with_text};

struct Language {
  const char* name;
  const LogMacroCalls* calls;
};

class SysloglevelMacrosTest : public support::TraceTest, public ::testing::WithParamInterface<Language> {
 protected:
  SysloglevelMacrosTest() : calls_(*GetParam().calls) {
    NUV_Sysloglevel_construct("");
    module_ = NUV_Sysloglevel_registerModul("Line");
    set_mask(1023);
  }

  static void set_mask(uint32_t mask) { NUV_Sysloglevel_changeTracelevel("Line", mask); }

  static std::string place(int line) { return "log_macro_calls.h:" + std::to_string(line); }

  const LogMacroCalls& calls_;
  int module_;
};

TEST_P(SysloglevelMacrosTest, AddFileAndLineAndFormat) {
  const int first = calls_.with_arguments(module_);
  EXPECT_EQ(
      take_log_texts(),
      (Texts{"info:Line   one 1", "trace:Line   two 2", "debug:Line: " + place(first + 2) + "   three 3",
             "dump:Line: four: AB CD EF", "warning:Line   five 5", "error:Line: " + place(first + 5) + "   six 6",
             "Line: seven 7", "tracemf: from:8 -->message--> to:9  RX",
             "tracect:Line: " + place(first + 8) + "   nine 9", "tracedo:Line: " + place(first + 9) + "   ten 10"}));
}

TEST_P(SysloglevelMacrosTest, NeedNoArgumentsAfterTheFormat) {
  const int first = calls_.without_arguments(module_);
  EXPECT_EQ(
      take_log_texts(),
      (Texts{"info:Line   info", "trace:Line   trace", "debug:Line: " + place(first + 2) + "   debug",
             "warning:Line   warning", "error:Line: " + place(first + 4) + "   error", "Line: guioutput",
             "tracect:Line: " + place(first + 6) + "   tracect", "tracedo:Line: " + place(first + 7) + "   tracedo"}));
}

TEST_P(SysloglevelMacrosTest, EachHasItsBitOfTheMask) {
  const char* const kHeads[] = {
      "info:", "trace:", "debug:", "dump:", "warning:", "error:", "Line: ", "tracemf:", "tracect:", "tracedo:"};
  for (size_t type = 0; type < std::size(kHeads); ++type) {
    SCOPED_TRACE(kHeads[type]);
    set_mask(1U << type);
    calls_.with_arguments(module_);
    const Texts texts = take_log_texts();
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_TRUE(texts[0].starts_with(kHeads[type])) << texts[0];
  }
}

TEST_P(SysloglevelMacrosTest, AreOneStatementEach) {
  for (int taken = 0; taken < 10; ++taken) {
    SCOPED_TRACE(taken);
    set_mask(1U << taken);
    calls_.in_branches(module_, taken);
    const Texts texts = take_log_texts();
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_EQ(texts[0].find("none of them"), std::string::npos);
    set_mask(~(1U << taken));
    calls_.in_branches(module_, taken);
    EXPECT_TRUE(take_log().empty());
  }
  calls_.in_branches(module_, 10);
  EXPECT_EQ(take_log_texts(), Texts{"error:Line: :0   none of them"});
}

TEST_P(SysloglevelMacrosTest, EvaluateTheirArgumentsOnce) {
  int counts[2] = {0, 0};
  calls_.counting(module_, counts);
  EXPECT_EQ(counts[0], 10);
  EXPECT_EQ(counts[1], 8 + 3 + 6);
  EXPECT_EQ(take_log().size(), 10U);
}

TEST_P(SysloglevelMacrosTest, EvaluateOnlyTheHandleForASuppressedLine) {
  set_mask(0);
  int counts[2] = {0, 0};
  calls_.counting(module_, counts);
  EXPECT_EQ(counts[0], 10);
  EXPECT_EQ(counts[1], 0);
  EXPECT_TRUE(take_log().empty());
}

TEST_P(SysloglevelMacrosTest, CutTheTextAt511Characters) {
  for (const size_t length : {0U, 1U, 510U, 511U, 512U, 513U, 2000U}) {
    SCOPED_TRACE(length);
    const std::string text(length, 'x');
    calls_.with_text(module_, text.c_str());
    EXPECT_EQ(take_log_texts(), Texts{"Line: " + text.substr(0, 511)});
  }
}

TEST_P(SysloglevelMacrosTest, LeaveTheSharedBufferAlone) {
  const char* shared = VAStr("%s", "still here");
  calls_.with_arguments(module_);
  EXPECT_STREQ(shared, "still here");
}

// An unregistered module is logged and reported even if all masks are 0.
TEST_P(SysloglevelMacrosTest, ReportAnUnregisteredModule) {
  set_mask(0);
  for (const int handle : {-1, INT_MIN}) {
    const int first = calls_.with_arguments(handle);
    const std::string located = "error:sysloglevel: Module not registered for message: ";
    const std::string unlocated = "error:sysloglevel   Module not registered for message: ";
    EXPECT_EQ(take_trace_texts(),
              (Texts{unlocated + "one 1", unlocated + "two 2", located + place(first + 2) + "   three 3",
                     located + "four: AB CD EF", unlocated + "five 5", located + place(first + 5) + "   six 6",
                     located + "seven 7", located + "from:8 -->message--> to:9  RX",
                     located + place(first + 8) + "   nine 9", located + place(first + 9) + "   ten 10"}));
    size_t reports = 0;
    for (const Report& report : contracts_.take()) {
      reports += report == require_report(kFile, "(int)a_ModulHandle >= 0") ? 1 : 0;
    }
    EXPECT_EQ(reports, 10U);
  }
}

// Only the test of the mask reports it; the line is not written.
TEST_P(SysloglevelMacrosTest, ReportAHandlePastTheRegistryOnce) {
  for (const int handle : {60, INT_MAX}) {
    calls_.with_arguments(handle);
    EXPECT_EQ(contracts_.take(), Reports(10, require_report(kFile, "a_modulHandle < 60")));
    EXPECT_EQ(take_trace_texts(), Texts{});
  }
}

INSTANTIATE_TEST_SUITE_P(Language, SysloglevelMacrosTest,
                         ::testing::Values(Language{"C", &kLogMacroCallsInC}, Language{"Cpp", &kCallsInCpp}),
                         [](const auto& language) { return std::string(language.param.name); });

}  // namespace
