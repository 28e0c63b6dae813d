#include "mermaid.h"

namespace flow_tool {

namespace {

// Writes characters that end a statement, begin a character code or look like a tag as codes.
std::string escape(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '#' || c == ';' || c == '<' || c == '>' || c == ':' || c == '%' || c == '"') {
      result += "#" + std::to_string(static_cast<int>(c)) + ";";
    } else {
      result += c;
    }
  }
  return result.empty() ? " " : result;
}

std::string lane(size_t place) {
  return "L" + std::to_string(place);
}

}  // namespace

std::string draw_mermaid(const Chart& chart) {
  std::string text = "sequenceDiagram\n";
  for (size_t i = 0; i < chart.lanes.size(); ++i) {
    text += "    participant " + lane(i) + " as " + escape(chart.lanes[i]) + "\n";
  }
  if (chart.lanes.empty()) {
    text += "    participant L0 as log\n";
  }
  const std::string all = chart.lanes.size() > 1 ? "L0," + lane(chart.lanes.size() - 1) : "L0";
  for (const ChartItem& item : chart.items) {
    if (item.what == ChartItem::What::kMessage) {
      text += "    " + lane(item.from) + "->>" + lane(item.to) + ": " + escape(item.label) + "\n";
    } else {
      text += "    Note over " + all + ": " + escape(item.label) + "\n";
    }
  }
  return text;
}

}  // namespace flow_tool
