// Dial plans, and numbers to dial: the same in every run and on every machine.
#ifndef BENCHMARKS_DIAL_PLAN_H
#define BENCHMARKS_DIAL_PLAN_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

using Texts = std::vector<std::string>;

constexpr size_t kDigits = 10;
constexpr size_t kNumbers = 20;
// Keeps the overhead of the loop small beside checks of 50 nanoseconds.
constexpr size_t kAsked = kNumbers * kDigits;

class Random {
 public:
  size_t below(size_t limit) {
    state_ = state_ * UINT64_C(6364136223846793005) + UINT64_C(1442695040888963407);
    return static_cast<size_t>(state_ >> 33) % limit;
  }

 private:
  uint64_t state_ = 4711;
};

// The kinds of patterns in a plan: area codes with subscriber numbers, short codes, open-ended numbers. d is any digit,
// h a high one.
constexpr const char* kKinds[] = {
    "00hddx.T",       "1ddd",           "hd[2-h]xxx",     "hd[2-h]xxx",     "0hdd[1-h]xxxxx",
    "0hdd[1-h]xxxxx", "0hdd[1-h]xxxxx", "0hdd[1-h]xxxxx", "0hdd[1-h]xxxxx", "0hdd[1-h]xxxxx",
};

inline std::string make_pattern(Random& random, std::string kind) {
  for (char& c : kind) {
    if (c == 'd') {
      c = static_cast<char>('0' + random.below(10));
    } else if (c == 'h') {
      c = static_cast<char>('3' + random.below(7));
    }
  }
  return kind;
}

inline Texts make_plan(size_t size) {
  Random random;
  Texts plan;
  while (plan.size() < size) {
    const std::string pattern = make_pattern(random, kKinds[plan.size() % std::size(kKinds)]);
    if (std::find(plan.begin(), plan.end(), pattern) == plan.end()) {
      plan.push_back(pattern);
    }
  }
  return plan;
}

inline std::string join(const Texts& plan, const char* between) {
  std::string text;
  for (const std::string& pattern : plan) {
    if (!text.empty()) {
      text += between;
    }
    text += pattern;
  }
  return text;
}

// Digits that a pattern takes, followed by random digits; every fifth number is random.
inline Texts make_numbers(const Texts& plan) {
  Random random;
  Texts numbers;
  while (numbers.size() < kNumbers) {
    std::string number;
    if (numbers.size() % 5 != 0) {
      for (const char c : plan[random.below(plan.size())]) {
        if (c == '[') {
          number += '2';
          break;
        }
        if (c < '0' || c > '9') {
          break;
        }
        number += c;
      }
    }
    while (number.size() < kDigits) {
      number += std::to_string(random.below(10));
    }
    numbers.push_back(number);
  }
  return numbers;
}

// All prefixes of all numbers.
inline Texts make_questions(const Texts& plan) {
  Texts questions;
  for (const std::string& number : make_numbers(plan)) {
    for (size_t digits = 1; digits <= kDigits; ++digits) {
      questions.push_back(number.substr(0, digits));
    }
  }
  return questions;
}

#endif
