// Parses one line of a log, in any known format.
#ifndef TOOLS_USERLIB_FLOW_LINE_PARSER_H
#define TOOLS_USERLIB_FLOW_LINE_PARSER_H

#include <string_view>

#include "calendar.h"
#include "journal_entry.h"
#include "record.h"
#include "trace_line.h"

namespace flow_tool {

// Recognises these formats by the line itself:
//
//     Mar  5 09:04:07:042:info:Line   text                                    the console
//     Mar  5 09:04:07:info:text                                               the console of the plain logger
//     Mar  5 09:04:07 host user.notice phoned[7]: info:Line   text            busybox syslogd
//     Mar  5 09:04:07 phoned[7]: info:Line   text                             the same with -S
//     Mar  5 09:04:07 host phoned[7]: info:Line   text                        rsyslog's traditional format
//     2026-03-05T09:04:07.042123+01:00 host phoned[7]: info:Line   text       rsyslog's own format
//     <13>1 2026-03-05T09:04:07.042123+01:00 host phoned 7 - - info:Line...   rsyslog's RFC 5424 format
//     Mar 05 09:04:07 host phoned[7]: info:Line   text                        journalctl -o short, short-precise
//     2026-03-05T09:04:07+0100 host phoned[7]: info:Line   text               journalctl -o short-iso, ...
//     {"MESSAGE":"info:Line   text",...}                                      journalctl -o json
//     user.notice phoned[7]: info:Line   text                                 a log without times
class LineParser {
 public:
  explicit LineParser(time_t now) : calendar_(now) {}

  // The record's texts are valid as long as the line is, and until the next call. A foreign line gives the time, the
  // ident and the text, if it has them.
  Verdict parse(std::string_view line, Record& record);

 private:
  Verdict parse_json(std::string_view line, Record& record);
  Verdict parse_protocol(std::string_view text, Record& record);
  Verdict parse_stamped(std::string_view text, Record& record);
  Verdict parse_console(std::string_view text, Record& record);
  Verdict parse_tagged(std::string_view text, Surroundings surroundings, Record& record);
  Verdict parse_message(std::string_view text, const Surroundings& surroundings, Record& record);

  Calendar calendar_;
  JournalEntry entry_;
};

}  // namespace flow_tool

#endif
