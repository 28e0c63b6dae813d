// What a function gives back that may fail: a value, or in words why there is none.
#ifndef EXAMPLES_PHONED_CORE_RESULT_H
#define EXAMPLES_PHONED_CORE_RESULT_H

#include <string>
#include <utility>
#include <variant>

namespace phoned {

// One line for whoever asked: names the value that is wrong, and what would be right.
struct Error {
  std::string why;
};

// Why a descriptor that is open is no good for a reactor.
inline constexpr const char* kCannotWatch = "too many descriptors are open, or there is no memory";

template <typename Value>
class Result {
 public:
  Result(Value value) : content_(std::move(value)) {}
  Result(Error error) : content_(std::move(error)) {}

  explicit operator bool() const { return std::holds_alternative<Value>(content_); }
  Value& operator*() { return *std::get_if<Value>(&content_); }
  const Value& operator*() const { return *std::get_if<Value>(&content_); }
  Value* operator->() { return std::get_if<Value>(&content_); }
  const Value* operator->() const { return std::get_if<Value>(&content_); }

  // Only of a result without a value.
  const Error& error() const { return *std::get_if<Error>(&content_); }

 private:
  std::variant<Value, Error> content_;
};

}  // namespace phoned

#endif
