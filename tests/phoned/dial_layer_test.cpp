#include "phoned/core/dial_layer.h"

#include <gtest/gtest.h>


namespace {

using phoned::DialLayer;
using phoned::DialPlan;
using phoned::Notice;
using phoned::Statistics;
using std::chrono::milliseconds;

constexpr milliseconds kInterdigit{4000};

sockaddr_in peer_of(uint16_t port) {
  sockaddr_in peer = {};
  peer.sin_port = port;
  return peer;
}

// A dial layer with a clock that the test sets.
class DialLayerTest : public ::testing::Test {
 protected:
  std::string say(const std::string& datagram, uint16_t port = 1) {
    userlib::Frame frame = userlib::Frame::copy_of(datagram);
    return layer_.handle(phoned::parse_event(frame, peer_of(port)), now_);
  }

  void pass(milliseconds time) { now_ = userlib::later(now_, time); }

  // The outcomes that are due, each with its destination port: "7: 3 reject 1".
  std::vector<std::string> outcomes() {
    std::vector<std::string> texts;
    for (const Notice& notice : layer_.handle_timeouts(now_)) {
      texts.push_back(std::to_string(notice.card.sin_port) + ": " + notice.text);
    }
    return texts;
  }

  // The time to the next deadline; -1 without one.
  int64_t milliseconds_left() const {
    const auto deadline = layer_.next_deadline();
    if (!deadline) {
      return -1;
    }
    return (deadline->tv_sec - now_.tv_sec) * 1000 + (deadline->tv_usec - now_.tv_usec) / 1000;
  }

  using Texts = std::vector<std::string>;

