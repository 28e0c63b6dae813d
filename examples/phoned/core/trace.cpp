#include "phoned/core/trace.h"

#include <arpa/inet.h>
#include <unistd.h>

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

// The library says so when it cannot open a file that it is told to read. Nobody has to have the default one.
std::string path_to_read(const std::optional<std::string>& init_file) {
  const std::string path = init_file.value_or(kDefaultInitFile);
  const bool is_wanted = init_file || access(kDefaultInitFile, F_OK) == 0;
  return is_wanted && !is_no_regular_file(path) ? path : "";
}

}  // namespace

Modules modules;

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

void received(const sockaddr_in& card, uint16_t port) {
  NUV_LOG_TRACEMF(modules.line, "card", ntohs(card.sin_port), "datagram", "channel", port, kIn);
}

void taken(uint16_t port, std::string_view event) {
  NUV_LOG_TRACEMF(modules.line, "channel", port, shown(event).c_str(), "dial layer", 0, kIn);
}

void answered(uint16_t port, std::string_view answer) {
  NUV_LOG_TRACEMF(modules.line, "dial layer", 0, shown(answer).c_str(), "channel", port, kOut);
}

void sent(const sockaddr_in& card, uint16_t port, std::string_view answer) {
  NUV_LOG_TRACEMF(modules.line, "channel", port, shown(answer).c_str(), "card", ntohs(card.sin_port), kOut);
}

}  // namespace phoned::trace
