// Outputs for a program that the test can block.
#ifndef TESTS_WORLD_OUTPUTS_H
#define TESTS_WORLD_OUTPUTS_H

#include <string>

namespace world {

// Returns the available data. Does not wait.
std::string read_all(int fd);

class Pipe {
 public:
  Pipe();
  ~Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int read_fd() const { return read_fd_; }
  int write_fd() const { return write_fd_; }

  void fill() const;
  void close_read_end();

 private:
  int read_fd_ = -1;
  int write_fd_ = -1;
};

class Terminal {
 public:
  Terminal();
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  // The program's end.
  int fd() const { return slave_; }

  // Same as Ctrl-S and Ctrl-Q.
  void stop() const;
  void go_on() const;

  // Returns the output since the last call.
  std::string take() const { return read_all(master_); }

 private:
  int master_;
  int slave_;
};

}  // namespace world

#endif
