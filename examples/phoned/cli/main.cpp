// phoned decides what telephone lines have dialled. The path of an event through this file:
//
//     1. on_datagram     a datagram has arrived: the channel moves it from the socket into the request pipe
//     2. on_request      it becomes a message for the dial layer, and the channel sends the answer
//     3. decide_overdue  no digit came in time: the dial layer decides, and the channel sends the outcome
//     4. on_signal       phoned is to end, or to read its dial plan again
//     5. pass_on         what was printed meanwhile goes out, without waiting for its reader
//
// The reactor calls these functions, all in one thread.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

#include "nuv_assert.h"
#include "phoned/cli/options.h"
#include "phoned/core/clock.h"
#include "phoned/core/dial_layer.h"
#include "phoned/core/statistics.h"
#include "phoned/core/trace.h"
#include "phoned/io/channel.h"
#include "phoned/io/commands.h"
#include "phoned/io/instance.h"
#include "phoned/io/operators.h"
#include "phoned/io/output.h"
#include "phoned/io/signals.h"
#include "userlib.hpp"

namespace phoned {
namespace {

constexpr int kFailure = 1;
constexpr int kUsage = 2;

Output g_standard_output(stdout);
Output g_standard_error(stderr);

// Complaints go to the system log only, then.
bool g_is_in_background = false;

void complain(const std::string& why) {
  PHONED_LOG(ERROR, trace::modules.phoned, "%s", why.c_str());
  if (!g_is_in_background) {
    std::fprintf(stderr, "phoned: %s\n", why.c_str());
  }
}

// A plan is used as it is, though its author may have meant something else.
void log_warnings(const DialPlan& plan) {
  for (const std::string& warning : plan.warnings()) {
    PHONED_LOG(WARNING, trace::modules.dial_plan, "dial plan, %s", warning.c_str());
  }
}

void finish_outputs() {
  g_standard_output.finish();
  g_standard_error.finish();
}

void open_outputs() {
  // A reader who goes away does not end phoned, and a terminal that others use does not stop it.
  for (const int signal : {SIGPIPE, SIGTTOU, SIGTTIN}) {
    std::signal(signal, SIG_IGN);
  }
  std::atexit(finish_outputs);
  g_standard_output.open();
  g_standard_error.open();
}

class Daemon : userlib::Pinned {
 public:
  Daemon(const Options& options, DialPlan plan)
      : options_(options), dial_layer_(std::move(plan), options.interdigit, counts_) {}

  // Everything that can fail fails here, before phoned detaches and nobody reads its messages.
  void start() {
    if (options_.run_dir || !options_.is_foreground) {
      instance_.claim(options_.run_dir.value_or(Options::kDefaultRunDir), !options_.is_foreground);
    }
    signals_.open({SIGTERM, SIGINT, SIGHUP, SIGCHLD});
    channel_.open(options_.port);
    // Signals need an external descriptor: the reactor's wait does not end for internal ones.
    if (!datagram_.read_external(channel_.socket_fd()) || !request_.read(channel_.request_fd()) ||
        !signal_.read_external(signals_.fd()) || !wait_for_deadline() || !report_.start_every(options_.statistics)) {
      throw Error(kCannotWatch);
    }
    commands_.open();
    operators_.open(options_.operators);
    std::printf("phoned: listening on port %u\n", channel_.port());
    if (!options_.is_foreground) {
      detach();
    }
    PHONED_LOG(INFO, trace::modules.phoned, "listening on port %u", channel_.port());
  }

  // Returns when phoned was asked to end.
  void serve() {
    pass_on();  // what the start has printed, before the first wait
    while (!is_ending_) {
      loop_.process();
      decide_overdue();
      pass_on();
    }
    tell_counts();
  }

  // Removes the daemon's files. Returns false, with a complaint, if that was not possible.
  bool close() {
    bool is_clean = true;
    for (const std::string& problem : {operators_.close(), instance_.release()}) {
      if (!problem.empty()) {
        complain(problem);
        is_clean = false;
      }
    }
    return is_clean;
  }

 private:
  // ---- 1. A datagram has arrived ----

  void on_datagram() {
    const auto waiting = channel_.peek();
    if (!waiting || is_ending_) {
      return;
    }
    if (uint64_t Statistics::*const count = silence_for(*waiting)) {
      ++(counts_.*count);
      channel_.drop();
    } else if (!can_be_bridged(waiting->size)) {
      trace::message(part_of(waiting->sender), waiting->text, channel_part(), trace::Way::kIn);
      channel_.drop();
      const std::string why = "datagram of " + std::to_string(waiting->size) + " bytes: at most " +
                              std::to_string(kMaxDatagram) + " are taken";
      answer(waiting->sender, dial_layer_.handle(Event(Event::Kind::kBad, 0, waiting->sender, why), monotonic_now()));
    } else if (!channel_.receive()) {
      count_loss("a datagram");
    }
  }

