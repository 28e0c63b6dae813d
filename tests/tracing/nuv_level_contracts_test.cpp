// Violates every contract of the level table and of its access functions; the error handler returns.
#include <gtest/gtest.h>

#include <array>
#include <ostream>
#include <string>
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

struct Entry {
  uint16_t id;
  std::string name;
  uint32_t mask;

  bool operator==(const Entry&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Entry& entry) {
    return out << entry.id << ' ' << entry.name << ' ' << entry.mask;
  }
};

using Entries = std::vector<Entry>;

const Entries kAsBefore = {{9, "Line", 48}, {4, "DialPlan", 113}};

// A violation, its reports in order, and the record afterwards.
struct Row {
  const char* name;
  void (*violate)(TraceLevelInit& record);
  support::Reports reports;
  Entries left = kAsBefore;
  uint8_t changed = 0;

  friend std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }
};

Entry entry_at(const TraceLevelInit& record, uint16_t index) {
  const TableEntry& entry = record.Level.TableEntry[index];
  return {entry.u16TableId, entry.szModulName, entry.u32TraceLevel};
}

Entries entries_of(const TraceLevelInit& record) {
  Entries entries;
  for (uint16_t i = 0; i < record.Level.u16ActSize; ++i) {
    entries.push_back(entry_at(record, i));
  }
  return entries;
}

// The initial rows, and more up to a full table.
Entries filled() {
  Entries entries = kAsBefore;
  for (uint16_t id = 10; entries.size() < NUV_LEVEL_SIZE; ++id) {
    entries.push_back({id, "More", 1});
  }
  return entries;
}

