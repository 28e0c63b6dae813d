#include "calendar.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>

namespace flow_tool {

namespace {

constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
constexpr size_t kStampLength = 15;
constexpr time_t kDay = 86'400;
constexpr int kInvalid = -1;
// 29 February is at most eight years back, even across a century without a leap year.
constexpr int kYearsBack = 8;

int digit(char c) {
  return c >= '0' && c <= '9' ? c - '0' : kInvalid;
}

// Two or four digits; kInvalid for another text.
int number(std::string_view text) {
  int value = 0;
  for (const char c : text) {
    if (digit(c) == kInvalid) {
      return kInvalid;
    }
    value = value * 10 + digit(c);
  }
  return value;
}

// 0 to 11; kInvalid for another text.
int month(std::string_view name) {
  for (size_t i = 0; i < kMonths.size(); i += 3) {
    if (kMonths.compare(i, 3, name) == 0) {
      return static_cast<int>(i / 3);
    }
  }
  return kInvalid;
}

// Days since 1970 in the Gregorian calendar. Years begin in March here, so that leap days end them.
int64_t days(int year, int month, int day) {
  const int64_t shifted = year - (month <= 2 ? 1 : 0);
  const int64_t era = (shifted >= 0 ? shifted : shifted - 399) / 400;
  const int64_t year_of_era = shifted - era * 400;
  const int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146'097 + day_of_era - 719'468;
}

// ":04:07" within an hour, in seconds; kInvalid for another text. A leap second counts as the next one.
int seconds_of_hour(std::string_view text) {
  const int minutes = number(text.substr(1, 2));
  const int seconds = number(text.substr(4, 2));
  const bool is_time =
      text[0] == ':' && text[3] == ':' && minutes >= 0 && minutes < 60 && seconds >= 0 && seconds <= 60;
  return is_time ? minutes * 60 + seconds : kInvalid;
}

std::optional<time_t> local_time(int year, int month, int day, int hour) {
  tm parts = {};
  parts.tm_year = year - 1900;
  parts.tm_mon = month;
  parts.tm_mday = day;
  parts.tm_hour = hour;
  parts.tm_isdst = -1;
  const time_t time = mktime(&parts);
  return parts.tm_mday == day ? std::optional(time) : std::nullopt;  // 29 February does not exist in every year
}

// Takes "Z", "+01", "+0100" or "+01:00" off the front. Returns seconds east of UTC.
std::optional<Time> take_zone(std::string_view& text) {
  if (!text.empty() && text[0] == 'Z') {
    text.remove_prefix(1);
    return 0;
  }
  if (text.size() < 3 || (text[0] != '+' && text[0] != '-') || number(text.substr(1, 2)) == kInvalid) {
    return std::nullopt;
  }
  const Time sign = text[0] == '-' ? -1 : 1;
  Time seconds = Time{3600} * number(text.substr(1, 2));
  text.remove_prefix(3);
  const size_t colon = !text.empty() && text[0] == ':' ? 1 : 0;
  if (text.size() >= colon + 2 && number(text.substr(colon, 2)) != kInvalid) {
    seconds += Time{60} * number(text.substr(colon, 2));
    text.remove_prefix(colon + 2);
  }
  return sign * seconds;
}

// The parts of a time in the zone TZ.
tm local_parts(Time time) {
  Time seconds = time / kSecond;
  if (time % kSecond < 0) {
    --seconds;
  }
  const auto whole = static_cast<time_t>(seconds);
  tm parts = {};
  localtime_r(&whole, &parts);
  return parts;
}

int milliseconds(Time time) {
  return static_cast<int>(((time % kSecond + kSecond) % kSecond) / 1000);
}

}  // namespace

Time take_fraction(std::string_view& text) {
  if (text.size() < 2 || (text[0] != '.' && text[0] != ',') || digit(text[1]) == kInvalid) {
    return 0;
  }
  Time value = 0;
  Time unit = kSecond;
  text.remove_prefix(1);
  while (!text.empty() && digit(text[0]) != kInvalid) {
    unit /= 10;
    value += unit * digit(text[0]);
    text.remove_prefix(1);
  }
  return value;
}

Time Calendar::begin_of_hour(std::string_view text) {
  if (std::memcmp(text.data(), hour_.data(), kHourLength) == 0) {
    return begin_of_hour_;
  }
  const int month_of_year = month(text.substr(0, 3));
  const int day = number(text.substr(text[4] == ' ' ? 5 : 4, text[4] == ' ' ? 1 : 2));
  const int hour = number(text.substr(7, 2));
  if (month_of_year < 0 || day < 1 || day > 31 || hour < 0 || hour > 23 || text[3] != ' ' || text[6] != ' ') {
    return kNoTime;
  }
  tm today = {};
  const time_t tomorrow = now_ + kDay;
  localtime_r(&tomorrow, &today);
  for (int year = today.tm_year + 1900, last = year - kYearsBack; year >= last; --year) {
    const auto time = local_time(year, month_of_year, day, hour);
    if (time && *time <= tomorrow) {
      std::copy_n(text.begin(), kHourLength, hour_.begin());
      begin_of_hour_ = *time * kSecond;
      return begin_of_hour_;
    }
  }
  return kNoTime;
}

Time Calendar::take_stamp(std::string_view& text) {
  if (text.size() < kStampLength) {
    return kNoTime;
  }
  const int seconds = seconds_of_hour(text.substr(kHourLength, 6));
  if (seconds == kInvalid) {
    return kNoTime;
  }
  const Time hour = begin_of_hour(text);
  if (hour == kNoTime) {
    return kNoTime;
  }
  text.remove_prefix(kStampLength);
  return hour + seconds * kSecond;
}

Time Calendar::take_iso(std::string_view& text) {
  constexpr size_t kLength = 19;
  if (text.size() < kLength || text[4] != '-' || text[7] != '-' || (text[10] != 'T' && text[10] != ' ')) {
    return kNoTime;
  }
  const int year = number(text.substr(0, 4));
  const int month_of_year = number(text.substr(5, 2));
  const int day = number(text.substr(8, 2));
  const int hour = number(text.substr(11, 2));
  const int seconds = seconds_of_hour(text.substr(13, 6));
  if (year < 0 || month_of_year < 1 || month_of_year > 12 || day < 1 || day > 31 || hour < 0 || hour > 23 ||
      seconds == kInvalid) {
    return kNoTime;
  }
  text.remove_prefix(kLength);
  const Time fraction = take_fraction(text);
  if (const auto east = take_zone(text)) {
    return ((days(year, month_of_year, day) * 24 + hour) * 3600 + seconds - *east) * kSecond + fraction;
  }
  return local_time(year, month_of_year - 1, day, hour).value_or(0) * kSecond + seconds * kSecond + fraction;
}

std::string clock_text(Time time) {
  const tm parts = local_parts(time);
  char text[48];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", parts.tm_hour, parts.tm_min, parts.tm_sec,
                milliseconds(time));
  return text;
}

std::string date_text(Time time) {
  const tm parts = local_parts(time);
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d ", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday);
  return text + clock_text(time);
}

std::string span_text(Time span) {
  struct Unit {
    double size;
    double limit;  // up to which the unit is used
    const char* name;
  };
  constexpr Unit kUnits[] = {{1, 1e3, "us"},        {1e3, 1e6, "ms"},         {1e6, 120e6, "s"},
                             {60e6, 7200e6, "min"}, {3600e6, 172'800e6, "h"}, {86'400e6, 0, "days"}};
  const auto value = static_cast<double>(span);
  for (const Unit& unit : kUnits) {
    if (value < unit.limit || unit.limit == 0) {
      const double shown = value / unit.size;
      char text[48];
      const int decimals = unit.size == 1 || shown >= 99.95 ? 0 : shown >= 9.995 ? 1 : 2;
      std::snprintf(text, sizeof text, "%.*f %s", decimals, shown, unit.name);
      return text;
    }
  }
  return {};
}

}  // namespace flow_tool
