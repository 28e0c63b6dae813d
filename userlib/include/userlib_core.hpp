/** @file userlib_core.hpp
 *
 * Part of userlib.hpp: what every part needs, times, blocks of bytes, and descriptors: Owned, Memory, UniqueFd.
 */
#ifndef USERLIB_CORE_HPP
#define USERLIB_CORE_HPP

#if !defined(__cplusplus) || __cplusplus < 201703L
#error "userlib.hpp takes C++17; programs in C take userlib.h"
#endif

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>

#include <sys/time.h>
#include <unistd.h>

#include "nuv_memory.h"
#include "nuv_time.h"

namespace userlib {

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

/// UniqueFd owns a descriptor of the system's, and closes it. One that was moved from owns none, which is -1.
class UniqueFd {
 public:
  explicit UniqueFd(int fd = -1) : fd_(fd) {}
  ~UniqueFd() { reset(); }
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

  /// reset closes the descriptor, and owns another one or none.
  void reset(int fd = -1) {
    if (fd_ >= 0) {
      close(fd_);
    }
    fd_ = fd;
  }

 private:
  int fd_;
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

/// The time of the monotonic clock, which is the reactor's, too.
inline timeval monotonic_now() {
  timeval now = {};
  nuv_gettimeofday_absolute(&now);
  return now;
}

/// The time that comes so much later.
template <class Rep, class Period>
timeval later(timeval time, std::chrono::duration<Rep, Period> wait) {
  const timeval interval = to_timeval(wait);
  NUV_timeval_inc(&time, &interval);
  return time;
}

/// Whether it is this time already, or later.
inline bool is_reached(const timeval& deadline, const timeval& now) {
  return NUV_timeval_cmp(&deadline, &now) <= 0;
}

/// The time left, at least a millisecond: select() refuses a negative wait, and with none a loop would spin.
inline timeval wait_until(timeval deadline, const timeval& now) {
  constexpr timeval kShortest = {0, 1000};
  NUV_timeval_dec(&deadline, &now);
  return NUV_timeval_cmp(&deadline, &kShortest) < 0 ? kShortest : deadline;
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

/// MemoryFigures is what the library has allocated through the allocator hook.
struct MemoryFigures {
  uint64_t blocks = 0;       ///< now
  uint64_t bytes = 0;        ///< now
  uint64_t peak_bytes = 0;   ///< at most
  uint64_t allocations = 0;  ///< since count_memory()
};

/// All zero without count_memory().
inline MemoryFigures memory_figures;

/// count_memory keeps memory_figures from now on. It goes before the first block.
inline void count_memory() {
  const auto allocate = [](uint32_t size) {
    void* const block = std::malloc(size);
    if (block != nullptr) {
      ++memory_figures.blocks;
      ++memory_figures.allocations;
      memory_figures.bytes += size;
      memory_figures.peak_bytes = std::max(memory_figures.peak_bytes, memory_figures.bytes);
    }
    return block;
  };
  const auto release = [](void* block, uint32_t size) {
    if (block != nullptr) {
      --memory_figures.blocks;
      memory_figures.bytes -= size;
      std::free(block);
    }
  };
  NUV_installMemoryManager(allocate, release);
}

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

}  // namespace userlib

#endif
