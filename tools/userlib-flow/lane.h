// The participants of a message flow.
#ifndef TOOLS_USERLIB_FLOW_LANE_H
#define TOOLS_USERLIB_FLOW_LANE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace flow_tool {

// A lane for each name, or for each name and number.
enum class LaneBy : uint8_t { kName, kNumber };

// Lanes in the order of their first use, up to a limit.
class Lanes {
 public:
  static constexpr size_t kNone = SIZE_MAX;

  Lanes(LaneBy by, size_t most) : by_(by), most_(most) {}

  // The index of the lane, which is added if it is new; kNone if the limit is reached.
  size_t place(std::string_view name, uint32_t number);

  const std::vector<std::string>& names() const { return names_; }

 private:
  LaneBy by_;
  size_t most_;
  std::vector<std::string> names_;
  std::unordered_map<std::string, size_t> places_;
  std::string wanted_;
};

}  // namespace flow_tool

#endif
