/** @file userlib.hpp
 *
 * userlib for daemons in C++: owners of the library's records, and callables as callbacks.
 *
 * The library's records have to be constructed and destructed by hand, and its callbacks are functions that get what
 * they work on as a void pointer. This header, which is all there is to it, lets C++ do both: every class here holds one
 * record, constructs it, destructs it when its own life ends, and offers the record's operations as members under
 * their own names, written in small letters. Timers, watched descriptors and commands of a console call what a program
 * hands over, a lambda for instance, and are taken back when they die:
 *
 *     int main() {
 *       userlib::Reactor loop;
 *       bool is_ending = false;
 *       userlib::Watch input(loop, [&] { is_ending = getchar() == EOF; });
 *       userlib::Timer dots(loop, [] { putchar('.'); });
 *       if (!input.read_external(STDIN_FILENO) || !dots.start_every(std::chrono::seconds(1))) return 1;
 *       while (!is_ending) loop.process();
 *     }
 *
 * What there is:
 *
 *     Reactor, Watch, Timer                       the main loop, and what it calls
 *     Memory, Frame, MessageData, Message         blocks of bytes that change hands
 *     IndexPool, IndexMap<N>                      numbers
 *     Pipe, UdpServer, UdpClient                  ways for bytes between processes
 *     DigitMap                                    dial plans
 *     Console<N>, Command                         operators
 *     Daemon, Tracing                             the process and its traces
 *     Owned<...>                                  any other record with construct and destruct
 *
 * It wants C++17, with or without exceptions and run-time type information, and nothing of the C++ run time: no heap,
 * no virtual function, nothing that throws. What it adds to a program is inline; all else are calls of the C interface,
 * whose headers say what each operation does, requires and reports. Contracts are checked there, not here. record()
 * gives the record itself to the operations that have no member.
 *
 * Rules of life:
 *
 *  - Memory, Frame, MessageData and Message move as their records do, and leave an empty one behind. IndexPool, Pipe,
 *    UdpServer, UdpClient and DigitMap move too, and leave one behind that owns nothing. All others stay where they are
 *    made, because something points to them; they can be members, and live in std::optional or the nodes of a std::map.
 *  - A callable is kept inside its Timer, Watch or Command and may have the size of four pointers. It must be of a kind
 *    that needs no destructor and can be copied as bytes, such as a lambda that captures "this", pointers, references
 *    and numbers; and it must be callable as const, so what it changes lies elsewhere. A callable may destroy or stop
 *    the Timer, Watch or Command that it belongs to, and others, and start new ones; but not the Reactor that is
 *    running.
 *  - Timers and Watches of a Reactor may outlive it: they fall silent. They must not be started again then.
 *  - All of it belongs to one thread, as the library does. A callable must not throw.
 *
 * The classes have the names of the records, in their own namespace. So do not open it as a whole: with "using namespace
 * userlib", Frame is the record as well as its owner.
 */
#ifndef USERLIB_HPP
#define USERLIB_HPP

#if !defined(__cplusplus) || __cplusplus < 201703L
#error "userlib.hpp wants C++17; programs in C take userlib.h"
#endif

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include <netinet/in.h>
#include <sys/time.h>

#include "nuv_console.h"
#include "nuv_daemon.h"
#include "nuv_digitmap.h"
#include "nuv_frame.h"
#include "nuv_indexmap.h"
#include "nuv_indexpool.h"
#include "nuv_memory.h"
#include "nuv_message.h"
#include "nuv_messagedata.h"
#include "nuv_messageheader.h"
#include "nuv_pipe.h"
#include "nuv_select.h"
#include "nuv_sysloglevel.h"
#include "nuv_time.h"
#include "nuv_timer.h"
#include "nuv_udpclient.h"
#include "nuv_udpserver.h"

namespace userlib {

class Reactor;
class Timer;
class Watch;


// ---- Bases ----

/// Something that stays where it is made.
class Pinned {
 public:
  Pinned(const Pinned&) = delete;
  Pinned& operator=(const Pinned&) = delete;

 protected:
  Pinned() = default;
  ~Pinned() = default;
};

/// Owned keeps a record that has no class of its own here, and constructs it without further arguments:
/// `userlib::Owned<Level, NUV_Level_construct, NUV_Level_destruct> masks;`
template <class Record, int32_t (*construct)(Record*), void (*destruct)(Record*)>
class Owned : Pinned {
 public:
  Owned() { construct(&record_); }
  ~Owned() { destruct(&record_); }

