// What do the statistics of a log cost, compared with a search for one word?
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr size_t kLines = 1'000'000;
constexpr size_t kLinesOfACall = 5;
constexpr unsigned kSubscribers = 256;

using Words = std::vector<std::string>;

// A temporary log for each run.
class Log {
 public:
  enum class Kind { kConsole, kRsyslog };

  explicit Log(Kind kind) : kind_(kind) {
    const int fd = mkstemp(path_.data());
    file_ = fd >= 0 ? fdopen(fd, "w") : nullptr;
    for (size_t i = 0; file_ != nullptr && i < kLines / kLinesOfACall; ++i) {
      write_call(i);
    }
    is_good_ = file_ != nullptr && std::fclose(file_) == 0;
  }
  ~Log() {
    unlink(path_.c_str());
    unlink(answer_path().c_str());
  }
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  bool is_good() const { return is_good_; }
  const std::string& path() const { return path_; }
  std::string answer_path() const { return path_ + ".answer"; }

 private:
  void write_call(size_t i) {
    const auto line = static_cast<unsigned>(i * 7 % kSubscribers);
    const auto port = std::to_string(30'000 + line);
    const std::string number = std::to_string(line);
    const auto begin = static_cast<unsigned>(i);
    write(begin, "tracemf: card:" + port + " -->" + number + " dial 110--> channel:7070  RX");
    write(begin, "tracemf: channel:7070 -->" + number + " dial 110--> dial layer:0  RX");
    write(begin + i % 5, "tracemf: dial layer:0 -->" + number + " complete 110 110--> channel:7070  TX");
    write(begin + i % 5, "tracemf: channel:7070 -->" + number + " complete 110 110--> card:" + port + "  TX");
    write(begin + i % 5, "info:Line   line " + number + ": 110 is complete by 110");
  }

  void write(size_t milliseconds, const std::string& text) {
    const auto seconds = static_cast<unsigned>(milliseconds / 1000);
    std::fprintf(file_, "Mar  5 %02u:%02u:%02u", seconds / 3600 % 24, seconds / 60 % 60, seconds % 60);
    if (kind_ == Kind::kConsole) {
      std::fprintf(file_, ":%03u:%s\n", static_cast<unsigned>(milliseconds % 1000), text.c_str());
    } else {
      std::fprintf(file_, " router phoned[77]: %s\n", text.c_str());
    }
  }

  Kind kind_;
  std::string path_ = "/tmp/flow_benchmark.XXXXXX";
  FILE* file_ = nullptr;
  bool is_good_ = false;
};

struct Effort {
  bool is_good = false;
  double seconds = 0;  // CPU time
  double resident = 0;
};

// The output goes to a file: if grep writes to the null device, it stops at the first match.
Effort run_program(const Words& words, const std::string& answer_path) {
  std::vector<char*> arguments;
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, answer_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t child = 0;
  int status = -1;
  rusage usage = {};
  const bool is_good = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0 &&
                       wait4(child, &status, 0, &usage) == child && status == 0;
  posix_spawn_file_actions_destroy(&actions);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return {is_good, seconds(usage.ru_utime) + seconds(usage.ru_stime), static_cast<double>(usage.ru_maxrss)};
}

bool begins_with(const std::string& path, const std::string& text) {
  std::string begin(text.size(), '\0');
  FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) {
    return false;
  }
  begin.resize(std::fread(begin.data(), 1, begin.size(), file));
  std::fclose(file);
  return begin == text;
}

void run(benchmark::State& state, Log::Kind kind, Words words, const std::string& answer) {
  const Log log(kind);
  words.push_back(log.path());
  Effort effort;
  for ([[maybe_unused]] auto _ : state) {
    effort = run_program(words, log.answer_path());
    if (!log.is_good() || !effort.is_good || !begins_with(log.answer_path(), answer)) {
      state.SkipWithError("the program failed, or its answer is wrong");
      return;
    }
    state.SetIterationTime(effort.seconds);
  }
  state.counters["resident_kib"] = effort.resident;
}

void run_target(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    state.SetIterationTime(static_cast<double>(kLines) / 1e6);
  }
}

[[maybe_unused]] const bool kRegistered = [] {
  const struct {
    const char* name;
    Log::Kind kind;
  } kCases[] = {{"console", Log::Kind::kConsole}, {"rsyslog", Log::Kind::kRsyslog}};
  for (const auto& row : kCases) {
    const std::string name = std::string(row.name) + "/";
    const auto add = [](const std::string& side, auto function, auto... arguments) {
      benchmark::RegisterBenchmark(side.c_str(), function, arguments...)
          ->UseManualTime()
          ->Iterations(1)
          ->Unit(benchmark::kMillisecond);
    };
    add(name + "userlib", run, row.kind, Words{FLOW_TOOL, "--stats"},
        std::string("1,000,000 lines: 1,000,000 traces, 0 foreign, 0 broken, 0 cut\n"));
    add(name + "grep", run, row.kind, Words{"grep", "-c", "tracemf"}, std::string("800000\n"));
    add(name + "target", run_target);
  }
  return true;
}();

}  // namespace
