#include "userlib-digitmap/graph.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "dialplan/reach.h"
#include "dialplan/warnings.h"

namespace digitmap_tool {

namespace {

// A place in a pattern: index of the pattern, and of its next symbol.
using Place = std::pair<size_t, size_t>;

// In ascending order, each once. Equal sets lead to equal subtrees.
using Places = std::vector<Place>;

struct Edge {
  size_t to;
  uint32_t mask;  // of the symbols that lead there
};

// What a node looks like.
struct Style {
  const char* fill;
  const char* line;
  const char* meaning;
};

constexpr Style kComplete = {"#cdeccf", "#2e7d32", "complete at once"};
constexpr Style kAtTimeOut = {"#d3e6fb", "#1565c0", "complete when the time is up"};
constexpr Style kHasToWait = {"#ffe3b8", "#c77700", "fits a pattern, but has to wait for more digits"};
constexpr Style kOverlap = {"#f6f0c8", "#8d7f1d", "needs more digits, of several patterns"};
constexpr Style kMore = {"#ffffff", "#616161", "needs more digits"};
constexpr Style kNoMatch = {"#f9d0d0", "#b71c1c", "no match"};

struct Node {
  Places places;
  size_t parent;       // the root is its own
  std::string digits;  // a shortest way here
  std::vector<Edge> edges;
  Style style = kMore;
  std::string winner;  // the pattern that decides here, if one does
};

// The patterns that are alive at a node, each once.
std::vector<size_t> alive_at(const Node& node) {
  std::vector<size_t> patterns;
  for (const Place& place : node.places) {
    if (patterns.empty() || patterns.back() != place.first) {
      patterns.push_back(place.first);
    }
  }
  return patterns;
}

// The positions that dialling can reach. A node where the plan has decided has no children.
class Tree {
 public:
  enum class Shape {
    kTree,   // a node that equals one of its ancestors loops back to it
    kShared  // equal nodes are one
  };

  Tree(const Plan& plan, Mode mode, Shape shape) : plan_(plan), mode_(mode), shape_(shape) {
    for (const NUV_DigitMapPattern* pattern = plan.map().record(); pattern != nullptr; pattern = pattern->m_pNext) {
      patterns_.push_back(pattern);
    }
  }

  // Finds all nodes, breadth first. Returns false if there are too many.
  bool grow() {
    Places start;
    for (size_t i = 0; i < patterns_.size(); ++i) {
      enter(start, {i, 0});
    }
    add_node(std::move(start), 0, "");
    for (size_t i = 0; i < nodes_.size(); ++i) {
      if (nodes_.size() > kMaxPositions) {
        return false;
      }
      if (!judge(nodes_[i]) || i == 0) {
        add_edges(i);
      }
    }
    return true;
  }

  const std::vector<Node>& nodes() const { return nodes_; }

  std::string text_of(size_t pattern) const { return patterns_[pattern]->m_pText; }

 private:
  bool is_end(const Place& place) const { return place.second == patterns_[place.first]->m_uCount; }

  // Adds a place, and those after it that skipping repeated symbols leads to.
  void enter(Places& places, Place place) const {
    places.push_back(place);
    while (!is_end(place) && (patterns_[place.first]->m_pSymbols[place.second] & dialplan::kRepeat) != 0) {
      ++place.second;
      places.push_back(place);
    }
  }

  Places after(const Places& places, uint32_t bit) const {
    Places next;
    for (const Place& place : places) {
      if (is_end(place)) {
        continue;
      }
      const uint32_t symbol = patterns_[place.first]->m_pSymbols[place.second];
      if ((symbol & bit) != 0) {
        enter(next, (symbol & dialplan::kRepeat) != 0 ? place : Place(place.first, place.second + 1));
      }
    }
    std::sort(next.begin(), next.end());
    next.erase(std::unique(next.begin(), next.end()), next.end());
    return next;
  }

  size_t add_node(Places places, size_t parent, const std::string& digits) {
    if (shape_ == Shape::kShared) {
      index_.emplace(places, nodes_.size());
    }
    nodes_.push_back({std::move(places), parent, digits, {}, kMore, {}});
    return nodes_.size() - 1;
  }

