// Draws a chart as a picture for browsers and documents.
#ifndef TOOLS_USERLIB_FLOW_SVG_CHART_H
#define TOOLS_USERLIB_FLOW_SVG_CHART_H

#include <string>

#include "chart.h"

namespace flow_tool {

// The picture fits any width from that of a phone on: lanes move together, letters keep their size. It follows the dark
// mode of the reader's system. Pointing at a row shows the whole line and its dump.
std::string draw_svg(const Chart& chart, bool has_times);

}  // namespace flow_tool

#endif
