// Reads a descriptor line by line, however long it is.
#ifndef TOOLS_USERLIB_FLOW_LINE_READER_H
#define TOOLS_USERLIB_FLOW_LINE_READER_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace flow_tool {

struct Line {
  std::string_view text;  // without the newline; good until the next line is asked for
  bool is_cut;            // longer than kLongestLine, or the end of the input came before the newline
};

class LineReader {
 public:
  // Of a longer line the rest is skipped.
  static constexpr size_t kLongestLine = size_t{64} * 1024;

  // The descriptor stays its owner's.
  explicit LineReader(int fd) : fd_(fd), buffer_(new char[kBufferSize]) {}

  // The next line that ends in a newline. None at the end of what there is, and when reading fails: see error().
  // It can be asked again later, when there is more.
  std::optional<Line> next();

  // What is left at the end without a newline, if anything is.
  std::optional<Line> take_rest();

  // errno of the read that failed, or 0.
  int error() const { return error_; }

  // Goes on with another descriptor, as when a log has been rotated; what is left of the old one is dropped.
  void reopen(int fd);

 private:
  static constexpr size_t kBufferSize = 4 * kLongestLine;

  bool fill();
  Line line_of(size_t length, bool is_cut);

  int fd_;
  std::unique_ptr<char[]> buffer_;
  size_t begin_ = 0;
  size_t end_ = 0;
  size_t searched_ = 0;       // how much behind begin_ is known to hold no newline
  bool is_skipping_ = false;  // the rest of a line that was too long
  int error_ = 0;
};

}  // namespace flow_tool

#endif
