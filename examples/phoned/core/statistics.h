// What phoned has done since it started, and how that is told.
#ifndef EXAMPLES_PHONED_CORE_STATISTICS_H
#define EXAMPLES_PHONED_CORE_STATISTICS_H

#include <cstdint>
#include <string>

namespace phoned {

struct Statistics {
  uint64_t datagrams = 0;  // taken, whatever they held
  uint64_t complete = 0;   // numbers decided, by digits and by time
  uint64_t rejected = 0;   // the same
  uint64_t timeouts = 0;   // how often time has decided
  uint64_t errors = 0;     // datagrams that changed nothing
  // Datagrams that got no answer, and are none of those above.
  uint64_t strangers = 0;  // from outside of the network that is allowed
  uint64_t answers = 0;    // which looked like answers themselves
  uint64_t empty = 0;
  uint64_t lost = 0;  // questions or answers that the system refused to move through a pipe
  // Answers to operators that did not fit into their socket or FIFO.
  uint64_t cut = 0;

  bool operator==(const Statistics&) const = default;
};

// The report: texts, each with the count behind it. One without a count ends a line.
struct ReportPiece {
  const char* text;
  uint64_t Statistics::*count;
};
inline constexpr ReportPiece kReport[] = {
    {"phoned: datagrams ", &Statistics::datagrams},
    {", complete ", &Statistics::complete},
    {", rejected ", &Statistics::rejected},
    {", by time ", &Statistics::timeouts},
    {", errors ", &Statistics::errors},
    {"\n", nullptr},
    {"phoned: not answered: ", &Statistics::strangers},
    {" from strangers, ", &Statistics::answers},
    {" that were answers, ", &Statistics::empty},
    {" empty, ", &Statistics::lost},
    {" lost\n", nullptr},
    {"phoned: operators: ", &Statistics::cut},
    {" answers cut\n", nullptr},
};

// The first line of the report, and of the others those that have changed since they were told.
inline std::string report(const Statistics& counts, const Statistics& told) {
  std::string text;
  std::string line;
  bool is_wanted = true;
  for (const ReportPiece& piece : kReport) {
    line += piece.text;
    if (piece.count != nullptr) {
      line += std::to_string(counts.*piece.count);
      is_wanted = is_wanted || counts.*piece.count != told.*piece.count;
    } else {
      text += is_wanted ? line : "";
      line.clear();
      is_wanted = false;
    }
  }
  return text;
}

}  // namespace phoned

#endif
