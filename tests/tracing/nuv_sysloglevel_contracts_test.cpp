// Violates the contracts of the trace registry and of the "tr" command; the error handler returns. Those of trace lines
// are in nuv_sysloglevel_output_test.cpp, because they depend on the outputs that are on.
#include <gtest/gtest.h>

#include <climits>
#include <ostream>
#include <string>
#include <vector>

#include "doubles/trace_fixture.h"
#include "doubles/violation.h"
#include "nuv_sysloglevel.h"
#include "nuv_tracelevelinit.h"
#include "tracing/nuv_sysloglevel_internal.h"

namespace {

using nuv::g_modules;
using nuv::g_trace_output;
using support::FakeFiles;
using support::Report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_sysloglevel";
constexpr char kPath[] = "/flash/phoned.ini";
constexpr char kHasPath[] = "((void *)0) != a_file";
constexpr char kIsNotNegative[] = "a_modulHandle >= 0";
constexpr char kIsBelowSixty[] = "a_modulHandle < 60";
constexpr char kNameFits[] = "strlen( a_modulName) < 11";
constexpr char kIdentFits[] = "32 > strlen(a_ident)";

const Report kNoEntryLeft = {NUV_ASSERT_RESOURCE, kFile, "i < 60"};
const Report kRowNotEntered = {NUV_ASSERT_RESOURCE, kFile,
                               "1 == NUV_Sysloglevel_insertModulnameAndTracelevel "
                               "(gTraceLevelInit.Level.TableEntry[i].szModulName, "
                               "gTraceLevelInit.Level.TableEntry[i].u32TraceLevel)"};

// The modules as "<name> <mask>", from handle 0 on.
using Modules = std::vector<std::string>;

// A violation, its reports in order, and what it leaves: the modules, the printed text, and the lines in the system log
// other than reports.
struct Row {
  const char* name;
  void (*violate)(FakeFiles& files);
  Reports reports;
  Modules modules = {"TraceLevel 113"};
  std::string printed = "";
  std::vector<std::string> lines = {};

  friend std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }
};

Modules registered() {
  Modules modules;
  for (const NUV_SysloglevelModul& module : g_modules) {
    if (module.szModulName[0] != '\0') {
      modules.push_back(std::string(module.szModulName) + " " + std::to_string(module.u32TraceLevel));
    }
  }
  return modules;
}

// 60 modules: the first one, then "M1" to "M59".
Modules sixty(const std::string& first, uint32_t mask) {
  const std::string level = " " + std::to_string(mask);
  Modules modules = {first + level};
  for (int i = 1; i < 60; ++i) {
    modules.push_back("M" + std::to_string(i) + level);
  }
  return modules;
}

Modules sixty_but(const std::string& first, uint32_t mask, const Modules& others) {
  Modules modules = sixty(first, mask);
  for (const std::string& other : others) {
    modules[static_cast<size_t>(std::stoi(other.substr(1)))] = other;
  }
  return modules;
}

// Starts with the module TraceLevel in entry 0; all masks are 113.
class SysloglevelContracts : public support::TraceTest, public ::testing::WithParamInterface<Row> {};

