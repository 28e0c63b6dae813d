// Several logs as one, in the order of their times.
#ifndef TOOLS_USERLIB_FLOW_MERGE_H
#define TOOLS_USERLIB_FLOW_MERGE_H

#include <string>
#include <vector>

#include "input.h"

namespace flow_tool {

// Holds one line of each input at a time, whatever their sizes.
class Merge {
 public:
  Merge(const std::vector<std::string>& names, time_t now);

  // The earliest record that is left; of those at the same time the one of the input that was named first. Null when no
  // input has a line, with kStay a whole one. Good until the next call.
  const Record* next(Input::End end);

  // Looks for inputs that are another file now.
  void reopen_rotated();

  const std::vector<Input>& inputs() const { return inputs_; }
  Counts counts() const;

 private:
  std::vector<Input> inputs_;
  std::vector<char> is_loaded_;  // whether the input's record is still to come
};

}  // namespace flow_tool

#endif
