// The registry of the trace facility: modules, masks and the init file.
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "doubles/descriptors.h"
#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"
#include "doubles/trace_fixture.h"
#include "nuv_sysloglevel.h"
#include "nuv_tracelevelinit.h"
#include "tracing/nuv_sysloglevel_internal.h"

namespace {

using nuv::g_modules;
using nuv::g_trace_output;
using support::each_fault;
using support::Fault;
using support::FaultInjector;
using support::TestFifo;

constexpr char kPath[] = "/flash/phoned.ini";
constexpr char kHeader[] = "[TraceLevelInit Version]\n1\n\n[Level]\n";

struct Module {
  std::string name;
  uint32_t mask;

  bool operator==(const Module&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Module& module) {
  return out << '"' << module.name << "\" " << module.mask;
}

using Modules = std::vector<Module>;

class SysloglevelRegistryTest : public support::TraceTest {
 protected:
  // All entries up to the last one with a name.
  static Modules modules() {
    Modules modules;
    for (const NUV_SysloglevelModul& module : g_modules) {
      modules.push_back({module.szModulName, module.u32TraceLevel});
    }
    while (!modules.empty() && modules.back().name.empty()) {
      modules.pop_back();
    }
    return modules;
  }

  // Registers "M1", "M2" and so on until `count` entries are taken.
  static void fill_up_to(size_t count) {
    for (size_t i = modules().size(); i < count; ++i) {
      NUV_Sysloglevel_registerModul(("M" + std::to_string(i)).c_str());
    }
  }

  void write_file(const std::string& rows) { files_.write(kPath, kHeader + rows + "\n"); }
};

TEST_F(SysloglevelRegistryTest, HasNoModulesAndNoMasksAtStart) {
  for (int handle = 0; handle < 60; ++handle) {
    EXPECT_STREQ(NUV_Sysloglevel_getModulName(handle), "");
    for (uint32_t type = 0; type < 10; ++type) {
      EXPECT_FALSE(NUV_Sysloglevel_checkTracelevel(handle, type));
    }
  }
  EXPECT_EQ(gmodulHandleTraceLevelInit, 0);
}

TEST_F(SysloglevelRegistryTest, ConstructWithoutAFileRegistersTraceLevelOnly) {
  gmodulHandleTraceLevelInit = 7;
  EXPECT_EQ(NUV_Sysloglevel_construct(""), 1);
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}}));
  for (const NUV_SysloglevelModul& module : g_modules) {
    EXPECT_EQ(module.u32TraceLevel, 113U);
  }
  EXPECT_EQ(gmodulHandleTraceLevelInit, 0);
  EXPECT_EQ(console_.take(), "");
  EXPECT_TRUE(take_log().empty());
}

TEST_F(SysloglevelRegistryTest, ConstructClearsAllModulesAndMasks) {
  NUV_Sysloglevel_construct("");
  fill_up_to(60);
  NUV_Sysloglevel_changeTracelevelAll(7);
  EXPECT_EQ(NUV_Sysloglevel_construct(""), 1);
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}}));
  EXPECT_EQ(g_modules[59].u32TraceLevel, 113U);
  for (const char byte : g_modules[59].szModulName) {
    EXPECT_EQ(byte, '\0');
  }
}

TEST_F(SysloglevelRegistryTest, ConstructReadsTheFile) {
  write_file("0;\"Line\";48\n1;\"TraceLevel\";3\n2;\"DialPlan\";1023\n");
  EXPECT_EQ(NUV_Sysloglevel_construct(kPath), 1);
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 3}, {"Line", 48}, {"DialPlan", 1023}}));
  EXPECT_EQ(NUV_Sysloglevel_registerModul("DialPlan"), 2) << "already registered";
  EXPECT_TRUE(NUV_Sysloglevel_checkTracelevel(2, NUV_SYSLOGLEVEL_TRACEDO));
  EXPECT_EQ(NUV_Sysloglevel_registerModul("Console"), 3);
  EXPECT_EQ(g_modules[3].u32TraceLevel, 113U);
}

