#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "doubles/temporary_directory.h"
#include "phoned/program.h"

namespace {

using support::Outcome;
using support::Program;
using support::TemporaryDirectory;
using support::TemporaryFile;
using Words = std::vector<std::string>;

Outcome run(const Words& words, const std::string& input = "") {
  return support::outcome_of(DIGITMAP_TOOL, words, input);
}

// A directory for programs named "dot", first in PATH or alone there.
class PathWithDot {
 public:
  explicit PathWithDot(const std::string& script) : old_path_(getenv("PATH")) {
    if (!script.empty()) {
      const std::string path = directory_.file("dot");
      const int fd = open(path.c_str(), O_CREAT | O_WRONLY | O_EXCL | O_CLOEXEC, 0755);
      EXPECT_EQ(write(fd, script.data(), script.size()), static_cast<ssize_t>(script.size()));
      close(fd);
    }
    setenv("PATH", directory_.path().c_str(), 1);
  }
  ~PathWithDot() { setenv("PATH", old_path_.c_str(), 1); }
  PathWithDot(const PathWithDot&) = delete;
  PathWithDot& operator=(const PathWithDot&) = delete;

 private:
  std::string old_path_;
  TemporaryDirectory directory_;
};

TEST(DigitmapTool, AnswersDigitByDigit) {
  const Outcome outcome = run({"11T|110|1xx", "110"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out,
            "dialled  first match   at time-out   best match    at time-out   alive\n"
            "1        undecided     no match      undecided     no match      11T, 110, 1xx\n"
            "11       undecided     complete 11T  undecided     complete 11T  11T (at time-out), 110, 1xx\n"
            "110      complete 110  no match      complete 110  no match      110 (complete), 1xx (complete)\n");
}

TEST(DigitmapTool, PrintsATableForEachOfTheDigits) {
  const Outcome outcome = run({"1", "", "2"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.out,
            "dialled  first match  at time-out  best match  at time-out  alive\n"
            "nothing  undecided    no match     undecided   no match     1\n"
            "\n"
            "dialled  first match  at time-out  best match  at time-out  alive\n"
            "2        no match     no match     no match    no match     none\n");
}

TEST(DigitmapTool, ListsThePatternsWithoutDigits) {
  const Outcome outcome = run({"0x.T|(110)"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "1  0x.T  0, any number of 0-9; at time-out\n2  110   110\n");
}

TEST(DigitmapTool, TellsTheResultByItsExitStatus) {
  const struct {
    const char* name;
    Words words;
    int status;
  } kCases[] = {
      {"complete", {"110", "110"}, 0},
      {"not all there", {"110", "11"}, 1},
      {"no match", {"110", "12"}, 2},
      {"too long", {"110", "1101"}, 2},
      {"waits for the timer", {"0x.T", "012"}, 1},
      {"the timer has expired", {"--timer", "0x.T", "012"}, 0},
      {"expired for a pattern without T", {"--timer", "110", "110"}, 2},
      {"at the time-out nothing waits", {"--timer", "0T|00T", "0"}, 0},
      {"at the time-out half a number is none", {"--timer", "110", "11"}, 2},
      {"best match has to wait", {"11|11x", "11"}, 1},
      {"first match does not", {"--first", "11|11x", "11"}, 0},
      {"digits that cannot be dialled", {"110|1x", "1x"}, 64},
      {"one undecided", {"110", "110", "11"}, 1},
      {"one undecided, then one without match, then a complete one", {"110", "11", "2", "110"}, 2},
      {"no digits", {"110"}, 0},
      {"options behind words", {"110", "11", "--quiet"}, 1},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(run(c.words).status, c.status);
    Words quiet = c.words;
    quiet.insert(quiet.begin(), "-q");
    const Outcome outcome = run(quiet);
    EXPECT_EQ(outcome.status, c.status);
    EXPECT_EQ(outcome.out, "");
  }
}

TEST(DigitmapTool, ReadsPlansFromFiles) {
  const TemporaryFile file("110\n0x.T\n");
  const std::string expected = "1  110   110\n2  0x.T  0, any number of 0-9; at time-out\n";
  EXPECT_EQ(run({"--file", file.path()}).out, expected);
  EXPECT_EQ(run({"--file=" + file.path()}).out, expected);
  EXPECT_EQ(run({"-f", file.path()}).out, expected);
  EXPECT_EQ(run({"@" + file.path()}).out, expected);
  EXPECT_EQ(run({"@-"}, "110|\n\n0x.T").out, expected);
  EXPECT_EQ(run({"-f", "-"}, "110\r\n0x.T\r\n").out, expected);
  EXPECT_EQ(run({"-f", file.path(), "110", "2"}).status, 2);
  // A second plan is taken as digits.
  EXPECT_EQ(run({"-f", file.path(), "@" + file.path()}).status, 64);
}

TEST(DigitmapTool, SaysWhatIsWrong) {
  const TemporaryFile empty;
  const TemporaryFile large(std::string(16385, '1'));
  const struct {
    const char* name;
    Words words;
    int status;
    std::string complaint;
  } kCases[] = {
      {"nothing", {}, 64, "no dial plan given: must be MAP, @FILE or --file FILE; see --help\n"},
      {"unknown option", {"--grpah", "1"}, 64, "option '--grpah' is unknown; see --help\n"},
      {"option with control characters", {"-\033[31m"}, 64, "option '-?[31m' is unknown; see --help\n"},
      {"flag with a value", {"--first=1", "1"}, 64, "option '--first=1' is unknown, or takes no value; see --help\n"},
      {"no value",
       {"1", "--graph"},
       64,
       "option '--graph' needs a value: the name of an SVG file to write; see --help\n"},
      {"no value of a file",
       {"-f"},
       64,
       "option '-f' needs a value: the name of a file with a dial plan; see --help\n"},
      {"two kinds of graph", {"--dot", "-g", "x", "1"}, 64, "--dot and --graph cannot be combined; see --help\n"},
      {"undialled digits",
       {"1", "12x"},
       64,
       "digits '12x': 'x' at position 3 cannot be dialled: must be one of 0-9 A-D # *; see --help\n"},
      {"blanks in digits",
       {"1", "1 2"},
       64,
       "digits '1 2': ' ' at position 2 cannot be dialled: must be one of 0-9 A-D # *; see --help\n"},
      {"too many digits",
       {"1", std::string(65, '1')},
       64,
       "digits '" + std::string(65, '1') + "' are too many: must be at most 64; see --help\n"},
      {"far too many digits",
       {"1", std::string(100000, '1')},
       64,
       "digits '" + std::string(80, '1') + "...' are too many: must be at most 64; see --help\n"},
      {"no pattern", {"( | )"}, 65, "the plan holds no pattern: must be one or more, such as '110|0x.T'\n"},
      {"empty file", {"@" + empty.path()}, 65, "the plan holds no pattern: must be one or more, such as '110|0x.T'\n"},
      {"too long", {std::string(16385, '1')}, 65, "the plan is too long: must have at most 16384 characters\n"},
      {"large file", {"@" + large.path()}, 65, "the plan is too long: must have at most 16384 characters\n"},
      {"file without end", {"@/dev/zero"}, 65, "the plan is too long: must have at most 16384 characters\n"},
      {"no file", {"@/no/such/file"}, 66, "plan '/no/such/file' cannot be read: No such file or directory\n"},
      {"directory", {"@/"}, 66, "plan '/' cannot be read: Is a directory\n"},
      {"no name", {"@"}, 66, "plan '' cannot be read: No such file or directory\n"},
      {"too many positions",
       {"--dot", std::string(500, '1')},
       65,
       "the plan has more than 500 positions, too many to draw\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    const Outcome outcome = run(c.words);
    EXPECT_EQ(outcome.status, c.status);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "userlib-digitmap: " + c.complaint);
  }
}

TEST(DigitmapTool, WarnsOfWhatAPlanMostLikelyDoesNotMean) {
  const std::string warning =
      "userlib-digitmap: warning: pattern 1, position 2: '[2-57]' is one range from its first symbol to its last, 2-7: "
      "must be '[23457]' for 2-5 7\n  1[2-57]\n   ^\n";
  Outcome outcome = run({"1[2-57]"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "1  1[2-57]  1, one of 2-7\n");
  EXPECT_EQ(outcome.err, warning);
  outcome = run({"--check", "1[2-57]"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, warning);
  outcome = run({"--check", "-q", "1[2-57]"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(run({"-q", "1[2-57]", "16"}).err, "");
  outcome = run({"--check", "110|0x.T"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(DigitmapTool, ChecksByTheModeThatIsAskedFor) {
  EXPECT_EQ(run({"--check", "1xx|112"}).status, 0);
  const Outcome first = run({"--check", "--first", "1xx|112"});
  EXPECT_EQ(first.status, 1);
  EXPECT_EQ(first.err,
            "userlib-digitmap: warning: pattern 2, position 5: '112' never decides: '1xx' does wherever it would, or "
            "sooner\n  1xx|112\n      ^\n");
  const TemporaryFile file("110 # 112\n");
  EXPECT_EQ(run({"--check", "@" + file.path()}).err,
            "userlib-digitmap: warning: pattern 1, line 1, position 5: '#' is a key, and does not start a comment: the "
            "pattern is '110#112'\n  110 # 112\n      ^\n");
}

TEST(DigitmapTool, SaysWhereItsCheckHasStopped) {
  const Outcome outcome = run({"--check", "x.1" + std::string(20, 'x') + "T|1|10"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err,
            "userlib-digitmap: note: the plan has more than 20000 positions; patterns that never decide were not "
            "searched for\n");
}

TEST(DigitmapTool, ConvertsPublishedPlans) {
  Outcome outcome = run({"--convert", "(0T|1[235-9]x|1(10|12))"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "0T|1[2356789]x|110|112\n");
  EXPECT_EQ(outcome.err,
            "userlib-digitmap: the same for all dial strings of up to 5 digits (30 were compared), and at all 0 "
            "positions that longer ones reach\n");
  outcome = run({"--convert=h248", "--length", "2", "(9,[2-9]11S0|9,1xxx|xx.S2)"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "9[2-9]11|91xxxT|xx.T\n");
  outcome = run({"-q", "--convert=mgcp", "0|00"});
  EXPECT_EQ(outcome.out, "0\n");
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(run({"--convert", "0|00"})
                .err.find("userlib-digitmap: note: left out, because the published plan is "
                          "complete sooner: 00\n"),
            0U);
  const TemporaryFile file("110\r\n1[13]2 | 113\n");
  EXPECT_EQ(run({"--convert", "-f", file.path()}).out, "110|1[13]2|113\n");
}

TEST(DigitmapTool, SaysWhatItCannotConvert) {
  const struct {
    const char* name;
    Words words;
    int status;
    std::string complaint;
  } kCases[] = {
      {"substitution",
       {"--convert=h248", "1|<9:>x"},
       65,
       "the plan cannot be converted: position 3: '<' belongs to a substitution, which changes the number: a plan here "
       "only tells when a number is complete\n"},
      {"more digits behind a repeated symbol",
       {"--convert", "x.#5"},
       65,
       "the plan cannot be converted: after # the published plan is incomplete, ours is no match\n"},
      {"a sign of two meanings, and more behind it",
       {"--convert", "x+|1"},
       65,
       "the plan cannot be converted: position 2: '+' repeats any number of times in some plans and at least once in "
       "others: must be '.', or the plan in braces\n"},
      {"timer in the middle",
       {"--convert", "1T2"},
       65,
       "the plan cannot be converted: a timer is in the middle of a pattern: must be at its end\n"},
      {"unknown form", {"--convert=sip", "1"}, 64, "form 'sip' is unknown: must be mgcp or h248; see --help\n"},
      {"no length", {"--convert", "--length=0", "1"}, 64, "length '0' must be a number from 1 to 64; see --help\n"},
      {"great length",
       {"--convert", "--length=65", "1"},
       64,
       "length '65' must be a number from 1 to 64; see --help\n"},
      {"digits", {"--convert", "1", "1"}, 64, "--check and --convert take no digits; see --help\n"},
      {"digits to check", {"--check", "1", "1"}, 64, "--check and --convert take no digits; see --help\n"},
      {"a check and a picture",
       {"--check", "--dot", "1"},
       64,
       "--check cannot be combined with --convert, --dot or --graph; see --help\n"},
      {"a conversion and a picture",
       {"--convert", "-g", "x", "1"},
       64,
       "--convert cannot be combined with --dot or --graph; see --help\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    const Outcome outcome = run(c.words);
    EXPECT_EQ(outcome.status, c.status);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "userlib-digitmap: " + c.complaint);
  }
}

TEST(DigitmapTool, TakesEverythingUpToItsLimits) {
  EXPECT_EQ(run({std::string(16384, '1'), std::string(64, '1')}).status, 1);
  EXPECT_EQ(run({"--", "1", "1"}).status, 0);
}

TEST(DigitmapTool, ComplainsOfEachPatternThatDoesNotParse) {
  const Outcome outcome = run({"a|110|[", "110"});
  EXPECT_EQ(outcome.status, 65);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err,
            "userlib-digitmap: pattern 1, position 1: 'a' cannot be dialled: must be 'A'\n"
            "  a|110|[\n"
            "  ^\n"
            "userlib-digitmap: pattern 3, position 7: '[' is not closed: must have a ']' after its symbols, in the "
            "same pattern\n"
            "  a|110|[\n"
            "        ^\n");
}

TEST(DigitmapTool, SurvivesAnyBytes) {
  std::string bytes;
  for (int i = 0; i < 64 * 256; ++i) {
    bytes += static_cast<char>(i * 7 % 256);
  }
  const Outcome outcome = run({"@-", "1"}, bytes);
  EXPECT_EQ(outcome.status, 65);
  EXPECT_EQ(outcome.out, "");
  for (const char c : outcome.err) {
    ASSERT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << static_cast<int>(c);
  }
}

TEST(DigitmapTool, NoticesThatItsOutputIsLost) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  for (const Words& words : {Words{"1", "1"}, Words{"--help"}, Words{"--version"}, Words{"--dot", "1"}}) {
    Program program(DIGITMAP_TOOL, words, "", full);
    EXPECT_EQ(program.exit_status(), 74) << words.front();
    EXPECT_EQ(program.err(), "userlib-digitmap: the output cannot be written: No space left on device\n");
  }
  close(full);
}

TEST(DigitmapTool, HelpsAndTellsItsVersion) {
  const Outcome help = run({"--help", "[", "nonsense"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("userlib-digitmap [OPTIONS] MAP [DIGITS...]\n"), std::string::npos);
  for (const char* option : {"--file", "--graph", "--dot", "--check", "--convert", "--length", "--first", "--timer",
                             "--quiet", "--help", "--version"}) {
    EXPECT_NE(help.out.find(option), std::string::npos) << option;
  }
  EXPECT_EQ(run({"-h"}).out, help.out);
  const Outcome version = run({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "userlib-digitmap with userlib-1.4.3\n");
}

TEST(DigitmapTool, PrintsAGraph) {
  const Outcome outcome = run({"--dot", "110|0x.T", "110"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out.find("digraph \"dial plan\" {\n"), 0U);
  EXPECT_NE(outcome.out.find("2 patterns, best match"), std::string::npos);
  EXPECT_EQ(outcome.out.substr(outcome.out.size() - 3), "\n}\n");
  EXPECT_NE(run({"--dot", "--first", "110"}).out.find("1 pattern, first match"), std::string::npos);
}

TEST(DigitmapTool, DrawsAWellFormedPicture) {
  if (*DOT == '\0' || *XMLLINT == '\0') {
    GTEST_SKIP() << "needs dot and xmllint";
  }
  for (const char* plan : {"110|112|1[2-9]x|[2-9]x.T|0x.T|*xx|#xx", "T", "1.2.3.T|[5-2]|A", "11|11x|1xxxT"}) {
    SCOPED_TRACE(plan);
    const TemporaryFile picture;
    const Outcome outcome = run({"--graph", picture.path(), "-q", plan});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_NE(picture.content().find("<svg "), std::string::npos);
    Program parser(XMLLINT, {"--noout", "--nonet", picture.path()});
    EXPECT_EQ(parser.exit_status(), 0) << parser.err();
    const Outcome printed = run({"--graph=-", plan, "9"});
    EXPECT_EQ(printed.out, picture.content());
  }
}

TEST(DigitmapTool, GoesOnWithItsTablesBehindAPicture) {
  const PathWithDot path("#!/bin/sh\necho picture\n");
  const TemporaryFile picture;
  const Outcome outcome = run({"-g", picture.path(), "1", "2"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.out.find("dialled"), 0U);
  EXPECT_EQ(picture.content(), "picture\n");
}

void expect_no_picture(const std::string& script_of_dot, int status, const std::string& complaint) {
  const PathWithDot path(script_of_dot);
  const TemporaryFile picture("as it was");
  const Outcome outcome = run({"--graph", picture.path(), "1", "1"});
  EXPECT_EQ(outcome.status, status);
  EXPECT_EQ(outcome.err, "userlib-digitmap: " + complaint);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(picture.content(), "as it was");
}

TEST(DigitmapTool, SaysWhyThereIsNoPicture) {
  const std::string kShebang = "#!/bin/sh\n";
  const struct {
    const char* name;
    std::string script;
    int status;
    std::string complaint;
  } kCases[] = {
      {"fails", kShebang + "echo half; exit 3\n", 70, "the program 'dot' has failed with status 3\n"},
      {"dies", kShebang + "echo half; kill -TERM $$\n", 70, "the program 'dot' was ended by signal 15\n"},
      {"does nothing", kShebang, 70, "the program 'dot' has printed nothing\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    expect_no_picture(c.script, c.status, c.complaint);
  }
}

// Under emulation, posix_spawn() succeeds even if the program does not exist; the child then exits with 127.
bool spawning_nothing_fails() {
  pid_t pid = 0;
  std::string name = "/nonexistent";
  char* argv[] = {name.data(), nullptr};
  if (posix_spawn(&pid, name.c_str(), nullptr, nullptr, argv, environ) != 0) {
    return true;
  }
  waitpid(pid, nullptr, 0);
  return false;
}

TEST(DigitmapTool, SaysWhyNothingDrawsThePicture) {
  if (!spawning_nothing_fails()) {
    GTEST_SKIP() << "posix_spawn() does not report missing programs, as under user-mode emulation";
  }
  expect_no_picture("", 69, "the program 'dot' is missing: install graphviz, or use --dot\n");
  expect_no_picture("\001\002", 69, "the program 'dot' does not start: Exec format error\n");
}

TEST(DigitmapTool, NoticesThatAPictureCannotBeWritten) {
  const PathWithDot path("#!/bin/sh\necho picture\n");
  Outcome outcome = run({"--graph", "/no/such/picture", "1"});
  EXPECT_EQ(outcome.status, 74);
  EXPECT_EQ(outcome.err, "userlib-digitmap: picture '/no/such/picture' cannot be written: No such file or directory\n");
  outcome = run({"--graph", "/dev/full", "1"});
  EXPECT_EQ(outcome.status, 74);
  EXPECT_EQ(outcome.err, "userlib-digitmap: picture '/dev/full' cannot be written: No space left on device\n");
}

TEST(DigitmapTool, WantsDotToReadItsGraph) {
  // dot gets the whole graph on its standard input.
  const PathWithDot path(
      "#!/bin/sh\n[ \"$*\" = -Tsvg ] && while IFS= read -r line; do printf '%s\\n' \"$line\"; done\n");
  const TemporaryFile picture;
  EXPECT_EQ(run({"-q", "--graph", picture.path(), "110|0x.T"}).status, 0);
  EXPECT_EQ(picture.content(), run({"--dot", "110|0x.T"}).out);
}

}  // namespace
