// The built phoned with real datagrams in real time.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "doubles/temporary_directory.h"
#include "program.h"
#include "udp_socket.h"

namespace {

using support::content_of;
using support::Program;
using support::TemporaryDirectory;
using support::TemporaryFile;
using support::UdpSocket;

constexpr char kListening[] = "phoned: listening on port ";
constexpr char kPlan[] = "110|112|11T|118xx|12|12x|0x.T|[2-9]xxx|*2x";

// The number after a text in the output.
uint16_t number_behind(const std::string& output, const std::string& text) {
  const size_t at = output.find(text);
  return at == std::string::npos ? 0 : static_cast<uint16_t>(std::stoul(output.substr(at + text.size())));
}

size_t count_lines(const std::string& text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

// A phoned on a port of its own.
class Phoned : public Program {
 public:
  explicit Phoned(Arguments arguments, int out_fd = -1)
      : Program(PHONED, with_port(std::move(arguments)), "", out_fd) {}

  // The port; 0 if phoned does not print it.
  uint16_t port() const { return says(kListening) ? number_behind(out(), kListening) : uint16_t{0}; }

 private:
  static Arguments with_port(Arguments arguments) {
    arguments.insert(arguments.begin(), {"--foreground", "--port", "0"});
    return arguments;
  }
};

// No time-out occurs in these tests.
class PhonedTest : public ::testing::Test {
 protected:
  Phoned phoned_{{"--map", kPlan, "--interdigit", "60000"}};
  UdpSocket card_{phoned_.port()};
};

TEST_F(PhonedTest, GivesEveryAnswer) {
  const struct {
    const char* datagram;
    const char* answer;
  } kCases[] = {
      {"3 offhook", "3 ready"},         {"3 digit 1", "3 more 1"},
      {"3 digit 1", "3 more 11"},       {"3 digit 0", "3 complete 110 110"},
      {"3 onhook", "3 idle"},           {"255 offhook", "255 ready"},
      {"255 dial 118", "255 more 118"}, {"255 dial 33", "255 complete 11833 118xx"},
      {"0 offhook", "0 ready"},         {"0 dial *2#", "0 reject *2#"},
      {"0 onhook", "0 idle"},           {"0 offhook", "0 ready"},
      {"0 dial 12", "0 more 12"},       {"0 digit 9", "0 complete 129 12x"},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(card_.ask(row.datagram), row.answer);
  }
}

TEST_F(PhonedTest, AnswersWhatMakesNoSenseAndGoesOn) {
  const std::string events = "must be offhook, digit, dial or onhook";
  const std::string line_of_text = "is not text: must be printable ASCII, without a line end";
  card_.ask("3 offhook");
  card_.ask("3 dial 11");
  const struct {
    std::string datagram;
    std::string answer;
  } kCases[] = {
      {" ", "error nothing but blanks: must be a line and an event, such as '3 offhook'"},
      {"3", "error no event for line 3: " + events},
      {"256 offhook", "error unknown line '256': must be a number from 0 to 255"},
      {"3 dance", "error unknown word 'dance': " + events},
      {"3 digit", "error 'digit' takes exactly one digit; 'dial' takes more of them, in one word"},
      {"3 dial 0z", "error 'z' is not a digit: must be one of 0-9, A-D, # and *"},
      {"3 dial 0\n", "error byte 10 after '3 dial 0' " + line_of_text},
      {std::string("3 onhook\0", 9), "error byte 0 after '3 onhook' " + line_of_text},
      {"3 offhook", "error line 3 is off the hook already: 'onhook' comes first"},
      {"4 digit 1", "error line 4 is on the hook: 'offhook' comes first"},
      {std::string(1024, 'y'), "error unknown line '" + std::string(40, 'y') + "...': must be a number from 0 to 255"},
      {std::string(1025, 'y'), "error datagram of 1025 bytes: at most 1024 are taken"},
      {"3 onhook" + std::string(60000, ' '), "error datagram of 60008 bytes: at most 1024 are taken"},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(card_.ask(row.datagram), row.answer);
  }
  EXPECT_EQ(card_.ask("3 digit 0"), "3 complete 110 110");
  EXPECT_EQ(card_.ask("3 digit 0"), "error line 3 has its answer: 'onhook' comes first");
}

// phoned must not answer itself, or another phoned, endlessly.
TEST_F(PhonedTest, AnswersNothingThatIsEmptyOrAnAnswer) {
  for (const char* datagram : {"", "error", "error unknown line '900'", "3 ready", "  3  idle", "3 more 1",
                               "3 complete 110 110", "255 reject 12", "7000 idle"}) {
    card_.send(datagram);
    EXPECT_EQ(card_.ask("4 onhook"), "4 idle") << datagram;
  }
  card_.send("error " + std::string(2000, 'x'));
  EXPECT_EQ(card_.ask("error_ 3"), "error unknown line 'error_': must be a number from 0 to 255");
  phoned_.signal(SIGTERM);
  EXPECT_EQ(phoned_.exit_status(), 0);
  EXPECT_NE(phoned_.out().find("phoned: not answered: 0 from strangers, 9 that were answers, 1 empty, 0 lost\n"),
            std::string::npos);
}

TEST(PhonedAllow, AnswersNobodyFromElsewhere) {
  Phoned phoned({"--allow", "10.0.0.0/8"});
  UdpSocket card(phoned.port());
  card.send("3 onhook");
  card.send(std::string(2000, 'x'));
  phoned.signal(SIGTERM);
  EXPECT_EQ(phoned.exit_status(), 0);
  EXPECT_FALSE(card.has_datagram());
}

TEST(PhonedAllow, AnswersTheNetworkThatItIsGiven) {
  const Phoned phoned({"--allow", "127.0.0.1"});
  EXPECT_EQ(UdpSocket(phoned.port()).ask("3 onhook"), "3 idle");
}

TEST_F(PhonedTest, AnswersAnyBytesWithOneHarmlessLine) {
  std::mt19937 random(1);
  const std::vector<std::string> words = {"3", "256", "offhook", "onhook", "digit", "dial", "1", "*#", " ", "\x1b[2J"};
  for (int i = 0; i < 3000; ++i) {
    std::string datagram;
    for (size_t piece = random() % 6; piece > 0; --piece) {
      datagram += random() % 4 == 0 ? std::string(random() % 200, static_cast<char>(random() % 256))
                                    : words[random() % words.size()] + " ";
    }
    if (datagram.empty()) {
      continue;
    }
    const std::string answer = card_.ask(datagram);
    ASSERT_NE(answer, UdpSocket::kNothing) << i;
    ASSERT_FALSE(answer.empty());
    ASSERT_LE(answer.size(), 1024U);
    ASSERT_TRUE(std::all_of(answer.begin(), answer.end(), [](char c) { return c >= ' ' && c <= '~'; })) << answer;
  }
  EXPECT_FALSE(card_.has_datagram());
  EXPECT_EQ(card_.ask("9 offhook"), "9 ready");
  phoned_.signal(SIGTERM);
  EXPECT_EQ(phoned_.exit_status(), 0);
}

// Datagrams queued in the socket must stay separate in the pipes.
TEST_F(PhonedTest, KeepsDatagramsApartThatComeInARow) {
  constexpr int kCount = 100;
  for (int line = 0; line < kCount; ++line) {
    card_.send(std::to_string(line) + " offhook");
  }
  for (int line = 0; line < kCount; ++line) {
    EXPECT_EQ(card_.receive(), std::to_string(line) + " ready");
  }
}

TEST_F(PhonedTest, AnswersWhoeverAsks) {
  UdpSocket other(phoned_.port());
  card_.send("3 offhook");
  other.send("4 offhook");
  card_.send("3 digit 2");
  other.send("4 digit 1");
  EXPECT_EQ(card_.receive(), "3 ready");
  EXPECT_EQ(other.receive(), "4 ready");
  EXPECT_EQ(card_.receive(), "3 more 2");
  EXPECT_EQ(other.receive(), "4 more 1");
}

// ---- time ----

TEST(PhonedTime, DecidesWhenNoDigitComes) {
  const Phoned phoned({"--map", kPlan, "--interdigit", "50"});
  UdpSocket card(phoned.port());
  const struct {
    const char* digits;
    const char* outcome;
  } kCases[] = {
      {"0123", "3 complete 0123 0x.T"},
      {"11", "3 complete 11 11T"},
      {"12", "3 reject 12"},
      {"234", "3 reject 234"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.digits);
    EXPECT_EQ(card.ask("3 offhook"), "3 ready");
    EXPECT_EQ(card.ask(std::string("3 dial ") + row.digits), std::string("3 more ") + row.digits);
    EXPECT_EQ(card.receive(), row.outcome);
    EXPECT_EQ(card.ask("3 digit 1"), "error line 3 has its answer: 'onhook' comes first");
    EXPECT_EQ(card.ask("3 onhook"), "3 idle");
  }
}

TEST(PhonedTime, TellsTheOutcomeToWhoeverDialledLast) {
  const Phoned phoned({"--map", kPlan, "--interdigit", "1000"});
  UdpSocket first(phoned.port());
  UdpSocket last(phoned.port());
  EXPECT_EQ(first.ask("3 offhook"), "3 ready");
  EXPECT_EQ(first.ask("3 digit 0"), "3 more 0");
  EXPECT_EQ(last.ask("3 digit 1"), "3 more 01");
  EXPECT_EQ(first.ask("4 offhook"), "4 ready") << "the last answer before the time-out";
  EXPECT_EQ(last.receive(), "3 complete 01 0x.T");
  EXPECT_FALSE(first.has_datagram());
}

// A line that has hung up gets no more answers. Line 4 dials later, so an answer for line 3 would come first.
TEST(PhonedTime, ForgetsTheDeadlineOfALineThatHangsUp) {
  const Phoned phoned({"--map", kPlan, "--interdigit", "1000"});
  UdpSocket card(phoned.port());
  for (const char* datagram : {"3 offhook", "3 dial 0", "3 onhook", "4 offhook", "4 dial 01"}) {
    EXPECT_NE(card.ask(datagram), UdpSocket::kNothing);
  }
  EXPECT_EQ(card.receive(), "4 complete 01 0x.T");
}

TEST(PhonedTime, ServesAllLinesAtOnce) {
  constexpr int kLines = 256;
  constexpr int kCards = 16;
  // Long enough for all lines to dial before the first time-out.
  const Phoned phoned({"--map", kPlan, "--interdigit", Program::kIsEmulated ? "10000" : "6000"});
  std::vector<std::unique_ptr<UdpSocket>> cards;
  for (int i = 0; i < kCards; ++i) {
    cards.push_back(std::make_unique<UdpSocket>(phoned.port()));
  }
  const auto card_of = [&](int line) -> UdpSocket& { return *cards[static_cast<size_t>(line % kCards)]; };
  for (int line = 0; line < kLines; ++line) {
    const std::string number = std::to_string(line);
    ASSERT_EQ(card_of(line).ask(number + " offhook"), number + " ready");
    ASSERT_EQ(card_of(line).ask(number + " digit 0"), number + " more 0");
  }
  // Now a third of the lines dial on and so get more time, a third hang up, and the rest do nothing.
  std::map<std::string, int> expected;
  for (int line = 0; line < kLines; ++line) {
    const std::string number = std::to_string(line);
    if (line % 3 == 0) {
      ASSERT_EQ(card_of(line).ask(number + " digit 7"), number + " more 07");
      ++expected[number + " complete 07 0x.T"];
    } else if (line % 3 == 1) {
      ASSERT_EQ(card_of(line).ask(number + " onhook"), number + " idle");
    } else {
      ++expected[number + " complete 0 0x.T"];
    }
  }
  std::map<std::string, int> outcomes;
  for (int line = 0; line < kLines; ++line) {
    if (line % 3 != 1) {
      ++outcomes[card_of(line).receive()];
    }
  }
  EXPECT_EQ(outcomes, expected);
}

// A reactor serves sockets before timers, but a constant stream of datagrams must not stop the timers.
TEST(PhonedTime, DeadlinesAreServedUnderAFlood) {
  const Phoned phoned({"--map", kPlan, "--interdigit", "50"});
  UdpSocket card(phoned.port());
  UdpSocket chatterbox(phoned.port());
  EXPECT_EQ(card.ask("3 offhook"), "3 ready");
  EXPECT_EQ(card.ask("3 digit 0"), "3 more 0");
  for (int i = 0; i < 1000000 && !card.has_datagram(); ++i) {
    chatterbox.send("200 onhook");
    chatterbox.send("200 onhook");
    ASSERT_EQ(chatterbox.receive(), "200 idle");
    ASSERT_EQ(chatterbox.receive(), "200 idle");
  }
  EXPECT_EQ(card.receive(), "3 complete 0 0x.T");
}

// After SIGSTOP and SIGCONT, phoned serves the queued datagrams before its timers.
TEST(PhonedTime, ADigitThatCameInTimeCountsAfterAStop) {
  const Phoned phoned({"--map", kPlan, "--interdigit", "1000"});
  UdpSocket card(phoned.port());
  EXPECT_EQ(card.ask("3 offhook"), "3 ready");
  EXPECT_EQ(card.ask("3 dial 11"), "3 more 11");
  phoned.signal(SIGSTOP);
  card.send("4 onhook");
  card.send("3 digit 0");
  EXPECT_FALSE(card.has_datagram_within(1500));
  phoned.signal(SIGCONT);
  EXPECT_EQ(card.receive(), "4 idle");
  EXPECT_EQ(card.receive(), "3 complete 110 110");
}

TEST(PhonedTime, TellsItsCountsFromTimeToTime) {
  const Phoned phoned({"--map", kPlan, "--statistics", "1"});
  UdpSocket card(phoned.port());
  card.ask("3 offhook");
  EXPECT_TRUE(phoned.says("phoned: datagrams 1, complete 0, rejected 0, by time 0, errors 0\n"));
  card.ask("3 dial 110");
  EXPECT_TRUE(phoned.says("phoned: datagrams 2, complete 1, rejected 0, by time 0, errors 0\n"));
}

// ---- signals ----

TEST(PhonedSignals, TermAndIntEndItCleanly) {
  const struct {
    int signal;
    const char* name;
  } kCases[] = {{SIGTERM, "TERM"}, {SIGINT, "INT"}};
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    Phoned phoned({"--map", kPlan});
    UdpSocket card(phoned.port());
    card.ask("3 offhook");
    card.ask("3 dial 110");
    card.ask("3 dial 19");
    phoned.signal(row.signal);
    EXPECT_EQ(phoned.exit_status(), 0);
    EXPECT_NE(phoned.out().find("phoned: " + std::string(row.name) +
                                ": ending\nphoned: datagrams 3, complete 1, rejected 0, by time 0, errors 1\n"
                                "phoned: memory: 0 blocks of 0 bytes in use, "),
              std::string::npos)
        << phoned.out();
    EXPECT_TRUE(phoned.out().ends_with("phoned: farewell\n")) << phoned.out();
    EXPECT_EQ(phoned.err(), "");
  }
}

TEST(PhonedSignals, HupReadsTheMapFileAgain) {
  const TemporaryFile plan("110\n0x.T\n");
  const Phoned phoned({"--map-file", plan.path(), "--interdigit", "60000"});
  UdpSocket card(phoned.port());
  card.ask("3 offhook");
  EXPECT_EQ(card.ask("3 dial 11"), "3 more 11");
  plan.write("11x|9\n8");
  phoned.signal(SIGHUP);
  EXPECT_TRUE(phoned.says("phoned: HUP: read 3 patterns from '" + plan.path() + "'\n"));
  EXPECT_EQ(card.ask("3 digit 7"), "3 complete 117 11x");
  card.ask("4 offhook");
  EXPECT_EQ(card.ask("4 digit 0"), "4 reject 0");
}

TEST(PhonedSignals, HupWithABadMapFileKeepsTheOldPlan) {
  const TemporaryFile plan("110\n");
  const Phoned phoned({"--map-file", plan.path()});
  UdpSocket card(phoned.port());
  const std::string file = "phoned: HUP: map file '" + plan.path() + "'";

  plan.write("110\n1y0\n");
  phoned.signal(SIGHUP);
  EXPECT_TRUE(phoned.complains(file + ": pattern 2, line 2, position 2: 'y' means nothing in a pattern: must be one of "
                                      "0-9 A-D # * x [135] [2-5] . T; the old dial plan stays\n"));
  unlink(plan.path().c_str());
  phoned.signal(SIGHUP);
  EXPECT_TRUE(phoned.complains(file + " cannot be read: No such file or directory; the old dial plan stays\n"));
  ASSERT_EQ(mkfifo(plan.path().c_str(), 0600), 0);
  phoned.signal(SIGHUP);
  EXPECT_TRUE(phoned.complains(file + " cannot be read: is not a regular file; the old dial plan stays\n"));

  card.ask("3 offhook");
  EXPECT_EQ(card.ask("3 dial 110"), "3 complete 110 110");
}

TEST(PhonedSignals, HupWithoutAMapFileKeepsThePlan) {
  const Phoned phoned({"--map", "110"});
  UdpSocket card(phoned.port());
  phoned.signal(SIGHUP);
  EXPECT_TRUE(phoned.complains("phoned: HUP: there is no --map-file to read again; the dial plan stays\n"));
  card.ask("3 offhook");
  EXPECT_EQ(card.ask("3 dial 110"), "3 complete 110 110");
}

TEST(PhonedSignals, OutlivesWhoeverReadsItsOutput) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  Phoned phoned({"--map", kPlan}, ends[1]);
  close(ends[1]);
  char text[64] = {};
  ASSERT_GT(read(ends[0], text, sizeof text - 1), 0);
  close(ends[0]);
  UdpSocket card(number_behind(text, kListening));
  EXPECT_EQ(card.ask("3 offhook"), "3 ready");
  EXPECT_EQ(card.ask("3 dial 110"), "3 complete 110 110");
  phoned.signal(SIGTERM);
  EXPECT_EQ(phoned.exit_status(), 0);
}

