// What does it cost to check a dial plan after each digit, compared with regular expressions that answer the same
// question?
#define PCRE2_CODE_UNIT_WIDTH 8
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <pcre2.h>
#include <re2/re2.h>
#include <re2/set.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "dial_plan.h"
#include "nuv_digitmap.h"

// ---- memory ----
//
// Every side takes its memory from malloc(), directly or through operator new. This program replaces both, and counts
// the allocated bytes as rounded by the C library. PCRE2 allocates its machine code elsewhere, and reports the size.

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void __libc_free(void* memory);
}

namespace {

size_t g_live_bytes = 0;

void* counted(void* memory) {
  g_live_bytes += malloc_usable_size(memory);
  return memory;
}

}  // namespace

extern "C" void* malloc(size_t size) {
  return counted(__libc_malloc(size));
}

extern "C" void* calloc(size_t count, size_t size) {
  return counted(__libc_calloc(count, size));
}

extern "C" void* realloc(void* memory, size_t size) {
  g_live_bytes -= malloc_usable_size(memory);
  return counted(__libc_realloc(memory, size));
}

extern "C" void free(void* memory) {
  g_live_bytes -= malloc_usable_size(memory);
  __libc_free(memory);
}

namespace {

// ---- the same plan as regular expressions ----

// The expressions of the symbols, one by one. The time-out is dialled as T.
Texts expressions_of_symbols(std::string_view pattern) {
  Texts symbols;
  while (!pattern.empty()) {
    const size_t length = pattern.front() == '[' ? pattern.find(']') + 1 : 1;
    const std::string_view symbol = pattern.substr(0, length);
    if (symbol == ".") {
      symbols.back() += '*';
    } else {
      symbols.emplace_back(symbol == "x" ? "[0-9]" : symbol);
    }
    pattern.remove_prefix(length);
  }
  return symbols;
}

std::string expression_of_complete(std::string_view pattern) {
  return join(expressions_of_symbols(pattern), "");
}

// Matches numbers that can still become complete: any symbol but the last, if all before it match.
std::string expression_of_partial(std::string_view pattern) {
  std::string expression;
  const Texts symbols = expressions_of_symbols(pattern);
  for (auto symbol = symbols.rbegin() + 1; symbol != symbols.rend(); ++symbol) {
    expression = std::string("(?:").append(*symbol).append(expression).append(")?");
  }
  return expression;
}

// How specific patterns are, as ranks: of two, the one with the lower rank wins. A repeated symbol counts as more
// copies than anybody dials.
std::vector<size_t> ranks_of(const Texts& plan) {
  std::vector<std::vector<int>> allowed;
  for (const std::string& pattern : plan) {
    std::vector<int> counts;
    for (const std::string& symbol : expressions_of_symbols(pattern)) {
      const int count = symbol.front() != '[' ? 1 : symbol[3] - symbol[1] + 1;
      if (symbol != "T") {
        counts.insert(counts.end(), symbol.back() == '*' ? 2 * kDigits : 1, count);
      }
    }
    counts.push_back(INT32_MAX);  // a pattern that continues here is more specific
    allowed.push_back(counts);
  }
  std::vector<std::vector<int>> sorted = allowed;
  std::sort(sorted.begin(), sorted.end());
  std::vector<size_t> ranks;
  for (const std::vector<int>& counts : allowed) {
    ranks.push_back(static_cast<size_t>(std::lower_bound(sorted.begin(), sorted.end(), counts) - sorted.begin()));
  }
  return ranks;
}

// ---- the sides ----

// A side is made from a plan, answers first() and best() after each digit, and returns in other_bytes() its memory that
// is not from malloc().

struct Answer {
  int32_t result = NUV_DIGITMAP_NO_MATCH;
  std::string_view pattern;  // the text of the complete pattern

  bool operator==(const Answer&) const = default;
};

// Finds the best match among all patterns that are complete or can still become so.
class BestMatch {
 public:
  explicit BestMatch(const std::vector<size_t>& ranks) : ranks_(ranks) {}

  void add_complete(size_t pattern) { complete_ = std::min(complete_, {ranks_[pattern], pattern}); }
  void add_partial(size_t pattern) { partial_ = std::min(partial_, {ranks_[pattern], pattern}); }

