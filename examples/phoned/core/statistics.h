// What phoned has done since it started.
#ifndef EXAMPLES_PHONED_CORE_STATISTICS_H
#define EXAMPLES_PHONED_CORE_STATISTICS_H

#include <cstdint>
#include <string>
#include <tuple>

#include "userlib.hpp"

namespace phoned {

struct Statistics {
  uint64_t datagrams = 0;  // accepted, whatever they held
  uint64_t complete = 0;   // numbers decided, by digits and by time
  uint64_t rejected = 0;   // the same
  uint64_t timeouts = 0;   // decisions by time
  uint64_t errors = 0;     // datagrams that changed nothing
  // Datagrams that are not accepted:
  uint64_t strangers = 0;  // from outside of --allow
  uint64_t answers = 0;    // look like answers themselves
  uint64_t empty = 0;
  uint64_t lost = 0;  // questions or answers that could not be moved through a pipe
  // Answers that did not fit into an operator's socket or FIFO:
  uint64_t cut = 0;

  bool operator==(const Statistics&) const = default;
};

// The first line of the report, and each other line with a count that has changed.
inline std::string report(const Statistics& counts, const Statistics& before) {
  const auto text = [](uint64_t count) { return std::to_string(count); };
  const auto unanswered = [](const Statistics& s) { return std::tie(s.strangers, s.answers, s.empty, s.lost); };
  std::string lines = "phoned: datagrams " + text(counts.datagrams) + ", complete " + text(counts.complete) +
                      ", rejected " + text(counts.rejected) + ", by time " + text(counts.timeouts) + ", errors " +
                      text(counts.errors) + "\n";
  if (unanswered(counts) != unanswered(before)) {
    lines += "phoned: not answered: " + text(counts.strangers) + " from strangers, " + text(counts.answers) +
             " that were answers, " + text(counts.empty) + " empty, " + text(counts.lost) + " lost\n";
  }
  if (counts.cut != before.cut) {
    lines += "phoned: operators: " + text(counts.cut) + " answers cut\n";
  }
  return lines;
}

inline std::string describe(const userlib::MemoryFigures& figures) {
  return std::to_string(figures.blocks) + " blocks of " + std::to_string(figures.bytes) + " bytes in use, " +
         std::to_string(figures.peak_bytes) + " bytes at most, " + std::to_string(figures.allocations) + " allocations";
}

}  // namespace phoned

#endif
