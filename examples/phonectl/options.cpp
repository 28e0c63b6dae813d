#include "phonectl/options.h"

#include <algorithm>

#include <arpa/inet.h>

#include "userlib.hpp"

namespace phonectl {

using phoned::Error;
using phoned::number_in;
using phoned::quote;
using phoned::text_in;
using phoned::Value;
using phoned::Words;

namespace {

constexpr char kBegin[] = R"(phonectl plays a line card: it sends events to phoned and shows the answers.

  phonectl [options] offhook LINE        the subscriber of a line, 0 to 255, lifts the receiver,
  phonectl [options] digit LINE DIGIT    dials one digit,
  phonectl [options] dial LINE DIGITS    dials some,
  phonectl [options] onhook LINE         hangs up
  phonectl [options] raw TEXT            sends a datagram as it is
  phonectl [options] console PATH LINE   plays an operator: says a line on phoned's console socket, shows the answer

Options:
)";

constexpr char kEnd[] = R"(
Exit status: 0 if the answer is as it should be, 1 if it is an error, not the expected one or missing, 2 if the command
line or the script is wrong.
)";

constexpr phoned::Option<Options> kOptions[] = {
    {"--port", "N", "phoned's UDP port, 1 to 65535 (%PORT%)",
     [](Options& options, const Value& value) {
       options.port = static_cast<uint16_t>(number_in(value, 1, UINT16_MAX));
     }},
    {"--host", "ADDRESS", "phoned's IPv4 address, or localhost (127.0.0.1)",
     [](Options& options, const Value& value) {
       constexpr char kRule[] = "an IPv4 address, such as 127.0.0.1, or localhost";
       const std::string host = text_in(value, kRule);
       options.host = host == "localhost" ? "127.0.0.1" : host;  // the library takes addresses only
       in_addr address = {};
       if (inet_pton(AF_INET, options.host.c_str(), &address) != 1) {
         throw Error(kRule);
       }
     }},
    {"--timeout", "MS", "how long to wait for an answer, 1 to 60000 milliseconds (2000; on the console 10000)",
     [](Options& options, const Value& value) {
       options.timeout = std::chrono::milliseconds(number_in(value, 1, 60000));
       options.console_timeout = options.timeout;
     }},
    {"--script", "FILE",
     "do all of this line by line; - reads standard input; a script also knows expect TEXT, wait MS\n"
     "and comments that start with #",
     [](Options& options, const Value& value) {
       options.script = text_in(value, "the name of a script, or - for standard input");
     }},
    {"--log", "", "write what is shown and what goes wrong to the system log, too",
     [](Options& options, const Value&) { options.is_logging = true; }},
    {"--help", "", "", [](Options& options, const Value&) { options.action = Options::Action::kShowHelp; }},
    {"--version", "", "print this, or the version",
     [](Options& options, const Value&) { options.action = Options::Action::kShowVersion; }},
};

std::string join(Words words) {
  std::string text;
  for (const char* word : words) {
    text += (text.empty() ? "" : " ") + std::string(word);
  }
  return text;
}

void parse_console(Words words, Options& options) {
  if (words.size() < 2) {
    throw Error("'console' needs the path of a socket and a line, such as 'console /run/phoned.console lines'");
  }
  options.action = Options::Action::kConsole;
  options.console_path = words.front();
  options.console_line = join(words.subspan(1));
  if (options.console_line.find('\n') != std::string::npos) {
    throw Error(quote(options.console_line) + ": must be one line");
  }
}

// The command that the words make, which must be one that sends.
void parse_command(Words words, Options& options) {
  if (words.empty()) {
    throw Error("no command: must be offhook, onhook, digit, dial, raw or console, or a --script; --help shows more");
  }
  options.command = parse_step(join(words));
  if (options.command.kind != Step::Kind::kSend) {
    throw Error(quote(words.front()) + " is for scripts: must be offhook, onhook, digit, dial or raw");
  }
}

