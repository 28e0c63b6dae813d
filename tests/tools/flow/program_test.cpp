// Runs the built program.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#include "phoned/program.h"

namespace {

using support::Outcome;
using support::Program;
using support::TemporaryFile;
using Words = std::vector<std::string>;

Outcome run(const Words& words, const std::string& input = "") {
  setenv("TZ", "UTC", 1);
  return support::outcome_of(FLOW_TOOL, words, input);
}

constexpr char kLog[] =
    "Mar  5 09:04:00:000:tracemf: card:1 -->3 offhook--> channel:2  RX\n"
    "Mar  5 09:04:00:001:trace:Line   event '3 offhook'\n"
    "Mar  5 09:04:00:001:tracemf: channel:2 -->3 ready--> card:1  TX\n";

constexpr char kChart[] =
    "card                         channel\n"
    "  │                             │\n"
    "  │──────── 3 offhook ─────────▶│\n"
    "  │◀───────── 3 ready ──────────│\n";

TEST(FlowTool, DrawsTheStandardInputAndFiles) {
  const TemporaryFile file(kLog);
  for (const auto& outcome : {run({"--no-times", "--width", "40"}, kLog), run({"--no-times", "--width=40", "-"}, kLog),
                              run({"--no-times", "--width", "40", "--", file.path()})}) {
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, kChart);
    EXPECT_EQ(outcome.err, "");
  }
}

TEST(FlowTool, ShowsTracesOfATypeThatIsNamed) {
  EXPECT_NE(run({"--type", "all"}, kLog).out.find("Line: event '3 offhook'"), std::string::npos);
  EXPECT_EQ(run({}, kLog).out.find("event"), std::string::npos);
}

TEST(FlowTool, WritesToAFile) {
  const TemporaryFile file;
  const Outcome outcome = run({"--mermaid", "-o", file.path()}, kLog);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(file.content().find("sequenceDiagram\n"), 0U);
}

TEST(FlowTool, SaysWhenThereIsNothing) {
  const Outcome outcome = run({"--call", "4"}, std::string(kLog) + "foreign\n");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "userlib-flow: nothing matches; 4 lines: 3 traces, 1 foreign, 0 broken, 0 cut\n");
}

TEST(FlowTool, SaysWhatIsLeftOut) {
  const Outcome outcome = run({"--limit", "1"}, kLog);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err,
            "userlib-flow: 1 more are left out: select with --since, --call or --line, or raise --limit 1\n");
}

TEST(FlowTool, TellsOfInputsThatCannotBeReadAndDrawsTheOthers) {
  const TemporaryFile file(kLog);
  const Outcome outcome = run({"--no-times", "--width", "40", "/nonexistent/a", file.path(), "/"});
  EXPECT_EQ(outcome.status, 66);
  EXPECT_EQ(outcome.out, kChart);
  EXPECT_EQ(outcome.err,
            "userlib-flow: input '/nonexistent/a' cannot be read: No such file or directory\n"
            "userlib-flow: input '/' cannot be read: Is a directory\n");
  EXPECT_EQ(run({"--stats", "/nonexistent/a"}).status, 66);
}

TEST(FlowTool, TellsWhenItsOutputCannotBeWritten) {
  const Outcome outcome = run({"-o", "/nonexistent/a"}, kLog);
  EXPECT_EQ(outcome.status, 74);
  EXPECT_EQ(outcome.err, "userlib-flow: output '/nonexistent/a' cannot be written: No such file or directory\n");
  EXPECT_EQ(run({"-o", "/dev/full"}, kLog).status, 74);
}

