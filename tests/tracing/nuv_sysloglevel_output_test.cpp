// The lines of the trace facility, to the blank.
#include <gtest/gtest.h>
#include <syslog.h>

#include <array>
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "doubles/first_report.h"
#include "doubles/trace_test.h"
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
  static size_t count(Output output) { return static_cast<size_t>(logs(output)) + static_cast<size_t>(prints(output)); }

  static void set_mask(uint32_t mask) { NUV_Sysloglevel_changeTracelevel("Line", mask); }

  // What stands in front of a line about an unregistered module.
  static std::string prefix(Output output) { return logs(output) ? "" : std::string(kStamp) + ":"; }

  // The reports for a handle, which differ by how often the mask was looked at.
  static Reports reports(std::vector<const char*> texts, size_t lookups, const char* lookup_text) {
    texts.insert(texts.end(), lookups, lookup_text);
    Reports reports;
    for (const char* text : texts) {
      reports.push_back(require_report(kFile, text));
    }
    return reports;
  }

  static std::string require_text(const char* text) { return report_text(std::string("require failed:") + text); }

  // What the console got but for contract reports.
  std::string take_console_lines() {
    std::string lines;
    std::string text = console_.take();
    for (size_t end; (end = text.find('\n')) != std::string::npos; text.erase(0, end + 1)) {
      const std::string line = text.substr(0, end + 1);
      if (line != "\n" && line.find(": error: nuv_") == std::string::npos) {
        lines += line;
      }
    }
    return lines;
  }

  int module_;
};

// What is reported of handles that are none, and which lines there are of them.
using SysloglevelLinesContracts = SysloglevelLinesTest;

TEST_F(SysloglevelLinesTest, EveryTypeHasItsLine) {
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

TEST_F(SysloglevelLinesTest, NothingPassesWithoutItsBit) {
  use(Output::kBoth);
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.name);
    set_mask(~operation.bit);
    operation.call(module_, "line.c", 7, "boom");
    EXPECT_TRUE(take_log().empty());
    EXPECT_EQ(console_.take(), "");
  }
}

TEST_F(SysloglevelLinesTest, ANewModuleWritesFourTypes) {
  for (const Operation& operation : kOperations) {
    operation.call(module_, "line.c", 7, "boom");
  }
  const uint8_t byte = 1;
  NUV_Sysloglevel_dump(module_, "line.c", 7, "frame", &byte, 1);
  NUV_Sysloglevel_tracemf(module_, "a", 1, "m", "b", 2, 0);
  EXPECT_EQ(take_log_texts(),
            (Texts{"info:Line   boom", "warning:Line   boom", "error:Line: line.c:7   boom", "Line: boom"}));
}

// What a daemon writes before it has constructed the facility finds no module and no mask.
TEST_F(SysloglevelLinesTest, NothingPassesBeforeConstruct) {
  userlib::g_modules = {};
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

// The system log takes a line number for a signed one.
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

TEST_F(SysloglevelLinesTest, WritesTextsAsTheyAre) {
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

// Types that print their place: the line about the module, then its report. What follows are the reports of the
// registry, which is asked for the name and, for each output, for the mask.
TEST_F(SysloglevelLinesContracts, ReportsAnUnregisteredModuleWithThePlace) {
  for (const Operation& operation : kOperations) {
    if (operation.form != Form::kLocated) {
      continue;
    }
    SCOPED_TRACE(operation.name);
    for (const int handle : {-1, INT_MIN}) {
      for (const Output output : kOutputs) {
        use(output);
        operation.call(handle, "source/line.c", 0xFFFFFFFF, "boom");
        const std::string text =
            prefix(output) + "error:sysloglevel: Module not registered for message: line.c:-1   boom";
        const std::vector<SyslogLine> lines = take_log();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines[0], line(11, text));
        EXPECT_EQ(lines.size(), logs(output) ? 1 + 2 + count(output) : 1) << "reports follow the log's switch";
        EXPECT_EQ(contracts_.take(), reports({kIsRegistered, kIsNotNegative}, count(output), kIsNotNegative));
        EXPECT_EQ(take_console_lines(), "");
      }
    }
  }
}

// Types that do not print it ask for the name first.
TEST_F(SysloglevelLinesContracts, ReportsAnUnregisteredModuleWithoutThePlace) {
  for (const Operation& operation : kOperations) {
    if (operation.form != Form::kShort) {
      continue;
    }
    SCOPED_TRACE(operation.name);
    for (const Output output : kOutputs) {
      use(output);
      operation.call(-1, "source/line.c", 7, "boom");
      const std::string text = prefix(output) + "error:sysloglevel   Module not registered for message: boom";
      const std::vector<SyslogLine> lines = take_log();
      ASSERT_EQ(lines.size(), logs(output) ? 1 + 2 + count(output) : 1);
      EXPECT_EQ(lines[logs(output) ? 1 : 0], line(11, text));
      EXPECT_EQ(contracts_.take(), reports({kIsNotNegative, kIsRegistered}, count(output), kIsNotNegative));
      EXPECT_EQ(take_console_lines(), "");
    }
  }
}

TEST_F(SysloglevelLinesContracts, ReportsAnUnregisteredModuleWithGuiOutput) {
  for (const Output output : kOutputs) {
    use(output);
    NUV_Sysloglevel_guioutput(-1, "source/line.c", 7, "boom");
    const std::vector<SyslogLine> lines = take_log();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], line(11, prefix(output) + "error:sysloglevel: Module not registered for message: boom"));
    EXPECT_EQ(contracts_.take(), reports({kIsRegistered}, count(output), kIsNotNegative));
    EXPECT_EQ(take_console_lines(), "");
  }
}

