// Words, numbers, small files, text from outside that has to be shown, and the error that says what is wrong with one.
#ifndef EXAMPLES_PHONED_CORE_TEXT_H
#define EXAMPLES_PHONED_CORE_TEXT_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace phoned {

// Thrown by what cannot be done, and caught by whoever has asked for it: main(), or a command of the console. One line,
// which names the value that is wrong and what would be right. No Error leaves a callback of the reactor.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Why the last system call has failed.
std::string reason();

// Why a descriptor that is open cannot be watched by a reactor.
inline constexpr const char* kCannotWatch = "too many descriptors are open, or there is no memory";

// Visible ASCII characters and the blank. Anything else may do harm to a terminal.
bool is_printable(char c);

// The text with a "?" for every byte that is not printable; the second keeps line ends and tabulators.
std::string printable(std::string_view text);
std::string printable_lines(std::string_view text);

// The text between quotes, printable, and cut where it gets long. The name of a file is never cut.
std::string quote(std::string_view text);
std::string quote_path(std::string_view path);

// The text up to the separator, which is taken off the front, with the separator; all of it if there is none.
std::string_view take_until(std::string_view& text, std::string_view separators);

// The words of a text, which blanks separate.
std::vector<std::string_view> split_words(std::string_view text);

// A whole number in decimal digits and nothing else, if it lies between the two limits.
std::optional<uint32_t> to_number(std::string_view text, uint32_t min, uint32_t max);

// Whether there is something that is no regular file, symbolic links followed: at a FIFO or a terminal phoned would wait
// for whoever is at its other end.
bool is_no_regular_file(const std::string& path);

// The content of a regular file of at most "limit" bytes. The Error does not name the file.
std::string read_file(const std::string& path, size_t limit);

}  // namespace phoned

#endif
