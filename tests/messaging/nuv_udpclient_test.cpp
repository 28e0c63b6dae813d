#include "nuv_udpclient.h"

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

constexpr char kReceived[] = "NUV_UdpClient_socketRead ...o.k.\n";
constexpr char kSent[] = "NUV_UdpClient_fileRead ...o.k.\n";

// A client of the test's server that writes to the test's pipe.
class UdpClientTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(NUV_UdpClient_construct(&client_, "127.0.0.1", server_.port(), output_.write_end()), 1);
  }
  void TearDown() override { NUV_UdpClient_destruct(&client_); }

  in_port_t port() const { return bound_port(client_.m_iSocket); }
  void read_socket() { NUV_UdpClient_socketRead(&client_, client_.m_iSocket); }
  void read_file() { NUV_UdpClient_fileRead(&client_, input_.read_end()); }

  // The next datagram that the server receives.
  std::string received() {
    const auto datagram = server_.receive();
    return datagram ? datagram->bytes : "(nothing)";
  }

  ContractRecorder contracts_;
  CapturedStdout stdout_;
  UdpPeer server_;
  TestPipe input_;
  TestPipe output_;
  UdpClient client_ = {};
};

TEST(UdpClientRecord, HoldsOutputSocketServerLocalInThisOrder) {
  EXPECT_EQ(offsetof(UdpClient, m_iOutFd), 0U);
  EXPECT_EQ(offsetof(UdpClient, m_iSocket), 4U);
  EXPECT_EQ(offsetof(UdpClient, m_oServer), 8U);
  EXPECT_EQ(offsetof(UdpClient, m_oLocal), 24U);
  EXPECT_EQ(sizeof(UdpClient), 40U);
}

TEST_F(UdpClientTest, ConstructOpensABoundUdpSocket) {
  const int fd = NUV_UdpClient_socket(&client_);
  EXPECT_EQ(fd, client_.m_iSocket);
  for (const auto& [option, value] : {std::pair{SO_DOMAIN, AF_INET}, {SO_TYPE, SOCK_DGRAM}, {SO_PROTOCOL, 17}}) {
    int found = -1;
    socklen_t length = sizeof found;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, option, &found, &length), 0);
    EXPECT_EQ(found, value) << option;
  }
  EXPECT_NE(port(), 0);
  EXPECT_EQ(stdout_.take(), "") << "construct prints nothing";
}

TEST(UdpClientAddresses, AreSetExceptThePaddingOfTheLocalOne) {
  const ContractRecorder contracts;
  const TestPipe output;
  UdpClient client;
  std::memset(&client, 0xA5, sizeof client);
  ASSERT_EQ(NUV_UdpClient_construct(&client, "127.1.2.3", htons(5060), output.write_end()), 1);
  EXPECT_EQ(client.m_iOutFd, output.write_end());
  EXPECT_EQ(client.m_oServer.sin_family, AF_INET);
  EXPECT_EQ(client.m_oServer.sin_port, htons(5060)) << "stored as passed";
  EXPECT_EQ(client.m_oServer.sin_addr.s_addr, htonl(0x7F010203));
  EXPECT_EQ(client.m_oLocal.sin_family, AF_INET);
  EXPECT_EQ(client.m_oLocal.sin_port, 0);
  EXPECT_EQ(client.m_oLocal.sin_addr.s_addr, 0U);
  for (const unsigned char byte : client.m_oServer.sin_zero) {
    EXPECT_EQ(byte, 0);
  }
  for (const unsigned char byte : client.m_oLocal.sin_zero) {
    EXPECT_EQ(byte, 0xA5) << "not cleared";
  }
  NUV_UdpClient_destruct(&client);
}

