#include "phoned/core/text.h"

#include <algorithm>
#include <charconv>

namespace phoned {

namespace {

constexpr size_t kLongestQuote = 40;

}  // namespace

bool is_printable(char c) {
  return c >= ' ' && c <= '~';
}

std::string printable(std::string_view text) {
  std::string shown(text);
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return !is_printable(c); }, '?');
  return shown;
}

std::string printable_lines(std::string_view text) {
  std::string shown = printable(text);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n' || text[i] == '\t') {
      shown[i] = text[i];
    }
  }
  return shown;
}

std::string quote(std::string_view text) {
  const bool is_long = text.size() > kLongestQuote;
  return "'" + printable(text.substr(0, kLongestQuote)) + (is_long ? "...'" : "'");
}

std::string quote_path(std::string_view path) {
  return "'" + printable(path) + "'";
}

std::vector<std::string_view> split_words(std::string_view text) {
  std::vector<std::string_view> words;
  while (true) {
    const size_t begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos) {
      return words;
    }
    const size_t end = std::min(text.find(' ', begin), text.size());
    words.push_back(text.substr(begin, end - begin));
    text.remove_prefix(end);
  }
}

std::optional<uint32_t> to_number(std::string_view text, uint32_t min, uint32_t max) {
  const char* end = text.data() + text.size();
  uint32_t number = 0;
  const auto [stop, problem] = std::from_chars(text.data(), end, number);
  if (problem != std::errc() || stop != end || number < min || number > max) {
    return std::nullopt;
  }
  return number;
}

std::string replace(std::string text, std::string_view name, std::string_view value) {
  return text.replace(text.find(name), name.size(), value);
}

}  // namespace phoned
