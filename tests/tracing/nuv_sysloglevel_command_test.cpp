// The exact output of the operator's "tr" command.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "doubles/descriptors.h"
#include "doubles/fault_loop.h"
#include "doubles/trace_fixture.h"
#include "nuv_sysloglevel.h"
#include "tracing/nuv_sysloglevel_internal.h"

namespace {

using nuv::g_modules;
using nuv::g_trace_output;
using support::each_fault;
using support::Fault;
using Words = std::vector<std::string>;

constexpr char kDefaultPath[] = "/flash/phoned.ini";
constexpr char kHeader[] = "[TraceLevelInit Version]\n1\n\n[Level]\n";
constexpr char kMissing[] = "The given Init-File (/flash/phoned.ini) of TraceLevel could not open.\n";
constexpr char kParameters[] = "Error in parameterlist, no change possible\n";

constexpr char kHelp[] = R"(
----------- Commands to change tracelevel ----------------------
   - file      = output of traces in file
                 tr file
   - console   = output of traces to console
                 tr console
   - show      = show tracelevel of all moduls
                 tr show
   - change    = change tracelevel for one modul
                 tr change <modulname> <tracelevel>
   - changeall = change tracelevel for all moduls
                 tr changeall <tracelevel>
                 to switch off all traces use: "tr changeall 0"
   - save      = save changes in initfile
                 tr save [/path/to/filename]
                 default : /flash/<registered module name>.ini
                 e.g.: /flash/phoned.ini
   - restore   = restore tracelevel from initfile
                 tr restore [/path/to/filename]
                 default : /flash/<registered module name>.ini
                 e.g.: /flash/phoned.ini
   - help      = list of commands
                 tr [help]
----------------------------------------------------------------
)";

// The example's line ends with a space.
constexpr char kLegend[] = R"(------------ How to set TraceLevel : --------------
You have to add for each TraceLevel the specified value
|10|09|08|07|06|05|04|03|02|01| --> value for TraceLevel
 Info       (01)        -->   1
 Trace      (02)        -->   2
 Debug      (03)        -->   4
 Dump       (04)        -->   8
 Warning    (05)        -->  16
 Error      (06)        -->  32
 GUIOutput  (07)        -->  64
 TraceMF    (08)        --> 128
 TraceCT    (09)        --> 256
 TraceDO    (10)        --> 512
 Example : to switch on traces for "Warning" and "Error" 16 + 32 use )"
                           R"(
 "tr change VoipPhone 48"
---------------------------------------------------
)";

class SysloglevelCommandTest : public support::TraceTest {
 protected:
  SysloglevelCommandTest() {
    NUV_Sysloglevel_construct("");
    NUV_Sysloglevel_registerModul("VoipPhone");
  }

  // Runs the command and returns what it printed.
  std::string tr(const Words& words) {
    Words copy = {"tr"};
    copy.insert(copy.end(), words.begin(), words.end());
    std::vector<char*> arguments;
    for (std::string& word : copy) {
      arguments.push_back(word.data());
    }
    NUV_Sysloglevel_handleCmd(this, static_cast<int>(arguments.size()), arguments.data());
    return console_.take();
  }

  static uint32_t mask(size_t handle) { return g_modules[handle].u32TraceLevel; }
};

TEST_F(SysloglevelCommandTest, HelpExplainsTheCommands) {
  EXPECT_EQ(tr({}), kHelp);
  EXPECT_EQ(tr({"help"}), kHelp);
  EXPECT_EQ(tr({"help", "change", "me"}), kHelp);
}

TEST_F(SysloglevelCommandTest, NoWordsPrintHelp) {
  char word[] = "help me";
  char* words[] = {word};
  for (const int count : {0, -1, INT_MIN}) {
    NUV_Sysloglevel_handleCmd(this, count, words);
    EXPECT_EQ(console_.take(), kHelp);
  }
  NUV_Sysloglevel_handleCmd(this, 3, nullptr);
  EXPECT_EQ(console_.take(), kHelp);
}

