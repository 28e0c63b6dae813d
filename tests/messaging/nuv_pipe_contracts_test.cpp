// Violates every contract of the pipe; the error handler returns.
#include <gtest/gtest.h>

#include <cerrno>

#include "doubles/contract_recorder.h"
#include "doubles/violation.h"
#include "nuv_pipe.h"

namespace {

using support::ContractRecorder;
using support::require_report;

constexpr char kFile[] = "nuv_pipe";
constexpr char kHasBuffer[] = "((void *)0) != a_buf";

using Row = support::Violation<Pipe>;

// The pipe holds the byte "a".
class PipeContracts : public ::testing::TestWithParam<Row> {};

TEST_P(PipeContracts, AreReportedAndLeaveAWorkingPipe) {
  ContractRecorder contracts;
  Pipe pipe = {};
  ASSERT_EQ(NUV_Pipe_construct(&pipe), 1);
  ASSERT_EQ(NUV_Pipe_write(&pipe, "a", 1), 1);

  GetParam().violate(pipe);
  EXPECT_EQ(contracts.take(), GetParam().reports);

  char bytes[4] = "~~~";
  EXPECT_EQ(NUV_Pipe_write(&pipe, "b", 1), 1);
  EXPECT_EQ(NUV_Pipe_read(&pipe, bytes, 3), 2);
  EXPECT_STREQ(bytes, "ab~");
  NUV_Pipe_destruct(&pipe);
}

// The kernel refuses the null pointer, unless the length is 0.
const Row kRows[] = {
    {"readWithoutABuffer",
     [](Pipe& pipe) {
       EXPECT_EQ(NUV_Pipe_read(&pipe, nullptr, 1), -1);
       EXPECT_EQ(errno, EFAULT);
     },
     {require_report(kFile, kHasBuffer)}},
    {"readNothingWithoutABuffer",
     [](Pipe& pipe) { EXPECT_EQ(NUV_Pipe_read(&pipe, nullptr, 0), 0); },
     {require_report(kFile, kHasBuffer)}},
    {"writeWithoutABuffer",
     [](Pipe& pipe) {
       EXPECT_EQ(NUV_Pipe_write(&pipe, nullptr, 1), -1);
       EXPECT_EQ(errno, EFAULT);
     },
     {require_report(kFile, kHasBuffer)}},
    {"writeNothingWithoutABuffer",
     [](Pipe& pipe) { EXPECT_EQ(NUV_Pipe_write(&pipe, nullptr, 0), 0); },
     {require_report(kFile, kHasBuffer)}},
};

INSTANTIATE_TEST_SUITE_P(All, PipeContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST(PipeContractsNull, EveryOperationReportsANullPipe) {
  support::expect_null_reports(kFile, "((void *)0) != a_this",
                               {{"construct", [] { NUV_Pipe_construct(nullptr); }},
                                {"destruct", [] { NUV_Pipe_destruct(nullptr); }},
                                {"readFd", [] { NUV_Pipe_readFd(nullptr); }},
                                {"writeFd", [] { NUV_Pipe_writeFd(nullptr); }},
                                {"read", [] { NUV_Pipe_read(nullptr, nullptr, 0); }},
                                {"write", [] { NUV_Pipe_write(nullptr, nullptr, 0); }}});
}

}  // namespace
