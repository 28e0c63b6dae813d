// The calls of the demo give the same picture from phoned's console and from a real system log. The log needs rsyslog,
// and root for a mount namespace with our own /dev/log.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "doubles/temporary_directory.h"
#include "phoned/program.h"

namespace {

using support::Program;
using support::TemporaryDirectory;
using support::TemporaryFile;
using Words = Program::Arguments;

constexpr char kRsyslogd[] = "/usr/sbin/rsyslogd";
constexpr char kUnshare[] = "/usr/bin/unshare";
const Words kPrivately = {"--mount", "--pid", "--fork", "--kill-child", "--mount-proc"};

constexpr char kMasks[] = "[TraceLevelInit Version]\n1\n\n[Level]\n0;\"Line\";129\n\n";
constexpr char kScripts[] = DEMO_SCRIPTS;

std::string run(const std::string& path, const Words& words) {
  const support::Outcome outcome = support::outcome_of(path, words);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return outcome.out;
}

// The rest of the line after a text that the program prints.
std::string text_behind(const Program& program, const std::string& text) {
  EXPECT_TRUE(program.says(text)) << program.err();
  const std::string out = program.out();
  const size_t begin = out.find(text) + text.size();
  return out.substr(begin, out.find('\n', begin) - begin);
}

Words phoned_in(const std::string& place, const std::string& masks) {
  return {PHONED,         "--foreground", "--port",    "0",
          "--interdigit", "300",          "--console", place + "/console",
          "--ini",        masks,          "--map",     "110 | 112 | 11T | 118xx | 12 | 12x | 0x.T | [2-9]xxx | *2x"};
}

// The demo's calls that do not overlap others, then the end.
void call(const Program& phoned, const std::string& place, const std::string& first_line) {
  const std::string port = text_behind(phoned, "phoned: listening on port ");
  if (!first_line.empty()) {
    run(PHONECTL, {"console", place + "/console", first_line});
  }
  for (const char* script : {"at_once", "after_timeout", "no_match"}) {
    run(PHONECTL, {"--port", port, "--script", std::string(kScripts) + "/" + script + ".phonectl"});
  }
  run(PHONECTL, {"console", place + "/console", "stop"});
}

// The picture without its tooltips, whose times and ports differ between runs.
std::string without_tooltips(std::string svg) {
  for (size_t begin = svg.find("<title>"); begin != std::string::npos; begin = svg.find("<title>", begin + 1)) {
    const size_t end = svg.find("</title>", begin);
    svg.erase(begin + 7, end - begin - 7);
  }
  return svg;
}

struct Pictures {
  std::string text;
  std::string svg;
  std::string mermaid;

  bool operator==(const Pictures&) const = default;
};

Pictures draw(const std::string& log) {
  const Words command = {"--no-times", "--gap", "0", "--type", "info,tracemf", "--module", "Line,card,channel,plan"};
  const auto with = [&](const char* output) {
    Words words = command;
    words.insert(words.end(), {output, log});
    return run(FLOW_TOOL, words);
  };
  return {with("--width=100"), without_tooltips(with("--svg")), with("--mermaid")};
}

bool can_have_a_world_of_its_own() {
  Words words = kPrivately;
  words.emplace_back("true");
  return access(kRsyslogd, X_OK) == 0 && geteuid() == 0 && access(kUnshare, X_OK) == 0 &&
         Program(kUnshare, words).exit_status() == 0;
}

// The output of phoned on its console.
std::string console_log(const std::string& masks) {
  const TemporaryDirectory directory;
  const std::string& place = directory.path();
  const Words words = phoned_in(place, masks);
  Program phoned(words.front(), {words.begin() + 1, words.end()});
  call(phoned, place, "tr console");
  EXPECT_EQ(phoned.exit_status(), 0) << phoned.err();
  return phoned.out();
}

// Has a real log daemon write the logs to a folder.
void write_system_logs(const std::string& place, const std::string& masks) {
  Words words = kPrivately;
  words.insert(words.end(), {SYSTEM_LOG, place, kRsyslogd});
  const Words inside = Program::start_of(phoned_in(place, masks));
  words.insert(words.end(), inside.begin(), inside.end());
  Program world(kUnshare, words);
  call(world, place, "");
  EXPECT_EQ(world.exit_status(), 0) << world.err();
}

TEST(CallsOfTheDemo, AreTheSamePictureFromTheConsoleAndFromASystemLog) {
  if (!can_have_a_world_of_its_own()) {
    GTEST_SKIP() << "needs rsyslog, root, and a mount namespace";
  }
  const TemporaryFile masks(kMasks);
  const TemporaryFile console(console_log(masks.path()));
  const TemporaryDirectory directory;
  const std::string& place = directory.path();
  write_system_logs(place, masks.path());
  const Pictures expected = draw(console.path());
  EXPECT_NE(expected.text.find("▶│"), std::string::npos) << expected.text;
  for (const char* log : {"/traditional", "/iso", "/protocol"}) {
    const Pictures pictures = draw(place + log);
    EXPECT_EQ(pictures.text, expected.text) << log;
    EXPECT_EQ(pictures.mermaid, expected.mermaid) << log;
    EXPECT_EQ(pictures.svg, expected.svg) << log;
  }
}

}  // namespace
