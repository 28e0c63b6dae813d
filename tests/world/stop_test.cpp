// phoned is stopped for a while and continued, as on a suspended or overloaded machine or by a debugger. Datagrams that
// arrived in time wait in the socket, and must be handled before time-outs.
#include <gtest/gtest.h>
#include <signal.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include "phoned.h"
#include "udp_socket.h"

namespace {

using support::UdpSocket;
using world::Milliseconds;
using world::Phoned;

class StopTest : public testing::Test {
 protected:
  void start(const support::Program::Arguments& options) {
    phoned_ = std::make_unique<Phoned>(Phoned::Start{.options = options});
    ASSERT_TRUE(phoned_->is_up());
  }

  // Stops phoned for a time. `meanwhile` runs soon after the stop.
  void stand_still(Milliseconds time, const std::function<void()>& meanwhile) const {
    constexpr Milliseconds kSoon{300};
    phoned_->stop();
    std::this_thread::sleep_for(kSoon);
    meanwhile();
    std::this_thread::sleep_for(time - kSoon);
    phoned_->signal(SIGCONT);
  }

  std::unique_ptr<Phoned> phoned_;
};

TEST_F(StopTest, DigitInTimeCounts) {
  start({"--interdigit", "2000"});
  UdpSocket card(phoned_->port());
  ASSERT_EQ(card.ask("3 offhook"), "3 ready");
  ASSERT_EQ(card.ask("3 digit 0"), "3 more 0");
  stand_still(Milliseconds(2500), [&card] { card.send("3 digit 1"); });
  EXPECT_EQ(card.receive(), "3 more 01");
  EXPECT_EQ(card.receive(), "3 complete 01 0x.T");
}

// Datagrams of other lines arrive before the digit.
TEST_F(StopTest, DigitInTimeCountsAfterOtherDatagrams) {
  start({"--interdigit", "2000"});
  const UdpSocket others(phoned_->port());
  UdpSocket card(phoned_->port());
  ASSERT_EQ(card.ask("3 offhook"), "3 ready");
  ASSERT_EQ(card.ask("3 digit 0"), "3 more 0");
  stand_still(Milliseconds(2500), [&] {
    for (int line = 10; line < 20; ++line) {
      others.send(std::to_string(line) + " onhook");
    }
    card.send("3 digit 1");
  });
  EXPECT_EQ(card.receive(), "3 more 01");
  EXPECT_EQ(card.receive(), "3 complete 01 0x.T");
}

// A signal ends the wait before the socket is read.
TEST_F(StopTest, DigitInTimeCountsDespiteASignal) {
  start({"--interdigit", "2000"});
  UdpSocket card(phoned_->port());
  ASSERT_EQ(card.ask("3 offhook"), "3 ready");
  ASSERT_EQ(card.ask("3 digit 0"), "3 more 0");
  stand_still(Milliseconds(2500), [&] {
    card.send("3 digit 1");
    phoned_->signal(SIGHUP);
  });
  EXPECT_EQ(card.receive(), "3 more 01");
  EXPECT_EQ(card.receive(), "3 complete 01 0x.T");
}

TEST_F(StopTest, EachLineGetsItsOutcomeOnce) {
  start({"--interdigit", "2500"});
  UdpSocket card(phoned_->port());
  for (int line = 0; line < 100; ++line) {
    const std::string name = std::to_string(line);
    ASSERT_EQ(card.ask(name + " offhook"), name + " ready");
    ASSERT_EQ(card.ask(name + " digit 0"), name + " more 0");
  }
  stand_still(Milliseconds(3500), [&card] { card.send("100 onhook"); });
  std::set<std::string> outcomes;
  for (int line = 0; line < 101; ++line) {
    EXPECT_TRUE(outcomes.insert(card.receive()).second);
  }
  EXPECT_TRUE(outcomes.contains("100 idle"));
  EXPECT_TRUE(outcomes.contains("99 complete 0 0x.T"));
  EXPECT_FALSE(card.has_datagram_within(200));
}

// Timers that missed several periods fire once.
TEST_F(StopTest, MissedPeriodsAreNotMadeUpFor) {
  start({"--statistics", "1", "--console-timeout", "1"});
  UdpSocket card(phoned_->port());
  stand_still(Milliseconds(4000), [&card] { card.send("3 onhook"); });
  EXPECT_EQ(card.receive(), "3 idle");
  EXPECT_TRUE(world::is_idle(phoned_->pid()));
  world::expect_a_clean_end(*phoned_);
  const std::string out = phoned_->program().out();
  size_t reports = 0;
  for (size_t at = out.find("phoned: datagrams"); at != std::string::npos; at = out.find("phoned: datagrams", at + 1)) {
    ++reports;
  }
  EXPECT_LE(reports, 2U) << "once by the timer and once at the end\n" << out;
}

}  // namespace
