// What phoned is told on its command line.
#ifndef EXAMPLES_PHONED_CLI_OPTIONS_H
#define EXAMPLES_PHONED_CLI_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "phoned/cli/arguments.h"
#include "phoned/core/protocol.h"
#include "phoned/io/channel.h"
#include "phoned/io/operators.h"

namespace phoned {

struct Options {
  enum class Action { kServe, kShowHelp, kShowVersion };

  static constexpr const char* kDefaultRunDir = "/var/run";

  Action action = Action::kServe;
  uint16_t port = kDefaultPort;  // 0: any that is free
  Network allowed;               // who is answered
  bool is_foreground = false;
  std::optional<std::string> run_dir;   // of the pid file; none: kDefaultRunDir, and no pid file in the foreground
  std::optional<std::string> map;       // the dial plan itself ...
  std::optional<std::string> map_file;  // ... or its file; never both
  std::chrono::milliseconds interdigit{4000};
  std::chrono::seconds statistics{60};  // between two reports
  std::optional<std::string> ini;       // the init file of the traces; none: the default one
  Operators::Channels operators;
};

Options parse_options(Words words);

// The text of --help.
std::string help_text();

}  // namespace phoned

#endif
