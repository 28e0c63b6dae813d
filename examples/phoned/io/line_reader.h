// Gathers one line after the other from a descriptor that may give them in pieces, or never.
#ifndef EXAMPLES_PHONED_IO_LINE_READER_H
#define EXAMPLES_PHONED_IO_LINE_READER_H

#include <cstddef>
#include <string>

namespace phoned {

class LineReader {
 public:
  // The console of the library takes lines of this size.
  static constexpr size_t kLongestLine = 255;

  enum class Event {
    kNothing,  // the line is not complete yet
    kLine,     // line() is
    kTooLong,  // said once of a line that is too long; the rest of it is thrown away
    kEnd       // nothing more will come
  };

  // Takes what is there without waiting, and nothing behind the end of a line: the next one stays in the descriptor,
  // so that a main loop serves others in between. A line ends with LF, CR or both, and the last one with the input.
  Event read(int fd);

  // Without the line's end.
  const std::string& line() const { return line_; }

 private:
  Event add(char c);

  std::string line_;
  bool is_complete_ = false;
  bool is_skipping_ = false;
  bool is_behind_return_ = false;
};

}  // namespace phoned

#endif
