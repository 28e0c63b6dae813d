// Columns of text.
#ifndef TOOLS_USERLIB_FLOW_TABLE_H
#define TOOLS_USERLIB_FLOW_TABLE_H

#include <cstddef>
#include <string>
#include <vector>

namespace flow_tool {

using Row = std::vector<std::string>;

// The rows as lines of text, each column as wide as its widest cell, the last `numbers` columns right-aligned.
std::string print_table(const std::vector<Row>& rows, size_t numbers);

}  // namespace flow_tool

#endif
