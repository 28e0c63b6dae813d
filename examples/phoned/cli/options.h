// What phoned is told on its command line.
#ifndef EXAMPLES_PHONED_CLI_OPTIONS_H
#define EXAMPLES_PHONED_CLI_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include <netinet/in.h>

#include "phoned/cli/arguments.h"
#include "phoned/core/protocol.h"
#include "phoned/io/operators.h"

namespace phoned {

// The network whose line cards are answered.
struct Network {
  uint32_t address = 0x7F000000;  // both in host byte order: 127.0.0.0/8
  uint32_t mask = 0xFF000000;

  // Reads "192.168.1.0/24", or a single address.
  static std::optional<Network> parse(const std::string& text);

  bool contains(const sockaddr_in& card) const { return ((ntohl(card.sin_addr.s_addr) ^ address) & mask) == 0; }

  bool operator==(const Network&) const = default;
};

struct Options {
  enum class Action { kServe, kShowHelp, kShowVersion };

  static constexpr const char* kDefaultRunDir = "/var/run";

  Action action = Action::kServe;
  uint16_t port = kDefaultPort;  // 0: any that is free
  Network allowed;               // who is answered
  bool is_foreground = false;
  std::optional<std::string> run_dir;   // of the pid file; none: kDefaultRunDir, and no pid file in the foreground
  std::optional<std::string> map;       // the dial plan itself ...
  std::optional<std::string> map_file;  // ... or its file; never both
  std::chrono::milliseconds interdigit{4000};
  std::chrono::seconds statistics{60};  // between two reports
  std::optional<std::string> ini;       // the init file of the traces; none: the default one
  Operators::Channels operators;
};

Options parse_options(Words words);

// The text of --help.
std::string help_text();

}  // namespace phoned

#endif
