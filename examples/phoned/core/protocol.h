// What line cards and phoned say to each other: one event or answer per datagram, in words separated by blanks. The table
// is in docs/phoned.md.
//
// A datagram arrives in a frame, whose words are removed from its front, and becomes a message for the dial layer.
#ifndef EXAMPLES_PHONED_CORE_PROTOCOL_H
#define EXAMPLES_PHONED_CORE_PROTOCOL_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <netinet/in.h>

#include "userlib.hpp"

namespace phoned {

inline constexpr size_t kLineCount = 256;
inline constexpr uint16_t kDefaultPort = 7070;
inline constexpr std::string_view kDigits = userlib::DigitMap::kDialled;

// An event on a line. The header of the message holds kind, line and the UDP port of the line card; its items are the line
// card's address and a text.
class Event : public userlib::Message {
 public:
  enum class Kind : int32_t {
    kOffHook,  // the subscriber lifts the receiver
    kDial,     // dials the digits in the text
    kOnHook,   // hangs up
    kBad       // no event; the text says why
  };

  Event(Kind kind, uint8_t line, const sockaddr_in& card, std::string_view text = "");

  Kind kind() const { return static_cast<Kind>(msg_type()); }
  uint8_t line() const { return static_cast<uint8_t>(dest_port()); }
  sockaddr_in card();
  std::string_view text() { return Message::text(1); }
};

// Removes the next word from the front of a frame; empty if there is none. Valid as long as the frame is.
std::string_view take_word(userlib::Frame& datagram);

// Reads a datagram. The text of a bad one says which word is wrong, and what would be right.
Event parse_event(userlib::Frame& datagram, const sockaddr_in& card);

// Whether a datagram looks like an answer. It must not be answered: that would never end.
bool looks_like_answer(std::string_view datagram);

}  // namespace phoned

#endif
