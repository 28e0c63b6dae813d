// userlib-digitmap shows authors of dial plans what a plan answers, which patterns overlap, and why one does not parse.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dialplan/plan.h"
#include "dialplan/warnings.h"
#include "nuv_assert.h"
#include "userlib-digitmap/answers.h"
#include "userlib-digitmap/convert.h"
#include "userlib-digitmap/graph.h"
#include "userlib-digitmap/options.h"
#include "userlib-digitmap/svg.h"

namespace digitmap_tool {
namespace {

// Exit statuses for scripts. From 64 on they are those of <sysexits.h>.
enum Status {
  kComplete = 0,
  kUndecided = 1,
  kWarned = 1,
  kNoMatch = 2,
  kUsage = 64,
  kBadPlan = 65,
  kNoInput = 66,
  kNoDot = 69,
  kFailed = 70,
  kNoOutput = 74
};

constexpr char kHelp[] =
    R"(userlib-digitmap shows what a dial plan answers, digit by digit, and warns of likely mistakes in it.

  userlib-digitmap [OPTIONS] MAP [DIGITS...]
  userlib-digitmap [OPTIONS] --file FILE [DIGITS...]

MAP is the plan itself, such as '0x.T|110|[1-9]xxx', or @FILE; '-' as FILE is the standard input. In a file, line ends
separate patterns as bars do. Prints a table for each of DIGITS: what the plan answers after each digit, by first and by
best match, while the timer runs and after it has expired, and which patterns are still alive. Without DIGITS, lists the
patterns in words.

Options:
  -f, --file FILE       read the plan from FILE
  -g, --graph SVG       draw the plan as a tree of positions with graphviz; '-' is the standard output
      --dot             print only that tree, in the language of graphviz
      --check           print only the warnings about the plan
      --convert[=FORM]  MAP is a published plan: print a plan for userlib that means the same. FORM: mgcp (the default;
                        RFC 2705, RFC 3435), or h248 (also most telephones: waits while more digits could follow)
      --length N        compare both on all dial strings of up to N digits (default: 5)
      --first           exit status, tree, warnings and conversion by first match instead of best match
      --timer           exit status as after the timer has expired
  -q, --quiet           print no tables, lists, warnings and notes
  -h, --help            print this help and exit
      --version         print the version and exit

Exit status: 0 all DIGITS are complete, 1 some are undecided, or --check has a warning, 2 some match nothing; 64 the
command line is wrong, 65 the plan is wrong or cannot be converted, 66 the plan cannot be read, 69 dot cannot be
started, 70 dot has failed, 74 the output cannot be written.
)";

int complain(Status status, const std::string& why) {
  std::fprintf(stderr, "userlib-digitmap: %s\n", why.c_str());
  return status;
}

int refuse_usage(const std::string& why) {
  return complain(kUsage, why + "; see --help");
}

// The content of a file, cut one byte after the longest allowed plan; null, with errno set, if it cannot be read.
std::optional<std::string> read_file(const std::string& path) {
  const bool is_stdin = path == "-";
  FILE* file = is_stdin ? stdin : std::fopen(path.c_str(), "r");
  if (file == nullptr) {
    return std::nullopt;
  }
  std::string content(Plan::kMaxText + 1, '\0');
  content.resize(std::fread(content.data(), 1, content.size(), file));
  const bool is_good = std::ferror(file) == 0;
  const int problem = errno;
  if (!is_stdin) {
    std::fclose(file);
  }
  errno = problem;
  return is_good ? std::optional(content) : std::nullopt;
}

// What is wrong with digits to dial, in words; empty if nothing is.
std::string find_undialled(const std::string& digits) {
  if (digits.size() > kMaxDigits) {
    return "digits " + quote(digits) + " are too many: must be at most " + std::to_string(kMaxDigits);
  }
  const size_t at = digits.find_first_not_of(dialplan::kDialled);
  if (at == std::string::npos) {
    return {};
  }
  return "digits " + quote(digits) + ": " + quote(digits.substr(at, 1)) + " at position " + std::to_string(at + 1) +
         " cannot be dialled: must be one of 0-9 A-D # *";
}

// Checks that all output was written.
int finish(int status) {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    return complain(kNoOutput, std::string("the output cannot be written: ") + std::strerror(errno));
  }
  return status;
}

int print_help() {
  std::fputs(kHelp, stdout);
  return finish(0);
}

int print_version() {
  std::printf("userlib-digitmap with %s\n", NUV_Userlib_getVersionString());
  return finish(0);
}

int write_picture(const std::string& path, const std::string& svg) {
  const bool is_stdout = path == "-";
  FILE* file = is_stdout ? stdout : std::fopen(path.c_str(), "w");
  bool is_good = file != nullptr && std::fwrite(svg.data(), 1, svg.size(), file) == svg.size();
  int problem = errno;
  if (file != nullptr && !is_stdout && std::fclose(file) != 0) {
    is_good = false;
    problem = errno;
  }
  if (!is_good) {
    return complain(kNoOutput, "picture " + quote(path) + " cannot be written: " + std::strerror(problem));
  }
  return 0;
}

// Draws the graph that the options ask for. Returns 0 or an exit status.
int draw_plan(const Options& options, const Plan& plan) {
  const auto graph = draw(plan, options.mode);
  if (!graph) {
    return complain(kBadPlan,
                    "the plan has more than " + std::to_string(kMaxPositions) + " positions, too many to draw");
  }
  if (options.wants_dot) {
    std::fputs(graph->c_str(), stdout);
    return 0;
  }
  const Picture picture = make_svg(*graph);
  switch (picture.outcome) {
    case Picture::Outcome::kNoDot:
      return complain(kNoDot, picture.why);
    case Picture::Outcome::kFailed:
      return complain(kFailed, picture.why);
    case Picture::Outcome::kMade:
      break;
  }
  return write_picture(*options.graph, picture.svg);
}