TEST_F(SysloglevelRegistryTest, ConstructIgnoresAMissingFile) {
  EXPECT_EQ(NUV_Sysloglevel_construct(kPath), 1);
  EXPECT_EQ(console_.take(), "The given Init-File (/flash/phoned.ini) of TraceLevel could not open.\n");
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}}));
}

// The marker file turns the console off and changes no other switch.
TEST_F(SysloglevelRegistryTest, ConstructKeepsAQuietDeviceQuiet) {
  for (const bool quiet : {false, true}) {
    SCOPED_TRACE(quiet);
    if (quiet) {
      files_.write("/etc/quiet", "");
    }
    for (const Output output : {Output::kLog, Output::kConsole, Output::kBoth, Output::kNowhere}) {
      use(output);
      const nuv::TraceOutput before = g_trace_output;
      EXPECT_EQ(NUV_Sysloglevel_construct(""), 1);
      EXPECT_EQ(g_trace_output.syslog, before.syslog);
      EXPECT_EQ(g_trace_output.console, quiet ? 0 : before.console);
    }
  }
}

TEST_F(SysloglevelRegistryTest, Construct2DoesTheSameAndKeepsTheIdent) {
  write_file("0;\"Line\";48\n");
  files_.write("/etc/quiet", "");
  use(Output::kBoth);
  std::string ident = "phoned";
  EXPECT_EQ(NUV_Sysloglevel_construct2(kPath, ident.c_str()), 1);
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}, {"Line", 48}}));
  EXPECT_EQ(g_trace_output.console, 0);
  ident = "gone";
  NUV_Sysloglevel_error(1, "line.c", 7, "boom");
  EXPECT_EQ(take_log(), std::vector{line(11, "error:Line: line.c:7   boom", "phoned")});
}

TEST_F(SysloglevelRegistryTest, Construct2KeepsThirtyCharactersOfTheIdent) {
  const std::string letters = "abcdefghijklmnopqrstuvwxyz01234";
  const struct {
    size_t given;
    size_t kept;
  } kCases[] = {{0, 0}, {1, 1}, {29, 29}, {30, 30}, {31, 30}};
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.given);
    EXPECT_EQ(NUV_Sysloglevel_construct2("", letters.substr(0, row.given).c_str()), 1);
    EXPECT_EQ(g_trace_output.ident_pointer, g_trace_output.ident);
    EXPECT_EQ(g_trace_output.ident, letters.substr(0, row.kept));
    EXPECT_EQ(g_trace_output.ident[31], '\0');
  }
}

TEST_F(SysloglevelRegistryTest, DestructKeepsEverything) {
  NUV_Sysloglevel_construct2("", "phoned");
  NUV_Sysloglevel_destruct();
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}}));
  EXPECT_STREQ(g_trace_output.ident_pointer, "phoned");
}

TEST_F(SysloglevelRegistryTest, RegisterReturnsOneHandleForEachName) {
  NUV_Sysloglevel_construct("");
  EXPECT_EQ(NUV_Sysloglevel_registerModul("Line"), 1);
  EXPECT_EQ(NUV_Sysloglevel_registerModul("line"), 2);
  EXPECT_EQ(NUV_Sysloglevel_registerModul("Lin"), 3);
  EXPECT_EQ(NUV_Sysloglevel_registerModul("Line2"), 4);
  EXPECT_EQ(NUV_Sysloglevel_registerModul("TenLetters"), 5);
  EXPECT_EQ(NUV_Sysloglevel_registerModul("TraceLevel"), 0);
  NUV_Sysloglevel_changeTracelevel("Line", 7);
  EXPECT_EQ(NUV_Sysloglevel_registerModul("Line"), 1) << "again";
  EXPECT_EQ(
      modules(),
      (Modules{{"TraceLevel", 113}, {"Line", 7}, {"line", 113}, {"Lin", 113}, {"Line2", 113}, {"TenLetters", 113}}));
}

