// Operators of a running phoned: they say one line and get an answer, on a Unix socket, a FIFO or the standard input.
//
// The console of the library would wait: for a line when somebody has connected, for the rest of it, for whoever does
// not read the answer. phoned has calls to decide meanwhile. So everything that an operator can delay is done here,
// piece by piece when the main loop says so, and the console gets complete lines only.
#ifndef EXAMPLES_PHONED_IO_OPERATORS_H
#define EXAMPLES_PHONED_IO_OPERATORS_H

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>

#include <sys/types.h>

#include "phoned/core/descriptor.h"
#include "phoned/io/commands.h"
#include "phoned/io/line_reader.h"
#include "userlib.hpp"

namespace phoned {

class Operators : userlib::Pinned {
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

  // Listens to operators from now on. FIFOs that are not there are made.
  void open(const Channels& channels);

  // Hangs up on all of them, and removes the socket. Returns what to say if that was not possible.
  std::string close();

 private:
  // Somebody who says lines on one descriptor and is answered on another: for one line on a connection, which ends with
  // the answer, and line after line elsewhere.
  struct Session {
    Session(Operators& operators, UniqueFd in_fd, UniqueFd out_fd);

    bool is_connection() const { return !out; }
    int answer_fd() const { return out ? out.get() : in.get(); }

    UniqueFd in;
    UniqueFd out;  // none on a connection
    LineReader reader = {};
    userlib::Watch input;
    userlib::Timer patience;
  };

  void open_socket(const std::string& path);
  void add_stream(UniqueFd in, UniqueFd out);
  Session& add(UniqueFd in, UniqueFd out);
  void on_operator();
  void refuse_without_descriptor();
  void listen_later();
  void listen_again();
  void on_input(Session& session);
  void on_silence(Session& session);
  void refuse(int fd, const std::string& why);
  void end(Session& session);

  userlib::Reactor& loop_;
  Commands& commands_;
  std::chrono::seconds patience_{};
  std::string socket_path_;  // absolute
  ino_t socket_inode_ = 0;
  UniqueFd socket_;
  UniqueFd reserve_;  // given up to refuse an operator when there is no other descriptor
  userlib::Watch operator_{loop_, [this] { on_operator(); }};
  userlib::Timer pause_{loop_, [this] { listen_again(); }};
  std::map<int, Session> sessions_;  // by the descriptor of their input
};

}  // namespace phoned

#endif
