// The trace-level init file.
#include "nuv_tracelevelinit.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "doubles/fault_loop.h"
#include "doubles/streams.h"
#include "doubles/trace_fixture.h"
#include "nuv_sysloglevel.h"
#include "tracing/nuv_sysloglevel_internal.h"

namespace {

using support::each_fault;
using support::Fault;
using support::InputStream;
using support::OutputStream;
using Texts = std::vector<std::string>;

constexpr char kHeader[] = "[TraceLevelInit Version]\n1\n\n[Level]\n";
constexpr char kNoVersion[] = "Restoring of table [Version] failed";
constexpr char kWrongVersion[] = "Restore failed because wrong version id";
constexpr char kNoLevel[] = "Restoring of table [Level] failed";

class TraceLevelInitTest : public support::TraceTest {
 protected:
  TraceLevelInitTest() {
    NUV_Sysloglevel_construct("");
    NUV_TraceLevelInit_construct(&init_);
  }

  bool restore(const std::string& content) {
    const InputStream stream(content);
    return NUV_TraceLevelInit_restore(&init_, stream.get());
  }

  // The rows as "<id> <name> <mask>".
  Texts rows() const {
    Texts rows;
    for (uint16_t i = 0; i < init_.Level.u16ActSize; ++i) {
      const TableEntry& row = init_.Level.TableEntry[i];
      rows.push_back(std::to_string(row.u16TableId) + " " + row.szModulName + " " + std::to_string(row.u32TraceLevel));
    }
    return rows;
  }

  static std::string error_text(const std::string& why) { return "error:TraceLevel: nuv_tracelevelinit:#   " + why; }

