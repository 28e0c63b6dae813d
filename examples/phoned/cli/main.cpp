// phoned decides what telephone lines have dialled.
//
// The road of an event, from top to bottom of this file:
//
//     1. on_datagram     a datagram has come: the channel moves it from the socket into the request pipe
//     2. on_request      the dial layer reads it out of that pipe, and the channel sends the answer
//     3. decide_overdue  no digit has come in time: the dial layer decides, and the channel sends the outcome
//     4. on_counts       from time to time, what was done is told
//     5. on_signal       somebody wants phoned to end, or to read its dial plan again
//
// Operators who talk to phoned meanwhile are heard in operators.h, and what they may say is done in commands.h.
//
// A reactor calls these functions, and everything happens in one thread. The work is done behind them: by the channel
// (channel.h), and by the dial layer (dial_layer.h) with its lines (lines.h) and its plan (dial_plan.h).
#include <array>
#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

#include "nuv_assert.h"
#include "phoned/cli/options.h"
#include "phoned/core/allocator.h"
#include "phoned/core/clock.h"
#include "phoned/core/dial_layer.h"
#include "phoned/core/dial_plan.h"
#include "phoned/core/text.h"
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

// One timer of the reactor serves the deadlines of all lines, because a reactor has 80 timers and there are 256 lines.
// Without any deadline it is set to a day.
constexpr std::chrono::hours kNoDeadline{24};

struct Daemon;
void on_datagram(Daemon& daemon);
void on_request(Daemon& daemon);
void on_counts(Daemon& daemon);
void on_signal(Daemon& daemon);

struct Daemon {
  Daemon(const Options& chosen, DialPlan plan) : options(chosen), dial_layer(std::move(plan), chosen.interdigit) {}

  const Options& options;
  DialLayer dial_layer;
  Channel channel;
  uint16_t port = 0;  // the channel's
  Signals signals;
  Unanswered unanswered;
  Statistics told_counts;
  Unanswered told_unanswered;
  uint32_t turns_since_due = 0;  // since the time of a line has run out that is not decided yet
  bool is_ending = false;
  userlib::Reactor loop;
  userlib::Watch datagram{loop, [this] { on_datagram(*this); }};
  userlib::Watch request{loop, [this] { on_request(*this); }};
  userlib::Timer deadline{loop, [] {}};  // wakes the loop, which looks for overdue lines after every turn
  userlib::Timer counts{loop, [this] { on_counts(*this); }};
  userlib::Timer again{loop, [] {}};  // wakes the loop, which says after every turn what could not be said before
  userlib::Watch signal{loop, [this] { on_signal(*this); }};
  Commands commands{dial_layer, [this] { is_ending = true; }};
  Operators operators{loop, commands};
};

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

void tell_counts(Daemon& daemon) {
  const Statistics& counts = daemon.dial_layer.statistics();
  std::printf("phoned: datagrams %" PRIu64 ", complete %" PRIu64 ", rejected %" PRIu64 ", by time %" PRIu64
              ", errors %" PRIu64 "\n",
              counts.datagrams, counts.complete, counts.rejected, counts.timeouts, counts.errors);
  daemon.told_counts = counts;
  const Unanswered& unanswered = daemon.unanswered;
  if (unanswered != daemon.told_unanswered) {
    std::printf("phoned: not answered: %" PRIu64 " from strangers, %" PRIu64 " that were answers, %" PRIu64
                " empty, %" PRIu64 " lost\n",
                unanswered.strangers, unanswered.answers, unanswered.empty, unanswered.lost);
    daemon.told_unanswered = unanswered;
  }
}

void count_loss(Daemon& daemon, const char* what) {
  ++daemon.unanswered.lost;
  PHONED_LOG(ERROR, trace::modules.phoned, "%s is lost: the system does not move it through a pipe", what);
}

void answer(Daemon& daemon, const sockaddr_in& card, const std::string& text) {
  trace::answered(daemon.port, text);
  if (!daemon.channel.send(card, text)) {
    return count_loss(daemon, "an answer");
  }
  trace::sent(card, daemon.port, text);
}

// Sets the timer to when a line's time runs out. Fails only when it is set for the first time.
bool wait_for_deadline(Daemon& daemon) {
  const timeval now = monotonic_now();
  return daemon.deadline.start(wait_until(daemon.dial_layer.next_deadline().value_or(later(now, kNoDeadline)), now));
}

// ---- 1. A datagram has come ----

// Where to count a datagram that gets no answer; null if it gets one. Neither strangers nor another phoned, or this one
// under a forged address, can make it talk to them.
uint64_t* silence_for(Daemon& daemon, const Channel::Waiting& waiting) {
  if (!daemon.options.allowed.contains(waiting.sender)) {
    return &daemon.unanswered.strangers;
  }
  if (waiting.size == 0) {
    return &daemon.unanswered.empty;
  }
  return looks_like_answer(waiting.text) ? &daemon.unanswered.answers : nullptr;
}

