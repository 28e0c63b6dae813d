// What does a command cost compared with the bare start of its shell, and does the size of the daemon matter?
#include <benchmark/benchmark.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "nuv_execute.h"

namespace {

constexpr char kCommand[] = "true";
constexpr size_t kMebibyte = size_t{1} << 20;
constexpr int kPairs = 50;  // of commands and bare starts per repetition

// Resident memory of the daemon: every page has been written to.
class Resident {
 public:
  explicit Resident(size_t size)
      : address_(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)), size_(size) {
    if (address_ == MAP_FAILED) {
      return;
    }
    // Small pages, as in a grown heap. A fork copies the whole page table.
    madvise(address_, size_, MADV_NOHUGEPAGE);
    std::fill_n(static_cast<volatile char*>(address_), size_, '\1');
  }
  ~Resident() {
    if (is_there()) {
      munmap(address_, size_);
    }
  }
  Resident(const Resident&) = delete;
  Resident& operator=(const Resident&) = delete;

  bool is_there() const { return address_ != MAP_FAILED; }

 private:
  void* address_;
  size_t size_;
};

// Sets the limit of descriptors to the wanted number, or as high as the machine allows.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t wanted) {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit raised = {wanted, std::max(wanted, before_.rlim_max)};
    if (setrlimit(RLIMIT_NOFILE, &raised) != 0) {
      const rlimit most = {std::min(wanted, before_.rlim_max), before_.rlim_max};
      setrlimit(RLIMIT_NOFILE, &most);
    }
  }
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

  static rlim_t now() {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur;
  }

 private:
  rlimit before_ = {};
};

struct Daemon {
  const char* name;
  size_t memory;
  rlim_t descriptors;
};

constexpr Daemon kDaemons[] = {
    {"2_mib/1024_descriptors", 2 * kMebibyte, 1024},
    {"2_mib/1048576_descriptors", 2 * kMebibyte, 1048576},
    {"256_mib/1024_descriptors", 256 * kMebibyte, 1024},
    {"256_mib/1048576_descriptors", 256 * kMebibyte, 1048576},
};

// Each of the following returns the exit status of the command, or -1.

int with_userlib() {
  std::array<char, 256> output = {};
  return NUV_Execute_Command(kCommand, output.data(), static_cast<int32_t>(output.size()));
}

// The least work to get a shell's output: no null device, no closing of descriptors, no protection from signals while
// the child runs in the parent's memory.
int with_vfork() {
  std::array<int, 2> ends = {};
  if (pipe(ends.data()) != 0) {
    return -1;
  }
  const pid_t child = vfork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execl("/bin/sh", "sh", "-c", kCommand, static_cast<char*>(nullptr));
    _exit(127);
  }
  close(ends[1]);
  std::array<char, 256> output = {};
  while (read(ends[0], output.data(), output.size()) > 0) {
  }
  close(ends[0]);
  int status = -1;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int with_popen() {
  FILE* stream = popen(kCommand, "r");
  if (stream == nullptr) {
    return -1;
  }
  std::array<char, 256> output = {};
  while (std::fread(output.data(), 1, output.size(), stream) > 0) {
  }
  const int status = pclose(stream);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

using Execute = int (*)();

// In microseconds; negative if the command failed.
double time_of(Execute execute) {
  const auto start = std::chrono::steady_clock::now();
  if (execute() != 0) {
    return -1;
  }
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Compares every command with a bare start right after it: the load of the machine changes from second to second, which
// would distort a comparison of sides that run one after the other.
void run(benchmark::State& state, const Daemon& daemon, Execute execute) {
  const DescriptorLimit limit(daemon.descriptors);
  const Resident memory(daemon.memory);
  if (!memory.is_there()) {
    state.SkipWithError("there is not enough memory");
    return;
  }
  std::vector<double> ratios;
  for ([[maybe_unused]] auto _ : state) {
    const double time = time_of(execute);
    const double bare = time_of(with_vfork);
    if (time < 0 || bare < 0) {
      state.SkipWithError("the command failed");
      return;
    }
    state.SetIterationTime(time / 1e6);
    ratios.push_back(time / bare);
  }
  state.counters["bare_starts"] = median(ratios);
  state.counters["descriptors"] = static_cast<double>(DescriptorLimit::now());
}

void add(const Daemon& daemon, const char* side, const Daemon& measured, Execute execute) {
  const std::string name = std::string(daemon.name) + "/" + side;
  benchmark::RegisterBenchmark(name.c_str(), run, measured, execute)
      ->UseManualTime()
      ->Iterations(kPairs)
      ->Unit(benchmark::kMicrosecond);
}

[[maybe_unused]] const bool kRegistered = [] {
  for (const Daemon& daemon : kDaemons) {
    add(daemon, "userlib", daemon, with_userlib);
    add(daemon, "limit", daemon, with_vfork);
    add(daemon, "popen", daemon, with_popen);
    // Our own call from the smallest daemon, compared with that from each of the others.
    if (&daemon != &kDaemons[0]) {
      add(daemon, "smallest", kDaemons[0], with_userlib);
    }
  }
  return true;
}();

}  // namespace