TEST_F(SysloglevelCommandTest, UnknownWordsDoNothing) {
  for (const char* word :
       {"Help", "HELP", "hel", "helpme", "", " help", "chang", "changeal", "changealls", "Show", "?"}) {
    EXPECT_EQ(tr({word}), "") << word;
  }
  char tr[] = "tr";
  char* words[] = {tr, nullptr};
  NUV_Sysloglevel_handleCmd(this, 2, words);
  EXPECT_EQ(console_.take(), "");
  EXPECT_EQ(g_trace_output.syslog, 1);
  EXPECT_EQ(g_trace_output.console, 0);
  EXPECT_EQ(mask(1), 113U);
}

// The first word is ignored: a daemon may give the command another name.
TEST_F(SysloglevelCommandTest, AcceptsAnyCommandWord) {
  char other[] = "trace";
  char help[] = "help";
  char* words[] = {other, help};
  NUV_Sysloglevel_handleCmd(this, 2, words);
  EXPECT_EQ(console_.take(), kHelp);
}

TEST_F(SysloglevelCommandTest, FileAndConsoleSwitchTheOutputs) {
  const struct {
    Words words;
    bool quiet;
    int syslog;
    int console;
  } kCases[] = {
      {{"console"}, false, 0, 1},        {{"file"}, false, 1, 0},   {{"console", "please", "now"}, false, 0, 1},
      {{"file", "please"}, false, 1, 0}, {{"console"}, true, 0, 0}, {{"file"}, true, 1, 0},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.words[0]);
    if (row.quiet) {
      files_.write("/etc/quiet", "");
    }
    EXPECT_EQ(tr(row.words), "");
    EXPECT_EQ(g_trace_output.syslog, row.syslog);
    EXPECT_EQ(g_trace_output.console, row.console);
  }
}

TEST_F(SysloglevelCommandTest, ShowPrintsModulesAndLegend) {
  NUV_Sysloglevel_changeTracelevel("VoipPhone", 48);
  NUV_Sysloglevel_registerModul("L");
  NUV_Sysloglevel_changeTracelevel("L", 0);
  NUV_Sysloglevel_registerModul("All");
  NUV_Sysloglevel_changeTracelevel("All", 0xFFFFFFFF);
  const std::string expected =
      "\n---------- registered moduls for traces -----------\n"
      "handle  0 : TraceLevel  level : 113  ( Info Warning Error GuiOutput)\n"
      "handle  1 : VoipPhone   level : 48  ( Warning Error)\n"
      "handle  2 : L           level : 0 \n"
      "handle  3 : All         level : 4294967295 "
      " ( Info Trace Debug Dump Warning Error GuiOutput TraceMf TraceCt TraceDo)\n" +
      std::string(kLegend);
  EXPECT_EQ(tr({"show"}), expected);
  EXPECT_EQ(tr({"show", "me", "more"}), expected);
}

TEST_F(SysloglevelCommandTest, ShowPrintsAllSixtyModules) {
  std::string expected =
      "\n---------- registered moduls for traces -----------\n"
      "handle  0 : TraceLevel  level : 0 \n"
      "handle  1 : VoipPhone   level : 0 \n";
  for (int i = 2; i < 60; ++i) {
    const std::string name = "M" + std::to_string(i);
    NUV_Sysloglevel_registerModul(name.c_str());
    expected += "handle " + std::string(i < 10 ? " " : "") + std::to_string(i) + " : " + name +
                std::string(10 - name.size(), ' ') + "  level : 0 \n";
  }
  NUV_Sysloglevel_changeTracelevelAll(0);
  EXPECT_EQ(tr({"show"}), expected + kLegend);
}

TEST_F(SysloglevelCommandTest, ShowPrintsTheLegendBeforeAnyModule) {
  g_modules = {};
  EXPECT_EQ(tr({"show"}), "\n---------- registered moduls for traces -----------\n" + std::string(kLegend));
}