  // The node that equals these places, within the limits of the shape.
  std::optional<size_t> find(const Places& places, size_t from, const std::vector<Edge>& edges) const {
    if (shape_ == Shape::kShared) {
      const auto found = index_.find(places);
      return found != index_.end() ? std::optional(found->second) : std::nullopt;
    }
    for (const Edge& edge : edges) {
      if (nodes_[edge.to].places == places) {
        return edge.to;
      }
    }
    for (size_t i = from;; i = nodes_[i].parent) {
      if (nodes_[i].places == places && i != 0) {
        return i;
      }
      if (i == 0) {
        return std::nullopt;
      }
    }
  }

  void add_edges(size_t from) {
    std::vector<Edge> edges;
    for (size_t i = 0; i < dialplan::kDialled.size(); ++i) {
      const uint32_t bit = 1U << i;
      Places next = after(nodes_[from].places, bit);
      if (next.empty()) {
        continue;
      }
      const auto known = find(next, from, edges);
      const size_t to = known ? *known : add_node(std::move(next), from, nodes_[from].digits + dialplan::kDialled[i]);
      const auto same = std::find_if(edges.begin(), edges.end(), [to](const Edge& edge) { return edge.to == to; });
      if (same != edges.end()) {
        same->mask |= bit;
      } else {
        edges.push_back({to, bit});
      }
    }
    nodes_[from].edges = std::move(edges);
  }

  // Sets the plan's answer at a node. Returns whether the plan has decided there.
  bool judge(Node& node) const {
    const Answer now = ask(plan_, mode_, node.digits, Timer::kRunning);
    const Answer later = ask(plan_, mode_, node.digits, Timer::kExpired);
    if (now.result == Result::kComplete) {
      node.style = kComplete;
      node.winner = now.pattern;
      return true;
    }
    if (later.result == Result::kComplete) {
      node.style = kAtTimeOut;
      node.winner = later.pattern;
      return false;
    }
    if (now.result == Result::kNoMatch) {
      node.style = kNoMatch;
      return true;
    }
    const auto& places = node.places;
    if (std::any_of(places.begin(), places.end(), [this](const Place& place) { return is_end(place); })) {
      node.style = kHasToWait;
    } else if (alive_at(node).size() > 1) {
      node.style = kOverlap;
    }
    return false;
  }

