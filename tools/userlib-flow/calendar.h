// Reads and writes the times of log lines.
#ifndef TOOLS_USERLIB_FLOW_CALENDAR_H
#define TOOLS_USERLIB_FLOW_CALENDAR_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include <time.h>

namespace flow_tool {

// Microseconds since 1970 in UTC, the axis on which lines of several logs are put in order.
using Time = int64_t;
constexpr Time kNoTime = INT64_MIN;
constexpr Time kSecond = 1'000'000;

// Times that come without a zone are those of TZ. Times that come without a year are of the last year in which they lie
// at most a day ahead of now.
class Calendar {
 public:
  explicit Calendar(time_t now) : now_(now) {}

  // Each of these takes its text off the front, and gives kNoTime, taking nothing, if there is none.
  //
  // "Mar  5 09:04:07" or "Mar 05 09:04:07", and no more: fractions follow in several ways.
  Time take_stamp(std::string_view& text);
  // "2026-03-05T09:04:07", or with a blank instead of the T, with a fraction and a zone if they are there.
  Time take_iso(std::string_view& text);

 private:
  static constexpr size_t kHourLength = 9;

  Time begin_of_hour(std::string_view text);

  time_t now_;
  // Neighbours mostly are of the same hour: the C library is asked once for all of them.
  std::array<char, kHourLength> hour_ = {};
  Time begin_of_hour_ = kNoTime;
};

// Takes ".042" or ",042123" off the front, in microseconds; 0 if there is none.
Time take_fraction(std::string_view& text);

// "09:04:07.042", in the zone TZ.
std::string clock_text(Time time);
// "2026-03-05 09:04:07.042"
std::string date_text(Time time);
// "12.3 ms": three digits that count, and the unit that suits.
std::string span_text(Time span);

}  // namespace flow_tool

#endif
