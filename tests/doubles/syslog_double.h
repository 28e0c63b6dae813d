// A test double of the system log.
#ifndef TESTS_DOUBLES_SYSLOG_DOUBLE_H
#define TESTS_DOUBLES_SYSLOG_DOUBLE_H

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace support {

// One line, logged by openlog(ident, option, facility), syslog(priority, text) and closelog().
struct SyslogLine {
  std::optional<std::string> ident;  // empty: a null pointer
  int option = 0;
  int facility = 0;
  int priority = 0;
  std::string text;

  bool operator==(const SyslogLine&) const = default;
};

std::ostream& operator<<(std::ostream& out, const SyslogLine& line);

// The test program defines openlog(), syslog() and closelog() itself, so nothing reaches the machine's log. An instance
// records the lines. With kForEachLine, a line without its own openlog() and closelog() fails the test; with kNever,
// one with them does.
class SyslogDouble {
 public:
  enum class Opening { kForEachLine, kNever };

  explicit SyslogDouble(Opening opening = Opening::kForEachLine);
  ~SyslogDouble();
  SyslogDouble(const SyslogDouble&) = delete;
  SyslogDouble& operator=(const SyslogDouble&) = delete;

  // Returns the lines since the last call, in order.
  std::vector<SyslogLine> take();
};

}  // namespace support

#endif
