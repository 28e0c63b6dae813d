// What phoned tells the system log: the modules under which it traces, and the way of a message through it.
//
// An operator chooses with the command "tr" what of it is written. What the init file does not say otherwise, and what
// needs nobody's attention, is off.
#ifndef EXAMPLES_PHONED_CORE_TRACE_H
#define EXAMPLES_PHONED_CORE_TRACE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <netinet/in.h>

#include "nuv_sysloglevel.h"
#include "phoned/core/result.h"
#include "phoned/core/time_limit.h"
#include "userlib.hpp"

namespace phoned {
struct Verdict;
}

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
extern Modules modules;

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
// opened is worth a line on standard output; one that is no file to read is an error, and so not read.
std::optional<Error> open(const std::optional<std::string>& init_file);

// The C library reads the file of the time zone when it makes the first time stamp. It would wait at a FIFO or a terminal;
// with one of those in TZ, times are in UTC, and this says why.
std::optional<Error> settle_time_zone();

// The way of an event: from a line card to the channel, on to the dial layer, which asks the plan about each digit, and the
// answer back.
void received(const sockaddr_in& card, uint16_t port, std::string_view event);
void taken(uint16_t port, std::string_view event);
enum class Timer { kRunning, kExpired };
void asked(uint8_t line, const std::string& digits, Timer timer);
void judged(uint8_t line, const Verdict& verdict);
void answered(uint16_t port, std::string_view answer);
void sent(const sockaddr_in& card, uint16_t port, std::string_view answer);

}  // namespace phoned::trace

#endif
