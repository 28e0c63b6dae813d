// phoned under load: line cards, an operator and signals at the same time, with every answer counted.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <filesystem>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "console_operator.h"
#include "doubles/temporary_directory.h"
#include "program.h"
#include "udp_socket.h"

namespace {

using support::comes_true;
using support::Operator;
using support::Program;
using support::TemporaryDirectory;
using support::TemporaryFile;
using support::UdpSocket;

constexpr char kListening[] = "phoned: listening on port ";
constexpr char kRead[] = "phoned: HUP: read 2 patterns from ";

size_t count_of(const std::string& text, const std::string& piece) {
  size_t count = 0;
  for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + piece.size())) {
    ++count;
  }
  return count;
}

uint16_t port_of(const Program& phoned) {
  const std::string out = phoned.says(kListening) ? phoned.out() : "";
  const size_t at = out.find(kListening);
  return at == std::string::npos ? 0 : static_cast<uint16_t>(std::stoul(out.substr(at + sizeof kListening - 1)));
}

// The line card's model of a line under the plan 110|0x.T: its next datagram, and the expected answer.
class Line {
 public:
  explicit Line(int number) : number_(std::to_string(number)) {}

  struct Exchange {
    std::string datagram;
    std::string answer;
    bool is_malformed = false;
  };

  // The serial number makes each malformed datagram, and so its answer, unique.
  Exchange next(std::mt19937& random, int serial) {
    if (random() % 4 == 0) {
      return malformed(random, serial);
    }
    if (!is_off_hook_) {
      is_off_hook_ = true;
      digits_.clear();
      is_decided_ = false;
      return {number_ + " offhook", number_ + " ready"};
    }
    if (is_decided_ || random() % 8 == 0) {
      is_off_hook_ = false;
      return {number_ + " onhook", number_ + " idle"};
    }
    return dial(random);
  }

 private:
  Exchange malformed(std::mt19937& random, int serial) const {
    const std::string word = "dance" + std::to_string(serial);
    const std::string events = "must be offhook, digit, dial or onhook";
    switch (random() % 3) {
      case 0:
        return {number_ + " " + word, "error unknown word '" + word + "': " + events, true};
      case 1:
        return {word, "error unknown line '" + word + "': must be a number from 0 to 255", true};
      default:
        return {number_ + " " + word + "\x1b[2J",
                "error byte 27 after '" + number_ + " " + word +
                    "' is not text: must be printable ASCII, without a line end",
                true};
    }
  }

  Exchange dial(std::mt19937& random) {
    const std::string digit(1, "0110110123"[random() % 10]);
    digits_ += digit;
    const std::string datagram = number_ + " digit " + digit;
    if (digits_ == "110") {
      is_decided_ = true;
      return {datagram, number_ + " complete 110 110"};
    }
    if (digits_ == "1" || digits_ == "11" || (digits_[0] == '0' && digits_.size() <= 32)) {
      return {datagram, number_ + " more " + digits_};
    }
    is_decided_ = true;
    digits_.resize(std::min<size_t>(digits_.size(), 32));
    return {datagram, number_ + " reject " + digits_};
  }

  std::string number_;
  std::string digits_;
  bool is_off_hook_ = false;
  bool is_decided_ = false;
};

// A card with some lines, and its unanswered datagrams.
class Card {
 public:
  // At most this many are pending, as datagrams beyond the socket's buffer are lost.
  static constexpr size_t kUnderWay = 32;

  Card(uint16_t port, int first_line, int lines) : socket_(port) {
    for (int line = first_line; line < first_line + lines; ++line) {
      lines_.emplace_back(line);
    }
  }

  void send(std::mt19937& random, int serial) {
    const Line::Exchange exchange = lines_[random() % lines_.size()].next(random, serial);
    socket_.send(exchange.datagram);
    awaited_.push_back(exchange.answer);
    malformed_ += exchange.is_malformed;
    if (awaited_.size() == kUnderWay) {
      hear(kUnderWay / 2);
    }
  }

  // Takes this many answers, in the order of the datagrams.
  void hear(size_t count) {
    for (; count > 0 && !awaited_.empty() && !testing::Test::HasFailure(); --count) {
      ASSERT_EQ(socket_.receive(), awaited_.front());
      awaited_.pop_front();
    }
  }

  void hear_all() {
    hear(awaited_.size());
    EXPECT_FALSE(socket_.has_datagram());
  }

  size_t malformed() const { return malformed_; }

 private:
  UdpSocket socket_;
  std::vector<Line> lines_;
  std::deque<std::string> awaited_;
  size_t malformed_ = 0;
};

// Sends one line after the other until stopped, or until phoned ends.
class BusyOperator {
 public:
  explicit BusyOperator(std::string socket) : socket_(std::move(socket)), thread_([this] { talk(); }) {}
  ~BusyOperator() { stop(); }
  BusyOperator(const BusyOperator&) = delete;
  BusyOperator& operator=(const BusyOperator&) = delete;

  // From now on, the operator may get no answer.
  void expect_the_end() { may_end_ = true; }

  void stop() {
    must_stop_ = true;
    join();
  }
  void join() {
    if (thread_.joinable()) {
      thread_.join();
    }
  }

  // Valid after join().
  int rounds() const { return rounds_; }
  const std::vector<std::string>& complaints() const { return complaints_; }

