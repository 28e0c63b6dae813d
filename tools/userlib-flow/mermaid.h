// A chart in the language of Mermaid, which tickets and wikis draw.
#ifndef TOOLS_USERLIB_FLOW_MERMAID_H
#define TOOLS_USERLIB_FLOW_MERMAID_H

#include <string>

#include "chart.h"

namespace flow_tool {

std::string draw_mermaid(const Chart& chart);

}  // namespace flow_tool

#endif
