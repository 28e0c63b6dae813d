#include "phonectl/script.h"

#include <algorithm>

#include "phoned/core/text.h"
#include "phoned/io/bridge.h"

namespace phonectl {

using phoned::Error;
using phoned::quote;

namespace {

// A command, and what follows its name.
struct Form {
  std::string_view name;
  Step::Kind kind;
  size_t words;  // of an event, with its name; 0: any text
  const char* rule;
};
constexpr Form kForms[] = {
    {"offhook", Step::Kind::kSend, 2, "a line, such as 'offhook 3'"},
    {"onhook", Step::Kind::kSend, 2, "a line, such as 'onhook 3'"},
    {"digit", Step::Kind::kSend, 3, "a line and a digit, such as 'digit 3 1'"},
    {"dial", Step::Kind::kSend, 3, "a line and digits, such as 'dial 3 110'"},
    {"raw", Step::Kind::kSend, 0, "a text, such as 'raw 3 idle'"},
    {"expect", Step::Kind::kExpect, 0, "a text, such as 'expect 3 idle'"},
    {"wait", Step::Kind::kWait, 0, "milliseconds from 0 to 60000, not "},
};

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  return text.substr(0, text.find_last_not_of(" \t\r") + 1);
}

// The line's number comes first in a datagram. Whether the words make sense is for phoned to say.
std::string datagram_of(const std::vector<std::string_view>& words) {
  std::string text = std::string(words[1]) + " " + std::string(words[0]);
  for (size_t i = 2; i < words.size(); ++i) {
    text += " " + std::string(words[i]);
  }
  return text;
}

}  // namespace

Step parse_step(std::string_view text) {
  const std::vector<std::string_view> words = phoned::split_words(text);
  const std::string_view name = words.empty() ? "" : words.front();
  const auto* const form = std::ranges::find(kForms, name, &Form::name);
  if (form == std::end(kForms)) {
    throw Error("unknown command " + quote(name) + ": must be offhook, onhook, digit, dial, raw, expect or wait");
  }
  const std::string_view rest = trimmed(text.substr(text.find(name) + name.size()));
  const std::string rule = quote(name) + " wants " + form->rule;
  if (form->kind == Step::Kind::kWait) {
    const auto wait = phoned::to_number(rest, 0, 60000);
    if (!wait) {
      throw Error(rule + quote(rest));
    }
    return Step{form->kind, {}, std::chrono::milliseconds(*wait)};
  }
  if (form->words == 0 ? rest.empty() : words.size() != form->words) {
    throw Error(rule);
  }
  const std::string said = form->words == 0 ? std::string(rest) : datagram_of(words);
  if (said.size() > phoned::kMaxDatagram) {
    throw Error(quote(said) + " is too long: a datagram takes at most " + std::to_string(phoned::kMaxDatagram) +
                " bytes");
  }
  return Step{form->kind, said};
}

std::vector<Step> parse_script(std::string_view text) {
  std::vector<Step> steps;
  for (size_t line = 1; !text.empty(); ++line) {
    const std::string_view command = trimmed(phoned::take_until(text, "\n"));
    if (command.empty() || command.front() == '#') {
      continue;
    }
    try {
      steps.push_back(parse_step(command));
    } catch (const Error& error) {
      throw Error("line " + std::to_string(line) + ": " + error.what());
    }
    steps.back().line = line;
  }
  return steps;
}

}  // namespace phonectl
