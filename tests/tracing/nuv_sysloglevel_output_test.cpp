// The exact lines of the trace facility.
#include <gtest/gtest.h>
#include <syslog.h>

#include <array>
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "doubles/first_report.h"
#include "doubles/trace_fixture.h"
#include "nuv_sysloglevel.h"
#include "tracing/nuv_sysloglevel_internal.h"

namespace {

using support::Reports;
using support::require_report;
using support::SyslogLine;
using Texts = std::vector<std::string>;

constexpr char kIsRegistered[] = "(int)a_ModulHandle >= 0";
constexpr char kIsNotNegative[] = "a_modulHandle >= 0";
constexpr char kIsBelowSixty[] = "a_modulHandle < 60";

enum class Form { kShort, kLocated, kGui };

// The operations that write a text.
struct Operation {
  const char* name;
  void (*call)(int handle, const char* file, uint32_t line, const char* text);
  uint32_t bit;
  int priority;
  Form form;
};

constexpr Operation kOperations[] = {
    {"info", NUV_Sysloglevel_info, 1, 13, Form::kShort},
    {"trace", NUV_Sysloglevel_trace, 2, 15, Form::kShort},
    {"debug", NUV_Sysloglevel_debug, 4, 15, Form::kLocated},
    {"warning", NUV_Sysloglevel_warning, 16, 12, Form::kShort},
    {"error", NUV_Sysloglevel_error, 32, 11, Form::kLocated},
    {"guioutput", NUV_Sysloglevel_guioutput, 64, 11, Form::kGui},
    {"tracect", NUV_Sysloglevel_tracect, 256, 15, Form::kLocated},
    {"tracedo", NUV_Sysloglevel_tracedo, 512, 15, Form::kLocated},
};

class SysloglevelLinesTest : public support::TraceTest {
 protected:
  static constexpr std::array kOutputs = {Output::kLog, Output::kConsole, Output::kBoth, Output::kNowhere};

  SysloglevelLinesTest() {
    NUV_Sysloglevel_construct("");
    module_ = NUV_Sysloglevel_registerModul("Line");
  }

  static bool logs(Output output) { return output == Output::kLog || output == Output::kBoth; }
  static bool prints(Output output) { return output == Output::kConsole || output == Output::kBoth; }

  static void set_mask(uint32_t mask) { NUV_Sysloglevel_changeTracelevel("Line", mask); }

  std::string take_printed() { return without_source_lines(console_.take()); }

  int module_;
};

// Reports and lines for invalid handles.
using SysloglevelLinesContracts = SysloglevelLinesTest;

TEST_F(SysloglevelLinesTest, WritesALineForEachType) {
  const char* const kLines[] = {
      "info:Line   boom",
      "trace:Line   boom",
      "debug:Line: line.c:7   boom",
      "warning:Line   boom",
      "error:Line: line.c:7   boom",
      "Line: boom",
      "tracect:Line: line.c:7   boom",
      "tracedo:Line: line.c:7   boom",
  };
  for (size_t i = 0; i < std::size(kOperations); ++i) {
    const Operation& operation = kOperations[i];
    SCOPED_TRACE(operation.name);
    set_mask(operation.bit);
    for (const Output output : kOutputs) {
      use(output);
      operation.call(module_, "user/source/line.c", 7, "boom");
      const std::vector<SyslogLine> logged = {line(operation.priority, kLines[i])};
      EXPECT_EQ(take_log(), logs(output) ? logged : std::vector<SyslogLine>{});
      const std::string printed = std::string(kStamp) + ":" + kLines[i] + "\n";
      EXPECT_EQ(console_.take(), prints(output) ? printed : "");
    }
  }
}

TEST_F(SysloglevelLinesTest, WritesNothingWithoutItsBit) {
  use(Output::kBoth);
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.name);
    set_mask(~operation.bit);
    operation.call(module_, "line.c", 7, "boom");
    EXPECT_TRUE(take_log().empty());
    EXPECT_EQ(console_.take(), "");
  }
}

TEST_F(SysloglevelLinesTest, NewModuleWritesFourTypes) {
  for (const Operation& operation : kOperations) {
    operation.call(module_, "line.c", 7, "boom");
  }
  const uint8_t byte = 1;
  NUV_Sysloglevel_dump(module_, "line.c", 7, "frame", &byte, 1);
  NUV_Sysloglevel_tracemf(module_, "a", 1, "m", "b", 2, 0);
  EXPECT_EQ(take_log_texts(),
            (Texts{"info:Line   boom", "warning:Line   boom", "error:Line: line.c:7   boom", "Line: boom"}));
}

