// Text from outside, made fit for a terminal.
#ifndef TOOLS_USERLIB_FLOW_DISPLAY_H
#define TOOLS_USERLIB_FLOW_DISPLAY_H

#include <cstddef>
#include <string>
#include <string_view>

namespace flow_tool {

// The text with "?" for each control character and for each byte that is no UTF-8.
std::string printable(std::string_view text);
// The same with "?" for whatever is not ASCII.
std::string printable_ascii(std::string_view text);

// How many columns a terminal gives to UTF-8: two to each character of East Asia and each picture, none to accents.
size_t columns_of(std::string_view text);

// The text, which is printable, in so many columns at most; what is cut off leaves the mark, of one column, behind.
std::string cut_to(std::string_view text, size_t columns, std::string_view mark);

// Between quotes, for a complaint.
std::string quote(std::string_view text);

}  // namespace flow_tool

#endif
