// Violates every contract of the digit map; the error handler returns.
#include <gtest/gtest.h>

#include <array>

#include "doubles/contract_recorder.h"
#include "doubles/violation.h"
#include "nuv_digitmap.h"

namespace {

using support::ContractRecorder;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_digitmap";
constexpr char kMapText[] = "0 == is_null(a_map)";
constexpr char kDialString[] = "0 == is_null(a_dial_string)";

int first_match(const DigitMap& map, const char* dialled) {
  return NUV_DigitMap_checkDialString(&map, NUV_DIGITMAP_FIRST_MATCH, dialled, 0, nullptr, 0);
}

void expect_no_match_and_no_text(const DigitMap& map, int mode) {
  std::array<char, 4> out = {'~', '~', '~', '~'};
  EXPECT_EQ(NUV_DigitMap_checkDialString(&map, mode, nullptr, 0, out.data(), out.size()), NUV_DIGITMAP_NO_MATCH);
  EXPECT_EQ(out[0], '~');
}

using Row = support::Violation<DigitMap>;

// The map has the patterns "1", "T" and "x.", each of which fits the empty text.
class DigitMapContracts : public ::testing::TestWithParam<Row> {};

TEST_P(DigitMapContracts, AreReportedAndLeaveAWorkingMap) {
  ContractRecorder contracts;
  DigitMap map;
  NUV_DigitMap_construct(&map);
  NUV_DigitMap_setMap(&map, "1|T|x.");

  GetParam().violate(map);
  EXPECT_EQ(contracts.take(), GetParam().reports);

  EXPECT_EQ(NUV_DigitMap_addMap(&map, "*21#"), 1);
  EXPECT_EQ(first_match(map, "*21#"), NUV_DIGITMAP_COMPLETE);
  EXPECT_EQ(NUV_DigitMap_setMap(&map, "110"), 1);
  EXPECT_EQ(first_match(map, "11"), NUV_DIGITMAP_UNDECIDED);
  NUV_DigitMap_destruct(&map);
}

const Row kRows[] = {
    {"setMapWithoutAText",
     [](DigitMap& map) {
       EXPECT_EQ(NUV_DigitMap_setMap(&map, nullptr), 0);
       EXPECT_EQ(map, nullptr) << "the former map is removed";
     },
     {require_report(kFile, kMapText)}},
    {"addMapWithoutAText",
     [](DigitMap& map) {
       EXPECT_EQ(NUV_DigitMap_addMap(&map, nullptr), 0);
       EXPECT_EQ(first_match(map, "1"), NUV_DIGITMAP_COMPLETE) << "the map is unchanged";
     },
     {require_report(kFile, kMapText)}},
    {"firstMatchWithoutADialString",
     [](DigitMap& map) { expect_no_match_and_no_text(map, NUV_DIGITMAP_FIRST_MATCH); },
     {require_report(kFile, kDialString)}},
    {"bestMatchWithoutADialString",
     [](DigitMap& map) { expect_no_match_and_no_text(map, NUV_DIGITMAP_BEST_MATCH); },
     {require_report(kFile, kDialString)}},
    // Contracts are checked before the mode.
    {"noModeWithoutADialString",
     [](DigitMap& map) { expect_no_match_and_no_text(map, 2); },
     {require_report(kFile, kDialString)}},
};

INSTANTIATE_TEST_SUITE_P(All, DigitMapContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST(DigitMapContractsNull, EveryOperationReportsANullMap) {
  const auto lines = support::expect_null_reports(
      kFile, "0 == is_null(a_this)",
      {{"construct", [] { NUV_DigitMap_construct(nullptr); }},
       {"destruct", [] { NUV_DigitMap_destruct(nullptr); }},
       {"setMap", [] { NUV_DigitMap_setMap(nullptr, nullptr); }},
       {"addMap", [] { NUV_DigitMap_addMap(nullptr, nullptr); }},
       {"dumpMap", [] { NUV_DigitMap_dumpMap(nullptr); }},
       {"checkDialString", [] { NUV_DigitMap_checkDialString(nullptr, 2, nullptr, 0, nullptr, 0); }}});
  EXPECT_EQ(lines.size(), 6U) << "one report for each operation";
}

}  // namespace
