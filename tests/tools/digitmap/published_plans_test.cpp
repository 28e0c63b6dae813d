// Dial plans from standards, manuals and their readers: which of them --convert rewrites, why not the others, and that
// none changes its meaning.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "doubles/pattern.h"
#include "userlib-digitmap/convert.h"

namespace digitmap_tool {
namespace {

using dialplan::Mode;
using dialplan::Plan;
using dialplan::Result;
using dialplan::Timer;

constexpr Form kMgcp = Form::kMgcp;
constexpr Form kH248 = Form::kH248;

struct PublishedPlan {
  Form form;
  const char* plan;
  const char* source;
  const char* why_not;  // part of the error; empty if it converts
};

constexpr char kSubstitution[] = "belongs to a substitution";
constexpr char kBarring[] = "bars numbers or leaves them out";

const PublishedPlan kPlans[] = {
    // ---- standards ----
    {kMgcp, "(0T|00T|[1-7]xxx|8xxxxxxx|#xxxxxxx|*xx|91xxxxxxxxxx|9011x.T)", "RFC 2705, RFC 3435 2.1.5", ""},
    {kH248, "(0S| 00S|[1-7]xLxx|8Lxxxxxxx|#xxxxxxx|*xx|9L1xxxxxxxxxx|9L011x.S)",
     "RFC 3525 Appendix I, as in the megaco application of Erlang/OTP", ""},
    // ---- gateways that speak MGCP, or take its digit maps ----
    {kMgcp, "(0| 00|[1-7]xxx|8xxxxxxx|#xxxxxxx|*xx|91xxxxxxxxxx|9011x.T|[0-9*].#)", "InnoMedia MTA8328 guide, 4.1.5",
     ""},
    {kMgcp, "11xS|00[1-7]xxx|8xxxxxxx|#xxxxxxx|*xx|91xxxxxxxxxx|9011x|xx.T", "AudioCodes MP-11x manual, table 23-1",
     "'S' waits in H.248 plans and does not in others"},
    {kMgcp, "(11xS|00T|[1-7]xxx|8xxxxxxx|#xxxxxxx|*xx|91xxxxxxxxxx|9011x.T)", "AudioCodes Mediant/TP-1610 manual 5.0",
     "'S' waits in H.248 plans and does not in others"},
    {kMgcp, "(123 | 1234)", "AudioCodes Mediant 1000 manual 5.4, page 489", ""},
    {kMgcp, "[2-8]xxxxxxx|13xxxxxxxxx|0xxxxxxxxxx|9xxxx|1[0124-9]x|*|#|x.#|[0-9*#].T", "Huawei UAC3000, DigitMap", ""},
    {kMgcp, "(011x.#|001x.T)", "Mediatrix 1204 manual, table 158", ""},
    {kMgcp, "1xxxxxxxxxx", "Mediatrix 1204 manual, table 159", ""},
    {kMgcp, "425xxxxxxx", "Mediatrix 1204 manual, table 160", ""},
    {kMgcp, "([235-9]xxxxxx|45[1-9]xxxx|4[0-469]xxxxx)", "Mediatrix 1204 manual, table 161", ""},
    {kMgcp, "9[2-8]xxxxxx", "Mediatrix 1204 manual, table 165", ""},
    {kMgcp, "x.T", "Mediatrix 1204 manual, default", ""},
    {kMgcp, "([2-4]xx|9[2-9]xxxxxx)", "Mediatrix 1204 manual, page 74", ""},
    {kMgcp, "13xxxxxxxxx\n02[0-57-9]xxxxxxxx\n*x.T\nx.T", "drbig.co.uk, What is digit map?", ""},
    {kMgcp, "0T|00T|#xxxxxxx|*xx|91xxxxxxxxxx|9011x.T", "the JAIN MGCP interface's example", ""},
    // ---- Polycom, as of RFC 3435 ----
    {kMgcp, "[2-9]11|0T|011xxx.T|91[2-9]xxxxxxxxx|[1-8]xx", "sipX, Polycom default plan", ""},
    {kMgcp, "[2-9]11|0T|011xxx.T|[0-1][2-9]xxxxxxxxx|[2-9]xxxxxxxxx|[2-9]xxxT", "Polycom community FAQ, the standard",
     ""},
    {kMgcp, "911xxx.T", "Polycom SIP 3.1 guide, A-19", ""},
    {kMgcp, "0[234589]xxxxxxxxx", "Polycom community FAQ", ""},
    {kMgcp, "[2-9]11|0T|011xxx.T|[0-1][2-9]xxxxxxxxx|604xxxxxxx|778xxxxxxx|[2-4]xxx",
     "the example of Perl's Polycom::Config::File", ""},
    {kMgcp, "*97|*0xxxx|911|9911|0T|011xxx.T|[0-1][2-9]xxxxxxxxx|[2-9]xxxxxxxxx|[2-9]xxxT|**x.T",
     "a Polycom provisioning template", ""},
    {kMgcp, "xxxxT|0T|00[1-9]xxxxxxx.T|[1-9]xxxxxx|[01][1-9]xxxxxxxx|1021x|102x|xxxT|5xxT|9xxT|5xx*|*x.T",
     "a Polycom provisioning template from the Netherlands", ""},
    {kMgcp, "R9RRxxxxxxx", "Polycom SIP 2.1 bulletin", "'R' has no meaning"},
    {kMgcp, "R555R604R", "Polycom UC Software guide", "'R' has no meaning"},
    {kMgcp, "0xxxS|33xxH", "Polycom IP 320 guide, page 205", "'S' waits in H.248 plans"},
    // ---- Sipura, Linksys, Cisco ----
    {kH248, "(*xx|[3469]11|0|00|[2-9]xxxxxx|1xxx[2-9]xxxxxx|xxxxxxxxxxxx.)", "Sipura SPA-2000 guide 3.4.5.4", ""},
    {kH248, "( *xx | [3469]11|0|00|<:1408>[2-9]xxxxxx | 1[2-9]xx[2-9]xxxxxx | 011x. )", "Sipura SPA-2000 guide 6.1",
     kSubstitution},
    {kH248, "(1 xxx xxxxxxx | <:1212> xxxxxxx)", "Sipura SPA-2000 guide, page 52", kSubstitution},
    {kH248, "(<9,:> 1 xxx xxxxxxx | <8,:1212> xxxxxxx)", "Sipura SPA-2000 guide, page 52", kSubstitution},
    {kH248, "( 00 | 011 xxxxx x. )", "Sipura SPA-2000 guide, page 52, without its S:4", ""},
    {kH248, "( 0 | [49]11 | 1 [2-9]xx [2-9]xxxxxx )", "Sipura SPA-2000 guide, page 52", ""},
    {kH248, "( 1 [2-8]xx [2-9]xxxxxx )", "Sipura SPA-2000 guide, page 52", ""},
    {kH248, "( 1 947 xxxxxxx ! | 1 xxx xxxxxxx )", "Sipura SPA-2000 guide, page 52", kBarring},
    {kH248, "01.", "Sipura SPA-2000 guide, page 50; Zyxel OLT2412 guide", ""},
    {kH248, "[235-8*]", "Cisco SPA9000 guide 4-10", ""},
    {kH248, "9, 1xxxxxxxxxx", "Cisco SPA9000 guide 4-10", ""},
    {kH248, "[1-8]xxx", "Cisco SPA112 guide, page 45", ""},
    {kH248, "xxxxxxxxxx.", "Cisco SPA9000 guide 4-10", ""},
    {kH248, "[35-8*]", "Cisco IP Phone 8800 guide, page 64", ""},
    {kH248, "([x*].)", "XiVO/Wazo provisioning of the SPA 500", ""},
    {kH248, "(*x.|*xx*x.|x.)", "a Linksys provisioning template of FreePBX", ""},
    {kH248, "000S0", "surups.blogspot.com, Linksys PAP2", ""},
    {kH248, "9,03xxxxxxxx", "surups.blogspot.com, Linksys PAP2", ""},
    // ---- Obihai, Poly ----
    {kH248, "1 408 xxx xxxx", "Obihai OBi1062 guide, page 163", ""},
    {kH248, "011xx.", "Obihai OBi1062 guide, page 163", ""},
    {kH248, "xx.853 7683", "Obihai OBi1062 guide, page 163", ""},
    {kH248, "(x.408 223 1122)", "Poly ATA 400 guide, page 65", ""},
    {kH248, "*74(x|xx)", "Poly ATA 400 guide, page 65", ""},
    {kH248, "xx?", "Poly ATA 400 guide, page 65", ""},
    {kH248, "(1xxxxxxxxxxS0|xx.)", "Poly ATA 400 guide, page 65", ""},
    {kH248, "!1900xxx xxxx", "Poly ATA 400 guide, page 65", kBarring},
    // ---- Grandstream, Htek ----
    {kH248, "{[369]11 | 1617xxxxxxx}", "Grandstream GXP1100 manual, page 36", ""},
    {kH248, "{^1900x+ | <=1617>xxxxxxx}", "Grandstream GXP1100 manual, page 36", kBarring},
    {kH248, "{1xxx[2-9]xxxxxx | <2=011>x+}", "Grandstream GXP1100 manual, page 36", kSubstitution},
    {kH248, "{ [x#]+ | [x*]+ }", "Grandstream GXW410x manual, page 25", ""},
    {kH248, "{x+}", "Grandstream GXW410x manual, page 25", ""},
    {kH248, "{ *x+ }", "Grandstream GXP1400 manual, page 35", ""},
    {kH248, "{0,x+}", "Grandstream GXV3380 manual, page 53", ""},
    {kH248, "{99,x+|[*x]+}", "Htek desk, dial plan", ""},
    {kH248, "{[x*]+}", "Htek desk, dial plan, default", ""},
    // ---- others ----
    {kH248, "\"[01]xxx|[2-8]xxxx|91xxxxxxxxxx\"", "Aastra 6700i guide, C-6", ""},
    {kH248, "\"x+#|xx+*\"", "Aastra 6700i guide, C-6, default", "'+' repeats any number of times in some plans"},
    {kH248, "([2-9]xxxxxx)", "Zyxel VMG9823 guide 21.4.2", ""},
    {kH248, "[26-8*]", "Zyxel OLT2412 guide, page 197", ""},
    {kH248, "x.|xxx", "Billion BiPAC 7404 manual, page 119", ""},
    {kH248, "xxxx.", "Billion BiPAC 7404 manual, page 119", ""},
    {kH248, "123x.", "Billion BiPAC 7404 manual, page 119", ""},
    {kH248, "[1-8]xxx|9xxxxxxx|911|99T4|9911x.T4", "Fanvil BW210 manual, page 39", ""},
    {kH248, "[2346789]11|01[2-9]xx.|[2-9]xxxxxxxxx", "Panasonic KX-TGP500 guide, page 212", ""},
    {kH248, "1xxxx|2xxx", "Panasonic KX-TGP500 guide, page 212", ""},
    {kH248, "1x.S2", "Panasonic KX-UT670 guide, page 216", ""},
};

std::string name_of(const PublishedPlan& row) {
  return std::string(row.plan) + " (" + row.source + ")";
}

// All of them for daemons that use best match, as phoned does.
const std::vector<Conversion>& conversions() {
  static const std::vector<Conversion> all = [] {
    std::vector<Conversion> each;
    for (const PublishedPlan& row : kPlans) {
      each.push_back(convert(row.plan, row.form, Mode::kBest));
    }
    return each;
  }();
  return all;
}

TEST(PublishedPlans, ConvertInFourOfFiveCases) {
  size_t converted = 0;
  for (size_t i = 0; i < std::size(kPlans); ++i) {
    const Conversion& conversion = conversions()[i];
    SCOPED_TRACE(name_of(kPlans[i]));
    EXPECT_EQ(conversion.plan.empty(), *kPlans[i].why_not != '\0') << conversion.why;
    EXPECT_NE(conversion.why.find(kPlans[i].why_not), std::string::npos) << conversion.why;
    converted += conversion.plan.empty() ? 0 : 1;
  }
  EXPECT_GE(std::size(kPlans), 60U);
  EXPECT_GE(converted * 5, std::size(kPlans) * 4);
  RecordProperty("converted", static_cast<int>(converted));
}

TEST(PublishedPlans, AreComparedOnAllDialStringsOfFiveDigits) {
  for (size_t i = 0; i < std::size(kPlans); ++i) {
    const Comparison& comparison = conversions()[i].comparison;
    SCOPED_TRACE(name_of(kPlans[i]));
    if (!conversions()[i].plan.empty()) {
      EXPECT_TRUE(comparison.is_same);
      EXPECT_EQ(comparison.length, kDefaultLength);
      EXPECT_TRUE(comparison.is_whole);
      EXPECT_GE(comparison.strings, 1U);
    }
  }
}

// ---- a second opinion: regular expressions made from the plan's text ----

struct Expression {
  support::Pattern pattern;
  bool has_timer;
};

// The texts between bars that are outside parentheses.
std::vector<std::string> alternatives_of(std::string text) {
  std::erase_if(text, [](char c) { return std::string_view("{}\" ,").find(c) != std::string_view::npos; });
  // Parentheses around the whole plan.
  if (text.front() == '(' && text.find(')') == text.size() - 1) {
    text = text.substr(1, text.size() - 2);
  }
  std::vector<std::string> alternatives(1);
  int depth = 0;
  for (const char c : text) {
    depth += c == '(' ? 1 : c == ')' ? -1 : 0;
    if ((c == '|' || c == '\n') && depth == 0) {
      alternatives.emplace_back();
    } else {
      alternatives.back() += c;
    }
  }
  return alternatives;
}

std::string without_timer(const std::string& alternative) {
  static const support::Pattern kTimer("[ST][0-9]?$");
  const std::vector<std::string> found = kTimer.find_in(alternative);
  return found.empty() ? alternative : alternative.substr(0, alternative.size() - found[0].size());
}

// For a whole text.
std::string expression_of(const std::string& alternative) {
  std::string expression;
  bool is_set = false;
  for (const char c : without_timer(alternative)) {
    is_set = c == '[' || (is_set && c != ']');
    if (c == 'x') {
      expression += is_set ? "0-9" : "[0-9]";
    } else if (c == '.') {
      expression += '*';
    } else if (c == '*' && !is_set) {
      expression += "\\*";
    } else if (c != 'L') {
      expression += c;
    }
  }
  return "^(" + expression + ")$";
}

std::vector<Expression> expressions_of(const char* plan) {
  static const support::Pattern kHasTimer("(T|S|[ST][1-9])$");
  std::vector<Expression> expressions;
  for (const std::string& alternative : alternatives_of(plan)) {
    expressions.push_back({support::Pattern(expression_of(alternative)), kHasTimer.is_in(alternative)});
  }
  return expressions;
}

class SecondOpinion {
 public:
  SecondOpinion(const PublishedPlan& row, const std::string& converted)
      : form_(row.form), expressions_(expressions_of(row.plan)), ours_(converted, Plan::Source::kArgument) {}

