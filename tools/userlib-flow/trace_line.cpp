#include "trace_line.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace flow_tool {

namespace {

constexpr size_t kLongestModule = 11;  // in an init file; modules that register have at most ten characters
constexpr std::string_view kThreeBlanks = "   ";
constexpr std::string_view kNotRegistered = "Module not registered for message: ";
constexpr std::string_view kNobody = "sysloglevel";
constexpr std::string_view kNewlineInLog = "#012";

bool has_prefix(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

// Takes a decimal number of 32 bits off the front.
std::optional<uint32_t> take_number(std::string_view& text) {
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) {
    return std::nullopt;
  }
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return number;
}

// The library prints some line numbers as signed.
std::optional<uint32_t> take_signed(std::string_view& text) {
  const bool is_negative = has_prefix(text, "-");
  text.remove_prefix(is_negative ? 1 : 0);
  const auto number = take_number(text);
  return number && is_negative ? std::optional(0 - *number) : number;
}

// "NAME:12" as the whole text; a name may contain colons.
bool read_endpoint(std::string_view text, std::string_view& name, uint32_t& number) {
  const size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) {
    return false;
  }
  std::string_view digits = text.substr(colon + 1);
  const auto value = take_number(digits);
  name = text.substr(0, colon);
  number = value.value_or(0);
  return value && digits.empty();
}

// "FROM:1 -->MESSAGE--> TO:2  RX". The message is the text between the outermost arrows.
bool read_flow(std::string_view text, Record& record) {
  constexpr std::string_view kLeave = " -->";
  constexpr std::string_view kArrive = "--> ";
  constexpr size_t kDirection = 4;
  if (text.size() < kDirection) {
    return false;
  }
  const std::string_view direction = text.substr(text.size() - kDirection);
  const size_t leave = text.find(kLeave);
  const size_t arrive = text.rfind(kArrive);
  if ((direction != "  RX" && direction != "  TX") || leave == std::string_view::npos ||
      arrive == std::string_view::npos || arrive < leave + kLeave.size()) {
    return false;
  }
  const size_t to = arrive + kArrive.size();
  record.is_received = direction == "  RX";
  record.text = text.substr(leave + kLeave.size(), arrive - leave - kLeave.size());
  return to <= text.size() - kDirection && read_endpoint(text.substr(0, leave), record.from, record.from_number) &&
         read_endpoint(text.substr(to, text.size() - kDirection - to), record.to, record.to_number);
}

// "FILE:12   TEXT"
bool read_place(std::string_view text, Record& record) {
  for (size_t colon = text.find(':'); colon != std::string_view::npos; colon = text.find(':', colon + 1)) {
    std::string_view rest = text.substr(colon + 1);
    const auto line = take_signed(rest);
    if (line && has_prefix(rest, kThreeBlanks)) {
      record.file = text.substr(0, colon);
      record.source_line = *line;
      record.text = rest.substr(kThreeBlanks.size());
      return true;
    }
  }
  return false;
}

// "FILE:12:TEXT"
bool read_plain_place(std::string_view text, Record& record) {
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos) {
    return false;
  }
  std::string_view rest = text.substr(colon + 1);
  const auto line = take_signed(rest);
  if (!line || !has_prefix(rest, ":")) {
    return false;
  }
  record.file = text.substr(0, colon);
  record.source_line = *line;
  record.text = rest.substr(1);
  return true;
}

// "MODULE: REST". Returns the rest.
std::optional<std::string_view> take_module(std::string_view text, Record& record) {
  const size_t end = text.find(": ");
  if (end > kLongestModule) {
    return std::nullopt;
  }
  record.module = text.substr(0, end);
  return text.substr(end + 2);
}

bool is_hex_digit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
}

// "01 AB": 1 to 16 bytes.
bool is_hex_line(std::string_view text) {
  constexpr size_t kLongest = 47;
  if (text.size() % 3 != 2 || text.size() > kLongest) {
    return false;
  }
  for (size_t i = 0; i < text.size(); ++i) {
    if (i % 3 == 2 ? text[i] != ' ' : !is_hex_digit(text[i])) {
      return false;
    }
  }
  return true;
}