TEST_F(SysloglevelCommandTest, ChangeSetsTheMaskOfOneModule) {
  const std::string start = "The tracelevel of modul ";
  const struct {
    const char* module;
    const char* level;
    std::string printed;
    uint32_t mask;
  } kCases[] = {
      {"VoipPhone", "1023", start + "VoipPhone is changed to 1023 \n", 1023},
      {"VoipPhone", "0", start + "VoipPhone is changed to 0 \n", 0},
      {"VoipPhone", "+16", start + "VoipPhone is changed to 16 \n", 16},
      {"VoipPhone", " 17", start + "VoipPhone is changed to 17 \n", 17},
      {"VoipPhone", "18x", start + "VoipPhone is changed to 18 \n", 18},
      {"VoipPhone", "all", start + "VoipPhone is changed to 0 \n", 0},
      {"VoipPhone", "", start + "VoipPhone is changed to 0 \n", 0},
      {"VoipPhone", "0x10", start + "VoipPhone is changed to 0 \n", 0},
      {"VoipPhone", "1024", start + "VoipPhone is not changed, because given level 1024 is out of range !\n", 113},
      {"VoipPhone", "-1", start + "VoipPhone is not changed, because given level -1 is out of range !\n", 113},
      {"VoipPhone", "2147483647",
       start + "VoipPhone is not changed, because given level 2147483647 is out of range !\n", 113},
      {"VoipPhone", "-2147483648",
       start + "VoipPhone is not changed, because given level -2147483648 is out of range !\n", 113},
      // Numbers such as 2^32 + 16 are not truncated to small ones.
      {"VoipPhone", "4294967312",
       start + "VoipPhone is not changed, because given level 2147483647 is out of range !\n", 113},
      {"VoipPhone", "-4294967280",
       start + "VoipPhone is not changed, because given level -2147483648 is out of range !\n", 113},
      {"VoipPhone", "99999999999999999999999",
       start + "VoipPhone is not changed, because given level 2147483647 is out of range !\n", 113},
      {"Nobody", "16", start + "Nobody is not changed, because modul is not registered\n", 113},
      {"voipphone", "16", start + "voipphone is not changed, because modul is not registered\n", 113},
      {"", "16", start + " is not changed, because modul is not registered\n", 113},
      {"%s%n", "16", start + "%s%n is not changed, because modul is not registered\n", 113},
      {"Nobody", "1024", start + "Nobody is not changed, because given level 1024 is out of range !\n", 113},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.printed);
    NUV_Sysloglevel_changeTracelevelAll(113);
    EXPECT_EQ(tr({"change", row.module, row.level}), row.printed);
    EXPECT_EQ(mask(1), row.mask);
    EXPECT_EQ(mask(0), 113U);
    EXPECT_EQ(mask(2), 113U) << "a free entry keeps its mask";
  }
}

TEST_F(SysloglevelCommandTest, ChangeallSetsTheMasksOfAllRegisteredModules) {
  const std::string changed = "Tracelevel is changed for all moduls\n";
  const std::string start = "The tracelevel of all moduls is not changed, because given level ";
  const struct {
    const char* level;
    std::string printed;
    uint32_t mask;
  } kCases[] = {
      {"1023", changed, 1023},
      {"0", changed, 0},
      {"48", changed, 48},
      {"none", changed, 0},
      {"1024", start + "1024 is out of range !\n", 113},
      {"-1", start + "-1 is out of range !\n", 113},
      {"4294967296", start + "2147483647 is out of range !\n", 113},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.level);
    NUV_Sysloglevel_changeTracelevelAll(113);
    EXPECT_EQ(tr({"changeall", row.level}), row.printed);
    EXPECT_EQ(mask(0), row.mask);
    EXPECT_EQ(mask(1), row.mask);
    EXPECT_EQ(mask(2), 113U) << "a free entry keeps its mask";
    EXPECT_EQ(mask(59), 113U);
  }
}

