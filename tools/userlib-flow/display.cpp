#include "display.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace flow_tool {

namespace {

struct Character {
  uint32_t code;
  size_t length;  // in bytes; 0 if there is no valid character
};

struct Range {
  uint32_t first;
  uint32_t last;
};

constexpr std::array<Range, 9> kWide = {{{0x1100, 0x115F},
                                         {0x2E80, 0xA4CF},
                                         {0xAC00, 0xD7A3},
                                         {0xF900, 0xFAFF},
                                         {0xFE30, 0xFE6F},
                                         {0xFF00, 0xFF60},
                                         {0xFFE0, 0xFFE6},
                                         {0x1F300, 0x1FAFF},
                                         {0x20000, 0x3FFFD}}};
constexpr std::array<Range, 4> kNarrowest = {{{0x300, 0x36F}, {0x200B, 0x200F}, {0xFE00, 0xFE0F}, {0x202A, 0x202E}}};
constexpr uint32_t kFirstPrintable = 0xA0;  // after the second set of control characters

template <size_t kSize>
bool holds(const std::array<Range, kSize>& ranges, uint32_t code) {
  return std::any_of(ranges.begin(), ranges.end(),
                     [code](const Range& range) { return code >= range.first && code <= range.last; });
}

Character first_character(std::string_view text) {
  struct Form {
    uint8_t mask;
    uint8_t lead;
    uint32_t least;  // smaller codes must have a shorter form
  };
  constexpr std::array<Form, 3> kForms = {{{0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}}};
  const auto lead = static_cast<uint8_t>(text[0]);
  if (lead < 0x80) {
    return {lead, 1};
  }
  for (size_t i = 0; i < kForms.size(); ++i) {
    const size_t length = i + 2;
    if ((lead & kForms[i].mask) != kForms[i].lead || text.size() < length) {
      continue;
    }
    uint32_t code = lead & ~uint32_t{kForms[i].mask};
    bool is_whole = true;
    for (size_t at = 1; at < length; ++at) {
      const auto byte = static_cast<uint8_t>(text[at]);
      is_whole = is_whole && (byte & 0xC0) == 0x80;
      code = code << 6 | (byte & 0x3F);
    }
    const bool is_code = code >= kForms[i].least && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    return {code, is_whole && is_code ? length : 0};
  }
  return {0, 0};
}

size_t columns_of(uint32_t code) {
  if (code < kFirstPrintable) {
    return 1;
  }
  return holds(kWide, code) ? 2 : holds(kNarrowest, code) ? 0 : 1;
}

// Marks that change the direction of writing could disguise a line.
bool is_printable(uint32_t code) {
  const bool turns = (code >= 0x200E && code <= 0x200F) || (code >= 0x202A && code <= 0x202E) ||
                     (code >= 0x2066 && code <= 0x2069) || code == 0x2028 || code == 0x2029;
  return code < 0x80 ? code >= ' ' && code != 0x7F : code >= kFirstPrintable && !turns;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Character character = first_character(text);
    const bool is_good = character.length > 0 && is_printable(character.code);
    const size_t length = std::max<size_t>(character.length, 1);
    result += is_good ? text.substr(0, length) : std::string_view("?");
    text.remove_prefix(length);
  }
  return result;
}

std::string printable_ascii(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Character character = first_character(text);
    result += character.length == 1 && is_printable(character.code) ? text[0] : '?';
    text.remove_prefix(std::max<size_t>(character.length, 1));
  }
  return result;
}

size_t columns_of(std::string_view text) {
  size_t columns = 0;
  while (!text.empty()) {
    const Character character = first_character(text);
    columns += character.length > 0 ? columns_of(character.code) : 1;
    text.remove_prefix(std::max<size_t>(character.length, 1));
  }
  return columns;
}

std::string cut_to(std::string_view text, size_t columns, std::string_view mark) {
  if (columns_of(text) <= columns) {
    return std::string(text);
  }
  if (columns == 0) {
    return {};
  }
  size_t used = 0;
  size_t at = 0;
  while (at < text.size()) {
    const Character character = first_character(text.substr(at));
    used += character.length > 0 ? columns_of(character.code) : 1;
    if (used > columns - 1) {
      break;
    }
    at += std::max<size_t>(character.length, 1);
  }
  return std::string(text.substr(0, at)).append(mark);
}

std::string quote(std::string_view text) {
  constexpr size_t kLongest = 80;
  return "'" + cut_to(printable(text), kLongest, "~") + "'";
}

}  // namespace flow_tool