void on_datagram(Daemon& daemon) {
  const auto waiting = daemon.channel.peek();
  if (!waiting || daemon.is_ending) {
    return;  // nobody would answer any more
  }
  if (uint64_t* const count = silence_for(daemon, *waiting)) {
    ++*count;
    daemon.channel.drop();
  } else if (!can_be_bridged(waiting->size)) {
    trace::received(waiting->sender, daemon.port, waiting->text);
    daemon.channel.drop();
    answer(daemon, waiting->sender, daemon.dial_layer.refuse_size(waiting->size));
  } else if (!daemon.channel.receive()) {
    count_loss(daemon, "a datagram");
  }
}

// ---- 2. It is in the request pipe ----

void on_request(Daemon& daemon) {
  const sockaddr_in sender = daemon.channel.sender();
  auto request = daemon.channel.take_request();
  if (!request) {
    return count_loss(daemon, "a datagram");
  }
  trace::received(sender, daemon.port, request->text());
  trace::taken(daemon.port, request->text());
  answer(daemon, sender, daemon.dial_layer.handle(*request, sender, monotonic_now()));
}

// ---- 3. The time of some lines may have run out ----

// What lies in the socket is served before: a digit that came in time counts, even if phoned was stopped meanwhile. But
// nobody who never stops sending keeps a deadline from being kept: a socket of the usual size holds less than this.
// (The reactor would not call a timer as long as datagrams come in; so this is asked after every turn.)
void decide_overdue(Daemon& daemon) {
  constexpr uint32_t kMostTurns = 1000;  // a datagram takes two
  const timeval now = monotonic_now();
  const auto deadline = daemon.dial_layer.next_deadline();
  if (!deadline || !is_reached(*deadline, now)) {
    daemon.turns_since_due = 0;
  } else if (!daemon.channel.has_datagram() || ++daemon.turns_since_due >= kMostTurns) {
    daemon.turns_since_due = 0;
    for (const Notice& notice : daemon.dial_layer.handle_timeouts(now)) {
      answer(daemon, notice.peer, notice.text);
    }
  }
  wait_for_deadline(daemon);
}

// ---- 4. Time to tell what was done ----

void on_counts(Daemon& daemon) {
  if (daemon.dial_layer.statistics() != daemon.told_counts || daemon.unanswered != daemon.told_unanswered) {
    tell_counts(daemon);
  }
}

// ---- 5. A signal has come ----

// A plan is taken as it stands; whoever has written it may have meant something else.
void log_warnings(const DialPlan& plan) {
  for (const std::string& warning : plan.warnings()) {
    PHONED_LOG(WARNING, trace::modules.dial_plan, "dial plan, %s", warning.c_str());
  }
}

void read_plan_again(Daemon& daemon) {
  const auto& path = daemon.options.map_file;
  if (!path) {
    complain("HUP: there is no --map-file to read again; the dial plan stays");
    return;
  }
  auto plan = DialPlan::read(*path);
  if (!plan) {
    complain("HUP: " + plan.error().why + "; the old dial plan stays");
    return;
  }
  std::printf("phoned: HUP: read %zu patterns from %s\n", plan->size(), quote_path(*path).c_str());
  PHONED_LOG(INFO, trace::modules.dial_plan, "%zu patterns from %s", plan->size(), quote_path(*path).c_str());
  log_warnings(*plan);
  daemon.dial_layer.change_plan(std::move(*plan));
}

void on_signal(Daemon& daemon) {
  for (const int signal : daemon.signals.take()) {
    if (signal == SIGHUP) {
      read_plan_again(daemon);
    } else if (signal == SIGCHLD) {
      daemon.commands.reap();
    } else {
      std::printf("phoned: %s: ending\n", signal == SIGTERM ? "TERM" : "INT");
      daemon.is_ending = true;
    }
  }
}

// ---- 6. What was said goes out, and nobody waits for that ----

void finish_outputs() {
  g_standard_output.finish();
  g_standard_error.finish();
}

std::optional<Error> open_outputs() {
  // A reader of phoned's output that goes away is no reason to die, nor is a terminal that others use a reason to stop.
  for (const int signal : {SIGPIPE, SIGTTOU, SIGTTIN}) {
    std::signal(signal, SIG_IGN);
  }
  std::atexit(finish_outputs);
  if (auto error = g_standard_output.open()) {
    return error;
  }
  return g_standard_error.open();
}

void pass_on_outputs(Daemon& daemon) {
  constexpr std::chrono::milliseconds kPause{250};
  g_standard_output.flush();
  g_standard_error.flush();
  const bool is_behind = g_standard_output.is_behind() || g_standard_error.is_behind() || trace::is_behind();
  if (is_behind && !daemon.again.is_running()) {
    static_cast<void>(daemon.again.start(kPause));
  }
}

// ---- How it starts, runs and ends ----

