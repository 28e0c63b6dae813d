#include "phoned/core/lines.h"

#include <algorithm>
#include <utility>

#include "nuv_addressmanager.h"
#include "nuv_md5.h"
#include "nuv_time.h"
#include "phoned/core/clock.h"

namespace phoned {

Lines::~Lines() {
  for (size_t line = 0; line < kLineCount; ++line) {
    hang_up(static_cast<uint8_t>(line));
  }
}

const Call* Lines::find(uint8_t line) const {
  const IndexMapPair* pair = slot_of_line_.find(line);
  return pair != nullptr ? &calls_[pair->m_uValue] : nullptr;
}

Call* Lines::find(uint8_t line) {
  return const_cast<Call*>(std::as_const(*this).find(line));
}

// There are as many slots and call numbers as lines, so a line that has none always finds some.
Call& Lines::lift(uint8_t line) {
  const uint32_t slot = slots_.occupy();
  slot_of_line_.insert(line, slot);
  calls_[slot] = Call{};
  calls_[slot].number = NUV_AddressManager_allocate();
  calls_[slot].reference = NUV_MD5_GetRandomValue();
  return calls_[slot];
}

void Lines::hang_up(uint8_t line) {
  const IndexMapPair* pair = slot_of_line_.find(line);
  if (pair == nullptr) {
    return;
  }
  NUV_AddressManager_deallocate(calls_[pair->m_uValue].number);
  slots_.release(pair->m_uValue);
  slot_of_line_.remove(line);
}

template <typename Function>
void Lines::for_each_call(Function function) const {
  for (const IndexMapPair& pair : slot_of_line_) {
    function(static_cast<uint8_t>(pair.m_iKey), calls_[pair.m_uValue]);
  }
}

// All calls are looked through faster than any order among them is kept.
std::optional<timeval> Lines::next_deadline() const {
  std::optional<timeval> first;
  for_each_call([&first](uint8_t, const Call& call) {
    if (call.deadline && (!first || NUV_timeval_cmp(&*call.deadline, &*first) < 0)) {
      first = call.deadline;
    }
  });
  return first;
}

std::vector<uint8_t> Lines::overdue(const timeval& now) const {
  std::vector<uint8_t> lines;
  for_each_call([&lines, &now](uint8_t line, const Call& call) {
    if (call.deadline && is_reached(*call.deadline, now)) {
      lines.push_back(line);
    }
  });
  std::sort(lines.begin(), lines.end());
  return lines;
}

}  // namespace phoned