int status_of(Result result) {
  switch (result) {
    case Result::kComplete:
      return kComplete;
    case Result::kUndecided:
      return kUndecided;
    case Result::kNoMatch:
      break;
  }
  return kNoMatch;
}

// Prints a table for each dial string. Returns the worst of their results.
int answer(const Options& options, const Plan& plan, const std::vector<std::string>& all_digits) {
  int status = kComplete;
  bool is_first = true;
  for (const std::string& digits : all_digits) {
    if (!options.is_quiet) {
      std::printf("%s%s", is_first ? "" : "\n", tabulate(plan, digits).c_str());
    }
    is_first = false;
    status = std::max(status, status_of(ask(plan, options.mode, digits, options.timer).result));
  }
  return status;
}

// Prints the warnings. Returns whether there are any.
bool warn(const Options& options, const Plan& plan) {
  const dialplan::Warnings warnings = dialplan::find_warnings(plan, options.mode);
  if (options.is_quiet) {
    return !warnings.found.empty();
  }
  for (const dialplan::Problem& warning : warnings.found) {
    std::fprintf(stderr, "userlib-digitmap: warning: %s", plan.describe(warning).c_str());
  }
  if (!warnings.is_whole) {
    std::fprintf(stderr,
                 "userlib-digitmap: note: the plan has more than %zu positions; patterns that never decide were not "
                 "searched for\n",
                 dialplan::kMaxWalk);
  }
  return !warnings.found.empty();
}

int convert_plan(const Options& options, const std::string& text) {
  const Conversion conversion = convert(text, *options.convert, options.mode, options.length);
  if (conversion.plan.empty()) {
    return complain(kBadPlan, "the plan cannot be converted: " + conversion.why);
  }
  std::printf("%s\n", conversion.plan.c_str());
  if (options.is_quiet) {
    return 0;
  }
  for (const std::string& note : conversion.notes) {
    complain(kComplete, "note: " + note);
  }
  const Comparison& made = conversion.comparison;
  std::fprintf(stderr,
               "userlib-digitmap: the same for all dial strings of up to %zu digits (%zu were compared), and at %s%zu "
               "positions that longer ones reach\n",
               made.length, made.strings, made.is_whole ? "all " : "the first ", made.positions);
  return 0;
}

int look_at(const Options& options, const Plan& plan, const std::vector<std::string>& all_digits) {
  for (const dialplan::Problem& problem : plan.problems()) {
    std::fprintf(stderr, "userlib-digitmap: %s", plan.describe(problem).c_str());
  }
  if (!plan.problems().empty()) {
    return kBadPlan;
  }
  if (plan.patterns().empty()) {
    return complain(kBadPlan, "the plan holds no pattern: must be one or more, such as '110|0x.T'");
  }
  const bool has_warnings = (options.wants_check || !options.is_quiet) && warn(options, plan);
  if (options.wants_check) {
    return has_warnings ? kWarned : 0;
  }
  if (options.wants_dot || options.graph) {
    if (const int status = draw_plan(options, plan); status != 0) {
      return status;
    }
  }
  // A drawing on the standard output must be alone there.
  Options choice = options;
  choice.is_quiet = options.is_quiet || options.wants_dot || options.graph == "-";
  if (all_digits.empty() && !choice.is_quiet) {
    std::fputs(list(plan).c_str(), stdout);
  }
  return answer(choice, plan, all_digits);
}

// What is wrong with the digits on the command line, in words; empty if nothing is.
std::string refuse_digits(const Options& options, const std::vector<std::string>& all_digits) {
  if (!all_digits.empty() && (options.wants_check || options.convert)) {
    return "--check and --convert take no digits";
  }
  for (const std::string& digits : all_digits) {
    if (std::string why = find_undialled(digits); !why.empty()) {
      return why;
    }
  }
  return {};
}

int run(std::vector<std::string> words) {
  Options options;
  if (const auto why = read_options(std::move(words), options)) {
    return refuse_usage(*why);
  }
  if (options.wants_help) {
    return print_help();
  }
  if (options.wants_version) {
    return print_version();
  }
  std::vector<std::string> all_digits = options.words;
  std::string text;
  if (!options.file) {
    if (all_digits.empty()) {
      return refuse_usage("no dial plan given: must be MAP, @FILE or --file FILE");
    }
    text = all_digits.front();
    all_digits.erase(all_digits.begin());
    if (text.starts_with('@')) {
      options.file = text.substr(1);
    }
  }
  if (const std::string why = refuse_digits(options, all_digits); !why.empty()) {
    return refuse_usage(why);
  }
  if (options.file) {
    auto content = read_file(*options.file);
    if (!content) {
      return complain(kNoInput, "plan " + quote(*options.file) + " cannot be read: " + std::strerror(errno));
    }
    text = std::move(*content);
  }
  if (text.size() > Plan::kMaxText) {
    return complain(kBadPlan,
                    "the plan is too long: must have at most " + std::to_string(Plan::kMaxText) + " characters");
  }
  if (options.convert) {
    return finish(convert_plan(options, text));
  }
  const auto source = options.file ? Plan::Source::kFile : Plan::Source::kArgument;
  return finish(look_at(options, Plan(std::move(text), source), all_digits));
}

}  // namespace
}  // namespace digitmap_tool

int main(int argc, char** argv) {
  return digitmap_tool::run(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
