#include "phoned/lines.h"

#include <algorithm>

#include "nuv_addressmanager.h"
#include "nuv_md5.h"
#include "nuv_time.h"
#include "phoned/clock.h"

namespace phoned {

Lines::Lines() {
  NUV_IndexMap_construct(&slot_of_line_, map_store_.data(), static_cast<uint32_t>(map_store_.size()));
  NUV_IndexPool_construct(&slots_, kLineCount);
}

Lines::~Lines() {
  for (size_t line = 0; line < kLineCount; ++line) {
    hang_up(static_cast<uint8_t>(line));
  }
  NUV_IndexPool_destruct(&slots_);
  NUV_IndexMap_destruct(&slot_of_line_);
}

Call* Lines::find(uint8_t line) {
  const uint32_t entry = NUV_IndexMap_find(&slot_of_line_, line);
  if (entry == NUV_IndexMap_end(&slot_of_line_)) {
    return nullptr;
  }
  return &calls_[NUV_IndexMap_get(&slot_of_line_, entry)->m_uValue];
}

// There are as many slots and call numbers as lines, so a line that has none always finds some.
Call& Lines::lift(uint8_t line) {
  const uint32_t slot = NUV_IndexPool_occupy(&slots_);
  NUV_IndexMap_insert(&slot_of_line_, line, slot);
  calls_[slot] = Call{};
  calls_[slot].number = NUV_AddressManager_allocate();
  calls_[slot].reference = NUV_MD5_GetRandomValue();
  return calls_[slot];
}

void Lines::hang_up(uint8_t line) {
  const uint32_t entry = NUV_IndexMap_find(&slot_of_line_, line);
  if (entry == NUV_IndexMap_end(&slot_of_line_)) {
    return;
  }
  const uint32_t slot = NUV_IndexMap_get(&slot_of_line_, entry)->m_uValue;
  NUV_AddressManager_deallocate(calls_[slot].number);
  NUV_IndexPool_release(&slots_, slot);
  NUV_IndexMap_remove(&slot_of_line_, entry);
}

template <typename Function>
void Lines::for_each_call(Function function) const {
  for (uint32_t entry = NUV_IndexMap_begin(&slot_of_line_); entry != NUV_IndexMap_end(&slot_of_line_);
       entry = NUV_IndexMap_next(&slot_of_line_, entry)) {
    const IndexMapPair* pair = NUV_IndexMap_get(&slot_of_line_, entry);
    function(static_cast<uint8_t>(pair->m_iKey), calls_[pair->m_uValue]);
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