  Record& record() { return record_; }
  const Record& record() const { return record_; }
  Record* operator->() { return &record_; }
  const Record* operator->() const { return &record_; }

 private:
  Record record_;
};

/// A time as the library takes it. Durations of less than a microsecond are cut.
template <class Rep, class Period>
constexpr timeval to_timeval(std::chrono::duration<Rep, Period> time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  const auto rest = std::chrono::duration_cast<std::chrono::microseconds>(time - seconds);
  timeval converted = {};
  converted.tv_sec = static_cast<decltype(converted.tv_sec)>(seconds.count());
  converted.tv_usec = static_cast<decltype(converted.tv_usec)>(rest.count());
  return converted;
}

/// A callable with one argument, kept as bytes. One that takes no argument fits, too.
template <class Argument>
class Callback {
 public:
  static constexpr std::size_t kSize = 4 * sizeof(void*);

  template <class Function, class = std::enable_if_t<!std::is_same_v<Function, Callback>>>
  explicit Callback(Function function) : call_(call<Function>) {
    static_assert(std::is_trivially_copyable_v<Function> && std::is_trivially_destructible_v<Function>,
                  "a callback captures pointers, references and numbers only");
    static_assert(sizeof(Function) <= kSize,
                  "a callback has the size of four pointers at most: let it refer to what it needs");
    static_assert(alignof(Function) <= alignof(std::max_align_t), "a callback has no special alignment");
    static_assert(std::is_invocable_v<const Function&, Argument> || std::is_invocable_v<const Function&>,
                  "a callback is called as const, with one argument of the right type or without any");
    ::new (static_cast<void*>(bytes_)) Function(function);
  }

  void operator()(Argument argument) const { call_(bytes_, static_cast<Argument>(argument)); }

 private:
  template <class Function>
  static void call(const unsigned char* bytes, Argument argument) {
    const Function& function = *std::launder(reinterpret_cast<const Function*>(bytes));
    if constexpr (std::is_invocable_v<const Function&, Argument>) {
      static_cast<void>(function(static_cast<Argument>(argument)));
    } else {
      static_cast<void>(argument);
      static_cast<void>(function());
    }
  }

  void (*call_)(const unsigned char*, Argument);
  alignas(std::max_align_t) unsigned char bytes_[kSize];
};


// ---- The main loop ----

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


// ---- Blocks of bytes ----

/// Memory owns a block from the allocator hook.
class Memory {
 public:
  Memory() { NUV_Memory_construct(&record_, 0); }

  /// A block of so many bytes, uninitialised. Without memory, which is reported, its begin() is null.
  explicit Memory(uint32_t size) { NUV_Memory_construct(&record_, size); }

  /// A block from elsewhere, which "release" gives back.
  Memory(void* address, uint32_t size, NUV_MemoryFree release) : Memory() {
    NUV_Memory_set(&record_, address, size, release);
  }

  /// A copy of the bytes.
  static Memory copy_of(std::string_view bytes) {
    Memory memory(static_cast<uint32_t>(bytes.size()));
    if (memory.begin() != nullptr) {
      std::memcpy(memory.begin(), bytes.data(), memory.size());
    }
    return memory;
  }

  ~Memory() { NUV_Memory_destruct(&record_); }
  Memory(Memory&& other) noexcept : Memory() { NUV_Memory_swap(&record_, &other.record_); }
  Memory& operator=(Memory&& other) noexcept {
    if (this != &other) {
      NUV_Memory_move(&record_, &other.record_);
    }
    return *this;
  }

  uint32_t size() const { return NUV_Memory_size(&record_); }
  uint8_t* begin() const { return NUV_Memory_begin(&record_); }
  uint8_t* end() const { return NUV_Memory_end(&record_); }
  uint8_t* get(uint32_t size, uint32_t offset) const { return NUV_Memory_get(&record_, size, offset); }

  /// text shows the bytes as characters, none without memory. Good as long as the block lives.
  std::string_view text() const { return {reinterpret_cast<const char*>(begin()), begin() != nullptr ? size() : 0}; }

  ::Memory& record() { return record_; }
  const ::Memory& record() const { return record_; }