// Before a daemon has constructed the facility, there are no modules and no masks.
TEST_F(SysloglevelLinesTest, WritesNothingBeforeConstruct) {
  nuv::g_modules = {};
  use(Output::kBoth);
  for (const Operation& operation : kOperations) {
    operation.call(0, "line.c", 7, "boom");
  }
  const uint8_t byte = 1;
  NUV_Sysloglevel_dump(0, "line.c", 7, "frame", &byte, 1);
  NUV_Sysloglevel_tracemf(0, "a", 1, "m", "b", 2, 0);
  EXPECT_TRUE(take_log().empty());
  EXPECT_EQ(console_.take(), "");
}

TEST_F(SysloglevelLinesTest, PrintsTheBaseNameOfTheFile) {
  const struct {
    const char* path;
    const char* name;
  } kCases[] = {{"line.c", "line.c"},
                {"a/b/line.c", "line.c"},
                {"a\\b\\line.c", "line.c"},
                {"a/b\\line.c", "line.c"},
                {"a\\b/line.c", "line.c"},
                {"a/", ""},
                {"", ""},
                {nullptr, ""}};
  use(Output::kBoth);
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    NUV_Sysloglevel_error(module_, row.path, 7, "boom");
    const std::string text = std::string("error:Line: ") + row.name + ":7   boom";
    EXPECT_EQ(take_log_texts(), Texts{text});
    EXPECT_EQ(console_.take(), std::string(kStamp) + ":" + text + "\n");
  }
}

// Line numbers are signed in the system log.
TEST_F(SysloglevelLinesTest, PrintsLineNumbersOfAllSizes) {
  const struct {
    uint32_t line;
    const char* logged;
    const char* printed;
  } kCases[] = {{0, "0", "0"},
                {INT_MAX, "2147483647", "2147483647"},
                {0x80000000, "-2147483648", "2147483648"},
                {0xFFFFFFFF, "-1", "4294967295"}};
  use(Output::kBoth);
  for (const auto& row : kCases) {
    NUV_Sysloglevel_error(module_, "line.c", row.line, "boom");
    EXPECT_EQ(take_log_texts(), Texts{std::string("error:Line: line.c:") + row.logged + "   boom"});
    EXPECT_EQ(console_.take(), std::string(kStamp) + ":error:Line: line.c:" + row.printed + "   boom\n");
  }
}

TEST_F(SysloglevelLinesTest, WritesTextsUnchanged) {
  use(Output::kBoth);
  const std::string long_text(2000, 'x');
  for (const std::string& text : {std::string("100%s %n"), std::string(), std::string("two\nlines"), long_text}) {
    SCOPED_TRACE(text);
    NUV_Sysloglevel_info(module_, "%s", 7, text.c_str());
    NUV_Sysloglevel_error(module_, "%s", 7, text.c_str());
    NUV_Sysloglevel_guioutput(module_, "%s", 7, text.c_str());
    EXPECT_EQ(take_log_texts(), (Texts{"info:Line   " + text, "error:Line: %s:7   " + text, "Line: " + text}));
    const std::string stamp = std::string(kStamp) + ":";
    EXPECT_EQ(console_.take(), stamp + "info:Line   " + text + "\n" + stamp + "error:Line: %s:7   " + text + "\n" +
                                   stamp + "Line: " + text + "\n");
  }
}

TEST_F(SysloglevelLinesTest, NullTextsReadAsEmpty) {
  set_mask(1023);
  for (const Operation& operation : kOperations) {
    operation.call(module_, nullptr, 7, nullptr);
  }
  EXPECT_EQ(take_log_texts(), (Texts{"info:Line   ", "trace:Line   ", "debug:Line: :7   ", "warning:Line   ",
                                     "error:Line: :7   ", "Line: ", "tracect:Line: :7   ", "tracedo:Line: :7   "}));
}

