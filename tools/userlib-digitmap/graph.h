// The plan as a graph: what can be dialled, and where patterns overlap.
#ifndef TOOLS_USERLIB_DIGITMAP_GRAPH_H
#define TOOLS_USERLIB_DIGITMAP_GRAPH_H

#include <cstddef>
#include <optional>
#include <string>

#include "dialplan/plan.h"
#include "userlib-digitmap/answers.h"

namespace digitmap_tool {

// More is nothing that a person can look at. Some plans would have more than there is memory for.
constexpr size_t kMaxPositions = 500;

// A tree in the language of graphviz, read from left to right: a node for each position that dialling can get to, an
// edge for the digits that lead from one to the next. Digits that no pattern tells apart share an edge; where patterns
// differ, so do the edges. Every node tells what the plan answers there in this mode, and which patterns are alive. The
// tree ends where the plan has decided. Positions with equal futures are drawn as one if there are too many otherwise;
// nothing comes back if there still are.
std::optional<std::string> draw(const Plan& plan, Mode mode);

}  // namespace digitmap_tool

#endif
