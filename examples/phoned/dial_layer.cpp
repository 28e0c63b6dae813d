#include "phoned/dial_layer.h"

#include "phoned/clock.h"
#include "phoned/datagram.h"
#include "phoned/text.h"
#include "phoned/trace.h"

namespace phoned {

std::string DialLayer::handle(std::string_view datagram, const sockaddr_in& sender, const timeval& now) {
  ++statistics_.datagrams;
  const auto request = parse_request(datagram);
  NUV_LOG_TRACE(trace::modules.line, "event %s", quote(datagram).c_str());
  if (!request) {
    return refuse(request.error().why);
  }
  switch (request->event) {
    case Request::Event::kOffHook:
      return lift(request->line);
    case Request::Event::kOnHook:
      return hang_up(request->line);
    case Request::Event::kDial:
      return dial(*request, sender, now);
  }
  return refuse("unknown event");
}

std::string DialLayer::refuse_size(size_t size) {
  ++statistics_.datagrams;
  if (size == 0) {
    return refuse("empty datagram: must be a line and an event, such as '3 offhook'");
  }
  return refuse("datagram of " + std::to_string(size) + " bytes: at most " + std::to_string(kMaxDatagram) +
                " are taken");
}

std::vector<Message> DialLayer::handle_timeouts(const timeval& now) {
  std::vector<Message> messages;
  for (const uint8_t number : lines_.overdue(now)) {
    ++statistics_.timeouts;
    const Line& line = lines_[number];
    const Verdict verdict = plan_.check_at_timeout(line.digits);
    NUV_LOG_DEBUG(trace::modules.dial_plan, "digits %s, and no more in time: %s", line.digits.c_str(),
                  describe(verdict).c_str());
    messages.push_back({line.peer, decide(number, verdict)});
  }
  return messages;
}

std::string DialLayer::lift(uint8_t number) {
  Line& line = lines_[number];
  if (line.state != Line::State::kOnHook) {
    return refuse("line " + std::to_string(number) + " is off the hook already: 'onhook' comes first");
  }
  // No deadline yet: the inter-digit time starts with the first digit.
  line.state = Line::State::kCollecting;
  return ready(number);
}

// Hanging up a line that is on the hook is no error: so a line card that knows nothing of before gets its lines into a
// known state.
std::string DialLayer::hang_up(uint8_t number) {
  lines_[number] = Line{};
  return idle(number);
}

// Digits are taken one by one, as if each came in a datagram of its own, but only the last outcome is answered. What
// stands behind the digit that decides is not looked at: the answer says which digits were.
std::string DialLayer::dial(const Request& request, const sockaddr_in& sender, const timeval& now) {
  Line& line = lines_[request.line];
  if (line.state == Line::State::kOnHook) {
    return refuse("line " + std::to_string(request.line) + " is on the hook: 'offhook' comes first");
  }
  if (line.state == Line::State::kDecided) {
    return refuse("line " + std::to_string(request.line) + " has its answer: 'onhook' comes first");
  }
  line.peer = sender;
  for (const char digit : request.digits) {
    if (line.digits.size() == kMaxDigits) {
      return decide(request.line, {Verdict::Kind::kReject, {}});
    }
    line.digits += digit;
    const Verdict verdict = plan_.check(line.digits);
    NUV_LOG_DEBUG(trace::modules.dial_plan, "digits %s: %s", line.digits.c_str(), describe(verdict).c_str());
    if (verdict.kind != Verdict::Kind::kMore) {
      return decide(request.line, verdict);
    }
  }
  return wait_for_more(request.line, now);
}

std::string DialLayer::wait_for_more(uint8_t number, const timeval& now) {
  Line& line = lines_[number];
  line.deadline = later(now, interdigit_);
  return more(number, line.digits);
}

std::string DialLayer::decide(uint8_t number, const Verdict& verdict) {
  Line& line = lines_[number];
  line.state = Line::State::kDecided;
  line.deadline.reset();
  if (verdict.kind == Verdict::Kind::kComplete) {
    ++statistics_.complete;
    NUV_LOG_INFO(trace::modules.line, "line %u: %s is complete by %s", number, line.digits.c_str(),
                 verdict.pattern.c_str());
    return complete(number, line.digits, verdict.pattern);
  }
  ++statistics_.rejected;
  NUV_LOG_INFO(trace::modules.line, "line %u: %s is rejected", number, line.digits.c_str());
  return reject(number, line.digits);
}

std::string DialLayer::refuse(const std::string& why) {
  ++statistics_.errors;
  NUV_LOG_DEBUG(trace::modules.line, "refused: %s", why.c_str());
  return error(why);
}

}  // namespace phoned