TEST_F(SysloglevelLinesTest, EveryLineCarriesTheIdent) {
  NUV_Sysloglevel_construct2("", "phoned");
  EXPECT_EQ(NUV_Sysloglevel_registerModul("Line"), module_);
  set_mask(1023);
  const uint8_t bytes[17] = {};
  for (const Operation& operation : kOperations) {
    operation.call(module_, "line.c", 7, "boom");
  }
  NUV_Sysloglevel_dump(module_, "line.c", 7, "frame", bytes, sizeof bytes);
  NUV_Sysloglevel_tracemf(module_, "a", 1, "m", "b", 2, 0);
  const std::vector<SyslogLine> lines = take_log();
  EXPECT_EQ(lines.size(), std::size(kOperations) + 3);
  for (const SyslogLine& line : lines) {
    EXPECT_EQ(line.ident, "phoned");
    EXPECT_EQ(line.option, LOG_PID);
    EXPECT_EQ(line.facility, LOG_USER);
  }
}

TEST_F(SysloglevelLinesTest, EveryConsoleLineHasItsOwnTime) {
  use(Output::kConsole);
  NUV_Sysloglevel_info(module_, "line.c", 7, "one");
  clock_.set_wall({0, 999999});
  NUV_Sysloglevel_info(module_, "line.c", 7, "two");
  EXPECT_EQ(console_.take(), std::string(kStamp) + ":info:Line   one\nJan  1 00:00:00:999:info:Line   two\n");
}

// Everything that a call with an invalid handle causes, in order: the line about the module, which goes to the system
// log even if that is off, and the reports. Each output that is on tests the mask and adds a report.
struct Outcome {
  const char* name;
  std::vector<void (*)(int handle)> calls;
  std::vector<int> handles;
  Texts nowhere;
  Texts one;
  Texts both;
};

// Marks the texts in these tables that are lines, not reports.
constexpr char kLineMark[] = "error:sysloglevel";

constexpr uint8_t kBytes[17] = {0xFF, 0x01};

