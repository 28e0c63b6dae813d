// The text utilities, compared with simple models. Three lines of an input are one case: pattern, name and range of a
// match. The other utilities get the same lines as paths and texts.
#include <fnmatch.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "nuv_utility.h"

namespace {

using fuzz::ExactText;

// ---- the match ----

// Reads numbers. After one that is out of range, all others fail, too.
class Numbers {
 public:
  std::optional<long> read(const std::string& text) {
    errno = 0;
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    spoiled_ = spoiled_ || errno == ERANGE;
    if (spoiled_ || *end != '\0' || number < 0) {
      return std::nullopt;
    }
    return number;
  }

 private:
  bool spoiled_ = false;
};

std::string padded(long number, size_t width) {
  std::string text = std::to_string(number);
  return text.size() < width ? std::string(width - text.size(), '0') + text : text;
}

bool begins_with_number(std::string_view name, long low, long high, size_t width) {
  for (size_t length = 1; length <= std::min<size_t>(name.size(), 5); ++length) {
    const std::string digits(name.substr(0, length));
    if (digits.find_first_not_of("0123456789") != std::string::npos) {
      return false;
    }
    const long number = std::stol(digits);
    if (low <= number && number <= high && padded(number, width) == digits) {
      return true;
    }
  }
  return false;
}

bool matches_piece(const std::string& piece, const std::string& prefix, std::string_view name, Numbers& numbers) {
  const size_t dash = piece.find('-');
  const bool has_prefix = name.starts_with(prefix);
  const std::string_view tail = has_prefix ? name.substr(prefix.size()) : std::string_view();
  if (dash == std::string::npos) {
    const auto number = piece.empty() ? std::nullopt : numbers.read(piece);
    return number && *number <= 99999 && has_prefix && tail.starts_with(piece);
  }
  if (dash == 0 || piece.back() == '-') {
    return false;
  }
  const std::string low_text = piece.substr(0, dash);
  const auto low = numbers.read(low_text);
  const auto high = low ? numbers.read(piece.substr(dash + 1)) : std::nullopt;
  if (!high || *low >= *high || *high > 99999 || !has_prefix) {
    return false;
  }
  const bool is_padded = low_text.front() == '0' && low_text.size() <= 5;
  return begins_with_number(tail, *low, *high, is_padded ? low_text.size() : 1);
}

bool model_match(const std::string& pattern, const std::string& name, const std::string& range, int flags) {
  if (pattern.empty() || name.empty()) {
    return false;
  }
  if (range.find_first_of("[*?\\") != std::string::npos) {
    return fnmatch(pattern.c_str(), name.c_str(), flags) == 0;
  }
  if (range.empty()) {
    return name == pattern;
  }
  const size_t place = pattern.substr(0, 255).find(range);
  if (place == std::string::npos) {
    return false;
  }
  Numbers numbers;
  std::string rest = range + ",";
  while (!rest.empty()) {
    const size_t comma = rest.find(',');
    if (matches_piece(rest.substr(0, std::min<size_t>(comma, 99)), pattern.substr(0, place), name, numbers)) {
      return true;
    }
    rest.erase(0, comma + 1);
  }
  return false;
}

void check_match(const std::string& pattern, const std::string& name, const std::string& range) {
  for (const int flags : {0, FNM_PATHNAME | FNM_PERIOD}) {
    errno = 0;
    const int32_t result =
        NUV_Utility_fnmatch(ExactText(pattern).get(), ExactText(name).get(), ExactText(range).get(), flags);
    FUZZ_CHECK(result == (model_match(pattern, name, range, flags) ? 0 : -1));
  }
}

// ---- paths and texts ----

void check_path(const std::string& path) {
  const ExactText text(path);
  const size_t separator = path.find_last_of("/\\");
  FUZZ_CHECK(NUV_Utility_basename(text.get()) == text.get() + (separator == std::string::npos ? 0 : separator + 1));
  const size_t dot = path.rfind('.');
  FUZZ_CHECK(NUV_Utility_extension(text.get()) == (dot == std::string::npos ? "" : path.substr(dot + 1)));
}

void check_path_cat(const std::string& front, const std::string& back) {
  std::string expected = front;
  if (!front.empty() && front.back() != '/') {
    expected += '/';
  }
  expected += back;
  std::unique_ptr<char[]> path(new char[expected.size() + 1]);
  std::copy_n(front.c_str(), front.size() + 1, path.get());
  FUZZ_CHECK(NUV_Utility_path_cat(path.get(), ExactText(back).get()) == path.get());
  FUZZ_CHECK(path.get() == expected);
}

void check_backward(const std::string& text, const std::string& end) {
  int32_t expected = -1;
  if (!end.empty() && text.size() >= end.size()) {
    expected = 0;
    while (static_cast<size_t>(expected) < end.size() && text[text.size() - 1 - static_cast<size_t>(expected)] ==
                                                             end[end.size() - 1 - static_cast<size_t>(expected)]) {
      ++expected;
    }
  }
  FUZZ_CHECK(NUV_Utility_strcmp_backward(ExactText(text).get(), ExactText(end).get()) == expected);
}

void check_formatted(const std::string& first, const std::string& second) {
  const std::string whole = first + ":" + second;
  const ExactText one(first);
  const ExactText two(second);
  FUZZ_CHECK(VAStr("%s:%s", one.get(), two.get()) == whole.substr(0, 510));
  for (const uint32_t size : {0U, 1U, 2U, 3U, 20U}) {
    std::vector<char> buffer(size + 1, '~');
    NUV_Utility_VAStr(buffer.data(), size, "%s:%s", one.get(), two.get());
    FUZZ_CHECK(buffer[size] == '~');
    FUZZ_CHECK(size == 0 || buffer.data() == whole.substr(0, size < 2 ? 0 : size - 2));
  }
}

void check_lines(std::string_view content) {
  fuzz::flash()["/flash/lines"] = content;
  FILE* file = fopen("/flash/lines", "r");
  constexpr uint32_t kSize = 16;
  while (true) {
    std::unique_ptr<char[]> line(new char[kSize]);
    if (NUV_Utility_readLine(line.get(), kSize, file) == nullptr) {
      break;
    }
    FUZZ_CHECK(!content.empty());
    const size_t whole = std::min(content.find('\n'), content.size() - 1) + 1;
    std::string_view expected = content.substr(0, std::min<size_t>(whole, kSize - 1));
    content.remove_prefix(expected.size());
    expected = expected.substr(0, expected.find('\n'));
    FUZZ_CHECK(fuzz::c_text(expected) == line.get());
  }
  FUZZ_CHECK(content.empty());
  fclose(file);
  fuzz::flash().clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  check_lines(input.rest());
  while (!input.empty()) {
    const std::string pattern(fuzz::c_text(input.line()));
    const std::string name(fuzz::c_text(input.line()));
    const std::string range(fuzz::c_text(input.line()));
    check_match(pattern, name, range);
    check_path(pattern);
    check_path_cat(pattern, name);
    check_backward(pattern, name);
    check_formatted(pattern, name);
  }
  return 0;
}
