// Draws graphs with the program "dot" of graphviz.
#ifndef TOOLS_USERLIB_DIGITMAP_SVG_H
#define TOOLS_USERLIB_DIGITMAP_SVG_H

#include <string>

namespace digitmap_tool {

struct Picture {
  enum class Outcome { kMade, kNoDot, kFailed };

  Outcome outcome;
  std::string svg;  // if it was made
  std::string why;  // if not
};

// Turns the graph into an SVG with the "dot" found in PATH. Messages of dot go to standard error.
Picture make_svg(const std::string& graph);

}  // namespace digitmap_tool

#endif