  // Where to count a datagram that gets no answer; null if it gets one. Strangers get none, and neither does another phoned,
  // nor this one behind a forged address: they would answer each other for ever.
  uint64_t Statistics::*silence_for(const Channel::Waiting& waiting) const {
    if (!options_.allowed.contains(waiting.sender)) {
      return &Statistics::strangers;
    }
    if (waiting.size == 0) {
      return &Statistics::empty;
    }
    return looks_like_answer(waiting.text) ? &Statistics::answers : nullptr;
  }

  // ---- 2. It is in the request pipe ----

  void on_request() {
    const sockaddr_in card = channel_.sender();
    userlib::Frame datagram = channel_.take_request();
    if (datagram.size() == 0) {
      return count_loss("a datagram");
    }
    trace::message(part_of(card), datagram.text(), channel_part(), trace::Way::kIn);
    trace::message(channel_part(), datagram.text(), kDialLayer, trace::Way::kIn);
    PHONED_LOG(TRACE, trace::modules.line, "event %s", quote(datagram.text()).c_str());
    answer(card, dial_layer_.handle(parse_event(datagram, card), monotonic_now()));
  }

  void answer(const sockaddr_in& card, const std::string& text) {
    trace::message(kDialLayer, text, channel_part(), trace::Way::kOut);
    if (!channel_.send(card, text)) {
      return count_loss("an answer");
    }
    trace::message(channel_part(), text, part_of(card), trace::Way::kOut);
  }

  static constexpr trace::Part kDialLayer = {"dial layer"};
  static trace::Part part_of(const sockaddr_in& card) { return {"card", ntohs(card.sin_port)}; }
  trace::Part channel_part() const { return {"channel", channel_.port()}; }

  void count_loss(const char* what) {
    ++counts_.lost;
    PHONED_LOG(ERROR, trace::modules.phoned, "%s is lost: the system does not move it through a pipe", what);
  }

  // ---- 3. The time of some lines may have run out ----

  // Called after every turn, because the reactor calls no timer while datagrams keep arriving. The socket is emptied before:
  // a digit that came in time counts, even if phoned was stopped meanwhile. But only for so many turns, more than a socket
  // of the usual size holds, so that a flood cannot suspend deadlines.
  void decide_overdue() {
    constexpr uint32_t kMostTurns = 1000;  // a datagram takes two
    const timeval now = monotonic_now();
    const auto deadline = dial_layer_.next_deadline();
    if (!deadline || !is_reached(*deadline, now)) {
      turns_since_due_ = 0;
    } else if (!channel_.has_datagram() || ++turns_since_due_ >= kMostTurns) {
      turns_since_due_ = 0;
      for (const Notice& notice : dial_layer_.handle_timeouts(now)) {
        answer(notice.card, notice.text);
      }
    }
    wait_for_deadline();
  }

  // One timer serves all 256 lines, because a reactor has 80. Fails only when it is set for the first time.
  bool wait_for_deadline() {
    constexpr std::chrono::hours kNoDeadline{24};
    const timeval now = monotonic_now();
    return deadline_.start(wait_until(dial_layer_.next_deadline().value_or(later(now, kNoDeadline)), now));
  }

  // ---- 4. A signal has arrived ----

  void on_signal() {
    for (const char signal : signals_.take()) {
      if (signal == SIGHUP) {
        read_plan_again();
      } else if (signal == SIGCHLD) {
        commands_.reap();
      } else {
        std::printf("phoned: %s: ending\n", signal == SIGTERM ? "TERM" : "INT");
        is_ending_ = true;
      }
    }
  }

  void read_plan_again() {
    if (!options_.map_file) {
      return complain("HUP: there is no --map-file to read again; the dial plan stays");
    }
    try {
      DialPlan plan = DialPlan::read(*options_.map_file);
      const std::string what =
          std::to_string(plan.patterns().size()) + " patterns from " + quote_path(*options_.map_file);
      std::printf("phoned: HUP: read %s\n", what.c_str());
      PHONED_LOG(INFO, trace::modules.dial_plan, "%s", what.c_str());
      log_warnings(plan);
      dial_layer_.change_plan(std::move(plan));
    } catch (const Error& error) {
      complain("HUP: " + std::string(error.what()) + "; the old dial plan stays");
    }
  }

