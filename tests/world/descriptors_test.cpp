// phoned started by a careless parent with some of its standard descriptors closed. Files that it opens get their
// numbers, and must not receive its terminal output.
#include <gtest/gtest.h>

#include <string>

#include "console_operator.h"
#include "phoned.h"

namespace {

using support::Operator;
using world::Phoned;

class ClosedDescriptors : public testing::TestWithParam<std::tuple<int, Phoned::Mode>> {
 protected:
  // Each bit of the parameter closes one of the three.
  static std::string redirections() {
    std::string text;
    for (const int fd : {0, 1, 2}) {
      if ((std::get<0>(GetParam()) & 1 << fd) != 0) {
        text += " " + std::to_string(fd) + ">&-";
      }
    }
    return "exec" + text + ";";
  }
};

TEST_P(ClosedDescriptors, AreNoProblem) {
  Phoned phoned({.mode = std::get<1>(GetParam()), .before = redirections()});
  ASSERT_TRUE(phoned.is_up());
  world::expect_prompt_answers(phoned, 20);
  EXPECT_EQ(Operator(phoned.console()).ask("check 110"), "complete 110 110\n");
  EXPECT_TRUE(world::is_idle(phoned.pid()));
  world::expect_a_clean_end(phoned);
}

INSTANTIATE_TEST_SUITE_P(AllSubsets, ClosedDescriptors,
                         testing::Combine(testing::Range(1, 8),
                                          testing::Values(Phoned::Mode::kForeground, Phoned::Mode::kBackground)),
                         [](const auto& test) {
                           std::string name =
                               std::get<1>(test.param) == Phoned::Mode::kForeground ? "foreground" : "background";
                           for (const int fd : {0, 1, 2}) {
                             if ((std::get<0>(test.param) & 1 << fd) != 0) {
                               name += "_" + std::to_string(fd);
                             }
                           }
                           return name;
                         });

}  // namespace
