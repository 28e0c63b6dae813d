// Words, numbers, small files, text from outside, and the error that says what is wrong with one of them.
#ifndef EXAMPLES_PHONED_CORE_TEXT_H
#define EXAMPLES_PHONED_CORE_TEXT_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace phoned {

// One line that names the wrong value and what would be right. Caught by main() and by the console's commands; none may
// leave a callback of the reactor.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Why the last system call failed.
std::string reason();

// Printable ASCII, blank included. Anything else may do harm to a terminal.
bool is_printable(char c);

// The text with "?" for every byte that is neither printable nor one of those that are allowed besides.
std::string printable(std::string_view text, std::string_view besides = "");

// The text in quotes, printable; quote() cuts it after 40 characters.
std::string quote(std::string_view text);
std::string quote_path(std::string_view path);

// Removes the text up to and including the first separator, and returns what stood before it.
std::string_view take_until(std::string_view& text, std::string_view separators);

std::vector<std::string_view> split_words(std::string_view text);

// A decimal number within the limits; nothing if the text is anything else.
std::optional<uint32_t> to_number(std::string_view text, uint32_t min, uint32_t max);

// Whether the path leads to a FIFO, a terminal or something else that may block a reader.
bool is_no_regular_file(const std::string& path);

// The content of a regular file of at most "limit" bytes. The Error does not name the file.
std::string read_file(const std::string& path, size_t limit);

}  // namespace phoned

#endif
