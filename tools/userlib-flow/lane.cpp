#include "lane.h"

namespace flow_tool {

size_t Lanes::place(std::string_view name, uint32_t number) {
  wanted_ = name;
  if (by_ == LaneBy::kNumber) {
    wanted_ += ':';
    wanted_ += std::to_string(number);
  }
  const auto found = places_.find(wanted_);
  if (found != places_.end()) {
    return found->second;
  }
  if (names_.size() == most_) {
    return kNone;
  }
  names_.push_back(wanted_);
  return places_.emplace(wanted_, names_.size() - 1).first->second;
}

}  // namespace flow_tool
