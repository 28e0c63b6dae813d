#include "nuv_digitmap.h"

#include <algorithm>
#include <bit>
#include <span>
#include <string_view>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "contract.h"
#include "malloc_ptr.h"
#include "text.h"

using Pattern = NUV_DigitMapPattern;

namespace {

constexpr char kFamily[] = "nuv_digitmap";

// A symbol mask has one bit for each character that can be dialled, in the order of kSymbols, and the repeat flag.
constexpr std::string_view kSymbols = "0123456789ABCD#*";
constexpr uint32_t kAnyDigit = 0x3FF;
constexpr uint32_t kAnySymbol = 0xFFFF;
constexpr uint32_t kRepeat = 0x10000;

constexpr char kFirstSymbol = '#';
constexpr char kLastSymbol = 'D';

struct SymbolTable {
  constexpr SymbolTable() : bits{} {
    for (size_t i = 0; i < kSymbols.size(); ++i) {
      bits[kSymbols[i] - kFirstSymbol] = static_cast<uint16_t>(1U << i);
    }
  }
  uint16_t bits[kLastSymbol - kFirstSymbol + 1];
};

constexpr SymbolTable kSymbolTable;

// The character's bit, or 0 when it cannot be dialled.
uint32_t symbol_bit(char c) {
  return c >= kFirstSymbol && c <= kLastSymbol ? kSymbolTable.bits[c - kFirstSymbol] : 0;
}

bool repeats(uint32_t symbol) {
  return (symbol & kRepeat) != 0;
}

std::span<const uint32_t> symbols_of(const Pattern& pattern) {
  return {pattern.m_pSymbols, pattern.m_uCount};
}

// ---- reading a map ----

// The bits from the low one to the high one; none if they are the wrong way round or one is missing.
uint32_t range_mask(uint32_t low, uint32_t high) {
  uint32_t mask = 0;
  for (uint32_t bit = low; bit != 0 && bit <= high; bit <<= 1) {
    mask |= bit;
  }
  return mask;
}

// Reads what stands between brackets. Returns false when it holds something else than symbols and "-".
bool read_bracket(std::string_view text, uint32_t& mask) {
  uint32_t all = 0;
  uint32_t first = 0;
  uint32_t last = 0;
  bool is_range = false;
  for (const char c : text) {
    const uint32_t bit = symbol_bit(c);
    if (bit == 0 && c != '-') {
      return false;
    }
    is_range = is_range || c == '-';
    all |= bit;
    if (first == 0) {
      first = bit;
    } else if (bit != 0) {
      last = bit;
    }
  }
  mask = is_range ? range_mask(first, last) : all;
  return true;
}

// Reads one pattern. The first reading has no array to write to and finds out how long it must be; the second fills it.
class PatternReader {
 public:
  explicit PatternReader(uint32_t* symbols) : symbols_(symbols) {}

  bool read(std::string_view text) {
    while (!text.empty()) {
      const char c = text.front();
      text.remove_prefix(1);
      if (c == '[' ? !take_bracket(text) : !take(c)) {
        return false;
      }
    }
    return true;
  }

  uint32_t count() const { return count_; }
  bool waits_for_timer() const { return waits_for_timer_; }

 private:
  bool take(char c) {
    switch (c) {
      case 'x':
      case 'X':
        return put(kAnyDigit);
      case '.':
        return repeat_previous();
      case 'T':
        waits_for_timer_ = true;
        return true;
      default:
        return symbol_bit(c) != 0 && put(symbol_bit(c));
    }
  }

  bool take_bracket(std::string_view& text) {
    const size_t end = text.find(']');
    uint32_t mask = 0;
    if (end == std::string_view::npos || !read_bracket({text.data(), end}, mask)) {
      return false;
    }
    text.remove_prefix(end + 1);
    return put(mask);
  }

  bool put(uint32_t mask) {
    if (count_ == UINT32_MAX) {
      return false;  // a record cannot count more
    }
    if (symbols_ != nullptr) {
      symbols_[count_] = mask;
    }
    ++count_;
    return true;
  }

  bool repeat_previous() {
    if (count_ == 0) {
      return false;
    }
    if (symbols_ != nullptr) {
      symbols_[count_ - 1] |= kRepeat;
    }
    return true;
  }

