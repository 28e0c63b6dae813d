#include "phoned/core/trace.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <utility>

#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include "nuv_tracelevelinit.h"
#include "phoned/core/text.h"

namespace phoned::trace {

namespace {

bool g_uses_system_log = true;
uint64_t g_lost = 0;

// Whether the log takes a line without blocking. The path is connected anew each time, because another log daemon may have
// taken over. Some logs are datagram sockets, some are streams.
bool has_room() {
  for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
    if (const userlib::UniqueFd fd = userlib::connect_unix(_PATH_LOG, type | SOCK_NONBLOCK)) {
      pollfd state = {fd.get(), POLLOUT, 0};
      return poll(&state, 1, 0) == 1 && (state.revents & POLLOUT) != 0;
    }
    if (errno != EPROTOTYPE) {
      return false;
    }
  }
  return false;
}

}  // namespace

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

void message(const Part& from, std::string_view text, const Part& to, Way way) {
  constexpr size_t kLongest = 100;
  PHONED_LOG(TRACEMF, modules.line, from.name, from.port, printable(text.substr(0, kLongest)).c_str(), to.name, to.port,
             static_cast<uint32_t>(way));
}

bool is_behind() {
  if (g_lost > 0 && g_uses_system_log && has_room()) {
    const userlib::TimeLimit limit;
    const uint64_t lost = std::exchange(g_lost, 0);
    NUV_LOG_WARNING(modules.phoned, "%" PRIu64 " lines could not be written", lost);
  }
  return g_lost > 0;
}

void use_system_log(bool is_used) {
  g_uses_system_log = is_used;
}

bool is_damaged(const std::string& init_file) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(init_file.c_str(), "re"), std::fclose);
  if (!file) {
    return false;
  }
  const userlib::TimeLimit limit;  // the library says in the system log what is wrong
  TraceLevelInit table;
  NUV_TraceLevelInit_construct(&table);
  return !NUV_TraceLevelInit_restore(&table, file.get());
}

std::string open(const std::optional<std::string>& init_file) {
  const std::string path = init_file.value_or(kDefaultInitFile);
  const bool is_readable = !is_no_regular_file(path);
  // The library reports a file that it cannot open.
  const bool is_wanted = init_file || access(kDefaultInitFile, F_OK) == 0;
  NUV_Sysloglevel_construct2("", "phoned");
  const bool is_bad = is_readable && is_damaged(path);
  if (is_wanted && is_readable && !is_bad) {
    NUV_Sysloglevel_readInitFile(path.c_str());
  }
  modules = {NUV_Sysloglevel_registerModul("Phoned"), NUV_Sysloglevel_registerModul("Line"),
             NUV_Sysloglevel_registerModul("DialPlan"), NUV_Sysloglevel_registerModul("Console")};
  if (init_file && !is_readable) {
    throw Error("init file " + quote_path(path) + " is not a regular file; name another with --ini");
  }
  return is_bad ? "init file " + quote_path(path) + " is damaged; starting with the default masks" : "";
}

std::string settle_time_zone() {
  const char* const zone = std::getenv("TZ");
  const std::string name = zone == nullptr ? "" : zone + (*zone == ':' ? 1 : 0);
  const std::string path = name.starts_with('/') ? name : "/usr/share/zoneinfo/" + name;
  const bool is_odd = !name.empty() && is_no_regular_file(path);
  if (is_odd) {
    setenv("TZ", "UTC0", 1);
  }
  tzset();
  return is_odd ? "time zone " + quote_path(name) + " is not a regular file; times are in UTC" : "";
}

}  // namespace phoned::trace
