#include "userlib-flow/mask.h"

#include <gtest/gtest.h>

#include <string>

namespace flow_tool {
namespace {

std::string answer(const std::string& word, const std::string& module = "") {
  const auto result = answer_mask(word, module);
  const auto* error = std::get_if<MaskError>(&result);
  return error != nullptr ? "error: " + error->why : std::get<std::string>(result);
}

TEST(Mask, TellsTheNumberAndTheLineToType) {
  EXPECT_EQ(answer("info,error,tracemf"), "161\ntr changeall 161\n");
  EXPECT_EQ(answer("tracedo", "Line"), "512\ntr change Line 512\n");
  EXPECT_EQ(answer("all"), "1023\ntr changeall 1023\n");
  EXPECT_EQ(answer("none"), "0\ntr changeall 0\n");
}

TEST(Mask, TellsTheNames) {
  EXPECT_EQ(answer("113"), "info,warning,error,guioutput\n");
  EXPECT_EQ(answer("0"), "none\n");
  EXPECT_EQ(answer("1023"), "info,trace,debug,dump,warning,error,guioutput,tracemf,tracect,tracedo\n");
}

// The names of each mask convert back to it.
TEST(Mask, GoesBothWays) {
  for (uint32_t mask = 0; mask <= kGreatestMask; ++mask) {
    const auto read = read_mask_names(names_in_mask(mask));
    ASSERT_TRUE(std::holds_alternative<uint32_t>(read)) << mask;
    EXPECT_EQ(std::get<uint32_t>(read), mask);
  }
}

TEST(Mask, RefusesWhatIsNone) {
  EXPECT_EQ(answer("1024"), "error: '1024' is not a mask: must be a number from 0 to 1023");
  EXPECT_EQ(answer("99999999999"), "error: '99999999999' is not a mask: must be a number from 0 to 1023");
  for (const char* word : {"", "infoo", "info,", ",info", "info, error", "-1", "unknown"}) {
    EXPECT_NE(answer(word).find(" is not a trace type: must be all, none, or some of info, trace, debug, "),
              std::string::npos)
        << word;
  }
}

}  // namespace
}  // namespace flow_tool
