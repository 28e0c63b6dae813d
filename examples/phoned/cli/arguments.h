// Reads a command line: options, "--name VALUE" or "--name=VALUE", then words. A table holds the options and their help.
#ifndef EXAMPLES_PHONED_CLI_ARGUMENTS_H
#define EXAMPLES_PHONED_CLI_ARGUMENTS_H

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "phoned/core/text.h"

namespace phoned {

using Words = std::span<const char* const>;

// What stands behind an option's name: "VALUE" in "--name VALUE" or "--name=VALUE".
using Value = std::optional<std::string>;

template <typename Options>
struct Option {
  std::string_view name;
  std::string_view value;  // its name in the help; empty if the option takes none
  std::string_view help;   // lines; empty if shared with the next option
  // Throws what the value must be as an Error if it is something else, or missing.
  void (*apply)(Options& options, const Value& value);
};

// For apply(): any text, and a number.
inline std::string text_in(const Value& value, const char* rule) {
  if (!value) {
    throw Error(rule);
  }
  return *value;
}

inline uint32_t number_in(const Value& value, uint32_t min, uint32_t max) {
  const auto number = to_number(value.value_or(""), min, max);
  if (!number) {
    throw Error("a number from " + std::to_string(min) + " to " + std::to_string(max));
  }
  return *number;
}

// Applies the options, and returns the words behind them.
template <typename Options>
Words parse(Words words, std::span<const Option<Options>> table, Options& options) {
  while (!words.empty() && words.front()[0] == '-') {
    const std::string word = words.front();
    const size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    Value value = equals == word.npos ? std::nullopt : Value(word.substr(equals + 1));
    words = words.subspan(1);
    const auto option = std::ranges::find(table, name, &Option<Options>::name);
    if (option == table.end()) {
      throw Error("unknown option " + quote(name) + ": see --help");
    }
    if (option->value.empty() && value) {
      throw Error(name + " " + quote(*value) + ": this option takes no value");
    }
    if (!option->value.empty() && !value && !words.empty()) {
      value = words.front();
      words = words.subspan(1);
    }
    try {
      option->apply(options, value);
    } catch (const Error& rule) {
      throw Error(name + (value ? " " + quote(*value) + ": must be " : " needs a value: ") + rule.what());
    }
  }
  return words;
}

// The help for the options.
template <typename Options>
std::string describe(std::span<const Option<Options>> table) {
  constexpr size_t kColumn = 22;
  std::string text;
  std::string names = "  ";
  for (const Option<Options>& option : table) {
    names += std::string(option.name) + (option.value.empty() ? "" : " ") + std::string(option.value);
    if (option.help.empty()) {
      names += ", ";
      continue;
    }
    for (std::string_view rest = option.help; !rest.empty(); names.clear()) {
      names.resize(kColumn, ' ');
      text += names + std::string(take_until(rest, "\n")) + "\n";
    }
    names = "  ";
  }
  return text;
}

// Replaces the first "name" in the text, which must hold one.
inline std::string replace(std::string text, std::string_view name, std::string_view value) {
  return text.replace(text.find(name), name.size(), value);
}

}  // namespace phoned

#endif
