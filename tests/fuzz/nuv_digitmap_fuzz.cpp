// A digit map, compared with the model. The first line of an input is the map; each further line adds a pattern if it
// begins with "+", otherwise it is digits to check.
#include <algorithm>
#include <array>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "models/digitmap_model.h"
#include "nuv_digitmap.h"

namespace {

using fuzz::ExactText;
using support::DigitMapModel;

constexpr size_t kOutSize = 48;

// The model tries all expansions. Skips it if that takes too long.
bool is_too_much(const DigitMapModel& model, size_t digits) {
  return model.expansions(digits) > 500;
}

void compare_patterns(const NUV_DigitMapPattern* pattern, const DigitMapModel& model) {
  for (const DigitMapModel::Pattern& expected : model.patterns()) {
    FUZZ_CHECK(pattern != nullptr);
    FUZZ_CHECK(pattern->m_pText == expected.text);
    FUZZ_CHECK(pattern->m_bTimer == expected.timer);
    FUZZ_CHECK(std::equal(pattern->m_pSymbols, pattern->m_pSymbols + pattern->m_uCount, expected.symbols.begin(),
                          expected.symbols.end()));
    pattern = pattern->m_pNext;
  }
  FUZZ_CHECK(pattern == nullptr);
}

std::string dump_of(const DigitMapModel& model) {
  constexpr char kRule[] = "---------------\n";
  std::string text;
  for (const DigitMapModel::Pattern& pattern : model.patterns()) {
    text += kRule + ("OrigString: " + pattern.text) + "\nTimeout: " + std::to_string(pattern.timer) + "\nSymbols:  ";
    for (const uint32_t symbol : pattern.symbols) {
      std::array<char, 16> mask;
      std::snprintf(mask.data(), mask.size(), " 0x%x", symbol);
      text += mask.data();
    }
    text += std::string("\n") + kRule;
  }
  return text;
}

void check(const DigitMap& map, const DigitMapModel& model, const std::string& digits, int32_t mode, uint32_t timer,
           size_t out_size) {
  std::array<char, kOutSize> out;
  out.fill('~');
  const auto limit = static_cast<uint32_t>(out_size);
  const ExactText text(digits);
  const int32_t result = NUV_DigitMap_checkDialString(&map, mode, text.get(), timer, out.data(), limit);
  FUZZ_CHECK(result == NUV_DIGITMAP_UNDECIDED || result == NUV_DIGITMAP_COMPLETE || result == NUV_DIGITMAP_NO_MATCH);
  FUZZ_CHECK(std::all_of(out.begin() + limit, out.end(), [](char c) { return c == '~'; }));
  if (is_too_much(model, digits.size())) {
    return;
  }
  std::array<char, kOutSize> expected;
  expected.fill('~');
  FUZZ_CHECK(result == model.check(mode, digits, timer, expected.data(), limit));
  FUZZ_CHECK(out == expected);
}

void check_all(const DigitMap& map, const DigitMapModel& model, const std::string& digits) {
  for (const int32_t mode : {NUV_DIGITMAP_FIRST_MATCH, NUV_DIGITMAP_BEST_MATCH}) {
    for (const uint32_t timer : {0U, 1U, 0x102U}) {
      check(map, model, digits, mode, timer, kOutSize - 8);
    }
    check(map, model, digits, mode, 0x100, digits.size() % 8);
  }
  check(map, model, digits, 2, 0, kOutSize - 8);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  DigitMap map;
  NUV_DigitMap_construct(&map);
  DigitMapModel model;
  const std::string text(fuzz::c_text(input.line()));
  FUZZ_CHECK((NUV_DigitMap_setMap(&map, ExactText(text).get()) == 1) == model.set_map(text));
  compare_patterns(map, model);
  while (!input.empty()) {
    const std::string line(fuzz::c_text(input.line()));
    if (line.starts_with("+")) {
      const std::string pattern = line.substr(1);
      FUZZ_CHECK((NUV_DigitMap_addMap(&map, ExactText(pattern).get()) == 1) == model.add_map(pattern));
      compare_patterns(map, model);
    } else {
      check_all(map, model, line);
    }
  }
  fuzz::Stdout printed;
  NUV_DigitMap_dumpMap(&map);
  FUZZ_CHECK(printed.take() == dump_of(model));
  NUV_DigitMap_destruct(&map);
  FUZZ_CHECK(map == nullptr);
  return 0;
}
