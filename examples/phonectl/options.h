// What phonectl is told on its command line.
#ifndef EXAMPLES_PHONECTL_OPTIONS_H
#define EXAMPLES_PHONECTL_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "phonectl/script.h"
#include "phoned/cli/arguments.h"
#include "phoned/core/protocol.h"

namespace phonectl {

struct Options {
  enum class Action { kCommand, kScript, kConsole, kShowHelp, kShowVersion };

  Action action = Action::kCommand;
  std::string host = "127.0.0.1";
  uint16_t port = phoned::kDefaultPort;
  std::chrono::milliseconds timeout{2000};
  bool is_logging = false;            // to the system log
  std::optional<std::string> script;  // a file's name, or "-" for standard input
  Step command;                       // of kCommand
  std::string console_path;           // of kConsole: where phoned listens to operators
  std::string console_line;           // of kConsole
  std::chrono::milliseconds console_timeout{10000};
};

Options parse_options(phoned::Words words);

// The text that --help prints.
std::string help_text();

}  // namespace phonectl

#endif
