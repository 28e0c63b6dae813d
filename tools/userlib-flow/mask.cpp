#include "mask.h"

#include <algorithm>
#include <charconv>

#include "display.h"
#include "record.h"

namespace flow_tool {

namespace {

std::string all_names() {
  std::string names;
  for (Type type = 0; type < kTypes; ++type) {
    names += std::string(names.empty() ? "" : ", ") + NUV_ESysloglevelType_name(type);
  }
  return names;
}

bool is_number(std::string_view word) {
  return !word.empty() && word.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

std::variant<uint32_t, MaskError> read_mask_names(std::string_view names) {
  if (names == "all") {
    return kGreatestMask;
  }
  if (names == "none") {
    return uint32_t{0};
  }
  uint32_t mask = 0;
  for (size_t begin = 0; begin <= names.size();) {
    const size_t end = std::min(names.find(',', begin), names.size());
    const std::string_view name = names.substr(begin, end - begin);
    const Type type = type_named(name);
    if (type == kNoType) {
      return MaskError{quote(name) + " is not a trace type: must be all, none, or some of " + all_names() +
                       ", with commas between them"};
    }
    mask |= 1U << type;
    begin = end + 1;
  }
  return mask;
}

std::string names_in_mask(uint32_t mask) {
  std::string names;
  for (Type type = 0; type < kTypes; ++type) {
    if ((mask >> type & 1) != 0) {
      names += std::string(names.empty() ? "" : ",") + NUV_ESysloglevelType_name(type);
    }
  }
  return names.empty() ? "none" : names;
}

std::variant<std::string, MaskError> answer_mask(std::string_view word, const std::string& module) {
  if (is_number(word)) {
    uint32_t mask = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), mask);
    if (error != std::errc() || mask > kGreatestMask) {
      return MaskError{quote(word) + " is not a mask: must be a number from 0 to " + std::to_string(kGreatestMask)};
    }
    return names_in_mask(mask) + "\n";
  }
  const auto mask = read_mask_names(word);
  if (const auto* error = std::get_if<MaskError>(&mask)) {
    return *error;
  }
  const std::string number = std::to_string(std::get<uint32_t>(mask));
  return number + "\ntr " + (module.empty() ? "changeall" : "change " + module) + " " + number + "\n";
}

}  // namespace flow_tool