TEST_F(SysloglevelRegistryTest, NewModuleGetsTheMaskOfItsEntry) {
  NUV_Sysloglevel_construct("");
  NUV_Sysloglevel_changeTracelevelAll(5);
  NUV_Sysloglevel_registerModul("Line");
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 5}, {"Line", 5}}));
}

// The empty name matches the first free entry, but does not take it.
TEST_F(SysloglevelRegistryTest, RegisterTakesNoEntryForAnEmptyName) {
  NUV_Sysloglevel_construct("");
  EXPECT_EQ(NUV_Sysloglevel_registerModul(""), 1);
  EXPECT_EQ(NUV_Sysloglevel_registerModul(nullptr), 1);
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}}));
  EXPECT_EQ(NUV_Sysloglevel_registerModul("Line"), 1);
}

TEST_F(SysloglevelRegistryTest, InsertSetsOrAddsAModule) {
  NUV_Sysloglevel_construct("");
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel("Line", 48));
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel("DialPlan", 0xFFFFFFFF));
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel("Line", 7));
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel("TraceLevel", 0));
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 0}, {"Line", 7}, {"DialPlan", 0xFFFFFFFF}}));
}

// insert has no contract on the name's length; an entry holds 11 characters.
TEST_F(SysloglevelRegistryTest, InsertCutsNamesAtElevenCharacters) {
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel("abcdefghij", 1));
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel("abcdefghijk", 2));
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel("abcdefghijl", 3));
  EXPECT_EQ(modules(), (Modules{{"abcdefghij", 1}, {"abcdefghijk", 2}, {"abcdefghijl", 3}}));
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel("abcdefghijkl", 4)) << "when cut, the same as the second";
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel(std::string(2000, 'x').c_str(), 5));
  EXPECT_EQ(modules(), (Modules{{"abcdefghij", 1}, {"abcdefghijk", 4}, {"abcdefghijl", 3}, {"xxxxxxxxxxx", 5}}));
}

TEST_F(SysloglevelRegistryTest, ChangeFindsANameOfEleven) {
  NUV_Sysloglevel_insertModulnameAndTracelevel("abcdefghij", 1);
  NUV_Sysloglevel_insertModulnameAndTracelevel("abcdefghijk", 2);
  EXPECT_TRUE(NUV_Sysloglevel_changeTracelevel("abcdefghijk", 48));
  EXPECT_EQ(modules(), (Modules{{"abcdefghij", 1}, {"abcdefghijk", 48}}));
  EXPECT_FALSE(NUV_Sysloglevel_changeTracelevel("abcdefghijkl", 49)) << "no entry has this name";
  EXPECT_FALSE(NUV_Sysloglevel_changeTracelevel("abcdefghijl", 49));
  EXPECT_EQ(modules(), (Modules{{"abcdefghij", 1}, {"abcdefghijk", 48}}));
}

// A row of an init file has room for ten characters.
TEST_F(SysloglevelRegistryTest, SaveCutsANameOfEleven) {
  NUV_Sysloglevel_insertModulnameAndTracelevel("abcdefghijk", 2);
  EXPECT_TRUE(NUV_Sysloglevel_saveInitFile(kPath));
  EXPECT_EQ(files_.read(kPath), std::string(kHeader) + "0;\"abcdefghij\";2\n\n");
}

TEST_F(SysloglevelRegistryTest, InsertOfAnEmptyNamePresetsTheNextModule) {
  NUV_Sysloglevel_construct("");
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel("", 48));
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}}));
  EXPECT_EQ(g_modules[1].u32TraceLevel, 48U);
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel(nullptr, 49));
  EXPECT_EQ(g_modules[1].u32TraceLevel, 49U);
}

