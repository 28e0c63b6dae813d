// Violates every contract of the UDP server; the error handler returns.
#include <gtest/gtest.h>

#include <string>

#include "doubles/captured_stdout.h"
#include "doubles/contract_recorder.h"
#include "doubles/descriptors.h"
#include "doubles/udp_peer.h"
#include "doubles/violation.h"
#include "nuv_udpserver.h"

namespace {

using support::bound_port;
using support::CapturedStdout;
using support::ContractRecorder;
using support::require_report;
using support::TestPipe;
using support::UdpPeer;

constexpr char kFile[] = "nuv_udpserver";
constexpr char kIsOwnSocket[] = "NUV_UdpServer_socket( a_this) == a_socket";

using Row = support::Violation<UdpServer>;

// A datagram is waiting on the server's socket.
class UdpServerContracts : public ::testing::TestWithParam<Row> {
 protected:
  void SetUp() override {
    ASSERT_EQ(NUV_UdpServer_construct(&server_, 0, output_.write_end()), 1);
    peer_.send("hello", bound_port(server_.m_iSocket));
  }
  void TearDown() override { NUV_UdpServer_destruct(&server_); }

  ContractRecorder contracts_;
  CapturedStdout stdout_;
  UdpPeer peer_;
  TestPipe output_;
  UdpServer server_ = {};
};

TEST_P(UdpServerContracts, AreReportedAndLeaveAWorkingServer) {
  GetParam().violate(server_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
  EXPECT_EQ(output_.take(), "") << "nothing was received";

  stdout_.take();
  NUV_UdpServer_socketRead(&server_, server_.m_iSocket);
  EXPECT_EQ(output_.take(), "hello");
  EXPECT_EQ(stdout_.take(), "NUV_UdpServer_socketRead ...o.k.\n");
}

const Row kRows[] = {
    {"socketReadOfNoDescriptor",
     [](UdpServer& server) { NUV_UdpServer_socketRead(&server, -1); },
     {require_report(kFile, kIsOwnSocket)}},
    // The output is a pipe, which carries no datagrams.
    {"socketReadOfTheOutput",
     [](UdpServer& server) { NUV_UdpServer_socketRead(&server, server.m_iOutFd); },
     {require_report(kFile, kIsOwnSocket)}},
};

INSTANTIATE_TEST_SUITE_P(All, UdpServerContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST(UdpServerContractsNull, EveryOperationReportsANullServer) {
  const auto lines = support::expect_null_reports(kFile, "((void *)0) != a_this",
                                                  {{"construct", [] { NUV_UdpServer_construct(nullptr, 0, 1); }},
                                                   {"destruct", [] { NUV_UdpServer_destruct(nullptr); }},
                                                   {"socket", [] { NUV_UdpServer_socket(nullptr); }},
                                                   {"socketRead", [] { NUV_UdpServer_socketRead(nullptr, 0); }},
                                                   {"fileRead", [] { NUV_UdpServer_fileRead(nullptr, 0); }}});
  EXPECT_EQ(lines.size(), 5U) << "one report for each operation";
}

}  // namespace
