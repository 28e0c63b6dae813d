#include "phonectl/options.h"

#include <arpa/inet.h>

#include "phoned/core/text.h"

namespace phonectl {

using phoned::Arguments;
using phoned::Error;
using phoned::quote;
using phoned::Result;

namespace {

constexpr uint32_t kLongestTimeout = 60000;

constexpr char kHelp[] = R"(phonectl plays a line card: it sends events to phoned and shows the answers.

  phonectl [options] offhook LINE        the subscriber of a line, 0 to 255, lifts the receiver,
  phonectl [options] digit LINE DIGIT    dials one digit,
  phonectl [options] dial LINE DIGITS    dials some,
  phonectl [options] onhook LINE         hangs up
  phonectl [options] raw TEXT            sends a datagram as it is
  phonectl [options] console PATH LINE   plays an operator: says a line on phoned's console socket, shows the answer
  phonectl [options] --script FILE       does all of this line by line, - reads standard input; a script also knows
                                         expect TEXT, wait MS and comments that start with #

Options:
  --port N            phoned's UDP port, 1 to 65535 (%PORT%)
  --host ADDRESS      phoned's IPv4 address (127.0.0.1)
  --timeout MS        how long to wait for an answer, 1 to 60000 milliseconds (2000; on the console 10000)
  --log               write what is shown and what goes wrong to the system log, too
  --help, --version   say so and end

Exit status: 0 if the answer is as it should be, 1 if it is an error, not the expected one or missing, 2 if the command
line or the script is wrong.
)";

bool is_ipv4_address(const std::string& text) {
  in_addr address = {};
  return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

std::string join(Arguments::Words words) {
  std::string text;
  for (const char* word : words) {
    text += (text.empty() ? "" : " ") + std::string(word);
  }
  return text;
}

Result<Options> parse_console(Arguments::Words words, Options options) {
  if (words.size() < 2) {
    return Error{"'console' wants the path of a socket and a line, such as 'console /run/phoned.console lines'"};
  }
  options.action = Options::Action::kConsole;
  options.console_path = words.front();
  options.console_line = join(words.subspan(1));
  if (options.console_line.find('\n') != std::string::npos) {
    return Error{quote(options.console_line) + ": must be one line"};
  }
  return options;
}

// The command that the words make, which must be one that sends.
Result<Step> parse_command(Arguments::Words words) {
  if (words.empty()) {
    return Error{"no command: must be offhook, onhook, digit, dial, raw or console, or a --script; --help shows more"};
  }
  auto step = parse_step(join(words));
  if (step && step->kind != Step::Kind::kSend) {
    return Error{quote(words.front()) + " is for scripts: must be offhook, onhook, digit, dial or raw"};
  }
  return step;
}

}  // namespace

Result<Options> parse_options(Arguments::Words words) {
  Options options;
  Arguments arguments(words);
  while (arguments.next_option()) {
    if (arguments.is_flag("--help")) {
      options.action = Options::Action::kShowHelp;
    } else if (arguments.is_flag("--version")) {
      options.action = Options::Action::kShowVersion;
    } else if (arguments.is_flag("--log")) {
      options.is_logging = true;
    } else if (arguments.is("--port")) {
      options.port = static_cast<uint16_t>(arguments.number(1, UINT16_MAX));
    } else if (arguments.is("--host")) {
      options.host = arguments.value("an IPv4 address");
      if (!is_ipv4_address(options.host)) {
        arguments.refuse(quote(options.host) + ": must be an IPv4 address, such as 127.0.0.1");
      }
    } else if (arguments.is("--timeout")) {
      options.timeout = std::chrono::milliseconds(arguments.number(1, kLongestTimeout));
      options.console_timeout = options.timeout;
    } else if (arguments.is("--script")) {
      options.script = arguments.value("the name of a script, or - for standard input");
    } else {
      arguments.refuse_option();
    }
  }
  if (arguments.error()) {
    return *arguments.error();
  }
  if (options.action != Options::Action::kCommand) {
    return options;
  }
  if (options.script) {
    options.action = Options::Action::kScript;
    if (!arguments.rest().empty()) {
      return Error{"unexpected word " + quote(arguments.rest().front()) + ": commands stand in the script"};
    }
    return options;
  }
  if (!arguments.rest().empty() && std::string_view(arguments.rest().front()) == "console") {
    return parse_console(arguments.rest().subspan(1), std::move(options));
  }
  auto command = parse_command(arguments.rest());
  if (!command) {
    return command.error();
  }
  options.command = std::move(*command);
  return options;
}

std::string help_text() {
  return phoned::replace(kHelp, "%PORT%", std::to_string(phoned::kDefaultPort));
}

}  // namespace phonectl
