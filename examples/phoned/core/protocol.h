// What line cards and phoned say to each other: one event or answer a datagram, in words that blanks separate.
// docs/phoned.md has the table.
//
// A datagram comes in a frame, whose words are taken off its front, and becomes a message; the dial layer gets that.
#ifndef EXAMPLES_PHONED_CORE_PROTOCOL_H
#define EXAMPLES_PHONED_CORE_PROTOCOL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <netinet/in.h>

#include "userlib.hpp"

namespace phoned {

inline constexpr size_t kLineCount = 256;
inline constexpr uint16_t kDefaultPort = 7070;
inline constexpr std::string_view kDigits = "0123456789ABCD#*";

// An event of a line. The header of the message holds what has happened, the line, and the UDP port of the line card; its
// items are the line card's address and a text.
class Event : public userlib::Message {
 public:
  enum class Kind : int32_t {
    kOffHook,  // the subscriber lifts the receiver
    kDial,     // dials the digits of the text
    kOnHook,   // hangs up
    kBad       // no event at all; the text says why
  };

  Event(Kind kind, uint8_t line, const sockaddr_in& card, std::string_view text = "");

  Kind kind() const { return static_cast<Kind>(msg_type()); }
  uint8_t line() const { return static_cast<uint8_t>(dest_port()); }
  sockaddr_in card();
  std::string_view text() { return item(1); }

 private:
  std::string_view item(uint32_t index);
};

// Takes the next word off a frame, and the blanks in front of it; empty when there is none. It stays good as long as the
// frame lives.
std::string_view take_word(userlib::Frame& datagram);

// Reads a datagram. Of a bad one the text says which word is wrong, and what would be right.
Event parse_event(userlib::Frame& datagram, const sockaddr_in& card);

// Whether it is an answer by its looks, whoever has sent it. Nobody answers an answer: it would be the second word of a
// conversation without end.
bool looks_like_answer(std::string_view datagram);

}  // namespace phoned

#endif
