#include "dialplan/warnings.h"

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "dialplan/reach.h"

namespace dialplan {

namespace {

std::string quote(std::string_view text) {
  constexpr size_t kLongest = 40;
  return "'" + std::string(text.substr(0, kLongest)) + (text.size() > kLongest ? "...'" : "'");
}

// The text in brackets, read as a list of symbols and ranges.
uint32_t list_mask(std::string_view text) {
  uint32_t mask = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const uint32_t low = bit_of(text[i]);
    const bool is_range = i + 2 < text.size() && text[i + 1] == '-' && text[i + 2] != '-';
    if (!is_range) {
      mask |= low;
      continue;
    }
    i += 2;
    for (uint32_t bit = low; bit != 0 && bit <= bit_of(text[i]); bit <<= 1) {
      mask |= bit;
    }
  }
  return mask;
}

// Inspects one plan, pattern by pattern.
class Inspector {
 public:
  explicit Inspector(const Plan& plan) : plan_(plan), text_(plan.text()) {}

  std::vector<Problem> run(Mode mode, size_t max_positions, bool& is_whole) {
    const NUV_DigitMapPattern* pattern = plan_.map().record();
    for (size_t i = 0; i < plan_.places().size(); ++i, pattern = pattern->m_pNext) {
      look_at_brackets(i, *pattern);
      look_at_timer(i);
      look_at_end(i);
      look_at_keys(i);
    }
    look_at_parentheses();
    const auto idle = find_idle_patterns(plan_.map(), mode, max_positions);
    is_whole = idle.has_value();
    if (idle) {
      look_at_reach(*idle);
    }
    std::stable_sort(found_.begin(), found_.end(), [](const Problem& a, const Problem& b) { return a.at < b.at; });
    return std::move(found_);
  }

 private:
  void warn(size_t at, size_t pattern, std::string why) { found_.push_back({at, pattern + 1, std::move(why)}); }

  // For a pattern that can never match or complete: a second warning that it never decides would not help.
  void warn_of_dead(size_t at, size_t pattern, std::string why) {
    dead_.insert(pattern);
    warn(at, pattern, std::move(why));
  }

  // The first character from a place on that means something; the end of the pattern if there is none.
  size_t skip_fillers(size_t at, size_t end) const {
    while (at < end && plan_.is_filler(text_[at])) {
      ++at;
    }
    return at;
  }

  // ---- brackets ----

  void look_at_brackets(size_t index, const NUV_DigitMapPattern& pattern) {
    const Plan::Place place = plan_.places()[index];
    size_t symbol = 0;
    for (size_t at = place.begin; at < place.end; ++at) {
      const char c = text_[at];
      if (plan_.is_filler(c) || c == '.' || c == 'T') {
        continue;
      }
      if (c == '[' && symbol < pattern.m_uCount) {
        const size_t end = text_.find(']', at);
        look_at_bracket(at, end, index, pattern.m_pSymbols[symbol] & kAnyDialled);
        at = end;
      }
      ++symbol;
    }
  }

  void look_at_bracket(size_t at, size_t end, size_t index, uint32_t mask) {
    std::string inside = text_.substr(at + 1, end - at - 1);
    std::erase_if(inside, [this](char c) { return plan_.is_filler(c); });
    const std::string written = quote("[" + inside + "]");
    const uint32_t listed = list_mask(inside);
    if (mask == 0) {
      warn_of_dead(at, index, written + " matches nothing: " + why_empty(inside));
    } else if (mask != listed) {
      warn(at, index,
           written + " is one range from its first symbol to its last, " + describe_symbol(mask) + ": must be " +
               quote(write_symbol(listed)) + " for " + describe_symbol(listed));
    }
  }

  static std::string why_empty(const std::string& inside) {
    if (inside.size() == 3 && inside[1] == '-') {
      return std::string("must be '[") + inside[2] + '-' + inside[0] + "]'";
    }
    return inside.empty() ? "must hold symbols, such as [135]" : "must have two ends in order, such as [2-5]";
  }

  // ---- timer and open end ----

  void look_at_timer(size_t index) {
    const Plan::Place place = plan_.places()[index];
    const size_t timer = text_.find('T', place.begin);
    if (timer >= place.end) {
      return;
    }
    size_t next = skip_fillers(timer + 1, place.end);
    while (next < place.end && text_[next] == 'T') {
      next = skip_fillers(next + 1, place.end);
    }
    if (next < place.end) {
      std::string meant = plan_.patterns()[index];
      std::erase(meant, 'T');
      warn(timer, index,
           "'T' applies to the whole pattern wherever it is: must be " + quote(meant + "T") + ", or two patterns");
    }
  }

  void look_at_end(size_t index) {
    const std::string& pattern = plan_.patterns()[index];
    if (pattern.back() == '.') {
      const std::string meant = pattern.find('T') == std::string::npos ? ": must be " + quote(pattern + "T")
                                                                       : ": must have its 'T' at the end";
      warn_of_dead(
          text_.rfind('.', plan_.places()[index].end - 1), index,
          "'.' at the end never completes in best match, and completes at once in first match, before anything is "
          "repeated" +
              meant);
    }
  }

