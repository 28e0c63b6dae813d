// What does the library cost a daemon before it has done anything?
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>

namespace {

struct Program {
  const char* side;
  const char* path;
};

constexpr Program kPrograms[] = {
    {"userlib", STARTUP_PROGRAMS "/idle_with_userlib"},
    {"without_certificates", STARTUP_PROGRAMS "/idle_without_certificates"},
    {"limit", STARTUP_PROGRAMS "/idle_with_nothing"},
};

bool runs(const char* path) {
  const std::array<const char*, 2> arguments = {path, nullptr};
  pid_t child = 0;
  int status = -1;
  return posix_spawn(&child, path, nullptr, nullptr, const_cast<char**>(arguments.data()), environ) == 0 &&
         waitpid(child, &status, 0) == child && status == 0;
}

// The memory of the idle program, in KiB: in total, and private.
struct Footprint {
  double resident = 0;
  double own = 0;
};

Footprint footprint_of(const char* path) {
  Footprint footprint;
  FILE* report = popen((std::string(path) + " memory").c_str(), "r");
  std::array<char, 128> line = {};
  while (report != nullptr && std::fgets(line.data(), line.size(), report) != nullptr) {
    long kib = 0;
    if (std::sscanf(line.data(), "Rss: %ld", &kib) == 1) {
      footprint.resident = static_cast<double>(kib);
    } else if (std::sscanf(line.data(), "Private_Dirty: %ld", &kib) == 1) {
      footprint.own = static_cast<double>(kib);
    }
  }
  if (report != nullptr) {
    pclose(report);
  }
  return footprint;
}

void run(benchmark::State& state, const char* path) {
  for ([[maybe_unused]] auto _ : state) {
    if (!runs(path)) {
      state.SkipWithError("the program failed");
      return;
    }
  }
  const Footprint footprint = footprint_of(path);
  state.counters["resident_kib"] = footprint.resident;
  state.counters["own_kib"] = footprint.own;
}

[[maybe_unused]] const bool kRegistered = [] {
  for (const Program& program : kPrograms) {
    const std::string name = std::string("start_and_exit/") + program.side;
    benchmark::RegisterBenchmark(name.c_str(), run, program.path)->UseRealTime()->Unit(benchmark::kMicrosecond);
  }
  return true;
}();

}  // namespace