  uint32_t* symbols_;
  uint32_t count_ = 0;
  bool waits_for_timer_ = false;
};

userlib::MallocPtr<char[]> copy_text(std::string_view text) {
  auto copy = userlib::malloc_array<char>(text.size() + 1);
  if (copy != nullptr) {
    memcpy(copy.get(), text.data(), text.size());
    copy[text.size()] = '\0';
  }
  return copy;
}

void free_pattern(Pattern* pattern) {
  free(pattern->m_pSymbols);
  free(pattern->m_pText);
  free(pattern);
}

// Makes the record of one pattern, or null where the text is not valid or memory lacks. A pattern for whose symbols
// there is no memory is kept without any: it matches nothing dialled, and the rest of the map works on.
Pattern* make_pattern(std::string_view text) {
  PatternReader measure(nullptr);
  if (!measure.read(text)) {
    return nullptr;
  }
  userlib::MallocPtr<Pattern> pattern(static_cast<Pattern*>(malloc(sizeof(Pattern))));
  if (pattern == nullptr) {
    return nullptr;
  }
  auto symbols = userlib::malloc_array<uint32_t>(measure.count());
  auto copy = copy_text(text);
  if (copy == nullptr) {
    return nullptr;
  }
  const uint32_t count = symbols != nullptr ? measure.count() : 0;
  if (symbols != nullptr) {
    PatternReader(symbols.get()).read(text);
  }
  *pattern = {symbols.release(), count, copy.release(), measure.waits_for_timer() ? uint8_t{1} : uint8_t{0}, nullptr};
  return pattern.release();
}

// Appends the pattern at the end of the list, of which any link may be given.
bool append_pattern(Pattern** link, std::string_view text) {
  Pattern* pattern = make_pattern(text);
  if (pattern == nullptr) {
    return false;
  }
  while (*link != nullptr) {
    link = &(*link)->m_pNext;
  }
  *link = pattern;
  return true;
}

bool is_filler(char c) {
  return c == ' ' || c == '(' || c == ')';
}

// A copy of the map's text without blanks and parentheses, which mean nothing; null for null or without memory.
userlib::MallocPtr<char[]> copy_map_text(const char* map) {
  auto text = map != nullptr ? userlib::malloc_array<char>(strlen(map) + 1) : nullptr;
  if (text == nullptr) {
    return nullptr;
  }
  char* end = text.get();
  for (; *map != '\0'; ++map) {
    if (!is_filler(*map)) {
      *end++ = *map;
    }
  }
  *end = '\0';
  return text;
}

void free_patterns(DigitMap& map) {
  while (map != nullptr) {
    Pattern* pattern = map;
    map = pattern->m_pNext;
    free_pattern(pattern);
  }
}

// ---- checking a dial string ----
//
// A repeated symbol stands for any number of copies of itself, from none to as many as digits were dialled. A check is
// defined by trying all of these expansions of a pattern, the counts of the first repeated symbol changing slowest: the
// first expansion that fits completely decides, or else the very last one. Trying them out takes time that explodes
// with the number of repeated symbols, so none is tried: a table tells from which symbol and digit on a complete fit is
// possible, the first fit is read off the table, and the last expansion (every repeated symbol as often as digits were
// dialled) is compared as it stands.

enum class Fit { kPartial, kComplete, kDialStringTooLong, kNone };

// Walks over the symbols of a pattern with every repeated symbol standing for the same number of copies.
class ExpandedSymbols {
 public:
  ExpandedSymbols(const Pattern& pattern, size_t copies) : symbols_(symbols_of(pattern)), copies_(copies) { settle(); }

  bool at_end() const { return symbols_.empty(); }
  uint32_t symbol() const { return symbols_.front(); }

  void advance() {
    --left_;
    if (left_ == 0) {
      symbols_ = symbols_.last(symbols_.size() - 1);
      settle();
    }
  }

 private:
  // Moves on to the next symbol that has any copies.
  void settle() {
    while (!symbols_.empty() && repeats(symbols_.front()) && copies_ == 0) {
      symbols_ = symbols_.last(symbols_.size() - 1);
    }
    left_ = !symbols_.empty() && repeats(symbols_.front()) ? copies_ : 1;
  }

  std::span<const uint32_t> symbols_;
  size_t copies_;
  size_t left_ = 1;
};

Fit fit_last_expansion(const Pattern& pattern, std::string_view dialled) {
  ExpandedSymbols expansion(pattern, dialled.size());
  for (const char c : dialled) {
    if (expansion.at_end()) {
      return Fit::kDialStringTooLong;
    }
    if ((expansion.symbol() & symbol_bit(c)) == 0) {
      return Fit::kNone;
    }
    expansion.advance();
  }
  return expansion.at_end() ? Fit::kComplete : Fit::kPartial;
}

// For each symbol i of a pattern and each digit j: can the symbols from i on fit the digits from j on, to the end of
// both? Patterns and dial strings of ordinary size find room in the record itself, longer ones on the heap.
class FitTable {
 public:
  // Returns false without memory.
  bool fill(const Pattern& pattern, std::string_view dialled) {
    const size_t digits = dialled.size();
    const size_t symbols = pattern.m_uCount;
    if (!reserve(symbols + 1, digits + 1)) {
      return false;
    }
    std::fill_n(row(symbols), digits, uint8_t{0});
    row(symbols)[digits] = 1;
    for (size_t i = symbols; i-- > 0;) {
      fill_row(row(i), row(i + 1), pattern.m_pSymbols[i], dialled);
    }
    return true;
  }

