// When a reactor polls before it waits.
#ifndef USERLIB_SOURCE_LOOP_POLL_FIRST_H
#define USERLIB_SOURCE_LOOP_POLL_FIRST_H

#include <algorithm>

#include <stdint.h>

#include "nuv_select.h"

namespace nuv {

// A select() that may sleep queues up at every descriptor on its way to the one that is ready, which costs several
// times as much as a poll of them all. So while events come in faster than they are served, the reactor polls first. An
// empty poll has its price, too: after one, a streak of cycles with events is needed before the next, and twice as long
// a one after each further empty poll. A daemon that mostly sleeps comes to one poll in a thousand events.
//
// The policy is about one reactor of the process, the one that had the last events. Another one takes over with its first.
// Other threads may have reactors of their own: the fields are read and written in one piece each.
class PollFirstPolicy {
 public:
  bool belongs_to(const Select& reactor) const { return load(reactor_) == &reactor; }

  void reset(const Select* reactor) {
    store(reactor_, reactor);
    store(streak_, 0U);
    store(threshold_, kFirstThreshold);
  }

  bool polls_first(const Select& reactor) const { return belongs_to(reactor) && load(streak_) >= load(threshold_); }

  void note_poll(bool is_empty) {
    if (is_empty) {
      store(streak_, 0U);
      store(threshold_, std::min(2 * load(threshold_), kHighestThreshold));
    } else {
      store(threshold_, 1U);
    }
  }

  void note_cycle(const Select& reactor, bool has_events) {
    if (!belongs_to(reactor)) {
      if (!has_events) {
        return;
      }
      reset(&reactor);
    }
    store(streak_, has_events ? std::min(load(streak_) + 1, kHighestThreshold) : 0U);
  }

 private:
  static constexpr uint32_t kFirstThreshold = 16;
  static constexpr uint32_t kHighestThreshold = 1024;

  template <typename T>
  static T load(const T& shared) {
    return __atomic_load_n(&shared, __ATOMIC_RELAXED);
  }

  template <typename T>
  static void store(T& shared, T value) {
    __atomic_store_n(&shared, value, __ATOMIC_RELAXED);
  }

  const Select* reactor_ = nullptr;
  uint32_t streak_ = 0;  // cycles with events since the last cycle without, or the last empty poll
  uint32_t threshold_ = kFirstThreshold;
};

inline constinit PollFirstPolicy g_poll_first;

}  // namespace nuv

#endif
