// Writes a published plan in the library's notation.
#ifndef TOOLS_USERLIB_DIGITMAP_REWRITE_H
#define TOOLS_USERLIB_DIGITMAP_REWRITE_H

#include <string>
#include <vector>

#include "userlib-digitmap/published.h"

namespace digitmap_tool {

// Alternatives within a pattern multiply.
constexpr size_t kMostPatterns = 500;

struct Rewritten {
  std::vector<std::string> patterns;
  std::string why;  // why there are none
};

// Whether patterns may have digits in common behind which one of them is complete at once. The other is not dialled any
// more then, but best match would wait for it where it is as specific.
enum class Overlap { kKept, kRemoved };

// What comes out is meant to be the same as the plan, and still has to be compared with it.
Rewritten rewrite(const Node& plan, Form form, Overlap overlap = Overlap::kKept);

}  // namespace digitmap_tool

#endif