  TraceLevelInit init_;
};

TEST_F(TraceLevelInitTest, ConstructRegistersItsModule) {
  nuv::g_modules = {};
  NUV_Sysloglevel_registerModul("Line");
  memset(&init_, 0xFF, sizeof init_);
  EXPECT_EQ(NUV_TraceLevelInit_construct(&init_), 1);
  EXPECT_EQ(gmodulHandleTraceLevelInit, 1);
  EXPECT_STREQ(NUV_Sysloglevel_getModulName(1), "TraceLevel");
  EXPECT_EQ(init_.bChanged, 0);
  EXPECT_TRUE(NUV_Level_isEmpty(&init_));
  EXPECT_EQ(NUV_TraceLevelInit_construct(&init_), 1);
  EXPECT_EQ(gmodulHandleTraceLevelInit, 1) << "the same module again";
}

TEST_F(TraceLevelInitTest, DestructAndCleanEmptyTheTable) {
  for (const auto call : {NUV_TraceLevelInit_destruct, NUV_TraceLevelInit_clean}) {
    NUV_Level_insert(&init_, "Line", 48);
    call(&init_);
    EXPECT_TRUE(NUV_Level_isEmpty(&init_));
    EXPECT_EQ(init_.Level.TableEntry[0].u32TraceLevel, 0U);
    EXPECT_EQ(init_.bChanged, 1) << "the record stays marked as changed";
  }
}

TEST_F(TraceLevelInitTest, KnowsWhetherItHasChanged) {
  EXPECT_FALSE(NUV_TraceLevelInit_hasChanged(&init_));
  NUV_Level_insert(&init_, "Line", 48);
  EXPECT_TRUE(NUV_TraceLevelInit_hasChanged(&init_));
  NUV_TraceLevelInit_construct(&init_);
  EXPECT_FALSE(NUV_TraceLevelInit_hasChanged(&init_));
  init_.bChanged = 255;
  EXPECT_TRUE(NUV_TraceLevelInit_hasChanged(&init_));
}

TEST_F(TraceLevelInitTest, WritesStringsAsLines) {
  const OutputStream stream;
  for (const char* text : {"[Level]", "", "100%s %n"}) {
    EXPECT_TRUE(NUV_TraceLevelInit_writeString(stream.get(), text));
  }
  EXPECT_EQ(stream.content(), "[Level]\n\n100%s %n\n");
}

TEST_F(TraceLevelInitTest, WritingAStringFailsWithoutRoomForItOrItsNewline) {
  for (size_t room = 0; room <= 8; ++room) {
    SCOPED_TRACE(room);
    const OutputStream stream(room);
    EXPECT_EQ(NUV_TraceLevelInit_writeString(stream.get(), "[Level]"), room == 8);
    EXPECT_EQ(stream.content(), std::string("[Level]\n").substr(0, room));
  }
}

TEST_F(TraceLevelInitTest, ReadsExactlyTheLineThatIsExpected) {
  const std::string longest(1023, 'x');
  const struct {
    const char* name;
    std::string content;
    std::string expected;
    bool result;
    std::string rest;
  } kCases[] = {
      {"the line", "[Level]\nrest", "[Level]", true, "rest"},
      {"the line without its newline", "[Level]", "[Level]", true, ""},
      {"an empty line", "\nrest", "", true, "rest"},
      {"nothing", "", "", false, ""},
      {"a longer line", "[Level]s\nrest", "[Level]", false, "rest"},
      {"a shorter line", "[Level\nrest", "[Level]", false, "rest"},
      {"another case", "[level]\nrest", "[Level]", false, "rest"},
      {"a blank in front", " [Level]\nrest", "[Level]", false, "rest"},
      {"a carriage return", "[Level]\r\nrest", "[Level]", false, "rest"},
      {"a line of 1022", longest.substr(1) + "\nrest", longest.substr(1), true, "rest"},
      {"a line of 1023, whose newline is left", longest + "\nrest", longest, true, "\nrest"},
      {"more than can be read", longest + "x\nrest", longest + "x", false, "x\nrest"},
      {"what can be read of more", longest + "x\nrest", longest, true, "x\nrest"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    InputStream stream(row.content);
    EXPECT_EQ(NUV_TraceLevelInit_readString(stream.get(), row.expected.c_str()), row.result);
    EXPECT_EQ(stream.rest(), row.rest);
  }
}

TEST_F(TraceLevelInitTest, SaveWritesTheWholeFile) {
  const OutputStream empty;
  EXPECT_TRUE(NUV_TraceLevelInit_save(&init_, empty.get()));
  EXPECT_EQ(empty.content(), std::string(kHeader) + "\n");
  NUV_Level_insert(&init_, "TraceLevel", 113);
  NUV_Level_insert(&init_, "VoipPhone", 48);
  const OutputStream full;
  EXPECT_TRUE(NUV_TraceLevelInit_save(&init_, full.get()));
  EXPECT_EQ(full.content(), "[TraceLevelInit Version]\n1\n\n[Level]\n0;\"TraceLevel\";113\n1;\"VoipPhone\";48\n\n");
  EXPECT_FALSE(NUV_TraceLevelInit_hasChanged(&init_));
}

// Tried with room for any number of bytes: save fails unless only the last newline is missing, and stops at a failure.
TEST_F(TraceLevelInitTest, SaveStopsAtTheFirstLineThatCannotBeWritten) {
  const std::string content = std::string(kHeader) + "0;\"Line\";48\n\n";
  for (size_t room = 0; room <= content.size(); ++room) {
    SCOPED_TRACE(room);
    NUV_Level_clean(&init_.Level);
    NUV_Level_insert(&init_, "Line", 48);
    const OutputStream stream(room);
    EXPECT_EQ(NUV_TraceLevelInit_save(&init_, stream.get()), room >= content.size() - 1);
    EXPECT_EQ(stream.content(), content.substr(0, room));
    EXPECT_EQ((stream.content() + stream.lost()).find("Line\"") != std::string::npos, room >= strlen(kHeader));
    EXPECT_EQ(init_.bChanged, 0) << "even if save fails";
  }
}

TEST_F(TraceLevelInitTest, RestoreReadsWholeFiles) {
  const struct {
    const char* name;
    std::string content;
    Texts rows;
  } kCases[] = {
      {"no row", std::string(kHeader) + "\n", {}},
      {"two rows",
       std::string(kHeader) + "0;\"TraceLevel\";113\n1;\"VoipPhone\";48\n\n",
       {"0 TraceLevel 113", "1 VoipPhone 48"}},
      {"another third line", "[TraceLevelInit Version]\n1\n# anything\n[Level]\n0;\"A\";1\n\n", {"0 A 1"}},
      {"something behind the end", std::string(kHeader) + "0;\"A\";1\n\n1;\"B\";2\n", {"0 A 1"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    NUV_TraceLevelInit_clean(&init_);
    init_.bChanged = 1;
    EXPECT_TRUE(restore(row.content));
    EXPECT_EQ(rows(), row.rows);
    EXPECT_FALSE(NUV_TraceLevelInit_hasChanged(&init_));
    EXPECT_EQ(take_trace_texts(), Texts{});
  }
}

TEST_F(TraceLevelInitTest, RestoreLogsWhichPartOfAFileIsWrong) {
  const struct {
    const char* name;
    std::string content;
    const char* error;
    Texts rows;
  } kCases[] = {
      {"an empty file", "", kNoVersion, {}},
      {"another first line", "[Level]\n1\n\n[Level]\n\n", kNoVersion, {}},
      {"an empty first line", std::string("\n") + kHeader + "\n", kNoVersion, {}},
      {"carriage returns", "[TraceLevelInit Version]\r\n1\r\n\r\n[Level]\r\n\r\n", kNoVersion, {}},
      {"nothing behind the first line", "[TraceLevelInit Version]\n", kWrongVersion, {}},
      {"another version", "[TraceLevelInit Version]\n2\n\n[Level]\n0;\"A\";1\n\n", kWrongVersion, {}},
      {"a version that begins alike", "[TraceLevelInit Version]\n1.0\n\n[Level]\n\n", kWrongVersion, {}},
      {"no third line", "[TraceLevelInit Version]\n1\n", kNoLevel, {}},
      {"no fourth line", "[TraceLevelInit Version]\n1\n\n", kNoLevel, {}},
      {"another section", "[TraceLevelInit Version]\n1\n\n[Levels]\n\n", kNoLevel, {}},
      {"the third line left out", "[TraceLevelInit Version]\n1\n[Level]\n0;\"A\";1\n\n", kNoLevel, {}},
      {"nothing behind the fourth line", kHeader, kNoLevel, {}},
      {"no empty line at the end", std::string(kHeader) + "0;\"A\";1\n", kNoLevel, {"0 A 1"}},
      {"a damaged row", std::string(kHeader) + "0;\"A\";1\n1;B;2\n\n", kNoLevel, {"0 A 1"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    NUV_TraceLevelInit_clean(&init_);
    for (const uint8_t changed : std::vector<uint8_t>{0, 1}) {
      NUV_TraceLevelInit_clean(&init_);
      init_.bChanged = changed;
      EXPECT_FALSE(restore(row.content));
      EXPECT_EQ(take_trace_texts(), Texts{error_text(row.error)});
      EXPECT_EQ(rows(), row.rows);
      EXPECT_EQ(init_.bChanged, changed);
    }
  }
}

// A separator may be missing at the end of the file, but here its empty line is left, and read as the next section.
TEST_F(TraceLevelInitTest, RestoreLogsWhichLineCannotBeRead) {
  const char* const kErrors[] = {kNoVersion, kWrongVersion, kNoLevel, kNoLevel, kNoLevel, kNoLevel};
  const int lines = each_fault("fgets", {EIO, EINTR}, [&](Fault& fault) {
    NUV_TraceLevelInit_clean(&init_);
    init_.bChanged = 1;
    const InputStream stream(std::string(kHeader) + "0;\"A\";1\n\n");
    const bool restored = fault.during([&] { return NUV_TraceLevelInit_restore(&init_, stream.get()); });
    EXPECT_EQ(restored, !fault.has_struck());
    EXPECT_EQ(rows(), fault.nth() > 5 ? Texts{"0 A 1"} : Texts{});
    EXPECT_EQ(init_.bChanged, fault.has_struck() ? 1 : 0);
    EXPECT_EQ(take_trace_texts(), fault.has_struck() ? Texts{error_text(kErrors[fault.nth() - 1])} : Texts{});
  });
  EXPECT_EQ(lines, 6);
}

TEST_F(TraceLevelInitTest, RestoreLogsUnderItsModule) {
  NUV_Sysloglevel_construct2("", "phoned");
  use(Output::kBoth);
  EXPECT_FALSE(restore(""));
  const std::vector<support::SyslogLine> lines = take_log();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0], line(11, lines[0].text, "phoned"));
  EXPECT_EQ(console_.take(), std::string(kStamp) + ":" + lines[0].text + "\n");
  NUV_Sysloglevel_changeTracelevel("TraceLevel", ~32U);
  EXPECT_FALSE(restore(""));
  EXPECT_TRUE(take_log().empty()) << "filtered by the module's mask";
}

TEST_F(TraceLevelInitTest, RestoreAppends) {
  NUV_Level_insert(&init_, "Line", 48);
  EXPECT_TRUE(restore(std::string(kHeader) + "0;\"A\";1\n\n"));
  EXPECT_EQ(rows(), (Texts{"0 Line 48", "0 A 1"}));
}

TEST_F(TraceLevelInitTest, RestoreReadsTheOutputOfSave) {
  for (int i = 0; i < 50; ++i) {
    NUV_Level_insert(&init_, ("Module" + std::to_string(i)).c_str(), 20U * static_cast<uint32_t>(i));
  }
  const Texts saved = rows();
  const OutputStream stream;
  EXPECT_TRUE(NUV_TraceLevelInit_save(&init_, stream.get()));
  NUV_TraceLevelInit_clean(&init_);
  EXPECT_TRUE(restore(stream.content()));
  EXPECT_EQ(rows(), saved);
}

TEST_F(TraceLevelInitTest, IntegrityCheckAlwaysSucceeds) {
  EXPECT_TRUE(NUV_TraceLevelInit_checkIntegrity(&init_));
  NUV_Level_insert(&init_, "Line", 48);
  EXPECT_TRUE(NUV_TraceLevelInit_checkIntegrity(&init_));
  EXPECT_TRUE(take_log().empty());
}

TEST_F(TraceLevelInitTest, IntegrityWarningNamesTheTable) {
  NUV_TraceLevelInit_integrityWarning("Level");
  EXPECT_EQ(take_log(), std::vector{line(12, "warning:TraceLevel   integrity check failed for Level")});
  NUV_TraceLevelInit_integrityWarning("%s%n");
  NUV_TraceLevelInit_integrityWarning(nullptr);
  EXPECT_EQ(take_trace_texts(), (Texts{"warning:TraceLevel   integrity check failed for %s%n",
                                       "warning:TraceLevel   integrity check failed for "}));
}

}  // namespace
