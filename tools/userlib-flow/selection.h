// Selects the records to show.
#ifndef TOOLS_USERLIB_FLOW_SELECTION_H
#define TOOLS_USERLIB_FLOW_SELECTION_H

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "record.h"

namespace flow_tool {

// A time from the command line: a date with a time, or a time on the day on which the log begins.
struct Moment {
  std::optional<Time> time;
  Time of_day = 0;

  // "09:04", "09:04:07", "09:04:07.042", the same after "2026-03-05 ", or "Mar  5 09:04:07"; none for other texts.
  static std::optional<Moment> read(std::string_view text, time_t now);

  Time on_day_of(Time day) const;
};

// A call of a subscriber, by its number in the log, from 1.
struct Call {
  uint32_t line = 0;
  uint32_t number = 1;
};

struct Choice {
  std::vector<std::string> modules;  // empty: any
  uint32_t types = UINT32_MAX;       // a bit per type, as in a mask; the next bit for lines without a type
  std::optional<uint32_t> line;
  std::optional<Moment> since;
  std::optional<Moment> until;
  std::optional<std::string> around;
  size_t context = 10;  // records before and after a match of `around`
  std::optional<Call> call;
};

// Whether a record is about a subscriber's line: its message begins with the number, or its text names the line.
bool is_about_line(const Record& record, uint32_t line);

class Selection {
 public:
  using Sink = std::function<void(const Record&)>;

  // The sink gets the selected records in order. With `around`, also records that were read before a match.
  Selection(Choice choice, Sink sink) : choice_(std::move(choice)), sink_(std::move(sink)) {}

  void take(const Record& record);

  // Whether no later record can be selected.
  bool is_complete() const { return stage_ == Stage::kOver; }

 private:
  enum class Stage : uint8_t { kBefore, kOffHook, kOnHook, kOver };

  bool is_in_time(const Record& record);
  bool suits(const Record& record) const;
  bool is_of_line(const Record& record);
  bool is_of_call(const Record& record);
  void take_around(const Record& record);

  Choice choice_;
  Sink sink_;
  std::optional<Time> since_;
  std::optional<Time> until_;
  Stage stage_ = Stage::kBefore;
  bool is_of_line_ = false;  // of the last record that was not a dump
  uint32_t calls_ = 0;
  std::string caller_;  // the sender of the message that began the call
  std::deque<KeptRecord> before_;
  size_t still_around_ = 0;
};

}  // namespace flow_tool

#endif
