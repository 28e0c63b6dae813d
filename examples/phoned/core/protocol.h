// What line cards and phoned say to each other: one event or answer a datagram, in words that blanks separate.
//
//     to phoned    "<line> offhook"                        the subscriber lifts the receiver
//                  "<line> digit <digit>"                  dials one digit
//                  "<line> dial <digits>"                  dials some digits in a row
//                  "<line> onhook"                         hangs up
//     from phoned  "<line> ready"                          off the hook, dial away
//                  "<line> more <digits>"                  not decided yet
//                  "<line> complete <digits> <pattern>"    these digits are a number, by this pattern of the plan
//                  "<line> reject <digits>"                these digits are none and will never become one
//                  "<line> idle"                           on the hook
//                  "error <why>"                           no such event, or not now: nothing has changed
//
// Lines are numbered from 0 to 255, digits are 0-9, A-D, # and *. Every datagram gets one answer, but for an empty one and
// one that looks like an answer. "dial" is answered
// for its digits up to the one that decides; those behind it are dropped. When the inter-digit time of a line runs out,
// one more answer comes by itself, "complete" or "reject", to whoever has dialled on the line last.
#ifndef EXAMPLES_PHONED_CORE_PROTOCOL_H
#define EXAMPLES_PHONED_CORE_PROTOCOL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "phoned/core/owned_frame.h"
#include "phoned/core/result.h"

namespace phoned {

inline constexpr size_t kLineCount = 256;
inline constexpr uint16_t kDefaultPort = 7070;

struct Request {
  enum class Event { kOffHook, kDial, kOnHook };

  uint8_t line;
  Event event;
  std::string digits;  // of kDial: one or more
};

// Reads a datagram, whose words are taken off the frame. The error says which word is wrong, and what would be right.
Result<Request> parse_request(OwnedFrame& datagram);

// Whether it is an answer by its looks, whoever has sent it. Nobody answers an answer: it would be the second word of a
// conversation without end.
bool looks_like_answer(std::string_view datagram);

// The answers.
std::string ready(uint8_t line);
std::string more(uint8_t line, const std::string& digits);
std::string complete(uint8_t line, const std::string& digits, const std::string& pattern);
std::string reject(uint8_t line, const std::string& digits);
std::string idle(uint8_t line);
std::string error(const std::string& why);

}  // namespace phoned

#endif
