// Several phoneds start at the same time with one run directory, as if two scripts brought the machine up. Exactly one
// must stay, and the others must print its process id.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "phoned.h"
#include "udp_socket.h"

namespace {

using support::comes_true;
using support::content_of;
using support::Program;
using support::TemporaryDirectory;

constexpr int kRounds = Program::few_if_emulated(100);
constexpr int kStarts = 4;

class StartsTest : public testing::Test {
 protected:
  Program::Arguments arguments() const { return {"--port", "0", "--run-dir", directory_.path(), "--map", "110"}; }

  std::string pid_file() const { return directory_.file("phoned.pid"); }

  std::string complaint(const std::string& pid) const {
    return "phoned: is already running as process " + pid + ", see '" + pid_file() +
           "'; stop it first, or choose another --run-dir\n";
  }

  TemporaryDirectory directory_;
};

TEST_F(StartsTest, ExactlyOneStaysInTheForeground) {
  Program::Arguments options = arguments();
  options.push_back("--foreground");
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    std::vector<std::unique_ptr<Program>> phoneds;
    for (int i = 0; i < kStarts; ++i) {
      phoneds.push_back(std::make_unique<Program>(PHONED, options));
    }
    int staying = 0;
    for (const auto& phoned : phoneds) {
      const bool is_decided = comes_true([&] {
        return phoned->out().find("phoned: listening on port") != std::string::npos ||
               phoned->err().find('\n') != std::string::npos;
      });
      ASSERT_TRUE(is_decided);
      staying += phoned->err().empty() ? 1 : 0;
    }
    ASSERT_EQ(staying, 1);
    const std::string pid = content_of(pid_file());
    for (const auto& phoned : phoneds) {
      if (std::to_string(phoned->pid()) == pid) {
        EXPECT_EQ(phoned->err(), "");
        phoned->signal(SIGTERM);
        EXPECT_EQ(phoned->exit_status(), 0);
      } else {
        EXPECT_EQ(phoned->err(), complaint(pid));
        EXPECT_EQ(phoned->exit_status(), 1);
      }
    }
    EXPECT_FALSE(std::filesystem::exists(pid_file()));
  }
}

TEST_F(StartsTest, ExactlyOneStaysInTheBackground) {
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    std::vector<std::unique_ptr<Program>> launchers;
    for (int i = 0; i < kStarts; ++i) {
      launchers.push_back(std::make_unique<Program>(PHONED, arguments()));
    }
    int staying = 0;
    std::string complaints;
    for (const auto& launcher : launchers) {
      staying += launcher->exit_status() == 0 ? 1 : 0;
      complaints += launcher->err();
    }
    // The printed process ids may differ: before it detaches, the one that stays has another id.
    EXPECT_EQ(staying, 1) << complaints;
    EXPECT_EQ(std::count(complaints.begin(), complaints.end(), '\n'), kStarts - 1) << complaints;
    const pid_t pid = std::stoi("0" + content_of(pid_file()));
    ASSERT_GT(pid, 1);
    kill(pid, SIGTERM);
    EXPECT_TRUE(comes_true([pid] { return !world::is_running(pid); }));
    EXPECT_FALSE(std::filesystem::exists(pid_file()));
  }
}

}  // namespace