  const Plan& plan_;
  Mode mode_;
  Shape shape_;
  std::vector<const NUV_DigitMapPattern*> patterns_;
  std::vector<Node> nodes_;
  std::map<Places, size_t> index_;  // used by kShared
};

std::string escape(const std::string& text) {
  std::string safe;
  for (const char c : text) {
    switch (c) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      case '"':
        safe += "&quot;";
        break;
      default:
        safe += c;
    }
  }
  return safe;
}

// A pattern for a label, cut if it is too wide for a node.
std::string shorten(const std::string& pattern) {
  constexpr size_t kLongest = 32;
  return pattern.size() <= kLongest ? escape(pattern) : escape(pattern.substr(0, kLongest - 3)) + "...";
}

// Texts below each other, up to a limit.
std::string stack(const std::vector<std::string>& texts, const std::string& separator = "<BR/>") {
  constexpr size_t kMost = 6;
  const size_t shown = texts.size() > kMost ? kMost - 1 : texts.size();
  std::string label;
  for (size_t i = 0; i < shown; ++i) {
    label += (i == 0 ? "" : separator) + shorten(texts[i]);
  }
  return label + (shown < texts.size() ? separator + "and " + std::to_string(texts.size() - shown) + " more" : "");
}

std::string in_grey(const std::string& label) {
  return "<FONT COLOR=\"#757575\">" + label + "</FONT>";
}

// The label of a node: the pattern that decides, and below it the others that are alive. Empty if a single pattern goes
// on.
std::string label_of(const Tree& tree, const Node& node) {
  if (node.digits.empty()) {
    return "off the hook";
  }
  std::vector<std::string> others;
  for (const size_t pattern : alive_at(node)) {
    if (const std::string text = tree.text_of(pattern); text != node.winner) {
      others.push_back(text);
    }
  }
  if (!node.winner.empty()) {
    const std::string winner = "<B>" + shorten(node.winner) + "</B>";
    return others.empty() ? winner : winner + "<BR/>" + in_grey(stack(others));
  }
  return node.style.meaning != kMore.meaning ? stack(others) : "";
}

std::string draw_node(const Tree& tree, size_t index) {
  const Node& node = tree.nodes()[index];
  const std::string label = label_of(tree, node);
  const std::string name = "n" + std::to_string(index);
  std::string text = "  " + name + " [";
  text += label.empty() ? "label=\"\", shape=circle, width=0.16, height=0.16" : "label=<" + label + ">";
  text += std::string(", fillcolor=\"") + node.style.fill + "\", color=\"" + node.style.line + "\"";
  text +=
      ", tooltip=\"" + (node.digits.empty() ? "nothing dialled" : node.digits) + ": " + node.style.meaning + "\"];\n";
  for (const Edge& edge : node.edges) {
    text += "  " + name + " -> n" + std::to_string(edge.to) + " [label=\" " + dialplan::describe_symbol(edge.mask) +
            " \"];\n";
  }
  return text;
}

std::string legend_row(const std::string& sign, const std::string& meaning) {
  return "<TR>" + sign + "<TD ALIGN=\"LEFT\">" + meaning + "</TD></TR>";
}

std::string legend_row(const Style& style) {
  return legend_row(std::string("<TD BGCOLOR=\"") + style.fill + "\" COLOR=\"" + style.line +
                        "\" BORDER=\"1\" WIDTH=\"22\" HEIGHT=\"12\" FIXEDSIZE=\"TRUE\"></TD>",
                    style.meaning);
}

// Patterns that never decide: others are more specific, come earlier, or decide too soon.
std::vector<std::string> find_idle_patterns(const Plan& plan, Mode mode) {
  std::vector<std::string> texts;
  const auto idle = dialplan::find_idle_patterns(plan.map(), mode, dialplan::kMaxWalk);
  for (size_t i = 0; idle && i < idle->size(); ++i) {
    texts.push_back(plan.patterns()[(*idle)[i].pattern]);
  }
  return texts;
}

std::string draw_legend(const Plan& plan, Mode mode) {
  const size_t count = plan.patterns().size();
  std::string rows = "<TR><TD COLSPAN=\"2\" ALIGN=\"LEFT\"><B>" + std::to_string(count) +
                     (count == 1 ? " pattern, " : " patterns, ") +
                     (mode == Mode::kBest ? "best match" : "first match") + "</B></TD></TR>";
  for (const Style& style : {kComplete, kAtTimeOut, kHasToWait, kOverlap, kMore, kNoMatch}) {
    rows += legend_row(style);
  }
  rows += legend_row("<TD><B>12x</B></TD>", "decides");
  rows += legend_row("<TD>" + in_grey("12x") + "</TD>", "alive too, but does not decide");
  if (const auto idle = find_idle_patterns(plan, mode); !idle.empty()) {
    rows +=
        "<TR><TD COLSPAN=\"2\" ALIGN=\"LEFT\"><FONT COLOR=\"#b71c1c\"><B>decide nowhere here:</B><BR ALIGN=\"LEFT\"/>" +
        stack(idle, "<BR ALIGN=\"LEFT\"/>") + "<BR ALIGN=\"LEFT\"/></FONT></TD></TR>";
  }
  return "<TABLE BORDER=\"0\" CELLBORDER=\"0\" CELLSPACING=\"5\" CELLPADDING=\"1\">" + rows + "</TABLE>";
}

constexpr char kSettings[] =
    R"(  graph [rankdir=LR, nodesep=0.18, ranksep=0.45, pad=0.3, bgcolor="white", labelloc=b, labeljust=l, tooltip="dial plan",
         fontname="Helvetica,Arial,sans-serif", fontsize=11];
  node [shape=box, style="filled,rounded", height=0.3, width=0.3, margin="0.12,0.06",
        fontname="Helvetica,Arial,sans-serif", fontsize=11];
  edge [arrowsize=0.6, color="#424242", fontname="Helvetica,Arial,sans-serif", fontsize=12];
)";

std::string draw_tree(const Plan& plan, Mode mode, const Tree& tree) {
  std::string text = "digraph \"dial plan\" {\n";
  text += kSettings;
  text += "  label=<" + draw_legend(plan, mode) + ">;\n";
  for (size_t i = 0; i < tree.nodes().size(); ++i) {
    text += draw_node(tree, i);
  }
  return text + "}\n";
}

}  // namespace

std::optional<std::string> draw(const Plan& plan, Mode mode) {
  for (const auto shape : {Tree::Shape::kTree, Tree::Shape::kShared}) {
    Tree tree(plan, mode, shape);
    if (tree.grow()) {
      return draw_tree(plan, mode, tree);
    }
  }
  return std::nullopt;
}

}  // namespace digitmap_tool
