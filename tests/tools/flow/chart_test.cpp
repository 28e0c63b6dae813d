// From a log to a chart, in all output formats.
#include "userlib-flow/chart.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "userlib-flow/display.h"
#include "userlib-flow/line_parser.h"
#include "userlib-flow/mermaid.h"
#include "userlib-flow/svg_chart.h"
#include "userlib-flow/text_chart.h"

namespace flow_tool {
namespace {

constexpr time_t kNow = 1'772'701'447;  // 2026-03-05 09:04:07 in UTC

constexpr char kLog[] =
    "Mar  5 09:04:00:000:tracemf: card:1 -->3 dial 11--> channel:2  RX\n"
    "Mar  5 09:04:00:001:tracemf: channel:2 -->3 dial 11--> dial layer:0  RX\n"
    "Mar  5 09:04:00:001:dump:Line: digits: 31 31\n"
    "Mar  5 09:04:00:002:tracemf: dial layer:0 -->3 more 11--> card:1  TX\n"
    "Mar  5 09:04:04:002:error:Line: x.c:7   <b> & \"so\" on\n"
    "Mar  5 09:04:04:003:tracemf: channel:2 -->3 itself--> channel:2  TX\n";

Chart chart_of(const std::string& log, LaneBy by = LaneBy::kName, size_t most = 100, Time gap = kSecond) {
  setenv("TZ", "UTC", 1);
  tzset();
  LineParser parser(kNow);
  ChartBuilder builder(by, gap, most);
  for (size_t begin = 0; begin < log.size();) {
    const size_t end = log.find('\n', begin);
    Record record;
    if (parser.parse(std::string_view(log).substr(begin, end - begin), record) == Verdict::kTrace) {
      builder.take(record);
    }
    begin = end + 1;
  }
  return builder.finish();
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = text.find('\n', begin);
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

TEST(Chart, HasLanesInOrderOfTheirFirstUse) {
  EXPECT_EQ(chart_of(kLog).lanes, (std::vector<std::string>{"card", "channel", "dial layer"}));
  EXPECT_EQ(chart_of(kLog, LaneBy::kNumber).lanes, (std::vector<std::string>{"card:1", "channel:2", "dial layer:0"}));
}

TEST(Chart, ShowsGapsInTime) {
  const Chart chart = chart_of(kLog);
  ASSERT_EQ(chart.items.size(), 6U);
  EXPECT_EQ(chart.items[3].what, ChartItem::What::kGap);
  EXPECT_EQ(chart.items[3].label, "4.00 s");
  EXPECT_EQ(chart_of(kLog, LaneBy::kName, 100, 0).items.size(), 5U);
  EXPECT_EQ(chart_of(kLog, LaneBy::kName, 100, 5 * kSecond).items.size(), 5U);
}

TEST(Chart, AddsADumpToItsMessage) {
  const Chart chart = chart_of(kLog);
  EXPECT_EQ(chart.items[1].details,
            (std::vector<std::string>{"Mar  5 09:04:00:001:tracemf: channel:2 -->3 dial 11--> dial layer:0  RX",
                                      "Line: digits: 31 31"}));
}

TEST(Chart, CountsWhatItHasNoRoomFor) {
  const Chart chart = chart_of(kLog, LaneBy::kName, 2);
  EXPECT_EQ(chart.messages, 2U);
  EXPECT_EQ(chart.left_out, 4U);
  std::string log;
  for (size_t i = 0; i < ChartMaker::kMostLanes + 3; ++i) {
    log += "Mar  5 09:04:00:000:tracemf: a" + std::to_string(i) + ":1 -->m--> b:1  RX\n";
  }
  const Chart crowded = chart_of(log);
  EXPECT_EQ(crowded.lanes.size(), ChartMaker::kMostLanes);
  EXPECT_EQ(crowded.left_out, 4U);
}

TEST(TextChart, IsDrawnInUnicode) {
  EXPECT_EQ(draw_text(chart_of(kLog), {60, false, false, true}),
            "             card              channel          dial layer\n"
            "               │                  │                  │\n"
            "09:04:00.000   │─── 3 dial 11 ───▶│                  │\n"
            "09:04:00.001   │                  │─── 3 dial 11 ───▶│\n"
            "               │ Line: digits: 31 31                 │\n"
            "09:04:00.002   │◀──────────── 3 more 11 ─────────────│\n"
            "               ┆ 4.00 s           ┆                  ┆\n"
            "09:04:04.002   │ Line: x.c:7 <b> & \"so\" on           │\n"
            "09:04:04.003   │                  │↺ 3 itself        │\n");
}

TEST(TextChart, IsDrawnInAscii) {
  const std::string text = draw_text(chart_of(kLog), {50, true, false, false});
  EXPECT_EQ(text,
            "card                channel            dial layer\n"
            "  |                    |                    |\n"
            "  |---- 3 dial 11 ---->|                    |\n"
            "  |                    |---- 3 dial 11 ---->|\n"
            "  | Line: digits: 31 31                     |\n"
            "  |<-------------- 3 more 11 ---------------|\n"
            "  : 4.00 s             :                    :\n"
            "  | Line: x.c:7 <b> & \"so\" on               |\n"
            "  |                    |@ 3 itself          |\n");
}

// For any width, any number of lanes and any letters.
TEST(TextChart, FitsItsWidth) {
  std::string log;
  for (int lanes = 0; lanes < 20; ++lanes) {
    log += "Mar  5 09:04:00:000:tracemf: läne " + std::to_string(lanes) +
           ":1 -->a 日本 message \xFF that is quite long--> other:1  RX\n"
           "Mar  5 09:04:02:000:info:Line   a note that is so long that it does not fit into eighty columns of text 😀\n"
           "Mar  5 09:04:02:000:tracemf: läne 0:1 -->to itself, at length, as nobody would do--> läne 0:1  TX\n"
           "Mar  5 09:04:02:000:tracemf: other:1 -->to itself, at length, as nobody would do--> other:1  TX\n";
    const Chart chart = chart_of(log);
    for (size_t width = 40; width < 130; width += 7) {
      for (const bool is_ascii : {false, true}) {
        for (const std::string& line : lines_of(draw_text(chart, {width, is_ascii, false, true}))) {
          EXPECT_LE(columns_of(line), width) << line;
        }
      }
    }
  }
}

TEST(TextChart, HasAColourForEachTypeAndTellsThePagerWhereItEnds) {
  const std::string text = draw_text(chart_of(kLog), {60, false, true, true});
  EXPECT_NE(text.find("│\x1b[1m─── 3 dial 11 ───▶\x1b[0m│"), std::string::npos) << text;
  EXPECT_NE(text.find("\x1b[31mLine: x.c:7 <b> & \"so\" on \x1b[0m"), std::string::npos) << text;
  EXPECT_NE(text.find("│\x1b[1m↺ 3 itself \x1b[0m "), std::string::npos) << text;
  EXPECT_NE(text.find("\x1b[35mLine: digits: 31 31 \x1b[0m"), std::string::npos) << text;
  for (const std::string& line : lines_of(text)) {
    const size_t last = line.rfind("\x1b[");
    EXPECT_TRUE(last == std::string::npos || line.compare(last, 4, "\x1b[0m") == 0) << line;
  }
}

TEST(Display, LetsNothingThroughThatATerminalObeys) {
  EXPECT_EQ(printable("a\x1b[31mb\x7F\x80\xC2\x85ä\xE2\x80\xAE"),
            "a?[31mb??"
            "?ä?");
  EXPECT_EQ(printable_ascii("aä日\x01"), "a???");
  EXPECT_EQ(columns_of("aä日e\xCC\x81"), 5U);
  EXPECT_EQ(cut_to("日本語", 4, "~"), "日~");
  EXPECT_EQ(cut_to("日本語", 6, "~"), "日本語");
}

TEST(Mermaid, IsWhatItsReadersParse) {
  EXPECT_EQ(draw_mermaid(chart_of(kLog)),
            "sequenceDiagram\n"
            "    participant L0 as card\n"
            "    participant L1 as channel\n"
            "    participant L2 as dial layer\n"
            "    L0->>L1: 3 dial 11\n"
            "    L1->>L2: 3 dial 11\n"
            "    L2->>L0: 3 more 11\n"
            "    Note over L0,L2: 4.00 s\n"
            "    Note over L0,L2: Line#58; x.c#58;7 #60;b#62; & #34;so#34; on\n"
            "    L1->>L1: 3 itself\n");
}

TEST(Svg, HoldsTooltipsAndEscapesThem) {
  const std::string svg = draw_svg(chart_of(kLog), true);
  EXPECT_NE(svg.find("<title>Mar  5 09:04:00:001:tracemf: channel:2 --&gt;3 dial 11--&gt; dial layer:0  RX\n"
                     "Line: digits: 31 31</title>"),
            std::string::npos);
  EXPECT_NE(svg.find("Line: x.c:7 &lt;b&gt; &amp; &quot;so&quot; on</text>"), std::string::npos);
  EXPECT_EQ(svg.find("<b>"), std::string::npos);
  EXPECT_NE(svg.find("prefers-color-scheme: dark"), std::string::npos);
}

TEST(Svg, SaysWhatIsLeftOut) {
  EXPECT_EQ(draw_svg(chart_of(kLog), true).find("left out"), std::string::npos);
  EXPECT_NE(draw_svg(chart_of(kLog, LaneBy::kName, 2), true).find(">4 more are left out</text>"), std::string::npos);
}

}  // namespace
}  // namespace flow_tool