 private:
  ::Memory record_;
};

/// Frame owns a block whose content can shrink and grow at both ends.
class Frame {
 public:
  Frame() : Frame(0) {}

  /// A frame of so many bytes, all of them content, uninitialised. Without memory, which is reported, its address() is
  /// null.
  explicit Frame(uint32_t size) { NUV_Frame_construct(&record_, size); }

  /// A copy of the bytes as content.
  static Frame copy_of(std::string_view bytes) {
    Frame frame(static_cast<uint32_t>(bytes.size()));
    if (frame.address() != nullptr) {
      std::memcpy(frame.begin(), bytes.data(), frame.size());
    }
    return frame;
  }

  ~Frame() { NUV_Frame_destruct(&record_); }
  Frame(Frame&& other) noexcept : Frame() { NUV_Frame_swap(&record_, &other.record_); }
  Frame& operator=(Frame&& other) noexcept {
    if (this != &other) {
      NUV_Frame_assign(&record_, &other.record_);
    }
    return *this;
  }

  uint32_t absolute_size() const { return NUV_Frame_absoluteSize(&record_); }
  uint8_t* address() const { return NUV_Frame_address(&record_); }
  uint32_t size() const { return NUV_Frame_size(&record_); }
  uint8_t* begin() const { return NUV_Frame_begin(&record_); }
  uint8_t* end() const { return NUV_Frame_end(&record_); }
  uint32_t offset_front() const { return NUV_Frame_offsetFront(&record_); }
  uint32_t offset_rear() const { return NUV_Frame_offsetRear(&record_); }

  void reduce_front(uint32_t offset) { NUV_Frame_reduceFront(&record_, offset); }
  void expand_front(uint32_t offset) { NUV_Frame_expandFront(&record_, offset); }
  void reduce_rear(uint32_t offset) { NUV_Frame_reduceRear(&record_, offset); }
  void expand_rear(uint32_t offset) { NUV_Frame_expandRear(&record_, offset); }

  /// text shows the content as characters, none without memory. What was taken off an end stays good as long as the block
  /// lives.
  std::string_view text() const { return {reinterpret_cast<const char*>(begin()), address() != nullptr ? size() : 0}; }

  ::Frame& record() { return record_; }
  const ::Frame& record() const { return record_; }

 private:
  ::Frame record_;
};

/// MessageData owns one typed item.
class MessageData {
 public:
  MessageData() { NUV_MessageData_construct(&record_); }

  /// An item with the block, which is left empty.
  MessageData(int32_t type, Memory&& block) : MessageData() { set(type, std::move(block)); }

  ~MessageData() { NUV_MessageData_destruct(&record_); }
  MessageData(MessageData&& other) noexcept : MessageData() { NUV_MessageData_swap(&record_, &other.record_); }
  MessageData& operator=(MessageData&& other) noexcept {
    if (this != &other) {
      NUV_MessageData_move(&record_, &other.record_);
    }
    return *this;
  }

  int32_t type() const { return NUV_MessageData_type(&record_); }
  void set(int32_t type, Memory&& block) { NUV_MessageData_set(&record_, type, &block.record()); }

  /// text shows the bytes as characters, none without memory. Good as long as the item keeps its block.
  std::string_view text() const {
    const uint8_t* bytes = NUV_Memory_begin(&record_.m_oData);
    return {reinterpret_cast<const char*>(bytes), bytes != nullptr ? NUV_Memory_size(&record_.m_oData) : 0};
  }

  ::MessageData& record() { return record_; }
  const ::MessageData& record() const { return record_; }

 private:
  ::MessageData record_;
};

/// Message owns a header and up to five items.
class Message {
 public:
  Message() : Message(0, 0, 0) {}
  Message(int32_t type, int32_t dest_port, int32_t src_port) {
    NUV_Message_construct(&record_, type, dest_port, src_port);
  }

  ~Message() { NUV_Message_destruct(&record_); }
  Message(Message&& other) noexcept : Message() { NUV_Message_swap(&record_, &other.record_); }
  Message& operator=(Message&& other) noexcept {
    if (this != &other) {
      NUV_Message_move(&record_, &other.record_);
    }
    return *this;
  }

