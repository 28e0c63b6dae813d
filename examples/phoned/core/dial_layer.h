// Decides what the lines have dialled. Knows neither sockets nor the clock: whoever calls it brings the datagram, its
// sender and the time, and takes the answers away.
#ifndef EXAMPLES_PHONED_CORE_DIAL_LAYER_H
#define EXAMPLES_PHONED_CORE_DIAL_LAYER_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "phoned/core/dial_plan.h"
#include "phoned/core/event_message.h"
#include "phoned/core/lines.h"
#include "phoned/core/owned_frame.h"
#include "phoned/core/protocol.h"
#include "phoned/core/statistics.h"

namespace phoned {

// What is said without having been asked for.
struct Notice {
  sockaddr_in peer;
  std::string text;
};

class DialLayer {
 public:
  // A line takes this many digits. One more, while they are not decided, and they are rejected.
  static constexpr size_t kMaxDigits = 32;

  DialLayer(DialPlan plan, std::chrono::milliseconds interdigit) : plan_(std::move(plan)), interdigit_(interdigit) {}

  // Carries out what a datagram says, and answers it.
  std::string handle(OwnedFrame& datagram, const sockaddr_in& sender, const timeval& now);

  // Answers a datagram that is too long to be read.
  std::string refuse_size(size_t size);

  // Decides the lines whose inter-digit time has run out; each outcome goes to the peer that dialled last on the line.
  std::vector<Notice> handle_timeouts(const timeval& now);

  // When the time of some line runs out next.
  std::optional<timeval> next_deadline() const { return lines_.next_deadline(); }

  // Lines that are collecting digits go on with them; the next digit, or the end of their time, meets the new plan.
  void change_plan(DialPlan plan) { plan_ = std::move(plan); }

  const DialPlan& plan() const { return plan_; }
  const Lines& lines() const { return lines_; }
  const Statistics& statistics() const { return statistics_; }

 private:
  std::string carry_out(EventMessage& message, const sockaddr_in& sender, const timeval& now);
  std::string lift(uint8_t number);
  std::string hang_up(uint8_t number);
  std::string dial(EventMessage& message, const sockaddr_in& sender, const timeval& now);
  std::string wait_for_more(uint8_t number, Call& call, const timeval& now);
  std::string decide(uint8_t number, Call& call, const Verdict& verdict);
  std::string refuse(const std::string& why);

  DialPlan plan_;
  std::chrono::milliseconds interdigit_;
  Lines lines_;
  Statistics statistics_;
};

}  // namespace phoned

#endif
