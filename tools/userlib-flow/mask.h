// Converts trace masks to type names and back.
#ifndef TOOLS_USERLIB_FLOW_MASK_H
#define TOOLS_USERLIB_FLOW_MASK_H

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace flow_tool {

struct MaskError {
  std::string why;
};

constexpr uint32_t kGreatestMask = 1023;

// Names such as "info,error" as a mask; "none" is 0, "all" is 1023.
std::variant<uint32_t, MaskError> read_mask_names(std::string_view names);

// The names in a mask of 0 to 1023, separated by commas; "none" for 0.
std::string names_in_mask(uint32_t mask);

// The output for one word: for names, the mask and the command for a daemon's console; for a mask, its names. The
// command is for the module, or for all modules if that is empty.
std::variant<std::string, MaskError> answer_mask(std::string_view word, const std::string& module);

}  // namespace flow_tool

#endif
