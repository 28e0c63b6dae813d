// Dial plans in foreign notations. The first line of an input is the plan, the second are digits. A converted plan must
// be valid for the library, and what the tool says about a plan must lie within it and agree with the library.
#include <algorithm>
#include <array>

#include "dialplan/positions.h"
#include "dialplan/warnings.h"
#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "userlib-digitmap/convert.h"

namespace {

using dialplan::Mode;
using dialplan::Plan;
using digitmap_tool::Form;

constexpr size_t kLongestPlan = 120;

void check_conversion(const std::string& text, Form form, Mode mode) {
  const digitmap_tool::Conversion conversion = digitmap_tool::convert(text, form, mode, 2);
  FUZZ_CHECK(conversion.plan.empty() != conversion.why.empty());
  if (!conversion.plan.empty()) {
    const Plan plan(conversion.plan, Plan::Source::kArgument);
    FUZZ_CHECK(plan.problems().empty() && !plan.patterns().empty());
    FUZZ_CHECK(conversion.comparison.is_same);
  }
}

void check_place(const Plan& plan, const dialplan::Problem& problem) {
  FUZZ_CHECK(problem.at < plan.text().size());
  const std::string words = plan.describe(problem);
  FUZZ_CHECK(std::all_of(words.begin(), words.end(), [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); }));
}

// The automaton of a plan and the library must give the same result after each digit.
void check_positions(const Plan& plan, Mode mode, const std::string& digits) {
  const dialplan::Positions positions(plan.map(), mode);
  dialplan::Position position = positions.start();
  for (size_t length = 1; length <= digits.size(); ++length) {
    const std::string dialled = digits.substr(0, length);
    position = positions.after(position, dialplan::bit_of(dialled.back()));
    std::array<char, kLongestPlan + 1> pattern = {};
    const auto size = static_cast<uint32_t>(pattern.size());
    const dialplan::Verdict now = positions.judge(position);
    FUZZ_CHECK(now.result == plan.map().check(mode, dialled.c_str(), dialplan::Timer::kRunning, pattern.data(), size));
    FUZZ_CHECK(now.result != dialplan::Result::kComplete || plan.patterns()[now.pattern] == pattern.data());
    const dialplan::Verdict late = positions.judge_at_timeout(position);
    FUZZ_CHECK(late.result == plan.map().check_at_timeout(mode, dialled.c_str(), pattern.data(), size));
    FUZZ_CHECK(late.result != dialplan::Result::kComplete || plan.patterns()[late.pattern] == pattern.data());
  }
}

void check_plan(const Plan& plan, Mode mode, const std::string& digits) {
  for (const dialplan::Problem& problem : plan.problems()) {
    check_place(plan, problem);
  }
  if (!plan.problems().empty()) {
    return;
  }
  for (const dialplan::Problem& warning : dialplan::find_warnings(plan, mode, 100).found) {
    check_place(plan, warning);
  }
  check_positions(plan, mode, digits);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  std::string text(input.line().substr(0, kLongestPlan));
  std::string digits(input.line().substr(0, 8));
  std::erase_if(digits, [](char c) { return dialplan::bit_of(c) == 0; });
  // Newlines separate patterns, but a newline would end the plan of an input.
  std::replace(text.begin(), text.end(), '/', '\n');
  for (const Mode mode : {Mode::kFirst, Mode::kBest}) {
    for (const Form form : {Form::kMgcp, Form::kH248}) {
      check_conversion(text, form, mode);
    }
    for (const Plan::Source source : {Plan::Source::kArgument, Plan::Source::kFile}) {
      check_plan(Plan(text, source), mode, digits);
    }
  }
  return 0;
}