TEST_F(SysloglevelLinesContracts, TheLineAboutAnUnregisteredModuleComesBeforeItsReport) {
  NUV_Sysloglevel_error(-1, "line.c", 7, "boom");
  EXPECT_EQ(take_log_texts(),
            (Texts{"error:sysloglevel: Module not registered for message: line.c:7   boom", require_text(kIsRegistered),
                   require_text(kIsNotNegative), require_text(kIsNotNegative)}));
  NUV_Sysloglevel_info(-1, "line.c", 7, "boom");
  EXPECT_EQ(take_log_texts(),
            (Texts{require_text(kIsNotNegative), "error:sysloglevel   Module not registered for message: boom",
                   require_text(kIsRegistered), require_text(kIsNotNegative)}));
  EXPECT_EQ(contracts_.take().size(), 6U);
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

// The default handler ends the process with the first report.
TEST(SysloglevelLinesContractsNull, TheFirstReportOfAnUnregisteredModuleSaysSo) {
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

// A handle past the registry is reported, and nothing is read there or written for it.
TEST_F(SysloglevelLinesContracts, ReportsHandlesPastTheRegistry) {
  NUV_Sysloglevel_changeTracelevelAll(0xFFFFFFFF);
  const uint8_t bytes[17] = {};
  for (const int handle : {60, 61, INT_MAX}) {
    for (const Output output : kOutputs) {
      use(output);
      for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        operation.call(handle, "line.c", 7, "boom");
        const size_t names = operation.form == Form::kGui ? 0 : 1;
        EXPECT_EQ(contracts_.take(), reports({}, names + count(output), kIsBelowSixty));
      }
      NUV_Sysloglevel_tracemf(handle, "a", 1, "m", "b", 2, 0);
      EXPECT_EQ(contracts_.take(), reports({}, count(output), kIsBelowSixty));
      NUV_Sysloglevel_dump(handle, "line.c", 7, "frame", bytes, sizeof bytes);
      EXPECT_EQ(contracts_.take(), reports({}, 2 * count(output), kIsBelowSixty)) << "for each of two lines";
      EXPECT_EQ(take_trace_texts(), Texts{});
      EXPECT_EQ(take_console_lines(), "");
    }
  }
}

TEST_F(SysloglevelLinesTest, TheLastOfSixtyModulesWrites) {
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

TEST_F(SysloglevelLinesTest, MessageFlowTakesNullTexts) {
  set_mask(128);
  NUV_Sysloglevel_tracemf(module_, nullptr, 1, nullptr, nullptr, 2, 0);
  EXPECT_EQ(take_log_texts(), Texts{"tracemf: :1 -->--> :2  TX"});
}

TEST_F(SysloglevelLinesContracts, ReportsAnUnregisteredModuleWithMessageFlow) {
  for (const Output output : kOutputs) {
    use(output);
    NUV_Sysloglevel_tracemf(-1, "Channel", 0xFFFFFFFF, "DIALLED", "DialPlan", 0x80000000, 1);
    const std::vector<SyslogLine> lines = take_log();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], line(11, prefix(output) + "error:sysloglevel: Module not registered for message: "
                                                  "Channel:-1 -->DIALLED--> DialPlan:-2147483648  RX"));
    EXPECT_EQ(contracts_.take(), reports({kIsRegistered}, count(output), kIsNotNegative));
    EXPECT_EQ(take_console_lines(), "");
  }
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

TEST_F(SysloglevelLinesTest, DumpTakesNullTextsAndNullData) {
  set_mask(8);
  const uint8_t byte = 0xAB;
  NUV_Sysloglevel_dump(module_, nullptr, 7, nullptr, &byte, 1);
  EXPECT_EQ(take_log_texts(), Texts{"dump:Line: : AB"});
  NUV_Sysloglevel_dump(module_, "line.c", 7, "frame", nullptr, 16);
  NUV_Sysloglevel_dump(-1, "line.c", 7, "frame", nullptr, 16);
  NUV_Sysloglevel_dump(-1, "line.c", 7, "frame", &byte, 0);
  EXPECT_TRUE(take_log().empty()) << "without bytes there is no line, not even about the module";
}

TEST_F(SysloglevelLinesContracts, ReportsAnUnregisteredModuleWithEveryLineOfADump) {
  const uint8_t bytes[17] = {0xFF, 0x01};
  const std::string text = "error:sysloglevel: Module not registered for message: frame: ";
  const std::string first = "FF 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
  for (const Output output : kOutputs) {
    use(output);
    NUV_Sysloglevel_dump(-1, "line.c", 7, "frame", bytes, sizeof bytes);
    EXPECT_EQ(take_trace_texts(), (Texts{prefix(output) + text + first, prefix(output) + text + "00"}));
    Reports expected = reports({kIsRegistered}, count(output), kIsNotNegative);
    const Reports once = expected;
    expected.insert(expected.end(), once.begin(), once.end());
    EXPECT_EQ(contracts_.take(), expected);
    EXPECT_EQ(take_console_lines(), "");
  }
  NUV_Sysloglevel_dump(-1, "line.c", 7, "frame", bytes, 1);
  EXPECT_EQ(take_log()[0], line(11, std::string(kStamp) + ":" + text + "FF"));
  EXPECT_EQ(contracts_.take().size(), 1U);
}

}  // namespace