// "TITLE<separator>01 AB"; a title may contain anything.
bool read_dump(std::string_view text, std::string_view separator, Record& record) {
  const size_t end = text.rfind(separator);
  if (end == std::string_view::npos || !is_hex_line(text.substr(end + separator.size()))) {
    return false;
  }
  record.text = text.substr(0, end);
  record.hex = text.substr(end + separator.size());
  return true;
}

bool read_unregistered(std::string_view text, Record& record) {
  if (!has_prefix(text, kNobody)) {
    return false;
  }
  text.remove_prefix(kNobody.size());
  const std::string_view separator = has_prefix(text, ": ") ? std::string_view(": ") : kThreeBlanks;
  if (!has_prefix(text, separator) || !has_prefix(text.substr(separator.size()), kNotRegistered)) {
    return false;
  }
  record.kind = Kind::kUnregistered;
  record.module = kNobody;
  record.text = text.substr(separator.size() + kNotRegistered.size());
  return true;
}

// The text of a contract check ends in a newline, which each log keeps in its own way.
std::string_view without_newline(std::string_view text) {
  if (text.size() >= kNewlineInLog.size() && text.substr(text.size() - kNewlineInLog.size()) == kNewlineInLog) {
    text.remove_suffix(kNewlineInLog.size());
  }
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
    text.remove_suffix(1);
  }
  return text;
}

Verdict as(Kind kind, Record& record) {
  record.kind = kind;
  return Verdict::kTrace;
}

// Each of these gets the text after "TYPE:".

Verdict read_message(std::string_view text, Record& record) {
  if (!has_prefix(text, " ")) {
    return Verdict::kForeign;
  }
  return read_flow(text.substr(1), record) ? as(Kind::kMessage, record) : Verdict::kBroken;
}

Verdict read_report(std::string_view text, Record& record) {
  if (!read_place(text.substr(1), record)) {
    return Verdict::kForeign;  // many daemons write "error: ..."
  }
  record.text = without_newline(record.text);
  return as(Kind::kReport, record);
}

Verdict read_located(std::string_view text, Record& record) {
  if (const auto rest = take_module(text, record); rest && read_place(*rest, record)) {
    return as(Kind::kLocated, record);
  }
  record.module = {};
  if (read_plain_place(text, record)) {
    return as(Kind::kPlainLocated, record);
  }
  return has_prefix(text, " ") ? Verdict::kForeign : Verdict::kBroken;
}

Verdict read_warning(std::string_view text, Record& record) {
  return read_plain_place(text, record) ? as(Kind::kPlainLocated, record) : Verdict::kBroken;
}

Verdict read_short(std::string_view text, const Surroundings& surroundings, Record& record) {
  const size_t end = text.find(kThreeBlanks);
  if (end <= kLongestModule && surroundings.severity != LOG_ALERT &&
      surroundings.place != Surroundings::Place::kPlainConsole) {
    record.module = text.substr(0, end);
    record.text = text.substr(end + kThreeBlanks.size());
    return as(Kind::kShort, record);
  }
  if (record.type == NUV_SYSLOGLEVEL_WARNING) {
    return has_prefix(text, " ") ? Verdict::kForeign : read_warning(text, record);
  }
  const bool is_plain = surroundings.severity == LOG_ALERT || surroundings.place == Surroundings::Place::kPlainConsole;
  if (!is_plain && (surroundings.severity || has_prefix(text, " "))) {
    return has_prefix(text, " ") ? Verdict::kForeign : Verdict::kBroken;
  }
  record.text = text;
  return as(Kind::kPlainShort, record);
}

Verdict read_dump_of_module(std::string_view text, Record& record) {
  const auto rest = take_module(text, record);
  return rest && read_dump(*rest, ": ", record) ? as(Kind::kDump, record) : Verdict::kBroken;
}

