#include "doubles/syslog_double.h"

// <syslog.h> is not included: in fortified builds it defines syslog() itself.
#include <gtest/gtest.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "nuv_api.h"

namespace support {
namespace {

struct Log {
  bool recording = false;
  bool must_stay_closed = false;
  bool is_open = false;
  bool has_line = false;
  SyslogLine line;
  std::vector<SyslogLine> lines;
};

Log& log() {
  static Log instance;
  return instance;
}

// Records a line without openlog() and closelog().
[[gnu::format(printf, 2, 0)]] void write_unopened(int priority, const char* format, va_list arguments) {
  std::array<char, 4096> text;
  std::vsnprintf(text.data(), text.size(), format, arguments);
  log().lines.push_back({std::nullopt, 0, 0, priority, text.data()});
}

void open(const char* ident, int option, int facility) {
  if (log().must_stay_closed) {
    ADD_FAILURE() << "openlog() is not expected";
  }
  if (log().is_open) {
    ADD_FAILURE() << "openlog() while the log is open";
  }
  log().is_open = true;
  log().has_line = false;
  log().line = {};
  log().line.ident = ident != nullptr ? std::optional<std::string>(ident) : std::nullopt;
  log().line.option = option;
  log().line.facility = facility;
}

NUV_PRINTF(2, 0) void write(int priority, const char* format, va_list arguments) {
  if (!log().is_open || log().has_line) {
    ADD_FAILURE() << "syslog() without an openlog() of its own: " << format;
  }
  std::array<char, 4096> text;
  std::vsnprintf(text.data(), text.size(), format, arguments);
  log().has_line = true;
  log().line.priority = priority;
  log().line.text = text.data();
}

void close() {
  if (!log().is_open || !log().has_line) {
    ADD_FAILURE() << "closelog() without openlog() and syslog()";
  } else {
    log().lines.push_back(log().line);
  }
  log().is_open = false;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const SyslogLine& line) {
  return out << "{ident " << line.ident.value_or("(null)") << ", option " << line.option << ", facility "
             << line.facility << ", priority " << line.priority << ", text \"" << line.text << "\"}";
}

SyslogDouble::SyslogDouble(Opening opening) {
  log() = {};
  log().recording = true;
  log().must_stay_closed = opening == Opening::kNever;
}

SyslogDouble::~SyslogDouble() {
  if (log().is_open) {
    ADD_FAILURE() << "the log was left open";
  }
  log() = {};
}

std::vector<SyslogLine> SyslogDouble::take() {
  return std::exchange(log().lines, {});
}

}  // namespace support

extern "C" {

void openlog(const char* ident, int option, int facility) {
  if (support::log().recording) {
    support::open(ident, option, facility);
  }
}

void closelog() {
  if (support::log().recording) {
    support::close();
  }
}

NUV_PRINTF(2, 0) void vsyslog(int priority, const char* format, va_list arguments) {
  if (support::log().must_stay_closed) {
    support::write_unopened(priority, format, arguments);
  } else if (support::log().recording) {
    support::write(priority, format, arguments);
  }
}

NUV_PRINTF(2, 3) void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}

// Fortified builds call these instead.
NUV_PRINTF(3, 0) void __vsyslog_chk(int priority, int /*flag*/, const char* format, va_list arguments) {
  vsyslog(priority, format, arguments);
}

NUV_PRINTF(3, 4) void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}

}  // extern "C"
