// The operators of phoned: the console's socket, FIFOs and standard input, and the traces.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "console_operator.h"
#include "doubles/temporary_directory.h"
#include "program.h"
#include "udp_socket.h"

namespace {

using support::comes_true;
using support::content_of;
using support::Operator;
using support::Program;
using support::TemporaryDirectory;
using support::TemporaryFile;
using support::UdpSocket;

constexpr char kPlan[] = "110|11T|118xx|0x.T";

constexpr char kListening[] = "phoned: listening on port ";

uint16_t port_in(const std::string& output) {
  const size_t at = output.find(kListening);
  return at == std::string::npos ? 0 : static_cast<uint16_t>(std::stoul(output.substr(at + sizeof kListening - 1)));
}

class Phoned : public Program {
 public:
  explicit Phoned(Arguments arguments, const std::string& input = "")
      : Program(PHONED, complete(std::move(arguments)), input) {}

  uint16_t port() const { return says(kListening) ? port_in(out()) : uint16_t{0}; }

 private:
  static Arguments complete(Arguments arguments) {
    arguments.insert(arguments.begin(), {"--foreground", "--port", "0", "--map", kPlan});
    return arguments;
  }
};

class ConsoleTest : public ::testing::Test {
 protected:
  std::string ask(const std::string& line) const { return Operator(socket_).ask(line); }

  // Makes a complete call, which shows that phoned works.
  void expect_a_call() {
    EXPECT_EQ(card_.ask("9 onhook"), "9 idle");
    EXPECT_EQ(card_.ask("9 offhook"), "9 ready");
    EXPECT_EQ(card_.ask("9 dial 110"), "9 complete 110 110");
    EXPECT_EQ(card_.ask("9 onhook"), "9 idle");
  }

  size_t descriptors() const {
    EXPECT_TRUE(phoned_.sleeps()) << "it has not yet closed what operators left";
    return phoned_.descriptors();
  }

