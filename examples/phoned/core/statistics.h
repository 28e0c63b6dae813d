// What phoned has done since it started.
#ifndef EXAMPLES_PHONED_CORE_STATISTICS_H
#define EXAMPLES_PHONED_CORE_STATISTICS_H

#include <cstdint>

namespace phoned {

struct Statistics {
  uint64_t datagrams = 0;  // taken, whatever they held
  uint64_t complete = 0;   // numbers decided, by digits and by time
  uint64_t rejected = 0;   // the same
  uint64_t timeouts = 0;   // how often time has decided
  uint64_t errors = 0;     // datagrams that changed nothing

  bool operator==(const Statistics&) const = default;
};

// What got no answer, and is no datagram above.
struct Unanswered {
  uint64_t strangers = 0;  // from outside of the network that is allowed
  uint64_t answers = 0;    // which looked like answers themselves
  uint64_t empty = 0;
  uint64_t lost = 0;  // questions or answers that the system refused to move through a pipe

  bool operator==(const Unanswered&) const = default;
};

}  // namespace phoned

#endif
