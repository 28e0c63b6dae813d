/** @file userlib_loop.hpp
 *
 * Part of userlib.hpp: the main loop and what it calls: Reactor, Watch, Timer.
 */
#ifndef USERLIB_LOOP_HPP
#define USERLIB_LOOP_HPP

#include <chrono>
#include <cstdint>

#include <sys/time.h>

#include "nuv_select.h"
#include "nuv_time.h"
#include "nuv_timer.h"
#include "userlib_core.hpp"

namespace userlib {

class Reactor;

/// Timer calls its callable when its time has run out: once, or again and again.
///
/// A Reactor takes 79 Timers. The library's set has room for one more, but a set that is full takes none out and changes
/// none, so that place stays free. Where others have filled it, a Timer cannot be set to another time (start says so),
/// and one that is stopped or dies leaves a place behind that is taken back as soon as that can be done, at the latest
/// when its time runs out; its callable is not called any more in any case.
class Timer : Pinned {
 public:
  /// A timer that is not running. The callable takes no argument, or this Timer.
  template <class Function>
  Timer(Reactor& loop, Function function) : loop_(&loop), call_(function) {}
  ~Timer() { stop(); }

  /// start lets the callable be called once, when the time has run out; a Timer that is running starts anew. From inside
  /// its own callable a Timer is armed again without losing its place. Returns false, with everything as it was, if
  /// there is no room in the Reactor.
  ///
  /// The wait counts from now, wherever start is called; while the clock cannot be read, from the end of the last turn.
  [[nodiscard]] bool start(timeval wait);
  template <class Rep, class Period>
  [[nodiscard]] bool start(std::chrono::duration<Rep, Period> wait) {
    return start(to_timeval(wait));
  }

  /// start_every lets the callable be called again and again, until the Timer is stopped or dies, or its callable starts
  /// it otherwise. Of a period that is zero or negative every turn makes one call.
  [[nodiscard]] bool start_every(timeval period);
  template <class Rep, class Period>
  [[nodiscard]] bool start_every(std::chrono::duration<Rep, Period> period) {
    return start_every(to_timeval(period));
  }

  /// stop lets the callable not be called any more. A Timer that is not running is left alone.
  void stop();

  /// is_running tells whether the callable is going to be called. Inside a callable that is called once it is not,
  /// unless it has started the Timer again.
  bool is_running() const { return slot_ != kNoSlot && !is_over_; }

 private:
  friend class Reactor;
  static constexpr uint32_t kNoSlot = NUV_TIMEOUTSET_SIZE;

  Reactor* loop_;  // null when it has gone
  uint32_t slot_ = kNoSlot;
  bool is_periodic_ = false;
  bool is_over_ = false;  // called for the last time, just now
  timeval period_ = {};
  Callback<Timer&> call_;
};

/// Watch calls its callable whenever a descriptor is ready.
///
/// A Reactor has one Watch for a descriptor, a kind of readiness and a priority: the last one that was started counts,
/// and the one before falls silent. Functions of C must not register or remove a receiver for the same.
///
/// The descriptor stays the caller's, who may close it as soon as the Watch is stopped. Inside a callable any Watch may
/// be stopped, also one whose descriptor is ready in the same turn: it is kept as an empty shell until the turn is over,
/// so that the turn comes to its end.
class Watch : Pinned {
 public:
  /// A watch that is not running. The callable takes no argument, or the descriptor as an int.
  template <class Function>
  Watch(Reactor& loop, Function function) : loop_(&loop), call_(function) {}
  ~Watch() { stop(); }

  /// read and its siblings start watching a descriptor; what was watched before is watched no more. First come the
  /// internal ones, with the daemon's own work, then the external ones; see nuv_select.h. They return false, and the
  /// Watch is stopped, if the descriptor is not one of 0 to 1023, if there is no memory, or if all but one place are
  /// taken.
  [[nodiscard]] bool read(int fd) { return start(kRead, NUV_SELECT_INTERNAL, fd); }
  [[nodiscard]] bool read_external(int fd) { return start(kRead, NUV_SELECT_EXTERNAL, fd); }
  [[nodiscard]] bool write(int fd) { return start(kWrite, NUV_SELECT_INTERNAL, fd); }
  [[nodiscard]] bool write_external(int fd) { return start(kWrite, NUV_SELECT_EXTERNAL, fd); }
  [[nodiscard]] bool except(int fd) { return start(kExcept, NUV_SELECT_INTERNAL, fd); }
  [[nodiscard]] bool except_external(int fd) { return start(kExcept, NUV_SELECT_EXTERNAL, fd); }

