// What the channel hands to the dial layer: a message of the library that says what has happened on which line, with the
// digits that were dialled as its data.
#ifndef EXAMPLES_PHONED_CORE_EVENT_MESSAGE_H
#define EXAMPLES_PHONED_CORE_EVENT_MESSAGE_H

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "nuv_message.h"
#include "phoned/core/protocol.h"

namespace phoned {

class EventMessage {
 public:
  // The sender's port stands for the line card that it comes from.
  EventMessage(const Request& request, uint16_t sender_port) {
    NUV_Message_construct(&message_, static_cast<int32_t>(request.event), request.line, sender_port);
    if (!request.digits.empty()) {
      Memory digits;
      NUV_Memory_construct(&digits, static_cast<uint32_t>(request.digits.size()));
      std::copy(request.digits.begin(), request.digits.end(), NUV_Memory_begin(&digits));
      NUV_Message_add(&message_, kDigits, &digits);
      NUV_Memory_destruct(&digits);  // empty now
    }
  }
  ~EventMessage() { NUV_Message_destruct(&message_); }
  EventMessage(const EventMessage&) = delete;
  EventMessage& operator=(const EventMessage&) = delete;

  Request::Event event() const { return static_cast<Request::Event>(NUV_Message_msgType(&message_)); }
  uint8_t line() const { return static_cast<uint8_t>(NUV_Message_destPort(&message_)); }
  uint16_t sender_port() const { return static_cast<uint16_t>(NUV_Message_srcPort(&message_)); }

  std::string_view digits() {
    if (NUV_Message_size(&message_) == 0) {
      return {};
    }
    const Memory* digits = NUV_MessageData_data(NUV_Message_data(&message_, 0));
    return {reinterpret_cast<const char*>(NUV_Memory_begin(digits)), NUV_Memory_size(digits)};
  }

 private:
  static constexpr int32_t kDigits = 1;

  ::Message message_;
};

}  // namespace phoned

#endif
