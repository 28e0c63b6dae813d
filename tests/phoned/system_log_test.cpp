// phoned with a real system log daemon. Needs rsyslog, and root for a mount namespace with our own /dev/log.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "doubles/temporary_directory.h"
#include "program.h"
#include "udp_socket.h"

namespace {

using support::content_of;
using support::Program;
using support::TemporaryDirectory;
using support::UdpSocket;

constexpr char kRsyslogd[] = "/usr/sbin/rsyslogd";
constexpr char kUnshare[] = "/usr/bin/unshare";

const Program::Arguments kPrivately = {"--mount", "--pid", "--fork", "--kill-child", "--mount-proc"};

bool can_have_a_world_of_its_own() {
  Program::Arguments arguments = kPrivately;
  arguments.push_back("true");
  return Program(kUnshare, arguments).exit_status() == 0;
}

// The number after a text that the program prints; 0 if it does not.
unsigned long number_behind(const Program& program, const std::string& text) {
  if (!program.says(text)) {
    return 0;
  }
  const std::string out = program.out();
  return std::stoul(out.substr(out.find(text) + text.size()));
}

TEST(SystemLog, GetsItsLines) {
  if (access(kRsyslogd, X_OK) != 0) {
    GTEST_SKIP() << "rsyslog is not installed";
  }
  if (geteuid() != 0 || access(kUnshare, X_OK) != 0 || !can_have_a_world_of_its_own()) {
    GTEST_SKIP() << "needs root for a mount namespace";
  }
  const TemporaryDirectory directory;
  const std::string console = directory.file("console");
  Program::Arguments arguments = kPrivately;
  const Program::Arguments phoned =
      Program::start_of({PHONED, "--foreground", "--port", "0", "--console", console, "--map", "110|110"});
  arguments.insert(arguments.end(), {SYSTEM_LOG, directory.path(), kRsyslogd});
  arguments.insert(arguments.end(), phoned.begin(), phoned.end());
  Program world(kUnshare, arguments);
  const auto port = number_behind(world, "phoned: listening on port ");
  ASSERT_NE(port, 0U) << world.err();
  const std::string pid = std::to_string(number_behind(world, "phoned's id is "));
  const auto say = [&console](const std::string& line) { Program(PHONECTL, {"console", console, line}).exit_status(); };
  UdpSocket card(static_cast<uint16_t>(port));
  card.ask("9 offhook");
  card.ask("9 dial 110");
  say("tr change Line 2");
  card.ask("9 onhook");
  say(std::string(300, 'x'));
  say("run kill -HUP " + pid);
  EXPECT_TRUE(world.complains("phoned: HUP: there is no --map-file to read again; the dial plan stays\n"));
  for (const char* line : {"5", "700"}) {
    std::string command = "run";
    for (const std::string& word :
         Program::start_of({PHONECTL, "--log", "--port", std::to_string(port), "offhook", line})) {
      command += " " + word;
    }
    say(command);
  }
  say("stop");
  EXPECT_EQ(world.exit_status(), 0) << world.err();

  const std::string log = content_of(directory.file("log"));
  const std::string ident = " phoned[" + pid + "]: ";
  for (const std::string& line :
       {"user.warning" + ident +
            "warning:DialPlan   dial plan, pattern 2, line 1, position 5: '110' never decides: '110' does wherever it "
            "would, or sooner\n",
        "user.notice" + ident + "info:Phoned   listening on port " + std::to_string(port) + "\n",
        "user.notice" + ident + "info:Line   line 9: 110 is complete by 110\n",
        "user.debug" + ident + "trace:Line   event '9 onhook'\n",
        "user.notice" + ident + "info:Console   line 'tr change Line 2'\n",
        "user.warning" + ident + "warning:Console   the line is too long: at most 255 bytes are allowed\n",
        // phonectl's own log: the plain logger gives everything the severity alert.
        std::string("user.alert phonectl: trace:5 ready\n"),
        std::string("user.alert phonectl: trace:error unknown line '700': must be a number from 0 to 255\n"),
        "user.err" + ident + "error:Phoned: main.cpp:", "user.notice" + ident + "info:Phoned   farewell\n"}) {
    EXPECT_NE(log.find(line), std::string::npos) << line << log;
  }
  EXPECT_EQ(log.find("event '9 offhook'"), std::string::npos) << "before the mask was changed";
}

}  // namespace
