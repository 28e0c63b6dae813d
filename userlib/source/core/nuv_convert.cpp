#include "nuv_convert.h"

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

constexpr int64_t kNoNumber = INT64_MIN;

// The value of the digits modulo 2^32, 0 when there are none; kNoNumber when a character is no digit.
int64_t digits_to_number(const char* digits) {
  uint32_t number = 0;
  for (; *digits != '\0'; ++digits) {
    if (*digits < '0' || *digits > '9') {
      return kNoNumber;
    }
    number = number * 10U + static_cast<uint32_t>(*digits - '0');
  }
  return number;
}

int64_t text_to_unsigned(const char* text) {
  const char* digits = skip_blanks(text_or_empty(text));
  return *digits != '\0' ? digits_to_number(digits) : kNoNumber;
}

bool is_negative(const char* text) {
  return *skip_blanks(text_or_empty(text)) == '-';
}

// Unlike an empty text, a sign alone is a number: 0. A number beyond 32 bits wraps, perhaps to the other sign.
int64_t text_to_signed(const char* text) {
  const char* number = skip_blanks(text_or_empty(text));
  if (*number == '\0') {
    return kNoNumber;
  }
  const int64_t magnitude = digits_to_number(*number == '-' || *number == '+' ? number + 1 : number);
  if (magnitude == kNoNumber) {
    return kNoNumber;
  }
  const auto value = static_cast<uint32_t>(magnitude);
  return static_cast<int32_t>(is_negative(text) ? 0U - value : value);
}

// Each sign has one limit only: a number that has wrapped to the other sign passes.
bool fits_int16(const char* text, int64_t number) {
  return is_negative(text) ? number >= INT16_MIN : number <= INT16_MAX;
}

// A flag is what this conversion makes of the text, whatever stands behind the number.
int64_t text_to_flag(const char* text) {
  unsigned number = 0;
  // NOLINTNEXTLINE(cert-err34-c): see above
  return sscanf(skip_blanks(text_or_empty(text)), "%u", &number) == 1 ? number : kNoNumber;
}

template <typename T>
int32_t store(T* dest, int64_t number, bool fits) {
  if (dest == nullptr || number == kNoNumber || !fits) {
    return 0;
  }
  *dest = static_cast<T>(number);
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
  const int64_t number = text_to_unsigned(a_src);
  return store(a_dest, number, number <= UINT16_MAX);
}

int32_t NUV_Convert_uint32(uint32_t* a_dest, const char* a_src) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_src);
  return store(a_dest, text_to_unsigned(a_src), /*fits=*/true);
}

int32_t NUV_Convert_int16(int16_t* a_dest, const char* a_src) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_src);
  const int64_t number = text_to_signed(a_src);
  return store(a_dest, number, fits_int16(a_src, number));
}

int32_t NUV_Convert_int32(int32_t* a_dest, const char* a_src) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_src);
  return store(a_dest, text_to_signed(a_src), /*fits=*/true);
}

int32_t NUV_Convert_bool(uint8_t* a_dest, const char* a_src) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_src);
  const int64_t number = text_to_flag(a_src);
  return store(a_dest, number, number <= 1);
}

uint32_t NUV_Convert_split(char** a_dest, uint32_t a_maxdest, char* a_src, char a_separator) {
  NUV_REQUIRE(( ((void *)0) == a_dest) == ( 0 == a_maxdest));
  NUV_REQUIRE(((void *)0) != a_src);
  uint32_t count = 0;
  for (char* field = a_src; field != nullptr && count < a_maxdest; ++count) {
    if (a_dest != nullptr) {
      a_dest[count] = field;
    }
    // The last field that fits keeps its separators.
    char* separator = count + 1 < a_maxdest ? find_separator(field, a_separator) : nullptr;
    if (separator != nullptr) {
      *separator++ = '\0';
    }
    field = separator;
  }
  return count;
}
