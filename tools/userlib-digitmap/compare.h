// Compares a plan of ours with a published one.
#ifndef TOOLS_USERLIB_DIGITMAP_COMPARE_H
#define TOOLS_USERLIB_DIGITMAP_COMPARE_H

#include <cstddef>
#include <string>

#include "dialplan/plan.h"
#include "userlib-digitmap/published.h"

namespace digitmap_tool {

// By default, all dial strings of up to 5 digits are compared, but at most kMostStrings of each length.
constexpr size_t kDefaultLength = 5;
constexpr size_t kMostStrings = 200000;
constexpr size_t kMostPositions = 20000;

struct Comparison {
  bool is_same = true;
  std::string difference;  // the first one, in words

  size_t strings = 0;    // dial strings compared
  size_t length = 0;     // all of up to this length
  size_t positions = 0;  // positions that longer ones reach, each compared once
  bool is_whole = true;  // false: there were too many positions
};

// Dials every string on both sides until one decides. The library answers on one side, an automaton built from the
// published plan on the other. Keys that neither side tells apart count as one.
Comparison compare(const Node& published, Form form, const dialplan::Plan& ours, dialplan::Mode mode, size_t length);

}  // namespace digitmap_tool

#endif
