// phoned decides what telephone lines have dialled.
//
// The road of an event, from top to bottom of this file:
//
//     1. on_datagram     a datagram has come: the channel moves it from the socket into the request pipe
//     2. on_request      what the channel reads out of that pipe becomes a message for the dial layer, which answers
//     3. decide_overdue  no digit has come in time: the dial layer decides, and the channel sends the outcome
//     4. on_signal       somebody wants phoned to end, or to read its dial plan again
//     5. pass_on         what was said meanwhile goes out, and nobody waits for that
//
// A reactor calls these functions, and everything happens in one thread.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

#include "nuv_assert.h"
#include "phoned/cli/options.h"
#include "phoned/core/allocator.h"
#include "phoned/core/clock.h"
#include "phoned/core/dial_layer.h"
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

// Whether phoned has left its terminal, so that only the system log listens.
bool g_is_in_background = false;

void complain(const std::string& why) {
  PHONED_LOG(ERROR, trace::modules.phoned, "%s", why.c_str());
  if (!g_is_in_background) {
    std::fprintf(stderr, "phoned: %s\n", why.c_str());
  }
}

// A plan is taken as it stands; whoever has written it may have meant something else.
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
  // A reader of phoned's output that goes away is no reason to die, nor is a terminal that others use a reason to stop.
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

  // Everything that can go wrong goes wrong here, while somebody is there to read about it.
  void start() {
    if (options_.run_dir || !options_.is_foreground) {
      instance_.claim(options_.run_dir.value_or(Options::kDefaultRunDir), !options_.is_foreground);
    }
    signals_.open({SIGTERM, SIGINT, SIGHUP, SIGCHLD});
    channel_.open(options_.port);
    // The signals come by an external descriptor, because the wait looks at those only: a signal that comes between the
    // look at the internal ones and the wait would lie there until something else ends the wait.
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

  // Returns when somebody has asked for the end.
  void serve() {
    pass_on();  // what the start has printed, before the first wait
    while (!is_ending_) {
      loop_.process();
      decide_overdue();
      pass_on();
    }
    tell_counts();
  }

  // Removes what the daemon has made. Returns false if something could not be removed, which is complained about.
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
  // ---- 1. A datagram has come ----

  void on_datagram() {
    const auto waiting = channel_.peek();
    if (!waiting || is_ending_) {
      return;  // nobody would answer any more
    }
    if (uint64_t Statistics::*const count = silence_for(*waiting)) {
      ++(counts_.*count);
      channel_.drop();
    } else if (!can_be_bridged(waiting->size)) {
      PHONED_LOG(TRACEMF, trace::modules.line, "card", ntohs(waiting->sender.sin_port),
                 trace::shown(waiting->text).c_str(), "channel", channel_.port(), trace::kIn);
      channel_.drop();
      Event event(Event::Kind::kBad, 0, waiting->sender,
                  "datagram of " + std::to_string(waiting->size) + " bytes: at most " + std::to_string(kMaxDatagram) +
                      " are taken");
      answer(waiting->sender, dial_layer_.handle(std::move(event), monotonic_now()));
    } else if (!channel_.receive()) {
      count_loss("a datagram");
    }
  }

  // Where to count a datagram that gets no answer; null if it gets one. Neither strangers nor another phoned, or this one
  // under a forged address, can make it talk to them.
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
    PHONED_LOG(TRACEMF, trace::modules.line, "card", ntohs(card.sin_port), trace::shown(datagram.text()).c_str(),
               "channel", channel_.port(), trace::kIn);
    PHONED_LOG(TRACEMF, trace::modules.line, "channel", channel_.port(), trace::shown(datagram.text()).c_str(),
               "dial layer", 0, trace::kIn);
    PHONED_LOG(TRACE, trace::modules.line, "event %s", quote(datagram.text()).c_str());
    answer(card, dial_layer_.handle(parse_event(datagram, card), monotonic_now()));
  }

  void answer(const sockaddr_in& card, const std::string& text) {
    PHONED_LOG(TRACEMF, trace::modules.line, "dial layer", 0, trace::shown(text).c_str(), "channel", channel_.port(),
               trace::kOut);
    if (!channel_.send(card, text)) {
      return count_loss("an answer");
    }
    PHONED_LOG(TRACEMF, trace::modules.line, "channel", channel_.port(), trace::shown(text).c_str(), "card",
               ntohs(card.sin_port), trace::kOut);
  }

  void count_loss(const char* what) {
    ++counts_.lost;
    PHONED_LOG(ERROR, trace::modules.phoned, "%s is lost: the system does not move it through a pipe", what);
  }

  // ---- 3. The time of some lines may have run out ----

  // What lies in the socket is served before: a digit that came in time counts, even if phoned was stopped meanwhile. But
  // nobody who never stops sending keeps a deadline from being kept: a socket of the usual size holds less than this.
  // (The reactor would not call a timer as long as datagrams come in; so this is asked after every turn.)
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

  // One timer of the reactor serves the deadlines of all lines, because a reactor has 80 timers and there are 256 lines.
  // Fails only when it is set for the first time.
  bool wait_for_deadline() {
    constexpr std::chrono::hours kNoDeadline{24};
    const timeval now = monotonic_now();
    return deadline_.start(wait_until(dial_layer_.next_deadline().value_or(later(now, kNoDeadline)), now));
  }

  // ---- 4. A signal has come ----

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

  // ---- 5. What was said goes out ----

  // And nobody waits for that.
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
  uint32_t turns_since_due_ = 0;  // since the time of a line has run out that is not decided yet
  bool is_ending_ = false;
  userlib::Reactor loop_;
  userlib::Watch datagram_{loop_, [this] { on_datagram(); }};
  userlib::Watch request_{loop_, [this] { on_request(); }};
  userlib::Watch signal_{loop_, [this] { on_signal(); }};
  userlib::Timer deadline_{loop_, [] {}};  // wakes the loop, which looks for overdue lines after every turn
  userlib::Timer again_{loop_, [] {}};     // wakes the loop, which says after every turn what could not be said before
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
  trace::open(options.ini);
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

// A daemon lives in the root directory, where a relative name leads elsewhere.
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

// A number from 0 to 2 that is free would be the next thing's that is opened: a socket into which all the world prints.
void occupy_standard_descriptors() {
  int fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= STDERR_FILENO) {
    fd = open("/dev/null", O_RDWR);
  }
  close(fd);
}

int run(Words words) {
  int status = kUsage;
  try {
    const Options options = parse_options(words);
    status = kFailure;
    switch (options.action) {
      case Options::Action::kShowHelp:
        std::fputs(help_text().c_str(), stdout);
        return 0;
      case Options::Action::kShowVersion:
        std::printf("phoned with %s\n", NUV_Userlib_getVersionString());
        return 0;
      case Options::Action::kServe:
        return serve(options.is_foreground ? options : with_absolute_paths(options));
    }
  } catch (const Error& error) {
    complain(error.what());
  }
  return status;
}

}  // namespace
}  // namespace phoned

int main(int argc, char** argv) {
  phoned::occupy_standard_descriptors();
  // Every line is seen when it is written, by a pipe too.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  return phoned::run(phoned::Words(argv, static_cast<size_t>(argc)).subspan(argc > 0 ? 1 : 0));
}
