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

}  // namespace phoned

#endif
