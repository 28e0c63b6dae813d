// Calls a function that may throw phoned's Error, and keeps its result or the text of the Error.
#ifndef TESTS_PHONED_ATTEMPT_H
#define TESTS_PHONED_ATTEMPT_H

#include <optional>
#include <string>
#include <utility>

#include "phoned/core/text.h"

namespace support {

template <typename Function>
class Attempt {
 public:
  explicit Attempt(Function function) {
    try {
      value_.emplace(function());
    } catch (const phoned::Error& error) {
      why_ = error.what();
    }
  }

  explicit operator bool() const { return value_.has_value(); }
  const auto& operator*() const { return *value_; }
  const auto* operator->() const { return &*value_; }

  // Empty if nothing was thrown.
  const std::string& why() const { return why_; }

 private:
  std::optional<decltype(std::declval<Function>()())> value_;
  std::string why_;
};

}  // namespace support

#endif