// ---- start ----

TEST(PhonedStart, SaysThatItListensBeforeAnythingHappens) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Phoned phoned({"--statistics", "3600"}, ends[1]);
  close(ends[1]);
  pollfd state = {ends[0], POLLIN, 0};
  ASSERT_EQ(poll(&state, 1, Program::kPatienceSeconds * 1000), 1);
  char text[64] = {};
  ASSERT_GT(read(ends[0], text, sizeof text - 1), 0);
  EXPECT_EQ(std::string(text).rfind(kListening, 0), 0U) << text;
  close(ends[0]);
}

TEST(PhonedStart, HasADefaultPlan) {
  const Phoned phoned({});
  UdpSocket card(phoned.port());
  card.ask("3 offhook");
  EXPECT_EQ(card.ask("3 dial 112"), "3 complete 112 112");
}

TEST(PhonedStart, TakesThePortThatItIsGiven) {
  const uint16_t port = UdpSocket().port();
  const Program phoned(PHONED, {"--foreground", "--port", std::to_string(port)});
  EXPECT_TRUE(phoned.says(kListening + std::to_string(port) + "\n"));
  EXPECT_EQ(UdpSocket(port).ask("3 offhook"), "3 ready");
}

TEST(PhonedStart, RefusesABusyPort) {
  const Phoned phoned({});
  const std::string port = std::to_string(phoned.port());
  Program second(PHONED, {"--foreground", "--port", port});
  EXPECT_EQ(second.exit_status(), 1);
  EXPECT_EQ(second.err(), "phoned: cannot listen on port " + port + ": " + std::strerror(EADDRINUSE) +
                              "; choose another with --port, or 0 for any free one\n");
  EXPECT_EQ(second.out(), "");
}