  timeval now_ = {1000, 500000};
  Statistics statistics_;
  DialLayer layer_{DialPlan("110|11T|12|12x|0x.T|[2-9]xxx"), kInterdigit, statistics_};
};

TEST_F(DialLayerTest, FollowsALineThroughACall) {
  EXPECT_EQ(say("3 offhook"), "3 ready");
  EXPECT_EQ(say("3 digit 1"), "3 more 1");
  EXPECT_EQ(say("3 digit 1"), "3 more 11");
  EXPECT_EQ(say("3 digit 0"), "3 complete 110 110");
  EXPECT_EQ(say("3 onhook"), "3 idle");
}

TEST_F(DialLayerTest, AnswersDigitsInARowOnce) {
  say("3 offhook");
  EXPECT_EQ(say("3 dial 23"), "3 more 23");
  EXPECT_EQ(say("3 dial 45"), "3 complete 2345 [2-9]xxx");
}

TEST_F(DialLayerTest, DropsDigitsBehindTheDecision) {
  say("3 offhook");
  EXPECT_EQ(say("3 dial 110999"), "3 complete 110 110");
  say("4 offhook");
  EXPECT_EQ(say("4 dial 1999"), "4 reject 19");
}

TEST_F(DialLayerTest, RefusesWhatDoesNotFitTheState) {
  EXPECT_EQ(say("3 digit 1"), "error line 3 is on the hook: 'offhook' comes first");
  EXPECT_EQ(say("3 dial 110"), "error line 3 is on the hook: 'offhook' comes first");
  EXPECT_EQ(say("3 onhook"), "3 idle") << "a line card may repeat it";
  say("3 offhook");
  EXPECT_EQ(say("3 offhook"), "error line 3 is off the hook already: 'onhook' comes first");
  say("3 dial 110");
  EXPECT_EQ(say("3 digit 1"), "error line 3 has its answer: 'onhook' comes first");
  EXPECT_EQ(say("3 offhook"), "error line 3 is off the hook already: 'onhook' comes first");
  say("3 onhook");
  EXPECT_EQ(say("3 digit 1"), "error line 3 is on the hook: 'offhook' comes first");
}

TEST_F(DialLayerTest, ChangesNothingOnAnError) {
  say("3 offhook");
  say("3 digit 0", 7);
  pass(milliseconds(1000));
  for (const char* datagram : {"3 dial 12x", "3 digit 12", "3 offhook", "3 dance", "nonsense", "3"}) {
    EXPECT_EQ(say(datagram, 8).substr(0, 6), "error ") << datagram;
  }
  EXPECT_EQ(layer_.handle(phoned::Event(phoned::Event::Kind::kBad, 0, peer_of(8), "because"), now_), "error because");
  EXPECT_EQ(milliseconds_left(), 3000);
  pass(milliseconds(3000));
  EXPECT_EQ(outcomes(), Texts{"7: 3 complete 0 0x.T"});
}

TEST_F(DialLayerTest, StartsEveryCallAfresh) {
  say("3 offhook");
  say("3 dial 23");
  say("3 onhook");
  EXPECT_EQ(milliseconds_left(), -1);
  say("3 offhook");
  EXPECT_EQ(say("3 dial 110"), "3 complete 110 110");
}

TEST_F(DialLayerTest, KeepsLinesApart) {
  say("3 offhook");
  say("4 offhook");
  EXPECT_EQ(say("3 digit 2"), "3 more 2");
  EXPECT_EQ(say("4 digit 1"), "4 more 1");
  EXPECT_EQ(say("3 dial 345"), "3 complete 2345 [2-9]xxx");
  EXPECT_EQ(say("4 dial 10"), "4 complete 110 110");
  EXPECT_EQ(say("0 dial 1"), "error line 0 is on the hook: 'offhook' comes first");
}

TEST_F(DialLayerTest, InterdigitTimeStartsWithTheFirstDigitAndAnewWithEach) {
  say("3 offhook");
  EXPECT_EQ(milliseconds_left(), -1);
  say("3 digit 0");
  EXPECT_EQ(milliseconds_left(), 4000);
  pass(milliseconds(3999));
  EXPECT_EQ(outcomes(), Texts{});
  say("3 digit 1");
  EXPECT_EQ(milliseconds_left(), 4000);
  pass(milliseconds(3999));
  EXPECT_EQ(outcomes(), Texts{});
  pass(milliseconds(1));
  EXPECT_EQ(outcomes(), Texts{"1: 3 complete 01 0x.T"});
  EXPECT_EQ(milliseconds_left(), -1);
  EXPECT_EQ(outcomes(), Texts{}) << "once";
  EXPECT_EQ(say("3 digit 1"), "error line 3 has its answer: 'onhook' comes first");
}

TEST_F(DialLayerTest, ADecisionEndsTheInterdigitTime) {
  say("3 offhook");
  say("3 dial 11");
  say("3 dial 0");
  EXPECT_EQ(milliseconds_left(), -1);
  say("4 offhook");
  say("4 dial 23");
  EXPECT_EQ(milliseconds_left(), 4000);
  say("4 onhook");
  EXPECT_EQ(milliseconds_left(), -1);
}

TEST_F(DialLayerTest, RejectsWhatIsNotCompleteInTime) {
  for (const char* datagram : {"3 offhook", "3 dial 23", "4 offhook", "4 dial 12", "5 offhook", "5 dial 11"}) {
    say(datagram);
  }
  pass(kInterdigit);
  EXPECT_EQ(outcomes(), (Texts{"1: 3 reject 23", "1: 4 reject 12", "1: 5 complete 11 11T"}));
}

TEST_F(DialLayerTest, TellsTheOutcomeToWhoeverDialledLast) {
  say("3 offhook", 7);
  say("3 digit 0", 8);
  say("3 digit 0", 9);
  pass(kInterdigit);
  EXPECT_EQ(outcomes(), Texts{"9: 3 complete 00 0x.T"});
}

TEST_F(DialLayerTest, ServesTheDeadlinesOfAllLines) {
  for (int line = 0; line < 256; ++line) {
    say(std::to_string(line) + " offhook");
    say(std::to_string(line) + " digit 0", static_cast<uint16_t>(line));
    pass(milliseconds(10));
  }
  EXPECT_EQ(milliseconds_left(), 4000 - 2560);
  // Line 0 dials on, so it expires last.
  say("0 digit 1", 1000);
  pass(milliseconds(4000 - 2560 + 9));
  EXPECT_EQ(outcomes(), Texts{});
  EXPECT_EQ(milliseconds_left(), 1);
  for (int line = 1; line < 256; ++line) {
    pass(milliseconds(line == 1 ? 1 : 10));
    const std::string number = std::to_string(line);
    EXPECT_EQ(outcomes(), Texts{number + ": " + number + " complete 0 0x.T"});
  }
  pass(kInterdigit);
  EXPECT_EQ(outcomes(), Texts{"1000: 0 complete 01 0x.T"});
}

TEST_F(DialLayerTest, RejectsMoreThan32Digits) {
  const std::string digits(32, '0');
  say("3 offhook");
  EXPECT_EQ(say("3 dial " + digits), "3 more " + digits);
  EXPECT_EQ(say("3 digit 0"), "3 reject " + digits);
  EXPECT_EQ(say("3 digit 0"), "error line 3 has its answer: 'onhook' comes first");
  EXPECT_EQ(milliseconds_left(), -1);
  say("4 offhook");
  EXPECT_EQ(say("4 dial " + std::string(1000, '0')), "4 reject " + digits);
}

TEST_F(DialLayerTest, ChangesThePlanUnderItsLines) {
  say("3 offhook");
  say("3 dial 11");
  layer_.change_plan(DialPlan("11x"));
  EXPECT_EQ(say("3 digit 7"), "3 complete 117 11x");
}

TEST_F(DialLayerTest, Counts) {
  for (const char* datagram : {"3 offhook", "3 dial 110", "3 dial 110", "4 offhook", "4 dial 19", "5 offhook",
                               "5 dial 0", "6 offhook", "6 dial 23", "nonsense"}) {
    say(datagram);
  }
  say(std::string(1025, '0'));
  pass(kInterdigit);
  outcomes();
  const Statistics expected = {.datagrams = 11, .complete = 2, .rejected = 2, .timeouts = 2, .errors = 3};
  EXPECT_EQ(statistics_, expected);
}

}  // namespace
