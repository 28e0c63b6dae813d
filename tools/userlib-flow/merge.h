// Merges several logs by time.
#ifndef TOOLS_USERLIB_FLOW_MERGE_H
#define TOOLS_USERLIB_FLOW_MERGE_H

#include <string>
#include <vector>

#include "input.h"

namespace flow_tool {

// Holds only one line of each input.
class Merge {
 public:
  Merge(const std::vector<std::string>& names, time_t now);

  // The earliest record left; among equal times that of the input named first. Null if no input has a line (with kStay,
  // a complete line). Valid until the next call.
  const Record* next(Input::End end);

  // Reopens inputs whose file has been replaced.
  void reopen_rotated();

  const std::vector<Input>& inputs() const { return inputs_; }
  Counts counts() const;

 private:
  std::vector<Input> inputs_;
  std::vector<char> is_loaded_;  // whether the input's record is still to be returned
};

}  // namespace flow_tool

#endif
