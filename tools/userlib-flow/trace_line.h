// Parses what the library itself writes: a trace line without the prefix of a log daemon.
#ifndef TOOLS_USERLIB_FLOW_TRACE_LINE_H
#define TOOLS_USERLIB_FLOW_TRACE_LINE_H

#include <optional>
#include <string_view>

#include "record.h"

namespace flow_tool {

enum class Verdict : uint8_t {
  kTrace,    // a line of the library
  kForeign,  // not a line of the library
  kBroken,   // begins like a line of the library, but ends too early
};

// What the prefix of a line tells. If a log does not keep the priority, the text decides.
struct Surroundings {
  enum class Place : uint8_t { kConsole, kPlainConsole, kLog };
  Place place = Place::kLog;
  std::optional<int> facility;
  std::optional<int> severity;
  bool has_pid = false;
};

// Sets the kind, the type and the fields of that kind; for a foreign line, the text.
Verdict read_trace_line(std::string_view text, const Surroundings& surroundings, Record& record);

}  // namespace flow_tool

#endif
