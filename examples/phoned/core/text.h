// Words, numbers, and text from outside that has to be shown.
#ifndef EXAMPLES_PHONED_CORE_TEXT_H
#define EXAMPLES_PHONED_CORE_TEXT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace phoned {

// Visible ASCII characters and the blank. Anything else may do harm to a terminal.
bool is_printable(char c);

// The text with a "?" for every byte that is not printable.
std::string printable(std::string_view text);

// The same for a text of many lines, whose ends and tabulators stay.
std::string printable_lines(std::string_view text);

// The text between quotes for a message: printable, and cut where it gets long.
std::string quote(std::string_view text);

// The same for the name of a file, which is never cut.
std::string quote_path(std::string_view path);

// The words of a text, which blanks separate.
std::vector<std::string_view> split_words(std::string_view text);

// A whole number in decimal digits and nothing else, if it lies between the two limits.
std::optional<uint32_t> to_number(std::string_view text, uint32_t min, uint32_t max);

// The text with the first "name" in it replaced by the value; it must hold one.
std::string replace(std::string text, std::string_view name, std::string_view value);

}  // namespace phoned

#endif
