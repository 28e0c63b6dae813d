// phoned's datagrams, compared with a simple model of the lines. The first line of an input is the dial plan. A further
// line "@100" lets 100 milliseconds pass; the others are datagrams, those after a ">" from another line card.
#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "models/digitmap_model.h"
#include "phoned/core/dial_layer.h"
#include "phoned/core/text.h"
#include "userlib.hpp"

namespace {

using phoned::DialLayer;
using phoned::DialPlan;
using phoned::Verdict;
using std::chrono::milliseconds;
using support::DigitMapModel;

constexpr milliseconds kInterdigit{4000};
constexpr char kPlan[] = "110|11T|12|12x|0x.T|[2-9]xxx";
constexpr char kDigits[] = "0123456789ABCD#*";

// ---- plans ----

bool is_plan(std::string_view text) {
  DigitMapModel model;
  bool is_empty = true;
  std::string rest = std::string(text) + "|";
  while (!rest.empty()) {
    const size_t bar = rest.find('|');
    std::string pattern = rest.substr(0, bar);
    std::erase_if(pattern, [](char c) { return std::string_view(" \t\r()").find(c) != std::string_view::npos; });
    if (pattern.size() > 100 || pattern.find('\0') != std::string::npos ||
        (!pattern.empty() && !model.add_map(pattern))) {
      return false;
    }
    is_empty = is_empty && pattern.empty();
    rest.erase(0, bar + 1);
  }
  return !is_empty && text.size() <= 4096;
}

std::optional<DialPlan> read_plan(std::string_view text) {
  std::optional<DialPlan> plan;
  try {
    plan.emplace(text);
  } catch (const phoned::Error&) {
  }
  FUZZ_CHECK(plan.has_value() == is_plan(text));
  return plan;
}

// A plan in the digit map's model, which is skipped if it takes too long.
class PlanModel {
 public:
  explicit PlanModel(const DialPlan& plan) : plan_(plan) {
    for (const std::string& pattern : plan.patterns()) {
      all_.add_map(pattern);
    }
  }

  Verdict check(const std::string& digits) const {
    return all_.expansions(digits.size()) > kMostExpansions ? plan_.check(digits) : verdict(all_, digits, 0);
  }

  Verdict check_at_timeout(const std::string& digits) const {
    if (all_.expansions(digits.size()) > kMostExpansions) {
      return plan_.check_at_timeout(digits);
    }
    DigitMapModel complete;
    for (const DigitMapModel::Pattern& pattern : all_.patterns()) {
      DigitMapModel alone;
      alone.add_map(pattern.text);
      if (alone.check(0, digits, 1, nullptr, 0) == 1) {
        complete.add_map(pattern.text);
      }
    }
    const Verdict outcome = verdict(complete, digits, 1);
    return outcome.kind == Verdict::Kind::kMore ? Verdict{Verdict::Kind::kReject, {}} : outcome;
  }

 private:
  static constexpr double kMostExpansions = 500;

  static Verdict verdict(const DigitMapModel& model, const std::string& digits, uint32_t timer) {
    std::array<char, 128> pattern = {};
    switch (model.check(1, digits, timer, pattern.data(), pattern.size())) {
      case 0:
        return {Verdict::Kind::kMore, {}};
      case 1:
        return {Verdict::Kind::kComplete, pattern.data()};
      default:
        return {Verdict::Kind::kReject, {}};
    }
  }

  const DialPlan& plan_;
  DigitMapModel all_;
};

// ---- datagrams ----

struct Event {
  uint8_t line = 0;
  std::string word;
  std::string digits;
};

std::vector<std::string> words_of(std::string_view text) {
  std::vector<std::string> words;
  std::string word;
  for (const char c : std::string(text) + " ") {
    if (c != ' ') {
      word += c;
    } else if (!word.empty()) {
      words.push_back(std::exchange(word, {}));
    }
  }
  return words;
}

std::optional<uint8_t> line_number(const std::string& word) {
  if (word.find_first_not_of("0123456789") != std::string::npos) {
    return std::nullopt;
  }
  unsigned number = 0;
  for (const char c : word) {
    number = std::min(number * 10 + static_cast<unsigned>(c - '0'), 1000U);
  }
  return number <= 255 ? std::optional(static_cast<uint8_t>(number)) : std::nullopt;
}

std::optional<Event> event_of(std::string_view datagram) {
  const bool is_text = std::all_of(datagram.begin(), datagram.end(), [](char c) { return c >= ' ' && c <= '~'; });
  const std::vector<std::string> words = words_of(datagram);
  if (!is_text || datagram.size() > 1024 || words.size() < 2) {
    return std::nullopt;
  }
  const auto line = line_number(words[0]);
  const bool is_hook = words[1] == "offhook" || words[1] == "onhook";
  if (!line || (is_hook ? words.size() != 2 : (words[1] != "digit" && words[1] != "dial") || words.size() != 3)) {
    return std::nullopt;
  }
  if (is_hook) {
    return Event{*line, words[1], {}};
  }
  const bool is_one_too_many = words[1] == "digit" && words[2].size() != 1;
  if (is_one_too_many || words[2].find_first_not_of(kDigits) != std::string::npos) {
    return std::nullopt;
  }
  return Event{*line, words[1], words[2]};
}

// ---- the lines ----

class Model {
 public:
  explicit Model(const DialPlan& plan) : plan_(plan) {}

  phoned::Statistics statistics;

  // Returns the answer, or nothing if it is an error.
  std::optional<std::string> handle(std::string_view datagram, uint16_t port, int64_t now) {
    ++statistics.datagrams;
    const auto event = event_of(datagram);
    auto answer = event ? carry_out(*event, port, now) : std::nullopt;
    statistics.errors += answer ? 0 : 1;
    return answer;
  }

