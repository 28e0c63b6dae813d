// Datagrams with forged senders. phoned answers the sender in the datagram, so these must not make phoned talk to
// itself for ever, nor two phoneds to each other.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "namespaces.h"
#include "phoned.h"
#include "raw_datagram.h"
#include "udp_socket.h"

namespace {

using support::UdpSocket;
using world::Datagram;
using world::Endpoint;
using world::Forger;
using world::Namespaces;
using world::Phoned;
using world::Tap;

constexpr char kStranger[] = "10.20.30.40";

class ForgedTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!network_.are_ours()) {
      GTEST_SKIP() << Namespaces::kNotPermitted;
    }
    phoned_ = start({});
  }

  static std::unique_ptr<Phoned> start(const support::Program::Arguments& options) {
    auto phoned = std::make_unique<Phoned>(Phoned::Start{.options = options});
    EXPECT_TRUE(phoned->is_up());
    return phoned;
  }

  static Endpoint of(const Phoned& phoned) { return {.port = phoned.port()}; }

  // Sends this datagram and returns all that arrive, including itself.
  static std::vector<Datagram> all_after(const Datagram& datagram) {
    const Tap tap;
    Forger().send(datagram);
    return tap.take();
  }

  Namespaces network_{Namespaces::Kind::kNetwork};
  std::unique_ptr<Phoned> phoned_;
};

TEST_F(ForgedTest, AnotherPhonedAsSenderCausesAtMostOneAnswer) {
  const auto other = start({});
  for (const char* text : {"garbage", "3 onhook", "3 dial 5", "error unknown line", "3 idle", ""}) {
    SCOPED_TRACE(text);
    EXPECT_LE(all_after({of(*other), of(*phoned_), text}).size(), 2U);
  }
  EXPECT_TRUE(world::is_idle(phoned_->pid()));
  EXPECT_TRUE(world::is_idle(other->pid()));
  world::expect_prompt_answers(*phoned_, 3);
  world::expect_prompt_answers(*other, 3);
}

TEST_F(ForgedTest, ItsOwnPortAsSenderCausesAtMostOneAnswer) {
  for (const char* text : {"garbage", "3 onhook", "3 dial 5", "error unknown line", "3 idle", ""}) {
    SCOPED_TRACE(text);
    EXPECT_LE(all_after({of(*phoned_), of(*phoned_), text}).size(), 2U);
  }
  EXPECT_TRUE(world::is_idle(phoned_->pid()));
  world::expect_prompt_answers(*phoned_, 3);
}

// A time-out decides a line whose last digit came from phoned's own port, and the outcome is sent there.
TEST_F(ForgedTest, ItsOwnPortAsSenderOfDigitsCausesOneOutcome) {
  const auto impatient = start({"--interdigit", "100"});
  UdpSocket card(impatient->port());
  ASSERT_EQ(card.ask("3 offhook"), "3 ready");
  EXPECT_LE(all_after({of(*impatient), of(*impatient), "3 dial 0"}).size(), 3U);
  EXPECT_TRUE(world::is_idle(impatient->pid()));
}

TEST_F(ForgedTest, SendersThatCannotBeAnsweredAreHarmless) {
  const Forger forger;
  for (const Endpoint& sender : {Endpoint{"127.0.0.1", 0}, Endpoint{"127.255.255.255", 9}, Endpoint{"127.9.9.9", 9}}) {
    forger.send({sender, of(*phoned_), "3 dance"});
  }
  EXPECT_TRUE(world::is_idle(phoned_->pid()));
  world::expect_prompt_answers(*phoned_, 3);
}

TEST_F(ForgedTest, AnswersAreNeverAnswered) {
  UdpSocket card(phoned_->port());
  for (const char* text : {"", "error", "error unknown line", "3 ready", "3 idle", "3 more 1", "3 complete 110 110",
                           "3 reject 12", "255 reject", "3  idle"}) {
    SCOPED_TRACE(text);
    card.send(text);
    // Answers come in order, so the next one would be that to the text.
    EXPECT_EQ(card.ask("4 onhook"), "4 idle");
  }
}

TEST_F(ForgedTest, StrangersGetNoAnswerUnlessTheyAreAllowed) {
  ASSERT_TRUE(world::add_loopback_address(kStranger));
  const Endpoint stranger = {kStranger, 9};
  EXPECT_EQ(all_after({stranger, of(*phoned_), "3 onhook"}).size(), 1U);
  EXPECT_EQ(all_after({stranger, of(*phoned_), "garbage"}).size(), 1U);
  const auto hospitable = start({"--allow", "10.20.0.0/16"});
  const auto seen = all_after({stranger, of(*hospitable), "3 onhook"});
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen.back().to, stranger);
  EXPECT_EQ(seen.back().text, "3 idle");
  UdpSocket card(hospitable->port());
  card.send("3 onhook");
  EXPECT_FALSE(card.has_datagram_within(500));
}

TEST_F(ForgedTest, ThousandForgedDatagramsCauseAtMostAThousandAnswers) {
  constexpr int kCount = 1000;
  const Tap tap;
  const Forger forger;
  for (int i = 0; i < kCount; ++i) {
    forger.send({of(*phoned_), of(*phoned_), "garbage " + std::to_string(i)});
  }
  EXPECT_LE(tap.take().size(), 2U * kCount);
  EXPECT_TRUE(world::is_idle(phoned_->pid()));
  world::expect_prompt_answers(*phoned_, 3);
}

}  // namespace
