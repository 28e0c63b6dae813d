// Decides what the lines have dialled. It knows neither sockets nor the clock: the caller brings events and the time, and
// takes the answers away.
#ifndef EXAMPLES_PHONED_CORE_DIAL_LAYER_H
#define EXAMPLES_PHONED_CORE_DIAL_LAYER_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "phoned/core/dial_plan.h"
#include "phoned/core/lines.h"
#include "phoned/core/protocol.h"
#include "phoned/core/statistics.h"

namespace phoned {

// An answer without a question: what time has decided.
struct Notice {
  sockaddr_in card;
  std::string text;
};

// What becomes of digits, in words: "more <digits>", "complete <digits> <pattern>" or "reject <digits>".
std::string outcome(const std::string& digits, const Verdict& verdict);

class DialLayer {
 public:
  // With one digit more, an undecided line is rejected.
  static constexpr size_t kMaxDigits = 32;

  DialLayer(DialPlan plan, std::chrono::milliseconds interdigit, Statistics& statistics)
      : plan_(std::move(plan)), interdigit_(interdigit), statistics_(statistics) {}

  // Carries out an event, and returns the answer.
  std::string handle(Event event, const timeval& now);

  // Decides the lines whose inter-digit time has run out. The line card that dialled last gets the outcome.
  std::vector<Notice> handle_timeouts(const timeval& now);

  std::optional<timeval> next_deadline() const { return lines_.next_deadline(); }

  // Lines that are collecting digits keep them; their next digit, or time-out, is judged by the new plan.
  void change_plan(DialPlan plan) { plan_ = std::move(plan); }

  const DialPlan& plan() const { return plan_; }
  const Lines& lines() const { return lines_; }

 private:
  enum class Time { kLeft, kOver };

  std::string lift(uint8_t line);
  std::string hang_up(uint8_t line);
  std::string dial(Event& event, const timeval& now);
  Verdict ask_plan(uint8_t line, const std::string& digits, Time time) const;
  std::string decide(uint8_t line, Call& call, const Verdict& verdict);
  std::string refuse(const std::string& why);

  DialPlan plan_;
  std::chrono::milliseconds interdigit_;
  Statistics& statistics_;
  Lines lines_;
};

}  // namespace phoned

#endif
