// Reads what the library itself has written: a trace line without what a log daemon puts in front of it.
#ifndef TOOLS_USERLIB_FLOW_TRACE_LINE_H
#define TOOLS_USERLIB_FLOW_TRACE_LINE_H

#include <optional>
#include <string_view>

#include "record.h"

namespace flow_tool {

enum class Verdict : uint8_t {
  kTrace,    // a line of the library
  kForeign,  // somebody else's
  kBroken,   // begins like a line of the library, and ends before it should
};

// What is known about a line before its text is looked at. Where a log does not keep the priority, the text decides.
struct Surroundings {
  enum class Place : uint8_t { kConsole, kPlainConsole, kLog };
  Place place = Place::kLog;
  std::optional<int> facility;
  std::optional<int> severity;
  bool has_pid = false;
};

// Fills the kind, the type and the fields of this kind; the text of a foreign line, too.
Verdict read_trace_line(std::string_view text, const Surroundings& surroundings, Record& record);

}  // namespace flow_tool

#endif
