#include "selection.h"

#include <algorithm>
#include <charconv>

namespace flow_tool {

namespace {

constexpr std::string_view kLifted = "offhook";
constexpr std::string_view kHungUp = "onhook";

constexpr bool is_word_character(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Whether the text contains the word as a whole word.
bool has_word(std::string_view text, std::string_view word) {
  for (size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
    const size_t end = at + word.size();
    const bool begins = at == 0 || !is_word_character(text[at - 1]);
    if (begins && (end == text.size() || !is_word_character(text[end]))) {
      return true;
    }
  }
  return false;
}

// "09", "09:04", "09:04:07" or "09:04:07.042", as the time since midnight.
std::optional<Time> read_clock(std::string_view text) {
  std::string date = "1970-01-01T";
  date += text;
  date += text.size() == 5 ? ":00Z" : "Z";
  std::string_view rest = date;
  const Time time = Calendar(0).take_iso(rest);
  return time != kNoTime && rest.empty() ? std::optional(time) : std::nullopt;
}

}  // namespace

std::optional<Moment> Moment::read(std::string_view text, time_t now) {
  if (const auto clock = read_clock(text)) {
    return Moment{{}, *clock};
  }
  const bool lacks_seconds = text.size() == 16 && text[4] == '-';
  const std::string whole = std::string(text) + (lacks_seconds ? ":00" : "");
  for (const auto take : {&Calendar::take_iso, &Calendar::take_stamp}) {
    std::string_view rest = whole;
    Calendar calendar(now);
    const Time time = (calendar.*take)(rest);
    if (time != kNoTime && rest.empty()) {
      return Moment{time, 0};
    }
  }
  return std::nullopt;
}

Time Moment::on_day_of(Time day) const {
  if (time) {
    return *time;
  }
  const auto seconds = static_cast<time_t>(day / kSecond);
  tm parts = {};
  localtime_r(&seconds, &parts);
  parts.tm_hour = static_cast<int>(of_day / kSecond / 3600);
  parts.tm_min = static_cast<int>(of_day / kSecond / 60 % 60);
  parts.tm_sec = static_cast<int>(of_day / kSecond % 60);
  parts.tm_isdst = -1;
  return mktime(&parts) * kSecond + of_day % kSecond;
}

bool is_about_line(const Record& record, uint32_t line) {
  const std::string number = std::to_string(line);
  if (record.kind == Kind::kMessage) {
    return subject_of_message(record.text) == number;
  }
  return has_word(record.text, "line " + number) || record.text.find("'" + number + " ") != std::string_view::npos;
}

bool Selection::is_in_time(const Record& record) {
  if (record.time == kNoTime) {
    return !choice_.since && !choice_.until;
  }
  if (choice_.since && !since_) {
    since_ = choice_.since->on_day_of(record.time);
  }
  if (choice_.until && !until_) {
    until_ = choice_.until->on_day_of(record.time);
  }
  return (!since_ || record.time >= *since_) && (!until_ || record.time <= *until_);
}

bool Selection::suits(const Record& record) const {
  if ((choice_.types >> record.type & 1) == 0) {
    return false;
  }
  const auto is_chosen = [this](std::string_view name) {
    return std::find(choice_.modules.begin(), choice_.modules.end(), name) != choice_.modules.end();
  };
  // A message has no module; its sender and receiver stand in for it.
  return choice_.modules.empty() ||
         (record.kind == Kind::kMessage ? is_chosen(record.from) || is_chosen(record.to) : is_chosen(record.module));
}

// A dump does not name a line by itself; it belongs to the record before it.
bool Selection::is_of_line(const Record& record) {
  if (record.kind != Kind::kDump && record.kind != Kind::kPlainDump) {
    is_of_line_ = (!choice_.line || is_about_line(record, *choice_.line)) && (!choice_.call || is_of_call(record));
  }
  return is_of_line_ || (!choice_.line && !choice_.call);
}

// A call begins with the message that the receiver was lifted, and ends when its sender gets the answer to the message
// that it was put back.
bool Selection::is_of_call(const Record& record) {
  if (stage_ == Stage::kOver || !is_about_line(record, choice_.call->line)) {
    return false;
  }
  const bool is_message = record.kind == Kind::kMessage;
  const std::string_view name = is_message ? name_of_message(record.text) : std::string_view();
  const bool begins = name == kLifted && stage_ != Stage::kOffHook;
  if (begins && calls_ == choice_.call->number) {
    stage_ = Stage::kOver;
    return false;
  }
  if (begins) {
    stage_ = Stage::kOffHook;
    caller_ = record.from;
    ++calls_;
  } else if (name == kHungUp) {
    stage_ = Stage::kOnHook;
  }
  const bool is_wanted = stage_ != Stage::kBefore && calls_ == choice_.call->number;
  if (stage_ == Stage::kOnHook && is_message && record.to == caller_) {
    stage_ = is_wanted ? Stage::kOver : Stage::kBefore;
  }
  return is_wanted;
}

void Selection::take_around(const Record& record) {
  if (record.line.find(*choice_.around) != std::string_view::npos) {
    for (const KeptRecord& earlier : before_) {
      sink_(earlier.get());
    }
    before_.clear();
    still_around_ = choice_.context + 1;
  }
  if (still_around_ > 0) {
    --still_around_;
    sink_(record);
    return;
  }
  if (before_.size() == choice_.context && !before_.empty()) {
    before_.pop_front();
  }
  if (choice_.context > 0) {
    before_.emplace_back(record);
  }
}

void Selection::take(const Record& record) {
  if (!is_in_time(record) || !suits(record) || !is_of_line(record)) {
    return;
  }
  if (choice_.around) {
    take_around(record);
  } else {
    sink_(record);
  }
}

}  // namespace flow_tool
