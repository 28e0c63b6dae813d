// Violates every contract of the message header; the error handler returns.
#include <gtest/gtest.h>

#include <cstring>

#include "doubles/contract_recorder.h"
#include "doubles/violation.h"
#include "nuv_messageheader.h"

namespace {

using support::ContractRecorder;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_messageheader";
constexpr char kMessage[] = "((void *)0) != a_msg";
constexpr char kBuffer[] = "((void *)0) != a_dest";
constexpr char kPrefix[] = "((void *)0) != a_prefix";
constexpr char kSource[] = "((void *)0) != a_srcname";
constexpr char kDestination[] = "((void *)0) != a_destname";

void expect_trace(const MessageHeader* header, const char* prefix, const char* dest, const char* src,
                  const char* line) {
  char buffer[32];
  EXPECT_EQ(NUV_MessageHeader_trace(buffer, sizeof buffer, header, prefix, dest, src, "hello"),
            static_cast<int32_t>(std::strlen(line)));
  EXPECT_STREQ(buffer, line);
}

using Row = support::Violation<MessageHeader>;

// The header is (1, 2, 3).
class MessageHeaderContracts : public ::testing::TestWithParam<Row> {};

TEST_P(MessageHeaderContracts, AreReportedAndLeaveTheHeaderUnchanged) {
  ContractRecorder contracts;
  MessageHeader header = {1, 2, 3};

  GetParam().violate(header);
  EXPECT_EQ(contracts.take(), GetParam().reports);

  EXPECT_EQ(header.m_iMsgType, 1);
  EXPECT_EQ(header.m_iDestPort, 2);
  EXPECT_EQ(header.m_iSrcPort, 3);
}

const Row kRows[] = {
    {"swapWithNull",
     [](MessageHeader& header) { NUV_MessageHeader_swap(&header, nullptr); },
     {require_report(kFile, "((void *)0) != a_src")}},
    {"traceOfNoMessage",
     [](MessageHeader&) { expect_trace(nullptr, "tx", "dst", "src", "tx:dst#0:src#0:hello"); },
     {require_report(kFile, kMessage)}},
    {"traceIntoNothing",
     [](MessageHeader& header) {
       EXPECT_EQ(NUV_MessageHeader_trace(nullptr, 100, &header, "p", "d", "s", "t"), 11) << "length only";
     },
     {require_report(kFile, kBuffer)}},
    {"traceWithoutAPrefix",
     [](MessageHeader& header) { expect_trace(&header, nullptr, "dst", "src", ":dst#2:src#3:hello"); },
     {require_report(kFile, kPrefix)}},
    {"traceWithoutASource",
     [](MessageHeader& header) { expect_trace(&header, "tx", "dst", nullptr, "tx:dst#2:#3:hello"); },
     {require_report(kFile, kSource)}},
    {"traceWithoutADestination",
     [](MessageHeader& header) { expect_trace(&header, "tx", nullptr, "src", "tx:#2:src#3:hello"); },
     {require_report(kFile, kDestination)}},
    {"traceOfNothing",
     [](MessageHeader&) {
       EXPECT_EQ(NUV_MessageHeader_trace(nullptr, 100, nullptr, nullptr, nullptr, nullptr, nullptr), 7);
     },
     {require_report(kFile, kMessage), require_report(kFile, kBuffer), require_report(kFile, kPrefix),
      require_report(kFile, kSource), require_report(kFile, kDestination)}},
};

INSTANTIATE_TEST_SUITE_P(All, MessageHeaderContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST(MessageHeaderContractsNull, SetAndSwapReportANullHeader) {
  support::expect_null_reports(kFile, kMessage, {{"set", [] { NUV_MessageHeader_set(nullptr, 1, 2, 3); }}});
  support::expect_null_reports(kFile, "((void *)0) != a_this",
                               {{"swap", [] { NUV_MessageHeader_swap(nullptr, nullptr); }}});
}

}  // namespace
