#include "phoned/core/protocol.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "phoned/core/text.h"

namespace phoned {

namespace {

constexpr std::string_view kDigits = "0123456789ABCD#*";
constexpr std::string_view kEvents = "offhook, digit, dial or onhook";

// What is dialled with "digit" and "dial". The count of digits was looked at by the caller.
Result<Request> parse_digits(uint8_t line, std::string_view digits) {
  const size_t wrong = digits.find_first_not_of(kDigits);
  if (wrong != std::string_view::npos) {
    return Error{quote(digits.substr(wrong, 1)) + " is no digit: 0-9, A-D, # and * are"};
  }
  return Request{line, Request::Event::kDial, std::string(digits)};
}

Result<Request> parse_event(uint8_t line, std::string_view event, OwnedFrame& rest) {
  const std::string_view argument = rest.take_word();
  const bool is_alone = rest.take_word().empty();
  if (event == "offhook" || event == "onhook") {
    if (!argument.empty()) {
      return Error{quote(event) + " takes nothing more, not " + quote(argument)};
    }
    return Request{line, event == "offhook" ? Request::Event::kOffHook : Request::Event::kOnHook, {}};
  }
  if (event == "digit") {
    if (argument.size() != 1 || !is_alone) {
      return Error{"'digit' takes exactly one digit; 'dial' takes more of them, in one word"};
    }
    return parse_digits(line, argument);
  }
  if (event == "dial") {
    if (argument.empty() || !is_alone) {
      return Error{"'dial' takes its digits in one word, such as 'dial 110'"};
    }
    return parse_digits(line, argument);
  }
  return Error{"unknown word " + quote(event) + ": must be " + std::string(kEvents)};
}

std::string answer(uint8_t line, const std::string& words) {
  return std::to_string(line) + " " + words;
}

}  // namespace

Result<Request> parse_request(OwnedFrame& datagram) {
  const std::string_view text = datagram.text();
  const auto wrong = std::find_if_not(text.begin(), text.end(), is_printable);
  if (wrong != text.end()) {
    const auto byte = static_cast<unsigned char>(*wrong);
    return Error{"byte " + std::to_string(byte) + " behind " + quote({text.begin(), wrong}) +
                 " is no text: printable ASCII is, without a line end"};
  }
  const std::string_view number = datagram.take_word();
  if (number.empty()) {
    return Error{"nothing but blanks: must be a line and an event, such as '3 offhook'"};
  }
  const auto line = to_number(number, 0, kLineCount - 1);
  if (!line) {
    return Error{"unknown line " + quote(number) + ": must be a number from 0 to 255"};
  }
  const std::string_view event = datagram.take_word();
  if (event.empty()) {
    return Error{"no event for line " + std::to_string(*line) + ": must be " + std::string(kEvents)};
  }
  return parse_event(static_cast<uint8_t>(*line), event, datagram);
}

bool looks_like_answer(std::string_view datagram) {
  constexpr std::string_view kAnswers[] = {"ready", "idle", "more", "complete", "reject"};
  const std::vector<std::string_view> words = split_words(datagram);
  if (words.empty() || words[0] == "error") {
    return !words.empty();
  }
  const bool has_line = words[0].find_first_not_of("0123456789") == words[0].npos;
  return has_line && words.size() > 1 && std::ranges::find(kAnswers, words[1]) != std::end(kAnswers);
}

std::string ready(uint8_t line) {
  return answer(line, "ready");
}

std::string more(uint8_t line, const std::string& digits) {
  return answer(line, "more " + digits);
}

std::string complete(uint8_t line, const std::string& digits, const std::string& pattern) {
  return answer(line, "complete " + digits + " " + pattern);
}

std::string reject(uint8_t line, const std::string& digits) {
  return answer(line, "reject " + digits);
}

std::string idle(uint8_t line) {
  return answer(line, "idle");
}

std::string error(const std::string& why) {
  return "error " + why;
}

}  // namespace phoned