TEST_F(SysloglevelRegistryTest, InsertFailsWhenTheRegistryIsFull) {
  NUV_Sysloglevel_construct("");
  fill_up_to(60);
  const Modules full = modules();
  EXPECT_FALSE(NUV_Sysloglevel_insertModulnameAndTracelevel("OneMore", 48));
  EXPECT_FALSE(NUV_Sysloglevel_insertModulnameAndTracelevel("", 48));
  EXPECT_EQ(modules(), full);
  EXPECT_TRUE(NUV_Sysloglevel_insertModulnameAndTracelevel("M59", 48));
  EXPECT_EQ(modules().back(), (Module{"M59", 48}));
}

TEST_F(SysloglevelRegistryTest, EveryTypeHasABitOfTheMask) {
  NUV_Sysloglevel_construct("");
  const int module = NUV_Sysloglevel_registerModul("Line");
  for (uint32_t set = 0; set < 10; ++set) {
    NUV_Sysloglevel_changeTracelevel("Line", 1U << set);
    for (uint32_t type = 0; type < 10; ++type) {
      EXPECT_EQ(NUV_Sysloglevel_checkTracelevel(module, type), type == set) << type << " of " << set;
    }
  }
}

TEST_F(SysloglevelRegistryTest, DefaultMaskPassesFourTypes) {
  NUV_Sysloglevel_construct("");
  const int module = NUV_Sysloglevel_registerModul("Line");
  std::vector<std::string> types;
  for (uint32_t type = 0; type < 10; ++type) {
    if (NUV_Sysloglevel_checkTracelevel(module, type)) {
      types.emplace_back(NUV_ESysloglevelType_name(type));
    }
  }
  EXPECT_EQ(types, (std::vector<std::string>{"info", "warning", "error", "guioutput"}));
}

TEST_F(SysloglevelRegistryTest, UnknownTypesNeverPass) {
  NUV_Sysloglevel_changeTracelevelAll(0xFFFFFFFF);
  for (const uint32_t type : {10U, 11U, 31U, 32U, 33U, 64U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_FALSE(NUV_Sysloglevel_checkTracelevel(0, type)) << type;
  }
}

TEST_F(SysloglevelRegistryTest, ChangeSetsTheMaskOfOneModule) {
  NUV_Sysloglevel_construct("");
  fill_up_to(3);
  EXPECT_TRUE(NUV_Sysloglevel_changeTracelevel("M1", 48));
  EXPECT_TRUE(NUV_Sysloglevel_changeTracelevel("TraceLevel", 0xFFFFFFFF));
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 0xFFFFFFFF}, {"M1", 48}, {"M2", 113}}));
}

TEST_F(SysloglevelRegistryTest, ChangeFindsTheLastOfSixty) {
  NUV_Sysloglevel_construct("");
  fill_up_to(60);
  EXPECT_TRUE(NUV_Sysloglevel_changeTracelevel("M59", 48));
  EXPECT_EQ(modules().back(), (Module{"M59", 48}));
}

// Entries are never freed, but this operation does not rely on that.
TEST_F(SysloglevelRegistryTest, ChangeSearchesBeyondAFreeEntry) {
  NUV_Sysloglevel_construct("");
  strcpy(g_modules[5].szModulName, "Line");
  EXPECT_TRUE(NUV_Sysloglevel_changeTracelevel("Line", 48));
  EXPECT_EQ(g_modules[5].u32TraceLevel, 48U);
}