// The table has two rows and is marked as unchanged.
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
  EXPECT_EQ(entries_of(record), GetParam().left);
  EXPECT_EQ(record.bChanged, GetParam().changed);

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
     {ensure_report(kTable, "NUV_Level_indexOfId(a_this, u16LastTableId) >= 0")},
     {}},
    // The new row would be outside the table.
    {"insertRowIntoAFullTable",
     [](TraceLevelInit& record) {
       fill(record);
       EXPECT_EQ(NUV_Level_insertRow(&record.Level), 58);
     },
     {ensure_report(kTable, kRowIsLast)},
     filled(),
     1},
    {"insertRowIntoATableWithAnInvalidCount",
     [](TraceLevelInit& record) {
       record.Level.u16ActSize = 65535;
       EXPECT_EQ(NUV_Level_insertRow(&record.Level), 10);
       EXPECT_EQ(record.Level.u16ActSize, 65535);
       record.Level.u16ActSize = 2;
     },
     {ensure_report(kTable, kRowIsLast)}},
    {"saveToANullStream",
     [](TraceLevelInit& record) { EXPECT_FALSE(NUV_Level_save(&record.Level, nullptr)); },
     {require_report(kTable, kHasStream)}},
    {"saveOfAnEmptyTableToANullStream",
     [](TraceLevelInit& record) {
       NUV_Level_clean(&record.Level);
       EXPECT_FALSE(NUV_Level_save(&record.Level, nullptr));
     },
     {require_report(kTable, kHasStream)},
     {}},
    // restore goes on to read the first line, which fails.
    {"restoreFromANullStream",
     [](TraceLevelInit& record) { EXPECT_FALSE(NUV_Level_restore(&record.Level, nullptr)); },
     {require_report(kTable, kHasStream), require_report("nuv_utility", "((void *)0) != a_stream")}},
    {"getIdAtIndexPastTheLastRow",
     [](TraceLevelInit& record) { EXPECT_EQ(NUV_Level_getIdAtIndex(&record, 2), 0); },
     {require_report(kAccess, kHasRow)}},
    {"getIdAtIndexOfRowsThatAreNotInUse",
     [](TraceLevelInit& record) {
       record.Level.TableEntry[2].u16TableId = 7;
       record.Level.TableEntry[49].u16TableId = 65535;
       EXPECT_EQ(NUV_Level_getIdAtIndex(&record, 2), 7);
       EXPECT_EQ(NUV_Level_getIdAtIndex(&record, 49), 65535);
     },
     {require_report(kAccess, kHasRow), require_report(kAccess, kHasRow)}},
    {"getIdAtIndexPastTheTable",
     [](TraceLevelInit& record) {
       fill(record);
       EXPECT_EQ(NUV_Level_getIdAtIndex(&record, 50), 0);
       EXPECT_EQ(NUV_Level_getIdAtIndex(&record, 65535), 0);
     },
     {require_report(kAccess, kHasRow), require_report(kAccess, kHasRow)},
     filled(),
     1},
    {"getIndexAtIdThatNoRowHas",
     [](TraceLevelInit& record) { EXPECT_EQ(NUV_Level_getIndexAtId(&record, 0), 65535); },
     {require_report(kAccess, kIsKnown)}},
    {"insertIntoAFullTable",
     [](TraceLevelInit& record) {
       fill(record);
       EXPECT_EQ(NUV_Level_insert(&record, "OneMore", 3), 58);
     },
     {require_report(kAccess, kHasRoom), ensure_report(kTable, kRowIsLast), require_report(kAccess, kIsKnown),
      require_report(kAccess, kIsKnown), ensure_report(kAccess, kNameStored), require_report(kAccess, kIsKnown),
      require_report(kAccess, kIsKnown), ensure_report(kAccess, kLevelStored)},
     filled(),
     1},
    // The next id wraps to one that is in use; its row stays unchanged.
    {"insertIntoAFullTableWhoseIdsWrap",
     [](TraceLevelInit& record) {
       fill(record);
       record.Level.TableEntry[30].u16TableId = 65535;
       EXPECT_EQ(NUV_Level_insert(&record, "OneMore", 3), 0);
       EXPECT_EQ(entry_at(record, 30), (Entry{65535, "More", 1}));
       record.Level.TableEntry[30].u16TableId = filled()[30].id;
     },
     {require_report(kAccess, kHasRoom), ensure_report(kTable, kRowIsLast), require_report(kAccess, kIsKnown),
      require_report(kAccess, kIsKnown), ensure_report(kAccess, kNameStored), require_report(kAccess, kIsKnown),
      require_report(kAccess, kIsKnown), ensure_report(kAccess, kLevelStored)},
     filled(),
     1},
    {"insertOfANullNameIntoAFullTable",
     [](TraceLevelInit& record) {
       fill(record);
       EXPECT_EQ(NUV_Level_insert(&record, nullptr, 0), 58);
     },
     {require_report(kAccess, kHasRoom), require_report(kAccess, kHasName), ensure_report(kTable, kRowIsLast),
      require_report(kAccess, kHasName), require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown),
      require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown)},
     filled(),
     1},
    {"insertOfANullName",
     [](TraceLevelInit& record) { EXPECT_EQ(NUV_Level_insert(&record, nullptr, 3), 10); },
     {require_report(kAccess, kHasName), require_report(kAccess, kHasName)},
     {{9, "Line", 48}, {4, "DialPlan", 113}, {10, "", 3}},
     1},
    {"deleteOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) { EXPECT_TRUE(NUV_Level_delete(&record, 0)); },
     {require_report(kAccess, kIsThere)},
     kAsBefore,
     1},
    {"deleteFromAnEmptyTable",
     [](TraceLevelInit& record) {
       NUV_Level_clean(&record.Level);
       EXPECT_TRUE(NUV_Level_delete(&record, 0));
     },
     {require_report(kAccess, kIsThere), require_report(kAccess, "a_pDB->Level.u16ActSize > 0")},
     {},
     1},
    {"updateWithANullName",
     [](TraceLevelInit& record) { NUV_Level_update(&record, 4, nullptr, 3); },
     {require_report(kAccess, kHasName), require_report(kAccess, kHasName)},
     {{9, "Line", 48}, {4, "", 3}},
     1},
    {"updateOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) { NUV_Level_update(&record, 0, "Other", 3); },
     {require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown), ensure_report(kAccess, kNameStored),
      require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown), ensure_report(kAccess, kLevelStored)},
     kAsBefore,
     1},
    {"updateOfAnIdThatNoRowHasWithNull",
     [](TraceLevelInit& record) { NUV_Level_update(&record, 0, nullptr, 0); },
     {require_report(kAccess, kHasName), require_report(kAccess, kHasName), require_report(kAccess, kIsKnown),
      require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown)},
     kAsBefore,
     1},
    {"getModulNameOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) { EXPECT_STREQ(NUV_Level_getModulName(&record, 0), ""); },
     {require_report(kAccess, kIsKnown)}},
    {"setModulNameToNull",
     [](TraceLevelInit& record) { NUV_Level_setModulName(&record, 4, nullptr); },
     {require_report(kAccess, kHasName)},
     {{9, "Line", 48}, {4, "", 113}},
     1},
    {"setModulNameOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) { NUV_Level_setModulName(&record, 0, "Other"); },
     {require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown), ensure_report(kAccess, kNameStored)},
     kAsBefore,
     1},
    // A missing row reads as one with an empty name, so the name counts as stored.
    {"setModulNameToNothingForAnIdThatNoRowHas",
     [](TraceLevelInit& record) { NUV_Level_setModulName(&record, 0, ""); },
     {require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown)},
     kAsBefore,
     1},
    {"getTraceLevelOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) { EXPECT_EQ(NUV_Level_getTraceLevel(&record, 0), 0U); },
     {require_report(kAccess, kIsKnown)}},
    {"setTraceLevelOfAnIdThatNoRowHas",
     [](TraceLevelInit& record) { NUV_Level_setTraceLevel(&record, 0, 3); },
     {require_report(kAccess, kIsKnown), require_report(kAccess, kIsKnown), ensure_report(kAccess, kLevelStored)},
     kAsBefore,
     1},
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