// Each message names the bad word, and what would be right.
TEST(FlowTool, RefusesWhatItDoesNotUnderstand) {
  const struct {
    Words words;
    const char* why;
  } kCases[] = {
      {{"--foo"}, "option '--foo' is unknown"},
      {{"-x"}, "option '-x' is unknown"},
      {{"--svg=1"}, "option '--svg=1' takes no value"},
      {{"--line"}, "option --line needs a value"},
      {{"--line", "x"}, "option --line: 'x' must be the number of a subscriber's line, 0 to 65535"},
      {{"--call", "3:0"},
       "option --call: '3:0' must be the number of a subscriber's line, such as 3, or 3:2 for its second call"},
      {{"--type", "infoo"},
       "option --type: 'infoo' is not a trace type: must be all, none, or some of info, trace, debug, dump, "
       "warning, error, guioutput, tracemf, tracect, tracedo, with commas between them"},
      {{"--since", "soon"},
       "option --since: 'soon' must be a time, such as 09:04:07.042, '2026-03-05 09:04' or 'Mar  5 09:04:07'"},
      {{"--until=x"},
       "option --until: 'x' must be a time, such as 09:04:07.042, '2026-03-05 09:04' or 'Mar  5 09:04:07'"},
      {{"--context", "-1"}, "option --context: '-1' must be a number from 0 to 10000"},
      {{"--limit", "0"}, "option --limit: '0' must be a number from 1 to 1000000"},
      {{"--width", "39"}, "option --width: '39' must be a number from 40 to 1000"},
      {{"--gap", "1."}, "option --gap: '1.' must be seconds, such as 0.5; 0 for no gaps"},
      {{"--colour", "red"}, "option --colour: 'red' must be one of auto always never"},
      {{"--lanes", "all"}, "option --lanes: 'all' must be one of name number"},
      {{"--svg", "--stats"}, "--svg, --mermaid and --stats cannot be combined"},
      {{"-f", "--svg"}, "--follow prints a text chart: it cannot be combined with --svg, --mermaid or --stats"},
      {{"-f", "-o", "x"}, "--follow prints to the standard output: it cannot be combined with --output"},
      {{"-f", "-", "x"}, "--follow reads either the standard input or files"},
      {{"mask"}, "mask needs names, such as info,error,tracemf, or a number from 0 to 1023"},
      {{"mask", "-m", "a,b", "1"}, "option --module: mask takes only one module"},
  };
  for (const auto& row : kCases) {
    const Outcome outcome = run(row.words);
    EXPECT_EQ(outcome.status, 2) << row.why;
    EXPECT_EQ(outcome.err, std::string("userlib-flow: ") + row.why + "; see --help\n");
    EXPECT_EQ(outcome.out, "");
  }
}

TEST(FlowTool, KnowsMasks) {
  EXPECT_EQ(run({"mask", "info,error,tracemf"}).out, "161\ntr changeall 161\n");
  EXPECT_EQ(run({"mask", "113"}).out, "info,warning,error,guioutput\n");
  EXPECT_EQ(run({"mask", "-m", "Line", "error,tracemf", "0"}).out, "160\ntr change Line 160\nnone\n");
  const Outcome outcome = run({"mask", "1024"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err, "userlib-flow: mask: '1024' is not a mask: must be a number from 0 to 1023\n");
}

TEST(FlowTool, HasHelpAndAVersion) {
  EXPECT_EQ(run({"--help"}).out.find("Usage: userlib-flow"), 0U);
  EXPECT_EQ(run({"--version"}).out.find("userlib-flow with "), 0U);
}

void append(const TemporaryFile& file, const std::string& text) {
  FILE* stream = std::fopen(file.path().c_str(), "a");
  std::fputs(text.c_str(), stream);
  std::fclose(stream);
}

// Follows line by line, across an added lane, half a line, and a rotated log.
TEST(FlowTool, FollowsALog) {
  setenv("TZ", "UTC", 1);
  const TemporaryFile file(kLog);
  Program program(FLOW_TOOL, {"--follow", "--no-times", "--width", "40", file.path()});
  EXPECT_TRUE(program.says(kChart));
  append(file, "Mar  5 09:04:00:001:tracemf: channel:2 -->3 on");
  append(file, "hook--> card:1  TX\nMar  5 09:04:00:002:dump:Line: d: 01\n");
  EXPECT_TRUE(program.says("3 onhook"));
  EXPECT_TRUE(program.says("Line: d: 01"));
  append(file, "Mar  5 09:04:00:001:tracemf: channel:2 -->3 m--> plan:1  TX\n");
  EXPECT_TRUE(program.says("plan\n"));
  const std::string old = file.path() + ".1";
  ASSERT_EQ(rename(file.path().c_str(), old.c_str()), 0);
  file.write("Mar  5 09:04:00:001:tracemf: plan:2 -->3 again--> card:1  TX\n");
  EXPECT_TRUE(program.says("3 again"));
  file.write("");
  file.write("Mar  5 09:04:00:001:tracemf: plan:2 -->3 anew--> card:1  TX\n");
  EXPECT_TRUE(program.says("3 anew"));
  unlink(old.c_str());
}

TEST(FlowTool, FollowsACallToItsEnd) {
  const TemporaryFile file(kLog);
  Program program(FLOW_TOOL, {"--follow", "--call", "3", file.path()});
  EXPECT_TRUE(program.says("3 ready"));
  append(file,
         "Mar  5 09:04:00:002:tracemf: card:1 -->3 onhook--> channel:2  RX\n"
         "Mar  5 09:04:00:003:tracemf: channel:2 -->3 idle--> card:1  TX\n");
  EXPECT_EQ(program.exit_status(), 0);
  EXPECT_NE(program.out().find("3 idle"), std::string::npos);
}

TEST(FlowTool, FollowsTheStandardInputToItsEnd) {
  EXPECT_EQ(run({"--follow", "--no-times", "--width", "40"}, kLog).out, kChart);
}

}  // namespace