const Outcome kOutcomes[] = {
    {"located, not registered",
     {[](int handle) { NUV_Sysloglevel_debug(handle, "source/line.c", 0xFFFFFFFF, "boom"); },
      [](int handle) { NUV_Sysloglevel_error(handle, "source/line.c", 0xFFFFFFFF, "boom"); },
      [](int handle) { NUV_Sysloglevel_tracect(handle, "source/line.c", 0xFFFFFFFF, "boom"); },
      [](int handle) { NUV_Sysloglevel_tracedo(handle, "source/line.c", 0xFFFFFFFF, "boom"); }},
     {-1, INT_MIN},
     {"error:sysloglevel: Module not registered for message: line.c:-1   boom", kIsRegistered, kIsNotNegative},
     {"error:sysloglevel: Module not registered for message: line.c:-1   boom", kIsRegistered, kIsNotNegative,
      kIsNotNegative},
     {"error:sysloglevel: Module not registered for message: line.c:-1   boom", kIsRegistered, kIsNotNegative,
      kIsNotNegative, kIsNotNegative}},
    {"located, past the registry",
     {[](int handle) { NUV_Sysloglevel_debug(handle, "source/line.c", 7, "boom"); },
      [](int handle) { NUV_Sysloglevel_error(handle, "source/line.c", 7, "boom"); },
      [](int handle) { NUV_Sysloglevel_tracect(handle, "source/line.c", 7, "boom"); },
      [](int handle) { NUV_Sysloglevel_tracedo(handle, "source/line.c", 7, "boom"); }},
     {60, 61, INT_MAX},
     {kIsBelowSixty},
     {kIsBelowSixty, kIsBelowSixty},
     {kIsBelowSixty, kIsBelowSixty, kIsBelowSixty}},
    // The name is looked up first.
    {"short, not registered",
     {[](int handle) { NUV_Sysloglevel_info(handle, "source/line.c", 7, "boom"); },
      [](int handle) { NUV_Sysloglevel_trace(handle, "source/line.c", 7, "boom"); },
      [](int handle) { NUV_Sysloglevel_warning(handle, "source/line.c", 7, "boom"); }},
     {-1, INT_MIN},
     {kIsNotNegative, "error:sysloglevel   Module not registered for message: boom", kIsRegistered},
     {kIsNotNegative, "error:sysloglevel   Module not registered for message: boom", kIsRegistered, kIsNotNegative},
     {kIsNotNegative, "error:sysloglevel   Module not registered for message: boom", kIsRegistered, kIsNotNegative,
      kIsNotNegative}},
    {"short, past the registry",
     {[](int handle) { NUV_Sysloglevel_info(handle, "source/line.c", 7, "boom"); },
      [](int handle) { NUV_Sysloglevel_trace(handle, "source/line.c", 7, "boom"); },
      [](int handle) { NUV_Sysloglevel_warning(handle, "source/line.c", 7, "boom"); }},
     {60, 61, INT_MAX},
     {kIsBelowSixty},
     {kIsBelowSixty, kIsBelowSixty},
     {kIsBelowSixty, kIsBelowSixty, kIsBelowSixty}},
    // The name is looked up only if a line is written.
    {"GUI output, not registered",
     {[](int handle) { NUV_Sysloglevel_guioutput(handle, "source/line.c", 7, "boom"); }},
     {-1, INT_MIN},
     {"error:sysloglevel: Module not registered for message: boom", kIsRegistered},
     {"error:sysloglevel: Module not registered for message: boom", kIsRegistered, kIsNotNegative},
     {"error:sysloglevel: Module not registered for message: boom", kIsRegistered, kIsNotNegative, kIsNotNegative}},
    {"GUI output, past the registry",
     {[](int handle) { NUV_Sysloglevel_guioutput(handle, "source/line.c", 7, "boom"); }},
     {60, 61, INT_MAX},
     {},
     {kIsBelowSixty},
     {kIsBelowSixty, kIsBelowSixty}},
    // Only the mask of a registered module is tested.
    {"message flow, not registered",
     {[](int handle) { NUV_Sysloglevel_tracemf(handle, "Channel", 0xFFFFFFFF, "DIALLED", "DialPlan", 0x80000000, 1); }},
     {-1, INT_MIN},
     {"error:sysloglevel: Module not registered for message: Channel:-1 -->DIALLED--> DialPlan:-2147483648  RX",
      kIsRegistered},
     {"error:sysloglevel: Module not registered for message: Channel:-1 -->DIALLED--> DialPlan:-2147483648  RX",
      kIsRegistered},
     {"error:sysloglevel: Module not registered for message: Channel:-1 -->DIALLED--> DialPlan:-2147483648  RX",
      kIsRegistered}},
    {"message flow, past the registry",
     {[](int handle) { NUV_Sysloglevel_tracemf(handle, "Channel", 1, "DIALLED", "DialPlan", 2, 1); }},
     {60, 61, INT_MAX},
     {},
     {kIsBelowSixty},
     {kIsBelowSixty, kIsBelowSixty}},
    {"a line of a dump, not registered",
     {[](int handle) { NUV_Sysloglevel_dump(handle, "source/line.c", 7, "frame", kBytes, 2); }},
     {-1, INT_MIN},
     {"error:sysloglevel: Module not registered for message: frame: FF 01", kIsRegistered},
     {"error:sysloglevel: Module not registered for message: frame: FF 01", kIsRegistered, kIsNotNegative},
     {"error:sysloglevel: Module not registered for message: frame: FF 01", kIsRegistered, kIsNotNegative,
      kIsNotNegative}},
    {"two lines of a dump, not registered",
     {[](int handle) { NUV_Sysloglevel_dump(handle, "source/line.c", 7, "frame", kBytes, 17); }},
     {-1},
     {"error:sysloglevel: Module not registered for message: frame: FF 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
      kIsRegistered, "error:sysloglevel: Module not registered for message: frame: 00", kIsRegistered},
     {"error:sysloglevel: Module not registered for message: frame: FF 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
      kIsRegistered, kIsNotNegative, "error:sysloglevel: Module not registered for message: frame: 00", kIsRegistered,
      kIsNotNegative},
     {"error:sysloglevel: Module not registered for message: frame: FF 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
      kIsRegistered, kIsNotNegative, kIsNotNegative, "error:sysloglevel: Module not registered for message: frame: 00",
      kIsRegistered, kIsNotNegative, kIsNotNegative}},
    {"two lines of a dump, past the registry",
     {[](int handle) { NUV_Sysloglevel_dump(handle, "source/line.c", 7, "frame", kBytes, 17); }},
     {60, 61, INT_MAX},
     {},
     {kIsBelowSixty, kIsBelowSixty},
     {kIsBelowSixty, kIsBelowSixty, kIsBelowSixty, kIsBelowSixty}},
};