  TemporaryDirectory directory_;
  std::string socket_ = directory_.file("console");
  Phoned phoned_{{"--console", socket_, "--interdigit", "60000"}};
  UdpSocket card_{phoned_.port()};
};

// Reads until the text arrives.
bool gives(int fd, const std::string& text) {
  std::string got;
  for (pollfd state = {fd, POLLIN, 0}; poll(&state, 1, Program::kPatienceSeconds * 1000) > 0;) {
    char buffer[4096];
    const ssize_t count = read(fd, buffer, sizeof buffer);
    got.append(buffer, static_cast<size_t>(std::max<ssize_t>(count, 0)));
    if (count <= 0 || got.find(text) != std::string::npos) {
      return count > 0;
    }
  }
  return false;
}

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

// ---- the commands ----

TEST_F(ConsoleTest, AnswersEveryCommand) {
  const struct {
    const char* line;
    std::string answer;
  } kCases[] = {
      {"lines", "all lines are on the hook\n"},
      {"map", "110\n11T\n118xx\n0x.T\n"},
      {"check 110", "complete 110 110\n"},
      {"check 1107", "complete 110 110\n"},
      {"check 11", "more 11, or after the inter-digit time complete 11 11T\n"},
      {"check 118", "more 118, or after the inter-digit time reject 118\n"},
      {"check 12", "reject 12\n"},
      {"mac 00:11:22:33:44:55 2", "00:11:22:33:44:57\n"},
      {"mac 0:1:2:3:4:ff 1", "00:01:02:03:05:00\n"},
      {"mac ff:ff:ff:ff:ff:ff 1", "00:00:00:00:00:00, beyond the last address\n"},
      {"bandwidth 40 0 8.0 20 1.0 160", "10000 bytes/s\n"},
      {"bandwidth 40 1 8 20 1 160", "13250 bytes/s\n"},
      {"run echo one two", "one two\nstatus 0\n"},
      {"run \"echo one; exit 7\"", "one\nstatus 7\n"},
      {"run printf x", "x\nstatus 0\n"},
      {"run exit 1", "status 1, or ended by its time limit of 2 s\n"},
      {"run exec sleep 60", "status 1, or ended by its time limit of 2 s\n"},
      {"run \"sleep 30 & echo gone\"",
       "error: phoned does not wait for what the command left running, which keeps its output open\n"},
      {"", ""},
      {"   ", ""},
      {"help", "help\ntr\nlines\nmap\ncheck\nrun\nmac\nbandwidth\ncert\nmem\nstop\n"},
      {"tr changeall 113", "Tracelevel is changed for all moduls\n"},
      {"tr file", "tr: nothing to show\n"},
      {"run \"yes | head -c 1000000; exit 3\"", "\n" + repeated("y\n", 2047) + "status 3\n"},
      {"run printf 'a\\tb\\033[2J\\r\\303'", "a\tb?[2J??\nstatus 0\n"},
      {"tr change \"\033[2J\" 1", "The tracelevel of modul ?[2J is not changed, because modul is not registered\n"},
      {"run \"printf err >&2; exit 2\"", "err\nstatus 2\n"},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(ask(row.line), row.answer) << row.line;
  }
  EXPECT_EQ(ask("lines\r"), "all lines are on the hook\n");
  EXPECT_EQ(phoned_.out().find("Tracelevel"), std::string::npos) << "only the operator gets the answer";
  EXPECT_EQ(phoned_.err(), "");
}

TEST_F(ConsoleTest, RefusesWhatItCannotUse) {
  const std::string digits = "must be 1 to 32 of the digits 0-9, A-D, # and *\n";
  const std::string mac = "must be a MAC address, such as 00:11:22:33:44:55\n";
  const struct {
    std::string line;
    std::string answer;
  } kCases[] = {
      {"dance", "command not found\n"},
      {"lines \"now", "syntax error\n"},
      {"check", "error: must be 'check DIGITS'\n"},
      {"check 1 2", "error: must be 'check DIGITS'\n"},
      {"check \"\"", "error: '': " + digits},
      {"check 11x", "error: '11x': " + digits},
      {"check " + std::string(33, '0'), "error: '" + std::string(33, '0') + "': " + digits},
      {"run", "error: must be 'run COMMAND'\n"},
      {"mac", "error: must be 'mac BASE OFFSET'\n"},
      {"mac 00:11:22:33:44 1", "error: '00:11:22:33:44': " + mac},
      {"mac 00:11:22:33:44:55:66 1", "error: '00:11:22:33:44:55:66': " + mac},
      {"mac 00:11:22:33:44:555 1", "error: '00:11:22:33:44:555': " + mac},
      {"mac 00:11:22:33:44:5g 1", "error: '00:11:22:33:44:5g': " + mac},
      {"mac 00:11:22:33:44:55 -1", "error: '-1': must be a number from 0 to 4294967295\n"},
      {"mac 00:11:22:33:44:55 4294967296", "error: '4294967296': must be a number from 0 to 4294967295\n"},
      {"bandwidth 40 0 8", "error: must be 'bandwidth OVERHEAD ATM BITS PTIME FACTOR COUNT'\n"},
      {"bandwidth 65536 0 8 20 1 160", "error: '65536': must be the bytes of headers in a packet, 0 to 65535\n"},
      {"bandwidth 40 2 8 20 1 160", "error: '2': must be 1 for ATM cells, or 0\n"},
      {"bandwidth 40 0 nan 20 1 160", "error: 'nan': must be the bits of a sample, 0 to 1000000\n"},
      {"bandwidth 40 0 8 0 1 160", "error: '0': must be the milliseconds in a packet, 1 to 65535\n"},
      {"bandwidth 40 0 8 20 inf 160", "error: 'inf': must be a factor, 0 to 1000000\n"},
      {"bandwidth 40 0 8 20 1 some", "error: 'some': must be the samples in a packet, 0 to 65535\n"},
      {"cert", "error: must be 'cert FILE NEEDLE'\n"},
      {"cert /nonexistent CN=a", "error: certificate '/nonexistent' cannot be read: No such file or directory\n"},
      {"cert /dev/zero CN=a", "error: certificate '/dev/zero' cannot be read: is not a regular file\n"},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(ask(row.line), row.answer) << row.line;
  }
  expect_a_call();
}

TEST_F(ConsoleTest, ShowsTheLinesThatAreOffTheHook) {
  card_.ask("3 offhook");
  card_.ask("4 offhook");
  card_.ask("4 dial 01");
  card_.ask("255 offhook");
  card_.ask("255 dial 110");
  const std::string answer = ask("lines");
  EXPECT_TRUE(answer.starts_with("3 collecting\n4 collecting 01, ")) << answer;
  EXPECT_TRUE(answer.ends_with(" ms left\n255 decided 110\n")) << answer;
  card_.ask("4 onhook");
  EXPECT_EQ(ask("lines"), "3 collecting\n255 decided 110\n");
}

TEST_F(ConsoleTest, ShowsAllLinesAtOnce) {
  std::string expected;
  for (int line = 0; line < 256; ++line) {
    card_.ask(std::to_string(line) + " offhook");
    card_.ask(std::to_string(line) + " dial 110");
    expected += std::to_string(line) + " decided 110\n";
  }
  EXPECT_EQ(ask("lines"), expected);
}

TEST_F(ConsoleTest, MatchesTheSubjectOfACertificate) {
  const std::string file = directory_.file("cert.pem");
  Program openssl("/usr/bin/openssl",
                  {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
                   "/C=DE/O=Foo, Bar/CN=acs.example.net", "-keyout", directory_.file("key.pem"), "-out", file});
  if (openssl.exit_status() != 0) {
    GTEST_SKIP() << "needs the program openssl to make a certificate";
  }
  const TemporaryFile no_certificate("hello\n");
  const struct {
    std::string line;
    std::string answer;
  } kCases[] = {
      {file + " CN=acs.example.net", "the subject matches\n"},
      {file + " \"CN=acs.example.net, C=DE\"", "the subject matches\n"},
      {file + " *", "the subject matches\n"},
      {file + " CN=acs.example.org", "the subject does not match\n"},
      {file + " \"CN=acs.example.net, C=FR\"", "the subject does not match\n"},
      {file + " \"\"", "error: needle '' is empty, or an item of it: must be such as 'CN=acs.example.net, C=DE'\n"},
      {file + " CN", "error: needle 'CN' is not well-formed: must be such as 'CN=acs.example.net, C=DE'\n"},
      {no_certificate.path() + " *",
       "error: '" + no_certificate.path() + "' holds no certificate: must be a PEM file\n"},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(ask("cert " + row.line), row.answer) << row.line;
  }
}

TEST_F(ConsoleTest, StopEndsPhonedAndTakesTheSocketAway) {
  EXPECT_EQ(ask("stop"), "phoned ends\n");
  EXPECT_EQ(phoned_.exit_status(), 0);
  EXPECT_TRUE(phoned_.out().ends_with("phoned: farewell\n"));
  EXPECT_FALSE(std::filesystem::exists(socket_));
}

TEST_F(ConsoleTest, TellsTheMemoryOfFramesAndMessages) {
  expect_a_call();
  EXPECT_TRUE(ask("mem").starts_with("0 blocks of 0 bytes in use, ")) << ask("mem");
}

// ---- traces ----

TEST_F(ConsoleTest, ChangedMaskShowsInTheNextCall) {
  ask("tr console");
  expect_a_call();
  EXPECT_TRUE(phoned_.says(":info:Line   line 9: 110 is complete by 110\n"));
  EXPECT_EQ(phoned_.out().find("trace:Line"), std::string::npos) << "the mask of a new module";
  EXPECT_EQ(ask("tr change Line 1023"), "The tracelevel of modul Line is changed to 1023 \n");
  ask("tr change DialPlan 4");
  expect_a_call();
  const std::string card = std::to_string(card_.port());
  const std::string port = std::to_string(phoned_.port());
  for (const std::string& line : {std::string(":trace:Line   event '9 dial 110'\n"),
                                  ":tracemf: card:" + card + " -->9 dial 110--> channel:" + port + "  RX\n",
                                  ":tracemf: channel:" + port + " -->9 dial 110--> dial layer:0  RX\n",
                                  std::string(":tracemf: dial layer:0 -->9 check 110--> plan:0  TX\n"),
                                  std::string(":tracemf: plan:0 -->9 complete by 110--> dial layer:0  RX\n"),
                                  ":tracemf: dial layer:0 -->9 complete 110 110--> channel:" + port + "  TX\n",
                                  ":tracemf: channel:" + port + " -->9 complete 110 110--> card:" + card + "  TX\n"}) {
    EXPECT_TRUE(phoned_.says(line)) << line << phoned_.out();
  }
  EXPECT_NE(phoned_.out().find("   digits 110: complete by 110\n"), std::string::npos);
  ask("tr change Line 0");
  ask("tr change DialPlan 0");
  const size_t before = phoned_.out().size();
  expect_a_call();
  EXPECT_EQ(phoned_.out().substr(before).find(":Line "), std::string::npos);
}

TEST_F(ConsoleTest, TellsWhichModulesThereAre) {
  const std::string answer = ask("tr show");
  EXPECT_NE(answer.find("handle  0 : TraceLevel  level : 113  ( Info Warning Error GuiOutput)\n"
                        "handle  1 : Phoned      level : 113  ( Info Warning Error GuiOutput)\n"
                        "handle  2 : Line        level : 113  ( Info Warning Error GuiOutput)\n"
                        "handle  3 : DialPlan    level : 113  ( Info Warning Error GuiOutput)\n"
                        "handle  4 : Console     level : 113  ( Info Warning Error GuiOutput)\n"),
            std::string::npos)
      << answer;
}

TEST_F(ConsoleTest, SavedMasksAreBackAfterARestart) {
  const std::string ini = directory_.file("phoned.ini");
  ask("tr change Line 1023");
  EXPECT_EQ(ask("tr save " + ini), "Actual tracelevel is saved in file " + ini + "\n");
  EXPECT_EQ(content_of(ini),
            "[TraceLevelInit Version]\n1\n\n[Level]\n0;\"TraceLevel\";113\n1;\"Phoned\";113\n2;\"Line\";1023\n"
            "3;\"DialPlan\";113\n4;\"Console\";113\n\n");
  ask("tr changeall 0");
  ask("tr restore " + ini);
  EXPECT_NE(ask("tr show").find(": Line        level : 1023 "), std::string::npos);

  const std::string socket = directory_.file("second");
  const Phoned second({"--console", socket, "--ini", ini});
  EXPECT_NE(second.port(), 0);
  EXPECT_NE(Operator(socket).ask("tr show").find("handle  2 : Line        level : 1023 "), std::string::npos);
}

// If the power fails in between, the old file is complete until the new one is.
TEST_F(ConsoleTest, ASavedFileTakesThePlaceOfTheOldOne) {
  const std::string ini = directory_.file("phoned.ini");
  ask("tr save " + ini);
  std::ifstream old(ini);
  std::filesystem::permissions(ini, std::filesystem::perms(0640));
  ask("tr changeall 48");
  EXPECT_EQ(ask("tr save " + ini), "Actual tracelevel is saved in file " + ini + "\n");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(old), {}),
            "[TraceLevelInit Version]\n1\n\n[Level]\n0;\"TraceLevel\";113\n1;\"Phoned\";113\n2;\"Line\";113\n"
            "3;\"DialPlan\";113\n4;\"Console\";113\n\n");
  EXPECT_NE(content_of(ini).find("2;\"Line\";48\n"), std::string::npos);
  EXPECT_EQ(std::filesystem::status(ini).permissions(), std::filesystem::perms(0640));
  EXPECT_FALSE(std::filesystem::exists(ini + ".new"));
}