TEST_F(SysloglevelCommandTest, ChangeAndChangeallCountTheirWords) {
  EXPECT_EQ(tr({"change"}), kParameters);
  EXPECT_EQ(tr({"change", "VoipPhone"}), kParameters);
  EXPECT_EQ(tr({"change", "VoipPhone", "48", "49"}), kParameters);
  EXPECT_EQ(tr({"changeall"}), kParameters);
  EXPECT_EQ(tr({"changeall", "48", "49"}), kParameters);
  EXPECT_EQ(mask(0), 113U);
  EXPECT_EQ(mask(1), 113U);
}

TEST_F(SysloglevelCommandTest, SaveWritesTheInitFile) {
  const std::string content = std::string(kHeader) + "0;\"TraceLevel\";113\n1;\"VoipPhone\";113\n\n";
  const struct {
    const char* ident;  // null: no ident
    Words words;
    std::string path;
  } kCases[] = {
      {nullptr, {"save"}, "/flash/phoned.ini"},
      {nullptr, {"save", "/flash/other"}, "/flash/other"},
      {nullptr, {"save", "/flash/other", "again"}, "/flash/phoned.ini"},
      {"iad", {"save"}, "/flash/iad.ini"},
      {"iad", {"save", "/flash/other"}, "/flash/other"},
      {"iad", {"save", "/flash/other", "again"}, "/flash/iad.ini"},
      {"iad", {"save", "a", "b", "c"}, "/flash/iad.ini"},
      {"", {"save"}, "/flash/.ini"},
      {"abcdefghijklmnopqrstuvwxyz01234", {"save"}, "/flash/abcdefghijklmnopqrstuvwxyz0123.ini"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.path);
    g_trace_output.ident_pointer = nullptr;
    if (row.ident != nullptr) {
      NUV_Sysloglevel_construct2("", row.ident);
      NUV_Sysloglevel_registerModul("VoipPhone");
    }
    EXPECT_EQ(tr(row.words), "Actual tracelevel is saved in file " + row.path + "\n");
    EXPECT_EQ(files_.read(row.path), content);
    files_.remove(row.path);
  }
}

TEST_F(SysloglevelCommandTest, SaveSaysThatTheFileIsNotWritten) {
  EXPECT_EQ(tr({"save", "/flash/missing/phoned.ini"}), "File /flash/missing/phoned.ini is not updated\n");
  EXPECT_EQ(tr({"save", ""}), "File  is not updated\n");
  EXPECT_EQ(tr({"save", "/flash/%s%n/x"}), "File /flash/%s%n/x is not updated\n");
  EXPECT_EQ(tr({"save", "/dev/full"}), "File /dev/full is not updated\n");
  const std::string deep = "/flash/missing/" + std::string(200, 'x');
  EXPECT_EQ(tr({"save", deep}), "File " + deep + " is not updated\n") << "may be longer than the default path";
}

TEST_F(SysloglevelCommandTest, RestoreReadsTheInitFile) {
  const struct {
    const char* ident;
    Words words;
    std::string path;
  } kCases[] = {
      {nullptr, {"restore"}, "/flash/phoned.ini"},
      {nullptr, {"restore", "/flash/other"}, "/flash/other"},
      {nullptr, {"restore", "/flash/other", "again"}, "/flash/phoned.ini"},
      {"iad", {"restore"}, "/flash/iad.ini"},
      {"iad", {"restore", "/flash/other"}, "/flash/other"},
      {"iad", {"restore", "/flash/other", "again"}, "/flash/iad.ini"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.path);
    NUV_Sysloglevel_construct("");
    g_trace_output.ident_pointer = nullptr;
    if (row.ident != nullptr) {
      NUV_Sysloglevel_construct2("", row.ident);
    }
    NUV_Sysloglevel_registerModul("VoipPhone");
    NUV_Sysloglevel_registerModul("Line");
    files_.write(row.path, std::string(kHeader) + "0;\"Line\";48\n1;\"New\";7\n\n");
    EXPECT_EQ(tr(row.words), "") << "restore prints nothing";
    EXPECT_EQ(mask(0), 0U) << "TraceLevel, which the file does not name";
    EXPECT_EQ(mask(1), 0U) << "VoipPhone, which the file does not name";
    EXPECT_EQ(mask(2), 48U);
    EXPECT_EQ(mask(3), 7U);
    EXPECT_STREQ(g_modules[3].szModulName, "New");
    EXPECT_EQ(mask(4), 113U) << "a free entry keeps its mask";
    files_.remove(row.path);
  }
}

