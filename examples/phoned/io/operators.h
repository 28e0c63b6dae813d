// Operators of a running phoned: they say one line and get an answer, on a Unix socket, a FIFO or the standard input.
//
// The console of the library would wait: for a line when somebody has connected, for the rest of it, for whoever does
// not read the answer. phoned has calls to decide meanwhile. So everything that an operator can delay is done here,
// piece by piece when the main loop says so, and the console gets complete lines only.
//
// On the socket, a connection is for one line; the answer ends with the connection. On the others line follows line.
#ifndef EXAMPLES_PHONED_IO_OPERATORS_H
#define EXAMPLES_PHONED_IO_OPERATORS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include <sys/time.h>
#include <sys/types.h>

#include "phoned/core/result.h"
#include "phoned/io/commands.h"
#include "phoned/io/line_reader.h"
#include "userlib.hpp"

namespace phoned {

class Operators {
 public:
  static constexpr size_t kMaxConnections = 8;

  struct Channels {
    std::optional<std::string> socket_path = {};
    std::optional<std::string> fifo_in = {};  // both or none of the two
    std::optional<std::string> fifo_out = {};
    bool use_stdin = false;
    std::chrono::seconds patience{30};  // how long a connection may last without its line

    bool operator==(const Channels&) const = default;
  };

  Operators(userlib::Reactor& loop, Commands& commands) : loop_(loop), commands_(commands) {}
  ~Operators() { close(); }
  Operators(const Operators&) = delete;
  Operators& operator=(const Operators&) = delete;

  // Listens to operators from now on. FIFOs that are not there are made.
  std::optional<Error> open(const Channels& channels);

  // Hangs up on all of them, and removes the socket. The error says that this was not possible.
  std::optional<Error> close();

 private:
  // Line after line from one descriptor, answered on another.
  struct Stream {
    int in_fd = -1;
    int out_fd = -1;
    LineReader reader = {};
    std::optional<userlib::Watch> watch = {};
  };
  struct Connection {
    explicit Connection(Operators& operators);

    timeval deadline;
    LineReader reader = {};
    userlib::Watch watch;
  };

  std::optional<Error> open_socket(const std::string& path);
  std::optional<Error> open_fifos(const std::string& in, const std::string& out);
  void on_operator();
  void on_connection(int fd);
  void on_stream(Stream& stream);
  void on_idle();
  std::optional<Error> listen_to(Stream& stream, int in_fd, int out_fd);
  void refuse_without_descriptor();
  void listen_later();
  void listen_again();
  void say(int fd, const std::string& why) const;
  void handle(const std::string& line, int answer_fd);
  void end(int fd);
  bool wait_for_deadline();

  userlib::Reactor& loop_;
  Commands& commands_;
  std::chrono::seconds patience_{};
  std::string socket_path_;  // absolute; empty: there is none to remove
  int listening_fd_ = -1;
  ino_t socket_inode_ = 0;
  int reserve_fd_ = -1;               // given up to refuse an operator when there is no other descriptor
  std::optional<timeval> listen_at_;  // when nobody can even be refused: not before then
  userlib::Watch operator_{loop_, [this] { on_operator(); }};
  userlib::Timer idle_{loop_, [this] { on_idle(); }};
  std::map<int, Connection> connections_;
  Stream fifos_;
  Stream standard_input_;
};

}  // namespace phoned

#endif
