// phonectl plays a line card: it sends events to phoned and shows the answers. To phoned's console it plays the operator.
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iterator>

#include <syslog.h>
#include <unistd.h>

#include "nuv_assert.h"
#include "nuv_syslog.h"
#include "phonectl/client.h"
#include "phonectl/options.h"
#include "phoned/core/text.h"

namespace phonectl {
namespace {

using phoned::Error;
using phoned::printable;

constexpr int kFailure = 1;
constexpr int kUsage = 2;

// Whether to write to the system log. The library's plain logger is enough: there are no modules and masks.
bool g_is_logging = false;

void complain(const std::string& why) {
  if (g_is_logging) {
    NUV_Syslog_error(__FILE__, __LINE__, why.c_str());
  }
  std::fprintf(stderr, "phonectl: %s\n", why.c_str());
}

// Writes to what was standard output, and sends what the library prints there, a line for every transfer, to /dev/null.
class Transcript : userlib::Pinned {
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

  void write(std::string_view line) {
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

// ---- A line for the console ----

int run_console(const Options& options) {
  const std::string answer = ask_console(options.console_path, options.console_line, options.console_timeout);
  Transcript transcript;
  for (std::string_view rest = answer; !rest.empty();) {
    transcript.write(phoned::take_until(rest, "\n"));
  }
  const bool is_refusal =
      answer.starts_with("error: ") || answer == "command not found\n" || answer == "syntax error\n";
  return is_refusal ? kFailure : 0;
}

// ---- A command, or a script ----

std::vector<Step> read_script(const std::string& name) {
  const std::string where = "script " + phoned::quote_path(name);
  std::string text;
  try {
    text = name == "-" ? std::string(std::istreambuf_iterator<char>(std::cin), {}) : phoned::read_file(name, 1 << 20);
  } catch (const Error& error) {
    throw Error(where + " cannot be read: " + error.what());
  }
  try {
    return parse_script(text);
  } catch (const Error& error) {
    throw Error(where + ", " + error.what());
  }
}

void await_answer(Client& client, const Options& options, const std::string& before = "") {
  if (!client.wait_for_answer(options.timeout)) {
    throw Error(before + "no answer from " + options.host + " port " + std::to_string(options.port) + " within " +
                std::to_string(options.timeout.count()) + " ms");
  }
}

void expect(const std::string& text, const Options& options, Client& client) {
  const std::string expected = "expected '" + printable(text) + "', got ";
  await_answer(client, options, expected);
  if (const std::string answer = client.take_answer(); answer != text) {
    throw Error(expected + "'" + printable(answer) + "'");
  }
}

void run_step(const Step& step, const Options& options, Client& client) {
  switch (step.kind) {
    case Step::Kind::kWait:
      return client.wait(step.wait);
    case Step::Kind::kSend:
      client.send(step.text);
      return await_answer(client, options);
    case Step::Kind::kExpect:
      return expect(step.text, options, client);
  }
}

int run_command(const Options& options) {
  Transcript transcript;
  Client client([&](const std::string& answer) { transcript.write(answer); });
  client.open(options.host, options.port);
  run_step(options.command, options, client);
  return client.take_answer().starts_with("error") ? kFailure : 0;
}

int run_script(const std::vector<Step>& steps, const Options& options) {
  Transcript transcript;
  Client client([&](const std::string& answer) { transcript.write("<- " + answer); });
  client.open(options.host, options.port);
  for (const Step& step : steps) {
    if (step.kind == Step::Kind::kSend) {
      transcript.write("-> " + step.text);
    }
    try {
      run_step(step, options, client);
    } catch (const Error& error) {
      throw Error("script " + phoned::quote_path(*options.script) + ", line " + std::to_string(step.line) + ": " +
                  error.what());
    }
  }
  return 0;
}

int run(const Options& options, const std::vector<Step>& script) {
  switch (options.action) {
    case Options::Action::kShowHelp:
      std::fputs(help_text().c_str(), stdout);
      break;
    case Options::Action::kShowVersion:
      std::printf("phonectl with %s\n", NUV_Userlib_getVersionString());
      break;
    case Options::Action::kCommand:
      return run_command(options);
    case Options::Action::kConsole:
      return run_console(options);
    case Options::Action::kScript:
      return run_script(script, options);
  }
  return 0;
}

int run(phoned::Words words) {
  Options options;
  std::vector<Step> script;
  try {
    options = parse_options(words);
    g_is_logging = options.is_logging;
    if (g_is_logging) {
      openlog("phonectl", 0, LOG_USER);  // not every C library knows the program's name by itself
    }
    if (options.action == Options::Action::kScript) {
      script = read_script(*options.script);
    }
  } catch (const Error& error) {
    complain(error.what());
    return kUsage;
  }
  try {
    return run(options, script);
  } catch (const Error& error) {
    complain(error.what());
    return kFailure;
  }
}

}  // namespace
}  // namespace phonectl

int main(int argc, char** argv) {
  return phonectl::run(phoned::Words(argv, static_cast<size_t>(argc)).subspan(argc > 0 ? 1 : 0));
}
