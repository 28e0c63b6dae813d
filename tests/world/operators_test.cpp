// Operators who misbehave, or whose commands do.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "console_operator.h"
#include "outputs.h"
#include "phoned.h"
#include "udp_socket.h"

namespace {

using support::comes_true;
using support::Operator;
using support::TemporaryDirectory;
using support::UdpSocket;
using world::Phoned;
using world::Terminal;

constexpr char kAnswer[] = "complete 110 110\n";

class OperatorsTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(phoned_.is_up()); }

  // Writes to the FIFO and waits until the text comes out of the other one.
  bool fifo_says(const std::string& line, const std::string& text) const {
    const int in = open(fifo_in_.c_str(), O_WRONLY | O_CLOEXEC);
    const int out = open(fifo_out_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(write(in, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    std::string got;
    const bool is_said = comes_true([&] { return (got += world::read_all(out)).find(text) != std::string::npos; });
    close(in);
    close(out);
    return is_said;
  }

  TemporaryDirectory directory_;
  std::string fifo_in_ = directory_.file("in");
  std::string fifo_out_ = directory_.file("out");
  Phoned phoned_{{.mode = Phoned::Mode::kBackground, .options = {"--fifo", fifo_in_, "--fifo-out", fifo_out_}}};
};

TEST_F(OperatorsTest, PrintedOutputGoesToTheAsker) {
  EXPECT_NE(Operator(phoned_.console()).ask("help").find("lines\n"), std::string::npos);
  EXPECT_NE(Operator(phoned_.console()).ask("tr show").find("DialPlan"), std::string::npos);
  EXPECT_TRUE(fifo_says("help\n", "lines\n"));
  EXPECT_TRUE(fifo_says("tr show\n", "DialPlan"));
}

TEST_F(OperatorsTest, CarriageReturnAloneEndsALine) {
  const Operator console(phoned_.console());
  console.say("check 110\r");
  EXPECT_EQ(console.answer(), kAnswer);
  EXPECT_TRUE(fifo_says("check 110\r", kAnswer));
}

TEST_F(OperatorsTest, LongOutputIsComplete) {
  const std::string answer = Operator(phoned_.console()).ask("run seq 1 500000");
  EXPECT_TRUE(answer.ends_with("\n499999\n500000\nstatus 0\n"))
      << answer.substr(answer.size() - std::min<size_t>(answer.size(), 200));
}

// An operator's command must not delay line cards, nor phoned's end.
TEST_F(OperatorsTest, CommandsThatNeverEndBlockNothing) {
  const Operator first(phoned_.console());
  first.say("run yes\n");
  const Operator second(phoned_.console());
  second.say("run sleep 60\n");
  world::expect_prompt_answers(phoned_, 50);
  world::expect_a_clean_end(phoned_);
}

TEST_F(OperatorsTest, OperatorWhoReadsNothingBlocksNothing) {
  const Operator silent(phoned_.console());
  const Operator deaf(phoned_.console());
  deaf.say("run yes | head -n 1000000\n");
  const Operator half(phoned_.console());
  half.say("check 1");
  world::expect_prompt_answers(phoned_, 50);
  EXPECT_EQ(Operator(phoned_.console()).ask("check 110"), kAnswer);
  world::expect_a_clean_end(phoned_);
}

// ---- standard input and output ----

TEST(StandardInput, HandlesALastLineWithoutANewline) {
  Phoned phoned({.options = {"--stdin"}, .input = "check 11\ncheck 110"});
  ASSERT_TRUE(phoned.is_up());
  EXPECT_TRUE(phoned.program().says(kAnswer));
  EXPECT_TRUE(world::is_idle(phoned.pid()));
  world::expect_a_clean_end(phoned);
}

// This terminal shows text from strangers, which must not control it.
TEST(StandardInput, TerminalGetsNoControlCharacters) {
  const Terminal terminal;
  const std::string escape = "\x1b[2J";
  Phoned phoned({.options = {"--stdin"},
                 .out_fd = terminal.fd(),
                 .input = "tr console\ntr changeall 1023\ncheck " + escape + "\nmac " + escape + " 1\n" + escape +
                          "\nrun printf '\\033[2J\\007'\ntr change " + escape + " 7\ncert " + escape + " x\n"});
  ASSERT_TRUE(phoned.is_up());
  UdpSocket card(phoned.port());
  for (const std::string& event : {"3 onhook" + escape, escape, "3 " + escape, "3 dial " + escape}) {
    EXPECT_EQ(card.ask(event).substr(0, 6), "error ");
  }
  std::string text;
  EXPECT_TRUE(comes_true([&] { return (text += terminal.take()).find("status 0") != std::string::npos; })) << text;
  phoned.signal(SIGTERM);
  EXPECT_TRUE(phoned.ends_within(std::chrono::seconds(5)));
  text += terminal.take();
  EXPECT_NE(text.find("farewell"), std::string::npos);
  const auto is_control = [](char c) {
    return (c >= 0 && c < ' ' && c != '\n' && c != '\r' && c != '\t') || c == 0x7f;
  };
  EXPECT_EQ(std::count_if(text.begin(), text.end(), is_control), 0) << testing::PrintToString(text);
}

}  // namespace
