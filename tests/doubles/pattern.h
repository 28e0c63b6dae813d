// A regular expression of POSIX. <regex> takes two seconds to compile in each file.
#ifndef TESTS_DOUBLES_PATTERN_H
#define TESTS_DOUBLES_PATTERN_H

#include <regex.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace support {

class Pattern {
 public:
  // Dots and negated sets match no line feed.
  explicit Pattern(const std::string& expression) {
    if (regcomp(regex_.get(), expression.c_str(), REG_EXTENDED | REG_NEWLINE) != 0) {
      throw std::invalid_argument("not a regular expression: " + expression);
    }
  }

  bool is_in(const std::string& text) const { return regexec(regex_.get(), text.c_str(), 0, nullptr, 0) == 0; }

  // What the expression and its groups match at the first place; empty if there is none.
  std::vector<std::string> find_in(const std::string& text) const {
    std::vector<regmatch_t> places(regex_->re_nsub + 1);
    std::vector<std::string> parts;
    if (regexec(regex_.get(), text.c_str(), places.size(), places.data(), 0) == 0) {
      for (const regmatch_t& place : places) {
        parts.push_back(place.rm_so < 0 ? "" : text.substr(size_t(place.rm_so), size_t(place.rm_eo - place.rm_so)));
      }
    }
    return parts;
  }

 private:
  struct Free {
    void operator()(regex_t* regex) const {
      regfree(regex);
      delete regex;
    }
  };
  std::unique_ptr<regex_t, Free> regex_{new regex_t{}};
};

}  // namespace support

#endif
