// The level table, and the operations on the record that owns it (LevelRecordTest).
#include "nuv_level.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "doubles/contract_recorder.h"
#include "doubles/fault_loop.h"
#include "doubles/streams.h"
#include "nuv_tracelevelinit.h"

namespace {

using support::ContractRecorder;
using support::each_fault;
using support::Fault;
using support::InputStream;
using support::OutputStream;

struct Row {
  uint16_t id;
  std::string name;
  uint32_t mask;

  bool operator==(const Row&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
  return out << row.id << ";\"" << row.name << "\";" << row.mask;
}

using Rows = std::vector<Row>;

// A record between guard bytes. After each test the guards and the unused rows must be unchanged.
class LevelTest : public ::testing::Test {
 protected:
  static constexpr uint8_t kGuard = 0xA5;

  LevelTest() {
    memset(&memory_, kGuard, sizeof memory_);
    NUV_Level_construct(&table_);
    record_.bChanged = 0;
  }

  ~LevelTest() override {
    const auto is_intact = [](uint8_t byte) { return byte == kGuard; };
    EXPECT_TRUE(std::all_of(std::begin(memory_.front), std::end(memory_.front), is_intact));
    EXPECT_TRUE(std::all_of(std::begin(memory_.back), std::end(memory_.back), is_intact));
    EXPECT_LE(table_.u16ActSize, 50);
    EXPECT_EQ(rows_from(table_.u16ActSize), Rows(50U - table_.u16ActSize, Row{0, "", 0}));
  }

  Rows rows() const {
    Rows rows = rows_from(0);
    rows.resize(table_.u16ActSize);
    return rows;
  }

  // Appends rows with the names and ids given, and the mask 1000 + id.
  void fill(const std::vector<uint16_t>& ids) {
    for (const uint16_t id : ids) {
      TableEntry& row = table_.TableEntry[table_.u16ActSize++];
      row.u16TableId = id;
      strcpy(row.szModulName, name_of(id).c_str());
      row.u32TraceLevel = 1000U + id;
    }
  }

  void fill_up() {
    std::vector<uint16_t> ids(50);
    for (uint16_t i = 0; i < 50; ++i) {
      ids[i] = i;
    }
    fill(ids);
  }

  static Row row_of(uint16_t id) { return {id, name_of(id), 1000U + id}; }
  static std::string name_of(uint16_t id) { return "M" + std::to_string(id); }

  std::vector<uint16_t> ids() const {
    std::vector<uint16_t> ids;
    for (const Row& row : rows()) {
      ids.push_back(row.id);
    }
    return ids;
  }

  bool restore(const std::string& content) {
    const InputStream stream(content);
    return NUV_Level_restore(&table_, stream.get());
  }

  struct {
    uint8_t front[64];
    TraceLevelInit record;
    uint8_t back[64];
  } memory_;
  TraceLevelInit& record_ = memory_.record;
  Level& table_ = memory_.record.Level;
  ContractRecorder contracts_;

