// The 256 telephone lines: what each is doing, and until when it may.
#ifndef EXAMPLES_PHONED_LINES_H
#define EXAMPLES_PHONED_LINES_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <netinet/in.h>
#include <sys/time.h>

#include "phoned/protocol.h"

namespace phoned {

struct Line {
  enum class State {
    kOnHook,      // nothing happens before "offhook"
    kCollecting,  // digits are taken
    kDecided      // complete or rejected: digits are refused until "onhook"
  };

  State state = State::kOnHook;
  std::string digits;               // dialled so far
  sockaddr_in peer = {};            // who dialled last, and hears the outcome when time runs out
  std::optional<timeval> deadline;  // monotonic time at which the inter-digit time runs out; only while collecting
};

class Lines {
 public:
  Line& operator[](uint8_t number) { return lines_[number]; }
  const Line& operator[](uint8_t number) const { return lines_[number]; }

  // The deadline that comes first, if any line has one. 256 lines are looked through faster than any order among them
  // is kept.
  std::optional<timeval> next_deadline() const;

  // The numbers of the lines whose deadline is reached, in ascending order.
  std::vector<uint8_t> overdue(const timeval& now) const;

 private:
  std::array<Line, kLineCount> lines_;
};

}  // namespace phoned

#endif