  Answer answer(const Texts& plan) const {
    if (complete_.first < partial_.first) {
      return {NUV_DIGITMAP_COMPLETE, plan[complete_.second]};
    }
    return {partial_ == kNone ? NUV_DIGITMAP_NO_MATCH : NUV_DIGITMAP_UNDECIDED, {}};
  }

 private:
  using Ranked = std::pair<size_t, size_t>;  // rank and pattern: among equals, the first wins
  static constexpr Ranked kNone = {SIZE_MAX, SIZE_MAX};

  const std::vector<size_t>& ranks_;
  Ranked complete_ = kNone;
  Ranked partial_ = kNone;
};

class Userlib {
 public:
  explicit Userlib(const Texts& plan) {
    NUV_DigitMap_construct(&map_);
    if (NUV_DigitMap_setMap(&map_, join(plan, "|").c_str()) != 1) {
      std::abort();
    }
  }
  ~Userlib() { NUV_DigitMap_destruct(&map_); }
  Userlib(const Userlib&) = delete;
  Userlib& operator=(const Userlib&) = delete;

  Answer first(const std::string& dialled) { return ask(NUV_DIGITMAP_FIRST_MATCH, dialled); }
  Answer best(const std::string& dialled) { return ask(NUV_DIGITMAP_BEST_MATCH, dialled); }

  // The tables of a check on the stack.
  static size_t other_bytes() { return 2 * 256; }

 private:
  Answer ask(int32_t mode, const std::string& dialled) {
    const int32_t result = NUV_DigitMap_checkDialString(&map_, mode, dialled.c_str(), 0, text_.data(),
                                                        static_cast<uint32_t>(text_.size()));
    return {result, result == NUV_DIGITMAP_COMPLETE ? text_.data() : std::string_view()};
  }

  DigitMap map_;
  std::array<char, 64> text_ = {};
};

// Two sets: the patterns that are complete, and those that can still become so.
class Re2 {
 public:
  explicit Re2(const Texts& plan)
      : plan_(plan),
        ranks_(ranks_of(plan)),
        complete_(RE2::DefaultOptions, RE2::ANCHOR_BOTH),
        partial_(RE2::DefaultOptions, RE2::ANCHOR_BOTH) {
    for (const std::string& pattern : plan) {
      complete_.Add(expression_of_complete(pattern), nullptr);
      partial_.Add(expression_of_partial(pattern), nullptr);
    }
    if (!complete_.Compile() || !partial_.Compile()) {
      std::abort();
    }
  }

  Answer first(const std::string& dialled) {
    if (complete_.Match(dialled, &indices_)) {
      return {NUV_DIGITMAP_COMPLETE, plan_[first_index()]};
    }
    return {partial_.Match(dialled, nullptr) ? NUV_DIGITMAP_UNDECIDED : NUV_DIGITMAP_NO_MATCH, {}};
  }

  Answer best(const std::string& dialled) {
    BestMatch best(ranks_);
    complete_.Match(dialled, &indices_);
    for (const int index : indices_) {
      best.add_complete(static_cast<size_t>(index));
    }
    partial_.Match(dialled, &indices_);
    for (const int index : indices_) {
      best.add_partial(static_cast<size_t>(index));
    }
    return best.answer(plan_);
  }

  static size_t other_bytes() { return 0; }

 private:
  size_t first_index() const { return static_cast<size_t>(*std::min_element(indices_.begin(), indices_.end())); }

