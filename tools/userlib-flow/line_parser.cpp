#include "line_parser.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace flow_tool {

namespace {

using Place = Surroundings::Place;

constexpr int kFacilityShift = 3;
constexpr Time kLastTime = Time{253'402'300'799} * kSecond;  // of the year 9999

bool has_prefix(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Takes the text up to the next blank, and the blank.
std::string_view take_word(std::string_view& text) {
  const size_t end = std::min(text.find(' '), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return word;
}

template <typename Number>
std::optional<Number> number_of(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// ":042" after a time stamp of the console, in milliseconds.
std::optional<int> take_milliseconds(std::string_view& text) {
  constexpr size_t kLength = 4;
  if (text.size() < kLength || text[0] != ':' || !is_digit(text[1]) || !is_digit(text[2]) || !is_digit(text[3])) {
    return std::nullopt;
  }
  const auto milliseconds = number_of<int>(text.substr(1, 3));
  text.remove_prefix(kLength);
  return milliseconds;
}

constexpr std::array<std::string_view, 24> kFacilities = {"kern",   "user",   "mail",   "daemon", "auth",     "syslog",
                                                          "lpr",    "news",   "uucp",   "cron",   "authpriv", "ftp",
                                                          "ntp",    "audit",  "alert",  "clock",  "local0",   "local1",
                                                          "local2", "local3", "local4", "local5", "local6",   "local7"};
constexpr std::array<std::string_view, 8> kSeverities = {"emerg",   "alert",  "crit", "err",
                                                         "warning", "notice", "info", "debug"};

template <size_t kSize>
std::optional<int> place_in(const std::array<std::string_view, kSize>& names, std::string_view name) {
  const auto* found = std::find(names.begin(), names.end(), name);
  return found != names.end() ? std::optional(static_cast<int>(found - names.begin())) : std::nullopt;
}

// "user.notice", with the blank that follows.
bool take_priority(std::string_view& text, Surroundings& surroundings) {
  const size_t dot = text.find('.');
  const size_t end = text.find(' ');
  if (end == std::string_view::npos || dot >= end) {
    return false;
  }
  const auto facility = place_in(kFacilities, text.substr(0, dot));
  const auto severity = place_in(kSeverities, text.substr(dot + 1, end - dot - 1));
  if (!facility || !severity) {
    return false;
  }
  surroundings.facility = facility;
  surroundings.severity = severity;
  text.remove_prefix(end + 1);
  return true;
}

// "phoned[7]" or "phoned".
void read_tag(std::string_view tag, Surroundings& surroundings, Record& record) {
  record.ident = tag;
  const size_t bracket = tag.rfind('[');
  if (tag.empty() || tag.back() != ']' || bracket == std::string_view::npos) {
    return;
  }
  if (const auto pid = number_of<uint32_t>(tag.substr(bracket + 1, tag.size() - bracket - 2))) {
    record.ident = tag.substr(0, bracket);
    record.pid = *pid;
    surroundings.has_pid = true;
  }
}

// After the header of RFC 5424: "-", or elements in brackets, in whose values a backslash escapes quotes and brackets.
void skip_structured_data(std::string_view& text) {
  if (has_prefix(text, "-")) {
    text.remove_prefix(1);
  }
  while (has_prefix(text, "[")) {
    size_t end = 1;
    bool is_quoted = false;
    for (; end < text.size() && (is_quoted || text[end] != ']'); ++end) {
      if (text[end] == '\\' && is_quoted) {
        ++end;
      } else if (text[end] == '"') {
        is_quoted = !is_quoted;
      }
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (has_prefix(text, " ")) {
    text.remove_prefix(1);
  }
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (has_prefix(text, kByteOrderMark)) {
    text.remove_prefix(kByteOrderMark.size());
  }
}

}  // namespace

Verdict LineParser::parse(std::string_view line, Record& record) {
  record = Record();
  record.line = line;
  if (line.empty()) {
    return Verdict::kForeign;
  }
  std::string_view text = line;
  if (is_digit(line[0])) {
    record.time = calendar_.take_iso(text);
    if (record.time == kNoTime || !has_prefix(text, " ")) {
      return Verdict::kForeign;
    }
    return parse_tagged(text.substr(1), {}, record);
  }
  if (line[0] == '{') {
    return parse_json(line, record);
  }
  if (line[0] == '<') {
    return parse_protocol(line.substr(1), record);
  }
  record.time = calendar_.take_stamp(text);
  if (record.time != kNoTime) {
    return parse_stamped(text, record);
  }
  Surroundings surroundings;
  return take_priority(text, surroundings) ? parse_tagged(text, surroundings, record) : Verdict::kForeign;
}

Verdict LineParser::parse_stamped(std::string_view text, Record& record) {
  if (const auto milliseconds = take_milliseconds(text)) {
    record.time += *milliseconds * Time{1000};
    return parse_console(text, record);
  }
  if (has_prefix(text, ":")) {
    return read_trace_line(text.substr(1), {Place::kPlainConsole, {}, {}, false}, record);
  }
  record.time += take_fraction(text);
  return has_prefix(text, " ") ? parse_tagged(text.substr(1), {}, record) : Verdict::kForeign;
}

Verdict LineParser::parse_console(std::string_view text, Record& record) {
  if (has_prefix(text, ": ")) {
    return read_trace_line(text.substr(2), {Place::kConsole, {}, {}, false}, record);
  }
  if (has_prefix(text, ":")) {
    return read_trace_line(text.substr(1), {Place::kConsole, {}, {}, false}, record);
  }
  if (has_prefix(text, " ")) {
    record.kind = Kind::kStatus;
    record.text = text.substr(1);
    return Verdict::kTrace;
  }
  return text.empty() ? Verdict::kBroken : Verdict::kForeign;
}

// Before the message, a log has any of host, priority and tag.
Verdict LineParser::parse_tagged(std::string_view text, Surroundings surroundings, Record& record) {
  if (!surroundings.severity) {
    std::string_view behind_host = text;
    const std::string_view host = take_word(behind_host);
    if (!host.empty() && host.back() != ':') {
      text = behind_host;
      take_priority(text, surroundings);
    }
  }
  const size_t end = text.find(':');
  if (end == std::string_view::npos) {
    record.text = text;
    return Verdict::kForeign;
  }
  read_tag(text.substr(0, end), surroundings, record);
  text.remove_prefix(end + 1);
  text.remove_prefix(has_prefix(text, " ") ? 1 : 0);
  return parse_message(text, surroundings, record);
}

// With the system log off, the line about an unregistered module has a time of its own.
Verdict LineParser::parse_message(std::string_view text, const Surroundings& surroundings, Record& record) {
  std::string_view behind = text;
  if (calendar_.take_stamp(behind) != kNoTime && take_milliseconds(behind) &&
      has_prefix(behind, ":error:sysloglevel")) {
    text = behind.substr(1);
  }
  return read_trace_line(text, surroundings, record);
}

Verdict LineParser::parse_protocol(std::string_view text, Record& record) {
  const size_t end = text.find('>');
  const auto priority = number_of<int>(text.substr(0, end));
  if (!priority || end == std::string_view::npos || *priority < 0 || !has_prefix(text.substr(end), ">1 ")) {
    return Verdict::kForeign;
  }
  text.remove_prefix(end + 3);
  record.time = calendar_.take_iso(text);
  if (record.time == kNoTime || !has_prefix(text, " ")) {
    return Verdict::kForeign;
  }
  text.remove_prefix(1);
  take_word(text);  // the host
  record.ident = take_word(text);
  const auto pid = number_of<uint32_t>(take_word(text));
  record.pid = pid.value_or(0);
  take_word(text);  // the id of the message
  skip_structured_data(text);
  // rsyslog keeps the blank after the tag of messages received by the old protocol.
  text.remove_prefix(has_prefix(text, " ") ? 1 : 0);
  const Surroundings surroundings = {Place::kLog, *priority >> kFacilityShift, *priority & LOG_PRIMASK,
                                     pid.has_value()};
  return parse_message(text, surroundings, record);
}

Verdict LineParser::parse_json(std::string_view line, Record& record) {
  if (!read_journal_entry(line, entry_)) {
    return line.find("\"MESSAGE\"") != std::string_view::npos ? Verdict::kBroken : Verdict::kForeign;
  }
  const auto time = number_of<Time>(entry_.time);
  record.time = time && *time >= 0 && *time <= kLastTime ? *time : kNoTime;
  record.ident = entry_.ident;
  const auto pid = number_of<uint32_t>(entry_.pid.empty() ? entry_.sender_pid : entry_.pid);
  record.pid = pid.value_or(0);
  const Surroundings surroundings = {Place::kLog, number_of<int>(entry_.facility), number_of<int>(entry_.priority),
                                     !entry_.pid.empty()};
  return parse_message(entry_.message, surroundings, record);
}

}  // namespace flow_tool
