// Violates every contract of the command execution; the error handler returns.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <set>

#include "doubles/contract_recorder.h"
#include "doubles/descriptors.h"
#include "doubles/process_doubles.h"
#include "doubles/violation.h"
#include "nuv_execute.h"

namespace {

using support::ContractRecorder;
using support::Report;
using support::require_report;

constexpr char kGuard = '\x55';

const Report kNoCommand = require_report("nuv_execute", "((void *)0) != a_cmdline");
const Report kNoBuffer = require_report("nuv_execute", "((void *)0) != r_result");
const Report kNoLength = require_report("nuv_execute", "0 != a_reslen");

using Buffer = std::array<char, 16>;
using Row = support::Violation<Buffer>;

// The buffer is filled with guard bytes; the exit status shows whether the command ran.
class ExecuteContracts : public ::testing::TestWithParam<Row> {};

constexpr char kCommand[] = "echo lost; exit 7";

// A child that returned would continue with the tests.
int32_t execute(const char* command, char* result, int32_t length) {
  const pid_t test = getpid();
  const int32_t status = NUV_Execute_Command(command, result, length);
  if (getpid() != test) {
    _exit(99);
  }
  return status;
}

TEST_P(ExecuteContracts, AreReportedAndLeaveNothingBehind) {
  const std::set<int> descriptors = support::open_descriptors();
  ContractRecorder contracts;
  Buffer buffer;
  buffer.fill(kGuard);

  GetParam().violate(buffer);
  EXPECT_EQ(contracts.take(), GetParam().reports);
  for (const char byte : buffer) {
    EXPECT_EQ(byte, kGuard);
  }
  EXPECT_EQ(support::open_descriptors(), descriptors);
  EXPECT_FALSE(support::has_children());

  EXPECT_EQ(execute("echo good", buffer.data(), buffer.size()), 0);
  EXPECT_STREQ(buffer.data(), "good\n");
}

const Row kRows[] = {
    // The status depends on how the shell reacts to a missing command.
    {"withoutACommand",
     [](Buffer& buffer) {
       EXPECT_NE(execute(nullptr, buffer.data(), 1), 0);
       EXPECT_EQ(buffer[0], '\0');
       buffer[0] = kGuard;
     },
     {kNoCommand}},
    {"withoutABuffer", [](Buffer&) { EXPECT_EQ(execute(kCommand, nullptr, 16), 7); }, {kNoBuffer}},
    {"withoutALength", [](Buffer& buffer) { EXPECT_EQ(execute(kCommand, buffer.data(), 0), 7); }, {kNoLength}},
    {"withoutBufferAndLength", [](Buffer&) { EXPECT_EQ(execute(kCommand, nullptr, 0), 7); }, {kNoBuffer, kNoLength}},
    {"withoutAnything", [](Buffer&) { execute(nullptr, nullptr, 0); }, {kNoCommand, kNoBuffer, kNoLength}},
    {"withATimeLimit",
     [](Buffer&) {
       const pid_t test = getpid();
       NUV_Execute_Command_Timeout(nullptr, nullptr, 0, 30);
       if (getpid() != test) {
         _exit(99);
       }
     },
     {kNoCommand, kNoBuffer, kNoLength}},
    // Violates no contract, but nothing is stored.
    {"withANegativeLength", [](Buffer& buffer) { EXPECT_EQ(execute(kCommand, buffer.data(), -1), 7); }, {}},
    {"withTheLeastLength", [](Buffer& buffer) { EXPECT_EQ(execute(kCommand, buffer.data(), INT32_MIN), 7); }, {}},
};

INSTANTIATE_TEST_SUITE_P(All, ExecuteContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

}  // namespace