TEST_F(SysloglevelRegistryTest, ChangeRefusesUnknownNames) {
  NUV_Sysloglevel_construct("");
  NUV_Sysloglevel_registerModul("TenLetters");
  const Modules before = modules();
  for (const char* name : {"Line", "tenletters", "TenLetter", "TenLetters2", "", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(NUV_Sysloglevel_changeTracelevel(name, 48));
  }
  EXPECT_EQ(modules(), before);
  EXPECT_EQ(g_modules[2].u32TraceLevel, 113U) << "a free entry keeps its mask";
}

TEST_F(SysloglevelRegistryTest, ChangeAllSetsFreeEntriesToo) {
  NUV_Sysloglevel_construct("");
  NUV_Sysloglevel_changeTracelevelAll(0xFFFFFFFF);
  for (const NUV_SysloglevelModul& module : g_modules) {
    EXPECT_EQ(module.u32TraceLevel, 0xFFFFFFFFU);
  }
  EXPECT_EQ(modules().size(), 1U);
}

TEST_F(SysloglevelRegistryTest, ReadSetsTheModulesThatTheFileNames) {
  NUV_Sysloglevel_construct("");
  fill_up_to(3);
  write_file("17;\"M2\";48\n17;\"New\";1\n0;\"M2\";49\n");
  NUV_Sysloglevel_readInitFile(kPath);
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}, {"M1", 113}, {"M2", 49}, {"New", 1}}));
  EXPECT_EQ(console_.take(), "");
}

TEST_F(SysloglevelRegistryTest, ReadRegistersTraceLevelIfItIsMissing) {
  NUV_Sysloglevel_registerModul("Line");
  NUV_Sysloglevel_readInitFile(kPath);
  EXPECT_EQ(modules(), (Modules{{"Line", 0}, {"TraceLevel", 0}}));
  EXPECT_EQ(gmodulHandleTraceLevelInit, 1);
}

TEST_F(SysloglevelRegistryTest, ReadReportsAFileThatCannotBeOpened) {
  NUV_Sysloglevel_construct("");
  fill_up_to(3);
  const Modules before = modules();
  const struct {
    const char* path;
    const char* printed;
  } kCases[] = {
      {kPath, "The given Init-File (/flash/phoned.ini) of TraceLevel could not open.\n"},
      {"/flash/%s%n", "The given Init-File (/flash/%s%n) of TraceLevel could not open.\n"},
      {"", "The given Init-File () of TraceLevel could not open.\n"},
      {nullptr, "The given Init-File () of TraceLevel could not open.\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.printed);
    NUV_Sysloglevel_readInitFile(row.path);
    EXPECT_EQ(console_.take(), row.printed);
    EXPECT_EQ(modules(), before);
  }
  write_file("0;\"M1\";48\n");
  each_fault("fopen", {EMFILE, EACCES, EINTR}, [&](Fault& fault) {
    NUV_Sysloglevel_changeTracelevel("M1", 113);
    fault.during([] { NUV_Sysloglevel_readInitFile(kPath); });
    EXPECT_EQ(console_.take(), fault.has_struck() ? kCases[0].printed : "");
    EXPECT_EQ(modules()[1], (Module{"M1", fault.has_struck() ? 113U : 48U}));
  });
}

// The FIFO has a writer, so it could be read.
TEST_F(SysloglevelRegistryTest, ReadRefusesAFifo) {
  NUV_Sysloglevel_construct("");
  const TestFifo fifo(files_.real_path(kPath));
  const std::string content = std::string(kHeader) + "0;\"M1\";48\n\n";
  fifo.put(content);
  NUV_Sysloglevel_readInitFile(kPath);
  EXPECT_EQ(console_.take(), "The given Init-File (/flash/phoned.ini) of TraceLevel could not open.\n");
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}}));
  EXPECT_EQ(fifo.take(), content);
}

TEST_F(SysloglevelRegistryTest, ReadFindsNoInitFileInADirectory) {
  NUV_Sysloglevel_construct("");
  std::filesystem::create_directory(files_.real_path(kPath));
  NUV_Sysloglevel_readInitFile(kPath);
  EXPECT_EQ(console_.take(), "") << "a directory can be opened";
  EXPECT_EQ(take_trace_texts().size(), 1U) << "an error line of the module TraceLevel";
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}}));
}

