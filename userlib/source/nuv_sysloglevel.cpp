#include "nuv_sysloglevel.h"

#include <stdio.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "nuv_sysloglevel_internal.h"
#include "text.h"

namespace userlib {

constinit TraceOutput g_trace_output = {1, 0, {}, nullptr};

bool console_is_kept_quiet() {
  return access("/etc/quiet", F_OK) == 0;
}

Timestamp::Timestamp() : text{} {
  getTimestamp(text, sizeof text);
}

}  // namespace userlib

using userlib::g_trace_output;
using userlib::SyslogLine;
using userlib::text_or_empty;
using userlib::Timestamp;

namespace {

constexpr uint32_t kDateLength = 15;  // "%b %e %H:%M:%S", and the place of the milliseconds

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
  tm local = {};
  tzset();  // localtime_r() need not look at TZ by itself
  if (localtime_r(&now.tv_sec, &local) == nullptr || strftime(s, size - 1, "%b %e %H:%M:%S", &local) == 0) {
    s[0] = '\0';
    return;
  }
  snprintf(s + kDateLength, size - kDateLength - 1, ":%03ld", static_cast<long>(now.tv_usec / 1000));
}

void NUV_Sysloglevel_set(uint32_t a_flag) {
  g_trace_output.syslog = static_cast<uint8_t>(a_flag);
  NUV_Sysloglevel_setConsole(a_flag ^ 1);
}

void NUV_Sysloglevel_setConsole(uint32_t a_flag) {
  if (!userlib::console_is_kept_quiet()) {
    g_trace_output.console = static_cast<uint8_t>(a_flag);
  }
}

void NUV_Sysloglevel_assert(const char* a_file, uint32_t a_line, const char* a_text) {
  const char* file = userlib::base_name(text_or_empty(a_file));
  const char* text = text_or_empty(a_text);
  if (g_trace_output.syslog != 0) {
    const SyslogLine line;
    syslog(LOG_USER | LOG_ERR, "%s: %s:%d   %s", "error", file, static_cast<int>(a_line), text);
  }
  if (g_trace_output.console != 0) {
    const Timestamp now;
    printf("%s: %s: %s:%u   %s\n", now.text, "error", file, a_line, text);
  }
}

void NUV_Sysloglevel_statusinfo(const char* a_ident, const char* a_text) {
  const char* text = text_or_empty(a_text);
  if (g_trace_output.syslog != 0) {
    openlog(a_ident, 0, LOG_LOCAL0);
    syslog(LOG_LOCAL0 | LOG_INFO, "%s", text);
    closelog();
  }
  if (g_trace_output.console != 0) {
    const Timestamp now;
    printf("%s %s\n", now.text, text);
  }
}