  int32_t msg_type() const { return NUV_Message_msgType(&record_); }
  int32_t dest_port() const { return NUV_Message_destPort(&record_); }
  int32_t src_port() const { return NUV_Message_srcPort(&record_); }
  const MessageHeader& header() const { return record_.m_oHeader; }
  uint32_t size() const { return NUV_Message_size(&record_); }
  uint32_t max_size() const { return NUV_Message_maxSize(&record_); }

  /// add appends an item with the block, which is left empty. The caller sees to it that there is room.
  void add(int32_t type, Memory&& block) { NUV_Message_add(&record_, type, &block.record()); }

  /// data returns an item, which stays the message's, for the operations of nuv_messagedata.h.
  ::MessageData* data(uint32_t index) { return NUV_Message_data(&record_, index); }

  ::Message& record() { return record_; }
  const ::Message& record() const { return record_; }

 private:
  ::Message record_;
};


// ---- Numbers ----

/// IndexPool hands out the indices 0 to size - 1. One that was moved from has the size 0.
class IndexPool {
 public:
  explicit IndexPool(uint32_t size) { NUV_IndexPool_construct(&record_, size); }
  ~IndexPool() { NUV_IndexPool_destruct(&record_); }
  IndexPool(IndexPool&& other) noexcept : record_(std::exchange(other.record_, kNone)) {}
  IndexPool& operator=(IndexPool&& other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }

  uint32_t size() const { return NUV_IndexPool_size(&record_); }
  uint32_t free() const { return NUV_IndexPool_free(&record_); }
  uint32_t busy() const { return NUV_IndexPool_busy(&record_); }
  bool available() const { return NUV_IndexPool_available(&record_) == 1; }
  bool occupied(uint32_t index) const { return NUV_IndexPool_occupied(&record_, index) == 1; }

  /// occupy takes the lowest free index. The caller sees to it that there is one.
  uint32_t occupy() { return NUV_IndexPool_occupy(&record_); }

  /// try_occupy takes the lowest free index, if there is any.
  std::optional<uint32_t> try_occupy() { return available() ? std::optional<uint32_t>(occupy()) : std::nullopt; }

  void occupy_index(uint32_t index) { NUV_IndexPool_occupyIndex(&record_, index); }
  void release(uint32_t index) { NUV_IndexPool_release(&record_, index); }

  ::IndexPool& record() { return record_; }
  const ::IndexPool& record() const { return record_; }

 private:
  static constexpr ::IndexPool kNone = {nullptr, 0, 0};

  ::IndexPool record_;
};

/// IndexMap is a map with room for so many pairs, which it brings along.
///
///     for (IndexMapPair& pair : map) ...
template <uint32_t capacity>
class IndexMap : Pinned {
  static_assert(capacity > 0, "a map has room for something");

 public:
  IndexMap() { NUV_IndexMap_construct(&record_, store_, capacity); }
  ~IndexMap() { NUV_IndexMap_destruct(&record_); }

  /// A walk over the pairs, in the order of their positions. The pair that it stands at may be removed meanwhile.
  class Iterator {
   public:
    Iterator(const ::IndexMap& map, uint32_t position) : map_(&map), position_(position) {}
    IndexMapPair& operator*() const { return *NUV_IndexMap_get(map_, position_); }
    IndexMapPair* operator->() const { return NUV_IndexMap_get(map_, position_); }
    Iterator& operator++() {
      position_ = NUV_IndexMap_next(map_, position_);
      return *this;
    }
    bool operator==(const Iterator& other) const { return position_ == other.position_; }
    bool operator!=(const Iterator& other) const { return position_ != other.position_; }
    uint32_t position() const { return position_; }

   private:
    const ::IndexMap* map_;
    uint32_t position_;
  };

  Iterator begin() const { return {record_, NUV_IndexMap_begin(&record_)}; }
  Iterator end() const { return {record_, NUV_IndexMap_end(&record_)}; }

  uint32_t size() const { return NUV_IndexMap_size(&record_); }
  uint32_t max_size() const { return NUV_IndexMap_maxSize(&record_); }
  bool empty() const { return NUV_IndexMap_empty(&record_) == 1; }

  /// find returns the pair with the key, or null. Its value may be changed.
  IndexMapPair* find(int32_t key) const {
    const uint32_t position = NUV_IndexMap_find(&record_, key);
    return position != NUV_IndexMap_end(&record_) ? NUV_IndexMap_get(&record_, position) : nullptr;
  }