Verdict read_typed(std::string_view text, const Surroundings& surroundings, Record& record) {
  switch (record.type) {
    case NUV_SYSLOGLEVEL_TRACEMF:
      return read_message(text, record);
    case NUV_SYSLOGLEVEL_DUMP:
      return read_dump_of_module(text, record);
    case NUV_SYSLOGLEVEL_INFO:
    case NUV_SYSLOGLEVEL_TRACE:
    case NUV_SYSLOGLEVEL_WARNING:
      return read_short(text, surroundings, record);
    case NUV_SYSLOGLEVEL_ERROR:
      if (read_unregistered(text, record)) {
        return Verdict::kTrace;
      }
      if (has_prefix(text, " ")) {
        return read_report(text, record);
      }
      [[fallthrough]];
    default:
      return read_located(text, record);
  }
}

// GUI output has no type, only a module and a text. If the log does not keep the priority, any first word might be a
// module.
bool may_be_gui_output(std::string_view text, const Surroundings& surroundings) {
  const size_t end = text.find(": ");
  if (end > kLongestModule) {
    return false;
  }
  if (surroundings.place == Surroundings::Place::kConsole) {
    return true;
  }
  if (surroundings.severity) {
    return surroundings.severity == LOG_ERR && surroundings.facility.value_or(LOG_USER >> 3) == LOG_USER >> 3;
  }
  return surroundings.has_pid && end > 0 && text.substr(0, end).find(' ') == std::string_view::npos;
}

bool is_status(const Surroundings& surroundings) {
  return surroundings.facility == LOG_LOCAL0 >> 3 && surroundings.severity.value_or(LOG_INFO) == LOG_INFO;
}

bool may_be_plain_dump(const Surroundings& surroundings) {
  return surroundings.place == Surroundings::Place::kPlainConsole || surroundings.severity == LOG_ALERT;
}

Verdict read_untyped(std::string_view text, const Surroundings& surroundings, Record& record) {
  record.type = kNoType;
  if (may_be_plain_dump(surroundings) && read_dump(text, ":", record)) {
    record.type = NUV_SYSLOGLEVEL_DUMP;
    return as(Kind::kPlainDump, record);
  }
  if (surroundings.place != Surroundings::Place::kPlainConsole && may_be_gui_output(text, surroundings)) {
    record.text = *take_module(text, record);
    record.type = NUV_SYSLOGLEVEL_GUIOUTPUT;
    return as(Kind::kGuiOutput, record);
  }
  record.text = text;
  return Verdict::kForeign;
}

// Compares the line only with the few types of the same initial.
Type type_in_front(std::string_view text) {
  struct Name {
    std::string_view text;
    Type type;
  };
  constexpr std::array<Name, 9> kNames = {{{"tracemf:", NUV_SYSLOGLEVEL_TRACEMF},
                                           {"trace:", NUV_SYSLOGLEVEL_TRACE},
                                           {"info:", NUV_SYSLOGLEVEL_INFO},
                                           {"debug:", NUV_SYSLOGLEVEL_DEBUG},
                                           {"dump:", NUV_SYSLOGLEVEL_DUMP},
                                           {"warning:", NUV_SYSLOGLEVEL_WARNING},
                                           {"error:", NUV_SYSLOGLEVEL_ERROR},
                                           {"tracect:", NUV_SYSLOGLEVEL_TRACECT},
                                           {"tracedo:", NUV_SYSLOGLEVEL_TRACEDO}}};
  for (const Name& name : kNames) {
    if (has_prefix(text, name.text)) {
      return name.type;
    }
  }
  return kNoType;
}

}  // namespace

Verdict read_trace_line(std::string_view text, const Surroundings& surroundings, Record& record) {
  if (is_status(surroundings)) {
    record.text = text;
    return as(Kind::kStatus, record);
  }
  record.type = type_in_front(text);
  if (record.type == kNoType) {
    return read_untyped(text, surroundings, record);
  }
  return read_typed(text.substr(text.find(':') + 1), surroundings, record);
}

}  // namespace flow_tool