TEST_P(SysloglevelContracts, AreReportedAndLeaveAWorkingRegistry) {
  NUV_Sysloglevel_construct("");

  GetParam().violate(files_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
  EXPECT_EQ(registered(), GetParam().modules);
  EXPECT_EQ(console_.take(), GetParam().printed);
  EXPECT_EQ(take_trace_texts(), GetParam().lines);

  const std::string first = NUV_Sysloglevel_getModulName(0);
  EXPECT_TRUE(NUV_Sysloglevel_changeTracelevel(first.c_str(), 113));
  NUV_Sysloglevel_error(NUV_Sysloglevel_registerModul(first.c_str()), "line.c", 7, "boom");
  EXPECT_EQ(take_log_texts(), std::vector<std::string>{"error:" + first + ": line.c:7   boom"});
  NUV_Sysloglevel_construct("");
  EXPECT_EQ(NUV_Sysloglevel_registerModul("Line"), 1);
}

void fill() {
  for (int i = 1; i < 60; ++i) {
    NUV_Sysloglevel_registerModul(("M" + std::to_string(i)).c_str());
  }
}

// Fills the registry without the module TraceLevel.
void fill_with_strangers() {
  g_modules = {};
  NUV_Sysloglevel_registerModul("M0");
  fill();
}

void write_file(FakeFiles& files, const std::string& rows) {
  files.write(kPath, "[TraceLevelInit Version]\n1\n\n[Level]\n" + rows + "\n");
}

const Row kRows[] = {
    {"constructWithANullPath",
     [](FakeFiles&) { EXPECT_EQ(NUV_Sysloglevel_construct(nullptr), 1); },
     {require_report(kFile, kHasPath)}},
    {"construct2WithANullIdent",
     [](FakeFiles&) {
       EXPECT_EQ(NUV_Sysloglevel_construct2("", nullptr), 1);
       EXPECT_STREQ(g_trace_output.ident_pointer, "");
     },
     {require_report(kFile, "((void *)0) != a_ident")}},
    {"construct2WithNulls",
     [](FakeFiles&) {
       EXPECT_EQ(NUV_Sysloglevel_construct2(nullptr, nullptr), 1);
       EXPECT_STREQ(g_trace_output.ident_pointer, "");
     },
     {require_report(kFile, kHasPath), require_report(kFile, "((void *)0) != a_ident"),
      require_report(kFile, kHasPath)}},
    {"construct2WithAnIdentOf32",
     [](FakeFiles&) {
       EXPECT_EQ(NUV_Sysloglevel_construct2("", "abcdefghijklmnopqrstuvwxyz012345"), 1);
       EXPECT_STREQ(g_trace_output.ident_pointer, "abcdefghijklmnopqrstuvwxyz0123");
     },
     {require_report(kFile, kIdentFits)}},
    {"construct2WithAnIdentOf2000",
     [](FakeFiles&) {
       EXPECT_EQ(NUV_Sysloglevel_construct2("", std::string(2000, 'x').c_str()), 1);
       EXPECT_EQ(g_trace_output.ident_pointer, std::string(30, 'x'));
     },
     {require_report(kFile, kIdentFits)}},
    {"registerANameOfEleven",
     [](FakeFiles&) {
       EXPECT_EQ(NUV_Sysloglevel_registerModul("elevenchars"), 1);
       EXPECT_STREQ(NUV_Sysloglevel_getModulName(1), "elevenchars");
       EXPECT_EQ(NUV_Sysloglevel_registerModul("elevenchar"), 2);
       EXPECT_EQ(NUV_Sysloglevel_registerModul("elevenchars"), 1);
     },
     {require_report(kFile, kNameFits), require_report(kFile, kNameFits)},
     {"TraceLevel 113", "elevenchars 113", "elevenchar 113"}},
    // An entry holds eleven characters; a longer name is found by its first eleven.
    {"registerANameOf2000Twice",
     [](FakeFiles&) {
       const std::string name(2000, 'x');
       EXPECT_EQ(NUV_Sysloglevel_registerModul(name.c_str()), 1);
       EXPECT_EQ(NUV_Sysloglevel_registerModul(name.c_str()), 1);
     },
     {require_report(kFile, kNameFits), require_report(kFile, kNameFits)},
     {"TraceLevel 113", "xxxxxxxxxxx 113"}},
    // Null counts as the empty name, which is that of the next free entry.
    {"registerOfNull", [](FakeFiles&) { EXPECT_EQ(NUV_Sysloglevel_registerModul(nullptr), 1); }, {}},
    {"registerThe61stName",
     [](FakeFiles&) {
       fill();
       EXPECT_EQ(NUV_Sysloglevel_registerModul("OneMore"), -1);
       EXPECT_EQ(NUV_Sysloglevel_registerModul(""), -1);
       EXPECT_EQ(NUV_Sysloglevel_registerModul("M59"), 59);
     },
     {kNoEntryLeft, kNoEntryLeft},
     sixty("TraceLevel", 113)},
    {"registerANameOfElevenInAFullRegistry",
     [](FakeFiles&) {
       fill();
       EXPECT_EQ(NUV_Sysloglevel_registerModul("elevenchars"), -1);
     },
     {require_report(kFile, kNameFits), kNoEntryLeft},
     sixty("TraceLevel", 113)},
    {"getModulNameOfNegativeHandles",
     [](FakeFiles&) {
       EXPECT_STREQ(NUV_Sysloglevel_getModulName(-1), "");
       EXPECT_STREQ(NUV_Sysloglevel_getModulName(INT_MIN), "");
     },
     {require_report(kFile, kIsNotNegative), require_report(kFile, kIsNotNegative)}},
    {"getModulNameOfHandlesPastTheRegistry",
     [](FakeFiles&) {
       EXPECT_STREQ(NUV_Sysloglevel_getModulName(60), "");
       EXPECT_STREQ(NUV_Sysloglevel_getModulName(61), "");
       EXPECT_STREQ(NUV_Sysloglevel_getModulName(INT_MAX), "");
     },
     {require_report(kFile, kIsBelowSixty), require_report(kFile, kIsBelowSixty),
      require_report(kFile, kIsBelowSixty)}},
    {"checkTracelevelOfNegativeHandles",
     [](FakeFiles&) {
       NUV_Sysloglevel_changeTracelevelAll(0xFFFFFFFF);
       EXPECT_FALSE(NUV_Sysloglevel_checkTracelevel(-1, NUV_SYSLOGLEVEL_INFO));
       EXPECT_FALSE(NUV_Sysloglevel_checkTracelevel(INT_MIN, NUV_SYSLOGLEVEL_INFO));
     },
     {require_report(kFile, kIsNotNegative), require_report(kFile, kIsNotNegative)},
     {"TraceLevel 4294967295"}},
    {"checkTracelevelOfATypeThatIsNone",
     [](FakeFiles&) { EXPECT_FALSE(NUV_Sysloglevel_checkTracelevel(-1, 10)); },
     {require_report(kFile, kIsNotNegative)}},
    {"checkTracelevelOfHandlesPastTheRegistry",
     [](FakeFiles&) {
       NUV_Sysloglevel_changeTracelevelAll(0xFFFFFFFF);
       EXPECT_FALSE(NUV_Sysloglevel_checkTracelevel(60, NUV_SYSLOGLEVEL_INFO));
       EXPECT_FALSE(NUV_Sysloglevel_checkTracelevel(61, NUV_SYSLOGLEVEL_INFO));
       EXPECT_FALSE(NUV_Sysloglevel_checkTracelevel(INT_MAX, NUV_SYSLOGLEVEL_INFO));
     },
     {require_report(kFile, kIsBelowSixty), require_report(kFile, kIsBelowSixty), require_report(kFile, kIsBelowSixty)},
     {"TraceLevel 4294967295"}},
    // A row for which no entry is left does not affect the other rows.
    {"readInitFileWithModulesThatHaveNoEntryLeft",
     [](FakeFiles& files) {
       fill();
       write_file(files, "0;\"M7\";7\n1;\"New\";1\n2;\"M8\";8\n3;\"Newer\";2\n");
       EXPECT_EQ(NUV_Sysloglevel_readInitFile(kPath), 1);
     },
     {kRowNotEntered, kRowNotEntered},
     sixty_but("TraceLevel", 113, {"M7 7", "M8 8"})},
    {"readInitFileWithoutAnEntryForTraceLevel",
     [](FakeFiles& files) {
       fill_with_strangers();
       write_file(files, "0;\"M7\";7\n");
       EXPECT_EQ(NUV_Sysloglevel_readInitFile(kPath), 1);
       EXPECT_EQ(gmodulHandleTraceLevelInit, -1);
     },
     {kNoEntryLeft},
     sixty_but("M0", 0, {"M7 7"})},
    // The error about the file is logged for a module that is not registered.
    {"readADamagedInitFileWithoutAnEntryForTraceLevel",
     [](FakeFiles& files) {
       fill_with_strangers();
       files.write(kPath, "damaged");
       EXPECT_EQ(NUV_Sysloglevel_readInitFile(kPath), 1);
     },
     {kNoEntryLeft, require_report(kFile, "(int)a_ModulHandle >= 0"), require_report(kFile, kIsNotNegative),
      require_report(kFile, kIsNotNegative)},
     sixty("M0", 0),
     "",
     {"error:sysloglevel: Module not registered for message: nuv_tracelevelinit:#   Restoring of table [Version] "
      "failed"}},
    {"readAnInitFileThatIsMissingWithoutAnEntryForTraceLevel",
     [](FakeFiles&) {
       fill_with_strangers();
       EXPECT_EQ(NUV_Sysloglevel_readInitFile(kPath), 1);
     },
     {kNoEntryLeft},
     sixty("M0", 0),
     "The given Init-File (/flash/phoned.ini) of TraceLevel could not open.\n"},
    {"constructOfAnInitFileInAFullRegistry",
     [](FakeFiles&) {
       fill_with_strangers();
       TraceLevelInit init;
       EXPECT_EQ(NUV_TraceLevelInit_construct(&init), 1);
       EXPECT_EQ(gmodulHandleTraceLevelInit, -1);
       EXPECT_TRUE(NUV_Level_isEmpty(&init));
     },
     {kNoEntryLeft},
     sixty("M0", 0)},
    {"handleCmdForNobody",
     [](FakeFiles&) {
       char tr[] = "tr";
       char changeall[] = "changeall";
       char level[] = "48";
       char* words[] = {tr, changeall, level};
       NUV_Sysloglevel_handleCmd(nullptr, 3, words);
     },
     {require_report(kFile, "((void *)0) != a_this")},
     {"TraceLevel 48"},
     "Tracelevel is changed for all moduls\n"},
};

INSTANTIATE_TEST_SUITE_P(All, SysloglevelContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

}  // namespace
