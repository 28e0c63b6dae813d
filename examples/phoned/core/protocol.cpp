#include "phoned/core/protocol.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "phoned/core/text.h"

namespace phoned {

namespace {

using userlib::Frame;
using Kind = Event::Kind;

constexpr char kEvents[] = "offhook, digit, dial or onhook";

// What may follow the number of the line.
struct Form {
  std::string_view word;
  Kind kind;
  size_t most_digits;
  const char* rule;  // for whoever has broken it
};
constexpr Form kForms[] = {
    {"offhook", Kind::kOffHook, 0, "'offhook' takes nothing more"},
    {"onhook", Kind::kOnHook, 0, "'onhook' takes nothing more"},
    {"digit", Kind::kDial, 1, "'digit' takes exactly one digit; 'dial' takes more of them, in one word"},
    {"dial", Kind::kDial, std::string_view::npos, "'dial' takes its digits in one word, such as 'dial 110'"},
};

// Why the words behind an event's name are wrong; empty if they are not.
std::string problem_of(const Form& form, std::string_view argument, bool is_last) {
  if (form.most_digits == 0) {
    return argument.empty() ? "" : form.rule + (", not " + quote(argument));
  }
  if (argument.empty() || argument.size() > form.most_digits || !is_last) {
    return form.rule;
  }
  const size_t wrong = argument.find_first_not_of(kDigits);
  return wrong == argument.npos
             ? ""
             : quote(argument.substr(wrong, 1)) + " is not a digit: must be one of 0-9, A-D, # and *";
}

}  // namespace

Event::Event(Kind kind, uint8_t line, const sockaddr_in& card, std::string_view text)
    : Message(static_cast<int32_t>(kind), line, ntohs(card.sin_port)) {
  add(0, userlib::Memory::copy_of({reinterpret_cast<const char*>(&card), sizeof card}));
  if (!text.empty()) {
    add(1, userlib::Memory::copy_of(text));
  }
}

sockaddr_in Event::card() {
  sockaddr_in card = {};
  std::memcpy(&card, Message::text(0).data(), sizeof card);
  return card;
}

std::string_view take_word(Frame& datagram) {
  const auto take = [&datagram](size_t size) { datagram.reduce_front(static_cast<uint32_t>(size)); };
  take(std::min(datagram.text().find_first_not_of(' '), datagram.text().size()));
  const std::string_view word = datagram.text().substr(0, datagram.text().find(' '));
  take(word.size());
  return word;
}

Event parse_event(Frame& datagram, const sockaddr_in& card) {
  const auto bad = [&card](const std::string& why) { return Event(Kind::kBad, 0, card, why); };
  const std::string_view text = datagram.text();
  if (const auto wrong = std::ranges::find_if_not(text, is_printable); wrong != text.end()) {
    return bad("byte " + std::to_string(static_cast<unsigned char>(*wrong)) + " after " + quote({text.begin(), wrong}) +
               " is not text: must be printable ASCII, without a line end");
  }
  const std::string_view number = take_word(datagram);
  if (number.empty()) {
    return bad("nothing but blanks: must be a line and an event, such as '3 offhook'");
  }
  const auto line = to_number(number, 0, kLineCount - 1);
  if (!line) {
    return bad("unknown line " + quote(number) + ": must be a number from 0 to 255");
  }
  const std::string_view word = take_word(datagram);
  if (word.empty()) {
    return bad("no event for line " + std::to_string(*line) + ": must be " + kEvents);
  }
  const auto* const form = std::ranges::find(kForms, word, &Form::word);
  if (form == std::end(kForms)) {
    return bad("unknown word " + quote(word) + ": must be " + kEvents);
  }
  const std::string_view argument = take_word(datagram);
  const std::string problem = problem_of(*form, argument, take_word(datagram).empty());
  return problem.empty() ? Event(form->kind, static_cast<uint8_t>(*line), card, argument) : bad(problem);
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

}  // namespace phoned
