// The command line.
#ifndef TOOLS_USERLIB_FLOW_OPTIONS_H
#define TOOLS_USERLIB_FLOW_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "lane.h"
#include "selection.h"

namespace flow_tool {

enum class Output : uint8_t { kText, kSvg, kMermaid, kStatistics };
enum class Colours : uint8_t { kAuto, kAlways, kNever };

struct Options {
  Output output = Output::kText;
  std::optional<std::string> file;  // to write
  bool follows = false;
  bool wants_help = false;
  bool wants_version = false;
  bool is_ascii = false;
  bool has_times = true;
  bool has_type = false;  // whether --type was given
  Colours colours = Colours::kAuto;
  std::optional<size_t> width;
  LaneBy lanes = LaneBy::kName;
  Time gap = kSecond;
  size_t limit = 5000;
  Choice choice;
  std::vector<std::string> inputs;
  // The subcommand "mask".
  bool is_mask = false;
  std::string mask_module;
  std::vector<std::string> masks;
};

// Reads the words of a command line. Returns a message about the first bad one; nothing if all are good.
std::optional<std::string> read_options(const std::vector<std::string>& words, time_t now, Options& options);

}  // namespace flow_tool

#endif