  // Returns whether dialling continues after these digits.
  bool agree(const std::string& digits) {
    bool fits_at_once = false;
    bool fits_late = false;
    for (const Expression& expression : expressions_) {
      const bool fits = expression.pattern.is_in(digits);
      fits_at_once = fits_at_once || (fits && !expression.has_timer);
      fits_late = fits_late || (fits && expression.has_timer);
    }
    const Result now = ours_.map().check(Mode::kBest, digits.c_str(), Timer::kRunning);
    const bool is_late = ours_.map().check_at_timeout(Mode::kBest, digits.c_str()) == Result::kComplete;
    const bool is_now = now == Result::kComplete;
    if (form_ == kMgcp) {
      EXPECT_EQ(is_now, fits_at_once) << digits;
      EXPECT_TRUE(is_now || is_late == fits_late) << digits;
    } else {
      // Other patterns affect whether it waits, but not whether it is a complete number.
      EXPECT_EQ(is_now || is_late, fits_at_once || fits_late) << digits;
    }
    fits_ += fits_at_once || fits_late ? 1 : 0;
    return now == Result::kUndecided;
  }

  size_t fits() const { return fits_; }

 private:
  Form form_;
  std::vector<Expression> expressions_;
  Plan ours_;
  size_t fits_ = 0;
};

// Digits that fit an alternative without parentheses.
std::string sample_of(const std::string& alternative, std::mt19937& random) {
  std::string text = without_timer(alternative);
  std::erase(text, 'L');
  std::string digits;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == 'x') {
      digits += static_cast<char>('0' + random() % 10);
    } else if (text[i] == '[') {
      const char first = text[i + 1];
      digits += first == 'x' ? '5' : first;
      i = text.find(']', i);
    } else if (text[i] == '.' || text[i] == '+') {
      digits.append(random() % 3, digits.back());
    } else if (text[i] != '?') {
      digits += text[i];
    }
  }
  return digits;
}

