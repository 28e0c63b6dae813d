// What phoned is told on its command line.
#ifndef EXAMPLES_PHONED_OPTIONS_H
#define EXAMPLES_PHONED_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "phoned/arguments.h"
#include "phoned/operators.h"
#include "phoned/protocol.h"
#include "phoned/result.h"

namespace phoned {

struct Options {
  enum class Action { kServe, kShowHelp, kShowVersion };

  Action action = Action::kServe;
  uint16_t port = kDefaultPort;         // 0: any that is free
  std::optional<std::string> map;       // the dial plan itself ...
  std::optional<std::string> map_file;  // ... or where it is found; never both
  std::chrono::milliseconds interdigit{4000};
  std::chrono::seconds statistics{60};  // how often the counts are printed, if they have changed
  std::optional<std::string> ini;       // the init file of the traces; none: the default one
  Operators::Channels operators;        // how operators reach phoned
};

Result<Options> parse_options(Arguments::Words words);

// The text that --help prints.
std::string help_text();

}  // namespace phoned

#endif
