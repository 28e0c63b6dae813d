// A simple set of timers, and scripts: what the callbacks of timers and receivers do, the same in the model and in the
// library.
#ifndef TESTS_MODELS_TIMER_MODEL_H
#define TESTS_MODELS_TIMER_MODEL_H

#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace fuzz {

// Times are in microseconds. If a timeval has fewer bits, its sums wrap earlier than the model's.
constexpr bool kTimesAreComparable = sizeof(timeval::tv_sec) == sizeof(int64_t);

inline int64_t microseconds(const timeval& time) {
  return int64_t{time.tv_sec} * 1000000 + time.tv_usec;
}

inline timeval to_timeval(int64_t time) {
  const int64_t rest = ((time % 1000000) + 1000000) % 1000000;
  return {static_cast<time_t>((time - rest) / 1000000), static_cast<suseconds_t>(rest)};
}

// The bits of a callback's second argument say what it does.
class Script {
 public:
  explicit Script(uint32_t bits) : bits_(bits) {}

  uint32_t action() const { return bits_ & 0xF; }
  int32_t result() const { return (bits_ >> 4 & 3) != 0 ? 1 : 0; }
  bool arms_again() const { return (bits_ >> 6 & 3) != 0; }
  uint8_t first() const { return static_cast<uint8_t>(bits_ >> 8); }
  uint8_t second() const { return static_cast<uint8_t>(bits_ >> 16); }
  uint8_t third() const { return static_cast<uint8_t>(bits_ >> 24); }

  // The new time of a timer that rearms itself, or the time of one that the script adds.
  int64_t time() const { return (bits_ >> 6 & 3) == 3 ? 0 : int64_t{third()} * 50000; }

  // The script of a timer or receiver that this script adds.
  uint32_t child() const { return bits_ * 2654435761U + 12345; }

 private:
  uint32_t bits_;
};

struct TimerModel {
  static constexpr uint32_t kCapacity = 80;
  static constexpr uint32_t kUnlimited = 0xFFFFFFFF;
  static constexpr uint32_t kMostCallbacks = 1024;  // in one pass

  struct Timer {
    int64_t left = 0;
    uint32_t script = 0;
    bool fires_once = false;
    bool has_callback = true;
    uint32_t id = 0;
    bool is_removed = false;
    uint64_t serial = 0;  // unlike an id, never reused
  };

  std::array<Timer, kCapacity> slots;
  uint32_t count = 0;
  uint64_t added = 0;
  bool is_processing = false;
  uint32_t refusals = 0;  // operations that violated a contract

  bool holds(uint32_t id) const {
    return std::any_of(slots.begin(), slots.begin() + count, [id](const Timer& timer) { return timer.id == id; });
  }

  uint32_t add(int64_t time, uint32_t script, bool fires_once, bool has_callback) {
    refusals += count == kCapacity || !has_callback ? 1 : 0;
    uint32_t id = 0;
    while (holds(id)) {
      ++id;
    }
    if (count < kCapacity) {
      slots[count++] = {time, script, fires_once, has_callback, id, false, ++added};
    }
    return id;
  }

  Timer* find(uint32_t id) {
    const auto end = slots.begin() + count;
    const auto found = std::find_if(slots.begin(), end, [id](const Timer& timer) { return timer.id == id; });
    return found != end ? &*found : nullptr;
  }

  void update(uint32_t id, int64_t time) {
    if (Timer* timer = find(id)) {
      timer->left = time;
    }
  }

  void remove(uint32_t id) {
    refusals += count == kCapacity ? 1 : 0;
    Timer* timer = find(id);
    if (timer != nullptr && is_processing) {
      timer->is_removed = true;
    } else if (timer != nullptr) {
      *timer = slots[--count];
    }
  }

  void purge() {
    for (uint32_t i = 0; i < count;) {
      if (slots[i].is_removed) {
        slots[i] = slots[--count];
      } else {
        ++i;
      }
    }
  }

  // Lowers the bound to the time of the next timer. Returns false if there is none.
  bool nearest(int64_t& bound) const {
    for (uint32_t i = 0; i < count; ++i) {
      bound = std::min(bound, slots[i].left);
    }
    return count > 0;
  }

  // The callback gets the timer's remaining time, which it may change, and its script; it returns the timer's result.
  template <typename Callback>
  uint32_t process(uint32_t budget, int64_t elapsed, Callback callback) {
    const uint32_t most = std::min(budget, kMostCallbacks);
    uint32_t fired = 0;
    is_processing = true;
    for (uint32_t i = 0; i < count;) {
      Timer& timer = slots[i];
      timer.left -= elapsed;
      if (timer.is_removed || fired == most || timer.left > 0) {
        ++i;
        continue;
      }
      ++fired;
      const Timer called = timer;
      const int32_t result = called.has_callback ? callback(timer.left, called.script) : 0;
      i += stays_after(called, result) ? 1 : 0;
    }
    is_processing = false;
    return fired;
  }

 private:
  // The callback may have purged: its timer may be in another slot or removed, and its id may belong to another timer.
  bool stays_after(const Timer& called, int32_t result) {
    Timer* const timer = find(called.id);
    if (timer == nullptr || (timer->serial != called.serial && !timer->is_removed)) {
      return result != 0;
    }
    const bool stays = result != 0 && !timer->fires_once;
    if (!stays) {
      *timer = slots[--count];
    }
    return stays;
  }
};

}  // namespace fuzz

#endif