TEST_F(SysloglevelRegistryTest, ReadAndSaveFollowALink) {
  NUV_Sysloglevel_construct("");
  std::filesystem::create_symlink("other.ini", files_.real_path(kPath));
  NUV_Sysloglevel_readInitFile(kPath);
  EXPECT_EQ(console_.take(), "The given Init-File (/flash/phoned.ini) of TraceLevel could not open.\n");
  NUV_Sysloglevel_registerModul("Line");
  NUV_Sysloglevel_changeTracelevel("Line", 48);
  EXPECT_TRUE(NUV_Sysloglevel_saveInitFile(kPath));
  EXPECT_EQ(files_.read("/flash/other.ini"), std::string(kHeader) + "0;\"TraceLevel\";113\n1;\"Line\";48\n\n");
  NUV_Sysloglevel_construct(kPath);
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}, {"Line", 48}}));
}

// The rows before a failed read are used. Failures of stat() and fclose() are ignored.
TEST_F(SysloglevelRegistryTest, ReadUsesTheRowsThatItGets) {
  NUV_Sysloglevel_construct("");
  fill_up_to(3);
  write_file("0;\"M1\";48\n1;\"M2\";49\n");
  const int lines = each_fault("fgets", {EIO, EINTR}, [&](Fault& fault) {
    NUV_Sysloglevel_changeTracelevelAll(113);
    const int result = fault.during([] { return NUV_Sysloglevel_readInitFile(kPath); });
    EXPECT_EQ(result, 1);
    EXPECT_EQ(
        modules(),
        (Modules{{"TraceLevel", 113}, {"M1", fault.nth() > 5 ? 48U : 113U}, {"M2", fault.nth() > 6 ? 49U : 113U}}));
    EXPECT_EQ(take_trace_texts().size(), fault.has_struck() ? 1U : 0U) << "an error line of the module TraceLevel";
  });
  EXPECT_EQ(lines, 7);
  for (const char* function : {"stat", "fclose"}) {
    each_fault(function, {EIO, EINTR}, [&](Fault& fault) {
      NUV_Sysloglevel_changeTracelevelAll(113);
      fault.during([] { NUV_Sysloglevel_readInitFile(kPath); });
      EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}, {"M1", 48}, {"M2", 49}}));
      EXPECT_EQ(take_trace_texts(), std::vector<std::string>{});
      EXPECT_EQ(console_.take(), "");
    });
  }
}

TEST_F(SysloglevelRegistryTest, ReadUsesTheRowsBeforeADamagedOne) {
  NUV_Sysloglevel_construct("");
  fill_up_to(3);
  files_.write(kPath, std::string(kHeader) + "0;\"M1\";48\n1;\"M2;49\n\n");
  NUV_Sysloglevel_readInitFile(kPath);
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}, {"M1", 48}, {"M2", 113}}));
  ASSERT_EQ(take_trace_texts().size(), 1U) << "an error line of the module TraceLevel";
}

TEST_F(SysloglevelRegistryTest, ReadTakesNothingFromAForeignFile) {
  NUV_Sysloglevel_construct("");
  files_.write(kPath, "0;\"M1\";48\n\n");
  NUV_Sysloglevel_readInitFile(kPath);
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}}));
  EXPECT_EQ(take_trace_texts().size(), 1U);
}

TEST_F(SysloglevelRegistryTest, ReadUsesOnlyTheRowsOfTheLastFile) {
  NUV_Sysloglevel_construct("");
  write_file("0;\"Line\";48\n");
  NUV_Sysloglevel_readInitFile(kPath);
  NUV_Sysloglevel_changeTracelevel("Line", 1);
  write_file("0;\"DialPlan\";49\n");
  NUV_Sysloglevel_readInitFile(kPath);
  EXPECT_EQ(modules(), (Modules{{"TraceLevel", 113}, {"Line", 1}, {"DialPlan", 49}}));
}

TEST_F(SysloglevelRegistryTest, ReadUsesAtMostFiftyRows) {
  NUV_Sysloglevel_construct("");
  std::string rows;
  for (int i = 1; i <= 51; ++i) {
    rows += std::to_string(i) + ";\"M" + std::to_string(i) + "\";" + std::to_string(i) + "\n";
  }
  write_file(rows);
  NUV_Sysloglevel_readInitFile(kPath);
  EXPECT_EQ(modules().size(), 51U) << "TraceLevel and 50 rows";
  EXPECT_EQ(modules().back(), (Module{"M50", 50}));
  EXPECT_EQ(take_trace_texts().size(), 1U);
}

