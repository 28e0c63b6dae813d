// phonectl plays a line card: it sends events to phoned and shows the answers. To its console it plays the operator.
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <iterator>

#include "nuv_assert.h"
#include "nuv_syslog.h"
#include "phonectl/client.h"
#include "phonectl/console.h"
#include "phonectl/options.h"
#include "phonectl/script.h"
#include "phoned/core/file.h"
#include "phoned/core/text.h"

namespace phonectl {
namespace {

using phoned::printable;
using phoned::quote_path;

constexpr int kFailure = 1;
constexpr int kUsage = 2;
constexpr size_t kMaxScript = 1 << 20;

// The log of phonectl's own: it needs no modules and masks, so the library's plain logger does.
bool g_is_logging = false;

int complain(int status, const std::string& why) {
  if (g_is_logging) {
    NUV_Syslog_error(__FILE__, __LINE__, why.c_str());
  }
  std::fprintf(stderr, "phonectl: %s\n", why.c_str());
  return status;
}

// Writes lines to what was standard output, and sends all that anybody else prints there to nowhere: the library
// prints a line for every transfer, which is no business of the reader's.
class Transcript {
 public:
  Transcript() {
    std::fflush(stdout);
    file_ = fdopen(dup(STDOUT_FILENO), "w");
    if (file_ == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) {
      std::perror("phonectl: no transcript");
      std::exit(kFailure);
    }
  }
  ~Transcript() { std::fclose(file_); }
  Transcript(const Transcript&) = delete;
  Transcript& operator=(const Transcript&) = delete;

  // The line is seen at once. What phoned sent must not play tricks with a terminal.
  void write(const std::string& line) {
    const std::string text = printable(line);
    if (g_is_logging) {
      NUV_Syslog_trace(__FILE__, __LINE__, text.c_str());
    }
    std::fprintf(file_, "%s\n", text.c_str());
    std::fflush(file_);
  }

 private:
  FILE* file_;
};

std::string no_answer(const Options& options) {
  return "no answer from " + options.host + " port " + std::to_string(options.port) + " within " +
         std::to_string(options.timeout.count()) + " ms";
}

// ---- One command ----

int run_command(const Options& options) {
  Transcript transcript;
  Client client([&](const std::string& answer) { transcript.write(answer); });
  if (const auto error = client.open(options.host, options.port)) {
    return complain(kFailure, error->why);
  }
  client.send(options.command.text);
  if (!client.wait_for_answer(options.timeout)) {
    return complain(kFailure, no_answer(options));
  }
  return client.take_answer().starts_with("error") ? kFailure : 0;
}

// ---- A line for the console ----

int run_console(const Options& options) {
  const auto answer = ask_console(options.console_path, options.console_line, options.console_timeout);
  if (!answer) {
    return complain(kFailure, answer.error().why);
  }
  Transcript transcript;
  for (std::string_view rest = *answer; !rest.empty();) {
    const size_t end = std::min(rest.find('\n'), rest.size());
    transcript.write(std::string(rest.substr(0, end)));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return is_refusal(*answer) ? kFailure : 0;
}

// ---- A script ----

phoned::Result<std::string> read_script(const std::string& name) {
  if (name != "-") {
    return phoned::read_file(name, kMaxScript);
  }
  return std::string(std::istreambuf_iterator<char>(std::cin), {});
}

// What went wrong in a step; nothing if all went well.
std::optional<phoned::Error> run_step(const Step& step, const Options& options, Client& client,
                                      Transcript& transcript) {
  switch (step.kind) {
    case Step::Kind::kWait:
      client.wait(step.wait);
      return std::nullopt;
    case Step::Kind::kSend:
      transcript.write("-> " + step.text);
      client.send(step.text);
      if (!client.wait_for_answer(options.timeout)) {
        return phoned::Error{no_answer(options)};
      }
      return std::nullopt;
    case Step::Kind::kExpect:
      if (!client.wait_for_answer(options.timeout)) {
        return phoned::Error{"expected '" + printable(step.text) + "', got " + no_answer(options)};
      }
      if (const std::string answer = client.take_answer(); answer != step.text) {
        return phoned::Error{"expected '" + printable(step.text) + "', got '" + printable(answer) + "'"};
      }
      return std::nullopt;
  }
  return std::nullopt;
}

int run_script(const Options& options) {
  const std::string where = "script " + quote_path(*options.script);
  const auto text = read_script(*options.script);
  if (!text) {
    return complain(kUsage, where + " cannot be read: " + text.error().why);
  }
  const auto steps = parse_script(*text);
  if (!steps) {
    return complain(kUsage, where + ", " + steps.error().why);
  }
  Transcript transcript;
  Client client([&](const std::string& answer) { transcript.write("<- " + answer); });
  if (const auto error = client.open(options.host, options.port)) {
    return complain(kFailure, error->why);
  }
  for (const Step& step : *steps) {
    if (const auto error = run_step(step, options, client, transcript)) {
      return complain(kFailure, where + ", line " + std::to_string(step.line) + ": " + error->why);
    }
  }
  return 0;
}

int run(phoned::Arguments::Words words) {
  const auto options = parse_options(words);
  if (!options) {
    return complain(kUsage, options.error().why);
  }
  g_is_logging = options->is_logging;
  if (g_is_logging) {
    openlog("phonectl", 0, LOG_USER);  // not every C library knows the program's name by itself
  }
  switch (options->action) {
    case Options::Action::kShowHelp:
      std::fputs(help_text().c_str(), stdout);
      return 0;
    case Options::Action::kShowVersion:
      std::printf("phonectl with %s\n", NUV_Userlib_getVersionString());
      return 0;
    case Options::Action::kCommand:
      return run_command(*options);
    case Options::Action::kConsole:
      return run_console(*options);
    case Options::Action::kScript:
      return run_script(*options);
  }
  return kUsage;
}

}  // namespace
}  // namespace phonectl

int main(int argc, char** argv) {
  return phonectl::run(phoned::Arguments::Words(argv, static_cast<size_t>(argc)).subspan(argc > 0 ? 1 : 0));
}
