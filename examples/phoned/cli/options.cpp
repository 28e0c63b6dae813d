#include "phoned/cli/options.h"

#include "phoned/core/dial_plan.h"
#include "phoned/core/trace.h"

namespace phoned {

namespace {

constexpr char kBegin[] =
    R"(phoned decides what telephone lines have dialled. Line cards send it one event a datagram, phoned answers each:

  <line> offhook          ->  <line> ready
  <line> digit <digit>    ->  <line> more <digits>
  <line> dial <digits>        <line> complete <digits> <pattern>
                              <line> reject <digits>
  <line> onhook           ->  <line> idle
  anything else           ->  error <why>

Options:
)";

constexpr char kEnd[] = R"(
A dial plan is a list of patterns with | or line ends between them. In a pattern, x stands for 0-9, [135] and [2-5] for
one of several digits, and a dot for any number of the digit before it, none included. The most specific pattern
decides. One with T is complete when no digit has come for the inter-digit time, one without T at once; but while a
longer pattern is as specific, the line has to wait for more digits, and when none come a pattern without T is lost.
Write 11T|11x, not 11|11x.

SIGTERM and SIGINT end phoned.
)";

constexpr Option<Options> kOptions[] = {
    {"--foreground", "", "stay in the foreground; without it phoned detaches as soon as it listens",
     [](Options& options, const Value&) { options.is_foreground = true; }},
    {"--run-dir", "DIR",
     "where the pid file phoned.pid lies (%RUNDIR%); a second phoned with the same DIR is refused;\n"
     "in the foreground there is a pid file only if this is given",
     [](Options& options, const Value& value) { options.run_dir = text_in(value, "a directory for the pid file"); }},
    {"--port", "N", "UDP port, 0 to 65535 (%PORT%); 0 takes a free one; phoned prints which",
     [](Options& options, const Value& value) {
       options.port = static_cast<uint16_t>(number_in(value, 0, UINT16_MAX));
     }},
    {"--allow", "NET", "answer line cards of this network only (127.0.0.0/8), such as 192.168.1.0/24",
     [](Options& options, const Value& value) {
       constexpr char kRule[] = "an IPv4 network, such as 192.168.1.0/24";
       const auto network = Network::parse(text_in(value, kRule));
       if (!network) {
         throw Error(kRule);
       }
       options.allowed = *network;
     }},
    {"--map", "TEXT", "the dial plan (%MAP%)",
     [](Options& options, const Value& value) { options.map = text_in(value, "a dial plan, such as '110|0x.T'"); }},
    {"--map-file", "FILE", "read the dial plan from FILE, and again on SIGHUP",
     [](Options& options, const Value& value) {
       options.map_file = text_in(value, "the name of a file with a dial plan");
     }},
    {"--interdigit", "MS", "how long a line waits for its next digit, 10 to 60000 milliseconds (4000)",
     [](Options& options, const Value& value) {
       options.interdigit = std::chrono::milliseconds(number_in(value, 10, 60000));
     }},
    {"--statistics", "S", "how often counts are printed if they have changed, 1 to 86400 seconds (60)",
     [](Options& options, const Value& value) {
       options.statistics = std::chrono::seconds(number_in(value, 1, 86400));
     }},
    {"--ini", "FILE", "the init file with the trace masks (%INI%)",
     [](Options& options, const Value& value) { options.ini = text_in(value, "the name of an init file"); }},
    {"--console", "PATH", "listen to operators on this Unix socket; 'phonectl console PATH LINE' talks to it",
     [](Options& options, const Value& value) {
       options.operators.socket_path = text_in(value, "the path of a Unix socket");
     }},
    {"--console-timeout", "S", "disconnect an operator who sends nothing, 1 to 3600 seconds (30)",
     [](Options& options, const Value& value) {
       options.operators.patience = std::chrono::seconds(number_in(value, 1, 3600));
     }},
    {"--fifo", "IN", "listen to operators on this FIFO, which is made if it does not exist, and answer",
     [](Options& options, const Value& value) { options.operators.fifo_in = text_in(value, "the path of a FIFO"); }},
    {"--fifo-out", "OUT", "on that one",
     [](Options& options, const Value& value) { options.operators.fifo_out = text_in(value, "the path of a FIFO"); }},
    {"--stdin", "", "listen to an operator on standard input, and answer on standard output",
     [](Options& options, const Value&) { options.operators.use_stdin = true; }},
    {"--help", "", "", [](Options& options, const Value&) { options.action = Options::Action::kShowHelp; }},
    {"--version", "", "print this, or the version",
     [](Options& options, const Value&) { options.action = Options::Action::kShowVersion; }},
};

void check(const Options& options) {
  const Operators::Channels& operators = options.operators;
  if (operators.use_stdin && !options.is_foreground) {
    throw Error("--stdin needs --foreground: in the background there is no standard input");
  }
  if (options.map && options.map_file) {
    throw Error("--map " + quote(*options.map) + " and --map-file " + quote(*options.map_file) +
                " exclude each other: name one dial plan");
  }
  if (operators.fifo_in.has_value() != operators.fifo_out.has_value()) {
    throw Error("--fifo and --fifo-out go together: name two FIFOs");
  }
  if (operators.fifo_in && operators.fifo_in == operators.fifo_out) {
    throw Error("--fifo and --fifo-out are both " + quote(*operators.fifo_in) + ": name two FIFOs");
  }
}

}  // namespace

Options parse_options(Words words) {
  Options options;
  const Words rest = parse<Options>(words, kOptions, options);
  check(options);
  if (!rest.empty()) {
    throw Error("unexpected word " + quote(rest.front()) + ": phoned takes options only, see --help");
  }
  return options;
}

std::string help_text() {
  std::string help = kBegin + describe<Options>(kOptions) + kEnd;
  help = replace(replace(help, "%PORT%", std::to_string(kDefaultPort)), "%MAP%", DialPlan::kDefault);
  return replace(replace(help, "%RUNDIR%", Options::kDefaultRunDir), "%INI%", trace::kDefaultInitFile);
}

}  // namespace phoned
