// The time zone of the process under the control of a test.
#ifndef TESTS_SUPPORT_TIME_ZONE_H
#define TESTS_SUPPORT_TIME_ZONE_H

#include <optional>
#include <string>

namespace support {

// While it lives, the environment variable TZ holds the rule (null: it does not exist), until the library changes it.
// Afterwards it is what it was.
class TimeZone {
 public:
  explicit TimeZone(const char* rule = "UTC0");
  ~TimeZone();
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

  // What TZ holds now; empty: it does not exist.
  static std::optional<std::string> current();

 private:
  std::optional<std::string> saved_;
};

// Sets TZ to UTC under another name than it has now, so that whoever keeps a date has to work it out anew.
void rename_utc();

}  // namespace support

#endif
