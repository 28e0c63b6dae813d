// Violates every contract of the utilities; the error handler returns.
#include <gtest/gtest.h>

#include <string>

#include "doubles/contract_recorder.h"
#include "doubles/descriptors.h"
#include "doubles/streams.h"
#include "doubles/violation.h"
#include "nuv_utility.h"

namespace {

using support::ContractRecorder;
using support::InputStream;
using support::require_report;

constexpr char kFile[] = "nuv_utility";
constexpr char kHasDest[] = "((void *)0) != a_dest";
constexpr char kHasStream[] = "((void *)0) != a_stream";
constexpr char kHasName[] = "0 != strlen (pidfile)";

// A stream of one line.
using Row = support::Violation<InputStream>;

class UtilityContracts : public ::testing::TestWithParam<Row> {};

TEST_P(UtilityContracts, AreReportedAndReadNothing) {
  ContractRecorder contracts;
  InputStream stream("line\n");
  const size_t descriptors = support::count_open_descriptors();
  GetParam().violate(stream);
  EXPECT_EQ(contracts.take(), GetParam().reports);
  EXPECT_EQ(support::count_open_descriptors(), descriptors);
  char line[8];
  EXPECT_STREQ(NUV_Utility_readLine(line, sizeof line, stream.get()), "line");
}

const Row kRows[] = {
    {"readLineIntoNull",
     [](InputStream& stream) { EXPECT_EQ(NUV_Utility_readLine(nullptr, 8, stream.get()), nullptr); },
     {require_report(kFile, kHasDest)}},
    {"readLineFromNull",
     [](InputStream&) {
       char line[8] = "same";
       EXPECT_EQ(NUV_Utility_readLine(line, sizeof line, nullptr), nullptr);
       EXPECT_STREQ(line, "same");
     },
     {require_report(kFile, kHasStream)}},
    {"readLineOfNulls",
     [](InputStream&) { EXPECT_EQ(NUV_Utility_readLine(nullptr, 8, nullptr), nullptr); },
     {require_report(kFile, kHasDest), require_report(kFile, kHasStream)}},
    {"pidFromAFileWithoutName",
     [](InputStream&) { EXPECT_EQ(NUV_Utility_get_pid_from_file(""), 0); },
     {require_report(kFile, kHasName)}},
    {"pidFromANullName",
     [](InputStream&) { EXPECT_EQ(NUV_Utility_get_pid_from_file(nullptr), 0); },
     {require_report(kFile, "((void *)0) != pidfile"), require_report(kFile, kHasName)}},
    // Pid 0 is the caller's process group, which always exists.
    {"existenceOfPid0",
     [](InputStream&) { EXPECT_EQ(NUV_Utility_test_pid_exists(0), 1); },
     {require_report(kFile, "0 != pid")}},
    {"peerOfADescriptorBelow0",
     [](InputStream&) {
       EXPECT_EQ(NUV_Utility_get_pid_for_unixsocket_fd(-1), 0);
       EXPECT_EQ(NUV_Utility_get_pid_for_unixsocket_fd(INT32_MIN), 0);
     },
     {require_report(kFile, "0 <= a_fd"), require_report(kFile, "0 <= a_fd")}},
};

INSTANTIATE_TEST_SUITE_P(All, UtilityContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

}  // namespace