// The system log, if on, gets the reports, too; the console gets only the reports.
TEST_F(SysloglevelLinesContracts, InvalidHandlesAreReported) {
  NUV_Sysloglevel_changeTracelevelAll(0xFFFFFFFF);
  for (const Outcome& outcome : kOutcomes) {
    SCOPED_TRACE(outcome.name);
    for (const Output output : kOutputs) {
      use(output);
      const Texts& events = output == Output::kNowhere ? outcome.nowhere
                            : output == Output::kBoth  ? outcome.both
                                                       : outcome.one;
      Texts logged;
      Reports reported;
      std::string printed;
      for (const std::string& event : events) {
        if (event.starts_with(kLineMark)) {
          logged.push_back(logs(output) ? event : std::string(kStamp) + ":" + event);
          continue;
        }
        const std::string report = report_text("require failed:" + event);
        reported.push_back(require_report(kFile, event.c_str()));
        if (logs(output)) {
          logged.push_back(report);
        }
        if (prints(output)) {
          printed += std::string(kStamp) + ": " + report + "\n";
        }
      }
      for (const auto call : outcome.calls) {
        for (const int handle : outcome.handles) {
          call(handle);
          ASSERT_EQ(take_log_texts(), logged);
          ASSERT_EQ(contracts_.take(), reported);
          ASSERT_EQ(take_printed(), printed);
        }
      }
    }
  }
}

TEST_F(SysloglevelLinesContracts, LineAboutAnUnregisteredModuleIsAnError) {
  for (const Output output : kOutputs) {
    use(output);
    for (const Outcome& outcome : kOutcomes) {
      for (const auto call : outcome.calls) {
        call(-1);
      }
    }
    for (const SyslogLine& logged : take_log()) {
      EXPECT_EQ(logged, line(11, logged.text));
    }
  }
  EXPECT_FALSE(contracts_.take().empty());
}

TEST_F(SysloglevelLinesContracts, NullTextsOfAnUnregisteredModuleReadAsEmpty) {
  const uint8_t byte = 0xAB;
  for (const Operation& operation : kOperations) {
    operation.call(-1, nullptr, 7, nullptr);
  }
  NUV_Sysloglevel_dump(-1, nullptr, 7, nullptr, &byte, 1);
  NUV_Sysloglevel_tracemf(-1, nullptr, 1, nullptr, nullptr, 2, 0);
  const std::string head = "error:sysloglevel";
  const std::string message = " Module not registered for message: ";
  const std::string located = head + ":" + message + ":7   ";
  const std::string unlocated = head + "  " + message;
  EXPECT_EQ(take_trace_texts(),
            (Texts{unlocated, unlocated, located, unlocated, located, head + ":" + message, located, located,
                   head + ":" + message + ": AB", head + ":" + message + ":1 -->--> :2  TX"}));
  EXPECT_FALSE(contracts_.take().empty());
}

// The first report matters most: the default handler exits with it.
TEST(SysloglevelLinesContractsNull, FirstReportNamesAnUnregisteredModule) {
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.name);
    const char* text = operation.form == Form::kShort ? kIsNotNegative : kIsRegistered;
    EXPECT_EQ(support::first_report([&operation] { operation.call(-1, "line.c", 7, "boom"); }),
              require_report("nuv_sysloglevel", text));
  }
  const uint8_t byte = 1;
  EXPECT_EQ(support::first_report([&byte] { NUV_Sysloglevel_dump(-1, "line.c", 7, "frame", &byte, 1); }),
            require_report("nuv_sysloglevel", kIsRegistered));
  EXPECT_EQ(support::first_report([] { NUV_Sysloglevel_tracemf(-1, "a", 1, "m", "b", 2, 0); }),
            require_report("nuv_sysloglevel", kIsRegistered));
}

TEST_F(SysloglevelLinesTest, LastOfSixtyModulesWrites) {
  for (int i = 2; i < 60; ++i) {
    NUV_Sysloglevel_registerModul(("M" + std::to_string(i)).c_str());
  }
  NUV_Sysloglevel_info(59, "line.c", 7, "boom");
  EXPECT_EQ(take_log_texts(), Texts{"info:M59   boom"});
}

