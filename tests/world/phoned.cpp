#include "phoned.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "udp_socket.h"

namespace world {
namespace {

using support::comes_true;
using support::content_of;
using support::Program;
using support::UdpSocket;
using Clock = std::chrono::steady_clock;

std::string proc(pid_t pid, const std::string& name) {
  return "/proc/" + std::to_string(pid) + "/" + name;
}

// The inodes of the sockets that the process holds.
std::set<std::string> sockets_of(pid_t pid) {
  constexpr char kSocket[] = "socket:[";
  std::set<std::string> inodes;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(proc(pid, "fd"), error)) {
    const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
    if (target.starts_with(kSocket)) {
      inodes.insert(target.substr(sizeof kSocket - 1, target.size() - sizeof kSocket));
    }
  }
  return inodes;
}

Clock::duration processor_time_of(pid_t pid) {
  clockid_t clock = {};
  timespec used = {};
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &used) != 0) {
    throw std::runtime_error("there is no such process");
  }
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

Program::Arguments behind_a_shell(const std::string& before, const Program::Arguments& command) {
  Program::Arguments words = {"-c", before + " exec \"$@\"", "sh"};
  const Program::Arguments start = Program::start_of(command);
  words.insert(words.end(), start.begin(), start.end());
  return words;
}

pid_t pid_in(const std::string& path) {
  const std::string content = content_of(path);
  return content.empty() ? -1 : static_cast<pid_t>(std::atol(content.c_str()));
}

}  // namespace

// A row of the table: "sl local_address rem_address st tx:rx tr:when retrnsmt uid timeout inode ...".
uint16_t udp_port_of(pid_t pid) {
  const std::set<std::string> sockets = sockets_of(pid);
  std::ifstream table(proc(pid, "net/udp"));
  std::string line;
  while (std::getline(table, line)) {
    std::istringstream row(line);
    std::vector<std::string> words{std::istream_iterator<std::string>(row), {}};
    if (words.size() > 9 && sockets.contains(words[9])) {
      return static_cast<uint16_t>(std::stoul(words[1].substr(words[1].find(':') + 1), nullptr, 16));
    }
  }
  return 0;
}

bool is_idle(pid_t pid) {
  constexpr Milliseconds kWatched{1000};
  const auto before = processor_time_of(pid);
  std::this_thread::sleep_for(kWatched);
  return processor_time_of(pid) - before < kWatched / 20;
}

// The second number of the file.
std::chrono::nanoseconds processor_wait_of(pid_t pid) {
  std::ifstream file(proc(pid, "schedstat"));
  int64_t running = 0;
  int64_t waiting = 0;
  file >> running >> waiting;
  return std::chrono::nanoseconds(waiting);
}

bool is_running(pid_t pid) {
  const std::string status = content_of(proc(pid, "stat"));
  return !status.empty() && status.find(") Z ") == std::string::npos;
}

Phoned::Phoned(const Start& start)
    : run_dir_(start.run_dir.empty() ? directory_.path() : start.run_dir), mode_(start.mode) {
  Program::Arguments command = {PHONED, "--port", "0", "--run-dir", run_dir_, "--console", console(), "--map", kPlan};
  if (mode_ == Mode::kForeground) {
    command.push_back("--foreground");
  }
  command.insert(command.end(), start.options.begin(), start.options.end());
  launcher_ =
      std::make_unique<Program>(Program::kShell, behind_a_shell(start.before, command), start.input, start.out_fd);
  pid_ = mode_ == Mode::kForeground ? launcher_->pid() : -1;
}

Phoned::~Phoned() {
  if (mode_ == Mode::kBackground && pid_ > 0) {
    kill(pid_, SIGKILL);
  }
}

bool Phoned::is_up() {
  if (mode_ == Mode::kBackground) {
    const pid_t first = launcher_->pid();
    if (launcher_->exit_status() != 0 || !comes_true([&] {
          pid_ = pid_in(pid_file());
          return pid_ > 0 && pid_ != first;
        })) {
      return false;
    }
  }
  return comes_true([this] {
           port_ = udp_port_of(pid_);
           return port_ != 0 || !is_running(pid_);
         }) &&
         port_ != 0;
}

void Phoned::signal(int number) const {
  if (pid_ > 0) {  // -1 would signal every process
    kill(pid_, number);
  }
}

void Phoned::stop() const {
  signal(SIGSTOP);
  comes_true([this] { return content_of(proc(pid_, "stat")).find(") T ") != std::string::npos; });
}

bool Phoned::ends_within(std::chrono::seconds time) {
  const auto end = Clock::now() + time;
  while (is_running(pid_)) {
    if (Clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(Milliseconds(5));
  }
  pid_ = -1;
  return true;
}

std::string trace_everything() {
  return "[TraceLevelInit Version]\n1\n\n[Level]\n"
         "0;\"TraceLevel\";1023\n1;\"Phoned\";1023\n2;\"Line\";1023\n3;\"DialPlan\";1023\n4;\"Console\";1023\n\n";
}

void expect_prompt_answers(const Phoned& phoned, int calls) {
  UdpSocket card(phoned.port());
  std::vector<Clock::duration> times;
  for (int call = 0; call < calls; ++call) {
    const std::string line = std::to_string(call % 256);
    for (const auto& [event, answer] : {std::pair(" onhook", " idle"), std::pair(" offhook", " ready"),
                                        std::pair(" dial 110", " complete 110 110")}) {
      const auto start = Clock::now();
      ASSERT_EQ(card.ask(line + event), line + answer) << "call " << call;
      times.push_back(Clock::now() - start);
    }
  }
  const auto median = times.begin() + static_cast<ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), median, times.end());
  EXPECT_LT(*median, Milliseconds(100));
}

void expect_a_clean_end(Phoned& phoned) {
  phoned.signal(SIGTERM);
  EXPECT_TRUE(phoned.ends_within(std::chrono::seconds(5)));
  EXPECT_FALSE(std::filesystem::exists(phoned.pid_file()));
  EXPECT_FALSE(std::filesystem::exists(phoned.console()));
}

}  // namespace world
