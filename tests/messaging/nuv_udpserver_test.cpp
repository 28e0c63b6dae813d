#include "nuv_udpserver.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "doubles/call_log.h"
#include "doubles/captured_stdout.h"
#include "doubles/child_process.h"
#include "doubles/contract_recorder.h"
#include "doubles/descriptors.h"
#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"
#include "doubles/udp_peer.h"

namespace {

using support::bound_port;
using support::CallLog;
using support::CapturedStdout;
using support::ChildProcess;
using support::ContractRecorder;
using support::count_open_descriptors;
using support::each_fault;
using support::Fault;
using support::FaultInjector;
using support::is_open_descriptor;
using support::TestPipe;
using support::UdpPeer;

constexpr char kReceived[] = "NUV_UdpServer_socketRead ...o.k.\n";

std::string sent(const std::string& counts) {
  return "NUV_UdpServer_fileRead ..." + counts + " o.k.\n";
}

std::string next_at(UdpPeer& peer) {
  const auto datagram = peer.receive();
  return datagram ? datagram->bytes : "(nothing)";
}

// A server on a port that the system chooses; it writes to the test's pipe.
class UdpServerTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(NUV_UdpServer_construct(&server_, 0, output_.write_end()), 1); }
  void TearDown() override { NUV_UdpServer_destruct(&server_); }

  in_port_t port() const { return bound_port(server_.m_iSocket); }
  void read_socket() { NUV_UdpServer_socketRead(&server_, server_.m_iSocket); }
  void read_file() { NUV_UdpServer_fileRead(&server_, input_.read_end()); }

  // Makes the peer the last sender.
  void hear_from(UdpPeer& peer) {
    peer.send("hello", port());
    read_socket();
    EXPECT_EQ(output_.take(), "hello");
    EXPECT_EQ(stdout_.take(), kReceived);
  }

  ContractRecorder contracts_;
  CapturedStdout stdout_;
  UdpPeer peer_;
  TestPipe input_;
  TestPipe output_;
  UdpServer server_ = {};
};

TEST(UdpServerRecord, HoldsOutputSocketLocalPeerInThisOrder) {
  EXPECT_EQ(offsetof(UdpServer, m_iOutFd), 0U);
  EXPECT_EQ(offsetof(UdpServer, m_iSocket), 4U);
  EXPECT_EQ(offsetof(UdpServer, m_oLocal), 8U);
  EXPECT_EQ(offsetof(UdpServer, m_oPeer), 24U);
  EXPECT_EQ(sizeof(UdpServer), 40U);
}

TEST_F(UdpServerTest, ConstructOpensABoundUdpSocket) {
  const int fd = NUV_UdpServer_socket(&server_);
  EXPECT_EQ(fd, server_.m_iSocket);
  for (const auto& [option, value] : {std::pair{SO_DOMAIN, AF_INET}, {SO_TYPE, SOCK_DGRAM}, {SO_PROTOCOL, 17}}) {
    int found = -1;
    socklen_t length = sizeof found;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, option, &found, &length), 0);
    EXPECT_EQ(found, value) << option;
  }
  EXPECT_NE(port(), 0);
  EXPECT_EQ(stdout_.take(), "") << "construct prints nothing";
}

TEST(UdpServerAddresses, AreSetAndThePeerIsCleared) {
  const ContractRecorder contracts;
  const TestPipe output;
  UdpServer server;
  std::memset(&server, 0xA5, sizeof server);
  ASSERT_EQ(NUV_UdpServer_construct(&server, 0, output.write_end()), 1);
  EXPECT_EQ(server.m_iOutFd, output.write_end());
  EXPECT_EQ(server.m_oLocal.sin_family, AF_INET);
  EXPECT_EQ(server.m_oLocal.sin_port, 0);
  EXPECT_EQ(server.m_oLocal.sin_addr.s_addr, 0U) << "any interface";
  for (const unsigned char byte : server.m_oLocal.sin_zero) {
    EXPECT_EQ(byte, 0);
  }
  const sockaddr_in zero = {};
  EXPECT_EQ(std::memcmp(&server.m_oPeer, &zero, sizeof zero), 0);
  NUV_UdpServer_destruct(&server);
}

