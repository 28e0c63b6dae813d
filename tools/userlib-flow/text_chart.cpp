#include "text_chart.h"

#include <algorithm>
#include <array>

#include "display.h"

namespace flow_tool {

namespace {

constexpr size_t kTimeWidth = 13;  // "09:04:07.042 "
constexpr size_t kLeastSpacing = 8;
constexpr size_t kMostSpacing = 30;
constexpr size_t kMostMargin = 7;
constexpr std::array<const char*, kTypes + 1> kColours = {"32", "2", "34", "35", "33", "31", "36", "1", "2", "2", "0"};
constexpr const char* kGapColour = "2";

std::string in_colour(const std::string& text, const char* colour) {
  return std::string("\x1b[") + colour + "m" + text + "\x1b[0m";
}

}  // namespace

struct TextChart::Glyphs {
  std::string lane;
  std::string broken_lane;
  std::string line;
  std::string to_right;
  std::string to_left;
  std::string cut;
  std::string loop;
};

// One row, cell by cell. A character two columns wide leaves the next cell empty.
class TextChart::Canvas {
 public:
  explicit Canvas(size_t width) : cells_(width, " ") {}

  void put(size_t column, const std::string& glyph) {
    if (column < cells_.size()) {
      cells_[column] = glyph;
    }
  }

  // Returns the column after the text. Text that does not fit is left out.
  size_t write(size_t column, const std::string& text) {
    for (size_t at = 0; at < text.size() && column < cells_.size();) {
      const size_t length = length_of_character(text, at);
      const std::string character = text.substr(at, length);
      const size_t columns = columns_of(character);
      if (columns == 0) {
        cells_[column > 0 ? column - 1 : 0] += character;
      } else {
        cells_[column] = character;
        for (size_t i = 1; i < columns && column + i < cells_.size(); ++i) {
          cells_[column + i].clear();
        }
      }
      column += columns;
      at += length;
    }
    return column;
  }

  std::string text(size_t begin, size_t end) const {
    std::string text;
    for (size_t i = begin; i < std::min(end, cells_.size()); ++i) {
      text += cells_[i];
    }
    return text;
  }

  size_t width() const { return cells_.size(); }

 private:
  static size_t length_of_character(const std::string& text, size_t at) {
    size_t length = 1;
    while (at + length < text.size() && (static_cast<unsigned char>(text[at + length]) & 0xC0) == 0x80) {
      ++length;
    }
    return length;
  }