  // Returns the due outcomes, each with the port that it is sent to.
  std::vector<std::pair<uint16_t, std::string>> outcomes(int64_t now) {
    std::vector<std::pair<uint16_t, std::string>> due;
    for (auto& [number, line] : lines_) {
      if (line.deadline && *line.deadline <= now) {
        ++statistics.timeouts;
        due.emplace_back(line.port, decide(number, line, plan_.check_at_timeout(line.digits)));
      }
    }
    return due;
  }

  std::optional<int64_t> next_deadline() const {
    std::optional<int64_t> next;
    for (const auto& [number, line] : lines_) {
      if (line.deadline && (!next || *line.deadline < *next)) {
        next = line.deadline;
      }
    }
    return next;
  }

  size_t busy() const { return lines_.size(); }

 private:
  struct Line {
    std::string digits;
    bool is_decided = false;
    std::optional<int64_t> deadline;
    uint16_t port = 0;
  };

  std::optional<std::string> carry_out(const Event& event, uint16_t port, int64_t now) {
    const std::string name = std::to_string(event.line) + " ";
    if (event.word == "onhook") {
      lines_.erase(event.line);
      return name + "idle";
    }
    if (event.word == "offhook") {
      return lines_.try_emplace(event.line).second ? std::optional(name + "ready") : std::nullopt;
    }
    const auto found = lines_.find(event.line);
    if (found == lines_.end() || found->second.is_decided) {
      return std::nullopt;
    }
    Line& line = found->second;
    line.port = port;
    for (const char digit : event.digits) {
      if (line.digits.size() == 32) {
        return decide(event.line, line, {Verdict::Kind::kReject, {}});
      }
      line.digits += digit;
      const Verdict verdict = plan_.check(line.digits);
      if (verdict.kind != Verdict::Kind::kMore) {
        return decide(event.line, line, verdict);
      }
    }
    line.deadline = now + kInterdigit.count();
    return name + "more " + line.digits;
  }

  std::string decide(uint8_t number, Line& line, const Verdict& verdict) {
    line.is_decided = true;
    line.deadline.reset();
    const std::string name = std::to_string(number) + " ";
    if (verdict.kind == Verdict::Kind::kComplete) {
      ++statistics.complete;
      return name + "complete " + line.digits + " " + verdict.pattern;
    }
    ++statistics.rejected;
    return name + "reject " + line.digits;
  }

  const PlanModel plan_;
  std::map<uint8_t, Line> lines_;
};

// phoned's dial layer and the model, with the same clock.
class Twins {
 public:
  explicit Twins(const std::string& plan) : layer_(*read_plan(plan), kInterdigit, statistics_), model_(layer_.plan()) {}

  void datagram(std::string_view bytes, uint16_t port) {
    FUZZ_CHECK(!phoned::looks_like_answer(bytes) || !event_of(bytes));
    if (bytes.empty()) {
      return;
    }
    sockaddr_in sender = {};
    sender.sin_port = htons(port);
    userlib::Frame frame = userlib::Frame::copy_of(bytes);
    phoned::Event event = userlib::can_be_bridged(bytes.size())
                              ? phoned::parse_event(frame, sender)
                              : phoned::Event(phoned::Event::Kind::kBad, 0, sender, "datagram of that size");
    const std::string answer = layer_.handle(std::move(event), time());
    const auto expected = model_.handle(bytes, port, now_);
    FUZZ_CHECK(expected ? answer == *expected : answer.starts_with("error "));
    FUZZ_CHECK(userlib::can_be_bridged(answer.size()) && phoned::looks_like_answer(answer));
    FUZZ_CHECK(std::all_of(answer.begin(), answer.end(), [](char c) { return c >= ' ' && c <= '~'; }));
    compare();
  }

  void pass(int64_t time_passed) {
    now_ += time_passed;
    const auto expected = model_.outcomes(now_);
    const std::vector<phoned::Notice> notices = layer_.handle_timeouts(time());
    FUZZ_CHECK(notices.size() == expected.size());
    for (size_t i = 0; i < notices.size(); ++i) {
      FUZZ_CHECK(ntohs(notices[i].card.sin_port) == expected[i].first);
      FUZZ_CHECK(notices[i].text == expected[i].second && phoned::looks_like_answer(notices[i].text));
    }
    compare();
  }

 private:
  timeval time() const { return userlib::later({1000, 0}, milliseconds(now_)); }

  void compare() const {
    FUZZ_CHECK(statistics_ == model_.statistics);
    FUZZ_CHECK(layer_.lines().busy() == model_.busy());
    const auto deadline = layer_.next_deadline();
    const auto expected = model_.next_deadline();
    FUZZ_CHECK(deadline.has_value() == expected.has_value());
    FUZZ_CHECK(!deadline || (deadline->tv_sec - 1000) * 1000 + deadline->tv_usec / 1000 == *expected);
  }

  int64_t now_ = 0;
  phoned::Statistics statistics_;
  DialLayer layer_;
  Model model_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  const std::string plan(input.line());
  Twins twins(read_plan(plan) ? plan : kPlan);
  while (!input.empty()) {
    std::string_view line = input.line();
    if (line.starts_with('@')) {
      twins.pass(std::abs(std::atoi(std::string(line.substr(1, 5)).c_str())));
    } else if (line.starts_with('>')) {
      twins.datagram(line.substr(1), 2);
    } else {
      twins.datagram(line, 1);
    }
  }
  return 0;
}
