#include "phoned/core/lines.h"

#include <algorithm>

#include "nuv_addressmanager.h"
#include "nuv_md5.h"
#include "phoned/core/clock.h"

namespace phoned {

Lines::~Lines() {
  for (size_t line = 0; line < kLineCount; ++line) {
    hang_up(static_cast<uint8_t>(line));
  }
}

Call* Lines::find(uint8_t line) {
  const IndexMapPair* pair = slot_of_line_.find(line);
  return pair != nullptr ? &calls_[pair->m_uValue] : nullptr;
}

// There are as many slots and call numbers as lines, so they do not run out.
Call& Lines::lift(uint8_t line) {
  const uint32_t slot = slots_.occupy();
  slot_of_line_.insert(line, slot);
  calls_[slot] = Call();
  calls_[slot].number = NUV_AddressManager_allocate();
  calls_[slot].reference = NUV_MD5_GetRandomValue();
  return calls_[slot];
}

void Lines::hang_up(uint8_t line) {
  if (const Call* call = find(line)) {
    NUV_AddressManager_deallocate(call->number);
    slots_.release(slot_of_line_.at(line));
    slot_of_line_.remove(line);
  }
}

std::optional<timeval> Lines::next_deadline() const {
  std::optional<timeval> first;
  for (const IndexMapPair& pair : slot_of_line_) {
    const auto& deadline = calls_[pair.m_uValue].deadline;
    if (deadline && (!first || is_reached(*deadline, *first))) {
      first = deadline;
    }
  }
  return first;
}

std::vector<uint8_t> Lines::overdue(const timeval& now) const {
  std::vector<uint8_t> lines;
  for (const IndexMapPair& pair : slot_of_line_) {
    const auto& deadline = calls_[pair.m_uValue].deadline;
    if (deadline && is_reached(*deadline, now)) {
      lines.push_back(static_cast<uint8_t>(pair.m_iKey));
    }
  }
  std::ranges::sort(lines);
  return lines;
}

}  // namespace phoned
