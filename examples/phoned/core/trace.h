// What phoned tells the system log: the modules under which it traces, and how a line gets there without a wait.
//
// An operator chooses with the command "tr" which lines are written.
#ifndef EXAMPLES_PHONED_CORE_TRACE_H
#define EXAMPLES_PHONED_CORE_TRACE_H

#include <optional>
#include <string>
#include <string_view>

#include "nuv_sysloglevel.h"
#include "phoned/core/clock.h"
#include "userlib.hpp"

namespace phoned::trace {

// Where the masks are kept unless somebody names another file.
inline constexpr const char* kDefaultInitFile = "/flash/phoned.ini";

// The handles of the modules. Before open() all of them stand for a module that writes nothing.
struct Modules {
  int phoned = 0;     // "Phoned": start, end, signals, and what the system refuses
  int line = 0;       // "Line": events, decided calls, and the way of every message
  int dial_plan = 0;  // "DialPlan": plans that are read, and what they say to digits
  int console = 0;    // "Console": operators and their lines
};
inline Modules modules;

// Which way a message goes, for lines of the type TRACEMF.
inline constexpr uint32_t kOut = 0;
inline constexpr uint32_t kIn = 1;

// As much of a message as one line of the log has use for, without what would break that line.
std::string shown(std::string_view message);

// One line, for as long as it takes to write it. The C library would wait for a log daemon that does not read; here such
// a line is left out and counted, and the count is told as soon as there is room again.
class Line : userlib::Pinned {
 public:
  Line(int module, uint32_t type);

  // Whether it is written: the module's mask wants it, and nobody has to wait for it.
  explicit operator bool() const { return limit_.has_value(); }

 private:
  std::optional<TimeLimit> limit_;
};

// Writes a line as NUV_LOG_<type>(module, "format", ...) does.
#define PHONED_LOG(a_type, a_module, ...)                                               \
  do {                                                                                  \
    if (const phoned::trace::Line line_((a_module), NUV_SYSLOGLEVEL_##a_type); line_) { \
      NUV_LOG_##a_type((a_module), __VA_ARGS__);                                        \
    }                                                                                   \
  } while (0)

// Whether there are lines that could not be written; tells how many if it can.
bool is_behind();

// Where the lines go from now on: to the system log, as at the start, or to standard output.
void use_system_log(bool is_used);

// Reads the init file and registers the modules. Nobody has to have the default file; one that was named and cannot be
// opened is told about on standard output; one that is no regular file is an Error.
void open(const std::optional<std::string>& init_file);

// The C library reads the file of the time zone for the first time stamp, and would wait at a FIFO or a terminal. With one
// of those in TZ, times are in UTC, and this returns why.
std::string settle_time_zone();

}  // namespace phoned::trace

#endif
