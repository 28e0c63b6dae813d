#include "doubles/time_zone.h"

#include <time.h>

#include <cstdlib>

namespace support {
namespace {

void set(const char* rule) {
  if (rule != nullptr) {
    setenv("TZ", rule, /*overwrite=*/1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

}  // namespace

TimeZone::TimeZone(const char* rule) : saved_(current()) {
  set(rule);
}

TimeZone::~TimeZone() {
  set(saved_.has_value() ? saved_->c_str() : nullptr);
}

std::optional<std::string> TimeZone::current() {
  const char* rule = std::getenv("TZ");
  return rule != nullptr ? std::optional<std::string>(rule) : std::nullopt;
}

void rename_utc() {
  setenv("TZ", TimeZone::current() == "UTC0" ? "UTC+0" : "UTC0", /*overwrite=*/1);
}

}  // namespace support
