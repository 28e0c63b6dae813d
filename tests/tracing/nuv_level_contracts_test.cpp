// Every check of the level table and of its access functions, violated while the error handler returns.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

#include "doubles/contract_recorder.h"
#include "doubles/streams.h"
#include "doubles/violation.h"
#include "nuv_level.h"
#include "nuv_tracelevelinit.h"

namespace {

using support::ContractRecorder;
using support::ensure_report;
using support::InputStream;
using support::require_report;
using Ids = std::vector<uint16_t>;

constexpr char kTable[] = "nuv_level";
constexpr char kAccess[] = "nuv_level_access";
constexpr char kIsKnown[] = "iIndex >= 0";
constexpr char kHasName[] = "a_pszModulName != ((void *)0)";
constexpr char kHasStream[] = "a_pFileStream != ((void *)0)";
constexpr char kHasRow[] = "a_u16Index < a_pDB->Level.u16ActSize";
constexpr char kHasRoom[] = "a_pDB->Level.u16ActSize < 50";
constexpr char kIsThere[] = "NUV_Level_indexOfId(&a_pDB->Level, a_u16TableId) >= 0";
constexpr char kRowIsLast[] = "(a_this->u16ActSize - 1) == NUV_Level_indexOfId(a_this, u16LastId)";
constexpr char kNameStored[] = "strncmp(NUV_Level_getModulName(a_pDB, a_u16TableId), a_pszModulName, 11-1) == 0";
constexpr char kLevelStored[] = "NUV_Level_getTraceLevel(a_pDB, a_u16TableId) == a_u32TraceLevel";

using Row = support::Violation<TraceLevelInit>;

Ids ids_of(const TraceLevelInit& record) {
  Ids ids;
  for (uint16_t i = 0; i < record.Level.u16ActSize; ++i) {
    ids.push_back(NUV_Level_getIdAtIndex(&record, i));
  }
  return ids;
}

// The table has the rows 9 "Line" 48 and 4 "DialPlan" 113, and nothing has changed.
class LevelContracts : public ::testing::TestWithParam<Row> {};

TEST_P(LevelContracts, AreReportedAndLeaveAWorkingTable) {
  ContractRecorder contracts;
  struct {
    TraceLevelInit record = {};
    std::array<uint8_t, 64> guard = {};
  } memory;
  TraceLevelInit& record = memory.record;
  NUV_Level_construct(&record.Level);
  const InputStream rows("9;\"Line\";48\n4;\"DialPlan\";113\n\n");
  ASSERT_TRUE(NUV_Level_restore(&record.Level, rows.get()));

  GetParam().violate(record);
  EXPECT_EQ(contracts.take(), GetParam().reports);

  const uint16_t count = NUV_Level_actSize(&record);
  ASSERT_LE(count, 50);
  if (NUV_Level_isFull(&record)) {
    NUV_Level_delete(&record, NUV_Level_getIdAtIndex(&record, 0));
  }
  const uint16_t id = NUV_Level_insert(&record, "Console", 7);
  EXPECT_EQ(NUV_Level_findModulName(&record, "Console"), id);
  EXPECT_EQ(NUV_Level_getTraceLevel(&record, id), 7U);
  EXPECT_TRUE(NUV_Level_delete(&record, id));
  EXPECT_FALSE(NUV_Level_findId(&record, id));
  NUV_Level_destruct(&record.Level);
  EXPECT_EQ(memory.guard, (std::array<uint8_t, 64>{}));
}

void fill(TraceLevelInit& record) {
  while (!NUV_Level_isFull(&record)) {
    NUV_Level_insert(&record, "More", 1);
  }
}

const Row kRows[] = {
    {"lastIdOfAnEmptyTable",
     [](TraceLevelInit& record) {
       NUV_Level_clean(&record.Level);
       EXPECT_EQ(NUV_Level_lastId(&record.Level), 0);
     },
     {ensure_report(kTable, "NUV_Level_indexOfId(a_this, u16LastTableId) >= 0")}},
    {"insertRowIntoAFullTable",
     [](TraceLevelInit& record) {
       fill(record);
       const Ids full = ids_of(record);
       NUV_Level_insertRow(&record.Level);
       EXPECT_EQ(ids_of(record), full);
     },
     {ensure_report(kTable, kRowIsLast)}},
    // The row that it asks for would lie outside.
    {"insertRowIntoATableWithASpoiltCount",
     [](TraceLevelInit& record) {
       record.Level.u16ActSize = 65535;
       NUV_Level_insertRow(&record.Level);
       EXPECT_EQ(record.Level.u16ActSize, 65535);
       record.Level.u16ActSize = 2;
       EXPECT_EQ(ids_of(record), (Ids{9, 4}));
     },
     {ensure_report(kTable, kRowIsLast)}},
    {"saveToANullStream",
     [](TraceLevelInit& record) { EXPECT_FALSE(NUV_Level_save(&record.Level, nullptr)); },
     {require_report(kTable, kHasStream)}},
    {"restoreFromANullStream",
     [](TraceLevelInit& record) {
       EXPECT_FALSE(NUV_Level_restore(&record.Level, nullptr));
       EXPECT_EQ(ids_of(record), (Ids{9, 4}));
     },
     {require_report(kTable, kHasStream)}},
    {"getIdAtIndexPastTheLastRow",
     [](TraceLevelInit& record) { EXPECT_EQ(NUV_Level_getIdAtIndex(&record, 2), 0); },
     {require_report(kAccess, kHasRow)}},
    {"getIdAtIndexPastTheTable",
     [](TraceLevelInit& record) {
       for (const uint16_t index : Ids{49, 50, 65535}) {
         EXPECT_EQ(NUV_Level_getIdAtIndex(&record, index), 0);
       }
     },
     {require_report(kAccess, kHasRow), require_report(kAccess, kHasRow), require_report(kAccess, kHasRow)}},
    {"getIndexAtIdThatNoRowHas",
     [](TraceLevelInit& record) { EXPECT_EQ(NUV_Level_getIndexAtId(&record, 0), 65535); },
     {require_report(kAccess, kIsKnown)}},
    {"insertIntoAFullTable",
     [](TraceLevelInit& record) {
       fill(record);
       const Ids full = ids_of(record);
       EXPECT_EQ(NUV_Level_insert(&record, "OneMore", 3), 58);
       EXPECT_EQ(ids_of(record), full);
       EXPECT_EQ(NUV_Level_findTraceLevel(&record, 3), -1);
     },
     {require_report(kAccess, kHasRoom), ensure_report(kTable, kRowIsLast), require_report(kAccess, kIsKnown),
      require_report(kAccess, kIsKnown), ensure_report(kAccess, kNameStored), require_report(kAccess, kIsKnown),
      require_report(kAccess, kIsKnown), ensure_report(kAccess, kLevelStored)}},
    // Even where the next id would be one that a row has already, that row stays as it is.
    {"insertIntoAFullTableWhoseIdsWrap",
     [](TraceLevelInit& record) {
       fill(record);
       record.Level.TableEntry[30].u16TableId = 65535;
       const Level full = record.Level;
       EXPECT_EQ(NUV_Level_insert(&record, "OneMore", 3), 0);
       EXPECT_EQ(memcmp(&record.Level, &full, sizeof full), 0);
     },
     {require_report(kAccess, kHasRoom), ensure_report(kTable, kRowIsLast), require_report(kAccess, kIsKnown),
      require_report(kAccess, kIsKnown), ensure_report(kAccess, kNameStored), require_report(kAccess, kIsKnown),
      require_report(kAccess, kIsKnown), ensure_report(kAccess, kLevelStored)}},
    {"insertOfANullName",
     [](TraceLevelInit& record) {
       EXPECT_EQ(NUV_Level_insert(&record, nullptr, 3), 10);
       EXPECT_STREQ(NUV_Level_getModulName(&record, 10), "");
       EXPECT_EQ(NUV_Level_getTraceLevel(&record, 10), 3U);
     },
     {require_report(kAccess, kHasName), require_report(kAccess, kHasName)}},
    {"deleteOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) {
       EXPECT_TRUE(NUV_Level_delete(&record, 0));
       EXPECT_EQ(ids_of(record), (Ids{9, 4}));
       EXPECT_EQ(record.bChanged, 1);
     },
     {require_report(kAccess, kIsThere)}},
    {"deleteFromAnEmptyTable",
     [](TraceLevelInit& record) {
       NUV_Level_clean(&record.Level);
       EXPECT_TRUE(NUV_Level_delete(&record, 0));
       EXPECT_TRUE(NUV_Level_isEmpty(&record));
     },
     {require_report(kAccess, kIsThere), require_report(kAccess, "a_pDB->Level.u16ActSize > 0")}},
    {"updateWithANullName",
     [](TraceLevelInit& record) {
       NUV_Level_update(&record, 4, nullptr, 3);
       EXPECT_STREQ(NUV_Level_getModulName(&record, 4), "");
       EXPECT_EQ(NUV_Level_getTraceLevel(&record, 4), 3U);
       EXPECT_EQ(record.bChanged, 1);
     },
     {require_report(kAccess, kHasName), require_report(kAccess, kHasName)}},
    {"updateOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) { NUV_Level_update(&record, 0, "Other", 3); },
     {require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown), ensure_report(kAccess, kNameStored),
      require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown), ensure_report(kAccess, kLevelStored)}},
    {"getModulNameOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) { EXPECT_STREQ(NUV_Level_getModulName(&record, 0), ""); },
     {require_report(kAccess, kIsKnown)}},
    {"setModulNameToNull",
     [](TraceLevelInit& record) {
       NUV_Level_setModulName(&record, 4, nullptr);
       EXPECT_STREQ(NUV_Level_getModulName(&record, 4), "");
       EXPECT_EQ(record.bChanged, 1);
     },
     {require_report(kAccess, kHasName)}},
    {"setModulNameOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) {
       NUV_Level_setModulName(&record, 0, "Other");
       EXPECT_EQ(NUV_Level_findModulName(&record, "Other"), -1);
       EXPECT_EQ(record.bChanged, 1);
     },
     {require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown), ensure_report(kAccess, kNameStored)}},
    // No row reads as a row without a name, so this name was stored.
    {"setModulNameToNothingForAnIdThatNoRowHas",
     [](TraceLevelInit& record) { NUV_Level_setModulName(&record, 0, ""); },
     {require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown)}},
    {"getTraceLevelOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) { EXPECT_EQ(NUV_Level_getTraceLevel(&record, 0), 0U); },
     {require_report(kAccess, kIsKnown)}},
    {"setTraceLevelOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) {
       NUV_Level_setTraceLevel(&record, 0, 3);
       EXPECT_EQ(NUV_Level_findTraceLevel(&record, 3), -1);
       EXPECT_EQ(record.bChanged, 1);
     },
     {require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown), ensure_report(kAccess, kLevelStored)}},
};

