// Violates every contract of the UDP client; the error handler returns.
#include <gtest/gtest.h>

#include <string>

#include "doubles/captured_stdout.h"
#include "doubles/contract_recorder.h"
#include "doubles/descriptors.h"
#include "doubles/udp_peer.h"
#include "doubles/violation.h"
#include "nuv_udpclient.h"

namespace {

using support::bound_port;
using support::CapturedStdout;
using support::ContractRecorder;
using support::require_report;
using support::TestPipe;
using support::UdpPeer;

constexpr char kFile[] = "nuv_udpclient";
constexpr char kIsOwnSocket[] = "NUV_UdpClient_socket( a_this) == a_socket";

using Row = support::Violation<UdpClient>;

// A datagram is waiting on the client's socket.
class UdpClientContracts : public ::testing::TestWithParam<Row> {
 protected:
  void SetUp() override {
    ASSERT_EQ(NUV_UdpClient_construct(&client_, "127.0.0.1", peer_.port(), output_.write_end()), 1);
    peer_.send("hello", bound_port(client_.m_iSocket));
  }
  void TearDown() override { NUV_UdpClient_destruct(&client_); }

  ContractRecorder contracts_;
  CapturedStdout stdout_;
  UdpPeer peer_;
  TestPipe output_;
  UdpClient client_ = {};
};

TEST_P(UdpClientContracts, AreReportedAndLeaveAWorkingClient) {
  GetParam().violate(client_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
  EXPECT_EQ(output_.take(), "") << "nothing was received";

  stdout_.take();
  NUV_UdpClient_socketRead(&client_, client_.m_iSocket);
  EXPECT_EQ(output_.take(), "hello");
  EXPECT_EQ(stdout_.take(), "NUV_UdpClient_socketRead ...o.k.\n");
}

const Row kRows[] = {
    // Null counts as an invalid address, which is stored as all ones.
    {"constructWithoutAServer",
     [](UdpClient& client) {
       UdpClient other = {};
       EXPECT_EQ(NUV_UdpClient_construct(&other, nullptr, client.m_oServer.sin_port, client.m_iOutFd), 1);
       EXPECT_EQ(other.m_oServer.sin_addr.s_addr, 0xFFFFFFFF);
       NUV_UdpClient_destruct(&other);
     },
     {require_report(kFile, "((void *)0) != a_server")}},
    {"socketReadOfNoDescriptor",
     [](UdpClient& client) { NUV_UdpClient_socketRead(&client, -1); },
     {require_report(kFile, kIsOwnSocket)}},
    // The output is a pipe, which carries no datagrams.
    {"socketReadOfTheOutput",
     [](UdpClient& client) { NUV_UdpClient_socketRead(&client, client.m_iOutFd); },
     {require_report(kFile, kIsOwnSocket)}},
};

INSTANTIATE_TEST_SUITE_P(All, UdpClientContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST(UdpClientContractsNull, EveryOperationReportsANullClient) {
  const auto lines =
      support::expect_null_reports(kFile, "((void *)0) != a_this",
                                   {{"construct", [] { NUV_UdpClient_construct(nullptr, nullptr, 0, 1); }},
                                    {"destruct", [] { NUV_UdpClient_destruct(nullptr); }},
                                    {"socket", [] { NUV_UdpClient_socket(nullptr); }},
                                    {"socketRead", [] { NUV_UdpClient_socketRead(nullptr, 0); }},
                                    {"fileRead", [] { NUV_UdpClient_fileRead(nullptr, 0); }}});
  EXPECT_EQ(lines.size(), 5U) << "one report for each operation";
}

}  // namespace
