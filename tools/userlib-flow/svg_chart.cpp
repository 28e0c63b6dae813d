#include "svg_chart.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

#include "display.h"
#include "input.h"

namespace flow_tool {

namespace {

// Vertical sizes, in pixels.
constexpr int kRow = 34;
constexpr int kHead = 52;
constexpr int kGap = 40;
constexpr int kMargin = 14;
constexpr int kRowsUnderHead = 30;  // after these the lane names are repeated

// Horizontal sizes.
constexpr double kTimesPercent = 14;
constexpr double kNarrowest = 390;  // pixels: the width of a phone
constexpr double kWide = 700;       // pixels: shows the wide texts from here on
constexpr double kLaneNeeds = 66;   // pixels: with too many lanes for a phone, the picture is wider and scrolls
constexpr double kNarrowLetter = 6.1;
constexpr double kWideLetter = 7.3;
constexpr double kNoteInset = 26;

constexpr std::string_view kStyle = R"css(
  svg { --page: #ffffff; --ink: #1f2933; --faint: #66727f; --lane: #c3ccd6; --box: #edf2f8; --edge: #b4c0cd;
        --rx: #0a5bb5; --tx: #0b7350; --hover: #f2f6fb; --info: #2e7d32; --trace: #66727f; --debug: #3558b8;
        --dump: #8a3ab0; --warning: #9a6200; --error: #c02626; --gui: #0b7285; background: var(--page) }
  @media (prefers-color-scheme: dark) {
    svg { --page: #11161c; --ink: #e4eaf1; --faint: #94a1af; --lane: #3b4653; --box: #1d2630; --edge: #465464;
          --rx: #6db3ff; --tx: #56cf9f; --hover: #19212a; --info: #7bd17f; --trace: #94a1af; --debug: #9db4ff;
          --dump: #d7a0f0; --warning: #f0bb52; --error: #ff8a8a; --gui: #63d0e2 }
  }
  text { font: 12px ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace; fill: var(--ink) }
  .page { fill: var(--page) }
  .hit { fill: transparent }
  g:hover .hit { fill: var(--hover) }
  .name { font-weight: 600; font-size: 13px; text-anchor: middle }
  .again { font-weight: 400; fill: var(--faint) }
  .box { fill: var(--box); stroke: var(--edge) }
  .lane { stroke: var(--lane) }
  .pause { stroke: var(--lane); stroke-dasharray: 2 5 }
  .time, .pausing, .rest { fill: var(--faint) }
  .label, .pausing, .rest { text-anchor: middle }
  .label, .pausing, .again { paint-order: stroke; stroke: var(--page); stroke-width: 4px; stroke-linejoin: round }
  .way { stroke-width: 1.6; fill: none }
  .rx .way { stroke: var(--rx) } .rx .label { fill: var(--rx) } #rx path { fill: var(--rx) }
  .tx .way { stroke: var(--tx) } .tx .label { fill: var(--tx) } #tx path { fill: var(--tx) }
  .note rect.tint { fill: var(--box) }
  .note circle { fill: var(--ink) }
  .info circle { fill: var(--info) } .trace circle, .tracect circle, .tracedo circle { fill: var(--trace) }
  .debug circle { fill: var(--debug) } .dump circle { fill: var(--dump) } .guioutput circle { fill: var(--gui) }
  .warning circle { fill: var(--warning) } .warning text.said { fill: var(--warning) }
  .error circle { fill: var(--error) } .error text.said { fill: var(--error) }
  .narrow { display: none }
  @media (max-width: 699px) {
    text { font-size: 10px } .name { font-size: 10px }
    .narrow { display: inline } .wide { display: none }
  }
)css";

std::string escape(std::string_view text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string percent(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f%%", value);
  return text;
}

std::string attribute(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + value + "\"";
}

std::string attribute(const char* name, int value) {
  return attribute(name, std::to_string(value));
}

// The number of letters that fit into a part of the width.
size_t letters(double part, double width, double letter) {
  return static_cast<size_t>(std::max(part / 100 * width / letter, 1.0));
}

class Drawing {
 public:
  Drawing(const Chart& chart, bool has_times)
      : chart_(chart),
        left_(has_times ? kTimesPercent : 0),
        has_times_(has_times),
        least_width_(std::max(kNarrowest - kMargin * 2,
                              static_cast<double>(chart.lanes.size()) * kLaneNeeds / (1 - left_ / 100))) {}

  std::string draw() {
    head("name");
    int rows = 0;
    for (const ChartItem& item : chart_.items) {
      if (rows == kRowsUnderHead) {
        again();
        rows = 0;
      }
      add(item);
      ++rows;
    }
    y_ += kMargin;
    end_lanes();
    rest();
    return frame();
  }

 private:
  double centre(size_t lane) const {
    return left_ + (100 - left_) * (static_cast<double>(lane) + 0.5) / static_cast<double>(chart_.lanes.size());
  }

  // Writes the text twice, cut and in full, if a narrow picture has less room for it.
  void write(const std::string& attributes, const std::string& kind, double room, const std::string& text) {
    const std::string wide = cut_to(text, letters(room, std::max(kWide, least_width_), kWideLetter), "…");
    const std::string narrow = cut_to(text, letters(room, least_width_, kNarrowLetter), "…");
    const bool is_same = wide == narrow;
    body_ +=
        "<text" + attribute("class", kind + (is_same ? "" : " wide")) + attributes + ">" + escape(wide) + "</text>";
    if (!is_same) {
      body_ += "<text" + attribute("class", kind + " narrow") + attributes + ">" + escape(narrow) + "</text>";
    }
  }

  void head(const std::string& kind) {
    const double width = (100 - left_) / static_cast<double>(std::max<size_t>(chart_.lanes.size(), 1)) * 0.88;
    for (size_t lane = 0; lane < chart_.lanes.size(); ++lane) {
      body_ += "<g><title>" + escape(chart_.lanes[lane]) + "</title><rect class=\"box\" rx=\"6\"" +
               attribute("x", percent(centre(lane) - width / 2)) + attribute("y", kMargin) +
               attribute("width", percent(width)) + attribute("height", 28) + "/>";
      write(attribute("x", percent(centre(lane))) + attribute("y", kMargin + 19), kind, width * 0.9,
            chart_.lanes[lane]);
      body_ += "</g>\n";
    }
    y_ = kHead;
    lanes_from_ = kMargin + 28;
  }

  void again() {
    const double width = (100 - left_) / static_cast<double>(std::max<size_t>(chart_.lanes.size(), 1)) * 0.88;
    for (size_t lane = 0; lane < chart_.lanes.size(); ++lane) {
      names_again_.emplace_back(lane, y_ + 20);
    }
    name_room_ = width;
    y_ += kRow;
  }

  void add(const ChartItem& item) {
    switch (item.what) {
      case ChartItem::What::kMessage:
        message(item);
        break;
      case ChartItem::What::kNote:
        note(item);
        break;
      case ChartItem::What::kGap:
        gap(item);
        break;
    }
  }

  void begin_row(const std::string& kind, const ChartItem& item) {
    std::string title;
    for (const std::string& line : item.details) {
      title += (title.empty() ? "" : "\n") + line;
    }
    body_ += "<g" + attribute("class", kind) + "><title>" + escape(title) + "</title><rect class=\"hit\" x=\"0\" " +
             "width=\"100%\"" + attribute("y", y_) + attribute("height", kRow) + "/>";
    if (has_times_ && item.time != kNoTime) {
      // A phone has room for seconds only.
      const std::string clock = clock_text(item.time);
      const std::string place = " x=\"8\"" + attribute("y", y_ + 26);
      body_ += "<text class=\"time wide\"" + place + ">" + clock + "</text><text class=\"time narrow\"" + place + ">" +
               clock.substr(6) + "</text>";
    }
  }

  void end_row() {
    body_ += "</g>\n";
    y_ += kRow;
  }

  void message(const ChartItem& item) {
    const std::string kind = item.is_received ? "rx" : "tx";
    begin_row(kind, item);
    const int y = y_ + 22;
    const double from = centre(item.from);
    const double to = centre(item.to);
    const double middle = (from + to) / 2;
    if (item.from == item.to) {
      // A loop from a lane to itself has a size in pixels, so it needs a nested picture.
      body_ += "<svg overflow=\"visible\"" + attribute("x", percent(from)) + attribute("y", y_) +
               "><path class=\"way\" d=\"M0 12 h18 v14 h-16\" marker-end=\"url(#" + kind + ")\"/></svg>";
    } else {
      body_ += "<line class=\"way\"" + attribute("x1", percent(from)) + attribute("x2", percent(to)) +
               attribute("y1", y) + attribute("y2", y) + " marker-end=\"url(#" + kind + ")\"/>";
    }
    write(attribute("x", percent(middle)) + attribute("y", y_ + (item.from == item.to ? 8 : 15)), "label",
          2 * std::min(middle, 100 - middle) - 2, item.label);
    end_row();
  }

  void note(const ChartItem& item) {
    const std::string type = item.type < kTypes ? NUV_ESysloglevelType_name(item.type) : "none";
    begin_row("note " + type, item);
    const double width = 99 - left_;
    body_ += "<rect class=\"tint\" rx=\"5\"" + attribute("x", percent(left_)) + attribute("y", y_ + 9) +
             attribute("width", percent(width)) + attribute("height", 24) + "/><svg overflow=\"visible\"" +
             attribute("x", percent(left_)) + "><circle cx=\"12\" r=\"4\"" + attribute("cy", y_ + 21) + "/>";
    write(" x=\"22\"" + attribute("y", y_ + 25), "said", width - kNoteInset / kNarrowest * 100, item.label);
    body_ += "</svg>";
    end_row();
  }

  void gap(const ChartItem& item) {
    end_lanes();
    for (size_t lane = 0; lane < chart_.lanes.size(); ++lane) {
      lane_line("pause", lane, y_, y_ + kGap);
    }
    body_ += "<text class=\"pausing\"" + attribute("x", percent(left_ + (100 - left_) / 2)) +
             attribute("y", y_ + kGap / 2 + 4) + ">" + escape(item.label) + "</text>\n";
    y_ += kGap;
    lanes_from_ = y_;
  }

  void lane_line(const char* kind, size_t lane, int from, int to) {
    const std::string x = percent(centre(lane));
    lane_lines_ += std::string("<line class=\"") + kind + "\"" + attribute("x1", x) + attribute("x2", x) +
                   attribute("y1", from) + attribute("y2", to) + "/>\n";
  }

  void end_lanes() {
    for (size_t lane = 0; lane < chart_.lanes.size(); ++lane) {
      lane_line("lane", lane, lanes_from_, y_);
    }
  }

  void rest() {
    for (const auto& [lane, y] : names_again_) {
      write(attribute("x", percent(centre(lane))) + attribute("y", y), "name again", name_room_, chart_.lanes[lane]);
    }
    if (chart_.left_out > 0) {
      body_ += "<text class=\"rest\" x=\"50%\"" + attribute("y", y_ + 14) + ">" + with_commas(chart_.left_out) +
               " more are left out</text>\n";
      y_ += kRow;
    }
  }

  std::string frame() const {
    char size[96];
    std::snprintf(size, sizeof size, " width=\"100%%\" height=\"%d\" style=\"min-width: %.0fpx\"", y_, least_width_);
    return std::string("<svg xmlns=\"http://www.w3.org/2000/svg\"") + size + " role=\"img\">\n<title>" +
           with_commas(chart_.messages) + (chart_.messages == 1 ? " message" : " messages") + " between " +
           with_commas(chart_.lanes.size()) + " lanes</title>\n<style>" + std::string(kStyle) + "</style>\n<defs>" +
           marker("rx") + marker("tx") + "</defs>\n<rect class=\"page\" width=\"100%\" height=\"100%\"/>\n" +
           lane_lines_ + body_ + "</svg>\n";
  }

  static std::string marker(const std::string& id) {
    return "<marker id=\"" + id +
           "\" viewBox=\"0 0 10 10\" refX=\"10\" refY=\"5\" markerWidth=\"9\" markerHeight=\"9\" " +
           "markerUnits=\"userSpaceOnUse\" orient=\"auto\"><path d=\"M0 0.8 L10 5 L0 9.2 z\"/></marker>";
  }

  const Chart& chart_;
  double left_;
  bool has_times_;
  double least_width_;
  int y_ = 0;
  int lanes_from_ = 0;
  double name_room_ = 0;
  std::vector<std::pair<size_t, int>> names_again_;  // lanes and the heights at which to repeat their names, drawn last
  std::string lane_lines_;
  std::string body_;
};

}  // namespace

std::string draw_svg(const Chart& chart, bool has_times) {
  return Drawing(chart, has_times).draw();
}

}  // namespace flow_tool