  std::vector<std::string> cells_;
};

const TextChart::Glyphs& TextChart::glyphs() const {
  static const Glyphs kUnicode = {"│", "┆", "─", "▶", "◀", "…", "↺"};
  static const Glyphs kAscii = {"|", ":", "-", ">", "<", "~", "@"};
  return style_.is_ascii ? kAscii : kUnicode;
}

TextChart::TextChart(const TextStyle& style, const std::vector<std::string>& lanes)
    : style_(style), lanes_(lanes), time_width_(style.has_times ? kTimeWidth : 0) {
  if (!lanes_.empty()) {
    place_lanes();
  }
}

// Spreads the lanes over the width; the outer ones are as far out as their names allow.
void TextChart::place_lanes() {
  const size_t room = style_.width > time_width_ ? style_.width - time_width_ : 0;
  margin_ = std::min(columns_of(lanes_.front()) / 2, kMostMargin);
  const size_t right = std::min((columns_of(lanes_.back()) + 1) / 2, kMostMargin) + 1;
  const size_t between = room > margin_ + right ? room - margin_ - right : 0;
  spacing_ = std::min(between / std::max<size_t>(lanes_.size() - 1, 1), kMostSpacing);
  is_list_ = spacing_ < kLeastSpacing;
}

std::string TextChart::shown(const std::string& text) const {
  return style_.is_ascii ? printable_ascii(text) : text;
}

std::string TextChart::time_of(const ChartItem& item) const {
  if (!style_.has_times) {
    return {};
  }
  const std::string text = item.time != kNoTime ? clock_text(item.time) : "";
  return text + std::string(kTimeWidth - text.size(), ' ');
}

std::string TextChart::coloured(const std::string& text, Type type) const {
  return style_.has_colours ? in_colour(text, kColours[type]) : text;
}

void TextChart::draw_lanes(Canvas& canvas, const std::string& line) const {
  for (size_t lane = 0; lane < lanes_.size(); ++lane) {
    canvas.put(centre(lane), line);
  }
}

std::string TextChart::head() const {
  if (is_list_ || lanes_.empty()) {
    return {};
  }
  Canvas canvas(style_.width);
  for (size_t lane = 0; lane < lanes_.size(); ++lane) {
    const bool is_outer = lane == 0 || lane + 1 == lanes_.size();
    const size_t room = is_outer ? std::min(spacing_ - 1, 2 * kMostMargin) : spacing_ - 1;
    const std::string name = cut_to(shown(lanes_[lane]), room, glyphs().cut);
    canvas.write(centre(lane) - columns_of(name) / 2, name);
  }
  Canvas line(style_.width);
  draw_lanes(line, glyphs().lane);
  const auto finish = [](const Canvas& row) {
    const std::string text = row.text(0, row.width());
    return text.substr(0, text.find_last_not_of(' ') + 1) + "\n";
  };
  return finish(canvas) + finish(line);
}

// "│── 3 offhook ──▶│": the label in the middle of the arrow.
TextChart::Span TextChart::draw_arrow(Canvas& canvas, const ChartItem& item) const {
  const size_t left = centre(std::min(item.from, item.to)) + 1;
  const size_t right = centre(std::max(item.from, item.to));
  for (size_t column = left; column < right; ++column) {
    canvas.put(column, glyphs().line);
  }
  const bool goes_right = item.from < item.to;
  canvas.put(goes_right ? right - 1 : left, goes_right ? glyphs().to_right : glyphs().to_left);
  const size_t room = right - left - 1;
  std::string label = " " + shown(item.label) + " ";
  if (columns_of(label) > room) {
    label = cut_to(shown(item.label), room, glyphs().cut);
  }
  canvas.write(left + (goes_right ? 0 : 1) + (room - columns_of(label)) / 2, label);
  return {left, right};
}

// From a lane to itself: a loop on the side with room.
TextChart::Span TextChart::draw_loop(Canvas& canvas, const ChartItem& item) const {
  const std::string label = " " + shown(item.label) + " ";
  const size_t lane = centre(item.from);
  const size_t right = style_.width - lane - 2;
  const size_t left = lane - time_width_ > 1 ? lane - time_width_ - 1 : 0;
  if (right >= std::min(columns_of(label), left)) {
    canvas.put(lane + 1, glyphs().loop);
    return {lane + 1, canvas.write(lane + 2, cut_to(label, right, glyphs().cut))};
  }
  canvas.put(lane - 1, glyphs().loop);
  const std::string cut = cut_to(label, left, glyphs().cut);
  canvas.write(lane - 1 - columns_of(cut), cut);
  return {lane - 1 - columns_of(cut), lane};
}

TextChart::Span TextChart::draw_note(Canvas& canvas, const ChartItem& item) const {
  const size_t begin = centre(0) + 2;
  const size_t room = style_.width > begin ? style_.width - begin : 0;
  return {begin, canvas.write(begin, cut_to(shown(item.label) + " ", room, glyphs().cut))};
}

TextChart::Span TextChart::draw_item(Canvas& canvas, const ChartItem& item) const {
  draw_lanes(canvas, item.what == ChartItem::What::kGap ? glyphs().broken_lane : glyphs().lane);
  if (item.what != ChartItem::What::kMessage) {
    return draw_note(canvas, item);
  }
  return item.from == item.to ? draw_loop(canvas, item) : draw_arrow(canvas, item);
}

std::string TextChart::list_row(const ChartItem& item) const {
  std::string text = shown(item.label);
  if (item.what == ChartItem::What::kMessage) {
    text = shown(lanes_[item.from]) + " -> " + shown(lanes_[item.to]) + "  " + text;
  }
  const size_t room = style_.width > time_width_ ? style_.width - time_width_ : 0;
  return time_of(item) + coloured(cut_to(text, room, glyphs().cut), item.type) + "\n";
}

std::string TextChart::row(const ChartItem& item) const {
  if (is_list_ || lanes_.empty()) {
    return list_row(item);
  }
  Canvas canvas(style_.width);
  const auto [begin, end] = draw_item(canvas, item);
  const std::string behind = canvas.text(end, canvas.width());
  std::string middle = canvas.text(begin, end);
  if (style_.has_colours) {
    middle = in_colour(middle, item.what == ChartItem::What::kGap ? kGapColour : kColours[item.type]);
  }
  const std::string row = canvas.text(time_width_, begin) + middle + behind.substr(0, behind.find_last_not_of(' ') + 1);
  return time_of(item) + row.substr(0, row.find_last_not_of(' ') + 1) + "\n";
}

std::string draw_text(const Chart& chart, const TextStyle& style) {
  const TextChart drawing(style, chart.lanes);
  std::string text = drawing.head();
  for (const ChartItem& item : chart.items) {
    text += drawing.row(item);
    for (size_t i = 1; i < item.details.size(); ++i) {
      ChartItem dump;
      dump.type = NUV_SYSLOGLEVEL_DUMP;
      dump.label = item.details[i];
      text += drawing.row(dump);
    }
  }
  return text;
}

}  // namespace flow_tool