TEST_F(SysloglevelRegistryTest, SaveWritesTheModulesInTheirOrder) {
  NUV_Sysloglevel_construct("");
  NUV_Sysloglevel_registerModul("VoipPhone");
  NUV_Sysloglevel_changeTracelevel("VoipPhone", 48);
  NUV_Sysloglevel_changeTracelevelAll(48);
  NUV_Sysloglevel_changeTracelevel("TraceLevel", 113);
  EXPECT_TRUE(NUV_Sysloglevel_saveInitFile(kPath));
  EXPECT_EQ(files_.read(kPath), std::string(kHeader) + "0;\"TraceLevel\";113\n1;\"VoipPhone\";48\n\n");
}

TEST_F(SysloglevelRegistryTest, SaveWritesAnEmptyTableBeforeAnyModule) {
  files_.write(kPath, "a longer content than the new one, of which nothing may be left");
  EXPECT_TRUE(NUV_Sysloglevel_saveInitFile(kPath));
  EXPECT_EQ(files_.read(kPath), std::string(kHeader) + "\n");
}

TEST_F(SysloglevelRegistryTest, SaveWritesTheFirstFiftyModules) {
  NUV_Sysloglevel_construct("");
  std::string rows = "0;\"TraceLevel\";113\n";
  for (int i = 1; i < 50; ++i) {
    rows += std::to_string(i) + ";\"M" + std::to_string(i) + "\";113\n";
  }
  for (const size_t count : {49U, 50U, 51U, 60U}) {
    SCOPED_TRACE(count);
    fill_up_to(count);
    EXPECT_TRUE(NUV_Sysloglevel_saveInitFile(kPath));
    const std::string expected = count < 50 ? rows.substr(0, rows.find("49;")) : rows;
    EXPECT_EQ(files_.read(kPath), kHeader + expected + "\n");
  }
}

TEST_F(SysloglevelRegistryTest, SaveWritesNoRowsThatWereReadBefore) {
  NUV_Sysloglevel_construct("");
  write_file("0;\"Line\";48\n1;\"DialPlan\";49\n");
  NUV_Sysloglevel_readInitFile(kPath);
  NUV_Sysloglevel_construct("");
  EXPECT_TRUE(NUV_Sysloglevel_saveInitFile(kPath));
  EXPECT_EQ(files_.read(kPath), std::string(kHeader) + "0;\"TraceLevel\";113\n\n");
}

TEST_F(SysloglevelRegistryTest, ConstructRestoresTheSavedMasks) {
  NUV_Sysloglevel_construct("");
  fill_up_to(10);
  for (uint32_t i = 0; i < 10; ++i) {
    g_modules[i].u32TraceLevel = 100 * i;
  }
  const Modules saved = modules();
  EXPECT_TRUE(NUV_Sysloglevel_saveInitFile(kPath));
  NUV_Sysloglevel_construct(kPath);
  EXPECT_EQ(modules(), saved);
}

TEST_F(SysloglevelRegistryTest, SaveFailsIfTheFileCannotBeWritten) {
  NUV_Sysloglevel_construct("");
  EXPECT_FALSE(NUV_Sysloglevel_saveInitFile("/flash/missing/phoned.ini"));
  EXPECT_FALSE(NUV_Sysloglevel_saveInitFile(""));
  EXPECT_FALSE(NUV_Sysloglevel_saveInitFile(nullptr));
  EXPECT_FALSE(NUV_Sysloglevel_saveInitFile("/dev/full")) << "the error shows only when the file is closed";
  std::filesystem::create_directory(files_.real_path("/flash/directory"));
  EXPECT_FALSE(NUV_Sysloglevel_saveInitFile("/flash/directory"));
}

