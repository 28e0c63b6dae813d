#include "nuv_sysloglevel.h"

#include <algorithm>
#include <iterator>

#include <langinfo.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "core/text.h"
#include "tracing/nuv_sysloglevel_internal.h"

namespace nuv {

constinit TraceOutput g_trace_output = {1, 0, {}, nullptr};

bool console_is_kept_quiet() {
  return access("/etc/quiet", F_OK) == 0;
}

Timestamp::Timestamp() : text{} {
  getTimestamp(text, sizeof text);
}

const char* write_decimal(Digits& digits, uint32_t number, Sign sign) {
  const bool is_negative = sign == Sign::kSigned && number > INT32_MAX;
  if (is_negative) {
    number = 0U - number;
  }
  char* first = std::end(digits) - 1;
  *first = '\0';
  do {
    *--first = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  if (is_negative) {
    *--first = '-';
  }
  return first;
}

void print_line(std::span<const char* const> texts) {
  char line[640];  // room for what the macros of daemons write
  size_t length = 0;
  for (const char* text : texts) {
    for (; *text != '\0'; ++text) {
      if (length == sizeof line) {
        fwrite(line, 1, length, stdout);
        length = 0;
      }
      line[length++] = *text;
    }
  }
  fwrite(line, 1, length, stdout);
}

}  // namespace nuv

using nuv::g_trace_output;
using nuv::print_line;
using nuv::SyslogLine;
using nuv::text_or_empty;
using nuv::Timestamp;

namespace {

constexpr uint32_t kDateLength = 15;  // "%b %e %H:%M:%S", and the place of the milliseconds

// The last date, kept because formatting one takes longer than the rest of a line, and reads the file of the time zone each
// time if TZ is not set. It is valid for its second, as long as neither TZ nor the locale changes.
struct Date {
  time_t second;
  const char* months;  // the locale's; null: there is no date
  char zone[40];       // what TZ was
  char text[64];
};

constinit Date g_date = {};

constexpr char kNoZone[] = "\n";  // TZ is not set; no TZ has this value

// Formats a date, and keeps it unless that fails or TZ is too long.
const char* work_out_date(time_t second, const char* months, const char* zone) {
  g_date.months = nullptr;
  tm local = {};
  tzset();  // localtime_r() need not look at TZ by itself
  if (localtime_r(&second, &local) == nullptr ||
      strftime(g_date.text, sizeof g_date.text, "%b %e %H:%M:%S", &local) == 0) {
    return "";
  }
  if (strlen(zone) < sizeof g_date.zone) {
    nuv::store_text(g_date.zone, zone);
    g_date.second = second;
    g_date.months = months;
  }
  return g_date.text;
}

const char* local_date(time_t second) {
  const char* months = nl_langinfo(ABMON_1);
  const char* zone = getenv("TZ");
  if (zone == nullptr) {
    zone = kNoZone;
  }
  const bool is_kept = g_date.second == second && g_date.months == months && strcmp(g_date.zone, zone) == 0;
  return is_kept ? g_date.text : work_out_date(second, months, zone);
}

// The last digit of a number.
char digit(uint32_t number) {
  return static_cast<char>('0' + number % 10);
}

}  // namespace

void getTimestamp(char* s, uint32_t size) {
  if (s == nullptr || size == 0) {
    return;
  }
  s[0] = '\0';
  // The place of the milliseconds is fixed, even in a locale whose months are so short that the date would need less.
  if (size < kDateLength + 2) {
    return;
  }
  timeval now = {};
  gettimeofday(&now, nullptr);
  const char* date = local_date(now.tv_sec);
  const size_t length = strlen(date);
  if (length == 0 || length + 1 >= size) {
    return;
  }
  memcpy(s, date, length + 1);
  const auto milliseconds = static_cast<uint32_t>(now.tv_usec / 1000);
  const char tail[] = {':', digit(milliseconds / 100), digit(milliseconds / 10), digit(milliseconds)};
  const size_t room = std::min<size_t>(size - kDateLength - 2, sizeof tail);
  memcpy(s + kDateLength, tail, room);
  s[kDateLength + room] = '\0';
}

void NUV_Sysloglevel_set(uint32_t a_flag) {
  g_trace_output.syslog = static_cast<uint8_t>(a_flag);
  NUV_Sysloglevel_setConsole(a_flag ^ 1);
}

void NUV_Sysloglevel_setConsole(uint32_t a_flag) {
  if (!nuv::console_is_kept_quiet()) {
    g_trace_output.console = static_cast<uint8_t>(a_flag);
  }
}

void NUV_Sysloglevel_assert(const char* a_file, uint32_t a_line, const char* a_text) {
  const char* file = nuv::base_name(text_or_empty(a_file));
  const char* text = text_or_empty(a_text);
  if (g_trace_output.syslog != 0) {
    const SyslogLine line;
    nuv::write_to_system_log(LOG_USER | LOG_ERR, "%s: %s:%d   %s", "error", file, static_cast<int>(a_line), text);
  }
  if (g_trace_output.console != 0) {
    const Timestamp now;
    nuv::Digits digits;
    const char* const number = nuv::write_decimal(digits, a_line, nuv::Sign::kUnsigned);
    const char* const texts[] = {now.text, ": error: ", file, ":", number, "   ", text, "\n"};
    print_line(texts);
  }
}

void NUV_Sysloglevel_statusinfo(const char* a_ident, const char* a_text) {
  const char* text = text_or_empty(a_text);
  if (g_trace_output.syslog != 0) {
    openlog(a_ident, 0, LOG_LOCAL0);
    nuv::write_to_system_log(LOG_LOCAL0 | LOG_INFO, "%s", text);
    closelog();
  }
  if (g_trace_output.console != 0) {
    const Timestamp now;
    const char* const texts[] = {now.text, " ", text, "\n"};
    print_line(texts);
  }
}