 private:
  Rows rows_from(size_t first) const {
    Rows rows;
    for (size_t i = first; i < 50; ++i) {
      const TableEntry& row = table_.TableEntry[i];
      rows.push_back({row.u16TableId, std::string(row.szModulName, strnlen(row.szModulName, 11)), row.u32TraceLevel});
    }
    return rows;
  }
};

TEST_F(LevelTest, ConstructDestructAndCleanEmptyTheTable) {
  const struct {
    const char* name;
    void (*call)(Level*);
  } kCases[] = {
      {"construct", [](Level* table) { EXPECT_EQ(NUV_Level_construct(table), 1); }},
      {"destruct", NUV_Level_destruct},
      {"clean", NUV_Level_clean},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    memset(&table_, 0xFF, sizeof table_);
    row.call(&table_);
    EXPECT_EQ(table_.u16ActSize, 0);
    for (const TableEntry& entry : table_.TableEntry) {
      EXPECT_EQ(entry.u16TableId, 0);
      EXPECT_EQ(std::string(entry.szModulName, 11), std::string(11, '\0'));
      EXPECT_EQ(entry.u32TraceLevel, 0U);
    }
  }
}

TEST_F(LevelTest, FindsTheFirstRowWithAnId) {
  fill({7, 3, 7, 65535, 0});
  EXPECT_EQ(NUV_Level_indexOfId(&table_, 7), 0);
  EXPECT_EQ(NUV_Level_indexOfId(&table_, 3), 1);
  EXPECT_EQ(NUV_Level_indexOfId(&table_, 65535), 3);
  EXPECT_EQ(NUV_Level_indexOfId(&table_, 0), 4);
  EXPECT_EQ(NUV_Level_indexOfId(&table_, 4), -1);
}

// Unused rows have the id 0, but are not found.
TEST_F(LevelTest, FindsNoIdInAnEmptyTable) {
  EXPECT_EQ(NUV_Level_indexOfId(&table_, 0), -1);
}

TEST_F(LevelTest, FindsIdsUpToTheLastRow) {
  fill_up();
  EXPECT_EQ(NUV_Level_indexOfId(&table_, 0), 0);
  EXPECT_EQ(NUV_Level_indexOfId(&table_, 49), 49);
  EXPECT_EQ(NUV_Level_indexOfId(&table_, 50), -1);
}

TEST_F(LevelTest, LastIdIsTheLargest) {
  fill({0});
  EXPECT_EQ(NUV_Level_lastId(&table_), 0);
  fill({12, 5});
  EXPECT_EQ(NUV_Level_lastId(&table_), 12);
  fill({65535});
  EXPECT_EQ(NUV_Level_lastId(&table_), 65535);
}

TEST_F(LevelTest, InsertRowReturnsTheNextId) {
  const struct {
    const char* name;
    std::vector<uint16_t> ids;
    uint16_t next;
  } kCases[] = {
      {"first row of all", {}, 0},
      {"behind the only row", {0}, 1},
      {"behind the largest, wherever it stands", {9, 4}, 10},
      {"with gaps before it", {1}, 2},
      {"the last one possible", {65534}, 65535},
      {"past the last one: the smallest free", {65535}, 0},
      {"the smallest free behind taken ones", {65535, 1, 0, 3}, 2},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    NUV_Level_clean(&table_);
    fill(row.ids);
    EXPECT_EQ(NUV_Level_insertRow(&table_), row.next);
    Rows expected;
    for (const uint16_t id : row.ids) {
      expected.push_back(row_of(id));
    }
    expected.push_back({row.next, "", 0});
    EXPECT_EQ(rows(), expected);
  }
  EXPECT_EQ(record_.bChanged, 0) << "the table does not mark its record as changed";
}

TEST_F(LevelTest, InsertRowFillsTheTable) {
  for (uint16_t i = 0; i < 50; ++i) {
    EXPECT_EQ(NUV_Level_insertRow(&table_), i);
  }
  EXPECT_EQ(table_.u16ActSize, 50);
}

TEST_F(LevelTest, DeleteRowKeepsTheOrderOfTheOthers) {
  const struct {
    uint16_t id;
    Rows left;
  } kCases[] = {
      {8, {row_of(3), row_of(5), row_of(1)}},
      {3, {row_of(8), row_of(5), row_of(1)}},
      {5, {row_of(8), row_of(3), row_of(1)}},
      {1, {row_of(8), row_of(3), row_of(5)}},
      {0, {row_of(8), row_of(3), row_of(5), row_of(1)}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.id);
    NUV_Level_clean(&table_);
    fill({8, 3, 5, 1});
    NUV_Level_deleteRow(&table_, row.id);
    EXPECT_EQ(rows(), row.left);
    EXPECT_EQ(table_.TableEntry[table_.u16ActSize].u32TraceLevel, 0U);
  }
  EXPECT_EQ(record_.bChanged, 0);
}

TEST_F(LevelTest, DeleteRowWorksInAFullTableAndAnEmptyOne) {
  NUV_Level_deleteRow(&table_, 0);
  EXPECT_EQ(table_.u16ActSize, 0);
  fill_up();
  for (const uint16_t id : std::vector<uint16_t>{49, 0, 25}) {
    NUV_Level_deleteRow(&table_, id);
  }
  EXPECT_EQ(table_.u16ActSize, 47);
  EXPECT_EQ(rows().front(), row_of(1));
  EXPECT_EQ(rows()[24], row_of(26));
  EXPECT_EQ(rows().back(), row_of(48));
}

TEST_F(LevelTest, SaveWritesALineForEachRowAndAnEmptyOne) {
  const struct {
    const char* name;
    std::vector<uint16_t> ids;
    const char* content;
  } kCases[] = {
      {"no row", {}, "\n"},
      {"one row", {0}, "0;\"M0\";1000\n\n"},
      {"ids as they are", {7, 65535, 7}, "7;\"M7\";1007\n65535;\"M65535\";66535\n7;\"M7\";1007\n\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    NUV_Level_clean(&table_);
    fill(row.ids);
    const OutputStream stream;
    EXPECT_TRUE(NUV_Level_save(&table_, stream.get()));
    EXPECT_EQ(stream.content(), row.content);
  }
}

TEST_F(LevelTest, SaveWritesNamesAndMasksOfAllSizes) {
  fill({0, 1, 2});
  memcpy(table_.TableEntry[0].szModulName, "TraceLevel", 11);
  memcpy(table_.TableEntry[1].szModulName, "\0garbage..", 11);
  // A name without a terminator, which no operation stores.
  memcpy(table_.TableEntry[2].szModulName, "abcdefghijk", 11);
  table_.TableEntry[0].u32TraceLevel = 0xFFFFFFFF;
  table_.TableEntry[1].u32TraceLevel = 0;
  table_.TableEntry[2].u32TraceLevel = 0x61616161;
  const OutputStream stream;
  EXPECT_TRUE(NUV_Level_save(&table_, stream.get()));
  EXPECT_EQ(stream.content(), "0;\"TraceLevel\";4294967295\n1;\"\";0\n2;\"abcdefghij\";1633771873\n\n");
}

// Tried with room for any number of bytes: save fails and stops at a row that does not fit, but ignores a lack of room
// for the last newline.
TEST_F(LevelTest, SaveStopsAtTheFirstRowThatCannotBeWritten) {
  fill({0, 1, 2});
  const std::string first = "0;\"M0\";1000\n";
  const std::string second = "1;\"M1\";1001\n";
  const std::string third = "2;\"M2\";1002\n";
  const size_t rows = first.size() + second.size() + third.size();
  for (size_t room = 0; room <= rows + 1; ++room) {
    SCOPED_TRACE(room);
    const OutputStream stream(room);
    EXPECT_EQ(NUV_Level_save(&table_, stream.get()), room >= rows);
    EXPECT_EQ(stream.content(), (first + second + third + "\n").substr(0, room));
    const std::string tried = stream.content() + stream.lost();
    EXPECT_EQ(tried.find(second) != std::string::npos, room >= first.size());
    EXPECT_EQ(tried.find(third) != std::string::npos, room >= first.size() + second.size());
    EXPECT_EQ(tried.find("\n\n") != std::string::npos, room >= rows);
  }
}

TEST_F(LevelTest, RestoreReadsRowsUpToAnEmptyLine) {
  const std::string ten_letters = "abcdefghij";
  const struct {
    const char* name;
    std::string content;
    bool result;
    Rows rows;
  } kCases[] = {
      {"no row", "\n", true, {}},
      {"two rows",
       "0;\"VoipPhone\";48\n1;\"TraceLevel\";113\n\n",
       true,
       {{0, "VoipPhone", 48}, {1, "TraceLevel", 113}}},
      {"ids as they stand",
       "7;\"A\";1\n65535;\"B\";2\n7;\"C\";3\n\n",
       true,
       {{7, "A", 1}, {65535, "B", 2}, {7, "C", 3}}},
      {"blanks in front of fields", "  7;   \"A B\";  3\n\n", true, {{7, "A B", 3}}},
      {"something behind the name", "7;\"A\" is a module;3\n\n", true, {{7, "A", 3}}},
      {"an empty name", "0;\"\";5\n\n", true, {{0, "", 5}}},
      {"the largest mask", "0;\"A\";4294967295\n\n", true, {{0, "A", 0xFFFFFFFF}}},
      {"a mask that wraps", "0;\"A\";4294967297\n\n", true, {{0, "A", 1}}},
      {"a name of 10", "0;\"" + ten_letters + "\";1\n\n", true, {{0, ten_letters, 1}}},
      {"a name of 11 is cut", "0;\"" + ten_letters + "k\";1\n\n", true, {{0, ten_letters, 1}}},
      {"a name of 500 is cut", "0;\"" + ten_letters + std::string(490, 'x') + "\";1\n\n", true, {{0, ten_letters, 1}}},
      // The rows before the damage stay.
      {"an empty file", "", false, {}},
      {"no empty line", "0;\"A\";1\n1;\"B\";2\n", false, {{0, "A", 1}, {1, "B", 2}}},
      {"not even a newline", "0;\"A\";1", false, {{0, "A", 1}}},
      {"a missing field", "0;\"A\";1\n1;\"B\"\n2;\"C\";3\n\n", false, {{0, "A", 1}}},
      {"one field", "0;\"A\";1\n1\n\n", false, {{0, "A", 1}}},
      {"a blank is no empty line", "0;\"A\";1\n \n\n", false, {{0, "A", 1}}},
      {"a fourth field", "0;\"A\";1\n1;\"B\";2;3\n\n", false, {{0, "A", 1}}},
      {"an empty fourth field", "0;\"A\";1\n1;\"B\";2;\n\n", false, {{0, "A", 1}}},
      {"many fields", "0;\"A\";1\n1;2;3;4;5;6;7;8;9\n\n", false, {{0, "A", 1}}},
      {"a semicolon in the name", "0;\"A\";1\n1;\"B;C\";2\n\n", false, {{0, "A", 1}}},
      {"a name without quotes", "0;\"A\";1\n1;B;2\n\n", false, {{0, "A", 1}}},
      {"a name that is not closed", "0;\"A\";1\n1;\"Bxxxxxxxxxxxxxxxxxxxxx;2\n\n", false, {{0, "A", 1}}},
      {"an id that is not a number", "0;\"A\";1\nx;\"B\";2\n\n", false, {{0, "A", 1}}},
      {"no id", "0;\"A\";1\n;\"B\";2\n\n", false, {{0, "A", 1}}},
      {"an id too large", "0;\"A\";1\n65536;\"B\";2\n\n", false, {{0, "A", 1}}},
      {"a negative id", "0;\"A\";1\n-1;\"B\";2\n\n", false, {{0, "A", 1}}},
      {"a mask that is not a number", "0;\"A\";1\n1;\"B\";x\n\n", false, {{0, "A", 1}}},
      {"no mask", "0;\"A\";1\n1;\"B\";\n\n", false, {{0, "A", 1}}},
      {"a blank behind the mask", "0;\"A\";1\n1;\"B\";2 \n\n", false, {{0, "A", 1}}},
      {"a carriage return", "0;\"A\";1\r\n\r\n", false, {}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    NUV_Level_clean(&table_);
    EXPECT_EQ(restore(row.content), row.result);
    EXPECT_EQ(rows(), row.rows);
    for (const TableEntry& entry : table_.TableEntry) {
      EXPECT_EQ(entry.szModulName[10], '\0');
    }
  }
  NUV_Level_clean(&table_);  // the last line was refused but has written to the next row
  EXPECT_EQ(record_.bChanged, 0);
}

// Fields are converted one by one into the next unused row. There, a refused line leaves the fields before the wrong
// one, and the characters of a name without a closing quote.
TEST_F(LevelTest, RestoreLeavesThePartsOfARefusedLine) {
  const struct {
    const char* name;
    std::string line;
    Row begun;
  } kCases[] = {
      {"too few fields", "7;\"B\"", {0, "", 0}},
      {"too many fields", "7;\"B\";2;3", {0, "", 0}},
      {"an id that is not a number", "x;\"B\";2", {0, "", 0}},
      {"an id too large", "65536;\"B\";2", {0, "", 0}},
      {"a name without quotes", "7;B;2", {7, "", 0}},
      {"a name that is not closed", "7;\"B;2", {7, "B", 0}},
      {"a long name that is not closed", "7;\"abcdefghijklmno;2", {7, "abcdefghij", 0}},
      {"a mask that is not a number", "7;\"B\";x", {7, "B", 0}},
      {"a long name, and no mask", "7;\"abcdefghijklmno\";", {7, "abcdefghij", 0}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    NUV_Level_clean(&table_);
    EXPECT_FALSE(restore("0;\"A\";1\n" + row.line + "\n\n"));
    EXPECT_EQ(rows(), (Rows{{0, "A", 1}}));
    EXPECT_EQ(table_.TableEntry[1].u16TableId, row.begun.id);
    EXPECT_EQ(NUV_Level_insertRow(&table_), 1);
    EXPECT_EQ(rows(), (Rows{{0, "A", 1}, {1, row.begun.name, 0}}));
    EXPECT_EQ(table_.TableEntry[1].szModulName[10], '\0');
  }
}

// The next line overwrites that: a closed name is terminated, an unclosed one replaces only the first characters.
TEST_F(LevelTest, RestoreOverwritesThePartsOfARefusedLine) {
  EXPECT_FALSE(restore("7;\"abcdef\";x\n"));
  EXPECT_FALSE(restore("8;\"XY;2\n"));
  EXPECT_STREQ(table_.TableEntry[0].szModulName, "XYcdef");
  EXPECT_TRUE(restore("9;\"Z\";3\n\n"));
  EXPECT_EQ(rows(), (Rows{{9, "Z", 3}}));
}

TEST_F(LevelTest, RefusedLineWritesNothingBehindAFullTable) {
  fill_up();
  const Rows full = rows();
  EXPECT_FALSE(restore("7;\"B\";2\n\n"));
  EXPECT_EQ(rows(), full);
}

TEST_F(LevelTest, RestoreReadsNothingAfterTheEmptyLine) {
  InputStream stream("0;\"A\";1\n\n1;\"B\";2\n");
  EXPECT_TRUE(NUV_Level_restore(&table_, stream.get()));
  EXPECT_EQ(rows(), (Rows{{0, "A", 1}}));
  EXPECT_EQ(stream.rest(), "1;\"B\";2\n");
}

TEST_F(LevelTest, RestoreAppends) {
  fill({4});
  EXPECT_TRUE(restore("4;\"A\";1\n\n"));
  EXPECT_EQ(rows(), (Rows{row_of(4), {4, "A", 1}}));
}

TEST_F(LevelTest, RestoreStopsAtFiftyRows) {
  std::string fifty;
  for (int i = 0; i < 50; ++i) {
    fifty += std::to_string(i) + ";\"M" + std::to_string(i) + "\";" + std::to_string(1000 + i) + "\n";
  }
  const struct {
    const char* name;
    std::string content;
    bool result;
  } kCases[] = {
      {"50 rows", fifty + "\n", true},
      {"a 51st", fifty + "50;\"M50\";1050\n\n", false},
      {"a 51st line that is not a row", fifty + "x\n\n", false},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    NUV_Level_clean(&table_);
    EXPECT_EQ(restore(row.content), row.result);
    ASSERT_EQ(table_.u16ActSize, 50);
    EXPECT_EQ(rows().front(), row_of(0));
    EXPECT_EQ(rows().back(), row_of(49));
    EXPECT_TRUE(restore("\n")) << "nothing to append";
  }
}

// The line is read in pieces of 511 characters, its newline included.
TEST_F(LevelTest, RestoreReadsLongLinesInPieces) {
  const auto line_of = [](size_t length) {
    const std::string start = "0;\"A\";";
    return start + std::string(length - start.size() - 1, '0') + "5";
  };
  EXPECT_TRUE(restore(line_of(510) + "\n\n"));
  EXPECT_EQ(rows(), (Rows{{0, "A", 5}}));
  NUV_Level_clean(&table_);
  InputStream full(line_of(511) + "\nrest");
  EXPECT_TRUE(NUV_Level_restore(&table_, full.get())) << "the rest of the line is an empty line";
  EXPECT_EQ(rows(), (Rows{{0, "A", 5}}));
  EXPECT_EQ(full.rest(), "rest");
  NUV_Level_clean(&table_);
  InputStream longer(line_of(512) + "\n\nrest");
  EXPECT_FALSE(NUV_Level_restore(&table_, longer.get())) << "the rest of the line is not a row";
  EXPECT_EQ(rows(), (Rows{{0, "A", 0}}));
  EXPECT_EQ(longer.rest(), "\nrest");
}

// EINTR counts as the end of the file, too; the read is not repeated.
TEST_F(LevelTest, RestoreKeepsTheRowsBeforeALineThatCannotBeRead) {
  const int lines = each_fault("fgets", {EIO, EINTR}, [this](Fault& fault) {
    NUV_Level_clean(&table_);
    const InputStream stream("0;\"M0\";1000\n1;\"M1\";1001\n\n");
    const bool restored = fault.during([&] { return NUV_Level_restore(&table_, stream.get()); });
    EXPECT_EQ(restored, !fault.has_struck());
    const Rows all = {row_of(0), row_of(1)};
    EXPECT_EQ(rows(), fault.has_struck() ? Rows(all.begin(), all.begin() + fault.nth() - 1) : all);
    NUV_Level_clean(&table_);
    EXPECT_TRUE(restore("0;\"M0\";1000\n\n"));
  });
  EXPECT_EQ(lines, 3);
}

TEST_F(LevelTest, RestoreReadsTheOutputOfSave) {
  fill_up();
  memcpy(table_.TableEntry[20].szModulName, "TraceLevel", 11);
  const Rows saved = rows();
  const OutputStream stream;
  EXPECT_TRUE(NUV_Level_save(&table_, stream.get()));
  NUV_Level_clean(&table_);
  EXPECT_TRUE(restore(stream.content()));
  EXPECT_EQ(rows(), saved);
}

using LevelRecordTest = LevelTest;

TEST_F(LevelRecordTest, ReportsItsSizes) {
  const struct {
    uint16_t count;
    bool empty;
    bool full;
  } kCases[] = {{0, true, false}, {1, false, false}, {49, false, false}, {50, false, true}};
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.count);
    NUV_Level_clean(&table_);
    for (uint16_t i = 0; i < row.count; ++i) {
      NUV_Level_insert(&record_, "A", 0);
    }
    EXPECT_EQ(NUV_Level_begin(&record_), 0);
    EXPECT_EQ(NUV_Level_end(&record_), row.count);
    EXPECT_EQ(NUV_Level_actSize(&record_), row.count);
    EXPECT_EQ(NUV_Level_maxSize(&record_), 50);
    EXPECT_EQ(NUV_Level_isEmpty(&record_), row.empty);
    EXPECT_EQ(NUV_Level_isFull(&record_), row.full);
  }
}

TEST_F(LevelRecordTest, LooksUpIdsAndIndices) {
  fill({9, 4, 9, 0});
  EXPECT_EQ(NUV_Level_getIdAtIndex(&record_, 0), 9);
  EXPECT_EQ(NUV_Level_getIdAtIndex(&record_, 1), 4);
  EXPECT_EQ(NUV_Level_getIdAtIndex(&record_, 3), 0);
  EXPECT_EQ(NUV_Level_getIndexAtId(&record_, 9), 0);
  EXPECT_EQ(NUV_Level_getIndexAtId(&record_, 4), 1);
  EXPECT_EQ(NUV_Level_getIndexAtId(&record_, 0), 3);
  EXPECT_TRUE(NUV_Level_findId(&record_, 9));
  EXPECT_TRUE(NUV_Level_findId(&record_, 0));
  EXPECT_FALSE(NUV_Level_findId(&record_, 1));
  EXPECT_EQ(record_.bChanged, 0) << "lookups do not change the record";
}

TEST_F(LevelRecordTest, InsertAppendsARow) {
  EXPECT_EQ(NUV_Level_insert(&record_, "VoipPhone", 48), 0);
  EXPECT_EQ(NUV_Level_insert(&record_, "", 0xFFFFFFFF), 1);
  EXPECT_EQ(rows(), (Rows{{0, "VoipPhone", 48}, {1, "", 0xFFFFFFFF}}));
  EXPECT_EQ(record_.bChanged, 1);
}

TEST_F(LevelRecordTest, ReusesOnlyTheLargestId) {
  NUV_Level_insert(&record_, "A", 1);
  NUV_Level_insert(&record_, "B", 2);
  NUV_Level_delete(&record_, 0);
  EXPECT_EQ(NUV_Level_insert(&record_, "C", 3), 2);
  EXPECT_EQ(ids(), (std::vector<uint16_t>{1, 2}));
  NUV_Level_delete(&record_, 2);
  EXPECT_EQ(NUV_Level_insert(&record_, "D", 4), 2);
  NUV_Level_delete(&record_, 1);
  NUV_Level_delete(&record_, 2);
  EXPECT_EQ(NUV_Level_insert(&record_, "E", 5), 0) << "the first row of an empty table";
}

TEST_F(LevelRecordTest, DeleteRemovesARow) {
  fill({5, 6, 7});
  EXPECT_TRUE(NUV_Level_delete(&record_, 6));
  EXPECT_EQ(rows(), (Rows{row_of(5), row_of(7)}));
  EXPECT_EQ(record_.bChanged, 1);
}

TEST_F(LevelRecordTest, UpdateSetsNameAndMask) {
  fill({5, 6});
  NUV_Level_update(&record_, 6, "Line", 48);
  EXPECT_EQ(rows(), (Rows{row_of(5), {6, "Line", 48}}));
  EXPECT_EQ(record_.bChanged, 1);
}

TEST_F(LevelRecordTest, StoresTenCharactersOfAName) {
  fill({0, 1, 2});
  // The whole field is compared: no character of a longer name may remain after a shorter one.
  const struct {
    const char* given;
    std::string stored;
  } kCases[] = {
      {"abcdefghijklmnopqrstuvwxyz", std::string("abcdefghij\0", 11)},
      {"abcdefghijk", std::string("abcdefghij\0", 11)},
      {"abcdefghij", std::string("abcdefghij\0", 11)},
      {"abcdefghi", std::string("abcdefghi\0\0", 11)},
      {"a", std::string("a\0\0\0\0\0\0\0\0\0\0", 11)},
      {"", std::string(11, '\0')},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.given);
    record_.bChanged = 0;
    NUV_Level_setModulName(&record_, 1, row.given);
    EXPECT_EQ(std::string(table_.TableEntry[1].szModulName, 11), row.stored);
    EXPECT_STREQ(NUV_Level_getModulName(&record_, 1), row.stored.c_str());
    EXPECT_EQ(record_.bChanged, 1);
  }
  EXPECT_EQ(rows()[0], row_of(0));
  EXPECT_EQ(rows()[2], row_of(2));
  EXPECT_EQ(rows()[1].mask, row_of(1).mask);
}

TEST_F(LevelRecordTest, ReadsAtMostTenCharactersOfAName) {
  fill({0});
  const std::vector<char> name = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j'};
  NUV_Level_setModulName(&record_, 0, name.data());
  EXPECT_STREQ(NUV_Level_getModulName(&record_, 0), "abcdefghij");
}

TEST_F(LevelRecordTest, RowCanKeepItsOwnName) {
  fill({0, 1});
  NUV_Level_update(&record_, 1, NUV_Level_getModulName(&record_, 1), 48);
  EXPECT_EQ(rows(), (Rows{row_of(0), {1, "M1", 48}}));
}

TEST_F(LevelRecordTest, GetModulNamePointsIntoTheTable) {
  fill({4, 5});
  EXPECT_EQ(NUV_Level_getModulName(&record_, 5), table_.TableEntry[1].szModulName);
}

TEST_F(LevelRecordTest, SetTraceLevelStoresAnyMask) {
  fill({4, 5});
  for (const uint32_t mask : {0U, 113U, 1024U, 0xFFFFFFFFU}) {
    record_.bChanged = 0;
    NUV_Level_setTraceLevel(&record_, 5, mask);
    EXPECT_EQ(NUV_Level_getTraceLevel(&record_, 5), mask);
    EXPECT_EQ(record_.bChanged, 1);
  }
  EXPECT_EQ(rows(), (Rows{row_of(4), {5, "M5", 0xFFFFFFFF}}));
}

TEST_F(LevelRecordTest, FindsNamesAndMasks) {
  fill({8, 3, 5});
  memcpy(table_.TableEntry[1].szModulName, "TraceLevel", 11);
  table_.TableEntry[2] = table_.TableEntry[1];
  table_.TableEntry[2].u16TableId = 5;
  EXPECT_EQ(NUV_Level_findModulName(&record_, "M8"), 8);
  EXPECT_EQ(NUV_Level_findModulName(&record_, "TraceLevel"), 3) << "the first of two";
  EXPECT_EQ(NUV_Level_findTraceLevel(&record_, 1008), 8);
  EXPECT_EQ(NUV_Level_findTraceLevel(&record_, 1003), 3) << "the first of two";
  for (const char* name : {"M", "M88", "m8", "Trace", "TraceLevel2", "tracelevel", ""}) {
    EXPECT_EQ(NUV_Level_findModulName(&record_, name), -1) << name;
  }
  EXPECT_EQ(NUV_Level_findModulName(&record_, nullptr), -1);
  EXPECT_EQ(NUV_Level_findTraceLevel(&record_, 0), -1) << "unused rows do not count";
  NUV_Level_insert(&record_, "", 0);
  EXPECT_EQ(NUV_Level_findModulName(&record_, ""), 9);
  EXPECT_EQ(NUV_Level_findTraceLevel(&record_, 0), 9);
}

TEST_F(LevelRecordTest, FindsTheLargestIdAndTheLastRow) {
  fill_up();
  table_.TableEntry[49].u16TableId = 65535;
  EXPECT_EQ(NUV_Level_findModulName(&record_, "M49"), 65535);
  EXPECT_EQ(NUV_Level_findTraceLevel(&record_, 1049), 65535);
}

// A name without a terminator ends with its tenth character.
TEST_F(LevelRecordTest, FindsANameWithoutTerminator) {
  fill({0});
  memcpy(table_.TableEntry[0].szModulName, "abcdefghijk", 11);
  table_.TableEntry[0].u32TraceLevel = 0x6C6C6C6C;
  EXPECT_EQ(NUV_Level_findModulName(&record_, "abcdefghij"), 0);
  EXPECT_EQ(NUV_Level_findModulName(&record_, "abcdefghijk"), -1);
}

TEST_F(LevelRecordTest, ReIndexMakesIndicesIds) {
  fill({65535, 1, 0, 7, 7});
  EXPECT_TRUE(NUV_Level_reIndex(&record_));
  EXPECT_EQ(ids(), (std::vector<uint16_t>{0, 1, 2, 3, 4}));
  EXPECT_EQ(rows()[3], (Row{3, "M7", 1007}));
  EXPECT_EQ(record_.bChanged, 0);
  EXPECT_TRUE(NUV_Level_reIndex(&record_));
  EXPECT_EQ(ids(), (std::vector<uint16_t>{0, 1, 2, 3, 4}));
}

TEST_F(LevelRecordTest, NothingReferencesRows) {
  fill({1});
  EXPECT_FALSE(NUV_Level_isReferenced(&record_, 1));
  EXPECT_FALSE(NUV_Level_isReferenced(&record_, 2));
  EXPECT_TRUE(NUV_Level_checkIntegrity(&record_));
}

// No operation leaves the table, even if something has overwritten its count.
TEST_F(LevelRecordTest, StaysInsideTheTableWithAnInvalidCount) {
  fill_up();
  const Rows full = rows();
  table_.u16ActSize = 65535;
  EXPECT_EQ(NUV_Level_indexOfId(&table_, 49), 49);
  EXPECT_EQ(NUV_Level_indexOfId(&table_, 0xA5A5), -1) << "no guard byte is read";
  EXPECT_EQ(NUV_Level_lastId(&table_), 49);
  EXPECT_EQ(NUV_Level_getIdAtIndex(&record_, 50), 0);
  EXPECT_EQ(NUV_Level_findTraceLevel(&record_, 0xA5A5A5A5), -1);
  EXPECT_TRUE(NUV_Level_reIndex(&record_));
  EXPECT_FALSE(restore("0;\"A\";1\n\n"));
  const OutputStream stream;
  EXPECT_TRUE(NUV_Level_save(&table_, stream.get()));
  EXPECT_EQ(std::count(stream.content().begin(), stream.content().end(), '\n'), 51);
  NUV_Level_insertRow(&table_);
  EXPECT_EQ(contracts_.take().size(), 1U);
  table_.u16ActSize = 50;
  EXPECT_EQ(rows(), full);
}

}  // namespace
