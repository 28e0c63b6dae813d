// The reader of userlib-flow with any lines. It must not crash, its texts must lie within the line or come from the
// journal's JSON, and what it reads as a message can be printed and read again.
#include <algorithm>
#include <string>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "userlib-flow/chart.h"
#include "userlib-flow/display.h"
#include "userlib-flow/line_parser.h"
#include "userlib-flow/mermaid.h"
#include "userlib-flow/svg_chart.h"
#include "userlib-flow/text_chart.h"

namespace {

using flow_tool::Kind;
using flow_tool::LineParser;
using flow_tool::Record;
using flow_tool::Verdict;

constexpr time_t kNow = 1'772'701'447;
constexpr size_t kMostItems = 50;

bool lies_within(std::string_view part, std::string_view whole) {
  return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

void check_fields(const Record& record, std::string_view line) {
  const bool is_json = !line.empty() && line[0] == '{';
  for (const std::string_view text :
       {record.module, record.file, record.text, record.hex, record.from, record.to, record.ident}) {
    // For a module that is not registered, the name is the library's.
    FUZZ_CHECK(is_json || lies_within(text, line) || record.kind == Kind::kUnregistered);
  }
  FUZZ_CHECK(record.type <= flow_tool::kNoType);
}

// If a name contains a separator of the fields, another message is read, so it is skipped.
void check_message(LineParser& parser, const Record& record) {
  const auto is_plain = [](std::string_view name) { return name.find("--") == std::string_view::npos; };
  if (!is_plain(record.from) || !is_plain(record.to) || !is_plain(record.text)) {
    return;
  }
  const std::string line = "Mar  5 09:04:07:042:tracemf: " + std::string(record.from) + ":" +
                           std::to_string(record.from_number) + " -->" + std::string(record.text) + "--> " +
                           std::string(record.to) + ":" + std::to_string(record.to_number) +
                           (record.is_received ? "  RX" : "  TX");
  const flow_tool::KeptRecord kept(record);
  Record again;
  FUZZ_CHECK(parser.parse(line, again) == Verdict::kTrace);
  FUZZ_CHECK(again.from == kept.get().from && again.to == kept.get().to && again.text == kept.get().text);
  FUZZ_CHECK(again.from_number == kept.get().from_number && again.to_number == kept.get().to_number);
}

// Every chart can be drawn: each row of text fits, and pictures contain no unescaped tags.
void check_drawings(const flow_tool::Chart& chart) {
  const flow_tool::TextStyle style = {60, false, false, true};
  const std::string text = draw_text(chart, style);
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = text.find('\n', begin);
    FUZZ_CHECK(end != std::string::npos);
    FUZZ_CHECK(flow_tool::columns_of(std::string_view(text).substr(begin, end - begin)) <= style.width);
    begin = end + 1;
  }
  const std::string svg = draw_svg(chart, true);
  FUZZ_CHECK(std::count(svg.begin(), svg.end(), '<') - std::count(svg.begin(), svg.end(), '>') == 0);
  FUZZ_CHECK(!draw_mermaid(chart).empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  LineParser parser(kNow);
  flow_tool::ChartBuilder builder(flow_tool::LaneBy::kNumber, flow_tool::kSecond, kMostItems);
  while (!input.empty()) {
    const std::string line(input.line());
    Record record;
    if (parser.parse(line, record) != Verdict::kTrace) {
      continue;
    }
    check_fields(record, line);
    builder.take(record);
    if (record.kind == Kind::kMessage) {
      check_message(parser, record);
    }
  }
  check_drawings(builder.finish());
  return 0;
}
