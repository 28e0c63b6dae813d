// phonectl, with phoned and with a socket that plays phoned.
#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "program.h"
#include "udp_socket.h"

namespace {

using support::Program;
using support::TemporaryFile;
using support::UdpSocket;

class Phonectl : public Program {
 public:
  Phonectl(const UdpSocket& server, Arguments arguments, const std::string& input = "")
      : Program(PHONECTL, with_port(server.port(), std::move(arguments)), input) {}

 private:
  static Arguments with_port(uint16_t port, Arguments arguments) {
    arguments.insert(arguments.begin(), {"--port", std::to_string(port)});
    return arguments;
  }
};

class PhonectlTest : public ::testing::Test {
 protected:
  UdpSocket server_;
};

TEST_F(PhonectlTest, SendsACommandAndShowsTheAnswer) {
  const struct {
    Program::Arguments arguments;
    const char* datagram;
    const char* answer;
    int status;
  } kCases[] = {
      {{"offhook", "3"}, "3 offhook", "3 ready", 0},
      {{"onhook", "3"}, "3 onhook", "3 idle", 0},
      {{"digit", "3", "*"}, "3 digit *", "3 more *", 0},
      {{"dial", "3", "110"}, "3 dial 110", "3 complete 110 110", 0},
      {{"dial", "3", "9"}, "3 dial 9", "3 reject 9", 0},
      {{"raw", "hello  world"}, "hello  world", "error unknown line", 1},
      {{"dial", "x", "y"}, "x dial y", "error", 1},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.datagram);
    Phonectl phonectl(server_, row.arguments);
    EXPECT_EQ(server_.receive(), row.datagram);
    server_.send(row.answer);
    EXPECT_EQ(phonectl.exit_status(), row.status);
    EXPECT_EQ(phonectl.out(), row.answer + std::string("\n"));
    EXPECT_EQ(phonectl.err(), "");
  }
}

TEST_F(PhonectlTest, TakesTheHostsAddress) {
  Phonectl phonectl(server_, {"--host", "localhost", "offhook", "3"});
  EXPECT_EQ(server_.receive(), "3 offhook");
  server_.send("3 ready");
  EXPECT_EQ(phonectl.exit_status(), 0);
}

TEST_F(PhonectlTest, GivesUpWithoutAnAnswer) {
  Phonectl phonectl(server_, {"--timeout", "50", "offhook", "3"});
  EXPECT_EQ(phonectl.exit_status(), 1);
  EXPECT_EQ(phonectl.out(), "");
  EXPECT_EQ(phonectl.err(),
            "phonectl: no answer from 127.0.0.1 port " + std::to_string(server_.port()) + " within 50 ms\n");
}

TEST_F(PhonectlTest, ShowsNothingThatHarmsATerminal) {
  Phonectl phonectl(server_, {"offhook", "3"});
  server_.receive();
  server_.send(std::string("3 \x1b[2J\0\n\xff", 9));
  EXPECT_EQ(phonectl.exit_status(), 0);
  EXPECT_EQ(phonectl.out(), "3 ?[2J???\n");
}

TEST_F(PhonectlTest, PassesOverDatagramsThatAreNoAnswers) {
  Phonectl phonectl(server_, {"offhook", "3"});
  server_.receive();
  server_.send("");
  server_.send(std::string(1025, 'y'));
  server_.send("3 ready");
  EXPECT_EQ(phonectl.exit_status(), 0);
  EXPECT_EQ(phonectl.out(), "3 ready\n");
}