  const Texts& plan_;
  const std::vector<size_t> ranks_;
  RE2::Set complete_;
  RE2::Set partial_;
  std::vector<int> indices_;
};

// One expression, compiled to machine code with partial matching.
class Pcre2Expression {
 public:
  explicit Pcre2Expression(const std::string& alternatives) {
    const std::string expression = std::string("(?:").append(alternatives).append(")\\z");
    int error = 0;
    size_t place = 0;
    code_.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(expression.data()), expression.size(),
                              PCRE2_ANCHORED | PCRE2_NO_AUTO_CAPTURE, &error, &place, nullptr));
    if (code_ == nullptr || pcre2_jit_compile(code_.get(), PCRE2_JIT_PARTIAL_SOFT) != 0) {
      std::abort();
    }
  }

  int32_t match(const std::string& dialled, pcre2_match_data* data) const {
    const int result = pcre2_jit_match(code_.get(), reinterpret_cast<PCRE2_SPTR>(dialled.data()), dialled.size(), 0,
                                       PCRE2_PARTIAL_SOFT, data, nullptr);
    return result > 0                      ? NUV_DIGITMAP_COMPLETE
           : result == PCRE2_ERROR_PARTIAL ? NUV_DIGITMAP_UNDECIDED
                                           : NUV_DIGITMAP_NO_MATCH;
  }

  size_t machine_code() const {
    size_t size = 0;
    pcre2_pattern_info(code_.get(), PCRE2_INFO_JITSIZE, &size);
    return size;
  }

 private:
  struct Free {
    void operator()(pcre2_code* code) const { pcre2_code_free(code); }
  };
  std::unique_ptr<pcre2_code, Free> code_;
};

class Pcre2Data {
 public:
  Pcre2Data() : data_(pcre2_match_data_create(1, nullptr)) {}
  ~Pcre2Data() { pcre2_match_data_free(data_); }
  Pcre2Data(const Pcre2Data&) = delete;
  Pcre2Data& operator=(const Pcre2Data&) = delete;
  pcre2_match_data* get() const { return data_; }

 private:
  pcre2_match_data* data_;
};

// One expression per pattern, checked one after the other.
class Pcre2 {
 public:
  explicit Pcre2(const Texts& plan) : plan_(plan), ranks_(ranks_of(plan)) {
    for (const std::string& pattern : plan) {
      expressions_.emplace_back(expression_of_complete(pattern));
    }
  }

  Answer first(const std::string& dialled) {
    int32_t result = NUV_DIGITMAP_NO_MATCH;
    for (size_t i = 0; i < expressions_.size(); ++i) {
      const int32_t match = expressions_[i].match(dialled, data_.get());
      if (match == NUV_DIGITMAP_COMPLETE) {
        return {match, plan_[i]};
      }
      result = std::min(result, match);
    }
    return {result, {}};
  }

  Answer best(const std::string& dialled) {
    BestMatch best(ranks_);
    for (size_t i = 0; i < expressions_.size(); ++i) {
      const int32_t match = expressions_[i].match(dialled, data_.get());
      if (match == NUV_DIGITMAP_COMPLETE) {
        best.add_complete(i);
      } else if (match == NUV_DIGITMAP_UNDECIDED) {
        best.add_partial(i);
      }
    }
    return best.answer(plan_);
  }

  size_t other_bytes() const {
    size_t size = 0;
    for (const Pcre2Expression& expression : expressions_) {
      size += expression.machine_code();
    }
    return size;
  }

 private:
  const Texts& plan_;
  const std::vector<size_t> ranks_;
  std::vector<Pcre2Expression> expressions_;
  Pcre2Data data_;
};

// One expression for the whole plan: fast, but it cannot tell which pattern it was.
class Alternation {
 public:
  explicit Alternation(const Texts& plan) : expression_(join(expressions(plan), "|")) {}

  Answer first(const std::string& dialled) { return {expression_.match(dialled, data_.get()), {}}; }

  size_t other_bytes() const { return expression_.machine_code(); }

 private:
  static Texts expressions(const Texts& plan) {
    Texts expressions;
    for (const std::string& pattern : plan) {
      expressions.push_back(expression_of_complete(pattern));
    }
    return expressions;
  }

  Pcre2Expression expression_;
  Pcre2Data data_;
};

// ---- asking ----

constexpr auto kFirst = [](auto& side, const std::string& dialled) { return side.first(dialled); };
constexpr auto kBest = [](auto& side, const std::string& dialled) { return side.best(dialled); };

// The answer by a plain reading of the patterns, to compare with.
template <typename Mode>
std::vector<Answer> expected_answers(const Texts& plan, const Texts& questions, Mode mode) {
  Pcre2 model(plan);
  std::vector<Answer> answers;
  for (const std::string& question : questions) {
    answers.push_back(mode(model, question));
  }
  return answers;
}