TEST_F(SysloglevelLinesTest, TracesMessageFlow) {
  const struct {
    uint32_t from;
    uint32_t to;
    uint32_t direction;
    const char* text;
  } kCases[] = {
      {1, 2, 0, "tracemf: Channel:1 -->DIALLED--> DialPlan:2  TX"},
      {0, 0xFFFFFFFF, 1, "tracemf: Channel:0 -->DIALLED--> DialPlan:4294967295  RX"},
      {0x80000000, 7, 2, "tracemf: Channel:2147483648 -->DIALLED--> DialPlan:7  RX"},
      {3, 4, 0xFFFFFFFF, "tracemf: Channel:3 -->DIALLED--> DialPlan:4  RX"},
      {3, 4, 256, "tracemf: Channel:3 -->DIALLED--> DialPlan:4  RX"},
  };
  for (const auto& row : kCases) {
    for (const Output output : kOutputs) {
      use(output);
      set_mask(128);
      NUV_Sysloglevel_tracemf(module_, "Channel", row.from, "DIALLED", "DialPlan", row.to, row.direction);
      const std::vector<SyslogLine> logged = {line(15, row.text)};
      EXPECT_EQ(take_log(), logs(output) ? logged : std::vector<SyslogLine>{});
      EXPECT_EQ(console_.take(), prints(output) ? std::string(kStamp) + ":" + row.text + "\n" : "");
      set_mask(~128U);
      NUV_Sysloglevel_tracemf(module_, "Channel", row.from, "DIALLED", "DialPlan", row.to, row.direction);
      EXPECT_TRUE(take_log().empty());
      EXPECT_EQ(console_.take(), "");
    }
  }
}

TEST_F(SysloglevelLinesTest, MessageFlowAcceptsNullTexts) {
  set_mask(128);
  NUV_Sysloglevel_tracemf(module_, nullptr, 1, nullptr, nullptr, 2, 0);
  EXPECT_EQ(take_log_texts(), Texts{"tracemf: :1 -->--> :2  TX"});
}

TEST_F(SysloglevelLinesTest, DumpsBytesInLinesOfSixteen) {
  std::array<uint8_t, 64> bytes;
  for (size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(i * 5);
  }
  const std::string first = "00 05 0A 0F 14 19 1E 23 28 2D 32 37 3C 41 46 4B";
  const std::string second = "50 55 5A 5F 64 69 6E 73 78 7D 82 87 8C 91 96 9B";
  const std::string third = "A0 A5 AA AF B4 B9 BE C3 C8 CD D2 D7 DC E1 E6 EB";
  const struct {
    uint32_t length;
    Texts lines;
  } kCases[] = {
      {0, {}},
      {1, {"00"}},
      {2, {"00 05"}},
      {15, {first.substr(0, 44)}},
      {16, {first}},
      {17, {first, "50"}},
      {20, {first, "50 55 5A 5F"}},
      {32, {first, second}},
      {33, {first, second, "A0"}},
      {48, {first, second, third}},
  };
  set_mask(8);
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.length);
    for (const Output output : kOutputs) {
      use(output);
      NUV_Sysloglevel_dump(module_, "line.c", 7, "frame", bytes.data(), row.length);
      std::vector<SyslogLine> logged;
      std::string printed;
      for (const std::string& hex : row.lines) {
        logged.push_back(line(15, "dump:Line: frame: " + hex));
        printed += std::string(kStamp) + ":dump:Line: frame: " + hex + "\n";
      }
      EXPECT_EQ(take_log(), logs(output) ? logged : std::vector<SyslogLine>{});
      EXPECT_EQ(console_.take(), prints(output) ? printed : "");
    }
  }
}

TEST_F(SysloglevelLinesTest, DumpsEveryByte) {
  set_mask(8);
  for (int i = 0; i < 256; ++i) {
    const auto byte = static_cast<uint8_t>(i);
    NUV_Sysloglevel_dump(module_, "line.c", 7, "byte", &byte, 1);
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "dump:Line: byte: %02X", i);
    EXPECT_EQ(take_log_texts(), Texts{text.data()});
  }
}

TEST_F(SysloglevelLinesTest, DumpsNothingWithoutItsBit) {
  use(Output::kBoth);
  set_mask(~8U);
  const uint8_t bytes[17] = {};
  NUV_Sysloglevel_dump(module_, "line.c", 7, "frame", bytes, sizeof bytes);
  EXPECT_TRUE(take_log().empty());
  EXPECT_EQ(console_.take(), "");
}

TEST_F(SysloglevelLinesTest, DumpAcceptsNullTextsAndNullData) {
  set_mask(8);
  const uint8_t byte = 0xAB;
  NUV_Sysloglevel_dump(module_, nullptr, 7, nullptr, &byte, 1);
  EXPECT_EQ(take_log_texts(), Texts{"dump:Line: : AB"});
  NUV_Sysloglevel_dump(module_, "line.c", 7, "frame", nullptr, 16);
  NUV_Sysloglevel_dump(-1, "line.c", 7, "frame", nullptr, 16);
  NUV_Sysloglevel_dump(-1, "line.c", 7, "frame", &byte, 0);
  EXPECT_TRUE(take_log().empty()) << "without bytes no line is written, not even about the module";
}

}  // namespace