  bool fits(size_t symbol, size_t digit) const { return cells_[symbol * row_length_ + digit] != 0; }

 private:
  bool reserve(size_t rows, size_t row_length) {
    size_t size = 0;
    if (__builtin_mul_overflow(rows, row_length, &size)) {
      return false;
    }
    row_length_ = row_length;
    cells_ = small_;
    if (size > sizeof small_) {
      large_ = userlib::malloc_array<uint8_t>(size);
      cells_ = large_.get();
    }
    return cells_ != nullptr;
  }

  uint8_t* row(size_t symbol) { return cells_ + symbol * row_length_; }

  // A repeated symbol may stand for nothing, or take one digit and stay; any other takes one digit and goes.
  static void fill_row(uint8_t* here, const uint8_t* behind, uint32_t symbol, std::string_view dialled) {
    const bool repeated = repeats(symbol);
    const uint8_t* after_digit = repeated ? here : behind;
    here[dialled.size()] = repeated ? behind[dialled.size()] : uint8_t{0};
    for (size_t j = dialled.size(); j-- > 0;) {
      const bool takes = (symbol & symbol_bit(dialled[j])) != 0 && after_digit[j + 1] != 0;
      const bool skips = repeated && behind[j] != 0;
      here[j] = takes || skips ? 1 : 0;
    }
  }

  uint8_t small_[2048];
  userlib::MallocPtr<uint8_t[]> large_;
  uint8_t* cells_ = nullptr;
  size_t row_length_ = 0;
};

// Walks over the first expansion that fits completely: every repeated symbol stands for as few digits as it can. The
// table must be that of the pattern; it is not looked at when no symbol repeats.
class CompleteExpansion {
 public:
  CompleteExpansion(const Pattern& pattern, const FitTable& table) : pattern_(pattern), table_(table) { settle(); }

  bool at_end() const { return at_ == pattern_.m_uCount; }
  uint32_t symbol() const { return pattern_.m_pSymbols[at_]; }

  void advance() {
    ++digit_;
    if (!repeats(symbol())) {
      ++at_;
    }
    settle();
  }

 private:
  // Leaves repeated symbols behind as soon as the rest of the pattern can do without them.
  void settle() {
    while (!at_end() && repeats(symbol()) && table_.fits(at_ + 1, digit_)) {
      ++at_;
    }
  }

  const Pattern& pattern_;
  const FitTable& table_;
  size_t at_ = 0;
  size_t digit_ = 0;
};

int allowed_characters(uint32_t symbol) {
  return std::popcount(symbol & kAnySymbol);
}

// Tells whether expansion a is more specific than b: allows fewer characters at the first difference, or is longer.
template <typename A, typename B>
bool is_more_specific(A a, B b) {
  while (!a.at_end() && !b.at_end()) {
    const int in_a = allowed_characters(a.symbol());
    const int in_b = allowed_characters(b.symbol());
    if (in_a != in_b) {
      return in_a < in_b;
    }
    a.advance();
    b.advance();
  }
  return !a.at_end();
}

bool is_open_ended(const Pattern& pattern) {
  const size_t length = strlen(pattern.m_pText);
  return length > 0 && pattern.m_pText[length - 1] == '.';
}

// One check of a dial string against all patterns of a list.
class Check {
 public:
  Check(std::string_view dialled, uint8_t timer, std::span<char> out) : dialled_(dialled), timer_(timer), out_(out) {}

  int32_t first_match(const Pattern* list) {
    int32_t result = NUV_DIGITMAP_NO_MATCH;
    FitTable table;
    for (const Pattern* pattern = list; pattern != nullptr; pattern = pattern->m_pNext) {
      const Fit fit = match(*pattern, table);
      if (fit == Fit::kComplete) {
        return NUV_DIGITMAP_COMPLETE;
      }
      if (fit == Fit::kPartial) {
        result = NUV_DIGITMAP_UNDECIDED;
      }
    }
    return result;
  }

  int32_t best_match(const Pattern* list) {
    const Pattern* complete = nullptr;
    const Pattern* partial = nullptr;
    FitTable tables[2];
    FitTable* best = &tables[0];  // that of the complete pattern
    FitTable* next = &tables[1];
    for (const Pattern* pattern = list; pattern != nullptr; pattern = pattern->m_pNext) {
      const Fit fit = match(*pattern, *next);
      if (fit == Fit::kComplete && (complete == nullptr || is_more_specific(CompleteExpansion(*pattern, *next),
                                                                            CompleteExpansion(*complete, *best)))) {
        complete = pattern;
        std::swap(best, next);
      }
      if (fit == Fit::kPartial && (partial == nullptr || is_more_specific(expand(*pattern), expand(*partial)))) {
        partial = pattern;
      }
    }
    if (complete == nullptr) {
      return partial != nullptr ? NUV_DIGITMAP_UNDECIDED : NUV_DIGITMAP_NO_MATCH;
    }
    if (partial != nullptr && !is_more_specific(CompleteExpansion(*complete, *best), expand(*partial))) {
      return NUV_DIGITMAP_UNDECIDED;
    }
    print(*complete);
    return is_open_ended(*complete) ? NUV_DIGITMAP_UNDECIDED : NUV_DIGITMAP_COMPLETE;
  }