TEST(UdpServerAddresses, ListensOnTheGivenPort) {
  const ContractRecorder contracts;
  CapturedStdout out;
  const TestPipe output;
  UdpServer server = {};
  in_port_t port = 0;
  // Another process may take the free port in between; then the test tries another.
  for (int attempt = 0; attempt < 20 && server.m_oLocal.sin_port == 0; ++attempt) {
    port = UdpPeer().port();
    if (NUV_UdpServer_construct(&server, port, output.write_end()) == 0) {
      server = {};
    }
  }
  ASSERT_EQ(server.m_oLocal.sin_port, port);
  EXPECT_EQ(bound_port(server.m_iSocket), port);
  NUV_UdpServer_destruct(&server);
}

TEST_F(UdpServerTest, WritesADatagramToTheOutputAndRemembersItsSender) {
  peer_.send(std::string("a\0b", 3), port());
  read_socket();
  EXPECT_EQ(output_.take(), std::string("a\0b", 3));
  EXPECT_EQ(stdout_.take(), kReceived);
  EXPECT_EQ(server_.m_oPeer.sin_family, AF_INET);
  EXPECT_EQ(server_.m_oPeer.sin_port, peer_.port());
  EXPECT_EQ(server_.m_oPeer.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
}

TEST_F(UdpServerTest, CutsALongDatagram) {
  for (const size_t length : {1023U, 1024U, 1025U, 1500U}) {
    SCOPED_TRACE(length);
    std::string bytes(length, '.');
    std::generate(bytes.begin(), bytes.end(), [i = 0]() mutable { return static_cast<char>('a' + i++ % 23); });
    peer_.send(bytes, port());
    peer_.send("next", port());
    read_socket();
    EXPECT_EQ(output_.take(), bytes.substr(0, 1024));
    read_socket();
    EXPECT_EQ(output_.take(), "next") << "the rest is lost";
  }
}

TEST_F(UdpServerTest, WritesNothingForAnEmptyDatagramButRemembersItsSender) {
  peer_.send("", port());
  {
    const FaultInjector counter("write", 0, 0);
    read_socket();
    EXPECT_EQ(counter.calls(), 1) << "if the output is a socket, it gets the empty datagram";
  }
  EXPECT_EQ(output_.take(), "");
  EXPECT_EQ(stdout_.take(), kReceived);
  EXPECT_EQ(server_.m_oPeer.sin_port, peer_.port());
}

TEST_F(UdpServerTest, PassesNoFlags) {
  hear_from(peer_);
  const CallLog log;
  peer_.send("hello", port());
  read_socket();
  input_.put("hi");
  read_file();
  EXPECT_EQ(log.calls_of("recvfrom"), std::vector<std::string>{"recvfrom(1024, 0)"});
  EXPECT_EQ(log.calls_of("sendto"), (std::vector<std::string>{"sendto(5, 0)", "sendto(2, 0)"}));
}

// A failed call is not repeated, not even after EINTR, and the printed line ends with o.k. anyway. After a failed
// receive nothing is written, neither an old datagram nor what the stack holds.
TEST_F(UdpServerTest, WritesNothingWhenReceivingFails) {
  hear_from(peer_);
  const sockaddr_in known = server_.m_oPeer;
  const int receives = each_fault("recvfrom", {EINTR, EAGAIN, EFAULT, ECONNREFUSED}, [&](Fault& fault) {
    UdpPeer other;
    other.send("hello", port());
    fault.during([this] { read_socket(); });
    EXPECT_EQ(stdout_.take(), kReceived);
    EXPECT_EQ(output_.take(), fault.has_struck() ? "" : "hello");
    if (fault.has_struck()) {
      EXPECT_EQ(std::memcmp(&server_.m_oPeer, &known, sizeof known), 0) << "the address is unchanged";
      read_socket();
      EXPECT_EQ(output_.take(), "hello") << "the next call receives it";
      stdout_.take();
    }
    server_.m_oPeer = known;
  });
  EXPECT_EQ(receives, 1);
}

TEST_F(UdpServerTest, IgnoresAnOutputThatFails) {
  const int writes = each_fault("write", {EINTR, EAGAIN, EIO}, [this](Fault& fault) {
    peer_.send("hello", port());
    fault.during([this] { read_socket(); });
    EXPECT_EQ(stdout_.take(), kReceived);
    EXPECT_EQ(output_.take(), fault.has_struck() ? "" : "hello") << "the datagram is lost";
    peer_.send("next", port());
    read_socket();
    EXPECT_EQ(output_.take(), "next");
    stdout_.take();
  });
  EXPECT_EQ(writes, 1);
}

TEST_F(UdpServerTest, AnswersTheLastSender) {
  UdpPeer other;
  hear_from(peer_);
  hear_from(other);
  input_.put("for the other");
  read_file();
  const auto datagram = other.receive();
  ASSERT_TRUE(datagram.has_value());
  EXPECT_EQ(datagram->bytes, "for the other");
  EXPECT_EQ(datagram->sender, port());
  EXPECT_EQ(stdout_.take(), sent("13 13"));

  hear_from(peer_);
  input_.put("for the peer");
  read_file();
  EXPECT_EQ(next_at(peer_), "for the peer") << "the first to arrive";
}

TEST_F(UdpServerTest, SendsAtMost1024BytesAtATime) {
  hear_from(peer_);
  input_.put(std::string(1024, 'a') + std::string(476, 'b'));
  read_file();
  read_file();
  EXPECT_EQ(next_at(peer_), std::string(1024, 'a'));
  EXPECT_EQ(next_at(peer_), std::string(476, 'b'));
  EXPECT_EQ(stdout_.take(), sent("1024 1024") + sent("476 476"));
}

TEST_F(UdpServerTest, SendsAnEmptyDatagramAtTheEndOfTheInput) {
  hear_from(peer_);
  input_.close_write_end();
  read_file();
  EXPECT_EQ(next_at(peer_), "");
  EXPECT_EQ(stdout_.take(), sent("0 0"));
}

TEST_F(UdpServerTest, HasNoPeerBeforeTheFirstDatagram) {
  input_.put("hello");
  read_file();
  EXPECT_EQ(stdout_.take(), sent("5 4294967295"));
}

TEST_F(UdpServerTest, SendsNothingWhenReadingFails) {
  hear_from(peer_);
  const int reads = each_fault("read", {EINTR, EAGAIN, EIO}, [this](Fault& fault) {
    input_.put("hello");
    fault.during([this] { read_file(); });
    EXPECT_EQ(stdout_.take(), sent(fault.has_struck() ? "4294967295 4294967295" : "5 5"));
    if (fault.has_struck()) {
      read_file();
      stdout_.take();
    }
    EXPECT_EQ(next_at(peer_), "hello") << "the first to arrive";
  });
  EXPECT_EQ(reads, 1);
}

TEST_F(UdpServerTest, PrintsThatASendFailed) {
  hear_from(peer_);
  const int sends = each_fault("sendto", {EINTR, EAGAIN, ENETUNREACH}, [this](Fault& fault) {
    input_.put("hello");
    fault.during([this] { read_file(); });
    EXPECT_EQ(stdout_.take(), sent(fault.has_struck() ? "5 4294967295" : "5 5"));
    if (!fault.has_struck()) {
      EXPECT_EQ(next_at(peer_), "hello");
    }
    input_.put("next");
    read_file();
    EXPECT_EQ(next_at(peer_), "next") << "the first to arrive";
    stdout_.take();
  });
  EXPECT_EQ(sends, 1);
}

TEST(UdpServerLife, DestructClosesTheSocketAndNotTheOutput) {
  const ContractRecorder contracts;
  const TestPipe output;
  const size_t before = count_open_descriptors();
  UdpServer server = {};
  ASSERT_EQ(NUV_UdpServer_construct(&server, 0, output.write_end()), 1);
  EXPECT_EQ(count_open_descriptors(), before + 1);
  NUV_UdpServer_destruct(&server);
  EXPECT_EQ(count_open_descriptors(), before);
  EXPECT_FALSE(is_open_descriptor(server.m_iSocket));
  EXPECT_TRUE(is_open_descriptor(output.write_end()));
}

TEST(UdpServerLife, WithoutASocketFailsAndClosesNothing) {
  const ContractRecorder contracts;
  CapturedStdout out;
  const TestPipe output;
  const TestPipe stranger;
  UdpServer server;
  std::memset(&server, 0xA5, sizeof server);
  server.m_iSocket = stranger.read_end();
  const UdpServer before = server;
  {
    const FaultInjector no_socket("socket", 1, EMFILE);
    EXPECT_EQ(NUV_UdpServer_construct(&server, 0, output.write_end()), 0);
    EXPECT_TRUE(no_socket.has_struck());
  }
  EXPECT_EQ(server.m_iOutFd, output.write_end());
  EXPECT_EQ(NUV_UdpServer_socket(&server), -1);
  EXPECT_EQ(std::memcmp(&server.m_oLocal, &before.m_oLocal, sizeof server.m_oLocal), 0);
  EXPECT_EQ(std::memcmp(&server.m_oPeer, &before.m_oPeer, sizeof server.m_oPeer), 0);
  NUV_UdpServer_destruct(&server);
  EXPECT_TRUE(is_open_descriptor(stranger.read_end()));
  EXPECT_EQ(out.take(), "");
}

// A daemon that has closed its standard input may get 0 for a socket.
TEST(UdpServerLife, AcceptsDescriptor0AsSocket) {
  const ChildProcess child([] {
    close(STDIN_FILENO);
    UdpServer server = {};
    if (NUV_UdpServer_construct(&server, 0, 1) != 1 || NUV_UdpServer_socket(&server) != STDIN_FILENO) {
      _exit(1);
    }
    NUV_UdpServer_destruct(&server);
    if (is_open_descriptor(STDIN_FILENO)) {
      _exit(2);
    }
  });
  EXPECT_TRUE(child.has_exited(0)) << child.outcome();
}

TEST(UdpServerLife, ClosesTheSocketWhenThePortIsInUse) {
  const ContractRecorder contracts;
  CapturedStdout out;
  const UdpPeer holder;
  const size_t before = count_open_descriptors();
  UdpServer server = {};
  EXPECT_EQ(NUV_UdpServer_construct(&server, holder.port(), 1), 0);
  EXPECT_EQ(count_open_descriptors(), before);
  // The next descriptor reuses the number of the closed socket; destruct must not close it.
  const TestPipe next;
  NUV_UdpServer_destruct(&server);
  EXPECT_TRUE(is_open_descriptor(next.read_end()));
  EXPECT_TRUE(is_open_descriptor(next.write_end()));
  EXPECT_EQ(out.take(), "");
}

// After a failure nothing stays open, nothing is printed, and a second attempt succeeds.
TEST(UdpServerLife, CanBeConstructedAfterAFailure) {
  for (const char* function : {"socket", "bind"}) {
    const int calls = each_fault(function, {EINTR, EMFILE, EADDRINUSE, ENOBUFS}, [](Fault& fault) {
      const ContractRecorder contracts;
      CapturedStdout out;
      UdpServer server;
      std::memset(&server, 0xA5, sizeof server);
      const int32_t constructed = fault.during([&] { return NUV_UdpServer_construct(&server, 0, 1); });
      EXPECT_EQ(constructed, fault.has_struck() ? 0 : 1);
      EXPECT_EQ(server.m_iOutFd, 1);
      if (fault.has_struck()) {
        EXPECT_EQ(NUV_UdpServer_socket(&server), -1);
        NUV_UdpServer_destruct(&server);
        EXPECT_EQ(NUV_UdpServer_construct(&server, 0, 1), 1);
      }
      NUV_UdpServer_destruct(&server);
      EXPECT_EQ(out.take(), "");
    });
    EXPECT_EQ(calls, 1) << function;
  }
}

}  // namespace
