// Every check of the certificate name matching, violated while the error handler returns.
#include <gtest/gtest.h>


#include "doubles/contract_recorder.h"
#include "doubles/violation.h"
#include "nuv_cert_verify.h"

namespace {

using support::ContractRecorder;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_cert_verify";
constexpr char kItems[] = "((void *)0) != a_dest";
constexpr char kNeedle[] = "((void *)0) != a_src";
constexpr char kValue[] = "((void *)0) != a_AttrValue";
constexpr char kItem[] = "((void *)0) != a_Attr";

// What the functions write to, and what must still be there when they had nothing to work on.
struct Room {
  char needle[16] = "CN=a,C=b";
  char* items[2] = {};
  char value[16] = "unchanged";
  int32_t nid = 0;
};

using Row = support::Violation<Room>;

class CertContracts : public ::testing::TestWithParam<Row> {};

TEST_P(CertContracts, AreReportedAndNothingIsWritten) {
  ContractRecorder contracts;
  Room room;

  GetParam().violate(room);
  EXPECT_EQ(contracts.take(), GetParam().reports);

  EXPECT_STREQ(room.needle, "CN=a,C=b");
  EXPECT_EQ(room.items[0], nullptr);
  EXPECT_STREQ(room.value, "unchanged");
}

const Row kRows[] = {
    {"splitNeedleOfNothing",
     [](Room& room) { EXPECT_EQ(NUV_Cert_splitNeedle(room.items, 2, nullptr, ','), -2); },
     {require_report(kFile, kNeedle)}},
    {"splitNeedleIntoNothing",
     [](Room& room) { EXPECT_EQ(NUV_Cert_splitNeedle(nullptr, 2, room.needle, ','), -3); },
     {require_report(kFile, kItems)}},
    {"splitNeedleOfNothingIntoNothing",
     [](Room&) { EXPECT_EQ(NUV_Cert_splitNeedle(nullptr, 2, nullptr, ','), -2); },
     {require_report(kFile, kItems), require_report(kFile, kNeedle)}},
    {"splitAttributeOfNothing",
     [](Room& room) {
       EXPECT_EQ(NUV_Cert_splitAttribute(&room.nid, room.value, nullptr), -2);
       EXPECT_EQ(room.nid, -1);
     },
     {require_report(kFile, kItem)}},
    {"splitAttributeWithoutRoomForTheValue",
     [](Room& room) {
       EXPECT_EQ(NUV_Cert_splitAttribute(&room.nid, nullptr, "CN=a"), -1);
       EXPECT_EQ(room.nid, -1);
     },
     {require_report(kFile, kValue)}},
    {"splitAttributeOfNothingIntoNothing",
     [](Room&) { EXPECT_EQ(NUV_Cert_splitAttribute(nullptr, nullptr, nullptr), -2); },
     {require_report(kFile, kValue), require_report(kFile, kItem)}},
};

INSTANTIATE_TEST_SUITE_P(All, CertContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

}  // namespace