  // ---- keys mistaken for comments ----

  void look_at_keys(size_t index) {
    if (plan_.source() != Plan::Source::kFile) {
      return;
    }
    const Plan::Place place = plan_.places()[index];
    const size_t first = skip_fillers(place.begin, place.end);
    for (size_t at = first; at < place.end; ++at) {
      const bool is_apart = at > place.begin && is_blank(text_[at - 1]);
      const bool is_first = at == first && at + 1 < place.end && is_blank(text_[at + 1]);
      const bool goes_on = skip_fillers(at + 1, place.end) < place.end;
      if (text_[at] == '#' && ((is_apart && at != first) || (is_first && goes_on))) {
        warn(at, index, "'#' is a key, and does not start a comment: the pattern is " + quote(plan_.patterns()[index]));
      }
    }
  }

  static bool is_blank(char c) { return c == ' ' || c == '\t'; }

  // ---- parentheses ----

  struct Group {
    size_t at;
    size_t pattern;
    bool is_at_begin;  // only blanks and parentheses precede it in its pattern
    bool has_bar = false;
    size_t symbols = 0;
  };

  void look_at_parentheses() {
    std::vector<Group> open;
    size_t pattern = 0;
    size_t symbols = 0;  // in the pattern so far
    for (size_t at = 0; at < text_.size(); ++at) {
      while (pattern + 1 < plan_.places().size() && at >= plan_.places()[pattern].end) {
        ++pattern;
      }
      const char c = text_[at];
      if (c == '(') {
        open.push_back({at, pattern, symbols == 0});
      } else if (c == ')' && open.empty()) {
        warn(at, pattern, "')' has no '(' before it: parentheses mean nothing, but something may be missing");
      } else if (c == ')') {
        const Group group = open.back();
        open.pop_back();
        close(group, at);
        if (!open.empty()) {
          open.back().has_bar = open.back().has_bar || group.has_bar;
          open.back().symbols += group.symbols;
        }
      } else if (plan_.is_bar(c)) {
        symbols = 0;
        for (Group& group : open) {
          group.has_bar = true;
        }
      } else if (!plan_.is_filler(c)) {
        ++symbols;
        if (c == '[') {
          at = text_.find(']', at);
        }
        if (!open.empty()) {
          ++open.back().symbols;
        }
      }
    }
    for (const Group& group : open) {
      warn(group.at, group.pattern, "'(' is not closed: parentheses mean nothing, but something may be missing");
    }
  }

  // Bars are right in parentheses that enclose whole patterns.
  void close(const Group& group, size_t at) {
    const size_t next = skip_fillers(at + 1, text_.size());
    const bool is_at_end = next == text_.size() || plan_.is_bar(text_[next]);
    if (group.has_bar && !(group.is_at_begin && is_at_end)) {
      warn(group.at, group.pattern,
           "parentheses mean nothing, and a bar in them separates whole patterns: must be written out, such as 0x|1x "
           "for (0|1)x");
    } else if (group.symbols > 1 && !is_at_end && text_[next] == '.') {
      warn(next, group.pattern, "'.' repeats only the symbol before it, not the parentheses");
    }
  }

  // ---- patterns that never decide ----

  void look_at_reach(const std::vector<IdlePattern>& all_idle) {
    for (const IdlePattern& idle : all_idle) {
      const Plan::Place place = plan_.places()[idle.pattern];
      const std::string why = why_idle(idle);
      if (!why.empty() && dead_.find(idle.pattern) == dead_.end()) {
        warn(skip_fillers(place.begin, place.end), idle.pattern,
             quote(plan_.patterns()[idle.pattern]) + " never decides: " + why);
      }
    }
  }

  std::string why_idle(const IdlePattern& idle) const {
    if (!idle.longer.empty()) {
      return "it has to wait for " + list(idle.longer) + ", and is not complete when no more digits come: must be " +
             quote(plan_.patterns()[idle.pattern] + "T");
    }
    if (idle.is_lost) {
      return "a digit that a repeated symbol does not allow ends dialling, unless it completes a pattern without 'T'";
    }
    return idle.rivals.empty()
               ? ""
               : list(idle.rivals) + (idle.rivals.size() == 1 ? " does" : " do") + " wherever it would, or sooner";
  }

  std::string list(const std::vector<size_t>& patterns) const {
    constexpr size_t kMost = 3;
    std::string words;
    for (size_t i = 0; i < std::min(patterns.size(), kMost); ++i) {
      words += (i == 0 ? "" : ", ") + quote(plan_.patterns()[patterns[i]]);
    }
    return words + (patterns.size() > kMost ? " and " + std::to_string(patterns.size() - kMost) + " more" : "");
  }

  const Plan& plan_;
  const std::string& text_;
  std::vector<Problem> found_;
  std::set<size_t> dead_;  // patterns that have had their warning
};

}  // namespace

Warnings find_warnings(const Plan& plan, Mode mode, size_t max_positions) {
  Warnings warnings = {};
  warnings.found = Inspector(plan).run(mode, max_positions, warnings.is_whole);
  return warnings;
}

}  // namespace dialplan
