// A chart that grows with the logs.
#ifndef TOOLS_USERLIB_FLOW_FOLLOW_H
#define TOOLS_USERLIB_FLOW_FOLLOW_H

#include "merge.h"
#include "options.h"
#include "text_chart.h"

namespace flow_tool {

// Prints rows to the standard output as lines arrive, and the lanes again when one is added. Ends when no later record
// can match, when the followed standard input ends, or when the reader closes the output. Returns whether all writes
// succeeded.
bool follow(Merge& merge, const Options& options, const TextStyle& style);

}  // namespace flow_tool

#endif