TEST(UdpClientAddresses, StoresAllOnesForAnInvalidServer) {
  const ContractRecorder contracts;
  for (const char* server : {"", "localhost", "300.1.1.1", "1.2.3.4.5", "::1"}) {
    SCOPED_TRACE(server);
    UdpClient client = {};
    EXPECT_EQ(NUV_UdpClient_construct(&client, server, htons(1), 1), 1);
    EXPECT_EQ(client.m_oServer.sin_addr.s_addr, 0xFFFFFFFF);
    NUV_UdpClient_destruct(&client);
  }
}

TEST_F(UdpClientTest, WritesADatagramToTheOutput) {
  server_.send("hello", port());
  read_socket();
  EXPECT_EQ(output_.take(), "hello");
  EXPECT_EQ(stdout_.take(), kReceived);
}

TEST_F(UdpClientTest, WritesOneDatagramAtATime) {
  server_.send("one", port());
  server_.send(std::string("t\0o", 3), port());
  read_socket();
  EXPECT_EQ(output_.take(), "one");
  read_socket();
  EXPECT_EQ(output_.take(), std::string("t\0o", 3));
}

TEST_F(UdpClientTest, CutsALongDatagram) {
  for (const size_t length : {1023U, 1024U, 1025U, 1500U}) {
    SCOPED_TRACE(length);
    std::string bytes(length, '.');
    std::generate(bytes.begin(), bytes.end(), [i = 0]() mutable { return static_cast<char>('a' + i++ % 23); });
    server_.send(bytes, port());
    server_.send("next", port());
    read_socket();
    EXPECT_EQ(output_.take(), bytes.substr(0, 1024));
    read_socket();
    EXPECT_EQ(output_.take(), "next") << "the rest is lost";
  }
}

TEST_F(UdpClientTest, WritesNothingForAnEmptyDatagram) {
  server_.send("", port());
  {
    const FaultInjector counter("write", 0, 0);
    read_socket();
    EXPECT_EQ(counter.calls(), 1) << "if the output is a socket, it gets the empty datagram";
  }
  EXPECT_EQ(output_.take(), "");
  EXPECT_EQ(stdout_.take(), kReceived);
}

TEST_F(UdpClientTest, PassesNoFlags) {
  const CallLog log;
  server_.send("hello", port());
  read_socket();
  input_.put("hi");
  read_file();
  EXPECT_EQ(log.calls_of("recvfrom"), std::vector<std::string>{"recvfrom(1024, 0)"});
  EXPECT_EQ(log.calls_of("sendto"), (std::vector<std::string>{"sendto(5, 0)", "sendto(2, 0)"}));
}

TEST_F(UdpClientTest, StoresTheSenderInTheLocalAddressAndStillSendsToTheServer) {
  UdpPeer stranger;
  stranger.send("psst", port());
  read_socket();
  EXPECT_EQ(output_.take(), "psst");
  EXPECT_EQ(client_.m_oLocal.sin_family, AF_INET);
  EXPECT_EQ(client_.m_oLocal.sin_port, stranger.port());
  EXPECT_EQ(client_.m_oLocal.sin_addr.s_addr, htonl(INADDR_LOOPBACK));

  input_.put("hello");
  read_file();
  EXPECT_EQ(received(), "hello");
}

// A failed call is not repeated, not even after EINTR, and the printed line ends with o.k. anyway. After a failed
// receive nothing is written, neither an old datagram nor what the stack holds.
TEST_F(UdpClientTest, WritesNothingWhenReceivingFails) {
  const sockaddr_in known = client_.m_oLocal;
  const int receives = each_fault("recvfrom", {EINTR, EAGAIN, EFAULT, ECONNREFUSED}, [&](Fault& fault) {
    server_.send("hello", port());
    fault.during([this] { read_socket(); });
    EXPECT_EQ(stdout_.take(), kReceived);
    EXPECT_EQ(output_.take(), fault.has_struck() ? "" : "hello");
    if (fault.has_struck()) {
      EXPECT_EQ(std::memcmp(&client_.m_oLocal, &known, sizeof known), 0) << "the address is unchanged";
      read_socket();
      EXPECT_EQ(output_.take(), "hello") << "the next call receives it";
      stdout_.take();
    }
    client_.m_oLocal = known;
  });
  EXPECT_EQ(receives, 1);
}

