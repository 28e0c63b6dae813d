// Reads a command line: options first, "--name VALUE" or "--name=VALUE", then words.
#ifndef EXAMPLES_PHONED_CLI_ARGUMENTS_H
#define EXAMPLES_PHONED_CLI_ARGUMENTS_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "phoned/core/result.h"

namespace phoned {

// Goes through the options one by one. The first thing that is wrong ends the walk:
//
//     while (arguments.next_option()) {
//       if (arguments.is("--port")) {
//         options.port = arguments.number(0, 65535);
//       } else {
//         arguments.refuse_option();
//       }
//     }
//     if (arguments.error()) ...
class Arguments {
 public:
  using Words = std::span<const char* const>;

  // The words without the program's name.
  explicit Arguments(Words words) : rest_(words) {}

  // Moves to the next option. Returns false at the first word that is none, at the end, and after an error.
  bool next_option();

  // Tells whether the option has this name.
  bool is(std::string_view name) const { return name_ == name; }

  // Tells the same of an option that takes no value; one that got a value is an error.
  bool is_flag(std::string_view name);

  // The option's value; "what" tells a user who gave none what it would be.
  std::string value(std::string_view what);

  // The option's value as a number. The minimum stands for one that is no number or out of range: an error.
  uint32_t number(uint32_t min, uint32_t max);

  // Nobody knows this option.
  void refuse_option();

  // Says that the option cannot be what it is.
  void refuse(std::string why);

  // The words behind the options.
  Words rest() const { return rest_; }

  // What was wrong first.
  const std::optional<Error>& error() const { return error_; }

 private:
  Words rest_;
  std::string_view name_;
  std::optional<std::string_view> attached_value_;
  std::optional<Error> error_;
};

}  // namespace phoned

#endif