  /// stop lets the callable not be called any more. A Watch that is not running is left alone.
  void stop();

  bool is_running() const { return fd_ >= 0; }

  /// fd returns the descriptor that is watched, -1 if there is none.
  int fd() const { return fd_; }

 private:
  friend class Reactor;
  enum Event : uint32_t { kRead, kWrite, kExcept };

  bool start(Event event, uint32_t priority, int fd);

  Reactor* loop_;          // null when it has gone
  Watch* next_ = nullptr;  // of the Reactor's running ones
  int32_t fd_ = -1;        // of a running one
  uint32_t kind_ = 0;      // event and priority in one number
  uint32_t since_ = 0;     // the turn in which it was started
  Callback<int> call_;
};

/// Reactor is the main loop. It must be run with its own process(), which also clears away what callables have stopped.
class Reactor : Pinned {
 public:
  Reactor() { NUV_Select_construct(&record_); }
  ~Reactor() {
    while (watches_ != nullptr) {
      Watch& watch = *watches_;
      unlink(watch);
      watch.loop_ = nullptr;
    }
    for (Slot& slot : slots_) {
      if (slot.owner != nullptr) {
        slot.owner->slot_ = Timer::kNoSlot;
        slot.owner->loop_ = nullptr;
      }
    }
    NUV_Select_destruct(&record_);
  }

  /// process makes one turn of the loop, without a bound on its wait or with one. Returns what NUV_Select_process does.
  int32_t process() { return turn(nullptr); }
  int32_t process(timeval bound) { return turn(&bound); }
  template <class Rep, class Period>
  int32_t process(std::chrono::duration<Rep, Period> bound) {
    return process(to_timeval(bound));
  }

  /// record gives the record to functions of C, which may register receivers and timers of their own with it.
  ::Select& record() { return record_; }

 private:
  friend class Timer;
  friend class Watch;

  static constexpr uint32_t kKinds = 6;
  static constexpr uint32_t kBits = 32;
  static constexpr uint32_t kNoSlot = NUV_TIMEOUTSET_SIZE;

  // What a timer of the record leads to. The record's timer lives in the set, and its owner may die at any time; so the
  // two meet here.
  struct Slot {
    Timer* owner = nullptr;  // null while is_used: nobody waits for it any more
    uint32_t id = 0;         // of the record's timer
    bool is_used = false;
    bool has_due = false;
    timeval due = {};  // on the monotonic clock, of a timer that was started while the timers were served
  };

  int32_t turn(timeval* bound) {
    sweep_watches();
    sweep_timers();
    ++turn_;
    is_turning_ = true;
    const int32_t result = NUV_Select_process(&record_, bound);
    is_turning_ = false;
    settle_timers();
    sweep_watches();
    return result;
  }

  // ---- Timers ----

  bool has_timers() const { return NUV_TimeoutSet_available(&record_.m_oTimeout) == 1; }

  bool start(Timer& timer, const timeval& wait) {
    if (timer.slot_ == kNoSlot) {
      return add(timer, wait);
    }
    if (timer.slot_ == firing_) {
      is_again_ = true;
      again_ = wait;
      timer.is_over_ = false;
    } else if (!has_timers()) {
      return false;
    } else {
      NUV_Timer_update(&record_, slots_[timer.slot_].id, wait);
    }
    note_due(slots_[timer.slot_], wait);
    return true;
  }

  bool add(Timer& timer, const timeval& wait) {
    sweep_timers();
    if (record_.m_oTimeout.m_uCount + 1 >= NUV_TIMEOUTSET_SIZE) {
      return false;
    }
    for (uint32_t i = 0; i < NUV_TIMEOUTSET_SIZE; ++i) {
      if (!slots_[i].is_used) {
        const uint32_t id = NUV_Timer_set(&record_, wait, this, i, on_due);
        if (id >= NUV_TIMEOUTSET_SIZE) {
          NUV_Select_removeTimeout(&record_, id);  // of a set without memory for ids
          return false;
        }
        slots_[i] = {&timer, id, true};
        note_due(slots_[i], wait);
        timer.slot_ = i;
        return true;
      }
    }
    return false;
  }

  // What timers take while they are served ages none of them, so that only the end of that tells how much of a wait is left
  // which has begun there.
  void note_due(Slot& slot, const timeval& wait) {
    timeval due = {};
    slot.has_due = record_.m_oTimeout.m_bProcessing != 0 && nuv_gettimeofday_absolute(&due) == 0;
    if (slot.has_due) {
      NUV_timeval_inc(&due, &wait);
      slot.due = due;
      has_dues_ = true;
    }
  }

