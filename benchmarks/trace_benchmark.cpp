// What does a suppressed line cost, and a printed one?
#define SPDLOG_ACTIVE_LEVEL SPDLOG_LEVEL_TRACE  // check the level at run time, as ours does
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "bare_test.h"
#include "nuv_sysloglevel.h"

namespace {

// Keeps the overhead of the loop small beside calls of two nanoseconds.
constexpr int kBatch = 64;

constexpr char kModule[] = "Line";
constexpr char kText[] = "off hook, 4711 waits for the first digit";

// Global, as handles and loggers are in daemons.
int g_module;
std::shared_ptr<spdlog::logger> g_logger;

// A daemon does this once at its start.
void register_module(uint32_t mask) {
  NUV_Sysloglevel_construct("");
  g_module = NUV_Sysloglevel_registerModul(kModule);
  NUV_Sysloglevel_changeTracelevel(kModule, mask);
}

void make_logger(const std::string& path, spdlog::level::level_enum level) {
  g_logger = spdlog::basic_logger_st(kModule, path);
  spdlog::drop(kModule);
  g_logger->set_level(level);
}

// ---- a suppressed line ----

// Two trace statements, as every daemon has more than one: compilers inline a template that is called only once.

void suppressed_userlib(benchmark::State& state) {
  register_module(NUV_SYSLOGLEVEL_DEFAULT_MASK);
  while (state.KeepRunningBatch(kBatch)) {
    for (int i = 0; i < kBatch; i += 2) {
      NUV_LOG_DEBUG(g_module, "off hook, %d waits for the first digit", i);
      benchmark::ClobberMemory();
      NUV_LOG_DEBUG(g_module, "on hook, %d is idle", i);
      benchmark::ClobberMemory();
    }
  }
}

// The macro that looks up its logger, as ours looks up its module.
void suppressed_spdlog(benchmark::State& state) {
  spdlog::set_level(spdlog::level::err);
  while (state.KeepRunningBatch(kBatch)) {
    for (int i = 0; i < kBatch; i += 2) {
      SPDLOG_DEBUG("off hook, {} waits for the first digit", i);
      benchmark::ClobberMemory();
      SPDLOG_DEBUG("on hook, {} is idle", i);
      benchmark::ClobberMemory();
    }
  }
}

// The macro that takes a pointer to the logger.
void suppressed_spdlog_logger(benchmark::State& state) {
  make_logger("/dev/null", spdlog::level::err);
  while (state.KeepRunningBatch(kBatch)) {
    for (int i = 0; i < kBatch; i += 2) {
      SPDLOG_LOGGER_DEBUG(g_logger, "off hook, {} waits for the first digit", i);
      benchmark::ClobberMemory();
      SPDLOG_LOGGER_DEBUG(g_logger, "on hook, {} is idle", i);
      benchmark::ClobberMemory();
    }
  }
}

void suppressed_limit(benchmark::State& state) {
  while (state.KeepRunningBatch(kBatch)) {
    for (int i = 0; i < kBatch; i += 2) {
      if (bare_test(NUV_SYSLOGLEVEL_DEBUG)) {
        std::printf("off hook, %d waits for the first digit", i);
      }
      benchmark::ClobberMemory();
      if (bare_test(NUV_SYSLOGLEVEL_DEBUG)) {
        std::printf("on hook, %d is idle", i);
      }
      benchmark::ClobberMemory();
    }
  }
}

// ---- a line for the console, which is a file ----

// A line as all sides write it, apart from the time.
constexpr char kExampleLine[] =
    "Mar  5 09:04:07:042:debug:Line: trace_benchmark.cpp:100   off hook, 4711 waits for the first digit\n";
constexpr size_t kStampLength = 19;

// The file for the lines. It is truncated now and then, so that the disk does not fill up.
class Target {
 public:
  Target() : path_(std::filesystem::temp_directory_path() / ("trace_benchmark." + std::to_string(getpid()))) {
    empty();
  }
  ~Target() { std::filesystem::remove(path_); }
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  std::string path() const { return path_.string(); }
  int open() const { return ::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600); }
  void empty() const { std::ofstream(path_, std::ios::trunc); }

