// Sets the time zone of the process.
#ifndef TESTS_DOUBLES_TIME_ZONE_H
#define TESTS_DOUBLES_TIME_ZONE_H

#include <optional>
#include <string>

namespace support {

// Sets the environment variable TZ to the rule, or removes it if the rule is null. The destructor restores it.
class TimeZone {
 public:
  explicit TimeZone(const char* rule = "UTC0");
  ~TimeZone();
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

  // The value of TZ, if it exists.
  static std::optional<std::string> current();

 private:
  std::optional<std::string> saved_;
};

// Sets TZ to another name of UTC, so that cached dates become invalid.
void rename_utc();

}  // namespace support

#endif
