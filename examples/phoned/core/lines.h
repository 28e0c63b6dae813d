// The 256 telephone lines: what each is doing, and until when it may.
//
// A line that is off the hook has a call: a slot in an array, taken from a pool of free ones, a unique call number, and a
// random reference. A map leads from the line to the slot.
#ifndef EXAMPLES_PHONED_CORE_LINES_H
#define EXAMPLES_PHONED_CORE_LINES_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <netinet/in.h>

#include "nuv_addressmanager.h"
#include "nuv_md5.h"
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
  ~Lines() {
    for (size_t line = 0; line < kLineCount; ++line) {
      hang_up(static_cast<uint8_t>(line));
    }
  }

  // The call of a line, or null while it is on the hook.
  Call* find(uint8_t line) {
    const IndexMapPair* pair = slot_of_line_.find(line);
    return pair != nullptr ? &calls_[pair->m_uValue] : nullptr;
  }
  const Call* find(uint8_t line) const { return const_cast<Lines*>(this)->find(line); }

  // Gives a line that is on the hook a call. There are as many slots and call numbers as lines, so they do not run out.
  Call& lift(uint8_t line) {
    const uint32_t slot = slots_.occupy();
    slot_of_line_.insert(line, slot);
    calls_[slot] = Call();
    calls_[slot].number = NUV_AddressManager_allocate();
    calls_[slot].reference = NUV_MD5_GetRandomValue();
    return calls_[slot];
  }

  // Ends the call of a line, if it has one.
  void hang_up(uint8_t line) {
    if (const Call* call = find(line)) {
      NUV_AddressManager_deallocate(call->number);
      slots_.release(slot_of_line_.at(line));
      slot_of_line_.remove(line);
    }
  }

  // The number of lines off the hook.
  uint32_t busy() const { return slot_of_line_.size(); }

  // The earliest deadline, if any line has one.
  std::optional<timeval> next_deadline() const {
    std::optional<timeval> first;
    for (const IndexMapPair& pair : slot_of_line_) {
      const auto& deadline = calls_[pair.m_uValue].deadline;
      if (deadline && (!first || userlib::is_reached(*deadline, *first))) {
        first = deadline;
      }
    }
    return first;
  }

  // The numbers of the lines whose deadline is reached, in ascending order.
  std::vector<uint8_t> overdue(const timeval& now) const {
    std::vector<uint8_t> lines;
    for (const IndexMapPair& pair : slot_of_line_) {
      const auto& deadline = calls_[pair.m_uValue].deadline;
      if (deadline && userlib::is_reached(*deadline, now)) {
        lines.push_back(static_cast<uint8_t>(pair.m_iKey));
      }
    }
    std::ranges::sort(lines);
    return lines;
  }

 private:
  userlib::IndexMap<kLineCount> slot_of_line_;
  userlib::IndexPool slots_{kLineCount};
  std::array<Call, kLineCount> calls_;
};

}  // namespace phoned

#endif