  void settle_timers() {
    if (!has_dues_ || !has_timers()) {
      return;
    }
    has_dues_ = false;
    for (Slot& slot : slots_) {
      if (slot.is_used && slot.owner != nullptr && slot.has_due) {
        NUV_timeval_dec(&slot.due, &record_.m_oLastTime);
        NUV_Select_updateTimeout(&record_, slot.id, slot.due);
      }
      slot.has_due = false;
    }
  }

  void stop(Timer& timer) {
    const uint32_t index = timer.slot_;
    slots_[index].owner = nullptr;
    timer.slot_ = kNoSlot;
    timer.is_over_ = false;
    if (index == firing_) {
      is_again_ = false;  // the set takes it out when on_due returns
    } else if (has_timers()) {
      remove(slots_[index]);
    } else {
      has_left_timers_ = true;
    }
  }

  void remove(Slot& slot) {
    NUV_Select_removeTimeout(&record_, slot.id);
    slot.is_used = false;
  }

  // Takes out the timers that could not be while the set was full.
  void sweep_timers() {
    if (!has_left_timers_ || !has_timers()) {
      return;
    }
    has_left_timers_ = false;
    for (uint32_t i = 0; i < NUV_TIMEOUTSET_SIZE; ++i) {
      if (slots_[i].is_used && slots_[i].owner == nullptr && i != firing_) {
        remove(slots_[i]);
      }
    }
  }

  static int32_t on_due(void* self, timeval* time, uint32_t index) {
    Reactor& loop = *static_cast<Reactor*>(self);
    Slot& slot = loop.slots_[index];
    if (slot.owner != nullptr) {
      Timer& timer = *slot.owner;
      loop.firing_ = index;
      slot.has_due = false;
      loop.is_again_ = timer.is_periodic_;
      loop.again_ = timer.period_;
      timer.is_over_ = !timer.is_periodic_;
      // The Timer may go while this runs, and its callable with it.
      const auto call = timer.call_;
      call(timer);
      loop.firing_ = kNoSlot;
    }
    if (slot.owner != nullptr && loop.is_again_) {
      *time = loop.again_;
      return 1;
    }
    if (slot.owner != nullptr) {
      slot.owner->slot_ = kNoSlot;
      slot.owner->is_over_ = false;
    }
    slot = {};
    return 0;
  }

  // ---- Watches ----

  static uint32_t priority_of(uint32_t kind) { return kind % 2; }
  static uint32_t event_of(uint32_t kind) { return kind / 2; }

  ::SelectSet& set_of(uint32_t kind) {
    switch (event_of(kind)) {
      case Watch::kRead:
        return record_.m_oRead[priority_of(kind)];
      case Watch::kWrite:
        return record_.m_oWrite[priority_of(kind)];
      default:
        return record_.m_oExcept[priority_of(kind)];
    }
  }

  bool has_room(uint32_t kind) { return NUV_SelectSet_available(&set_of(kind)) == 1; }

  NUV_SelectRecv* set_receiver(uint32_t kind, int32_t fd) {
    switch (kind) {
      case 2 * Watch::kRead + NUV_SELECT_INTERNAL:
        return NUV_Select_setRead(&record_, fd, this, kind, on_ready);
      case 2 * Watch::kRead + NUV_SELECT_EXTERNAL:
        return NUV_Select_setReadExternal(&record_, fd, this, kind, on_ready);
      case 2 * Watch::kWrite + NUV_SELECT_INTERNAL:
        return NUV_Select_setWrite(&record_, fd, this, kind, on_ready);
      case 2 * Watch::kWrite + NUV_SELECT_EXTERNAL:
        return NUV_Select_setWriteExternal(&record_, fd, this, kind, on_ready);
      case 2 * Watch::kExcept + NUV_SELECT_INTERNAL:
        return NUV_Select_setExcept(&record_, fd, this, kind, on_ready);
      default:
        return NUV_Select_setExceptExternal(&record_, fd, this, kind, on_ready);
    }
  }

  void remove_receiver(uint32_t kind, int32_t fd) {
    switch (event_of(kind)) {
      case Watch::kRead:
        NUV_Select_internalRemoveRead(&record_, priority_of(kind), fd);
        break;
      case Watch::kWrite:
        NUV_Select_internalRemoveWrite(&record_, priority_of(kind), fd);
        break;
      default:
        NUV_Select_internalRemoveExcept(&record_, priority_of(kind), fd);
        break;
    }
  }