TEST_F(UdpClientTest, IgnoresAnOutputThatFails) {
  const int writes = each_fault("write", {EINTR, EAGAIN, EIO}, [this](Fault& fault) {
    server_.send("hello", port());
    fault.during([this] { read_socket(); });
    EXPECT_EQ(stdout_.take(), kReceived);
    EXPECT_EQ(output_.take(), fault.has_struck() ? "" : "hello") << "the datagram is lost";
    server_.send("next", port());
    read_socket();
    EXPECT_EQ(output_.take(), "next");
    stdout_.take();
  });
  EXPECT_EQ(writes, 1);
}

TEST_F(UdpClientTest, SendsItsInputToTheServer) {
  input_.put(std::string("a\0b", 3));
  read_file();
  const auto datagram = server_.receive();
  ASSERT_TRUE(datagram.has_value());
  EXPECT_EQ(datagram->bytes, std::string("a\0b", 3));
  EXPECT_EQ(datagram->sender, port());
  EXPECT_EQ(stdout_.take(), kSent);
}

TEST_F(UdpClientTest, SendsAtMost1024BytesAtATime) {
  input_.put(std::string(1024, 'a') + std::string(476, 'b'));
  read_file();
  read_file();
  EXPECT_EQ(received(), std::string(1024, 'a'));
  EXPECT_EQ(received(), std::string(476, 'b'));
  EXPECT_EQ(stdout_.take(), std::string(kSent) + kSent);
}

TEST_F(UdpClientTest, SendsAnEmptyDatagramAtTheEndOfTheInput) {
  input_.close_write_end();
  read_file();
  EXPECT_EQ(received(), "");
  EXPECT_EQ(stdout_.take(), kSent);
}

TEST_F(UdpClientTest, SendsNothingWhenReadingFails) {
  const int reads = each_fault("read", {EINTR, EAGAIN, EIO}, [this](Fault& fault) {
    input_.put("hello");
    fault.during([this] { read_file(); });
    EXPECT_EQ(stdout_.take(), kSent) << "o.k. anyway";
    if (fault.has_struck()) {
      read_file();
      stdout_.take();
    }
    EXPECT_EQ(received(), "hello") << "the first to arrive";
  });
  EXPECT_EQ(reads, 1);
}

TEST_F(UdpClientTest, IgnoresASendThatFails) {
  const int sends = each_fault("sendto", {EINTR, EAGAIN, ENETUNREACH}, [this](Fault& fault) {
    input_.put("hello");
    fault.during([this] { read_file(); });
    EXPECT_EQ(stdout_.take(), kSent);
    if (!fault.has_struck()) {
      EXPECT_EQ(received(), "hello");
    }
    input_.put("next");
    read_file();
    EXPECT_EQ(received(), "next") << "the first to arrive";
    stdout_.take();
  });
  EXPECT_EQ(sends, 1);
}

TEST(UdpClientLife, DestructClosesTheSocketAndNotTheOutput) {
  const ContractRecorder contracts;
  const TestPipe output;
  const size_t before = count_open_descriptors();
  UdpClient client = {};
  ASSERT_EQ(NUV_UdpClient_construct(&client, "127.0.0.1", htons(1), output.write_end()), 1);
  EXPECT_EQ(count_open_descriptors(), before + 1);
  NUV_UdpClient_destruct(&client);
  EXPECT_EQ(count_open_descriptors(), before);
  EXPECT_FALSE(is_open_descriptor(client.m_iSocket));
  EXPECT_TRUE(is_open_descriptor(output.write_end()));
}