  bool contains(int32_t key) const { return find(key) != nullptr; }
  uint32_t at(int32_t key) const { return NUV_IndexMap_at(&record_, key); }

  /// insert puts a new pair in and returns its position. The caller sees to it that there is room, and no such key.
  uint32_t insert(int32_t key, uint32_t value) { return NUV_IndexMap_insert(&record_, key, value); }

  /// remove takes out the pair with the key and returns true; or false if there is none.
  bool remove(int32_t key) {
    const uint32_t position = NUV_IndexMap_find(&record_, key);
    if (position == NUV_IndexMap_end(&record_)) {
      return false;
    }
    NUV_IndexMap_remove(&record_, position);
    return true;
  }

  void clear() { NUV_IndexMap_clear(&record_); }

  ::IndexMap& record() { return record_; }
  const ::IndexMap& record() const { return record_; }

 private:
  IndexMapEntry store_[capacity];
  ::IndexMap record_;
};


// ---- Ways for bytes ----

/// Pipe is a pipe of the operating system, closed until it is opened.
class Pipe {
 public:
  Pipe() = default;
  ~Pipe() { close(); }
  Pipe(Pipe&& other) noexcept : record_(std::exchange(other.record_, kNone)) {}
  Pipe& operator=(Pipe&& other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }

  /// open makes a pipe; one that was there is closed. Returns false, with errno set, if the system gives none.
  [[nodiscard]] bool open() {
    close();
    if (NUV_Pipe_construct(&record_) == 1) {
      return true;
    }
    record_ = kNone;
    return false;
  }

  void close() {
    NUV_Pipe_destruct(&record_);
    record_ = kNone;
  }

  bool is_open() const { return record_.m_bCreated != 0; }
  int read_fd() const { return NUV_Pipe_readFd(&record_); }
  int write_fd() const { return NUV_Pipe_writeFd(&record_); }

  /// read and write return the number of bytes, or -1 with errno set, as the calls of the system do.
  int32_t read(void* buffer, uint32_t size) { return NUV_Pipe_read(&record_, buffer, size); }
  int32_t write(const void* bytes, uint32_t size) { return NUV_Pipe_write(&record_, bytes, size); }
  int32_t write(std::string_view text) { return write(text.data(), static_cast<uint32_t>(text.size())); }

  ::Pipe& record() { return record_; }
  const ::Pipe& record() const { return record_; }

 private:
  static constexpr ::Pipe kNone = {0, -1, -1};

  ::Pipe record_ = kNone;
};

/// UdpServer is a bridge between a descriptor and the peers that send to one port, closed until it is opened.
class UdpServer {
 public:
  UdpServer() = default;
  ~UdpServer() { close(); }
  UdpServer(UdpServer&& other) noexcept : record_(std::exchange(other.record_, none())) {}
  UdpServer& operator=(UdpServer&& other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }

  /// open listens on the port, in network byte order as everywhere (htons(5060); 0 lets the system choose). What comes in
  /// goes to out_fd. Returns false, with errno set, if the system refuses.
  [[nodiscard]] bool open(uint16_t port, int out_fd) {
    close();
    if (NUV_UdpServer_construct(&record_, port, out_fd) == 1) {
      return true;
    }
    record_ = none();
    return false;
  }

  void close() {
    if (is_open()) {
      NUV_UdpServer_destruct(&record_);
      record_ = none();
    }
  }

  bool is_open() const { return socket() >= 0; }
  int socket() const { return NUV_UdpServer_socket(&record_); }
  void socket_read() { NUV_UdpServer_socketRead(&record_, socket()); }
  void file_read(int fd) { NUV_UdpServer_fileRead(&record_, fd); }

  /// peer is who sent the last datagram, and whom the next one goes to, port and address in network byte order. It may be
  /// changed.
  sockaddr_in& peer() { return record_.m_oPeer; }
  const sockaddr_in& peer() const { return record_.m_oPeer; }

  ::UdpServer& record() { return record_; }
  const ::UdpServer& record() const { return record_; }

 private:
  static ::UdpServer none() {
    ::UdpServer record = {};
    record.m_iOutFd = -1;
    record.m_iSocket = -1;
    return record;
  }

