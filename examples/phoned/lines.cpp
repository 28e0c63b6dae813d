#include "phoned/lines.h"

#include "nuv_time.h"
#include "phoned/clock.h"

namespace phoned {

std::optional<timeval> Lines::next_deadline() const {
  std::optional<timeval> first;
  for (const Line& line : lines_) {
    if (line.deadline && (!first || NUV_timeval_cmp(&*line.deadline, &*first) < 0)) {
      first = line.deadline;
    }
  }
  return first;
}

std::vector<uint8_t> Lines::overdue(const timeval& now) const {
  std::vector<uint8_t> numbers;
  for (size_t number = 0; number < lines_.size(); ++number) {
    const auto& deadline = lines_[number].deadline;
    if (deadline && is_reached(*deadline, now)) {
      numbers.push_back(static_cast<uint8_t>(number));
    }
  }
  return numbers;
}

}  // namespace phoned
