// Draws a plan as a graph: what can be dialled, and where patterns overlap.
#ifndef TOOLS_USERLIB_DIGITMAP_GRAPH_H
#define TOOLS_USERLIB_DIGITMAP_GRAPH_H

#include <cstddef>
#include <optional>
#include <string>

#include "dialplan/plan.h"
#include "userlib-digitmap/answers.h"

namespace digitmap_tool {

// A larger graph is unreadable, and some plans would exceed the memory.
constexpr size_t kMaxPositions = 500;

// Returns a tree in the language of graphviz, drawn from left to right: a node for each position that dialling can
// reach, an edge for the digits that lead from one to the next. Digits that no pattern tells apart share an edge. Every
// node shows the plan's answer in this mode, and which patterns are alive. The tree ends where the plan has decided. If
// there are too many positions, those with equal subtrees are drawn as one; returns nothing if there are still too
// many.
std::optional<std::string> draw(const Plan& plan, Mode mode);

}  // namespace digitmap_tool

#endif
