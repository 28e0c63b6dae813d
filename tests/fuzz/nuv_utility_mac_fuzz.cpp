// MAC addresses. Two lines of an input are two addresses to calculate with.
#include <cstdio>
#include <optional>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "nuv_utility.h"

namespace {

using fuzz::ExactText;

constexpr size_t kMacSize = 18;
constexpr uint64_t kMask = 0xFFFFFFFFFFFF;

// The number of a text with one to six fields of one to six hexadecimal digits. Returns nothing for other texts.
std::optional<uint64_t> model_number(std::string_view text) {
  uint64_t number = 0;
  for (int field = 0; field < 6; ++field) {
    const size_t length = std::min(text.find(':'), text.size());
    const std::string digits(text.substr(0, length));
    if (digits.empty() || digits.size() > 6 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
      return std::nullopt;
    }
    number = number << 8 | std::stoul(digits, nullptr, 16);
    text.remove_prefix(length);
    if (text.empty()) {
      return number << 8 * (5 - field);
    }
    text.remove_prefix(1);
  }
  return std::nullopt;
}

std::string text_of(uint64_t number) {
  char text[kMacSize];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", static_cast<unsigned>(number >> 40 & 0xFF),
                static_cast<unsigned>(number >> 32 & 0xFF), static_cast<unsigned>(number >> 24 & 0xFF),
                static_cast<unsigned>(number >> 16 & 0xFF), static_cast<unsigned>(number >> 8 & 0xFF),
                static_cast<unsigned>(number & 0xFF));
  return text;
}

// A buffer of exactly the size of an address.
struct Buffer {
  std::unique_ptr<char[]> text{new char[kMacSize]};
  bool holds(uint64_t number) const { return text.get() == text_of(number & kMask); }
};

uint64_t check_text(const char* text) {
  const uint64_t number = NUV_Utility_MacToUint(text);
  const auto expected = model_number(text);
  FUZZ_CHECK(!expected || *expected == number);
  Buffer buffer;
  FUZZ_CHECK(NUV_Utility_UintToMac(number, buffer.text.get()) == 17);
  FUZZ_CHECK(buffer.holds(number));
  FUZZ_CHECK(NUV_Utility_MacToUint(buffer.text.get()) == (number & kMask));
  return number;
}

void check_pair(const char* first, const char* second) {
  const uint64_t a = check_text(first);
  const uint64_t b = check_text(second);
  Buffer buffer;
  FUZZ_CHECK(NUV_Utility_MacAddMac(first, second, buffer.text.get()) == (a + b > kMask ? 1 : 0));
  FUZZ_CHECK(buffer.holds(a + b));
  FUZZ_CHECK(NUV_Utility_MacSubMac(first, second, buffer.text.get()) == (a < b ? -1 : 0));
  FUZZ_CHECK(buffer.holds(a < b ? b - a : a - b));
  FUZZ_CHECK(NUV_Utility_MacAddOffset(first, b, buffer.text.get()) == (a + (b & kMask) > kMask ? 1 : 0));
  FUZZ_CHECK(buffer.holds(a + b));
  FUZZ_CHECK(NUV_Utility_MacSubOffset(first, b, buffer.text.get()) == (a < (b & kMask) ? -1 : 0));
  FUZZ_CHECK(buffer.holds(a < (b & kMask) ? (b & kMask) - a : a - (b & kMask)));
  // The result may overwrite an operand. Subtracting then undoes the addition.
  NUV_Utility_UintToMac(a, buffer.text.get());
  NUV_Utility_MacAddMac(buffer.text.get(), second, buffer.text.get());
  FUZZ_CHECK(buffer.holds(a + b));
  const uint64_t sum = (a + b) & kMask;
  NUV_Utility_MacSubOffset(buffer.text.get(), b, buffer.text.get());
  FUZZ_CHECK(buffer.holds(sum < (b & kMask) ? (b & kMask) - sum : sum - (b & kMask)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  while (!input.empty()) {
    const ExactText first(fuzz::c_text(input.line()));
    const ExactText second(fuzz::c_text(input.line()));
    check_pair(first.get(), second.get());
  }
  return 0;
}
