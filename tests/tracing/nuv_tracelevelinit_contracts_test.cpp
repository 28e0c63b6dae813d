// Violates every contract of the trace-level init file; the error handler returns.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "doubles/streams.h"
#include "doubles/trace_fixture.h"
#include "doubles/violation.h"
#include "nuv_sysloglevel.h"
#include "nuv_tracelevelinit.h"

namespace {

using support::InputStream;
using support::OutputStream;
using support::Report;
using support::require_report;

constexpr char kFile[] = "nuv_tracelevelinit";
constexpr char kContent[] = "[TraceLevelInit Version]\n1\n\n[Level]\n0;\"Line\";48\n\n";

const Report kNoStream = require_report(kFile, "a_pFileStream != ((void *)0)");
const Report kNoString = require_report(kFile, "a_pszString != ((void *)0)");

const Report kNothingToRead = require_report("nuv_utility", "((void *)0) != a_stream");
constexpr char kNotRestored[] = "error:TraceLevel: nuv_tracelevelinit:#   Restoring of table [Version] failed";

// A violation, its reports in order, and whether the record is marked as changed afterwards.
struct Row {
  const char* name;
  void (*violate)(TraceLevelInit& init);
  support::Reports reports;
  bool changed = true;
  std::vector<std::string> lines = {};  // in the system log, without reports

  friend std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }
};

// The table has the row 0 "Line" 48 and is marked as changed.
class TraceLevelInitContracts : public support::TraceTest, public ::testing::WithParamInterface<Row> {};

TEST_P(TraceLevelInitContracts, AreReportedAndLeaveAWorkingTable) {
  NUV_Sysloglevel_construct("");
  TraceLevelInit init;
  NUV_TraceLevelInit_construct(&init);
  NUV_Level_insert(&init, "Line", 48);

  GetParam().violate(init);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
  EXPECT_EQ(init.bChanged, GetParam().changed ? 1 : 0);
  EXPECT_EQ(take_trace_texts(), GetParam().lines);

  const OutputStream out;
  EXPECT_TRUE(NUV_TraceLevelInit_save(&init, out.get()));
  EXPECT_EQ(out.content(), kContent);
  NUV_TraceLevelInit_clean(&init);
  const InputStream in(kContent);
  EXPECT_TRUE(NUV_TraceLevelInit_restore(&init, in.get()));
  EXPECT_EQ(NUV_Level_findModulName(&init, "Line"), 0);
  NUV_TraceLevelInit_destruct(&init);
}

const Row kRows[] = {
    {"writeStringToNull",
     [](TraceLevelInit&) { EXPECT_FALSE(NUV_TraceLevelInit_writeString(nullptr, "[Level]")); },
     {kNoStream}},
    {"writeStringOfNull",
     [](TraceLevelInit&) {
       const OutputStream stream;
       EXPECT_FALSE(NUV_TraceLevelInit_writeString(stream.get(), nullptr));
       EXPECT_EQ(stream.content(), "");
     },
     {kNoString}},
    {"writeStringOfNulls",
     [](TraceLevelInit&) { EXPECT_FALSE(NUV_TraceLevelInit_writeString(nullptr, nullptr)); },
     {kNoStream, kNoString}},
    {"readStringFromNull",
     [](TraceLevelInit&) { EXPECT_FALSE(NUV_TraceLevelInit_readString(nullptr, "[Level]")); },
     {kNoStream, kNothingToRead}},
    // The line is read anyway, but does not match.
    {"readStringOfNull",
     [](TraceLevelInit&) {
       InputStream stream("[Level]\n\nrest");
       EXPECT_FALSE(NUV_TraceLevelInit_readString(stream.get(), nullptr));
       EXPECT_FALSE(NUV_TraceLevelInit_readString(stream.get(), nullptr));
       EXPECT_EQ(stream.rest(), "rest");
     },
     {kNoString, kNoString}},
    {"readStringOfNulls",
     [](TraceLevelInit&) { EXPECT_FALSE(NUV_TraceLevelInit_readString(nullptr, nullptr)); },
     {kNoStream, kNoString, kNothingToRead}},
    // Reported by save and again by its first writeString.
    {"saveToNull",
     [](TraceLevelInit& init) { EXPECT_FALSE(NUV_TraceLevelInit_save(&init, nullptr)); },
     {kNoStream, kNoStream},
     false},
    {"restoreFromNull",
     [](TraceLevelInit& init) { EXPECT_FALSE(NUV_TraceLevelInit_restore(&init, nullptr)); },
     {kNoStream, kNoStream, kNothingToRead},
     true,
     {kNotRestored}},
};

INSTANTIATE_TEST_SUITE_P(All, TraceLevelInitContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST(TraceLevelInitContractsNull, EveryOperationReportsANullRecord) {
  support::expect_null_reports(kFile, "a_this != ((void *)0)",
                               {{"construct", [] { NUV_TraceLevelInit_construct(nullptr); }},
                                {"destruct", [] { NUV_TraceLevelInit_destruct(nullptr); }},
                                {"clean", [] { NUV_TraceLevelInit_clean(nullptr); }},
                                {"hasChanged", [] { NUV_TraceLevelInit_hasChanged(nullptr); }},
                                {"save", [] { NUV_TraceLevelInit_save(nullptr, nullptr); }},
                                {"restore", [] { NUV_TraceLevelInit_restore(nullptr, nullptr); }},
                                {"checkIntegrity", [] { NUV_TraceLevelInit_checkIntegrity(nullptr); }}});
}

}  // namespace
