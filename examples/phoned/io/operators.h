// Operators of a running phoned, on a Unix socket, a FIFO or the standard input.
//
// The library's console waits for lines and for readers of its answers. So everything that an operator can delay is done
// here, event by event, and the console gets complete lines only.
#ifndef EXAMPLES_PHONED_IO_OPERATORS_H
#define EXAMPLES_PHONED_IO_OPERATORS_H

#include <chrono>
#include <cstddef>
#include <list>
#include <optional>
#include <string>

#include "phoned/io/commands.h"
#include "userlib.hpp"

namespace phoned {

class Operators : userlib::Pinned {
 public:
  static constexpr size_t kMaxConnections = 8;
  static constexpr size_t kLongestLine = 255;  // what the library's console takes

  struct Channels {
    std::optional<std::string> socket_path = {};
    std::optional<std::string> fifo_in = {};  // both or none
    std::optional<std::string> fifo_out = {};
    bool use_stdin = false;
    std::chrono::seconds patience{30};  // for the line of a connection

    bool operator==(const Channels&) const = default;
  };

  Operators(userlib::Reactor& loop, Commands& commands) : loop_(loop), commands_(commands) {}
  ~Operators() { close(); }

  // FIFOs that do not exist are made.
  void open(const Channels& channels);

  // Ends all sessions, and removes the socket. Returns a complaint if that was not possible, or nothing.
  std::string close();

 private:
  using LineReader = userlib::LineReader<kLongestLine>;

  // An operator. A connection is for one line, and ends with the answer; a FIFO and the standard input are for many.
  struct Session {
    Session(Operators& operators, userlib::UniqueFd in_fd, userlib::UniqueFd out_fd);

    bool is_connection() const { return !out; }
    int answer_fd() const { return out ? out.get() : in.get(); }

    userlib::UniqueFd in;
    userlib::UniqueFd out;  // none on a connection
    LineReader reader;
    userlib::Watch input;
    userlib::Timer patience;
  };

  void open_socket(const std::string& path);
  void add_stream(userlib::UniqueFd in, userlib::UniqueFd out);
  void on_operator();
  void refuse_without_descriptor();
  void listen_later();
  void listen_again();
  void on_input(Session& session);
  void on_end(const Session& session);
  void refuse(int fd, const std::string& why);
  void end(Session& session);

  userlib::Reactor& loop_;
  Commands& commands_;
  std::chrono::seconds patience_{};
  std::string socket_name_;  // in messages
  userlib::UnixListener listener_;
  userlib::Watch operator_{loop_, [this] { on_operator(); }};
  userlib::Timer pause_{loop_, [this] { listen_again(); }};
  std::list<Session> sessions_;
};

}  // namespace phoned

#endif
