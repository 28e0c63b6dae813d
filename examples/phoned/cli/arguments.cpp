#include "phoned/cli/arguments.h"

#include <utility>

#include "phoned/core/text.h"

namespace phoned {

bool Arguments::next_option() {
  if (error_ || rest_.empty()) {
    return false;
  }
  const std::string_view word = rest_.front();
  if (!word.starts_with("-")) {
    return false;
  }
  rest_ = rest_.subspan(1);
  const size_t equals = word.find('=');
  name_ = word.substr(0, equals);
  attached_value_.reset();
  if (equals != std::string_view::npos) {
    attached_value_ = word.substr(equals + 1);
  }
  return true;
}

bool Arguments::is_flag(std::string_view name) {
  if (!is(name)) {
    return false;
  }
  if (attached_value_) {
    refuse(quote(*attached_value_) + ": this option takes no value");
  }
  return true;
}

std::string Arguments::value(std::string_view what) {
  if (attached_value_) {
    return std::string(*attached_value_);
  }
  if (rest_.empty()) {
    refuse("wants a value: " + std::string(what));
    return {};
  }
  std::string value = rest_.front();
  rest_ = rest_.subspan(1);
  return value;
}

uint32_t Arguments::number(uint32_t min, uint32_t max) {
  const std::string what = "a number from " + std::to_string(min) + " to " + std::to_string(max);
  const std::string text = value(what);
  const auto number = to_number(text, min, max);
  if (!number) {
    refuse(quote(text) + ": must be " + what);
  }
  return number.value_or(min);
}

void Arguments::refuse_option() {
  if (!error_) {
    error_ = Error{"unknown option " + quote(name_) + ": --help shows those that there are"};
  }
}

void Arguments::refuse(std::string why) {
  if (!error_) {
    error_ = Error{std::string(name_) + " " + std::move(why)};
  }
}

}  // namespace phoned