  // ---- 5. What was printed goes out ----

  void pass_on() {
    g_standard_output.flush();
    g_standard_error.flush();
    const bool is_behind = g_standard_output.is_behind() || g_standard_error.is_behind() || trace::is_behind();
    if (is_behind && !again_.is_running()) {
      static_cast<void>(again_.start(std::chrono::milliseconds(250)));
    }
  }

  void on_report() {
    if (counts_ != told_counts_) {
      tell_counts();
    }
  }

  void tell_counts() {
    std::fputs(report(counts_, told_counts_).c_str(), stdout);
    told_counts_ = counts_;
  }

  // ---- Into the background ----

  void detach() {
    finish_outputs();
    instance_.detach([this] {
      complain("cannot go into the background: " + reason());
      operators_.close();
      instance_.release();
    });
    g_is_in_background = true;
    g_standard_output.close();
    g_standard_error.close();
    instance_.write_pid_file();
  }

  // ---- What it has ----

  const Options& options_;
  Statistics counts_;
  Statistics told_counts_;
  Instance instance_;
  DialLayer dial_layer_;
  Channel channel_;
  Signals signals_;
  uint32_t turns_since_due_ = 0;  // since a deadline was reached that is not handled yet
  bool is_ending_ = false;
  userlib::Reactor loop_;
  userlib::Watch datagram_{loop_, [this] { on_datagram(); }};
  userlib::Watch request_{loop_, [this] { on_request(); }};
  userlib::Watch signal_{loop_, [this] { on_signal(); }};
  userlib::Timer deadline_{loop_, [] {}};  // ends the wait, for decide_overdue()
  userlib::Timer again_{loop_, [] {}};     // ends the wait, for pass_on()
  userlib::Timer report_{loop_, [this] { on_report(); }};
  Commands commands_{dial_layer_, counts_, [this] { is_ending_ = true; }};
  Operators operators_{loop_, commands_};
};

DialPlan load_plan(const Options& options) {
  if (options.map_file) {
    return DialPlan::read(*options.map_file);
  }
  try {
    return DialPlan(options.map.value_or(DialPlan::kDefault));
  } catch (const Error& error) {
    throw Error("--map: " + std::string(error.what()));
  }
}

int serve(const Options& options) {
  if (const std::string problem = trace::settle_time_zone(); !problem.empty()) {
    complain(problem);
  }
  open_outputs();
  if (const std::string problem = trace::open(options.ini); !problem.empty()) {
    complain(problem);
  }
  install_counting_allocator();
  DialPlan plan = load_plan(options);
  log_warnings(plan);
  bool is_clean = true;
  {
    Daemon daemon(options, std::move(plan));
    daemon.start();
    daemon.serve();
    is_clean = daemon.close();
  }
  std::printf("phoned: memory: %s\n", describe(memory_figures).c_str());
  std::printf("phoned: farewell\n");
  PHONED_LOG(INFO, trace::modules.phoned, "farewell");
  return is_clean ? 0 : kFailure;
}

// A daemon's working directory is the root, where relative names lead elsewhere.
Options with_absolute_paths(Options options) {
  Operators::Channels& operators = options.operators;
  for (auto* path : {&options.run_dir, &options.map_file, &options.ini, &operators.socket_path, &operators.fifo_in,
                     &operators.fifo_out}) {
    if (*path) {
      *path = std::filesystem::absolute(**path).string();
    }
  }
  return options;
}

// Otherwise the next file or socket would get a free number from 0 to 2, and with it all that is printed.
void occupy_standard_descriptors() {
  int fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= STDERR_FILENO) {
    fd = open("/dev/null", O_RDWR);
  }
  close(fd);
}

int run(const Options& options) {
  switch (options.action) {
    case Options::Action::kShowHelp:
      std::fputs(help_text().c_str(), stdout);
      break;
    case Options::Action::kShowVersion:
      std::printf("phoned with %s\n", NUV_Userlib_getVersionString());
      break;
    case Options::Action::kServe:
      return serve(options.is_foreground ? options : with_absolute_paths(options));
  }
  return 0;
}

int run(Words words) {
  std::optional<Options> options;
  try {
    options = parse_options(words);
    return run(*options);
  } catch (const Error& error) {
    complain(error.what());
    return options ? kFailure : kUsage;
  }
}

}  // namespace
}  // namespace phoned

int main(int argc, char** argv) {
  phoned::occupy_standard_descriptors();
  // Lines are written at once, to a pipe too.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  return phoned::run(phoned::Words(argv, static_cast<size_t>(argc)).subspan(argc > 0 ? 1 : 0));
}
