// Rewrites a published plan for the library, with the same meaning or not at all.
#ifndef TOOLS_USERLIB_DIGITMAP_CONVERT_H
#define TOOLS_USERLIB_DIGITMAP_CONVERT_H

#include <cstddef>
#include <string>
#include <vector>

#include "userlib-digitmap/compare.h"
#include "userlib-digitmap/published.h"

namespace digitmap_tool {

struct Conversion {
  std::string plan;  // empty on failure
  std::string why;   // why it failed

  std::vector<std::string> notes;  // what is lost or left out, in words
  Comparison comparison;           // of the two plans
};

// Converts a text for daemons that check in this mode, and compares all dial strings of up to the length.
Conversion convert(const std::string& text, Form form, dialplan::Mode mode, size_t length = kDefaultLength);

}  // namespace digitmap_tool

#endif
