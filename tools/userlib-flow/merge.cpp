#include "merge.h"

namespace flow_tool {

Merge::Merge(const std::vector<std::string>& names, time_t now) : is_loaded_(names.size()) {
  inputs_.reserve(names.size());
  for (const std::string& name : names) {
    inputs_.emplace_back(name, inputs_.size(), now);
  }
}

const Record* Merge::next(Input::End end) {
  const Input* earliest = nullptr;
  size_t at = 0;
  for (size_t i = 0; i < inputs_.size(); ++i) {
    if (is_loaded_[i] == 0) {
      is_loaded_[i] = inputs_[i].advance(end) ? 1 : 0;
    }
    if (is_loaded_[i] != 0 && (earliest == nullptr || inputs_[i].order() < earliest->order())) {
      earliest = &inputs_[i];
      at = i;
    }
  }
  if (earliest == nullptr) {
    return nullptr;
  }
  is_loaded_[at] = 0;
  return &earliest->record();
}

void Merge::reopen_rotated() {
  for (Input& input : inputs_) {
    input.reopen_if_rotated();
  }
}

Counts Merge::counts() const {
  Counts counts;
  for (const Input& input : inputs_) {
    counts += input.counts();
  }
  return counts;
}

}  // namespace flow_tool