TEST(UdpClientLife, WithoutASocketFailsAndClosesNothing) {
  const ContractRecorder contracts;
  CapturedStdout out;
  const TestPipe output;
  const TestPipe stranger;
  UdpClient client;
  std::memset(&client, 0xA5, sizeof client);
  client.m_iSocket = stranger.read_end();
  const UdpClient before = client;
  {
    const FaultInjector no_socket("socket", 1, EMFILE);
    EXPECT_EQ(NUV_UdpClient_construct(&client, "127.0.0.1", htons(1), output.write_end()), 0);
    EXPECT_TRUE(no_socket.has_struck());
  }
  EXPECT_EQ(client.m_iOutFd, output.write_end());
  EXPECT_EQ(NUV_UdpClient_socket(&client), -1);
  EXPECT_EQ(std::memcmp(&client.m_oServer, &before.m_oServer, sizeof client.m_oServer), 0);
  EXPECT_EQ(std::memcmp(&client.m_oLocal, &before.m_oLocal, sizeof client.m_oLocal), 0);
  NUV_UdpClient_destruct(&client);
  EXPECT_TRUE(is_open_descriptor(stranger.read_end()));
  EXPECT_EQ(out.take(), "");
}

// A daemon that has closed its standard input may get 0 for a socket.
TEST(UdpClientLife, AcceptsDescriptor0AsSocket) {
  const ChildProcess child([] {
    close(STDIN_FILENO);
    UdpClient client = {};
    if (NUV_UdpClient_construct(&client, "127.0.0.1", htons(1), 1) != 1 ||
        NUV_UdpClient_socket(&client) != STDIN_FILENO) {
      _exit(1);
    }
    NUV_UdpClient_destruct(&client);
    if (is_open_descriptor(STDIN_FILENO)) {
      _exit(2);
    }
  });
  EXPECT_TRUE(child.has_exited(0)) << child.outcome();
}

TEST(UdpClientLife, ClosesASocketThatCannotBeBound) {
  const ContractRecorder contracts;
  CapturedStdout out;
  const size_t before = count_open_descriptors();
  UdpClient client = {};
  {
    const FaultInjector not_bound("bind", 1, EADDRNOTAVAIL);
    EXPECT_EQ(NUV_UdpClient_construct(&client, "127.0.0.1", htons(1), 1), 0);
    EXPECT_TRUE(not_bound.has_struck());
  }
  EXPECT_EQ(count_open_descriptors(), before);
  // The next descriptor reuses the number of the closed socket; destruct must not close it.
  const TestPipe next;
  NUV_UdpClient_destruct(&client);
  EXPECT_TRUE(is_open_descriptor(next.read_end()));
  EXPECT_TRUE(is_open_descriptor(next.write_end()));
  EXPECT_EQ(out.take(), "");
}

// After a failure nothing stays open, nothing is printed, and a second attempt succeeds.
TEST(UdpClientLife, CanBeConstructedAfterAFailure) {
  for (const char* function : {"socket", "bind"}) {
    const int calls = each_fault(function, {EINTR, EMFILE, EADDRINUSE, ENOBUFS}, [](Fault& fault) {
      const ContractRecorder contracts;
      CapturedStdout out;
      UdpClient client;
      std::memset(&client, 0xA5, sizeof client);
      const int32_t constructed =
          fault.during([&] { return NUV_UdpClient_construct(&client, "127.0.0.1", htons(1), 1); });
      EXPECT_EQ(constructed, fault.has_struck() ? 0 : 1);
      EXPECT_EQ(client.m_iOutFd, 1);
      if (fault.has_struck()) {
        EXPECT_EQ(NUV_UdpClient_socket(&client), -1);
        NUV_UdpClient_destruct(&client);
        EXPECT_EQ(NUV_UdpClient_construct(&client, "127.0.0.1", htons(1), 1), 1);
      }
      NUV_UdpClient_destruct(&client);
      EXPECT_EQ(out.take(), "");
    });
    EXPECT_EQ(calls, 1) << function;
  }
}

}  // namespace