TEST_F(PhonectlTest, SaysWhatIsWrongWithItsCommandLine) {
  const struct {
    Program::Arguments arguments;
    const char* complaint;
  } kCases[] = {
      {{}, "no command: must be offhook, onhook, digit, dial, raw or console, or a --script; --help shows more\n"},
      {{"--port", "0", "offhook", "3"}, "--port '0': must be a number from 1 to 65535\n"},
      {{"--host", "here", "offhook", "3"}, "--host 'here': must be an IPv4 address, such as 127.0.0.1, or localhost\n"},
      {{"--timeout", "x", "offhook", "3"}, "--timeout 'x': must be a number from 1 to 60000\n"},
      {{"dial", "3"}, "'dial' needs a line and digits, such as 'dial 3 110'\n"},
      {{"dance"}, "unknown command 'dance': must be offhook, onhook, digit, dial, raw, expect or wait\n"},
      {{"--script", "/nonexistent"}, "script '/nonexistent' cannot be read: No such file or directory\n"},
      {{"--script", "/tmp"}, "script '/tmp' cannot be read: is not a regular file\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.complaint);
    Phonectl phonectl(server_, row.arguments);
    EXPECT_EQ(phonectl.exit_status(), 2);
    EXPECT_EQ(phonectl.err(), std::string("phonectl: ") + row.complaint);
    EXPECT_EQ(phonectl.out(), "");
  }
  EXPECT_FALSE(server_.has_datagram());
}

// Besides the three standard descriptors, the transcript takes one, and the pipes four.
TEST_F(PhonectlTest, SaysWhatItCannotHave) {
  const TemporaryFile script("offhook 3");
  const struct {
    int descriptors;
    const char* complaint;
  } kCases[] = {
      {5, "cannot make a pipe: "},
      {7, "cannot make a pipe: "},
      {8, "cannot make a socket: "},
  };
  for (const auto& row : kCases) {
    for (const Program::Arguments& command :
         {Program::Arguments{PHONECTL, "offhook", "3"}, Program::Arguments{PHONECTL, "--script", script.path()}}) {
      SCOPED_TRACE(row.descriptors);
      Program phonectl(Program::kShell, Program::with_descriptors(row.descriptors, command));
      EXPECT_EQ(phonectl.exit_status(), 1);
      EXPECT_EQ(phonectl.err(), std::string("phonectl: ") + row.complaint + std::strerror(EMFILE) + "\n");
    }
  }
}

TEST_F(PhonectlTest, ShowsHelpAndVersion) {
  Phonectl help(server_, {"--help"});
  EXPECT_EQ(help.exit_status(), 0);
  EXPECT_TRUE(help.out().starts_with("phonectl plays a line card"));
  Phonectl version(server_, {"--version"});
  EXPECT_EQ(version.exit_status(), 0);
  EXPECT_EQ(version.out(), "phonectl with userlib-1.4.3\n");
}

// ---- scripts ----

TEST_F(PhonectlTest, WritesATranscriptOfItsScript) {
  const TemporaryFile script("# a comment\noffhook 3\nexpect 3 ready\nraw 3  dance\nonhook 3\nexpect 3 idle\n");
  Phonectl phonectl(server_, {"--script", script.path()});
  EXPECT_EQ(server_.receive(), "3 offhook");
  server_.send("3 ready");
  EXPECT_EQ(server_.receive(), "3  dance");
  server_.send("error no");
  EXPECT_EQ(server_.receive(), "3 onhook");
  server_.send("3 idle");
  EXPECT_EQ(phonectl.exit_status(), 0);
  EXPECT_EQ(phonectl.out(), "-> 3 offhook\n<- 3 ready\n-> 3  dance\n<- error no\n-> 3 onhook\n<- 3 idle\n");
  EXPECT_EQ(phonectl.err(), "");
}

TEST_F(PhonectlTest, ReadsItsScriptFromStandardInput) {
  Phonectl phonectl(server_, {"--script", "-"}, "offhook 3\nexpect 3 ready");
  EXPECT_EQ(server_.receive(), "3 offhook");
  server_.send("3 ready");
  EXPECT_EQ(phonectl.exit_status(), 0);
  EXPECT_EQ(phonectl.out(), "-> 3 offhook\n<- 3 ready\n");
}

TEST_F(PhonectlTest, ExpectsAnswersInTheirOrder) {
  Phonectl phonectl(server_, {"--script", "-"}, "dial 3 0\nexpect 3 more 0\nexpect 3 complete 0 0x.T\nonhook 3\n");
  server_.receive();
  server_.send("3 more 0");
  server_.send("3 complete 0 0x.T");
  EXPECT_EQ(server_.receive(), "3 onhook");
  server_.send("3 idle");
  EXPECT_EQ(phonectl.exit_status(), 0);
  EXPECT_EQ(phonectl.out(), "-> 3 dial 0\n<- 3 more 0\n<- 3 complete 0 0x.T\n-> 3 onhook\n<- 3 idle\n");
}

TEST_F(PhonectlTest, HearsWhatComesWhileItWaits) {
  Phonectl phonectl(server_, {"--script", "-", "--timeout", "10000"},
                    "dial 3 0\nwait 300\nexpect 3 more 0\nexpect 3 reject 0\n");
  server_.receive();
  server_.send("3 more 0");
  server_.send("3 reject 0");
  EXPECT_EQ(phonectl.exit_status(), 0);
  EXPECT_EQ(phonectl.out(), "-> 3 dial 0\n<- 3 more 0\n<- 3 reject 0\n");
}

TEST_F(PhonectlTest, StopsAtAnAnswerThatDiffers) {
  const TemporaryFile script("offhook 3\n\nexpect 3 idle\nonhook 3\n");
  Phonectl phonectl(server_, {"--script", script.path()});
  server_.receive();
  server_.send("3 ready");
  EXPECT_EQ(phonectl.exit_status(), 1);
  EXPECT_EQ(phonectl.out(), "-> 3 offhook\n<- 3 ready\n");
  EXPECT_EQ(phonectl.err(), "phonectl: script '" + script.path() + "', line 3: expected '3 idle', got '3 ready'\n");
  EXPECT_FALSE(server_.has_datagram()) << "nothing more is sent";
}

TEST_F(PhonectlTest, StopsWhereAnAnswerIsMissing) {
  const std::string missing = "no answer from 127.0.0.1 port " + std::to_string(server_.port()) + " within 50 ms\n";
  Phonectl silent(server_, {"--timeout", "50", "--script", "-"}, "\noffhook 3\n");
  EXPECT_EQ(server_.receive(), "3 offhook");
  EXPECT_EQ(silent.exit_status(), 1);
  EXPECT_EQ(silent.err(), "phonectl: script '-', line 2: " + missing);

  Phonectl expecting(server_, {"--timeout", "50", "--script", "-"}, "expect 3 ready\n");
  EXPECT_EQ(expecting.exit_status(), 1);
  EXPECT_EQ(expecting.err(), "phonectl: script '-', line 1: expected '3 ready', got " + missing);
}

// An unexpected answer does not count for the next command.
TEST_F(PhonectlTest, ForgetsAnswersThatWereNotExpected) {
  Phonectl phonectl(server_, {"--script", "-"}, "offhook 3\ndial 3 110\nexpect 3 complete 110 110\n");
  server_.receive();
  server_.send("3 ready");
  server_.receive();
  server_.send("3 complete 110 110");
  EXPECT_EQ(phonectl.exit_status(), 0);
}

TEST_F(PhonectlTest, SendsNothingOfAScriptThatIsWrong) {
  Phonectl phonectl(server_, {"--script", "-"}, "offhook 3\ndance 3\n");
  EXPECT_EQ(phonectl.exit_status(), 2);
  EXPECT_EQ(phonectl.err(),
            "phonectl: script '-', line 2: unknown command 'dance': must be offhook, onhook, digit, dial, raw, expect "
            "or wait\n");
  EXPECT_EQ(phonectl.out(), "");
  EXPECT_FALSE(server_.has_datagram());
}

}  // namespace
