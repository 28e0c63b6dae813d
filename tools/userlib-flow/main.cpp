#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "chart.h"
#include "display.h"
#include "follow.h"
#include "mask.h"
#include "merge.h"
#include "mermaid.h"
#include "nuv_assert.h"
#include "options.h"
#include "selection.h"
#include "statistics.h"
#include "svg_chart.h"
#include "text_chart.h"

namespace flow_tool {
namespace {

enum Status {
  kDone = 0,
  kNothing = 1,
  kUsage = 2,
  kNoInput = 66,
  kNoOutput = 74,
};

constexpr char kHelp[] =
    "Usage: userlib-flow [OPTION...] [FILE...]\n"
    "       userlib-flow mask [--module NAME] NAMES|NUMBER...\n"
    "\n"
    "Draws the message flow in the traces of a daemon: who sent what to whom. Reads the output of the console and the "
    "logs\n"
    "of busybox syslogd, rsyslog and journald (short and json). Several files are merged by time. Without FILE, or if "
    "it\n"
    "is '-', reads the standard input.\n"
    "\n"
    "Output, instead of a chart for the terminal:\n"
    "      --svg              an SVG picture for browsers and documents\n"
    "      --mermaid          the chart in the language of Mermaid, for tickets and wikis\n"
    "      --stats            counts of lanes and messages, and the times that answers took\n"
    "  -o, --output FILE      write to FILE\n"
    "  -f, --follow           keep reading as the logs grow\n"
    "\n"
    "Selection:\n"
    "  -m, --module NAMES     traces of these modules, and messages from or to these lanes\n"
    "  -t, --type TYPES       such as tracemf,error (default for charts: all but trace, debug, tracect and tracedo)\n"
    "  -l, --line N           only what is about the subscriber's line N\n"
    "  -c, --call N[:K]       the first or K-th call of line N, from offhook to onhook\n"
    "      --since TIME       09:04:07.042, '2026-03-05 09:04' or 'Mar  5 09:04:07'\n"
    "      --until TIME\n"
    "      --around TEXT      lines that contain TEXT, and those around them\n"
    "      --context N        the number of lines before and after them (default: 10)\n"
    "\n"
    "Drawing:\n"
    "      --lanes HOW        a lane per name (name, the default), or per name and number (number)\n"
    "      --gap SECONDS      show a gap if nothing happened for this long (default: 1); 0 for none\n"
    "      --limit N          draw at most N records (default: 5000)\n"
    "      --no-times         leave out the times\n"
    "      --ascii            use ASCII characters only\n"
    "      --width N          columns (default: those of the terminal)\n"
    "      --colour WHEN      auto, always (as for 'less -R') or never\n"
    "\n"
    "  -h, --help             print this help and exit\n"
    "      --version          print the version and exit\n"
    "\n"
    "Exit status: 0 done, 1 nothing matches, 2 the command line is wrong, 66 an input cannot be read, 74 the output "
    "cannot\n"
    "be written.\n";

int complain(Status status, const std::string& why) {
  std::fprintf(stderr, "userlib-flow: %s\n", why.c_str());
  return status;
}

// Writes the text to the standard output, or to the file.
int write_out(const std::optional<std::string>& file, std::string_view text) {
  const bool is_stdout = !file || *file == "-";
  FILE* out = is_stdout ? stdout : std::fopen(file->c_str(), "w");
  bool is_good = out != nullptr && std::fwrite(text.data(), 1, text.size(), out) == text.size();
  int problem = errno;
  if (out != nullptr && (is_stdout ? std::fflush(out) : std::fclose(out)) != 0) {
    is_good = false;
    problem = errno;
  }
  if (is_good) {
    return kDone;
  }
  return complain(kNoOutput, (is_stdout ? "the output" : "output " + quote(*file)) +
                                 " cannot be written: " + std::strerror(problem));
}

size_t terminal_width() {
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  // With a pager, the standard error is still the terminal.
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  return 80;
}

bool wants_colours(Colours colours) {
  if (colours != Colours::kAuto) {
    return colours == Colours::kAlways;
  }
  const char* terminal = getenv("TERM");
  return isatty(STDOUT_FILENO) != 0 && getenv("NO_COLOR") == nullptr && terminal != nullptr &&
         std::string_view(terminal) != "dumb";
}

TextStyle style_of(const Options& options) {
  return {options.width.value_or(terminal_width()), options.is_ascii, wants_colours(options.colours),
          options.has_times};
}

// Reports the inputs that could not be read.
int check_inputs(const Merge& merge) {
  int status = kDone;
  for (const Input& input : merge.inputs()) {
    if (input.error() != 0) {
      status = complain(kNoInput, "input " + quote(input.name()) + " cannot be read: " + std::strerror(input.error()));
    }
  }
  return status;
}

void read_all(Merge& merge, Selection& selection) {
  while (!selection.is_complete()) {
    const Record* record = merge.next(Input::End::kTakeRest);
    if (record == nullptr) {
      return;
    }
    selection.take(*record);
  }
}

int print_statistics(const Options& options, Merge& merge) {
  Statistics statistics(options.lanes);
  Selection selection(options.choice, [&statistics](const Record& record) { statistics.take(record); });
  read_all(merge, selection);
  const int status = write_out(options.file, statistics.text(merge));
  return status != kDone ? status : check_inputs(merge);
}

std::string draw(const Options& options, const Chart& chart) {
  switch (options.output) {
    case Output::kSvg:
      return draw_svg(chart, options.has_times);
    case Output::kMermaid:
      return draw_mermaid(chart);
    default:
      return draw_text(chart, style_of(options));
  }
}

int draw_chart(const Options& options, Merge& merge) {
  ChartBuilder builder(options.lanes, options.gap, options.limit);
  Selection selection(options.choice, [&builder](const Record& record) { builder.take(record); });
  read_all(merge, selection);
  const Chart chart = builder.finish();
  const int input_status = check_inputs(merge);
  if (chart.items.empty()) {
    return input_status != kDone ? input_status : complain(kNothing, "nothing matches; " + merge.counts().text());
  }
  const int status = write_out(options.file, draw(options, chart));
  if (chart.left_out > 0) {
    complain(kDone, with_commas(chart.left_out) +
                        " more are left out: select with --since, --call or --line, or raise --limit " +
                        std::to_string(options.limit));
  }
  return status != kDone ? status : input_status;
}

int answer_masks(const Options& options) {
  std::string text;
  for (const std::string& word : options.masks) {
    const auto answer = answer_mask(word, options.mask_module);
    if (const auto* error = std::get_if<MaskError>(&answer)) {
      return complain(kUsage, "mask: " + error->why);
    }
    text += std::get<std::string>(answer);
  }
  return write_out(options.file, text);
}

// Charts leave out the types for debugging unless --type asks for them.
void choose_types(Options& options) {
  if (!options.has_type && options.output != Output::kStatistics) {
    options.choice.types &= ~(1U << NUV_SYSLOGLEVEL_TRACE | 1U << NUV_SYSLOGLEVEL_DEBUG |
                              1U << NUV_SYSLOGLEVEL_TRACECT | 1U << NUV_SYSLOGLEVEL_TRACEDO);
  }
}

int look_at_logs(Options& options) {
  choose_types(options);
  Merge merge(options.inputs, time(nullptr));
  if (options.output == Output::kStatistics) {
    return print_statistics(options, merge);
  }
  if (!options.follows) {
    return draw_chart(options, merge);
  }
  if (const int status = check_inputs(merge); status != kDone) {
    return status;
  }
  return follow(merge, options, style_of(options)) ? kDone : complain(kNoOutput, "the output cannot be written");
}

int run(const std::vector<std::string>& words) {
  Options options;
  if (const auto problem = read_options(words, time(nullptr), options)) {
    return complain(kUsage, *problem + "; see --help");
  }
  if (options.wants_help) {
    return write_out({}, kHelp);
  }
  if (options.wants_version) {
    return write_out({}, std::string("userlib-flow with ") + NUV_Userlib_getVersionString() + "\n");
  }
  return options.is_mask ? answer_masks(options) : look_at_logs(options);
}

}  // namespace
}  // namespace flow_tool

int main(int argc, char** argv) {
  return flow_tool::run(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