// Some file systems rename in two steps. A power failure between them leaves the new file with both names.
TEST_F(ConsoleTest, AFileThatIsHalfRenamedIsReplacedTheNextTime) {
  const std::string ini = directory_.file("phoned.ini");
  ask("tr save " + ini);
  std::filesystem::create_hard_link(ini, ini + ".new");
  std::ifstream old(ini);
  ask("tr changeall 48");
  EXPECT_EQ(ask("tr save " + ini), "Actual tracelevel is saved in file " + ini + "\n");
  EXPECT_NE(std::string(std::istreambuf_iterator<char>(old), {}).find("2;\"Line\";113\n"), std::string::npos);
  EXPECT_NE(content_of(ini).find("2;\"Line\";48\n"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(ini + ".new"));
}

TEST_F(ConsoleTest, AFileWithTwoNamesKeepsBoth) {
  const std::string ini = directory_.file("phoned.ini");
  ask("tr save " + ini);
  std::filesystem::create_hard_link(ini, directory_.file("other"));
  std::filesystem::create_symlink(ini, directory_.file("link"));
  ask("tr changeall 48");
  EXPECT_EQ(ask("tr save " + directory_.file("link")),
            "Actual tracelevel is saved in file " + directory_.file("link") + "\n");
  EXPECT_TRUE(std::filesystem::is_symlink(directory_.file("link")));
  EXPECT_NE(content_of(directory_.file("other")).find("2;\"Line\";48\n"), std::string::npos);
}

TEST_F(ConsoleTest, TellsThatAFullDiskKeepsNoMasks) {
  EXPECT_EQ(ask("tr save /dev/full"), "File /dev/full is not updated\n");
  expect_a_call();
}

// It refuses before it changes any mask.
TEST_F(ConsoleTest, RefusesAFifoAsInitFile) {
  const std::string fifo = directory_.file("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(ask("tr save " + fifo), "error: '" + fifo + "' is not a regular file\n");
  EXPECT_EQ(ask("tr restore " + fifo), "error: '" + fifo + "' is not a regular file\n");
  expect_a_call();
}

TEST(ConsoleIniFile, FifoIsRefusedAndNotWaitedFor) {
  const TemporaryDirectory directory;
  const std::string fifo = directory.file("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  Phoned phoned({"--ini", fifo});
  EXPECT_EQ(phoned.exit_status(), 1);
  EXPECT_EQ(phoned.err(), "phoned: init file '" + fifo + "' is not a regular file; name another with --ini\n");
}

TEST(ConsoleIniFile, NamedOneThatIsMissingIsWorthALine) {
  const Phoned named({"--ini", "/nonexistent/phoned.ini"});
  EXPECT_TRUE(named.says("The given Init-File (/nonexistent/phoned.ini) of TraceLevel could not open."));
  EXPECT_NE(named.port(), 0);
  const Phoned unnamed({});
  EXPECT_NE(unnamed.port(), 0);
  if (!std::filesystem::exists("/flash/phoned.ini")) {
    EXPECT_EQ(unnamed.out().find("could not open"), std::string::npos);
  }
}

// A power failure may truncate a file, here in the middle of Line's 1023. phoned ignores such a file.
constexpr char kTorn[] = "[TraceLevelInit Version]\n1\n\n[Level]\n0;\"TraceLevel\";0\n1;\"Phoned\";48\n2;\"Line\";10";

std::string default_masks() {
  return "0;\"TraceLevel\";113\n1;\"Phoned\";113\n2;\"Line\";113\n3;\"DialPlan\";113\n4;\"Console\";113\n\n";
}

TEST(ConsoleIniFile, DamagedOneLeavesTheDefaultMasks) {
  const TemporaryDirectory directory;
  const TemporaryFile torn(kTorn);
  const std::string socket = directory.file("console");
  const std::string saved = directory.file("saved");
  const Phoned phoned({"--console", socket, "--ini", torn.path()});
  ASSERT_NE(phoned.port(), 0);
  EXPECT_EQ(phoned.err(), "phoned: init file '" + torn.path() + "' is damaged; starting with the default masks\n");
  Operator(socket).ask("tr save " + saved);
  EXPECT_EQ(content_of(saved), "[TraceLevelInit Version]\n1\n\n[Level]\n" + default_masks());
  EXPECT_EQ(torn.content(), kTorn) << "the torn file stays for inspection";
}

// It refuses before it changes any mask.
TEST_F(ConsoleTest, RefusesToRestoreADamagedInitFile) {
  const TemporaryFile torn(kTorn);
  const std::string saved = directory_.file("saved");
  EXPECT_EQ(ask("tr restore " + torn.path()), "error: '" + torn.path() + "' is damaged\n");
  ask("tr save " + saved);
  EXPECT_EQ(content_of(saved), "[TraceLevelInit Version]\n1\n\n[Level]\n" + default_masks());
}

// ---- misbehaving operators ----

TEST_F(ConsoleTest, NobodyKeepsPhonedFromDecidingCalls) {
  ask("lines");
  const size_t before = descriptors();
  {
    const Operator silent(socket_);
    const Operator slow(socket_);
    slow.say("lin");
    expect_a_call();
    Operator gone(socket_);
    gone.say("tr chan");
    gone.hang_up();
    expect_a_call();
    Operator uninterested(socket_);
    uninterested.say("map\n");
    uninterested.hang_up();
    expect_a_call();
    const Operator deaf(socket_);
    deaf.say("lines\n");
    const Operator busy(socket_);
    busy.say("run exec sleep 60\n");
    expect_a_call();
    EXPECT_EQ(ask("check 110"), "complete 110 110\n") << "while others are connected";
    slow.say("es\n");
    EXPECT_EQ(slow.answer(), "all lines are on the hook\n");
    EXPECT_EQ(deaf.answer(), "all lines are on the hook\n");
    EXPECT_EQ(busy.answer(), "status 1, or ended by its time limit of 2 s\n");
  }
  EXPECT_EQ(ask("lines"), "all lines are on the hook\n");
  EXPECT_EQ(descriptors(), before);
}

TEST_F(ConsoleTest, LongLineGetsOneErrorLine) {
  const std::string too_long = "error: the line is too long: at most 255 bytes are allowed\n";
  EXPECT_EQ(ask("check " + std::string(249, '1')),
            "error: '" + std::string(40, '1') + "...': must be 1 to 32 of the digits 0-9, A-D, # and *\n")
      << "255 bytes are allowed";
  EXPECT_EQ(ask("check " + std::string(250, '1')), too_long);
  EXPECT_EQ(ask(std::string(10000, 'x')), too_long);
  const Operator endless(socket_);
  endless.say(std::string(10000, 'x'));
  EXPECT_EQ(endless.answer(), too_long) << "without a line end";
  expect_a_call();
}

TEST_F(ConsoleTest, TakesOneLineForAConnection) {
  EXPECT_EQ(Operator(socket_).ask("check 110\ncheck 12"), "complete 110 110\n");
  EXPECT_EQ(Operator(socket_).ask(std::string("map\0 map", 8)), "110\n11T\n118xx\n0x.T\n");
  expect_a_call();
}

TEST_F(ConsoleTest, TakesALineThatEndsWithTheConnection) {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  socket_.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(send(fd, "check 110", 9, MSG_NOSIGNAL), 9);
  shutdown(fd, SHUT_WR);
  EXPECT_TRUE(gives(fd, "complete 110 110\n"));
  close(fd);
  const Operator other(socket_);
  other.say("check 110\r");
  EXPECT_EQ(other.answer(), "complete 110 110\n");
}

TEST_F(ConsoleTest, HearsSoManyOperatorsAndNoMore) {
  std::vector<std::unique_ptr<Operator>> operators;
  for (int i = 0; i < 8; ++i) {
    operators.push_back(std::make_unique<Operator>(socket_));
  }
  EXPECT_EQ(Operator(socket_).answer(), "error: too many operators: at most 8 are served at the same time\n");
  expect_a_call();
  for (const auto& each : operators) {
    EXPECT_EQ(each->ask("check 12"), "reject 12\n");
  }
  EXPECT_EQ(ask("check 12"), "reject 12\n");
}

TEST_F(ConsoleTest, RunsSoManyCommandsAtATime) {
  std::vector<std::unique_ptr<Operator>> operators;
  for (int i = 0; i < 4; ++i) {
    operators.push_back(std::make_unique<Operator>(socket_));
    operators.back()->say("run exec sleep 60\n");
  }
  EXPECT_EQ(ask("run true"), "error: 4 commands are running already: wait for the end of one\n");
  expect_a_call();
  for (const auto& each : operators) {
    EXPECT_EQ(each->answer(), "status 1, or ended by its time limit of 2 s\n");
  }
}

TEST_F(ConsoleTest, LosesNoDescriptorAndNoChild) {
  ask("lines");
  const size_t before = descriptors();
  for (int i = 0; i < 200; ++i) {
    Operator(socket_).say("li");
    Operator(socket_).say("map\n");
    EXPECT_EQ(ask("check 12"), "reject 12\n");
    if (i % 20 == 0) {
      EXPECT_EQ(ask("run true"), "status 0\n");
    }
  }
  EXPECT_EQ(ask("lines"), "all lines are on the hook\n");
  EXPECT_EQ(descriptors(), before);
  // The child of the last command answers before it ends.
  const std::string pid = std::to_string(phoned_.pid());
  EXPECT_TRUE(comes_true([&] { return content_of("/proc/" + pid + "/task/" + pid + "/children").empty(); }));
}

TEST(ConsoleTimeout, HangsUpOnWhoeverSaysNothing) {
  const TemporaryDirectory directory;
  const std::string socket = directory.file("console");
  const Phoned phoned({"--console", socket, "--console-timeout", "1"});
  UdpSocket card(phoned.port());
  const Operator silent(socket);
  const Operator slow(socket);
  slow.say("line");
  EXPECT_EQ(card.ask("9 offhook"), "9 ready");
  EXPECT_EQ(silent.answer(), "error: no line within 1 s\n");
  EXPECT_EQ(slow.answer(), "error: no line within 1 s\n");
  EXPECT_EQ(card.ask("9 dial 110"), "9 complete 110 110");
  EXPECT_EQ(Operator(socket).ask("lines"), "9 decided 110\n");
}

// ---- the socket ----

TEST(ConsoleSocket, StaleOneIsReplacedAndALiveOneRefused) {
  const TemporaryDirectory directory;
  const std::string socket = directory.file("console");
  {
    const Phoned killed({"--console", socket});
    EXPECT_NE(killed.port(), 0);
  }
  ASSERT_TRUE(std::filesystem::exists(socket)) << "SIGKILL leaves the socket";
  const Phoned first({"--console", socket});
  ASSERT_NE(first.port(), 0);
  EXPECT_EQ(Operator(socket).ask("check 12"), "reject 12\n");
  struct stat status = {};
  ASSERT_EQ(stat(socket.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);

  Phoned second({"--console", socket});
  EXPECT_EQ(second.exit_status(), 1);
  EXPECT_EQ(second.err(), "phoned: console socket '" + socket + "' is in use: another process listens there\n");
  EXPECT_EQ(Operator(socket).ask("check 12"), "reject 12\n") << "the first one's socket is still there";
}

TEST(ConsoleSocket, RefusesPathsThatAreNone) {
  const TemporaryFile file("keep me");
  const std::string too_long = "/tmp/" + std::string(103, 'x');
  const struct {
    Program::Arguments arguments;
    int status;
    std::string complaint;
  } kCases[] = {
      {{"--console", file.path()},
       1,
       "console socket '" + file.path() + "' cannot be made: a file that is not a socket is there\n"},
      {{"--console", "/nonexistent/console"},
       1,
       "console socket '/nonexistent/console' cannot be made: No such file or directory\n"},
      {{"--console", too_long},
       1,
       "console socket '" + too_long.substr(0, 40) + "...': must be a path of 1 to 107 characters\n"},
      {{"--console", ""}, 1, "console socket '': must be a path of 1 to 107 characters\n"},
      {{"--fifo", "a"}, 2, "--fifo and --fifo-out go together: name two FIFOs\n"},
      {{"--fifo", "a", "--fifo-out", "a"}, 2, "--fifo and --fifo-out are both 'a': name two FIFOs\n"},
      {{"--fifo", file.path(), "--fifo-out", "/tmp/b"}, 1, "'" + file.path() + "' is not a FIFO\n"},
      {{"--fifo", "/nonexistent/in", "--fifo-out", "/tmp/b"},
       1,
       "FIFO '/nonexistent/in' cannot be made: No such file or directory\n"},
      {{"--console-timeout", "0"}, 2, "--console-timeout '0': must be a number from 1 to 3600\n"},
  };
  for (const auto& row : kCases) {
    Phoned phoned(row.arguments);
    EXPECT_EQ(phoned.exit_status(), row.status) << row.complaint;
    EXPECT_EQ(phoned.err(), "phoned: " + row.complaint);
  }
  EXPECT_EQ(file.content(), "keep me");
}

// phoned replaces nothing but a socket, not even a symbolic link to one.
TEST(ConsoleSocket, LeavesAloneWhatIsNoSocket) {
  const TemporaryDirectory directory;
  const std::string fifo = directory.file("fifo");
  const std::string link = directory.file("link");
  const std::string dangling = directory.file("dangling");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::filesystem::create_symlink(directory.file("real"), link);
  std::filesystem::create_symlink(directory.file("nowhere"), dangling);
  const Phoned real({"--console", directory.file("real")});
  ASSERT_NE(real.port(), 0);
  for (const std::string& path : {fifo, link, dangling}) {
    Phoned phoned({"--console", path});
    EXPECT_EQ(phoned.exit_status(), 1);
    EXPECT_EQ(phoned.err(),
              "phoned: console socket '" + path + "' cannot be made: a file that is not a socket is there\n");
    EXPECT_TRUE(std::filesystem::is_symlink(path) || std::filesystem::is_fifo(path));
  }
  EXPECT_FALSE(std::filesystem::exists(directory.file("nowhere")));
  EXPECT_EQ(Operator(directory.file("real")).ask("check 12"), "reject 12\n");
}

TEST(ConsoleSocket, StaysWhenItIsNoLongerPhoneds) {
  const TemporaryDirectory directory;
  const std::string socket = directory.file("console");
  Phoned first({"--console", socket});
  ASSERT_NE(first.port(), 0);
  std::filesystem::rename(socket, directory.file("elsewhere"));
  const Phoned second({"--console", socket});
  ASSERT_NE(second.port(), 0);
  first.signal(SIGTERM);
  EXPECT_EQ(first.exit_status(), 0);
  EXPECT_EQ(Operator(socket).ask("check 12"), "reject 12\n");
}

// ---- without free descriptors ----

// With descriptors for two operators, phoned refuses and hangs up on a third. A connection left in the queue would keep
// phoned busy.
TEST(ConsoleDescriptors, OperatorIsRefusedWhenThereIsNone) {
  const TemporaryDirectory directory;
  const std::string socket = directory.file("console");
  const Program::Arguments command = {"--foreground", "--port", "0", "--map", kPlan, "--console", socket};
  size_t descriptors = 0;
  {
    const Phoned phoned({"--console", socket});
    ASSERT_NE(phoned.port(), 0);
    ASSERT_TRUE(phoned.sleeps());
    descriptors = phoned.descriptors();
  }
  Program::Arguments words = {PHONED};
  words.insert(words.end(), command.begin(), command.end());
  const Program phoned(Program::kShell, Program::with_descriptors(static_cast<int>(descriptors) + 2, words));
  ASSERT_TRUE(phoned.says(kListening));
  UdpSocket card(port_in(phoned.out()));
  {
    const Operator first(socket);
    const Operator second(socket);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(Operator(socket).answer(), "error: no descriptor is free for another operator: try again later\n");
      ASSERT_TRUE(phoned.sleeps());
      EXPECT_EQ(card.ask("9 onhook"), "9 idle");
    }
    EXPECT_EQ(first.ask("check 12"), "reject 12\n");
    EXPECT_EQ(Operator(socket).ask("check 110"), "complete 110 110\n") << "the first one's descriptor is free";
    EXPECT_EQ(second.ask("check 12"), "reject 12\n");
  }
  EXPECT_EQ(Operator(socket).ask("check 12"), "reject 12\n");
  EXPECT_EQ(phoned.err(), "");
}

// The limit drops below the descriptors in use, so releasing one does not help.
TEST(ConsoleDescriptors, NobodyIsListenedToWhenNobodyCanBeRefused) {
  const TemporaryDirectory directory;
  const std::string socket = directory.file("console");
  Phoned phoned({"--console", socket});
  UdpSocket card(phoned.port());
  rlimit before = {};
  ASSERT_EQ(prlimit(phoned.pid(), RLIMIT_NOFILE, nullptr, &before), 0);
  for (int round = 0; round < 2; ++round) {
    const rlimit low = {4, before.rlim_max};
    ASSERT_EQ(prlimit(phoned.pid(), RLIMIT_NOFILE, &low, nullptr), 0);
    const Operator waiting(socket);
    waiting.say("check 12\n");
    for (int i = 0; i < 10; ++i) {
      EXPECT_EQ(card.ask("9 onhook"), "9 idle");
      ASSERT_TRUE(phoned.sleeps());
    }
    ASSERT_EQ(prlimit(phoned.pid(), RLIMIT_NOFILE, &before, nullptr), 0);
    EXPECT_EQ(waiting.answer(), "reject 12\n");
    EXPECT_EQ(Operator(socket).ask("check 110"), "complete 110 110\n");
  }
  const rlimit low = {4, before.rlim_max};
  ASSERT_EQ(prlimit(phoned.pid(), RLIMIT_NOFILE, &low, nullptr), 0);
  const Operator waiting(socket);
  ASSERT_TRUE(phoned.sleeps());
  phoned.signal(SIGTERM);
  EXPECT_EQ(phoned.exit_status(), 0);
  EXPECT_FALSE(std::filesystem::exists(socket));
}

// ---- FIFOs and standard input ----

void write_once(const std::string& path, const std::string& text) {
  const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  close(fd);
}

TEST(ConsoleFifo, HearsOneOperatorAfterTheOther) {
  const TemporaryDirectory directory;
  const std::string in = directory.file("in");
  const std::string out = directory.file("out");
  Phoned phoned({"--fifo", in, "--fifo-out", out});
  UdpSocket card(phoned.port());
  const int answers = open(out.c_str(), O_RDONLY | O_CLOEXEC);
  write_once(in, "check 110\ncheck 12\n");
  EXPECT_TRUE(gives(answers, "complete 110 110\nreject 12\n"));
  EXPECT_EQ(card.ask("9 offhook"), "9 ready");
  write_once(in, "chec");
  EXPECT_EQ(card.ask("9 dial 110"), "9 complete 110 110");
  write_once(in, "k 0\n" + std::string(10000, 'x') + "\nlines\n");
  EXPECT_TRUE(gives(answers,
                    "more 0, or after the inter-digit time complete 0 0x.T\n"
                    "error: the line is too long: at most 255 bytes are allowed\n9 decided 110\n"));
  write_once(in, "tr change Line 7\rhelp\r\n");
  EXPECT_TRUE(gives(answers, "The tracelevel of modul Line is changed to 7 \nhelp\ntr\nlines\n"));
  close(answers);
  write_once(in, "tr console\n");
  for (int i = 0; i < 1000; ++i) {
    write_once(in, "dance with me\nmap\nmap\nmap\nmap\nmap\nmap\n");  // whose answers nobody reads
  }
  EXPECT_EQ(card.ask("9 onhook"), "9 idle");
  write_once(in, "stop\n");
  EXPECT_EQ(phoned.exit_status(), 0);
}

// The last error is that of a child, which can only report it to phoned.
TEST(ConsoleFifo, CountsAnswersThatHaveNoRoom) {
  const TemporaryDirectory directory;
  const std::string in = directory.file("in");
  const std::string out = directory.file("out");
  const Phoned phoned({"--fifo", in, "--fifo-out", out, "--statistics", "1"});
  ASSERT_NE(phoned.port(), 0);
  const int answers = open(out.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  for (const size_t size : {size_t{4096}, size_t{1}}) {
    while (write(answers, std::string(size, '.').data(), size) > 0) {
    }
  }
  write_once(in, "check 110\nlines \"\nrun true\n");
  EXPECT_TRUE(phoned.says("phoned: operators: 3 answers cut\n")) << phoned.out();
  close(answers);
}

TEST(ConsoleStandardInput, AnswersOnStandardOutputAndOutlivesItsEnd) {
  Phoned phoned({"--stdin"}, "check 110\n" + std::string(10000, 'x') + "\ndance\ntr change Line 7\ncheck 12");
  EXPECT_TRUE(
      phoned.says("complete 110 110\nerror: the line is too long: at most 255 bytes are allowed\n"
                  "command not found\nThe tracelevel of modul Line is changed to 7 \nreject 12\n"
                  "phoned: the standard input has ended\n"));
  UdpSocket card(phoned.port());
  EXPECT_EQ(card.ask("9 offhook"), "9 ready");
  phoned.signal(SIGTERM);
  EXPECT_EQ(phoned.exit_status(), 0);
  const std::string end = "phoned: the standard input has ended\n";
  EXPECT_EQ(phoned.out().find(end), phoned.out().rfind(end)) << "printed once";
}

// ---- phonectl ----

TEST_F(ConsoleTest, PhonectlSaysALineAndShowsTheAnswer) {
  const struct {
    Program::Arguments words;
    int status;
    std::string out;
    std::string err;
  } kCases[] = {
      {{socket_, "check 110"}, 0, "complete 110 110\n", ""},
      {{socket_, "check", "12"}, 0, "reject 12\n", ""},
      {{socket_, "map"}, 0, "110\n11T\n118xx\n0x.T\n", ""},
      {{socket_, "tr change Line 1023"}, 0, "The tracelevel of modul Line is changed to 1023 \n", ""},
      {{socket_, "run printf '\\033[2J'"}, 0, "?[2J\nstatus 0\n", ""},
      {{socket_, "dance"}, 1, "command not found\n", ""},
      {{socket_, "check"}, 1, "error: must be 'check DIGITS'\n", ""},
      {{socket_, std::string(300, 'x')}, 1, "error: the line is too long: at most 255 bytes are allowed\n", ""},
      {{socket_ + "x", "map"}, 1, "", "phonectl: no console at '" + socket_ + "x': No such file or directory\n"},
      {{socket_, "map\nmap"}, 2, "", "phonectl: 'map?map': must be one line\n"},
      {{socket_},
       2,
       "",
       "phonectl: 'console' needs the path of a socket and a line, such as 'console "
       "/run/phoned.console lines'\n"},
  };
  for (const auto& row : kCases) {
    Program::Arguments arguments = {"console"};
    arguments.insert(arguments.end(), row.words.begin(), row.words.end());
    Program phonectl(PHONECTL, arguments);
    EXPECT_EQ(phonectl.exit_status(), row.status) << row.words.back();
    EXPECT_EQ(phonectl.out(), row.out);
    EXPECT_EQ(phonectl.err(), row.err);
  }
}

}  // namespace
