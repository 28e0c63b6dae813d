// Tells whether a plan of ours means the same as a published one.
#ifndef TOOLS_USERLIB_DIGITMAP_COMPARE_H
#define TOOLS_USERLIB_DIGITMAP_COMPARE_H

#include <cstddef>
#include <string>

#include "dialplan/plan.h"
#include "userlib-digitmap/published.h"

namespace digitmap_tool {

// How long dial strings are of which all are compared, where nothing else is asked for; and how many of one length are, at
// most.
constexpr size_t kDefaultLength = 5;
constexpr size_t kMostStrings = 200000;
constexpr size_t kMostPositions = 20000;

struct Comparison {
  bool is_same = true;
  std::string difference;  // the first one, in words

  size_t strings = 0;    // so many were compared
  size_t length = 0;     // all up to this length
  size_t positions = 0;  // of longer ones: one for each position that dialling gets to
  bool is_whole = true;  // false: there were too many positions
};

// Dials both: one string after the other, as far as neither has decided. The answers on the one side are the library's,
// those on the other come from an automaton that is made of the published plan itself. Keys that neither side tells
// apart count as one.
Comparison compare(const Node& published, Form form, const dialplan::Plan& ours, dialplan::Mode mode, size_t length);

}  // namespace digitmap_tool

#endif
