#include "nuv_syslog.h"

#include <array>

#include <stdio.h>
#include <string.h>
#include <time.h>

#include "core/text.h"
#include "tracing/hex_lines.h"
#include "tracing/system_log.h"

using nuv::text_or_empty;

namespace {

constexpr std::array<const char*, 6> kTypeNames = {"info", "trace", "debug", "dump", "warning", "error"};

constexpr size_t kTimestampSize = 16;
constexpr size_t kTimestampPlace = 4;  // behind the day of the week

constexpr int kYearTooEarly = -1000 - 1900;
constexpr int kYearTooLate = 10000 - 1900;

constinit uint8_t g_to_syslog = 1;

struct Timestamp {
  Timestamp() { _getTimestamp(text); }
  char text[kTimestampSize];
};

void write_located(uint32_t type, const char* path, uint32_t line, const char* text) {
  const char* name = NUV_ESyslogType_name(type);
  const char* file = nuv::base_name(text_or_empty(path));
  if (g_to_syslog != 0) {
    nuv::write_to_system_log(LOG_ALERT, "%s:%s:%d:%s", name, file, static_cast<int>(line), text_or_empty(text));
    return;
  }
  const Timestamp now;
  printf("%s:%s:%s:%u:%s\n", now.text, name, file, line, text_or_empty(text));
}

// The head of a short line is the name of its type, or the title of a dump.
void write_short(const char* head, const char* text) {
  if (g_to_syslog != 0) {
    nuv::write_to_system_log(LOG_ALERT, "%s:%s", head, text);
    return;
  }
  const Timestamp now;
  printf("%s:%s:%s\n", now.text, head, text);
}

}  // namespace

void NUV_Syslog_set(uint32_t a_flag) {
  g_to_syslog = static_cast<uint8_t>(a_flag);
}

void NUV_Syslog_info(const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_short(NUV_ESyslogType_name(NUV_SYSLOG_INFO), text_or_empty(a_text));
}

void NUV_Syslog_trace(const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_short(NUV_ESyslogType_name(NUV_SYSLOG_TRACE), text_or_empty(a_text));
}

void NUV_Syslog_debug(const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(NUV_SYSLOG_DEBUG, a_file, a_line, a_text);
}

void NUV_Syslog_warning(const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(NUV_SYSLOG_WARNING, a_file, a_line, a_text);
}

void NUV_Syslog_error(const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(NUV_SYSLOG_ERROR, a_file, a_line, a_text);
}

void NUV_Syslog_dump(const char* /*a_file*/, uint32_t /*a_line*/, const char* a_title, const void* a_data,
                     uint32_t a_length) {
  nuv::for_each_hex_line(a_data, a_length, [a_title](const char* hex) { write_short(text_or_empty(a_title), hex); });
}

const char* NUV_ESyslogType_name(uint32_t a_type) {
  return a_type < kTypeNames.size() ? kTypeNames[a_type] : "unknown";
}

void _getTimestamp(char* s) {
  if (s == nullptr) {
    return;
  }
  const time_t now = time(nullptr);
  char text[26] = {};
  tm local = {};
  tzset();  // localtime_r() need not look at TZ by itself
  // The text has room for a year of four characters. Of longer ones some C libraries make an end of the process.
  if (localtime_r(&now, &local) != nullptr && local.tm_year > kYearTooEarly && local.tm_year < kYearTooLate) {
    asctime_r(&local, text);
  }
  memcpy(s, text + kTimestampPlace, kTimestampSize - 1);
  s[kTimestampSize - 1] = '\0';
}