TEST(PhonedStart, RefusesWhatItCannotUse) {
  const TemporaryFile plan("110|0y");
  const std::string rule = " means nothing in a pattern: must be one of 0-9 A-D # * x [135] [2-5] . T\n";
  const struct {
    Program::Arguments arguments;
    int status;
    std::string complaint;
  } kCases[] = {
      {{"--port", "70000"}, 2, "--port '70000': must be a number from 0 to 65535\n"},
      {{"--interdigit", "soon"}, 2, "--interdigit 'soon': must be a number from 10 to 60000\n"},
      {{"--detach"}, 2, "unknown option '--detach': see --help\n"},
      {{"now"}, 2, "unexpected word 'now': phoned takes options only, see --help\n"},
      {{"--map", "1", "--map-file", "2"}, 2, "--map '1' and --map-file '2' exclude each other: name one dial plan\n"},
      {{"--map", "110|1(1[2"},
       1,
       "--map: pattern 2, line 1, position 8: '[' is not closed: must have a ']' after its symbols, in the same "
       "pattern\n"},
      {{"--map", ""}, 1, "--map: the plan holds no pattern: must be one or more, such as '110|0x.T'\n"},
      {{"--map-file", plan.path()}, 1, "map file '" + plan.path() + "': pattern 2, line 1, position 6: 'y'" + rule},
      {{"--map-file", "/nonexistent"}, 1, "map file '/nonexistent' cannot be read: No such file or directory\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.complaint);
    Program phoned(PHONED, row.arguments);
    EXPECT_EQ(phoned.exit_status(), row.status);
    EXPECT_EQ(phoned.err(), "phoned: " + row.complaint);
    EXPECT_EQ(phoned.out(), "");
  }
}

TEST(PhonedStart, RefusesAMapFileThatIsNoRegularFile) {
  const TemporaryDirectory directory;
  const std::string fifo = directory.file("fifo");
  const std::string link = directory.file("link");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  ASSERT_EQ(symlink(fifo.c_str(), link.c_str()), 0);
  for (const std::string& path : {fifo, link, directory.path(), std::string("/dev/zero")}) {
    Program phoned(PHONED, {"--foreground", "--port", "0", "--map-file", path});
    EXPECT_EQ(phoned.exit_status(), 1);
    EXPECT_EQ(phoned.err(), "phoned: map file '" + path + "' cannot be read: is not a regular file\n");
  }
  // A symbolic link to a plan works as well.
  const TemporaryFile plan("110\n");
  unlink(link.c_str());
  ASSERT_EQ(symlink(plan.path().c_str(), link.c_str()), 0);
  const Phoned phoned({"--map-file", link});
  EXPECT_EQ(UdpSocket(phoned.port()).ask("3 offhook"), "3 ready");
}

// Besides the three standard descriptors, the pipe of the signals takes two, and those of the channel four.
TEST(PhonedStart, SaysWhatItCannotHave) {
  const std::string too_many = std::strerror(EMFILE);
  const struct {
    int descriptors;
    std::string complaint;
  } kCases[] = {
      {4, "cannot make a pipe for signals: " + too_many + "\n"},
      {6, "cannot make a pipe: " + too_many + "\n"},
      {8, "cannot make a pipe: " + too_many + "\n"},
      {9, "cannot listen on port 0: " + too_many + "; choose another with --port, or 0 for any free one\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.descriptors);
    Program phoned(Program::kShell,
                   Program::with_descriptors(row.descriptors, {PHONED, "--foreground", "--port", "0"}));
    EXPECT_EQ(phoned.exit_status(), 1);
    EXPECT_EQ(phoned.err(), "phoned: " + row.complaint);
    EXPECT_EQ(phoned.out(), "");
  }
}

TEST(PhonedStart, ShowsHelpAndVersion) {
  Program help(PHONED, {"--help"});
  EXPECT_EQ(help.exit_status(), 0);
  EXPECT_TRUE(help.out().starts_with("phoned decides what telephone lines have dialled."));
  EXPECT_GT(count_lines(help.out()), 10U);
  Program version(PHONED, {"--version"});
  EXPECT_EQ(version.exit_status(), 0);
  EXPECT_EQ(version.out(), "phoned with userlib-1.4.3\n");
}

// ---- the demonstration ----

// The quoted text after "name=" in scripts/demo.
std::string setting_of_demo(const std::string& name) {
  const std::string text = content_of(DEMO);
  const size_t begin = text.find("\n" + name + "='") + name.size() + 3;
  return text.substr(begin, text.find('\'', begin) - begin);
}

TEST(Demo, EveryScriptGetsItsAnswers) {
  const Phoned phoned({"--map", setting_of_demo("plan"), "--interdigit", "1000"});
  const std::string port = std::to_string(phoned.port());
  std::vector<std::unique_ptr<Program>> runs;
  for (const char* name : {"at_once", "after_timeout", "no_match", "has_to_wait", "line_20", "line_21", "malformed"}) {
    const std::string script = std::string(DEMO_SCRIPTS) + "/" + name + ".phonectl";
    runs.push_back(std::make_unique<Program>(PHONECTL, Program::Arguments{"--port", port, "--script", script}));
  }
  for (const auto& run : runs) {
    EXPECT_EQ(run->exit_status(), 0);
    EXPECT_EQ(run->err(), "");
    EXPECT_NE(run->out(), "");
  }
}

}  // namespace
