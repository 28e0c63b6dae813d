// What the source files of the trace facility share: the modules, where lines go, and how one line reaches the system
// log.
#ifndef USERLIB_SOURCE_TRACING_NUV_SYSLOGLEVEL_INTERNAL_H
#define USERLIB_SOURCE_TRACING_NUV_SYSLOGLEVEL_INTERNAL_H

#include <array>
#include <span>

#include <stdint.h>

#include "nuv_sysloglevel.h"
#include "tracing/system_log.h"

namespace nuv {

struct TraceOutput {
  uint8_t syslog;             // 0: off
  uint8_t console;            // 0: off
  char ident[32];             // copy of the ident that the daemon gave
  const char* ident_pointer;  // what openlog() gets: null (the system's default) until the daemon gave one
};

extern TraceOutput g_trace_output;

// While "/etc/quiet" exists, the trace facility never turns the console on.
bool console_is_kept_quiet();

// The modules, from the front without a gap: the first free entry, which has no name, ends every search.
using ModuleRegistry = std::array<NUV_SysloglevelModul, NUV_SYSLOGLEVEL_MODULES>;
extern ModuleRegistry g_modules;

inline bool is_handle(int handle) {
  return handle >= 0 && handle < NUV_SYSLOGLEVEL_MODULES;
}

// The time stamp that starts a console line, or stands in for the system log's own.
struct Timestamp {
  Timestamp();
  char text[26];
};

// The digits of a number, and how its line shows it.
using Digits = char[12];
enum class Sign { kUnsigned, kSigned };
const char* write_decimal(Digits& digits, uint32_t number, Sign sign);

// Prints texts behind each other on standard output, in one go unless they are very long: printf() takes twice as long to
// put a line together.
void print_line(std::span<const char* const> texts);

// Opens the system log under the daemon's ident for as long as one line takes.
class SyslogLine {
 public:
  SyslogLine() { openlog(g_trace_output.ident_pointer, LOG_PID, LOG_USER); }
  ~SyslogLine() { closelog(); }
  SyslogLine(const SyslogLine&) = delete;
  SyslogLine& operator=(const SyslogLine&) = delete;
};

}  // namespace nuv

#endif
