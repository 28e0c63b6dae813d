// What phoned writes to the system log, and how it never waits for that.
#ifndef EXAMPLES_PHONED_CORE_TRACE_H
#define EXAMPLES_PHONED_CORE_TRACE_H

#include <optional>
#include <string>
#include <string_view>

#include "nuv_sysloglevel.h"
#include "userlib.hpp"

namespace phoned::trace {

inline constexpr char kDefaultInitFile[] = "/flash/phoned.ini";  // holds the masks

// The handles of the modules, whose masks an operator sets with "tr". Before open() nothing is written.
struct Modules {
  int phoned = 0;     // "Phoned": start, end, signals, and what the system refuses
  int line = 0;       // "Line": events, decided calls, and messages on their way
  int dial_plan = 0;  // "DialPlan": plans that are read, and what they say to digits
  int console = 0;    // "Console": operators and their lines
};
inline Modules modules;

// One line, while it is written. The C library would block on a log daemon that does not read; such a line is dropped and
// counted instead, and the count is written when there is room again.
class Line : userlib::Pinned {
 public:
  Line(int module, uint32_t type);

  // Whether to write it: the mask of the module wants it, and there is room.
  explicit operator bool() const { return limit_.has_value(); }

 private:
  std::optional<userlib::TimeLimit> limit_;
};

// Writes a line as NUV_LOG_<type>(module, "format", ...) does.
#define PHONED_LOG(a_type, a_module, ...)                                               \
  do {                                                                                  \
    if (const phoned::trace::Line line_((a_module), NUV_SYSLOGLEVEL_##a_type); line_) { \
      NUV_LOG_##a_type((a_module), __VA_ARGS__);                                        \
    }                                                                                   \
  } while (0)

// Writes that a message goes from one part of phoned to another.
struct Part {
  const char* name;
  uint32_t port = 0;
};
enum class Way : uint32_t { kOut = 0, kIn = 1 };
void message(const Part& from, std::string_view text, const Part& to, Way way);

// Whether dropped lines are still to be reported; reports them if there is room.
bool is_behind();

// Whether the lines go to the system log, as they do at first, or to standard output.
void use_system_log(bool is_used);

// Whether the library would give up on an init file, keeping the masks in front of the damage. It says why in the log.
bool is_damaged(const std::string& init_file);

// Reads the init file and registers the modules. A default file need not exist; one that was named and does not is reported
// on standard output; one that is not a regular file is an Error. Nothing of a damaged file counts: a complaint about it is
// returned, or nothing.
std::string open(const std::optional<std::string>& init_file);

// The C library reads the file of the time zone for the first time stamp, and would block on a FIFO or a terminal. If TZ
// names one of those, times are in UTC, and this returns why.
std::string settle_time_zone();

}  // namespace phoned::trace

#endif
