#include "record.h"

#include <algorithm>
#include <array>

namespace flow_tool {

namespace {

constexpr std::array<std::string_view Record::*, 8> kTexts = {
    &Record::line, &Record::ident, &Record::module, &Record::file,
    &Record::text, &Record::hex,   &Record::from,   &Record::to,
};

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Dialled digits count as a number, too.
bool is_number(std::string_view word) {
  return std::all_of(word.begin(), word.end(), [](char c) { return is_digit(c) || c == '#' || c == '*'; });
}

}  // namespace

KeptRecord::KeptRecord(const Record& record) : record_(record) {
  size_t size = 0;
  for (const auto text : kTexts) {
    size += (record.*text).size();
  }
  // A string of this size keeps its text on the heap, so the views survive a move.
  memory_.reserve(std::max<size_t>(size, 64));
  for (const auto text : kTexts) {
    const size_t begin = memory_.size();
    memory_ += record.*text;
    record_.*text = std::string_view(memory_.data() + begin, (record.*text).size());
  }
}

Type type_named(std::string_view name) {
  for (Type type = 0; type < kTypes; ++type) {
    if (name == NUV_ESysloglevelType_name(type)) {
      return type;
    }
  }
  return kNoType;
}

std::string_view name_of_message(std::string_view message) {
  size_t begin = 0;
  while (begin < message.size()) {
    const size_t end = std::min(message.find(' ', begin), message.size());
    const std::string_view word = message.substr(begin, end - begin);
    if (!is_number(word)) {
      return word;
    }
    begin = end + 1;
  }
  return message;
}

std::string_view subject_of_message(std::string_view message) {
  const size_t end = message.find(' ');
  const std::string_view word = message.substr(0, end);
  return end != std::string_view::npos && std::all_of(word.begin(), word.end(), is_digit) ? word : std::string_view();
}

}  // namespace flow_tool
