#include "userlib-digitmap/convert.h"

#include <algorithm>
#include <utility>

#include "dialplan/plan.h"
#include "dialplan/reach.h"
#include "dialplan/warnings.h"
#include "userlib-digitmap/rewrite.h"

namespace digitmap_tool {

namespace {

using dialplan::Mode;
using dialplan::Plan;

std::string join(const std::vector<std::string>& patterns) {
  std::string text;
  for (const std::string& pattern : patterns) {
    text += (text.empty() ? "" : "|") + pattern;
  }
  return text;
}

// A published plan decides as first match does. A pattern that never decides then would only make others wait in best
// match.
std::vector<std::string> drop_idle_patterns(std::vector<std::string>& patterns) {
  const Plan plan(join(patterns), Plan::Source::kArgument);
  const auto idle = dialplan::find_idle_patterns(plan.map(), Mode::kFirst, dialplan::kMaxWalk);
  std::vector<std::string> dropped;
  if (idle) {
    for (const dialplan::IdlePattern& each : *idle) {
      if (!each.rivals.empty() && !each.is_lost) {
        dropped.push_back(patterns[each.pattern]);
      }
    }
    std::erase_if(patterns, [&dropped](const std::string& pattern) {
      return std::find(dropped.begin(), dropped.end(), pattern) != dropped.end();
    });
  }
  return dropped;
}

Conversion failed(const std::string& why) {
  Conversion conversion;
  conversion.why = why;
  return conversion;
}

// Compares one way to write the plan with the published plan.
Conversion try_out(const Published& published, Rewritten rewritten, Form form, Mode mode, size_t length) {
  if (!rewritten.why.empty()) {
    return failed(rewritten.why);
  }
  Conversion conversion;
  if (const auto dropped = drop_idle_patterns(rewritten.patterns); !dropped.empty()) {
    conversion.notes.push_back("left out, because the published plan is complete sooner: " + join(dropped));
  }
  const Plan plan(join(rewritten.patterns), Plan::Source::kArgument);
  if (plan.text().size() > Plan::kMaxText || !plan.problems().empty()) {
    return failed("written out, it is longer than " + std::to_string(Plan::kMaxText) + " characters");
  }
  conversion.comparison = compare(published.plan, form, plan, mode, length);
  if (!conversion.comparison.is_same) {
    return failed(conversion.comparison.difference);
  }
  conversion.plan = plan.text();
  return conversion;
}

}  // namespace

Conversion convert(const std::string& text, Form form, Mode mode, size_t length) {
  const Published published = read_published(text, form);
  if (!published.why.empty()) {
    return failed("position " + std::to_string(published.at + 1) + ": " + published.why);
  }
  Conversion conversion = try_out(published, rewrite(published.plan, form), form, mode, length);
  if (conversion.plan.empty() && mode == Mode::kBest) {
    Conversion apart = try_out(published, rewrite(published.plan, form, Overlap::kRemoved), form, mode, length);
    if (!apart.plan.empty()) {
      conversion = std::move(apart);
    }
  }
  for (const std::string& loss : published.losses) {
    conversion.notes.push_back(loss + " is lost");
  }
  return conversion;
}

}  // namespace digitmap_tool