TEST_F(SysloglevelRegistryTest, SaveRefusesAFifo) {
  NUV_Sysloglevel_construct("");
  const TestFifo fifo(files_.real_path(kPath));
  EXPECT_FALSE(NUV_Sysloglevel_saveInitFile(kPath));
  EXPECT_EQ(fifo.take(), "");
}

TEST_F(SysloglevelRegistryTest, SaveFailsWithAnyOfItsSteps) {
  NUV_Sysloglevel_construct("");
  const std::string content = std::string(kHeader) + "0;\"TraceLevel\";113\n\n";
  int pieces = 0;
  {
    const FaultInjector counter("fprintf", 0, 0);
    EXPECT_TRUE(NUV_Sysloglevel_saveInitFile(kPath));
    pieces = counter.calls();
  }
  for (const std::string function : {"stat", "fopen", "fprintf", "fclose"}) {
    each_fault(function.c_str(), {EIO, ENOSPC, EINTR}, [&](Fault& fault) {
      const bool saved = fault.during([] { return NUV_Sysloglevel_saveInitFile(kPath); });
      // If stat() fails, the file is opened anyway. The final newline may be missing.
      const bool is_overlooked = function == "stat" || (function == "fprintf" && fault.nth() == pieces);
      EXPECT_EQ(saved, !fault.has_struck() || is_overlooked);
      EXPECT_TRUE(NUV_Sysloglevel_saveInitFile(kPath)) << "the next attempt";
      EXPECT_EQ(files_.read(kPath), content);
    });
  }
}

TEST_F(SysloglevelRegistryTest, FailedSearchForTheMarkerFileCountsAsMissing) {
  files_.write("/etc/quiet", "");
  each_fault("access", {EACCES, EIO, EINTR}, [](Fault& fault) {
    use(Output::kBoth);
    fault.during([] { NUV_Sysloglevel_construct(""); });
    EXPECT_EQ(g_trace_output.console, fault.has_struck() ? 1 : 0);
  });
}

TEST_F(SysloglevelRegistryTest, EveryTypeHasAName) {
  const char* const kNames[] = {"info",  "trace",     "debug",   "dump",    "warning",
                                "error", "guioutput", "tracemf", "tracect", "tracedo"};
  for (uint32_t type = 0; type < std::size(kNames); ++type) {
    EXPECT_STREQ(NUV_ESysloglevelType_name(type), kNames[type]);
  }
  EXPECT_STREQ(NUV_ESysloglevelType_name(10), "unknown");
  EXPECT_STREQ(NUV_ESysloglevelType_name(0xFFFFFFFF), "unknown");
  EXPECT_STREQ(NUV_ESysloglevelType_name(NUV_SYSLOGLEVEL_TRACEDO), "tracedo");
}

TEST_F(SysloglevelRegistryTest, PrintsAMaskInWords) {
  const struct {
    uint32_t mask;
    const char* printed;
  } kCases[] = {
      {0, "\n"},
      {1, " ( Info)\n"},
      {2, " ( Trace)\n"},
      {4, " ( Debug)\n"},
      {8, " ( Dump)\n"},
      {16, " ( Warning)\n"},
      {32, " ( Error)\n"},
      {64, " ( GuiOutput)\n"},
      {128, " ( TraceMf)\n"},
      {256, " ( TraceCt)\n"},
      {512, " ( TraceDo)\n"},
      {48, " ( Warning Error)\n"},
      {113, " ( Info Warning Error GuiOutput)\n"},
      {1023, " ( Info Trace Debug Dump Warning Error GuiOutput TraceMf TraceCt TraceDo)\n"},
      {1024, " ()\n"},
      {0xFFFFFFFF, " ( Info Trace Debug Dump Warning Error GuiOutput TraceMf TraceCt TraceDo)\n"},
  };
  for (const auto& row : kCases) {
    NUV_Sysloglevel_printTracelevel(row.mask);
    EXPECT_EQ(console_.take(), row.printed) << row.mask;
  }
}

}  // namespace
