#include "phoned/cli/options.h"

#include "phoned/core/dial_plan.h"
#include "phoned/core/text.h"
#include "phoned/core/trace.h"

namespace phoned {

namespace {

constexpr uint32_t kMinInterdigit = 10;
constexpr uint32_t kMaxInterdigit = 60000;
constexpr uint32_t kMaxStatistics = 86400;
constexpr uint32_t kMaxPatience = 3600;

constexpr char kHelp[] =
    R"(phoned decides what telephone lines have dialled. Line cards send it one event a datagram, phoned answers each:

  <line> offhook          ->  <line> ready
  <line> digit <digit>    ->  <line> more <digits>
  <line> dial <digits>        <line> complete <digits> <pattern>
                              <line> reject <digits>
  <line> onhook           ->  <line> idle
  anything else           ->  error <why>

Options:
  --foreground        stay in the foreground; without it phoned detaches as soon as it listens
  --run-dir DIR       where the pid file phoned.pid lies (%RUNDIR%); a second phoned with the same DIR is refused;
                      in the foreground there is a pid file only if this is given
  --port N            UDP port, 0 to 65535 (%PORT%); 0 takes a free one; phoned prints which
  --allow NET         answer line cards of this network only (127.0.0.0/8), such as 192.168.1.0/24
  --map TEXT          the dial plan (%MAP%)
  --map-file FILE     read the dial plan from FILE, and again on SIGHUP
  --interdigit MS     how long a line waits for its next digit, 10 to 60000 milliseconds (4000)
  --statistics S      how often counts are printed if they have changed, 1 to 86400 seconds (60)
  --ini FILE          the init file with the trace masks (%INI%)
  --console PATH      hear operators on this Unix socket; 'phonectl console PATH LINE' talks to it
  --console-timeout S hang up on an operator who says nothing, 1 to 3600 seconds (30)
  --fifo IN           hear operators on this FIFO, which is made if it is not there, and answer them
  --fifo-out OUT      on that one
  --stdin             hear an operator on the standard input, and answer on the standard output
  --help, --version   say so and end

A dial plan is a list of patterns with | or line ends between them. In a pattern, x stands for 0-9, [135] and [2-5] for
one of several digits, and a dot for any number of the digit before it, none included. The most specific pattern
decides. One with T is complete when no digit has come for the inter-digit time, one without T at once; but while a
longer pattern is as specific, the line has to wait for more digits, and when none come a pattern without T is lost.
Write 11T|11x, not 11|11x.

SIGTERM and SIGINT end phoned.
)";

// The options that say how operators reach phoned. Returns false if the option is none of them.
bool parse_operator_option(Arguments& arguments, Operators::Channels& operators) {
  if (arguments.is("--console")) {
    operators.socket_path = arguments.value("the path of a Unix socket");
  } else if (arguments.is("--fifo")) {
    operators.fifo_in = arguments.value("the path of a FIFO");
  } else if (arguments.is("--fifo-out")) {
    operators.fifo_out = arguments.value("the path of a FIFO");
  } else if (arguments.is_flag("--stdin")) {
    operators.use_stdin = true;
  } else if (arguments.is("--console-timeout")) {
    operators.patience = std::chrono::seconds(arguments.number(1, kMaxPatience));
  } else {
    return false;
  }
  return true;
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
    } else if (arguments.is_flag("--foreground")) {
      options.is_foreground = true;
    } else if (arguments.is("--run-dir")) {
      options.run_dir = arguments.value("a directory for the pid file");
    } else if (arguments.is("--port")) {
      options.port = static_cast<uint16_t>(arguments.number(0, UINT16_MAX));
    } else if (arguments.is("--allow")) {
      const std::string text = arguments.value("a network, such as 192.168.1.0/24");
      const auto network = Network::parse(text);
      if (!network) {
        arguments.refuse(quote(text) + ": must be an IPv4 network, such as 192.168.1.0/24");
      }
      options.allowed = network.value_or(Network{});
    } else if (arguments.is("--map")) {
      options.map = arguments.value("a dial plan, such as '110|0x.T'");
    } else if (arguments.is("--map-file")) {
      options.map_file = arguments.value("the name of a file with a dial plan");
    } else if (arguments.is("--interdigit")) {
      options.interdigit = std::chrono::milliseconds(arguments.number(kMinInterdigit, kMaxInterdigit));
    } else if (arguments.is("--statistics")) {
      options.statistics = std::chrono::seconds(arguments.number(1, kMaxStatistics));
    } else if (arguments.is("--ini")) {
      options.ini = arguments.value("the name of an init file");
    } else if (!parse_operator_option(arguments, options.operators)) {
      arguments.refuse_option();
    }
  }
  if (arguments.error()) {
    return *arguments.error();
  }
  if (options.operators.use_stdin && !options.is_foreground) {
    return Error{"--stdin needs --foreground: in the background there is no standard input"};
  }
  if (options.map && options.map_file) {
    return Error{"--map " + quote(*options.map) + " and --map-file " + quote(*options.map_file) +
                 " exclude each other: name one dial plan"};
  }
  if (options.operators.fifo_in.has_value() != options.operators.fifo_out.has_value()) {
    return Error{"--fifo and --fifo-out go together: name two FIFOs"};
  }
  if (options.operators.fifo_in && options.operators.fifo_in == options.operators.fifo_out) {
    return Error{"--fifo and --fifo-out are both " + quote(*options.operators.fifo_in) + ": name two FIFOs"};
  }
  if (!arguments.rest().empty()) {
    return Error{"unexpected word " + quote(arguments.rest().front()) + ": phoned takes options only, see --help"};
  }
  return options;
}

std::string help_text() {
  const std::string help = replace(replace(kHelp, "%PORT%", std::to_string(kDefaultPort)), "%MAP%", DialPlan::kDefault);
  return replace(replace(help, "%RUNDIR%", Options::kDefaultRunDir), "%INI%", trace::kDefaultInitFile);
}

}  // namespace phoned
