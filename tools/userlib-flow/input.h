// Reads a log, a file or the standard input, record by record.
#ifndef TOOLS_USERLIB_FLOW_INPUT_H
#define TOOLS_USERLIB_FLOW_INPUT_H

#include <cstdint>
#include <string>

#include "line_parser.h"
#include "line_reader.h"
#include "record.h"

namespace flow_tool {

// The number of lines by outcome.
struct Counts {
  size_t lines = 0;
  size_t traces = 0;
  size_t foreign = 0;
  size_t broken = 0;
  size_t cut = 0;  // also counted above

  Counts& operator+=(const Counts& other);
  // "1,234 lines: 1,200 traces, 30 foreign, 4 broken, 1 cut"
  std::string text() const;
};

// An fd that closes itself unless it is the standard input.
class InputFile {
 public:
  InputFile() = default;
  explicit InputFile(const std::string& path);
  ~InputFile();
  InputFile(InputFile&& other) noexcept;
  InputFile& operator=(InputFile&& other) noexcept;

  int fd() const { return fd_; }

 private:
  int fd_ = -1;
};

class Input {
 public:
  enum class End : uint8_t { kStay, kTakeRest };

  // The name "-" is the standard input. If a file cannot be opened or read, error() is set.
  Input(std::string name, size_t index, time_t now);

  // Reads to the next line of the library. Returns false at the end. With kStay, a last line without its newline waits
  // for the rest, and advance() can be called again.
  bool advance(End end);

  // The record of the last successful advance(), until the next.
  const Record& record() const { return record_; }
  // The record's time, or that of the last line before it with a time. Never decreases, so that the lines of an input
  // keep their order even if the clock was set back.
  Time order() const { return order_; }

  // Called at the end of the input. If the file has been shorter than before, or another file, twice in a row, reopens
  // it at its beginning and returns true.
  bool reopen_if_rotated();

  const std::string& name() const { return name_; }
  const Counts& counts() const { return counts_; }
  int error() const { return error_ != 0 ? error_ : lines_.error(); }

 private:
  bool take(const Line& line);

  std::string name_;
  size_t index_;
  InputFile file_;
  int error_;
  LineReader lines_;
  bool is_rotated_ = false;
  LineParser parser_;
  Counts counts_;
  Record record_;
  Time order_ = kNoTime;
};

// "1234567" as "1,234,567"
std::string with_commas(uint64_t number);

}  // namespace flow_tool

#endif
