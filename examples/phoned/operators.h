// Operators of a running phoned: they say one line and get an answer, on a Unix socket, a FIFO or the standard input.
//
// The console of the library would wait: for a line when somebody has connected, for the rest of it, for whoever does
// not read the answer. phoned has calls to decide meanwhile. So everything that an operator can delay is done here,
// piece by piece when the main loop says so, and the console gets complete lines only.
//
// On the socket, a connection is for one line; the answer ends with the connection. On the others line follows line.
#ifndef EXAMPLES_PHONED_OPERATORS_H
#define EXAMPLES_PHONED_OPERATORS_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include <sys/time.h>
#include <sys/types.h>

#include "nuv_select.h"
#include "phoned/commands.h"
#include "phoned/line_reader.h"
#include "phoned/result.h"

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

  Operators(Select& loop, Commands& commands) : loop_(loop), commands_(commands) {}
  ~Operators() { close(); }
  Operators(const Operators&) = delete;
  Operators& operator=(const Operators&) = delete;

  // Listens to operators from now on. FIFOs that are not there are made.
  std::optional<Error> open(const Channels& channels);

  // Hangs up on everybody and removes the socket, while the loop is still there.
  void close();

 private:
  // Line after line from one descriptor, answered on another.
  struct Stream {
    int in_fd = -1;
    int out_fd = -1;
    LineReader reader = {};
  };
  struct Connection {
    timeval deadline;
    LineReader reader = {};
  };

  std::optional<Error> open_socket(const std::string& path);
  std::optional<Error> open_fifos(const std::string& in, const std::string& out);
  static int32_t on_operator(void* operators, int32_t fd, uint32_t unused);
  static int32_t on_connection(void* operators, int32_t fd, uint32_t unused);
  static int32_t on_stream(void* stream_owner, int32_t fd, uint32_t which);
  static int32_t on_idle(void* operators, timeval* wait, uint32_t unused);
  void listen_to(uint32_t which, int in_fd, int out_fd);
  void refuse_without_descriptor();
  void listen_later();
  void listen_again();
  void say(int fd, const std::string& why) const;
  void handle(const std::string& line, int answer_fd);
  void end(int fd);
  timeval wait_for_deadline() const;

  Select& loop_;
  Commands& commands_;
  std::chrono::seconds patience_{};
  std::string socket_path_;  // absolute; empty: there is none to remove
  int listening_fd_ = -1;
  ino_t socket_inode_ = 0;
  int reserve_fd_ = -1;               // given up to refuse an operator when there is no other descriptor
  std::optional<timeval> listen_at_;  // when nobody can even be refused: not before then
  uint32_t idle_timer_ = 0;
  bool is_open_ = false;
  std::map<int, Connection> connections_;
  std::array<Stream, 2> streams_;  // the FIFOs, and standard input
};

}  // namespace phoned

#endif
