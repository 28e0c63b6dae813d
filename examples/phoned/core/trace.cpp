#include "phoned/core/trace.h"

#include <cerrno>
#include <cinttypes>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "phoned/core/dial_plan.h"
#include "phoned/core/file.h"
#include "phoned/core/text.h"

namespace phoned::trace {

namespace {

constexpr char kIdent[] = "phoned";

constexpr uint32_t kOut = 0;
constexpr uint32_t kIn = 1;

// A message as far as one line of the log is the better for it, without what would break that line.
std::string shown(std::string_view text) {
  constexpr size_t kLongest = 100;
  return printable(text.substr(0, kLongest));
}

// What the plan is asked and says begins with the number of the line, as all messages do.
std::string of_line(uint8_t line, const std::string& text) {
  return std::to_string(line) + " " + text;
}

// The library says so when it cannot open a file that it is told to read. Nobody has to have the default one.
std::string path_to_read(const std::optional<std::string>& init_file) {
  const std::string path = init_file.value_or(kDefaultInitFile);
  const bool is_wanted = init_file || access(kDefaultInitFile, F_OK) == 0;
  return is_wanted && !is_no_regular_file(path) ? path : "";
}

bool g_uses_system_log = true;
uint64_t g_lost = 0;

// Whether the log takes a line without letting us wait. It is asked anew each time: another daemon may have taken its
// place. There are logs of two kinds; one of streams has no room when nobody accepts connections.
bool has_room() {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, _PATH_LOG, sizeof address.sun_path - 1);
  for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
    const int fd = socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    pollfd state = {fd, POLLOUT, 0};
    const bool is_connected = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const bool is_other_kind = !is_connected && errno == EPROTOTYPE;
    const bool is_ready = is_connected && poll(&state, 1, 0) == 1 && (state.revents & POLLOUT) != 0;
    close(fd);
    if (!is_other_kind) {
      return is_ready;
    }
  }
  return false;
}

}  // namespace

Modules modules;

Line::Line(int module, uint32_t type) {
  if (!NUV_Sysloglevel_checkTracelevel(module, type)) {
    return;
  }
  if (g_uses_system_log && (is_behind() || !has_room())) {
    ++g_lost;
    return;
  }
  limit_.emplace();
}

bool is_behind() {
  if (g_lost > 0 && g_uses_system_log && has_room()) {
    const TimeLimit limit;
    const uint64_t lost = std::exchange(g_lost, 0);
    NUV_LOG_WARNING(modules.phoned, "%" PRIu64 " lines could not be written", lost);
  }
  return g_lost > 0;
}

void use_system_log(bool is_used) {
  g_uses_system_log = is_used;
}

std::optional<Error> settle_time_zone() {
  const char* const zone = std::getenv("TZ");
  const std::string name = zone == nullptr ? "" : zone + (*zone == ':' ? 1 : 0);
  const std::string path = name.starts_with('/') ? name : "/usr/share/zoneinfo/" + name;
  const bool is_odd = !name.empty() && is_no_regular_file(path);
  if (is_odd) {
    setenv("TZ", "UTC0", 1);
  }
  tzset();
  return is_odd ? std::optional(Error{"time zone " + quote_path(name) + " is not a regular file; times are in UTC"})
                : std::nullopt;
}

std::optional<Error> open(const std::optional<std::string>& init_file) {
  NUV_Sysloglevel_construct2(path_to_read(init_file).c_str(), kIdent);
  modules.phoned = NUV_Sysloglevel_registerModul("Phoned");
  modules.line = NUV_Sysloglevel_registerModul("Line");
  modules.dial_plan = NUV_Sysloglevel_registerModul("DialPlan");
  modules.console = NUV_Sysloglevel_registerModul("Console");
  if (init_file && is_no_regular_file(*init_file)) {
    return Error{"init file " + quote_path(*init_file) + " is not a regular file; name another with --ini"};
  }
  return std::nullopt;
}

void received(const sockaddr_in& card, uint16_t port, std::string_view event) {
  PHONED_LOG(TRACEMF, modules.line, "card", ntohs(card.sin_port), shown(event).c_str(), "channel", port, kIn);
}

void taken(uint16_t port, std::string_view event) {
  PHONED_LOG(TRACEMF, modules.line, "channel", port, shown(event).c_str(), "dial layer", 0, kIn);
}

void asked(uint8_t line, const std::string& digits, Timer timer) {
  const char* when = timer == Timer::kExpired ? " at time-out" : "";
  PHONED_LOG(TRACEMF, modules.line, "dial layer", 0, of_line(line, "check " + digits + when).c_str(), "plan", 0, kOut);
}

void judged(uint8_t line, const Verdict& verdict) {
  PHONED_LOG(TRACEMF, modules.line, "plan", 0, of_line(line, describe(verdict)).c_str(), "dial layer", 0, kIn);
}

void answered(uint16_t port, std::string_view answer) {
  PHONED_LOG(TRACEMF, modules.line, "dial layer", 0, shown(answer).c_str(), "channel", port, kOut);
}

void sent(const sockaddr_in& card, uint16_t port, std::string_view answer) {
  PHONED_LOG(TRACEMF, modules.line, "channel", port, shown(answer).c_str(), "card", ntohs(card.sin_port), kOut);
}

}  // namespace phoned::trace
