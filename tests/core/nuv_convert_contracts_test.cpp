// Violates every contract of the conversions; the error handler returns.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "doubles/contract_recorder.h"
#include "doubles/violation.h"
#include "nuv_convert.h"

namespace {

using support::ContractRecorder;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_convert";
constexpr char kHasDest[] = "((void *)0) != a_dest";
constexpr char kHasSrc[] = "((void *)0) != a_src";
constexpr char kRoomFits[] = "( ((void *)0) == a_dest) == ( 0 == a_maxdest)";

const Reports kNoDest = {require_report(kFile, kHasDest)};
const Reports kNoSrc = {require_report(kFile, kHasSrc)};
const Reports kNeither = {require_report(kFile, kHasDest), require_report(kFile, kHasSrc)};

// A destination for each conversion, filled with 0x5A, and the fields of a split.
struct Values {
  Values() { memset(this, 0x5A, sizeof *this); }

  char text[8];
  uint16_t u16;
  uint32_t u32;
  int16_t i16;
  int32_t i32;
  uint8_t flag;
  char* fields[2];
};

using Row = support::Violation<Values>;

class ConvertContracts : public ::testing::TestWithParam<Row> {};

TEST_P(ConvertContracts, AreReportedAndLeaveTheValues) {
  ContractRecorder contracts;
  Values values;
  GetParam().violate(values);
  EXPECT_EQ(contracts.take(), GetParam().reports);
  const Values untouched;
  EXPECT_EQ(memcmp(&values, &untouched, sizeof values), 0);
}

const Row kRows[] = {
    {"stringIntoNull", [](Values&) { EXPECT_EQ(NUV_Convert_string(nullptr, "\"a\""), 0); }, kNoDest},
    {"stringFromNull", [](Values& values) { EXPECT_EQ(NUV_Convert_string(values.text, nullptr), 0); }, kNoSrc},
    {"stringOfNulls", [](Values&) { EXPECT_EQ(NUV_Convert_string(nullptr, nullptr), 0); }, kNeither},
    {"uint16IntoNull", [](Values&) { EXPECT_EQ(NUV_Convert_uint16(nullptr, "1"), 0); }, kNoDest},
    {"uint16FromNull", [](Values& values) { EXPECT_EQ(NUV_Convert_uint16(&values.u16, nullptr), 0); }, kNoSrc},
    {"uint16OfNulls", [](Values&) { EXPECT_EQ(NUV_Convert_uint16(nullptr, nullptr), 0); }, kNeither},
    {"uint32IntoNull", [](Values&) { EXPECT_EQ(NUV_Convert_uint32(nullptr, "1"), 0); }, kNoDest},
    {"uint32FromNull", [](Values& values) { EXPECT_EQ(NUV_Convert_uint32(&values.u32, nullptr), 0); }, kNoSrc},
    {"uint32OfNulls", [](Values&) { EXPECT_EQ(NUV_Convert_uint32(nullptr, nullptr), 0); }, kNeither},
    {"int16IntoNull", [](Values&) { EXPECT_EQ(NUV_Convert_int16(nullptr, "1"), 0); }, kNoDest},
    {"int16FromNull", [](Values& values) { EXPECT_EQ(NUV_Convert_int16(&values.i16, nullptr), 0); }, kNoSrc},
    {"int16OfNulls", [](Values&) { EXPECT_EQ(NUV_Convert_int16(nullptr, nullptr), 0); }, kNeither},
    {"int32IntoNull", [](Values&) { EXPECT_EQ(NUV_Convert_int32(nullptr, "1"), 0); }, kNoDest},
    {"int32FromNull", [](Values& values) { EXPECT_EQ(NUV_Convert_int32(&values.i32, nullptr), 0); }, kNoSrc},
    {"int32OfNulls", [](Values&) { EXPECT_EQ(NUV_Convert_int32(nullptr, nullptr), 0); }, kNeither},
    {"boolIntoNull", [](Values&) { EXPECT_EQ(NUV_Convert_bool(nullptr, "1"), 0); }, kNoDest},
    {"boolFromNull", [](Values& values) { EXPECT_EQ(NUV_Convert_bool(&values.flag, nullptr), 0); }, kNoSrc},
    {"boolOfNulls", [](Values&) { EXPECT_EQ(NUV_Convert_bool(nullptr, nullptr), 0); }, kNeither},
    // The fields are cut and counted, but their addresses are stored nowhere.
    {"splitIntoNull",
     [](Values&) {
       char text[] = "a,b,c";
       EXPECT_EQ(NUV_Convert_split(nullptr, 2, text, ','), 2U);
       EXPECT_EQ(std::string(text, sizeof text), std::string("a\0b,c\0", 6));
     },
     {require_report(kFile, kRoomFits)}},
    {"splitIntoNoRoom",
     [](Values& values) {
       char text[] = "a,b";
       EXPECT_EQ(NUV_Convert_split(values.fields, 0, text, ','), 0U);
       EXPECT_STREQ(text, "a,b");
     },
     {require_report(kFile, kRoomFits)}},
    {"splitOfNull",
     [](Values& values) { EXPECT_EQ(NUV_Convert_split(values.fields, 2, nullptr, ','), 0U); },
     {require_report(kFile, kHasSrc)}},
    {"splitOfNullIntoNothing",
     [](Values&) { EXPECT_EQ(NUV_Convert_split(nullptr, 0, nullptr, ','), 0U); },
     {require_report(kFile, kHasSrc)}},
    {"splitOfNullIntoNull",
     [](Values&) { EXPECT_EQ(NUV_Convert_split(nullptr, 1, nullptr, ','), 0U); },
     {require_report(kFile, kRoomFits), require_report(kFile, kHasSrc)}},
};

INSTANTIATE_TEST_SUITE_P(All, ConvertContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

}  // namespace
