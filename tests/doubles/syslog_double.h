// Stands in for the system log.
#ifndef TESTS_SUPPORT_SYSLOG_DOUBLE_H
#define TESTS_SUPPORT_SYSLOG_DOUBLE_H

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace support {

// One line as the log got it: openlog(ident, option, facility), syslog(priority, text), closelog(), in this order.
struct SyslogLine {
  std::optional<std::string> ident;  // empty: a null pointer
  int option = 0;
  int facility = 0;
  int priority = 0;
  std::string text;

  bool operator==(const SyslogLine&) const = default;
};

std::ostream& operator<<(std::ostream& out, const SyslogLine& line);

// The test program defines openlog(), syslog() and closelog() itself, so that nothing reaches the machine's log. While
// a double lives it keeps the lines; a line that was not opened and closed for itself fails the test, or, where the
// test says so, one that was.
class SyslogDouble {
 public:
  enum class Opening { kForEachLine, kNever };

  explicit SyslogDouble(Opening opening = Opening::kForEachLine);
  ~SyslogDouble();
  SyslogDouble(const SyslogDouble&) = delete;
  SyslogDouble& operator=(const SyslogDouble&) = delete;

  // The lines since the last call, in their order.
  std::vector<SyslogLine> take();
};

}  // namespace support

#endif