  Watch* find(uint32_t kind, int32_t fd) const {
    Watch* watch = watches_;
    while (watch != nullptr && (watch->kind_ != kind || watch->fd_ != fd)) {
      watch = watch->next_;
    }
    return watch;
  }

  bool start(Watch& watch, uint32_t kind, int32_t fd) {
    Watch* const other = find(kind, fd);
    const bool is_known = other != nullptr || is_shell(kind, fd);
    const uint32_t count = set_of(kind).m_uCount + (is_known ? 0 : 1);
    if (count >= NUV_SELECTSET_SIZE || set_receiver(kind, fd) == nullptr) {
      return false;
    }
    if (other != nullptr) {
      unlink(*other);
    }
    shells_[kind][static_cast<uint32_t>(fd) / kBits] &= ~bit_of(fd);
    watch.kind_ = kind;
    watch.fd_ = fd;
    watch.since_ = turn_;
    watch.next_ = watches_;
    watches_ = &watch;
    return true;
  }

  void unlink(Watch& watch) {
    Watch** link = &watches_;
    while (*link != &watch) {
      link = &(*link)->next_;
    }
    *link = watch.next_;
    watch.fd_ = -1;
  }

  void stop(Watch& watch) {
    const uint32_t kind = watch.kind_;
    const int32_t fd = watch.fd_;
    unlink(watch);
    if (is_turning_ || !has_room(kind)) {
      shells_[kind][static_cast<uint32_t>(fd) / kBits] |= bit_of(fd);
      has_shells_ = true;
    } else {
      remove_receiver(kind, fd);
    }
  }

  static uint32_t bit_of(int32_t fd) { return uint32_t{1} << (static_cast<uint32_t>(fd) % kBits); }

  // Whether the set has a receiver for the descriptor that no Watch is behind any more.
  bool is_shell(uint32_t kind, int32_t fd) const {
    return (shells_[kind][static_cast<uint32_t>(fd) / kBits] & bit_of(fd)) != 0;
  }

  // Takes out the receivers that could not be while the turn owed them a call, or while the set was full.
  void sweep_watches() {
    if (!has_shells_) {
      return;
    }
    has_shells_ = false;
    for (uint32_t kind = 0; kind < kKinds; ++kind) {
      for (int32_t fd = 0; fd < NUV_SELECTSET_SIZE; ++fd) {
        if (!is_shell(kind, fd)) {
          continue;
        }
        if (has_room(kind)) {
          remove_receiver(kind, fd);
          shells_[kind][static_cast<uint32_t>(fd) / kBits] &= ~bit_of(fd);
        } else {
          has_shells_ = true;
        }
      }
    }
  }

  static int32_t on_ready(void* self, int32_t fd, uint32_t kind) {
    Reactor& loop = *static_cast<Reactor*>(self);
    Watch* const watch = loop.find(kind, fd);
    // A Watch that was started in this turn has not been waited for: what is ready is its predecessor's descriptor.
    if (watch != nullptr && !(loop.is_turning_ && watch->since_ == loop.turn_)) {
      // The Watch may go while this runs, and its callable with it.
      const auto call = watch->call_;
      call(fd);
    }
    return 0;
  }

  ::Select record_;
  Watch* watches_ = nullptr;  // the running ones
  uint32_t shells_[kKinds][NUV_SELECTSET_SIZE / kBits] = {};
  bool has_shells_ = false;
  bool is_turning_ = false;
  uint32_t turn_ = 0;
  Slot slots_[NUV_TIMEOUTSET_SIZE];
  bool has_left_timers_ = false;
  bool has_dues_ = false;
  uint32_t firing_ = kNoSlot;  // slot of the Timer whose callable runs
  bool is_again_ = false;      // that Timer goes on ...
  timeval again_ = {};         // ... after this time
};

inline bool Timer::start(timeval wait) {
  if (loop_ == nullptr || !loop_->start(*this, wait)) {
    return false;
  }
  is_periodic_ = false;
  return true;
}

inline bool Timer::start_every(timeval period) {
  if (loop_ == nullptr || !loop_->start(*this, period)) {
    return false;
  }
  is_periodic_ = true;
  period_ = period;
  return true;
}

inline void Timer::stop() {
  if (slot_ != kNoSlot) {
    loop_->stop(*this);
  }
}

inline bool Watch::start(Event event, uint32_t priority, int fd) {
  stop();
  return loop_ != nullptr && fd >= 0 && fd < NUV_SELECTSET_SIZE && loop_->start(*this, 2 * event + priority, fd);
}

inline void Watch::stop() {
  if (fd_ >= 0) {
    loop_->stop(*this);
  }
}

}  // namespace userlib

#endif
