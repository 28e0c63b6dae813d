#include "phoned/core/dial_layer.h"

#include "phoned/core/clock.h"
#include "phoned/core/text.h"
#include "phoned/core/trace.h"
#include "phoned/io/datagram.h"

namespace phoned {

std::string DialLayer::handle(OwnedFrame& datagram, const sockaddr_in& sender, const timeval& now) {
  ++statistics_.datagrams;
  PHONED_LOG(TRACE, trace::modules.line, "event %s", quote(datagram.text()).c_str());
  const auto request = parse_request(datagram);
  if (!request) {
    return refuse(request.error().why);
  }
  EventMessage message(*request, ntohs(sender.sin_port));
  return carry_out(message, sender, now);
}

std::string DialLayer::refuse_size(size_t size) {
  ++statistics_.datagrams;
  return refuse("datagram of " + std::to_string(size) + " bytes: at most " + std::to_string(kMaxDatagram) +
                " are taken");
}

std::vector<Notice> DialLayer::handle_timeouts(const timeval& now) {
  std::vector<Notice> notices;
  for (const uint8_t number : lines_.overdue(now)) {
    ++statistics_.timeouts;
    Call& call = *lines_.find(number);
    trace::asked(number, call.digits, trace::Timer::kExpired);
    const Verdict verdict = plan_.check_at_timeout(call.digits);
    trace::judged(number, verdict);
    PHONED_LOG(DEBUG, trace::modules.dial_plan, "digits %s, and no more in time: %s", call.digits.c_str(),
               describe(verdict).c_str());
    notices.push_back({call.peer, decide(number, call, verdict)});
  }
  return notices;
}

std::string DialLayer::carry_out(EventMessage& message, const sockaddr_in& sender, const timeval& now) {
  switch (message.event()) {
    case Request::Event::kOffHook:
      return lift(message.line());
    case Request::Event::kOnHook:
      return hang_up(message.line());
    case Request::Event::kDial:
      return dial(message, sender, now);
  }
  return refuse("unknown event");
}

std::string DialLayer::lift(uint8_t number) {
  if (lines_.find(number) != nullptr) {
    return refuse("line " + std::to_string(number) + " is off the hook already: 'onhook' comes first");
  }
  // No deadline yet: the inter-digit time starts with the first digit.
  const Call& call = lines_.lift(number);
  PHONED_LOG(TRACE, trace::modules.line, "line %u: call %u, reference %08x", number, call.number, call.reference);
  return ready(number);
}

// Hanging up a line that is on the hook is no error: so a line card that knows nothing of before gets its lines into a
// known state.
std::string DialLayer::hang_up(uint8_t number) {
  lines_.hang_up(number);
  return idle(number);
}

// Digits are taken one by one, as if each came in a datagram of its own, but only the last outcome is answered. What
// stands behind the digit that decides is not looked at: the answer says which digits were.
std::string DialLayer::dial(EventMessage& message, const sockaddr_in& sender, const timeval& now) {
  const uint8_t number = message.line();
  Call* const call = lines_.find(number);
  if (call == nullptr) {
    return refuse("line " + std::to_string(number) + " is on the hook: 'offhook' comes first");
  }
  if (call->state == Call::State::kDecided) {
    return refuse("line " + std::to_string(number) + " has its answer: 'onhook' comes first");
  }
  call->peer = sender;
  for (const char digit : message.digits()) {
    if (call->digits.size() == kMaxDigits) {
      return decide(number, *call, {Verdict::Kind::kReject, {}});
    }
    call->digits += digit;
    trace::asked(number, call->digits, trace::Timer::kRunning);
    const Verdict verdict = plan_.check(call->digits);
    trace::judged(number, verdict);
    PHONED_LOG(DEBUG, trace::modules.dial_plan, "digits %s: %s", call->digits.c_str(), describe(verdict).c_str());
    if (verdict.kind != Verdict::Kind::kMore) {
      return decide(number, *call, verdict);
    }
  }
  return wait_for_more(number, *call, now);
}

std::string DialLayer::wait_for_more(uint8_t number, Call& call, const timeval& now) {
  call.deadline = later(now, interdigit_);
  return more(number, call.digits);
}

std::string DialLayer::decide(uint8_t number, Call& call, const Verdict& verdict) {
  call.state = Call::State::kDecided;
  call.deadline.reset();
  if (verdict.kind == Verdict::Kind::kComplete) {
    ++statistics_.complete;
    PHONED_LOG(INFO, trace::modules.line, "line %u: %s is complete by %s", number, call.digits.c_str(),
               verdict.pattern.c_str());
    return complete(number, call.digits, verdict.pattern);
  }
  ++statistics_.rejected;
  PHONED_LOG(INFO, trace::modules.line, "line %u: %s is rejected", number, call.digits.c_str());
  return reject(number, call.digits);
}

std::string DialLayer::refuse(const std::string& why) {
  ++statistics_.errors;
  PHONED_LOG(DEBUG, trace::modules.line, "refused: %s", why.c_str());
  return error(why);
}

}  // namespace phoned
