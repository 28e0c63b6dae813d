/** @file userlib_process.hpp
 *
 * Part of userlib.hpp: operators and the process: Console, Command, Daemon, Signals.
 */
#ifndef USERLIB_PROCESS_HPP
#define USERLIB_PROCESS_HPP

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include <unistd.h>

#include "nuv_console.h"
#include "nuv_daemon.h"
#include "userlib_core.hpp"
#include "userlib_messaging.hpp"

namespace userlib {

/// What an operator has said. The words are gone after the call.
struct Invocation {
  int32_t count;  ///< number of words, that of the command included
  char** words;
  int answer_fd;  ///< the console's

  std::string_view word(int32_t index) const {
    return index >= 0 && index < count ? std::string_view(words[index]) : std::string_view();
  }
  int32_t answer(const char* text) const { return NUV_Console_output(answer_fd, text); }
};

/// Console is a command interpreter with room for so many commands, which it brings along. The prompt's text must live
/// as long as the console.
template <uint32_t capacity>
class Console : Pinned {
  static_assert(capacity > 0, "a console has room for a command");

 public:
  explicit Console(const char* prompt) { NUV_Console_construct(&record_, store_, capacity, prompt); }
  ~Console() { NUV_Console_destruct(&record_); }

  uint32_t max_size() const { return NUV_Console_maxSize(&record_); }
  uint32_t size() const { return NUV_Console_size(&record_); }
  int32_t handle(int fd, int answer_fd) { return NUV_Console_handle(&record_, fd, answer_fd); }

  ::Console& record() { return record_; }
  const ::Console& record() const { return record_; }

 private:
  ConsoleCommand store_[capacity];
  ::Console record_;
};

/// Command is one command of a console, for as long as it lives. It goes before the console does, and while it lives no
/// other command of the console has its name.
class Command : Pinned {
 public:
  /// The callable takes an Invocation, or nothing. The text of the name must live as long as the command. The caller
  /// sees to it that the console has room.
  template <class Function>
  Command(::Console& console, const char* name, Function function) : console_(console), name_(name), call_(function) {
    NUV_Console_setCommand(&console_, name, this, on_command);
  }
  template <uint32_t capacity, class Function>
  Command(Console<capacity>& console, const char* name, Function function)
      : Command(console.record(), name, function) {}
  ~Command() { NUV_Console_removeCommand(&console_, name_); }

 private:
  static int32_t on_command(void* self, int32_t count, char** words, int32_t fd) {
    // The Command may go while this runs, and its callable with it.
    const auto call = static_cast<Command*>(self)->call_;
    call({count, words, fd});
    return 0;
  }

  ::Console& console_;
  const char* name_;
  Callback<const Invocation&> call_;
};

/// Daemon brings the process into the background, and looks after its pid file: the file that create_pid_file has
/// written goes with the Daemon.
class Daemon : Pinned {
 public:
  Daemon(const char* process_name, const char* pid_file_path) {
    NUV_Daemon_construct(&record_, process_name, pid_file_path);
  }
  ~Daemon() {
    if (has_created_) {
      delete_pid_file();
    }
    NUV_Daemon_destruct(&record_);
  }

  const char* process_name() const { return NUV_Daemon_getProcessName(&record_); }
  const char* pid_file_name() const { return NUV_Daemon_getPidFileName(&record_); }

  void daemonize() { NUV_Daemon_daemonize(&record_); }
  bool daemonized() const { return NUV_Daemon_daemonized(&record_) == 1; }

  bool has_pid_file() const { return NUV_Daemon_hasPidFile(&record_) == 1; }
  bool check_pid_file() const { return NUV_Daemon_checkPidFile(&record_) == 1; }
  bool occupied_pid_file() const { return NUV_Daemon_occupiedPidFile(&record_) == 1; }
  void create_pid_file() {
    NUV_Daemon_createPidFile(&record_);
    has_created_ = true;
  }
  void delete_pid_file() {
    NUV_Daemon_deletePidFile(&record_);
    has_created_ = false;
  }

  ::Daemon& record() { return record_; }
  const ::Daemon& record() const { return record_; }

 private:
  ::Daemon record_;
  bool has_created_ = false;
};

/// Signals brings signals into the main loop: the handler writes into a pipe, which a Watch reads. There is one at a time.
///
///     userlib::Watch signal_{loop_, [this] { on_signal(signals_.take()); }};
///     ... signals_.open({SIGTERM, SIGHUP}) && signal_.read_external(signals_.fd())
///
/// The Watch has to be external, because the wait of the reactor does not end for internal descriptors.
class Signals : Pinned {
 public:
  Signals() = default;
  ~Signals() { write_fd_ = -1; }

  /// open handles these signals from now on, also when the object has gone: they do nothing then. System calls that they
  /// interrupt go on (SA_RESTART), but for waits such as select(). Returns false, with errno set, if there is no pipe.
  [[nodiscard]] bool open(std::initializer_list<int> signals) {
    if (!pipe_.open_nonblocking()) {
      return false;
    }
    write_fd_ = pipe_.write_fd();
    struct sigaction action = {};
    action.sa_handler = note;
    action.sa_flags = SA_RESTART;
    for (const int signal : signals) {
      sigaction(signal, &action, nullptr);
    }
    return true;
  }

  /// fd returns the descriptor that is ready to be read while there is a signal to take, -1 before open.
  int fd() const { return pipe_.read_fd(); }

  /// take returns the number of the oldest signal that was received and not yet taken, 0 if there is none.
  int take() {
    char number = 0;
    return pipe_.read(&number, sizeof number) == 1 ? number : 0;
  }

 private:
  // Tries again where the system fails, lest a SIGTERM is lost. A signal that finds the pipe full is not needed: there is
  // enough to take.
  static void note(int signal) {
    const int saved = errno;
    const char number = static_cast<char>(signal);
    for (int tries = 3; tries > 0 && write(write_fd_, &number, sizeof number) < 0; --tries) {
    }
    errno = saved;
  }

  inline static volatile std::sig_atomic_t write_fd_ = -1;

  Pipe pipe_;
};

}  // namespace userlib

#endif
