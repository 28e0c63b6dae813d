// phoned decides what telephone lines have dialled. Read this file from its end: main() reads the command line, serve()
// prepares the process, Daemon::start() opens all that can fail, goes into the background, and Daemon::serve() runs the main
// loop until a signal or an operator ends it. The reactor calls everything else, in one thread: what happens to a datagram is in
// io/channel.h, what operators say in io/operators.h.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "nuv_assert.h"
#include "phoned/cli/options.h"
#include "phoned/core/statistics.h"
#include "phoned/core/trace.h"
#include "phoned/io/channel.h"
#include "phoned/io/commands.h"
#include "phoned/io/instance.h"
#include "phoned/io/operators.h"
#include "userlib.hpp"

namespace phoned {
namespace {

constexpr int kFailure = 1;
constexpr int kUsage = 2;

userlib::Output g_standard_output(stdout, "phoned");
userlib::Output g_standard_error(stderr, "phoned");

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

class Daemon : userlib::Pinned {
 public:
  Daemon(const Options& options, DialPlan plan)
      : options_(options), dial_layer_(std::move(plan), options.interdigit, counts_) {}

  // Everything that can fail fails here, before phoned detaches and nobody reads its messages.
  void start() {
    if (options_.run_dir || !options_.is_foreground) {
      instance_.claim(options_.run_dir.value_or(Options::kDefaultRunDir), !options_.is_foreground);
    }
    if (!signals_.open({SIGTERM, SIGINT, SIGHUP, SIGCHLD})) {
      throw Error("cannot make a pipe for signals: " + reason());
    }
    channel_.open(options_.port);
    if (!signal_.read_external(signals_.fd()) || !report_.start_every(options_.statistics)) {
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
    pass_on_output();  // what the start has printed, before the first wait
    while (!is_ending_) {
      loop_.process();
      channel_.decide_overdue();
      pass_on_output();
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

  void on_signal() {
    switch (const int signal = signals_.take()) {
      case SIGTERM:
      case SIGINT:
        std::printf("phoned: %s: ending\n", signal == SIGTERM ? "TERM" : "INT");
        return end();
      case SIGHUP:
        return read_plan_again();
      case SIGCHLD:
        return commands_.reap();
      default:
        break;
    }
  }

  void end() {
    is_ending_ = true;
    channel_.stop();
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

  // What was printed goes out, without waiting for its reader. What is left then is tried again soon.
  void pass_on_output() {
    g_standard_output.flush();
    g_standard_error.flush();
    const bool is_behind = g_standard_output.is_behind() || g_standard_error.is_behind() || trace::is_behind();
    if (is_behind && !again_.is_running()) {
      static_cast<void>(again_.start(std::chrono::milliseconds(250)));
    }
  }

  void tell_counts() {
    std::fputs(report(counts_, told_counts_).c_str(), stdout);
    told_counts_ = counts_;
  }

  const Options& options_;
  Statistics counts_;
  Statistics told_counts_;
  Instance instance_;
  DialLayer dial_layer_;
  userlib::Signals signals_;
  bool is_ending_ = false;
  userlib::Reactor loop_;
  Channel channel_{loop_, options_.allowed, dial_layer_, counts_};
  // Signals need an external descriptor: the reactor's wait does not end for internal ones.
  userlib::Watch signal_{loop_, [this] { on_signal(); }};
  userlib::Timer again_{loop_, [] {}};  // ends the wait, for pass_on_output()
  userlib::Timer report_{loop_, [this] {
                           if (counts_ != told_counts_) {
                             tell_counts();
                           }
                         }};
  Commands commands_{dial_layer_, counts_, [this] { end(); }};
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

// From now on, no reader of what phoned prints can stop it: not one who goes away, nor a terminal that others use.
void open_outputs() {
  for (const int signal : {SIGPIPE, SIGTTOU, SIGTTIN}) {
    std::signal(signal, SIG_IGN);
  }
  std::atexit(finish_outputs);
  if (!g_standard_output.open() || !g_standard_error.open()) {
    throw Error("cannot redirect what is printed: " + reason());
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
  userlib::count_memory();
  DialPlan plan = load_plan(options);
  log_warnings(plan);
  bool is_clean = true;
  {
    Daemon daemon(options, std::move(plan));
    daemon.start();
    daemon.serve();
    is_clean = daemon.close();
  }
  std::printf("phoned: memory: %s\n", describe(userlib::memory_figures).c_str());
  std::printf("phoned: farewell\n");
  PHONED_LOG(INFO, trace::modules.phoned, "farewell");
  return is_clean ? 0 : kFailure;
}

// A daemon's working directory is the root, where relative names lead elsewhere.
void make_paths_absolute(Options& options) {
  Operators::Channels& operators = options.operators;
  for (auto* path : {&options.run_dir, &options.map_file, &options.ini, &operators.socket_path, &operators.fifo_in,
                     &operators.fifo_out}) {
    if (*path) {
      *path = std::filesystem::absolute(**path).string();
    }
  }
}

int run(Options options) {
  switch (options.action) {
    case Options::Action::kShowHelp:
      std::fputs(help_text().c_str(), stdout);
      return 0;
    case Options::Action::kShowVersion:
      std::printf("phoned with %s\n", NUV_Userlib_getVersionString());
      return 0;
    case Options::Action::kServe:
      break;
  }
  if (!options.is_foreground) {
    make_paths_absolute(options);
  }
  return serve(options);
}

}  // namespace
}  // namespace phoned

int main(int argc, char** argv) {
  userlib::occupy_standard_descriptors();
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // lines are written at once, to a pipe too
  int status_of_error = phoned::kUsage;
  try {
    const auto options =
        phoned::parse_options(phoned::Words(argv, static_cast<size_t>(argc)).subspan(argc > 0 ? 1 : 0));
    status_of_error = phoned::kFailure;
    return phoned::run(options);
  } catch (const phoned::Error& error) {
    phoned::complain(error.what());
    return status_of_error;
  }
}