  // Refuses a file whose last line is not like the example. (The first may lack its beginning, written before the file
  // was truncated.)
  void check(benchmark::State& state) const {
    std::ifstream lines(path_);
    std::string last;
    for (std::string line; std::getline(lines, line);) {
      last = line;
    }
    if (last.size() < kStampLength || last.substr(kStampLength) + "\n" != &kExampleLine[kStampLength]) {
      state.SkipWithError(("wrong line: '" + last + "'").c_str());
    }
  }

 private:
  std::filesystem::path path_;
};

// Redirects standard output to the file and back.
class RedirectedStdout {
 public:
  explicit RedirectedStdout(const Target& target) : saved_(dup(STDOUT_FILENO)) {
    std::cout.flush();
    std::fflush(stdout);
    const int file = target.open();
    dup2(file, STDOUT_FILENO);
    close(file);
  }
  ~RedirectedStdout() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
  RedirectedStdout(const RedirectedStdout&) = delete;
  RedirectedStdout& operator=(const RedirectedStdout&) = delete;

 private:
  int saved_;
};

constexpr int kLinesInFile = 1 << 14;

template <typename Call>
void write_lines(benchmark::State& state, const Target& target, Call call) {
  int lines = 0;
  for (auto _ : state) {
    if (++lines == kLinesInFile) {
      lines = 0;
      target.empty();
    }
    call();
  }
}

void console_userlib(benchmark::State& state, bool flushed) {
  if (access("/etc/quiet", F_OK) == 0) {
    state.SkipWithError("/etc/quiet exists, and keeps traces off the console: move it away");
    return;
  }
  register_module(1U << NUV_SYSLOGLEVEL_DEBUG);
  NUV_Sysloglevel_set(0);
  const Target target;
  {
    const RedirectedStdout redirected(target);
    write_lines(state, target, [&] {
      NUV_Sysloglevel_debug(g_module, __FILE__, 100, kText);
      if (flushed) {
        std::fflush(stdout);
      }
    });
  }
  NUV_Sysloglevel_set(1);
  target.check(state);
}

void console_spdlog(benchmark::State& state, bool flushed) {
  const Target target;
  {
    make_logger(target.path(), spdlog::level::debug);
    g_logger->set_pattern("%b %d %H:%M:%S:%e:%l:%n: %s:%#   %v");
    g_logger->flush_on(flushed ? spdlog::level::debug : spdlog::level::off);
    write_lines(state, target, [] { g_logger->log({__FILE__, 100, __func__}, spdlog::level::debug, kText); });
    g_logger.reset();  // closes the file
  }
  target.check(state);
}

void console_limit(benchmark::State& state) {
  const Target target;
  const int file = target.open();
  write_lines(state, target, [&] {
    if (write(file, kExampleLine, sizeof kExampleLine - 1) != static_cast<ssize_t>(sizeof kExampleLine - 1)) {
      state.SkipWithError("cannot write");
    }
  });
  close(file);
  target.check(state);
}

BENCHMARK(suppressed_userlib)->Name("suppressed/userlib");
BENCHMARK(suppressed_spdlog)->Name("suppressed/spdlog");
BENCHMARK(suppressed_spdlog_logger)->Name("suppressed/spdlog-logger");
BENCHMARK(suppressed_limit)->Name("suppressed/limit");
BENCHMARK_CAPTURE(console_userlib, , true)->Name("console/flushed/userlib");
BENCHMARK_CAPTURE(console_spdlog, , true)->Name("console/flushed/spdlog");
BENCHMARK(console_limit)->Name("console/flushed/limit");
BENCHMARK_CAPTURE(console_userlib, , false)->Name("console/buffered/userlib");
BENCHMARK_CAPTURE(console_spdlog, , false)->Name("console/buffered/spdlog");

}  // namespace
