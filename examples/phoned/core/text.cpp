#include "phoned/core/text.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "userlib.hpp"

namespace phoned {

std::string reason() {
  return std::strerror(errno);
}

bool is_printable(char c) {
  return c >= ' ' && c <= '~';
}

std::string printable(std::string_view text, std::string_view besides) {
  std::string shown(text);
  const auto is_harmful = [besides](char c) { return !is_printable(c) && besides.find(c) == besides.npos; };
  std::ranges::replace_if(shown, is_harmful, '?');
  return shown;
}

std::string quote(std::string_view text) {
  constexpr size_t kLongest = 40;
  return "'" + printable(text.substr(0, kLongest)) + (text.size() > kLongest ? "...'" : "'");
}

std::string quote_path(std::string_view path) {
  return "'" + printable(path) + "'";
}

std::string_view take_until(std::string_view& text, std::string_view separators) {
  const std::string_view piece = text.substr(0, text.find_first_of(separators));
  text.remove_prefix(std::min(piece.size() + 1, text.size()));
  return piece;
}

std::vector<std::string_view> split_words(std::string_view text) {
  std::vector<std::string_view> words;
  while (!text.empty()) {
    if (const std::string_view word = take_until(text, " "); !word.empty()) {
      words.push_back(word);
    }
  }
  return words;
}

std::optional<uint32_t> to_number(std::string_view text, uint32_t min, uint32_t max) {
  const char* end = text.data() + text.size();
  uint32_t number = 0;
  const auto [stop, problem] = std::from_chars(text.data(), end, number);
  const bool is_number = problem == std::errc() && stop == end && number >= min && number <= max;
  return is_number ? std::optional(number) : std::nullopt;
}

bool is_no_regular_file(const std::string& path) {
  std::error_code unused;
  const auto status = std::filesystem::status(path, unused);
  return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
}

std::string read_file(const std::string& path, size_t limit) {
  // Without O_NONBLOCK, a FIFO would block until somebody writes to it.
  const userlib::UniqueFd fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status = {};
  if (!fd || fstat(fd.get(), &status) != 0) {
    throw Error(reason());
  }
  if (!S_ISREG(status.st_mode)) {
    throw Error("is not a regular file");
  }
  std::string content;
  char buffer[4096];
  for (ssize_t count = 0; (count = read(fd.get(), buffer, sizeof buffer)) != 0;) {
    if (count < 0) {
      throw Error(reason());
    }
    content.append(buffer, static_cast<size_t>(count));
    if (content.size() > limit) {
      throw Error("is too large: at most " + std::to_string(limit) + " bytes are read");
    }
  }
  return content;
}

}  // namespace phoned
