/** @file userlib_telephony.hpp
 *
 * Part of userlib.hpp: dial plans: DigitMap.
 */
#ifndef USERLIB_TELEPHONY_HPP
#define USERLIB_TELEPHONY_HPP

#include <cstdint>
#include <string_view>
#include <utility>

#include "nuv_digitmap.h"
#include "userlib_core.hpp"

namespace userlib {

/// DigitMap is a dial plan. One that was moved from is empty.
class DigitMap {
 public:
  enum class Mode : int32_t { kFirst = NUV_DIGITMAP_FIRST_MATCH, kBest = NUV_DIGITMAP_BEST_MATCH };
  /// What can be dialled, in the order of the bits of a pattern's symbols.
  static constexpr std::string_view kDialled = "0123456789ABCD#*";

  enum class Timer : uint32_t { kRunning = 0, kExpired = 1 };
  enum class Result : int32_t {
    kUndecided = NUV_DIGITMAP_UNDECIDED,
    kComplete = NUV_DIGITMAP_COMPLETE,
    kNoMatch = NUV_DIGITMAP_NO_MATCH
  };

  DigitMap() { NUV_DigitMap_construct(&record_); }
  ~DigitMap() { NUV_DigitMap_destruct(&record_); }
  DigitMap(DigitMap&& other) noexcept : record_(std::exchange(other.record_, nullptr)) {}
  DigitMap& operator=(DigitMap other) noexcept {
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

}  // namespace userlib

#endif