// ---- Commands ----

// A command, and what follows its name.
struct Form {
  std::string_view name;
  Step::Kind kind;
  size_t words;  // of an event, with its name; 0: any text
  const char* rule;
};
constexpr Form kForms[] = {
    {"offhook", Step::Kind::kSend, 2, "a line, such as 'offhook 3'"},
    {"onhook", Step::Kind::kSend, 2, "a line, such as 'onhook 3'"},
    {"digit", Step::Kind::kSend, 3, "a line and a digit, such as 'digit 3 1'"},
    {"dial", Step::Kind::kSend, 3, "a line and digits, such as 'dial 3 110'"},
    {"raw", Step::Kind::kSend, 0, "a text, such as 'raw 3 idle'"},
    {"expect", Step::Kind::kExpect, 0, "a text, such as 'expect 3 idle'"},
    {"wait", Step::Kind::kWait, 0, "milliseconds from 0 to 60000, not "},
};

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  return text.substr(0, text.find_last_not_of(" \t\r") + 1);
}

// The number of the line comes first in a datagram. phoned will say whether the words make sense.
std::string datagram_of(const std::vector<std::string_view>& words) {
  std::string text = std::string(words[1]) + " " + std::string(words[0]);
  for (size_t i = 2; i < words.size(); ++i) {
    text += " " + std::string(words[i]);
  }
  return text;
}

}  // namespace

Step parse_step(std::string_view text) {
  const std::vector<std::string_view> words = phoned::split_words(text);
  const std::string_view name = words.empty() ? "" : words.front();
  const auto* const form = std::ranges::find(kForms, name, &Form::name);
  if (form == std::end(kForms)) {
    throw Error("unknown command " + quote(name) + ": must be offhook, onhook, digit, dial, raw, expect or wait");
  }
  const std::string_view rest = trimmed(text.substr(text.find(name) + name.size()));
  const std::string rule = quote(name) + " needs " + form->rule;
  if (form->kind == Step::Kind::kWait) {
    const auto wait = phoned::to_number(rest, 0, 60000);
    if (!wait) {
      throw Error(rule + quote(rest));
    }
    return Step{form->kind, {}, std::chrono::milliseconds(*wait)};
  }
  if (form->words == 0 ? rest.empty() : words.size() != form->words) {
    throw Error(rule);
  }
  const std::string said = form->words == 0 ? std::string(rest) : datagram_of(words);
  if (said.size() > userlib::kMaxDatagram) {
    throw Error(quote(said) + " is too long: a datagram takes at most " + std::to_string(userlib::kMaxDatagram) +
                " bytes");
  }
  return Step{form->kind, said};
}

std::vector<Step> parse_script(std::string_view text) {
  std::vector<Step> steps;
  for (size_t line = 1; !text.empty(); ++line) {
    const std::string_view command = trimmed(phoned::take_until(text, "\n"));
    if (command.empty() || command.front() == '#') {
      continue;
    }
    try {
      steps.push_back(parse_step(command));
    } catch (const Error& error) {
      throw Error("line " + std::to_string(line) + ": " + error.what());
    }
    steps.back().line = line;
  }
  return steps;
}

Options parse_options(Words words) {
  Options options;
  const Words rest = phoned::parse<Options>(words, kOptions, options);
  if (options.action != Options::Action::kCommand) {
    return options;
  }
  if (options.script) {
    options.action = Options::Action::kScript;
    if (!rest.empty()) {
      throw Error("unexpected word " + quote(rest.front()) + ": commands stand in the script");
    }
  } else if (!rest.empty() && std::string_view(rest.front()) == "console") {
    parse_console(rest.subspan(1), options);
  } else {
    parse_command(rest, options);
  }
  return options;
}

std::string help_text() {
  return phoned::replace(kBegin + phoned::describe<Options>(kOptions) + kEnd, "%PORT%",
                         std::to_string(phoned::kDefaultPort));
}

}  // namespace phonectl
