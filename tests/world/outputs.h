// Places to which a program may write, and which the test can stop.
#ifndef TESTS_WORLD_OUTPUTS_H
#define TESTS_WORLD_OUTPUTS_H

#include <string>

namespace world {

// What is there to be read now. Does not wait.
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

  // What the program has.
  int fd() const { return slave_; }

  // As Ctrl-S and Ctrl-Q do.
  void stop() const;
  void go_on() const;

  // What has been written since the last time.
  std::string take() const { return read_all(master_); }

 private:
  int master_;
  int slave_;
};

}  // namespace world

#endif
