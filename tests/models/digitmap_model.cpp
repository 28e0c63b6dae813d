#include "models/digitmap_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <utility>

namespace support {
namespace {

using Symbols = std::vector<uint32_t>;

constexpr uint32_t kRepeat = 0x10000;

// Results for one pattern, with the values that a check returns; kTooLong is internal to the matcher.
enum Verdict { kPartial = 0, kComplete = 1, kTooLong = 2, kMismatch = 3 };

uint32_t bit_of(char c) {
  constexpr std::string_view kSymbols = "0123456789ABCD#*";
  const size_t place = kSymbols.find(c);
  return place != std::string_view::npos ? uint32_t{1} << place : 0;
}

std::string without_fillers(std::string text) {
  std::erase_if(text, [](char c) { return c == ' ' || c == '(' || c == ')'; });
  return text;
}

uint32_t plain_bracket(const std::string& content) {
  uint32_t mask = 0;
  for (const char c : content) {
    mask |= bit_of(c);
  }
  return mask;
}

uint32_t range_bracket(const std::string& content) {
  std::string ends;
  for (const char c : content) {
    if (c != '-') {
      ends += c;
    }
  }
  if (ends.size() < 2) {
    return 0;
  }
  uint32_t mask = 0;
  for (uint32_t bit = bit_of(ends.front()); bit <= bit_of(ends.back()); bit *= 2) {
    mask |= bit;
  }
  return mask;
}

struct Match {
  Verdict verdict = kMismatch;
  Symbols symbols;  // the expansion, if partial or complete
};

Match match_expanded(Symbols symbols, const std::string& dialled, bool timer_fits) {
  for (size_t i = 0; i < symbols.size() && i < dialled.size(); ++i) {
    if ((symbols[i] & bit_of(dialled[i])) == 0) {
      return {kMismatch, {}};
    }
  }
  if (dialled.size() < symbols.size()) {
    return {kPartial, std::move(symbols)};
  }
  if (dialled.size() > symbols.size()) {
    return {kTooLong, {}};
  }
  return {timer_fits ? kComplete : kPartial, std::move(symbols)};
}

Match match(Symbols symbols, const std::string& dialled, bool timer_fits) {
  size_t flagged = 0;
  while (flagged < symbols.size() && (symbols[flagged] & kRepeat) == 0) {
    ++flagged;
  }
  if (flagged == symbols.size()) {
    return match_expanded(std::move(symbols), dialled, timer_fits);
  }
  Match last;
  for (size_t copies = 0; copies <= dialled.size(); ++copies) {
    Symbols expanded;
    expanded.reserve(symbols.size() + dialled.size());
    expanded.insert(expanded.end(), symbols.begin(), symbols.begin() + static_cast<std::ptrdiff_t>(flagged));
    expanded.insert(expanded.end(), copies, symbols[flagged] & ~kRepeat);
    expanded.insert(expanded.end(), symbols.begin() + static_cast<std::ptrdiff_t>(flagged) + 1, symbols.end());
    last = match(std::move(expanded), dialled, timer_fits);
    if (last.verdict == kComplete) {
      break;
    }
  }
  return last;
}

int width(uint32_t symbol) {
  int bits = 0;
  for (int i = 0; i < 16; ++i) {
    bits += (symbol >> i) & 1;
  }
  return bits;
}

bool is_more_specific(const Symbols& a, const Symbols& b) {
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
    if (width(a[i]) != width(b[i])) {
      return width(a[i]) < width(b[i]);
    }
  }
  return a.size() > b.size();
}

struct Candidate {
  Symbols symbols;
  std::string text;
};

void keep_better(std::optional<Candidate>& kept, const Candidate& candidate) {
  if (!kept || is_more_specific(candidate.symbols, kept->symbols)) {
    kept = candidate;
  }
}

}  // namespace

std::optional<DigitMapModel::Pattern> DigitMapModel::parse(const std::string& text) {
  Pattern pattern;
  pattern.text = text;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == 'T') {
      pattern.timer = 1;
    } else if (c == '.') {
      if (pattern.symbols.empty()) {
        return std::nullopt;
      }
      pattern.symbols.back() |= kRepeat;
    } else if (c == 'x' || c == 'X') {
      pattern.symbols.push_back(0x3FF);
    } else if (c == '[') {
      const size_t end = text.find(']', i);
      if (end == std::string::npos) {
        return std::nullopt;
      }
      const std::string content = text.substr(i + 1, end - i - 1);
      if (content.find_first_not_of("0123456789ABCD#*-") != std::string::npos) {
        return std::nullopt;
      }
      const bool is_range = content.find('-') != std::string::npos;
      pattern.symbols.push_back(is_range ? range_bracket(content) : plain_bracket(content));
      i = end;
    } else if (bit_of(c) != 0) {
      pattern.symbols.push_back(bit_of(c));
    } else {
      return std::nullopt;
    }
  }
  return pattern;
}

bool DigitMapModel::set_map(std::string text) {
  patterns_.clear();
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('|', begin), text.size());
    const std::string pattern = without_fillers(text.substr(begin, end - begin));
    if (!pattern.empty() && !add_map(pattern)) {
      return false;
    }
    begin = end + 1;
  }
  return true;
}

bool DigitMapModel::add_map(std::string text) {
  const auto pattern = parse(without_fillers(std::move(text)));
  if (pattern) {
    patterns_.push_back(*pattern);
  }
  return pattern.has_value();
}

double DigitMapModel::expansions(size_t digits) const {
  double sum = 0;
  for (const Pattern& pattern : patterns_) {
    const auto repeated = std::count_if(pattern.symbols.begin(), pattern.symbols.end(),
                                        [](uint32_t symbol) { return (symbol & kRepeat) != 0; });
    sum += std::pow(static_cast<double>(digits + 1), static_cast<double>(repeated));
  }
  return sum;
}

int32_t DigitMapModel::check(int32_t mode, const std::string& dialled, uint32_t timer, char* out,
                             uint32_t out_size) const {
  if (mode != 0 && mode != 1) {
    return 3;
  }
  const auto print = [&](const std::string& text) { std::snprintf(out, out_size, "%s", text.c_str()); };
  std::optional<Candidate> complete;
  std::optional<Candidate> partial;
  for (const Pattern& pattern : patterns_) {
    const Match found = match(pattern.symbols, dialled, pattern.timer == (timer & 0xFF));
    if (found.verdict == kComplete) {
      print(pattern.text);
      if (mode == 0) {
        return 1;
      }
      keep_better(complete, {found.symbols, pattern.text});
    }
    if (found.verdict == kPartial) {
      keep_better(partial, {found.symbols, pattern.text});
    }
  }
  if (!complete) {
    return partial ? 0 : 3;
  }
  if (partial && !is_more_specific(complete->symbols, partial->symbols)) {
    return 0;
  }
  print(complete->text);
  const bool is_open_ended = !complete->text.empty() && complete->text.back() == '.';
  return is_open_ended ? 0 : 1;
}

}  // namespace support
