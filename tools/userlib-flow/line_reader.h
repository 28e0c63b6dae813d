// Reads an fd line by line in constant memory.
#ifndef TOOLS_USERLIB_FLOW_LINE_READER_H
#define TOOLS_USERLIB_FLOW_LINE_READER_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace flow_tool {

struct Line {
  std::string_view text;  // without the newline; valid until the next call
  bool is_cut;            // longer than kLongestLine, or the end of the input came before the newline
};

class LineReader {
 public:
  // The rest of a longer line is skipped.
  static constexpr size_t kLongestLine = size_t{64} * 1024;

  // Does not own the fd.
  explicit LineReader(int fd) : fd_(fd), buffer_(new char[kBufferSize]) {}

  // The next line that ends in a newline. None at the end of the data, or if reading fails: see error(). Can be called
  // again when there is more.
  std::optional<Line> next();

  // The unfinished last line, if there is one.
  std::optional<Line> take_rest();

  // errno of the read that failed, or 0.
  int error() const { return error_; }

  // Continues with another fd, as when a log has been rotated. Drops what is left of the old one.
  void reopen(int fd);

 private:
  static constexpr size_t kBufferSize = 4 * kLongestLine;

  bool fill();
  Line line_of(size_t length, bool is_cut);

  int fd_;
  std::unique_ptr<char[]> buffer_;
  size_t begin_ = 0;
  size_t end_ = 0;
  size_t searched_ = 0;       // bytes from begin_ that hold no newline
  bool is_skipping_ = false;  // within the rest of a line that was too long
  int error_ = 0;
};

}  // namespace flow_tool

#endif