TEST_F(SysloglevelCommandTest, RestoreOfAMissingFileSwitchesAllTracesOff) {
  EXPECT_EQ(tr({"restore"}), kMissing);
  EXPECT_EQ(mask(0), 0U);
  EXPECT_EQ(mask(1), 0U);
  EXPECT_EQ(mask(2), 113U);
  EXPECT_EQ(tr({"restore", "/flash/other"}), "The given Init-File (/flash/other) of TraceLevel could not open.\n");
}

TEST_F(SysloglevelCommandTest, SaveSaysThatAStepHasFailed) {
  for (const char* function : {"fopen", "fclose"}) {
    each_fault(function, {EIO, ENOSPC, EINTR}, [this](Fault& fault) {
      const std::string printed = fault.during([this] { return tr({"save", "/flash/other"}); });
      EXPECT_EQ(printed, fault.has_struck() ? "File /flash/other is not updated\n"
                                            : "Actual tracelevel is saved in file /flash/other\n");
      EXPECT_EQ(mask(1), 113U);
    });
  }
}

TEST_F(SysloglevelCommandTest, RestoreSwitchesAllTracesOffBeforeAStepFails) {
  files_.write(kDefaultPath, std::string(kHeader) + "0;\"VoipPhone\";48\n\n");
  for (const char* function : {"fopen", "fgets"}) {
    each_fault(function, {EIO, EMFILE, EINTR}, [&](Fault& fault) {
      NUV_Sysloglevel_changeTracelevelAll(113);
      const std::string printed = fault.during([this] { return tr({"restore"}); });
      const bool is_opened = !fault.has_struck() || std::string(function) != "fopen";
      EXPECT_EQ(printed, is_opened ? "" : kMissing);
      EXPECT_EQ(mask(0), 0U);
      EXPECT_EQ(mask(1), !fault.has_struck() || fault.nth() > 5 ? 48U : 0U);
      EXPECT_TRUE(take_log().empty());
    });
  }
}

TEST_F(SysloglevelCommandTest, RefusesAFifoAsInitFile) {
  const support::TestFifo fifo(files_.real_path(kDefaultPath));
  const std::string content = std::string(kHeader) + "0;\"VoipPhone\";48\n\n";
  fifo.put(content);
  EXPECT_EQ(tr({"save"}), "File /flash/phoned.ini is not updated\n");
  EXPECT_EQ(tr({"restore"}), kMissing);
  EXPECT_EQ(mask(1), 0U);
  EXPECT_EQ(fifo.take(), content);
}

// restore has set all masks to 0 by then, so the error of the module TraceLevel is filtered.
TEST_F(SysloglevelCommandTest, RestoreOfADamagedFileIsSilent) {
  files_.write(kDefaultPath, "damaged\n");
  EXPECT_EQ(tr({"restore"}), "");
  EXPECT_TRUE(take_log().empty());
  EXPECT_EQ(mask(1), 0U);
}

TEST_F(SysloglevelCommandTest, RestoreReadsTheOutputOfSave) {
  tr({"change", "VoipPhone", "48"});
  tr({"save"});
  tr({"changeall", "1023"});
  EXPECT_EQ(tr({"restore"}), "");
  EXPECT_EQ(mask(0), 113U);
  EXPECT_EQ(mask(1), 48U);
}

}  // namespace
