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
  std::string why;  // why there are no patterns
};

// Whether a pattern may keep numbers that begin with a number that is complete at once. They can no longer be dialled,
// but best match would wait for them if they are as specific.
enum class Overlap { kKept, kRemoved };

// The result should mean the same as the plan; the caller compares the two.
Rewritten rewrite(const Node& plan, Form form, Overlap overlap = Overlap::kKept);

}  // namespace digitmap_tool

#endif
