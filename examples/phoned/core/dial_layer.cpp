#include "phoned/core/dial_layer.h"

#include "phoned/core/trace.h"

namespace phoned {

namespace {

std::string name_of(uint8_t line) {
  return "line " + std::to_string(line);
}

std::string answer(uint8_t line, const std::string& words) {
  return std::to_string(line) + " " + words;
}

// The verdict in words, for traces.
std::string describe(const Verdict& verdict) {
  const bool is_complete = verdict.kind == Verdict::Kind::kComplete;
  return is_complete ? "complete by " + verdict.pattern : verdict.kind == Verdict::Kind::kMore ? "more" : "reject";
}

}  // namespace

std::string outcome(const std::string& digits, const Verdict& verdict) {
  if (verdict.kind == Verdict::Kind::kComplete) {
    return "complete " + digits + " " + verdict.pattern;
  }
  return (verdict.kind == Verdict::Kind::kMore ? "more " : "reject ") + digits;
}

std::string DialLayer::handle(Event event, const timeval& now) {
  ++statistics_.datagrams;
  switch (event.kind()) {
    case Event::Kind::kOffHook:
      return lift(event.line());
    case Event::Kind::kOnHook:
      return hang_up(event.line());
    case Event::Kind::kDial:
      return dial(event, now);
    case Event::Kind::kBad:
      break;
  }
  return refuse(std::string(event.text()));
}

std::string DialLayer::lift(uint8_t line) {
  if (lines_.find(line) != nullptr) {
    return refuse(name_of(line) + " is off the hook already: 'onhook' comes first");
  }
  // No deadline yet: the inter-digit time starts with the first digit.
  const Call& call = lines_.lift(line);
  PHONED_LOG(TRACE, trace::modules.line, "line %u: call %u, reference %08x", line, call.number, call.reference);
  return answer(line, "ready");
}

// No error on a line that is on the hook: a line card that has just started brings its lines into a known state this way.
std::string DialLayer::hang_up(uint8_t line) {
  lines_.hang_up(line);
  return answer(line, "idle");
}

// Digits are taken one by one, as if each came in a datagram of its own, but only the last outcome is answered. Digits
// after the one that decides are ignored.
std::string DialLayer::dial(Event& event, const timeval& now) {
  const uint8_t line = event.line();
  Call* const call = lines_.find(line);
  if (call == nullptr) {
    return refuse(name_of(line) + " is on the hook: 'offhook' comes first");
  }
  if (call->is_decided) {
    return refuse(name_of(line) + " has its answer: 'onhook' comes first");
  }
  call->card = event.card();
  for (const char digit : event.text()) {
    if (call->digits.size() == kMaxDigits) {
      return decide(line, *call, {Verdict::Kind::kReject});
    }
    call->digits += digit;
    const Verdict verdict = ask_plan(line, call->digits, Time::kLeft);
    if (verdict.kind != Verdict::Kind::kMore) {
      return decide(line, *call, verdict);
    }
  }
  call->deadline = userlib::later(now, interdigit_);
  return answer(line, outcome(call->digits, {Verdict::Kind::kMore}));
}

std::vector<Notice> DialLayer::handle_timeouts(const timeval& now) {
  std::vector<Notice> notices;
  for (const uint8_t line : lines_.overdue(now)) {
    ++statistics_.timeouts;
    Call& call = *lines_.find(line);
    notices.push_back({call.card, decide(line, call, ask_plan(line, call.digits, Time::kOver))});
  }
  return notices;
}

Verdict DialLayer::ask_plan(uint8_t line, const std::string& digits, Time time) const {
  const bool is_over = time == Time::kOver;
  const trace::Part dial_layer = {"dial layer"};
  const trace::Part plan = {"plan"};
  trace::message(dial_layer, answer(line, "check " + digits + (is_over ? " at time-out" : "")), plan, trace::Way::kOut);
  Verdict verdict = is_over ? plan_.check_at_timeout(digits) : plan_.check(digits);
  trace::message(plan, answer(line, describe(verdict)), dial_layer, trace::Way::kIn);
  PHONED_LOG(DEBUG, trace::modules.dial_plan, "digits %s%s: %s", digits.c_str(), is_over ? ", and no more in time" : "",
             describe(verdict).c_str());
  return verdict;
}

std::string DialLayer::decide(uint8_t line, Call& call, const Verdict& verdict) {
  call.is_decided = true;
  call.deadline.reset();
  const bool is_complete = verdict.kind == Verdict::Kind::kComplete;
  ++(is_complete ? statistics_.complete : statistics_.rejected);
  PHONED_LOG(INFO, trace::modules.line, "line %u: %s is %s", line, call.digits.c_str(),
             is_complete ? ("complete by " + verdict.pattern).c_str() : "rejected");
  return answer(line, outcome(call.digits, verdict));
}

std::string DialLayer::refuse(const std::string& why) {
  ++statistics_.errors;
  PHONED_LOG(DEBUG, trace::modules.line, "refused: %s", why.c_str());
  return "error " + why;
}

}  // namespace phoned
