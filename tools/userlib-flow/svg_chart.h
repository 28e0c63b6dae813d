// A chart as a picture for browsers and documents.
#ifndef TOOLS_USERLIB_FLOW_SVG_CHART_H
#define TOOLS_USERLIB_FLOW_SVG_CHART_H

#include <string>

#include "chart.h"

namespace flow_tool {

// The picture takes the width that it is given, from a telephone's on: lanes move together, letters keep their size. It
// is dark where the reader's system is. Pointing at a row shows the whole line, and the dump that belongs to it.
std::string draw_svg(const Chart& chart, bool has_times);

}  // namespace flow_tool

#endif