  ::UdpServer record_ = none();
};

/// UdpClient is a bridge between a descriptor and one server, closed until it is opened.
class UdpClient {
 public:
  UdpClient() = default;
  ~UdpClient() { close(); }
  UdpClient(UdpClient&& other) noexcept : record_(std::exchange(other.record_, none())) {}
  UdpClient& operator=(UdpClient&& other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }

  /// open makes a socket for talking to the server, an IPv4 address in dotted form, at the port, in network byte order as
  /// everywhere: htons(5060). What comes in goes to out_fd. Returns false, with errno set, if the system refuses.
  [[nodiscard]] bool open(const char* server, uint16_t port, int out_fd) {
    close();
    if (NUV_UdpClient_construct(&record_, server, port, out_fd) == 1) {
      return true;
    }
    record_ = none();
    return false;
  }

  void close() {
    if (is_open()) {
      NUV_UdpClient_destruct(&record_);
      record_ = none();
    }
  }

  bool is_open() const { return socket() >= 0; }
  int socket() const { return NUV_UdpClient_socket(&record_); }
  void socket_read() { NUV_UdpClient_socketRead(&record_, socket()); }
  void file_read(int fd) { NUV_UdpClient_fileRead(&record_, fd); }

  ::UdpClient& record() { return record_; }
  const ::UdpClient& record() const { return record_; }

 private:
  static ::UdpClient none() {
    ::UdpClient record = {};
    record.m_iOutFd = -1;
    record.m_iSocket = -1;
    return record;
  }

  ::UdpClient record_ = none();
};


// ---- Dial plans ----

/// DigitMap is a dial plan. One that was moved from is empty.
class DigitMap {
 public:
  enum class Mode : int32_t { kFirst = NUV_DIGITMAP_FIRST_MATCH, kBest = NUV_DIGITMAP_BEST_MATCH };
  enum class Timer : uint32_t { kRunning = 0, kExpired = 1 };
  enum class Result : int32_t {
    kUndecided = NUV_DIGITMAP_UNDECIDED,
    kComplete = NUV_DIGITMAP_COMPLETE,
    kNoMatch = NUV_DIGITMAP_NO_MATCH
  };

  DigitMap() { NUV_DigitMap_construct(&record_); }
  ~DigitMap() { NUV_DigitMap_destruct(&record_); }
  DigitMap(DigitMap&& other) noexcept : record_(std::exchange(other.record_, nullptr)) {}
  DigitMap& operator=(DigitMap&& other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }

  /// set replaces the plan, add appends one pattern. They return false where a text is not valid.
  [[nodiscard]] bool set(const char* map) { return NUV_DigitMap_setMap(&record_, map) == 1; }
  [[nodiscard]] bool add(const char* pattern) { return NUV_DigitMap_addMap(&record_, pattern) == 1; }
  void dump() const { NUV_DigitMap_dumpMap(&record_); }

  /// check tells what the plan says to the digits. The pattern that decided is written to the buffer, cut to its size;
  /// it holds one also where the result is undecided.
  Result check(Mode mode, const char* digits, Timer timer, char* pattern = nullptr, uint32_t size = 0) const {
    return static_cast<Result>(NUV_DigitMap_checkDialString(&record_, static_cast<int32_t>(mode), digits,
                                                            static_cast<uint32_t>(timer), pattern, size));
  }

  /// check_at_timeout tells what the plan says to the digits when no more have come in time: they are complete, or match
  /// nothing. Asked by check(), a plan still waits then for patterns that want more digits; here only those take part
  /// that the digits complete, so of "0T|00T" the first is complete after 0. The buffer is that of check(). A pattern
  /// that there is no memory to ask counts as not complete.
  Result check_at_timeout(Mode mode, const char* digits, char* pattern = nullptr, uint32_t size = 0) const {
    DigitMap complete;
    for (const NUV_DigitMapPattern* each = record_; each != nullptr; each = each->m_pNext) {
      DigitMap alone;
      if (alone.add(each->m_pText) && alone.check(Mode::kFirst, digits, Timer::kExpired) == Result::kComplete) {
        static_cast<void>(complete.add(each->m_pText));
      }
    }
    const Result result = complete.check(mode, digits, Timer::kExpired, pattern, size);
    return result == Result::kComplete ? result : Result::kNoMatch;
  }

