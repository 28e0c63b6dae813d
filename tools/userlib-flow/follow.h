// A chart that grows while the logs do.
#ifndef TOOLS_USERLIB_FLOW_FOLLOW_H
#define TOOLS_USERLIB_FLOW_FOLLOW_H

#include "merge.h"
#include "options.h"
#include "text_chart.h"

namespace flow_tool {

// Prints rows on the standard output as lines come, and the lanes anew when there is one more. Ends when nothing more can
// be chosen, when the standard input, if that is what is followed, ends, or when nobody reads any more. Returns whether
// everything could be written.
bool follow(Merge& merge, const Options& options, const TextStyle& style);

}  // namespace flow_tool

#endif
