// The 256 telephone lines: what each is doing, and until when it may.
//
// A line that is off the hook has a call: a slot in an array, taken from a pool of free ones, a unique call number, and a
// random reference. A map leads from the line to the slot.
#ifndef EXAMPLES_PHONED_CORE_LINES_H
#define EXAMPLES_PHONED_CORE_LINES_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <netinet/in.h>
#include <sys/time.h>

#include "phoned/core/protocol.h"
#include "userlib.hpp"

namespace phoned {

struct Call {
  uint32_t number = 0;              // 0 to 255, unique
  uint32_t reference = 0;           // random
  bool is_decided = false;          // digits are refused until "onhook"
  std::string digits;               // dialled so far
  sockaddr_in card = {};            // dialled last, and gets the outcome when time runs out
  std::optional<timeval> deadline;  // end of the inter-digit time on the monotonic clock; none before the first digit
};

class Lines : userlib::Pinned {
 public:
  ~Lines();

  // The call of a line, or null while it is on the hook.
  Call* find(uint8_t line);
  const Call* find(uint8_t line) const { return const_cast<Lines*>(this)->find(line); }

  // Gives a line that is on the hook a call.
  Call& lift(uint8_t line);

  // Ends the call of a line, if it has one.
  void hang_up(uint8_t line);

  // The number of lines off the hook.
  uint32_t busy() const { return slot_of_line_.size(); }

  // The earliest deadline, if any line has one.
  std::optional<timeval> next_deadline() const;

  // The numbers of the lines whose deadline is reached, in ascending order.
  std::vector<uint8_t> overdue(const timeval& now) const;

 private:
  userlib::IndexMap<kLineCount> slot_of_line_;
  userlib::IndexPool slots_{kLineCount};
  std::array<Call, kLineCount> calls_;
};

}  // namespace phoned

#endif