 private:
  // Matches one pattern, and prints it when it is complete.
  Fit match(const Pattern& pattern, FitTable& table) const {
    const Fit fit = fit_pattern(pattern, table);
    if (fit == Fit::kComplete) {
      print(pattern);
    }
    return fit;
  }

  Fit fit_pattern(const Pattern& pattern, FitTable& table) const {
    // A complete fit counts only with the timer in the state that the pattern asks for; otherwise it has to wait.
    const bool may_complete = pattern.m_bTimer == timer_;
    const auto symbols = symbols_of(pattern);
    if (may_complete && std::any_of(symbols.begin(), symbols.end(), repeats)) {
      if (!table.fill(pattern, dialled_)) {
        return Fit::kPartial;
      }
      if (table.fits(0, 0)) {
        return Fit::kComplete;
      }
    }
    const Fit fit = fit_last_expansion(pattern, dialled_);
    return fit == Fit::kComplete && !may_complete ? Fit::kPartial : fit;
  }

  ExpandedSymbols expand(const Pattern& pattern) const { return {pattern, dialled_.size()}; }

  void print(const Pattern& pattern) const {
    snprintf(out_.data(), userlib::print_room(out_.size()), "%s", pattern.m_pText);
  }

  std::string_view dialled_;
  uint8_t timer_;
  std::span<char> out_;
};

}  // namespace

int32_t NUV_DigitMap_construct(DigitMap* a_this) {
  NUV_REQUIRE(0 == is_null(a_this));
  *a_this = nullptr;
  return 1;
}

void NUV_DigitMap_destruct(DigitMap* a_this) {
  NUV_REQUIRE(0 == is_null(a_this));
  free_patterns(*a_this);
}

int32_t NUV_DigitMap_setMap(DigitMap* a_this, const char* a_map) {
  NUV_REQUIRE(0 == is_null(a_this));
  NUV_REQUIRE(0 == is_null(a_map));
  const auto text = copy_map_text(a_map);
  free_patterns(*a_this);
  if (text == nullptr) {
    return 0;
  }
  for (const char* at = text.get(); *at != '\0';) {
    const size_t length = strcspn(at, "|");
    if (length > 0 && !append_pattern(a_this, {at, length})) {
      return 0;
    }
    at += length + (at[length] == '|' ? 1 : 0);
  }
  return 1;
}

int32_t NUV_DigitMap_addMap(DigitMap* a_this, const char* a_map) {
  NUV_REQUIRE(0 == is_null(a_this));
  NUV_REQUIRE(0 == is_null(a_map));
  const auto text = copy_map_text(a_map);
  return text != nullptr && append_pattern(a_this, text.get()) ? 1 : 0;
}

void NUV_DigitMap_dumpMap(const DigitMap* a_this) {
  NUV_REQUIRE(0 == is_null(a_this));
  for (const Pattern* pattern = *a_this; pattern != nullptr; pattern = pattern->m_pNext) {
    printf("---------------\n");
    printf("OrigString: %s\n", pattern->m_pText);
    printf("Timeout: %d\n", pattern->m_bTimer);
    printf("Symbols:  ");
    for (const uint32_t symbol : symbols_of(*pattern)) {
      printf(" 0x%x", symbol);
    }
    printf("\n---------------\n");
  }
}

int32_t NUV_DigitMap_checkDialString(const DigitMap* a_this, int32_t a_mode, const char* a_dial_string,
                                     uint32_t a_timer, char* a_out, uint32_t a_outSize) {
  NUV_REQUIRE(0 == is_null(a_this));
  NUV_REQUIRE(0 == is_null(a_dial_string));
  if (a_dial_string == nullptr) {
    return NUV_DIGITMAP_NO_MATCH;
  }
  Check check(a_dial_string, static_cast<uint8_t>(a_timer), {a_out, a_out != nullptr ? a_outSize : 0});
  switch (a_mode) {
    case NUV_DIGITMAP_FIRST_MATCH:
      return check.first_match(*a_this);
    case NUV_DIGITMAP_BEST_MATCH:
      return check.best_match(*a_this);
    default:
      return NUV_DIGITMAP_NO_MATCH;
  }
}
