#include "phonectl/script.h"

#include <algorithm>

#include "phoned/core/text.h"
#include "phoned/io/datagram.h"

namespace phonectl {

using phoned::Error;
using phoned::quote;
using phoned::Result;

namespace {

constexpr uint32_t kLongestWait = 60000;

std::string_view trimmed(std::string_view text) {
  const size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
  text.remove_prefix(begin);
  return text.substr(0, text.find_last_not_of(" \t\r") + 1);
}

// The events that are sent, and what follows the line's number in their datagrams.
struct EventForm {
  std::string_view name;
  size_t words;
  std::string_view usage;
};

constexpr EventForm kEvents[] = {
    {"offhook", 2, "a line, such as 'offhook 3'"},
    {"onhook", 2, "a line, such as 'onhook 3'"},
    {"digit", 3, "a line and a digit, such as 'digit 3 1'"},
    {"dial", 3, "a line and digits, such as 'dial 3 110'"},
};

// The line's number comes first in a datagram. Whether the words make sense is for phoned to say.
Result<Step> parse_event(const EventForm& event, const std::vector<std::string_view>& words) {
  if (words.size() != event.words) {
    return Error{quote(event.name) + " wants " + std::string(event.usage)};
  }
  std::string datagram = std::string(words[1]) + " " + std::string(words[0]);
  if (words.size() == 3) {
    datagram += " " + std::string(words[2]);
  }
  return Step{Step::Kind::kSend, datagram};
}

Result<Step> parse_text(Step::Kind kind, std::string_view name, std::string_view text) {
  if (text.empty()) {
    return Error{quote(name) + " wants a text, such as '" + std::string(name) + " 3 idle'"};
  }
  return Step{kind, std::string(text)};
}

Result<Step> parse_wait(std::string_view text) {
  const auto wait = phoned::to_number(text, 0, kLongestWait);
  if (!wait) {
    return Error{"'wait' wants milliseconds from 0 to " + std::to_string(kLongestWait) + ", not " + quote(text)};
  }
  return Step{Step::Kind::kWait, {}, std::chrono::milliseconds(*wait)};
}

Result<Step> parse_any(std::string_view text) {
  const std::vector<std::string_view> words = phoned::split_words(text);
  const std::string_view name = words.empty() ? "" : words.front();
  const std::string_view rest = trimmed(text.substr(std::min(text.find(name) + name.size(), text.size())));
  for (const EventForm& event : kEvents) {
    if (name == event.name) {
      return parse_event(event, words);
    }
  }
  if (name == "raw") {
    return parse_text(Step::Kind::kSend, name, rest);
  }
  if (name == "expect") {
    return parse_text(Step::Kind::kExpect, name, rest);
  }
  if (name == "wait") {
    return parse_wait(rest);
  }
  return Error{"unknown command " + quote(name) + ": must be offhook, onhook, digit, dial, raw, expect or wait"};
}

}  // namespace

Result<Step> parse_step(std::string_view text) {
  auto step = parse_any(text);
  if (step && step->text.size() > phoned::kMaxDatagram) {
    return Error{quote(step->text) + " is too long: a datagram takes at most " + std::to_string(phoned::kMaxDatagram) +
                 " bytes"};
  }
  return step;
}

Result<std::vector<Step>> parse_script(std::string_view text) {
  std::vector<Step> steps;
  for (size_t line = 1; !text.empty(); ++line) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view command = trimmed(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (command.empty() || command.front() == '#') {
      continue;
    }
    auto step = parse_step(command);
    if (!step) {
      return Error{"line " + std::to_string(line) + ": " + step.error().why};
    }
    step->line = line;
    steps.push_back(std::move(*step));
  }
  return steps;
}

}  // namespace phonectl
