// Reads and writes the times of log lines.
#ifndef TOOLS_USERLIB_FLOW_CALENDAR_H
#define TOOLS_USERLIB_FLOW_CALENDAR_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include <time.h>

namespace flow_tool {

// Microseconds since 1970 in UTC, by which lines of several logs are sorted.
using Time = int64_t;
constexpr Time kNoTime = INT64_MIN;
constexpr Time kSecond = 1'000'000;

// Times without a zone are in TZ. Times without a year are of the last year in which they are at most a day ahead of
// now.
class Calendar {
 public:
  explicit Calendar(time_t now) : now_(now) {}

  // Each of these takes its text off the front. If there is none, it takes nothing and returns kNoTime.
  //
  // "Mar  5 09:04:07" or "Mar 05 09:04:07", without the fractions that follow in several forms.
  Time take_stamp(std::string_view& text);
  // "2026-03-05T09:04:07", or with a blank instead of the T, and an optional fraction and zone.
  Time take_iso(std::string_view& text);

 private:
  static constexpr size_t kHourLength = 9;

  Time begin_of_hour(std::string_view text);

  time_t now_;
  // Neighbouring lines mostly share the hour, so the C library converts it only once.
  std::array<char, kHourLength> hour_ = {};
  Time begin_of_hour_ = kNoTime;
};

// Takes ".042" or ",042123" off the front. Returns microseconds; 0 if there is no fraction.
Time take_fraction(std::string_view& text);

// "09:04:07.042", in the zone TZ.
std::string clock_text(Time time);
// "2026-03-05 09:04:07.042"
std::string date_text(Time time);
// "12.3 ms": three significant digits and a suitable unit.
std::string span_text(Time span);

}  // namespace flow_tool

#endif
