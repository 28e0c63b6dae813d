#include "nuv_convert.h"

#include <optional>

#include <stdio.h>
#include <string.h>

#include "core/contract.h"
#include "core/text.h"

using nuv::text_or_empty;

namespace {

constexpr char kFamily[] = "nuv_convert";

constexpr char kQuote = '"';

// Not isspace(): a tab in front of a value makes it invalid.
const char* skip_blanks(const char* text) {
  while (*text == ' ') {
    ++text;
  }
  return text;
}

// The value of the digits modulo 2^32, 0 when there are none. Nothing when a character is no digit.
std::optional<uint32_t> digits_to_number(const char* digits) {
  uint32_t number = 0;
  for (const char* p = digits; *p != '\0'; ++p) {
    if (*p < '0' || *p > '9') {
      return std::nullopt;
    }
    number = number * 10U + static_cast<uint32_t>(*p - '0');
  }
  return number;
}

std::optional<uint32_t> text_to_unsigned(const char* text) {
  const char* digits = skip_blanks(text_or_empty(text));
  if (*digits == '\0') {
    return std::nullopt;
  }
  return digits_to_number(digits);
}

std::optional<uint16_t> text_to_uint16(const char* text) {
  const std::optional<uint32_t> number = text_to_unsigned(text);
  if (!number || *number > UINT16_MAX) {
    return std::nullopt;
  }
  return static_cast<uint16_t>(*number);
}

struct SignedNumber {
  bool is_negative;
  int32_t value;
};

// Unlike an empty text, a sign alone is a number: 0.
std::optional<SignedNumber> text_to_signed(const char* text) {
  const char* number = skip_blanks(text_or_empty(text));
  if (*number == '\0') {
    return std::nullopt;
  }
  const bool is_negative = *number == '-';
  const bool has_sign = is_negative || *number == '+';
  const std::optional<uint32_t> magnitude = digits_to_number(has_sign ? number + 1 : number);
  if (!magnitude) {
    return std::nullopt;
  }
  // Negated while it is unsigned: this wraps where a signed number would overflow.
  return SignedNumber{is_negative, static_cast<int32_t>(is_negative ? 0U - *magnitude : *magnitude)};
}

std::optional<int32_t> text_to_int32(const char* text) {
  const std::optional<SignedNumber> number = text_to_signed(text);
  if (!number) {
    return std::nullopt;
  }
  return number->value;
}

// Each sign has one limit only: a number that has wrapped to the far side of zero passes.
std::optional<int16_t> text_to_int16(const char* text) {
  const std::optional<SignedNumber> number = text_to_signed(text);
  if (!number) {
    return std::nullopt;
  }
  const bool fits = number->is_negative ? number->value >= INT16_MIN : number->value <= INT16_MAX;
  if (!fits) {
    return std::nullopt;
  }
  return static_cast<int16_t>(number->value);
}

std::optional<uint8_t> text_to_flag(const char* text) {
  unsigned number = 0;
  // NOLINTNEXTLINE(cert-err34-c): a flag is what this conversion makes of the text, whatever stands behind the number.
  if (sscanf(skip_blanks(text_or_empty(text)), "%u", &number) != 1 || number > 1) {
    return std::nullopt;
  }
  return static_cast<uint8_t>(number);
}

template <typename T>
int32_t store(T* dest, std::optional<T> value) {
  if (dest == nullptr || !value) {
    return 0;
  }
  *dest = *value;
  return 1;
}

// The first separator, or null. The text's end is none, not even for a separator of zero.
char* find_separator(char* text, char separator) {
  return separator != '\0' ? strchr(text, separator) : nullptr;
}

}  // namespace

int32_t NUV_Convert_string(char* a_dest, const char* a_src) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_src);
  const char* opening = skip_blanks(text_or_empty(a_src));
  if (a_dest == nullptr || *opening != kQuote) {
    return 0;
  }
  const char* text = opening + 1;
  const char* closing = strchr(text, kQuote);
  const size_t length = closing != nullptr ? static_cast<size_t>(closing - text) : strlen(text);
  // Moved, not copied: a text may be converted in its own buffer.
  memmove(a_dest, text, length);
  if (closing == nullptr) {
    return 0;
  }
  a_dest[length] = '\0';
  return 1;
}

int32_t NUV_Convert_uint16(uint16_t* a_dest, const char* a_src) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_src);
  return store(a_dest, text_to_uint16(a_src));
}

int32_t NUV_Convert_uint32(uint32_t* a_dest, const char* a_src) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_src);
  return store(a_dest, text_to_unsigned(a_src));
}

int32_t NUV_Convert_int16(int16_t* a_dest, const char* a_src) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_src);
  return store(a_dest, text_to_int16(a_src));
}

int32_t NUV_Convert_int32(int32_t* a_dest, const char* a_src) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_src);
  return store(a_dest, text_to_int32(a_src));
}

int32_t NUV_Convert_bool(uint8_t* a_dest, const char* a_src) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_src);
  return store(a_dest, text_to_flag(a_src));
}

uint32_t NUV_Convert_split(char** a_dest, uint32_t a_maxdest, char* a_src, char a_separator) {
  NUV_REQUIRE(( ((void *)0) == a_dest) == ( 0 == a_maxdest));
  NUV_REQUIRE(((void *)0) != a_src);
  uint32_t count = 0;
  for (char* field = a_src; field != nullptr && count < a_maxdest; ++count) {
    if (a_dest != nullptr) {
      a_dest[count] = field;
    }
    // The last field that there is room for keeps its separators.
    char* separator = count + 1 < a_maxdest ? find_separator(field, a_separator) : nullptr;
    if (separator != nullptr) {
      *separator++ = '\0';
    }
    field = separator;
  }
  return count;
}