// Random keys, mostly such that continue a pattern.
std::string random_digits(const Plan& plan, std::mt19937& random) {
  static const std::string kKeys = "0123456789*#";
  std::string digits;
  for (uint64_t length = 1 + random() % 12; length > 0; --length) {
    digits += kKeys[random() % kKeys.size()];
    for (int i = 0; i < 10 && random() % 2 == 0; ++i) {
      if (plan.map().check(Mode::kBest, digits.c_str(), Timer::kRunning) != Result::kNoMatch) {
        break;
      }
      digits.back() = kKeys[random() % kKeys.size()];
    }
  }
  return digits;
}

TEST(PublishedPlans, DoNotChangeTheirMeaning) {
  std::mt19937 random(7);
  for (size_t i = 0; i < std::size(kPlans); ++i) {
    const std::string& converted = conversions()[i].plan;
    if (converted.empty()) {
      continue;
    }
    SCOPED_TRACE(name_of(kPlans[i]) + " as " + converted);
    SecondOpinion opinion(kPlans[i], converted);
    const Plan plan(converted, Plan::Source::kArgument);
    const auto alternatives = alternatives_of(kPlans[i].plan);
    for (size_t k = 0; k < 200; ++k) {
      const std::string& alternative = alternatives[k % alternatives.size()];
      const bool is_sample = k % 2 == 0 && alternative.find('(') == std::string::npos;
      const std::string digits = is_sample ? sample_of(alternative, random) : random_digits(plan, random);
      for (size_t length = 1; length <= digits.size() && opinion.agree(digits.substr(0, length)); ++length) {
      }
    }
    EXPECT_GT(opinion.fits(), 3U);
  }
}

}  // namespace
}  // namespace digitmap_tool