Result<DialPlan> load_plan(const Options& options) {
  if (options.map_file) {
    return DialPlan::read(*options.map_file);
  }
  auto plan = DialPlan::parse(options.map.value_or(DialPlan::kDefault));
  if (!plan) {
    return Error{"--map: " + plan.error().why};
  }
  return plan;
}

std::optional<Error> open_all(Daemon& daemon) {
  if (auto error = daemon.signals.open({SIGTERM, SIGINT, SIGHUP, SIGCHLD})) {
    return error;
  }
  if (auto error = daemon.channel.open(daemon.options.port)) {
    return error;
  }
  daemon.port = daemon.channel.port();
  // The signals come by an external descriptor, because the wait looks at those only: a signal that comes between the
  // look at the internal ones and the wait would lie there until something else ends the wait.
  if (!daemon.datagram.read_external(daemon.channel.socket_fd()) || !daemon.request.read(daemon.channel.request_fd()) ||
      !daemon.signal.read_external(daemon.signals.fd()) || !wait_for_deadline(daemon) ||
      !daemon.counts.start_every(daemon.options.statistics)) {
    return Error{kCannotWatch};
  }
  if (auto error = daemon.commands.open()) {
    return error;
  }
  if (auto error = daemon.operators.open(daemon.options.operators)) {
    return error;
  }
  return std::nullopt;
}

// Where the system has no process for the background, the library can only end this one. What it has made must not stay.
struct Detaching {
  Daemon* daemon;
  Instance* instance;
};
Detaching g_detaching = {nullptr, nullptr};

void give_up_detaching() {
  if (g_detaching.daemon != nullptr) {
    complain(std::string("cannot go into the background: ") + std::strerror(errno));
    g_detaching.daemon->operators.close();
    g_detaching.instance->release();
  }
}

std::optional<Error> detach(Daemon& daemon, Instance& instance) {
  finish_outputs();
  g_detaching = {&daemon, &instance};
  std::atexit(give_up_detaching);
  auto error = instance.detach();
  g_detaching = {nullptr, nullptr};
  g_is_in_background = true;
  g_standard_output.close();
  g_standard_error.close();
  return error;
}

// Everything that can go wrong goes wrong here, while somebody is there to read about it.
std::optional<Error> start(Daemon& daemon, Instance& instance) {
  const Options& options = daemon.options;
  if (options.run_dir || !options.is_foreground) {
    if (auto error = instance.claim(options.run_dir.value_or(Options::kDefaultRunDir), !options.is_foreground)) {
      return error;
    }
  }
  if (auto error = open_all(daemon)) {
    return error;
  }
  std::printf("phoned: listening on port %u\n", daemon.channel.port());
  return options.is_foreground ? std::nullopt : detach(daemon, instance);
}

void serve_events(Daemon& daemon) {
  while (!daemon.is_ending) {
    daemon.loop.process();
    decide_overdue(daemon);
    pass_on_outputs(daemon);
  }
  tell_counts(daemon);
}

int serve(const Options& options) {
  if (const auto error = trace::settle_time_zone()) {
    complain(error->why);
  }
  if (const auto error = open_outputs()) {
    complain(error->why);
    return kFailure;
  }
  if (const auto error = trace::open(options.ini)) {
    complain(error->why);
    return kFailure;
  }
  install_counting_allocator();
  auto plan = load_plan(options);
  if (!plan) {
    complain(plan.error().why);
    return kFailure;
  }
  log_warnings(*plan);
  std::array<std::optional<Error>, 2> problems;  // at the end
  {
    Instance instance;
    Daemon daemon(options, std::move(*plan));
    if (const auto error = start(daemon, instance)) {
      complain(error->why);
      return kFailure;
    }
    PHONED_LOG(INFO, trace::modules.phoned, "listening on port %u", daemon.port);
    serve_events(daemon);
    problems = {daemon.operators.close(), instance.release()};
  }
  std::printf("phoned: memory: %s\n", describe(memory_figures()).c_str());
  int status = 0;
  for (const auto& problem : problems) {
    if (problem) {
      complain(problem->why);
      status = kFailure;
    }
  }
  std::printf("phoned: farewell\n");
  PHONED_LOG(INFO, trace::modules.phoned, "farewell");
  return status;
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

int run(Arguments::Words words) {
  occupy_standard_descriptors();
  // Every line is seen when it is written, by a pipe too.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const auto options = parse_options(words);
  if (!options) {
    complain(options.error().why);
    return kUsage;
  }
  switch (options->action) {
    case Options::Action::kShowHelp:
      std::fputs(help_text().c_str(), stdout);
      return 0;
    case Options::Action::kShowVersion:
      std::printf("phoned with %s\n", NUV_Userlib_getVersionString());
      return 0;
    case Options::Action::kServe:
      return serve(options->is_foreground ? *options : with_absolute_paths(*options));
  }
  return kUsage;
}

}  // namespace
}  // namespace phoned

int main(int argc, char** argv) {
  return phoned::run(phoned::Arguments::Words(argv, static_cast<size_t>(argc)).subspan(argc > 0 ? 1 : 0));
}
