// Standard output and standard error of a daemon that must not wait for who reads them.
//
// Whoever prints, the library included, prints into memory. From there it goes on as far as the reader takes it; the
// descriptor that phoned was given may be shared with others and stays as it is.
#ifndef EXAMPLES_PHONED_IO_OUTPUT_H
#define EXAMPLES_PHONED_IO_OUTPUT_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "phoned/core/descriptor.h"
#include "userlib.hpp"

namespace phoned {

class Output : userlib::Pinned {
 public:
  // stdout or stderr.
  explicit Output(FILE* stream) : stream_(stream), fd_(fileno(stream)) {}

  // From now on nobody who prints has to wait. Files are not waited for anyway, and left alone.
  void open();

  // Passes on what was printed, as far as that can be done without waiting. Lines for which there is no room are counted,
  // and the count is printed in their place.
  void flush();

  // Passes on all of it, but does not wait for longer than half a second.
  void finish();

  // Whether there is something to pass on.
  bool is_behind() const { return !waiting_.empty() || lost_ > 0; }

  // The stream leads elsewhere now.
  void close();

 private:
  void add(std::string_view line);
  void write_waiting();
  bool write_piece();

  FILE* stream_;
  int fd_;
  UniqueFd sink_;  // where it goes on; none: nowhere
  bool is_socket_ = false;
  std::string waiting_;
  uint64_t lost_ = 0;
};

// Keeps what is printed on standard output while it lives.
class Capture : userlib::Pinned {
 public:
  Capture();
  ~Capture() { end(); }

  // Returns false if no descriptor is free for it: nothing is kept then.
  bool is_open() const { return static_cast<bool>(standard_output_); }

  // What was printed. The capture is over then.
  std::string take();

 private:
  void end();

  UniqueFd memory_;
  UniqueFd standard_output_;
};

}  // namespace phoned

#endif
