// Rewrites a published plan so that the library understands it, with the same meaning or not at all.
#ifndef TOOLS_USERLIB_DIGITMAP_CONVERT_H
#define TOOLS_USERLIB_DIGITMAP_CONVERT_H

#include <cstddef>
#include <string>
#include <vector>

#include "userlib-digitmap/compare.h"
#include "userlib-digitmap/published.h"

namespace digitmap_tool {

struct Conversion {
  std::string plan;  // empty: there is none
  std::string why;   // then: why not

  std::vector<std::string> notes;  // what is lost or left out, each in words
  Comparison comparison;           // of a plan
};

// Converts a text for daemons that check in this mode, and compares all dial strings up to a length.
Conversion convert(const std::string& text, Form form, dialplan::Mode mode, size_t length = kDefaultLength);

}  // namespace digitmap_tool

#endif
