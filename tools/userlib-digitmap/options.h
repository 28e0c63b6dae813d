// What the command line asks for.
#ifndef TOOLS_USERLIB_DIGITMAP_OPTIONS_H
#define TOOLS_USERLIB_DIGITMAP_OPTIONS_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "userlib-digitmap/answers.h"
#include "userlib-digitmap/compare.h"
#include "userlib-digitmap/published.h"

namespace digitmap_tool {

struct Options {
  std::optional<std::string> file;
  std::optional<std::string> graph;
  bool wants_dot = false;
  bool wants_check = false;
  std::optional<Form> convert;
  size_t length = kDefaultLength;  // of the dial strings that a conversion compares
  bool is_quiet = false;
  bool wants_help = false;
  bool wants_version = false;
  Mode mode = Mode::kBest;
  Timer timer = Timer::kRunning;
  std::vector<std::string> words;  // map and digits
};

// Reads the words after the program's name. Returns what is wrong with them; nothing if they are right.
std::optional<std::string> read_options(std::vector<std::string> words, Options& options);

// Untrusted text in quotes, safe to print on a terminal.
std::string quote(std::string_view text);

}  // namespace digitmap_tool

#endif
