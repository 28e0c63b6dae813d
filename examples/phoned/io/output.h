// Standard output and standard error of a daemon that must not wait for their reader.
//
// All prints, the library's too, go into a memory file, and from there to the reader as far as it keeps up. The descriptor
// that phoned was given may be shared with others, and so is not made non-blocking.
#ifndef EXAMPLES_PHONED_IO_OUTPUT_H
#define EXAMPLES_PHONED_IO_OUTPUT_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "userlib.hpp"

namespace phoned {

class Output : userlib::Pinned {
 public:
  // stdout or stderr.
  explicit Output(FILE* stream) : stream_(stream), fd_(fileno(stream)) {}

  // Prints do not block from now on. Regular files never do, and are left alone.
  void open();

  // Writes what was printed, as far as that is possible without waiting. Lines for which there is no room are dropped, and
  // their number is printed in their place.
  void flush();

  // Writes all of it, but waits no longer than half a second.
  void finish();

  // Whether there is something left to write.
  bool is_behind() const { return !waiting_.empty() || lost_ > 0; }

  // To be called when the stream leads elsewhere.
  void close();

 private:
  void write_waiting();
  bool write_piece();

  FILE* stream_;
  int fd_;
  userlib::UniqueFd sink_;  // the reader's end
  bool is_socket_ = false;
  std::string waiting_;
  uint64_t lost_ = 0;
};

// A copy of a standard descriptor, with another number than those have; -1 if no descriptor is free.
int duplicate(int standard_fd);

// Collects what is printed on standard output.
class Capture : userlib::Pinned {
 public:
  Capture();
  ~Capture() { take(); }

  // False if there is no descriptor for it: nothing is collected then.
  bool is_open() const { return static_cast<bool>(standard_output_); }

  // Ends the capture, and returns what was printed.
  std::string take();

 private:
  userlib::UniqueFd memory_;
  userlib::UniqueFd standard_output_;  // where standard output led before, and leads again
};

}  // namespace phoned

#endif