  ::DigitMap& record() { return record_; }
  const ::DigitMap& record() const { return record_; }

 private:
  ::DigitMap record_;
};


// ---- Operators ----

/// What an operator has said. The words are gone after the call.
struct Invocation {
  int32_t count;  ///< number of words, that of the command included
  char** words;
  int answer_fd;  ///< the console's

  std::string_view word(int32_t index) const {
    return index >= 0 && index < count ? std::string_view(words[index]) : std::string_view();
  }
  int32_t answer(const char* text) const { return NUV_Console_output(answer_fd, text); }
};

/// Console is a command interpreter with room for so many commands, which it brings along. The prompt's text must live
/// as long as the console.
template <uint32_t capacity>
class Console : Pinned {
  static_assert(capacity > 0, "a console has room for a command");

 public:
  explicit Console(const char* prompt) { NUV_Console_construct(&record_, store_, capacity, prompt); }
  ~Console() { NUV_Console_destruct(&record_); }

  uint32_t max_size() const { return NUV_Console_maxSize(&record_); }
  uint32_t size() const { return NUV_Console_size(&record_); }
  int32_t handle(int fd, int answer_fd) { return NUV_Console_handle(&record_, fd, answer_fd); }

  ::Console& record() { return record_; }
  const ::Console& record() const { return record_; }

 private:
  ConsoleCommand store_[capacity];
  ::Console record_;
};

/// Command is one command of a console, for as long as it lives. It goes before the console does, and while it lives no
/// other command of the console has its name.
class Command : Pinned {
 public:
  /// The callable takes an Invocation, or nothing. The text of the name must live as long as the command. The caller
  /// sees to it that the console has room.
  template <class Function>
  Command(::Console& console, const char* name, Function function) : console_(console), name_(name), call_(function) {
    NUV_Console_setCommand(&console_, name, this, on_command);
  }
  template <uint32_t capacity, class Function>
  Command(Console<capacity>& console, const char* name, Function function)
      : Command(console.record(), name, function) {}
  ~Command() { NUV_Console_removeCommand(&console_, name_); }

 private:
  static int32_t on_command(void* self, int32_t count, char** words, int32_t fd) {
    // The Command may go while this runs, and its callable with it.
    const auto call = static_cast<Command*>(self)->call_;
    call({count, words, fd});
    return 0;
  }

  ::Console& console_;
  const char* name_;
  Callback<const Invocation&> call_;
};


// ---- The process ----

/// Daemon brings the process into the background, and looks after its pid file: the file that create_pid_file has
/// written goes with the Daemon.
class Daemon : Pinned {
 public:
  Daemon(const char* process_name, const char* pid_file_path) {
    NUV_Daemon_construct(&record_, process_name, pid_file_path);
  }
  ~Daemon() {
    if (has_created_) {
      delete_pid_file();
    }
    NUV_Daemon_destruct(&record_);
  }

  const char* process_name() const { return NUV_Daemon_getProcessName(&record_); }
  const char* pid_file_name() const { return NUV_Daemon_getPidFileName(&record_); }

  void daemonize() { NUV_Daemon_daemonize(&record_); }
  bool daemonized() const { return NUV_Daemon_daemonized(&record_) == 1; }

  bool has_pid_file() const { return NUV_Daemon_hasPidFile(&record_) == 1; }
  bool check_pid_file() const { return NUV_Daemon_checkPidFile(&record_) == 1; }
  bool occupied_pid_file() const { return NUV_Daemon_occupiedPidFile(&record_) == 1; }
  void create_pid_file() {
    NUV_Daemon_createPidFile(&record_);
    has_created_ = true;
  }
  void delete_pid_file() {
    NUV_Daemon_deletePidFile(&record_);
    has_created_ = false;
  }

  ::Daemon& record() { return record_; }
  const ::Daemon& record() const { return record_; }

 private:
  ::Daemon record_;
  bool has_created_ = false;
};

/// Tracing is the trace facility of the process, from here to the end of its life. There is one at a time.
class Tracing : Pinned {
 public:
  explicit Tracing(const char* file) { NUV_Sysloglevel_construct(file); }
  Tracing(const char* file, const char* ident) { NUV_Sysloglevel_construct2(file, ident); }
  ~Tracing() { NUV_Sysloglevel_destruct(); }
};

}  // namespace userlib

#endif
