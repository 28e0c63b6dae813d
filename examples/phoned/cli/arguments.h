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

// An option on the command line.
class Argument {
 public:
  Argument(std::string_view word, Words& rest) : rest_(rest) {
    const size_t equals = word.find('=');
    name_ = word.substr(0, equals);
    if (equals != word.npos) {
      attached_ = word.substr(equals + 1);
    }
  }

  const std::string& name() const { return name_; }
  const std::optional<std::string>& attached() const { return attached_; }

  // The value, attached or the next word. "what" tells a user who gave none what it should be.
  std::string value(std::string_view what) const {
    if (!attached_ && rest_.empty()) {
      refuse("needs a value: " + std::string(what));
    }
    if (attached_) {
      return *attached_;
    }
    std::string value = rest_.front();
    rest_ = rest_.subspan(1);
    return value;
  }

  uint32_t number(uint32_t min, uint32_t max) const {
    const std::string what = "a number from " + std::to_string(min) + " to " + std::to_string(max);
    const std::string text = value(what);
    const auto number = to_number(text, min, max);
    if (!number) {
      refuse(quote(text) + ": must be " + what);
    }
    return *number;
  }

  [[noreturn]] void refuse(const std::string& why) const { throw Error(printable(name_) + " " + why); }

 private:
  Words& rest_;
  std::string name_;
  std::optional<std::string> attached_;
};

template <typename Options>
struct Option {
  std::string_view name;
  std::string_view value;  // its name in the help; empty if the option takes none
  std::string_view help;   // lines; empty if shared with the next option
  void (*apply)(Options& options, const Argument& argument);
};

// Applies the options, and returns the words behind them.
template <typename Options>
Words parse(Words words, std::span<const Option<Options>> table, Options& options) {
  while (!words.empty() && words.front()[0] == '-') {
    const std::string_view word = words.front();
    words = words.subspan(1);
    const Argument argument(word, words);
    const auto option = std::ranges::find(table, argument.name(), &Option<Options>::name);
    if (option == table.end()) {
      throw Error("unknown option " + quote(argument.name()) + ": see --help");
    }
    if (option->value.empty() && argument.attached()) {
      argument.refuse(quote(*argument.attached()) + ": this option takes no value");
    }
    option->apply(options, argument);
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
