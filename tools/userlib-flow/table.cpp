#include "table.h"

#include <algorithm>

#include "display.h"

namespace flow_tool {

std::string print_table(const std::vector<Row>& rows, size_t numbers) {
  std::vector<size_t> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], columns_of(row[i]));
    }
  }
  std::string text;
  for (const Row& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - columns_of(row[i]), ' ');
      line += i + numbers >= widths.size() ? blanks + row[i] : row[i] + blanks;
      line += "  ";
    }
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

}  // namespace flow_tool