template <typename Side, typename Mode>
void ask_plan(benchmark::State& state, size_t size, Mode mode) {
  const Texts plan = make_plan(size);
  const Texts questions = make_questions(plan);
  const std::vector<Answer> expected = expected_answers(plan, questions, mode);
  const size_t bytes_before = g_live_bytes;
  Side side(plan);
  for (size_t i = 0; i < questions.size(); ++i) {
    Answer wanted = expected[i];
    if (std::is_same_v<Side, Alternation>) {
      wanted.pattern = {};
    }
    if (mode(side, questions[i]) != wanted) {
      state.SkipWithError(std::string("wrong answer for ").append(questions[i]).c_str());
      return;
    }
  }
  state.counters["bytes"] = static_cast<double>(g_live_bytes - bytes_before + side.other_bytes());
  while (state.KeepRunningBatch(kAsked)) {
    for (const std::string& question : questions) {
      benchmark::DoNotOptimize(mode(side, question).result);
    }
  }
}

// ---- growth ----
//
// Compares one large check with small ones that have as many patterns, symbols or digits in total: if the cost is
// linear, the times are equal.

struct Amount {
  size_t maps;
  size_t patterns;  // of each map
  size_t repeats;   // of each pattern; 0: a plan like those above
  size_t digits;
};

// Digits can be divided among the repeated symbols in many ways, and no number is complete.
Texts make_hostile_plan(size_t size, size_t repeats) {
  std::string pattern;
  for (size_t i = 0; i < repeats; ++i) {
    pattern += "x.";
  }
  return Texts(size, pattern + "#");
}

void grow(benchmark::State& state, Amount amount) {
  const Texts all = make_plan(amount.maps * amount.patterns);
  std::vector<std::unique_ptr<Userlib>> maps;
  for (size_t i = 0; i < amount.maps; ++i) {
    const auto from = all.begin() + static_cast<ptrdiff_t>(i * amount.patterns);
    maps.push_back(std::make_unique<Userlib>(amount.repeats != 0
                                                 ? make_hostile_plan(amount.patterns, amount.repeats)
                                                 : Texts(from, from + static_cast<ptrdiff_t>(amount.patterns))));
  }
  Texts questions;
  if (amount.repeats != 0) {
    questions.push_back(std::string(amount.digits, '1'));
  } else {
    questions = make_questions(all);
  }
  for (auto _ : state) {
    for (const std::string& question : questions) {
      for (const auto& map : maps) {
        benchmark::DoNotOptimize(map->best(question).result);
      }
    }
  }
}

// ---- the cases ----

template <typename Side, typename Mode>
void register_plan(const std::string& name, size_t size, Mode mode, const char* side) {
  benchmark::RegisterBenchmark(join({name, std::to_string(size), side}, "/").c_str(),
                               [=](benchmark::State& state) { ask_plan<Side>(state, size, mode); });
}

void register_growth(const std::string& name, Amount one, Amount many) {
  benchmark::RegisterBenchmark(join({"growth", name, "userlib"}, "/").c_str(),
                               [=](benchmark::State& state) { grow(state, one); });
  benchmark::RegisterBenchmark(join({"growth", name, "limit"}, "/").c_str(),
                               [=](benchmark::State& state) { grow(state, many); });
}

const bool kRegistered = [] {
  for (const size_t size : {10, 100, 1000}) {
    register_plan<Userlib>("first_match", size, kFirst, "userlib");
    register_plan<Re2>("first_match", size, kFirst, "re2");
    register_plan<Pcre2>("first_match", size, kFirst, "pcre2");
    if (size < 1000) {  // larger plans are too long for an expression of PCRE2
      register_plan<Alternation>("without_pattern", size, kFirst, "pcre2");
    }
    register_plan<Userlib>("best_match", size, kBest, "userlib");
    register_plan<Re2>("best_match", size, kBest, "re2");
    register_plan<Pcre2>("best_match", size, kBest, "pcre2");
  }
  register_growth("patterns", {1, 1000, 0, kDigits}, {10, 100, 0, kDigits});
  register_growth("hostile_patterns", {1, 1000, 4, kDigits}, {10, 100, 4, kDigits});
  register_growth("hostile_repeats", {1, 100, 32, kDigits}, {4, 100, 8, kDigits});
  register_growth("hostile_digits", {1, 100, 4, 4 * kDigits}, {4, 100, 4, kDigits});
  return true;
}();

}  // namespace