 private:
  void talk() {
    static const struct {
      std::string line;
      std::string answer;  // empty: any but an error
    } kLines[] = {
        {"map", "110\n0x.T\n"},
        {"lines", ""},
        {"check 110", "complete 110 110\n"},
        {"tr change Line 1023", "The tracelevel of modul Line is changed to 1023 \n"},
        {"mem", ""},
        {"dance", "command not found\n"},
        {std::string(300, 'x'), "error: the line is too long: at most 255 bytes are allowed\n"},
        {"bandwidth 40 1 8 20 1 160", "13250 bytes/s\n"},
        {"tr changeall 113", "Tracelevel is changed for all moduls\n"},
        {"run printf x", ""},
    };
    while (!must_stop_) {
      for (const auto& row : kLines) {
        const std::string answer = ask(row.line);
        const bool is_right =
            row.answer.empty() ? !answer.empty() && !answer.starts_with("error") : answer == row.answer;
        if (!is_right) {
          if (!may_end_) {
            complaints_.push_back(row.line + " -> " + answer);
          }
          return;
        }
      }
      ++rounds_;
    }
  }

  std::string ask(const std::string& line) const {
    try {
      return Operator(socket_).ask(line);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  std::string socket_;
  std::atomic<bool> may_end_ = false;
  std::atomic<bool> must_stop_ = false;
  int rounds_ = 0;
  std::vector<std::string> complaints_;
  std::thread thread_;
};

TEST(LoadTest, AnswersTwentyThousandDatagramsBesideAnOperatorAndSignals) {
  constexpr int kDatagrams = Program::few_if_emulated(20000);
  constexpr int kDatagramsForAHup = 400;
  constexpr int kCards = 4;
  constexpr int kLinesOfACard = 64;
  const TemporaryFile plan("110\n0x.T\n");
  const TemporaryDirectory directory;
  const std::string console = directory.file("console");
  Program phoned(PHONED, {"--foreground", "--port", "0", "--map-file", plan.path(), "--interdigit", "60000",
                          "--console", console});
  const uint16_t port = port_of(phoned);
  ASSERT_NE(port, 0);
  ASSERT_TRUE(phoned.sleeps()) << "descriptors from the start, such as the system log's, do not count";
  const size_t descriptors = phoned.descriptors();

  std::mt19937 random(7);
  std::vector<std::unique_ptr<Card>> cards;
  for (int i = 0; i < kCards; ++i) {
    cards.push_back(std::make_unique<Card>(port, i * kLinesOfACard, kLinesOfACard));
  }
  size_t hups = 0;
  {
    BusyOperator busy(console);
    for (int serial = 0; serial < kDatagrams && !HasFailure(); ++serial) {
      cards[random() % kCards]->send(random, serial);
      if (serial % kDatagramsForAHup == 0) {
        // Two pending signals would become one.
        EXPECT_TRUE(comes_true([&] { return count_of(phoned.out(), kRead) == hups; })) << hups;
        phoned.signal(SIGHUP);
        ++hups;
      }
    }
    for (const auto& card : cards) {
      card->hear_all();
    }
    EXPECT_TRUE(comes_true([&] { return count_of(phoned.out(), kRead) == hups; })) << hups;
    busy.stop();
    EXPECT_EQ(busy.complaints(), std::vector<std::string>());
    EXPECT_GT(busy.rounds(), 0);
  }
  EXPECT_TRUE(comes_true([&] { return phoned.descriptors() == descriptors; })) << phoned.descriptors();

  // SIGTERM while an operator sends lines.
  BusyOperator busy(console);
  busy.expect_the_end();
  phoned.signal(SIGTERM);
  EXPECT_EQ(phoned.exit_status(), 0);
  busy.join();
  size_t malformed = 0;
  for (const auto& card : cards) {
    malformed += card->malformed();
  }
  EXPECT_GT(malformed, static_cast<size_t>(kDatagrams / 5));
  const std::string out = phoned.out();
  EXPECT_NE(out.find("phoned: datagrams " + std::to_string(kDatagrams) + ","), std::string::npos);
  EXPECT_NE(out.find(", errors " + std::to_string(malformed) + "\n"), std::string::npos);
  EXPECT_NE(out.find("phoned: memory: 0 blocks of 0 bytes in use"), std::string::npos);
  EXPECT_TRUE(out.ends_with("phoned: farewell\n"));
  EXPECT_EQ(phoned.err(), "");
  EXPECT_FALSE(std::filesystem::exists(console));
}

// A signal between handling an event and waiting for the next must be handled at once, not with the next event.
TEST(LoadTest, NoticesASignalAtAnyMoment) {
  constexpr size_t kSignals = Program::few_if_emulated(2000);
  const TemporaryFile plan("110\n0x.T\n");
  Program phoned(PHONED, {"--foreground", "--port", "0", "--map-file", plan.path(), "--statistics", "86400"});
  UdpSocket card(port_of(phoned));
  for (size_t count = 1; count <= kSignals; ++count) {
    ASSERT_EQ(card.ask("3 onhook"), "3 idle");
    // Sends the signal a little later after each answer.
    for (size_t delay = 0; delay < count % 100 * 100; ++delay) {
      std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    phoned.signal(SIGHUP);
    ASSERT_TRUE(comes_true([&] { return count_of(phoned.out(), kRead) == count; })) << "signal " << count;
  }
}

}  // namespace
