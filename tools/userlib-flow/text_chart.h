// Draws a chart for a terminal.
#ifndef TOOLS_USERLIB_FLOW_TEXT_CHART_H
#define TOOLS_USERLIB_FLOW_TEXT_CHART_H

#include <string>
#include <vector>

#include "chart.h"

namespace flow_tool {

struct TextStyle {
  size_t width = 80;
  bool is_ascii = false;
  bool has_colours = false;
  bool has_times = true;
};

// Rows have at most the given width. If there are more lanes than fit, a message is a line "from -> to" instead of an
// arrow.
class TextChart {
 public:
  TextChart(const TextStyle& style, const std::vector<std::string>& lanes);

  std::string head() const;
  std::string row(const ChartItem& item) const;

 private:
  struct Glyphs;
  class Canvas;
  struct Span {
    size_t begin;
    size_t end;
  };

  const Glyphs& glyphs() const;
  size_t centre(size_t lane) const { return time_width_ + margin_ + lane * spacing_; }
  void place_lanes();
  std::string shown(const std::string& text) const;
  std::string time_of(const ChartItem& item) const;
  std::string coloured(const std::string& text, Type type) const;
  void draw_lanes(Canvas& canvas, const std::string& line) const;
  // Each of these returns the columns drawn: the first, and one past the last.
  Span draw_arrow(Canvas& canvas, const ChartItem& item) const;
  Span draw_loop(Canvas& canvas, const ChartItem& item) const;
  Span draw_note(Canvas& canvas, const ChartItem& item) const;
  Span draw_item(Canvas& canvas, const ChartItem& item) const;
  std::string list_row(const ChartItem& item) const;

  TextStyle style_;
  std::vector<std::string> lanes_;
  size_t time_width_;
  size_t margin_ = 0;   // columns left of the first lane, for its name
  size_t spacing_ = 0;  // columns from one lane to the next
  bool is_list_ = false;
};

std::string draw_text(const Chart& chart, const TextStyle& style);

}  // namespace flow_tool

#endif