INSTANTIATE_TEST_SUITE_P(All, LevelContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST(LevelContractsNull, EveryOperationReportsANullTable) {
  support::expect_null_reports(kTable, "a_this != ((void *)0)",
                               {{"construct", [] { NUV_Level_construct(nullptr); }},
                                {"destruct", [] { NUV_Level_destruct(nullptr); }},
                                {"clean", [] { NUV_Level_clean(nullptr); }},
                                {"indexOfId", [] { NUV_Level_indexOfId(nullptr, 0); }},
                                {"lastId", [] { NUV_Level_lastId(nullptr); }},
                                {"deleteRow, which asks for the index", [] { NUV_Level_deleteRow(nullptr, 0); }},
                                {"save", [] { NUV_Level_save(nullptr, nullptr); }},
                                {"restore", [] { NUV_Level_restore(nullptr, nullptr); }}});
}

TEST(LevelContractsNull, EveryOperationReportsANullRecord) {
  support::expect_null_reports(kAccess, "a_pDB != ((void *)0)",
                               {{"begin", [] { NUV_Level_begin(nullptr); }},
                                {"end", [] { NUV_Level_end(nullptr); }},
                                {"actSize", [] { NUV_Level_actSize(nullptr); }},
                                {"maxSize", [] { NUV_Level_maxSize(nullptr); }},
                                {"isEmpty", [] { NUV_Level_isEmpty(nullptr); }},
                                {"isFull", [] { NUV_Level_isFull(nullptr); }},
                                {"getIdAtIndex", [] { NUV_Level_getIdAtIndex(nullptr, 0); }},
                                {"getIndexAtId", [] { NUV_Level_getIndexAtId(nullptr, 0); }},
                                {"findId", [] { NUV_Level_findId(nullptr, 0); }},
                                {"insert", [] { NUV_Level_insert(nullptr, "A", 0); }},
                                {"delete", [] { NUV_Level_delete(nullptr, 0); }},
                                {"update", [] { NUV_Level_update(nullptr, 0, "A", 0); }},
                                {"getModulName", [] { NUV_Level_getModulName(nullptr, 0); }},
                                {"setModulName", [] { NUV_Level_setModulName(nullptr, 0, "A"); }},
                                {"getTraceLevel", [] { NUV_Level_getTraceLevel(nullptr, 0); }},
                                {"setTraceLevel", [] { NUV_Level_setTraceLevel(nullptr, 0, 0); }},
                                {"findModulName", [] { NUV_Level_findModulName(nullptr, "A"); }},
                                {"findTraceLevel", [] { NUV_Level_findTraceLevel(nullptr, 0); }},
                                {"isReferenced", [] { NUV_Level_isReferenced(nullptr, 0); }},
                                {"reIndex", [] { NUV_Level_reIndex(nullptr); }}});
  support::expect_null_reports(kAccess, "((void *)0) != a_pDB",
                               {{"checkIntegrity", [] { NUV_Level_checkIntegrity(nullptr); }}});
}

}  // namespace
