// Violates every contract of the address manager; the error handler returns.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "doubles/contract_recorder.h"
#include "doubles/first_report.h"
#include "doubles/violation.h"
#include "nuv_addressmanager.h"

namespace {

using support::ContractRecorder;
using support::ensure_report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_addressmanager";
constexpr char kHasFree[] = "1 == NUV_AddressManager_available()";
constexpr char kIsAddress[] = "256 > a_addr";
constexpr char kIsHeld[] = "1 == NUV_AddressManager_busy( a_addr)";

void set_table(uint8_t value) {
  std::fill(std::begin(g_rgAddress), std::end(g_rgAddress), value);
}

testing::AssertionResult table_is_full_but(uint32_t free_address) {
  for (uint32_t i = 0; i < 256; ++i) {
    if (g_rgAddress[i] != (i == free_address ? 0 : 1)) {
      return testing::AssertionFailure() << "address " << i << " is " << int{g_rgAddress[i]};
    }
  }
  return testing::AssertionSuccess();
}

using Table = uint8_t[256];
using Row = support::Violation<Table>;

// All addresses except 9 are taken.
class AddressManagerContracts : public ::testing::TestWithParam<Row> {
 protected:
  AddressManagerContracts() {
    set_table(1);
    NUV_AddressManager_deallocate(9);
  }
  ~AddressManagerContracts() override { set_table(0); }

  ContractRecorder contracts_;
};

TEST_P(AddressManagerContracts, AreReportedAndLeaveAWorkingTable) {
  GetParam().violate(g_rgAddress);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
  EXPECT_TRUE(table_is_full_but(9));
  EXPECT_EQ(NUV_AddressManager_allocate(), 9U);
  NUV_AddressManager_deallocate(7);
  EXPECT_EQ(NUV_AddressManager_allocate(), 7U);
}

void expect_no_address(uint32_t address) {
  EXPECT_EQ(NUV_AddressManager_busy(address), 0);
}

const Row kRows[] = {
    {"busyOf256", [](Table&) { expect_no_address(256); }, {require_report(kFile, kIsAddress)}},
    {"busyOf257", [](Table&) { expect_no_address(257); }, {require_report(kFile, kIsAddress)}},
    {"busyOfTheMiddle", [](Table&) { expect_no_address(0x80000000); }, {require_report(kFile, kIsAddress)}},
    {"busyOfTheLargestNumber", [](Table&) { expect_no_address(0xFFFFFFFF); }, {require_report(kFile, kIsAddress)}},
    // A full table is reported twice: by allocate and by its search.
    {"allocateFromAFullTable",
     [](Table& table) {
       table[9] = 1;
       EXPECT_EQ(NUV_AddressManager_allocate(), 0xFFFFFFFF);
       EXPECT_TRUE(table_is_full_but(256));
       table[9] = 0;
     },
     {require_report(kFile, kHasFree), require_report(kFile, kHasFree), ensure_report(kFile, "0"),
      require_report(kFile, kIsAddress), ensure_report(kFile, "1 == NUV_AddressManager_busy( addr)")}},
    {"deallocateAFreeAddress", [](Table&) { NUV_AddressManager_deallocate(9); }, {require_report(kFile, kIsHeld)}},
    // The second contract calls busy, which checks the first one again.
    {"deallocate256",
     [](Table&) { NUV_AddressManager_deallocate(256); },
     {require_report(kFile, kIsAddress), require_report(kFile, kIsAddress), require_report(kFile, kIsHeld)}},
    {"deallocateTheLargestNumber",
     [](Table&) { NUV_AddressManager_deallocate(0xFFFFFFFF); },
     {require_report(kFile, kIsAddress), require_report(kFile, kIsAddress), require_report(kFile, kIsHeld)}},
    {"deallocateAnAddressThatSomebodyMarked",
     [](Table& table) {
       table[5] = 2;
       EXPECT_EQ(NUV_AddressManager_busy(5), 2);
       NUV_AddressManager_deallocate(5);
       EXPECT_EQ(table[5], 0);
       table[5] = 1;
     },
     {require_report(kFile, kIsHeld)}},
};

INSTANTIATE_TEST_SUITE_P(All, AddressManagerContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST_F(AddressManagerContracts, ReportsAFullTableFirst) {
  NUV_AddressManager_allocate();
  EXPECT_EQ(support::first_report([] { NUV_AddressManager_allocate(); }), require_report(kFile, kHasFree));
}

}  // namespace
