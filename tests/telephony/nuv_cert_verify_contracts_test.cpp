// Violates every contract of the certificate name matching; the error handler returns.
#include <gtest/gtest.h>

#include <string>

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

// The functions' inputs and outputs.
struct Room {
  char needle[16] = "CN=a,C=b";
  char* items[2] = {};
  char value[16] = "unchanged";
  int32_t nid = 0;
};

using Row = support::Violation<Room>;

class CertContracts : public ::testing::TestWithParam<Row> {};

TEST_P(CertContracts, AreReportedAndCarriedOn) {
  ContractRecorder contracts;
  Room room;

  GetParam().violate(room);
  EXPECT_EQ(contracts.take(), GetParam().reports);

  EXPECT_EQ(room.items[0], nullptr);
  EXPECT_STREQ(room.value, "unchanged");
}

// The needle in `room` after a split, with its terminator.
std::string needle_in(const Room& room) {
  return {room.needle, 9};
}

const Row kRows[] = {
    {"splitNeedleOfNothing",
     [](Room& room) { EXPECT_EQ(NUV_Cert_splitNeedle(room.items, 2, nullptr, ','), -2); },
     {require_report(kFile, kNeedle)}},
    // The items are terminated and counted, but their addresses are stored nowhere.
    {"splitNeedleIntoNothing",
     [](Room& room) {
       EXPECT_EQ(NUV_Cert_splitNeedle(nullptr, 2, room.needle, ','), 2);
       EXPECT_EQ(needle_in(room), std::string("CN=a\0C=b\0", 9));
     },
     {require_report(kFile, kItems)}},
    {"splitNeedleIntoNothingWithTooManyItems",
     [](Room& room) {
       EXPECT_EQ(NUV_Cert_splitNeedle(nullptr, 1, room.needle, ','), -3);
       EXPECT_EQ(needle_in(room), std::string("CN=a\0C=b\0", 9));
     },
     {require_report(kFile, kItems)}},
    {"splitNeedleIntoNothingOfSizeZero",
     [](Room& room) {
       EXPECT_EQ(NUV_Cert_splitNeedle(nullptr, 0, room.needle, ','), -3);
       EXPECT_EQ(needle_in(room), std::string("CN=a,C=b\0", 9));
     },
     {require_report(kFile, kItems)}},
    {"splitAnEmptyNeedleIntoNothing",
     [](Room&) {
       char empty[] = "";
       EXPECT_EQ(NUV_Cert_splitNeedle(nullptr, 2, empty, ','), -2);
     },
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
    // The item is split anyway.
    {"splitAttributeWithoutRoomForTheValue",
     [](Room& room) {
       EXPECT_EQ(NUV_Cert_splitAttribute(&room.nid, nullptr, "CN=\"a\\\\b\""), 0);
       EXPECT_EQ(room.nid, 13);
     },
     {require_report(kFile, kValue)}},
    {"splitAttributeWithoutRoomAndEquals",
     [](Room& room) {
       EXPECT_EQ(NUV_Cert_splitAttribute(&room.nid, nullptr, "Org=x"), -3);
       EXPECT_EQ(room.nid, 17);
     },
     {require_report(kFile, kValue)}},
    {"splitAttributeWithoutRoomOfAMisplacedBackslash",
     [](Room& room) {
       EXPECT_EQ(NUV_Cert_splitAttribute(&room.nid, nullptr, "C=a\\b"), -3);
       EXPECT_EQ(room.nid, 14);
     },
     {require_report(kFile, kValue)}},
    {"splitAttributeWithoutRoomOfAnUnknownOne",
     [](Room& room) {
       EXPECT_EQ(NUV_Cert_splitAttribute(&room.nid, nullptr, "E=x"), -1);
       EXPECT_EQ(room.nid, -1);
     },
     {require_report(kFile, kValue)}},
    {"splitAttributeOfNothingIntoNothing",
     [](Room&) { EXPECT_EQ(NUV_Cert_splitAttribute(nullptr, nullptr, nullptr), -2); },
     {require_report(kFile, kValue), require_report(kFile, kItem)}},
};

INSTANTIATE_TEST_SUITE_P(All, CertContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

}  // namespace
