#include <gtest/gtest.h>

#include "program.h"
#include "udp_socket.h"

namespace {

using support::Program;
using support::UdpSocket;

// The daemon does not report that it listens, so repeat the first datagram until an answer arrives.
TEST(FirstDaemon, SendsDatagramsBack) {
  const uint16_t port = UdpSocket().port();
  const Program daemon(FIRST_DAEMON, {std::to_string(port)});
  UdpSocket first(port);
  for (int tries = 0; tries < 2000 && !first.has_datagram_within(10); ++tries) {
    first.send("hello");
  }
  EXPECT_EQ(first.receive(), "hello");
  UdpSocket second(port);
  EXPECT_EQ(second.ask("one"), "one");
  EXPECT_EQ(second.ask("two words"), "two words");
}

TEST(FirstDaemon, ListensToItsOperator) {
  const uint16_t port = UdpSocket().port();
  const Program daemon(FIRST_DAEMON, {std::to_string(port)}, "tr show\n");
  EXPECT_TRUE(daemon.says("handle  1 : Echo        level : 113  ( Info Warning Error GuiOutput)\n"));
  EXPECT_TRUE(daemon.says("> "));
}

// At the end of its input, the operator has left, but the daemon continues.
TEST(FirstDaemon, OutlivesItsOperator) {
  const uint16_t port = UdpSocket().port();
  const Program daemon(FIRST_DAEMON, {std::to_string(port)}, "tr console\ntr change Echo 115\n");
  EXPECT_TRUE(daemon.says("> "));
  UdpSocket card(port);
  EXPECT_EQ(card.ask("still there"), "still there");
}

TEST(FirstDaemon, WantsAPort) {
  for (const char* port : {"0", "65536", "x", ""}) {
    Program daemon(FIRST_DAEMON, {port});
    EXPECT_EQ(daemon.exit_status(), 1);
    EXPECT_EQ(daemon.err(), "first_daemon: '" + std::string(port) + "' must be the number of a free UDP port\n");
  }
}

TEST(FirstDaemon, WantsAPortThatIsFree) {
  const UdpSocket taken;
  const std::string port = std::to_string(taken.port());
  Program daemon(FIRST_DAEMON, {port});
  EXPECT_EQ(daemon.exit_status(), 1);
  EXPECT_EQ(daemon.err(), "first_daemon: '" + port + "' must be the number of a free UDP port\n");
}

}  // namespace
