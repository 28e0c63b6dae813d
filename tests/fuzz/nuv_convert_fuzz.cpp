// Conversions of texts, compared with simple models. Each line of an input is converted by all of them, and split at
// its first character.
#include <algorithm>
#include <optional>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "nuv_convert.h"

namespace {

using fuzz::ExactText;

std::string_view without_blanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return text;
}

std::optional<uint32_t> digits(std::string_view text) {
  if (text.find_first_not_of("0123456789") != std::string_view::npos) {
    return std::nullopt;
  }
  uint64_t value = 0;
  for (const char c : text) {
    value = (value * 10 + static_cast<uint64_t>(c - '0')) % (uint64_t{1} << 32);
  }
  return static_cast<uint32_t>(value);
}

std::optional<uint32_t> expected_unsigned(std::string_view text) {
  text = without_blanks(text);
  return text.empty() ? std::nullopt : digits(text);
}

std::optional<uint16_t> expected_uint16(std::string_view text) {
  const auto value = expected_unsigned(text);
  return value && *value < 65536 ? std::optional(static_cast<uint16_t>(*value)) : std::nullopt;
}

struct Signed {
  bool minus;
  int64_t value;  // within 32 bits
};

std::optional<Signed> expected_signed(std::string_view text) {
  text = without_blanks(text);
  if (text.empty()) {
    return std::nullopt;
  }
  const bool minus = text.front() == '-';
  if (minus || text.front() == '+') {
    text.remove_prefix(1);
  }
  const auto magnitude = digits(text);
  if (!magnitude) {
    return std::nullopt;
  }
  int64_t value = minus ? -int64_t{*magnitude} : int64_t{*magnitude};
  value = (value % (int64_t{1} << 32) + (int64_t{1} << 32)) % (int64_t{1} << 32);
  return Signed{minus, value < (int64_t{1} << 31) ? value : value - (int64_t{1} << 32)};
}

std::optional<int32_t> expected_int32(std::string_view text) {
  const auto number = expected_signed(text);
  return number ? std::optional(static_cast<int32_t>(number->value)) : std::nullopt;
}

std::optional<int16_t> expected_int16(std::string_view text) {
  const auto number = expected_signed(text);
  if (!number || (number->minus ? number->value < -32768 : number->value > 32767)) {
    return std::nullopt;
  }
  return static_cast<int16_t>(number->value & 0xFFFF);
}

// A conversion writes the expected value, or nothing.
template <typename T>
void check_number(int32_t (*convert)(T*, const char*), std::optional<T> expected, const char* text) {
  for (const T before : {T{0}, static_cast<T>(~T{0})}) {
    T value = before;
    FUZZ_CHECK(convert(&value, text) == (expected ? 1 : 0));
    FUZZ_CHECK(value == expected.value_or(before));
  }
}

void check_bool(const char* text) {
  uint8_t flag = 7;
  const int32_t result = NUV_Convert_bool(&flag, text);
  FUZZ_CHECK(result == 1 ? flag <= 1 : result == 0 && flag == 7);
  const auto number = expected_unsigned(text);
  if (number && std::string_view(text).size() < 10) {
    FUZZ_CHECK((result == 1) == (*number <= 1));
    FUZZ_CHECK(result == 0 || flag == *number);
  }
}

void check_string(std::string_view line) {
  const ExactText text(line);
  ExactText value(std::string(line.size(), '~'));
  const int32_t result = NUV_Convert_string(value.get(), text.get());
  const std::string_view quoted = without_blanks(line);
  const size_t closing = quoted.starts_with('"') ? quoted.find('"', 1) : 0;
  FUZZ_CHECK((result == 1) == (closing != 0 && closing != std::string_view::npos));
  if (result == 1) {
    FUZZ_CHECK(quoted.substr(1, closing - 1) == value.get());
    FUZZ_CHECK(std::count(value.get() + closing, value.get() + line.size(), '~') ==
               static_cast<std::ptrdiff_t>(line.size() - closing));
    ExactText in_place(line);
    FUZZ_CHECK(NUV_Convert_string(in_place.get(), in_place.get()) == 1);
    FUZZ_CHECK(quoted.substr(1, closing - 1) == in_place.get());
  }
}

// The fields are the pieces between the separators; the last one is the rest.
void check_split(std::string_view line, uint32_t most, char separator) {
  ExactText text(line);
  std::vector<char*> fields(most);
  const uint32_t count = NUV_Convert_split(fields.data(), most, text.get(), separator);
  const auto separators = separator != '\0' ? std::count(line.begin(), line.end(), separator) : 0;
  FUZZ_CHECK(count == std::min<uint64_t>(most, static_cast<uint64_t>(separators) + 1));
  std::string joined;
  for (uint32_t i = 0; i < count; ++i) {
    const std::string_view field = fields[i];
    FUZZ_CHECK(fields[i] == text.get() + joined.size() + (i > 0 ? 1 : 0));
    FUZZ_CHECK(i + 1 == most || field.find(separator) == std::string_view::npos);
    joined += i > 0 ? std::string(1, separator) : "";
    joined += field;
  }
  FUZZ_CHECK(joined == line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  while (!input.empty()) {
    const std::string_view line = fuzz::c_text(input.line());
    const ExactText text(line);
    check_number<uint16_t>(NUV_Convert_uint16, expected_uint16(line), text.get());
    check_number<uint32_t>(NUV_Convert_uint32, expected_unsigned(line), text.get());
    check_number<int16_t>(NUV_Convert_int16, expected_int16(line), text.get());
    check_number<int32_t>(NUV_Convert_int32, expected_int32(line), text.get());
    check_bool(text.get());
    check_string(line);
    for (const uint32_t most : {1U, 2U, 3U, 16U}) {
      check_split(line, most, line.empty() ? ';' : line.front());
      check_split(line, most, ';');
    }
    check_split(line, 4, '\0');
  }
  return 0;
}
