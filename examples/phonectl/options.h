// What phonectl is told to do: one command on its command line, or a script with one command a line.
//
//     offhook LINE | onhook LINE | digit LINE DIGIT | dial LINE DIGITS
//                      sends this event and waits for an answer
//     raw TEXT         sends the text as it is and waits for an answer
//     expect TEXT      takes the next answer, waiting for it if necessary, and fails if it is a different one
//     wait MS          waits
//     # anything       is a comment
//
// "expect" takes the answers in the order in which they came since the last command that sent something. Answers that
// no "expect" takes are shown, and forgotten when the next command sends.
#ifndef EXAMPLES_PHONECTL_OPTIONS_H
#define EXAMPLES_PHONECTL_OPTIONS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "phoned/cli/arguments.h"
#include "phoned/core/protocol.h"

namespace phonectl {

struct Step {
  enum class Kind { kSend, kExpect, kWait };

  Kind kind = Kind::kSend;
  std::string text = {};             // of kSend: the datagram; of kExpect: the answer
  std::chrono::milliseconds wait{};  // of kWait
  size_t line = 0;                   // of the script, from 1
};

// Reads one command.
Step parse_step(std::string_view text);

// Reads a script. The Error names the line.
std::vector<Step> parse_script(std::string_view text);

struct Options {
  enum class Action { kCommand, kScript, kConsole, kShowHelp, kShowVersion };

  Action action = Action::kCommand;
  std::string host = "127.0.0.1";
  uint16_t port = phoned::kDefaultPort;
  std::chrono::milliseconds timeout{2000};
  bool is_logging = false;            // to the system log
  std::optional<std::string> script;  // a file's name, or "-" for standard input
  Step command;                       // of kCommand
  std::string console_path;           // of kConsole: phoned's console socket
  std::string console_line;           // of kConsole
  std::chrono::milliseconds console_timeout{10000};
};

Options parse_options(phoned::Words words);

// The text of --help.
std::string help_text();

}  // namespace phonectl

#endif
