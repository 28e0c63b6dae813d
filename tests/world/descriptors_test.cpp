// phoned started with some of its three standard descriptors closed, as careless parents do it. What is opened then gets
// their numbers, and what is meant for the terminal would go there.
#include <gtest/gtest.h>

#include <string>

#include "console_operator.h"
#include "phoned.h"

namespace {

using support::Operator;
using world::Phoned;

class ClosedDescriptors : public testing::TestWithParam<std::tuple<int, Phoned::Mode>> {
 protected:
  // Each bit of the number is one of the three.
  static std::string close_them() {
    std::string redirections;
    for (const int fd : {0, 1, 2}) {
      if ((std::get<0>(GetParam()) & 1 << fd) != 0) {
        redirections += " " + std::to_string(fd) + ">&-";
      }
    }
    return "exec" + redirections + ";";
  }
};

TEST_P(ClosedDescriptors, ChangeNothing) {
  Phoned phoned({.mode = std::get<1>(GetParam()), .before = close_them()});
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
