#include "userlib-digitmap/graph.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "doubles/pattern.h"

namespace digitmap_tool {
namespace {

struct DrawnNode {
  std::string label;
  std::string meaning;  // the tooltip after the digits
  std::map<char, int> edges;
};

// The characters of an edge's label, such as " 2-5 # ".
std::string characters_of(const std::string& label) {
  std::istringstream words(label);
  std::string characters;
  for (std::string word; words >> word;) {
    if (word.size() == 3) {
      const size_t first = dialplan::kDialled.find(word.front());
      characters += dialplan::kDialled.substr(first, dialplan::kDialled.find(word.back()) - first + 1);
    } else {
      characters += word;
    }
  }
  return characters;
}

// Reads a drawn graph back, line by line.
std::map<int, DrawnNode> read_graph(const std::string& graph) {
  static const support::Pattern kNode(R"re(^  n([0-9]+) \[label=(""|<(.*)>),.* tooltip="[^:]*: ([^"]*)"\];$)re");
  static const support::Pattern kEdge(R"re(^  n([0-9]+) -> n([0-9]+) \[label="([^"]*)"\];$)re");
  std::map<int, DrawnNode> nodes;
  std::istringstream lines(graph);
  for (std::string line; std::getline(lines, line);) {
    const std::vector<std::string> node_parts = kNode.find_in(line);
    const std::vector<std::string> edge_parts = kEdge.find_in(line);
    if (!node_parts.empty()) {
      DrawnNode& node = nodes[std::stoi(node_parts[1])];
      node.label = node_parts[3];
      node.meaning = node_parts[4];
    } else if (!edge_parts.empty()) {
      for (const char c : characters_of(edge_parts[3])) {
        const bool is_new = nodes[std::stoi(edge_parts[1])].edges.emplace(c, std::stoi(edge_parts[2])).second;
        EXPECT_TRUE(is_new) << line;
      }
    }
  }
  return nodes;
}

// Checks that a drawn node shows the plan's answer to these digits.
void expect_right_answer(const DrawnNode& node, const Plan& plan, Mode mode, const std::string& digits) {
  const Answer now = ask(plan, mode, digits, Timer::kRunning);
  const Answer later = ask(plan, mode, digits, Timer::kExpired);
  if (now.result == Result::kComplete) {
    EXPECT_EQ(node.meaning, "complete at once");
    EXPECT_EQ(node.label.find("<B>" + now.pattern + "</B>"), 0U) << node.label;
  } else if (later.result == Result::kComplete) {
    EXPECT_EQ(node.meaning, "complete when the time is up");
    EXPECT_EQ(node.label.find("<B>" + later.pattern + "</B>"), 0U) << node.label;
  } else if (now.result == Result::kNoMatch) {
    EXPECT_EQ(node.meaning, "no match");
  } else {
    EXPECT_TRUE(node.meaning.find("more digits") != std::string::npos) << node.meaning;
  }
}

// Dials through the tree of a plan without repeated symbols, and compares every position with the plan's answer.
TEST(DigitmapToolGraph, LeadsToThePlansAnswers) {
  const char* const kPlans[] = {
      "110|112|11|11x|1xxxT", "110|1[2-9]x|0xxT|*xx|#A", "11T|11x|11[0-4]", "[5-2]|1", "1|1|1T", "xxT|x",
      "A[0-*]B|AxxT"};
  std::mt19937 random(3);
  for (const char* text : kPlans) {
    for (const Mode mode : {Mode::kFirst, Mode::kBest}) {
      SCOPED_TRACE(text);
      const Plan plan(text, Plan::Source::kArgument);
      ASSERT_TRUE(plan.problems().empty());
      const auto graph = draw(plan, mode);
      ASSERT_TRUE(graph);
      const auto nodes = read_graph(*graph);
      ASSERT_EQ(nodes.count(0), 1U);
      for (int i = 0; i < 500; ++i) {
        int at = 0;
        std::string digits;
        while (true) {
          const std::string_view likely = random() % 2 == 0 ? "0123" : dialplan::kDialled;
          const char digit = likely[random() % likely.size()];
          const DrawnNode& node = nodes.at(at);
          digits += digit;
          SCOPED_TRACE(digits);
          const auto edge = node.edges.find(digit);
          if (edge == node.edges.end()) {
            const bool is_decided = node.meaning == "complete at once" || node.meaning == "no match";
            EXPECT_TRUE(is_decided || ask(plan, mode, digits, Timer::kRunning).result == Result::kNoMatch);
            break;
          }
          at = edge->second;
          expect_right_answer(nodes.at(at), plan, mode, digits);
        }
      }
    }
  }
}

TEST(DigitmapToolGraph, PartsDigitsWherePatternsDiffer) {
  const Plan plan("110|1[2-9]x", Plan::Source::kArgument);
  const auto nodes = read_graph(*draw(plan, Mode::kBest));
  ASSERT_EQ(nodes.size(), 6U);
  EXPECT_EQ(nodes.at(0).label, "off the hook");
  EXPECT_EQ(nodes.at(0).edges, (std::map<char, int>{{'1', 1}}));
  EXPECT_EQ(nodes.at(1).label, "110<BR/>1[2-9]x");
  EXPECT_EQ(nodes.at(1).meaning, "needs more digits, of several patterns");
  EXPECT_EQ(nodes.at(1).edges.at('1'), 2);
  EXPECT_EQ(nodes.at(1).edges.at('2'), 3);
  EXPECT_EQ(nodes.at(1).edges.at('9'), 3);
  EXPECT_EQ(nodes.at(1).edges.count('0'), 0U);
  EXPECT_EQ(nodes.at(2).label, "");
  EXPECT_EQ(nodes.at(2).meaning, "needs more digits");
  EXPECT_EQ(nodes.at(4).label, "<B>110</B>");
  EXPECT_EQ(nodes.at(5).label, "<B>1[2-9]x</B>");
}

TEST(DigitmapToolGraph, EndsWhereThePlanHasDecided) {
  const Plan plan("11|11x", Plan::Source::kArgument);
  // By first match, 11 is complete and 11x is never dialled. By best match 11 has to wait.
  const auto first = read_graph(*draw(plan, Mode::kFirst));
  ASSERT_EQ(first.size(), 3U);
  EXPECT_EQ(first.at(2).label, "<B>11</B><BR/><FONT COLOR=\"#757575\">11x</FONT>");
  EXPECT_TRUE(first.at(2).edges.empty());
  const auto best = read_graph(*draw(plan, Mode::kBest));
  ASSERT_EQ(best.size(), 4U);
  EXPECT_EQ(best.at(2).meaning, "fits a pattern, but has to wait for more digits");
  EXPECT_EQ(best.at(2).label, "11<BR/>11x");
  EXPECT_EQ(best.at(3).label, "<B>11x</B>");
}

TEST(DigitmapToolGraph, TellsWhichPatternsDecideNowhere) {
  const auto nowhere = [](const char* text, Mode mode) {
    const std::string graph = *draw(Plan(text, Plan::Source::kArgument), mode);
    const std::string start = "decide nowhere here:</B><BR ALIGN=\"LEFT\"/>";
    const size_t begin = graph.find(start);
    return begin == std::string::npos
               ? ""
               : graph.substr(begin + start.size(), graph.find("<BR ALIGN=\"LEFT\"/></FONT>") - begin - start.size());
  };
  EXPECT_EQ(nowhere("110|0x.T", Mode::kBest), "");
  EXPECT_EQ(nowhere("11|11x", Mode::kBest), "11");
  EXPECT_EQ(nowhere("11|11x", Mode::kFirst), "11x");
  EXPECT_EQ(nowhere("1|[5-2]|10|2", Mode::kFirst), "[5-2]<BR ALIGN=\"LEFT\"/>10");
}

TEST(DigitmapToolGraph, DrawsRepeatedSymbolsAsLoops) {
  const Plan plan("0x.T", Plan::Source::kArgument);
  const auto nodes = read_graph(*draw(plan, Mode::kBest));
  ASSERT_EQ(nodes.size(), 2U);
  EXPECT_EQ(nodes.at(1).edges.at('7'), 1);
  EXPECT_EQ(nodes.at(1).meaning, "complete when the time is up");
}

TEST(DigitmapToolGraph, CutsWhatIsTooLongForANode) {
  const std::string pattern(40, '1');
  const Plan plan(pattern.substr(0, 39) + "2|" + pattern, Plan::Source::kArgument);
  const auto nodes = read_graph(*draw(plan, Mode::kBest));
  EXPECT_EQ(nodes.at(1).label, std::string(29, '1') + "...<BR/>" + std::string(29, '1') + "...");
  const Plan many("10|11|12|13|14|15|16", Plan::Source::kArgument);
  EXPECT_EQ(read_graph(*draw(many, Mode::kBest)).at(1).label, "10<BR/>11<BR/>12<BR/>13<BR/>14<BR/>and 2 more");
  const Plan six("10|11|12|13|14|15", Plan::Source::kArgument);
  EXPECT_EQ(read_graph(*draw(six, Mode::kBest)).at(1).label, "10<BR/>11<BR/>12<BR/>13<BR/>14<BR/>15");
}

TEST(DigitmapToolGraph, StopsAtTooManyPositions) {
  const auto chain = [](size_t length) { return Plan(std::string(length, '1'), Plan::Source::kArgument); };
  const auto largest = draw(chain(kMaxPositions - 1), Mode::kBest);
  ASSERT_TRUE(largest);
  EXPECT_EQ(read_graph(*largest).size(), kMaxPositions);
  EXPECT_FALSE(draw(chain(kMaxPositions), Mode::kBest));
  // Each of the last twelve digits makes a difference: 2^12 sets of places.
  EXPECT_FALSE(draw(Plan("x.1xxxxxxxxxxxT", Plan::Source::kArgument), Mode::kBest));
}

TEST(DigitmapToolGraph, SharesPositionsBeforeItGivesUp) {
  // At each of ten positions only the last digit makes a difference, by being 0 or not: 2^10 paths in a tree, but few
  // distinct positions.
  std::string text = "xxxxxxxxxxT";
  for (size_t i = 0; i < 10; ++i) {
    text += "|" + std::string(i, 'x') + "0A";
  }
  const Plan plan(text, Plan::Source::kArgument);
  const auto graph = draw(plan, Mode::kBest);
  ASSERT_TRUE(graph);
  const auto nodes = read_graph(*graph);
  EXPECT_LE(nodes.size(), kMaxPositions);
  // In a tree only one edge leads to each node.
  std::map<int, int> ways;
  for (const auto& [from, node] : nodes) {
    std::set<int> next;
    for (const auto& [digit, to] : node.edges) {
      next.insert(to);
    }
    for (const int to : next) {
      ways[to] += to > from ? 1 : 0;
    }
  }
  EXPECT_TRUE(std::any_of(ways.begin(), ways.end(), [](const auto& way) { return way.second > 1; }));
}

}  // namespace
}  // namespace digitmap_tool
