// Makes untrusted text safe for a terminal.
#ifndef TOOLS_USERLIB_FLOW_DISPLAY_H
#define TOOLS_USERLIB_FLOW_DISPLAY_H

#include <cstddef>
#include <string>
#include <string_view>

namespace flow_tool {

// The text with "?" for each control character and each byte that is not valid UTF-8.
std::string printable(std::string_view text);
// The same, with "?" for each character that is not ASCII.
std::string printable_ascii(std::string_view text);

// The width of UTF-8 text on a terminal: two columns for East Asian characters and pictographs, none for accents.
size_t columns_of(std::string_view text);

// Cuts printable text to at most this many columns. The mark, one column wide, replaces what is cut.
std::string cut_to(std::string_view text, size_t columns, std::string_view mark);

// Printable text in quotes, for messages.
std::string quote(std::string_view text);

}  // namespace flow_tool

#endif
