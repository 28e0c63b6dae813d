#include "nuv_digitmap.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <span>
#include <string_view>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "core/contract.h"
#include "core/malloc_ptr.h"
#include "core/text.h"

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

// The symbols in front of the first repeated one: each of them stands in the place of one digit.
size_t fixed_symbols(const Pattern& pattern) {
  size_t fixed = 0;
  while (fixed < pattern.m_uCount && !repeats(pattern.m_pSymbols[fixed])) {
    ++fixed;
  }
  return fixed;
}

bool has_repetition(const Pattern& pattern) {
  return fixed_symbols(pattern) < pattern.m_uCount;
}

// ---- which patterns a dial string leaves ----
//
// The first digits rule out most patterns of a long map. For each of the first places and each symbol there, a block of
// patterns knows which of them may have that symbol: one word of bits, from which the few patterns that are left for a
// dial string are read off.

constexpr size_t kPlaces = 3;

struct Block;

// What every pattern of a list is. Its text lies behind it.
struct Record : Pattern {
  Block* block;

  char* text() { return reinterpret_cast<char*>(this + 1); }
};

struct Block {
  Block* next;
  uint32_t count;       // of patterns
  Record* records[32];  // a bit each in may_have
  uint32_t may_have[kPlaces][kSymbols.size()];
};

constexpr uint32_t kBlockSize = std::size(decltype(Block::records){});

Block* first_block(DigitMap map) {
  return map != nullptr ? static_cast<Record*>(map)->block : nullptr;
}

// The symbols that a pattern may have at a place. From the first repeated one on, that is any.
uint32_t symbols_at(const Pattern& pattern, size_t place) {
  const size_t fixed = fixed_symbols(pattern);
  if (place < fixed) {
    return pattern.m_pSymbols[place];
  }
  return fixed < pattern.m_uCount ? kAnySymbol : 0;
}

void enter_record(Block& block, Record* record) {
  for (size_t place = 0; place < kPlaces; ++place) {
    const uint32_t symbols = symbols_at(*record, place);
    for (size_t i = 0; i < kSymbols.size(); ++i) {
      block.may_have[place][i] |= (symbols >> i & 1) << block.count;
    }
  }
  block.records[block.count] = record;
  ++block.count;
}

// The patterns of a map that a dial string does not rule out at once, in their order.
class Candidates {
 public:
  Candidates(DigitMap map, std::string_view dialled) : block_(first_block(map)) {
    for (const char c : dialled) {
      const uint32_t bit = symbol_bit(c);
      if (places_ == kPlaces || bit == 0) {
        break;
      }
      symbols_[places_++] = static_cast<uint8_t>(std::countr_zero(bit));
    }
    if (block_ != nullptr) {
      enter_block();
    }
  }

  // Null at the end.
  const Pattern* next() {
    while (left_ == 0) {
      if (block_ == nullptr || block_->next == nullptr) {
        return nullptr;
      }
      block_ = block_->next;
      enter_block();
    }
    const int index = std::countr_zero(left_);
    left_ &= left_ - 1;
    return block_->records[index];
  }

 private:
  void enter_block() {
    left_ = UINT32_MAX >> (kBlockSize - block_->count);
    for (size_t place = 0; place < places_; ++place) {
      left_ &= block_->may_have[place][symbols_[place]];
    }
  }

  const Block* block_;
  uint32_t left_ = 0;  // the bits of the block's patterns that are still to come
  size_t places_ = 0;
  uint8_t symbols_[kPlaces];
};

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

struct FreeRecord {
  void operator()(Record* record) const {
    free(record->m_pSymbols);
    free(record);
  }
};

using RecordPtr = std::unique_ptr<Record, FreeRecord>;

// Makes the record of one pattern, or null where the text is not valid or memory lacks. A pattern for whose symbols there
// is no memory is kept without any: it matches nothing dialled, and the rest of the map works on.
RecordPtr make_record(std::string_view text) {
  PatternReader measure(nullptr);
  if (!measure.read(text)) {
    return nullptr;
  }
  RecordPtr record(static_cast<Record*>(malloc(sizeof(Record) + text.size() + 1)));
  if (record == nullptr) {
    return nullptr;
  }
  *record = {};
  record->m_pText = record->text();
  nuv::store_text({record->text(), text.size() + 1}, text);
  record->m_bTimer = measure.waits_for_timer() ? 1 : 0;
  record->m_pSymbols = nuv::malloc_array<uint32_t>(measure.count()).release();
  if (record->m_pSymbols != nullptr) {
    record->m_uCount = measure.count();
    PatternReader(record->m_pSymbols).read(text);
  }
  return record;
}

Block* last_block(DigitMap map) {
  Block* block = first_block(map);
  while (block != nullptr && block->next != nullptr) {
    block = block->next;
  }
  return block;
}

bool append_pattern(DigitMap& map, std::string_view text) {
  RecordPtr record = make_record(text);
  if (record == nullptr) {
    return false;
  }
  Block* const last = last_block(map);
  Pattern*& link = last != nullptr ? last->records[last->count - 1]->m_pNext : map;
  record->block = last;
  if (last == nullptr || last->count == kBlockSize) {
    record->block = nuv::malloc_array<Block>(1).release();
    if (record->block == nullptr) {
      return false;
    }
    *record->block = {};
    if (last != nullptr) {
      last->next = record->block;
    }
  }
  enter_record(*record->block, record.get());
  link = record.release();
  return true;
}

bool is_filler(char c) {
  return c == ' ' || c == '(' || c == ')';
}

// A copy of the map's text without blanks and parentheses, which mean nothing; null for null or without memory.
nuv::MallocPtr<char[]> copy_map_text(const char* map) {
  auto text = map != nullptr ? nuv::malloc_array<char>(strlen(map) + 1) : nullptr;
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
  Block* block = first_block(map);
  map = nullptr;
  while (block != nullptr) {
    for (uint32_t i = 0; i < block->count; ++i) {
      FreeRecord()(block->records[i]);
    }
    Block* const next = block->next;
    free(block);
    block = next;
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
  ExpandedSymbols(const Pattern& pattern, size_t copies)
      : at_(pattern.m_pSymbols), end_(at_ + pattern.m_uCount), copies_(copies) {
    skip_absent();
  }

  bool at_end() const { return at_ == end_; }
  uint32_t symbol() const { return *at_; }

  void advance() {
    --left_;
    if (left_ == 0) {
      ++at_;
      skip_absent();
    }
  }

 private:
  // Moves on to the next symbol that has any copies.
  void skip_absent() {
    left_ = 1;
    while (at_ != end_ && repeats(*at_)) {
      if (copies_ != 0) {
        left_ = copies_;
        return;
      }
      ++at_;
    }
  }

  const uint32_t* at_;
  const uint32_t* end_;
  size_t copies_;
  size_t left_;
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

// For each symbol i of a pattern and each digit j, a bit: can the symbols from i on fit the digits from j on, to the end of
// both? Patterns and dial strings of ordinary size find room in the record itself, longer ones on the heap.
class FitTable {
 public:
  // Returns false without memory.
  bool fill(const Pattern& pattern, std::string_view dialled) {
    const size_t symbols = pattern.m_uCount;
    if (!reserve(symbols + 1, dialled.size() + 1)) {
      return false;
    }
    set(symbols, dialled.size());
    for (size_t i = symbols; i-- > 0;) {
      fill_row(i, pattern.m_pSymbols[i], dialled);
    }
    return true;
  }

  bool fits(size_t symbol, size_t digit) const {
    const size_t cell = symbol * row_length_ + digit;
    return (bits_[cell / 8] >> cell % 8 & 1) != 0;
  }

 private:
  bool reserve(size_t rows, size_t row_length) {
    size_t cells = 0;
    if (__builtin_mul_overflow(rows, row_length, &cells)) {
      return false;
    }
    row_length_ = row_length;
    bits_ = small_;
    if (cells > sizeof small_ * 8) {
      large_ = nuv::malloc_array<uint8_t>(cells / 8 + 1);
      bits_ = large_.get();
    }
    if (bits_ == nullptr) {
      return false;
    }
    memset(bits_, 0, (cells - 1) / 8 + 1);
    return true;
  }

  void set(size_t symbol, size_t digit) {
    const size_t cell = symbol * row_length_ + digit;
    bits_[cell / 8] = static_cast<uint8_t>(bits_[cell / 8] | 1U << cell % 8);
  }

  // A repeated symbol may stand for nothing, or take one digit and stay; any other takes one digit and goes.
  void fill_row(size_t i, uint32_t symbol, std::string_view dialled) {
    const bool repeated = repeats(symbol);
    bool here = false;  // what the symbol can do from the digit behind on, and what those behind it can
    bool behind = false;
    for (size_t j = dialled.size() + 1; j-- > 0;) {
      const bool takes = j < dialled.size() && (symbol & symbol_bit(dialled[j])) != 0 && (repeated ? here : behind);
      behind = fits(i + 1, j);
      here = takes || (repeated && behind);
      if (here) {
        set(i, j);
      }
    }
  }

  uint8_t small_[256];
  nuv::MallocPtr<uint8_t[]> large_;
  uint8_t* bits_ = nullptr;
  size_t row_length_ = 0;
};

// Walks over the first expansion that fits completely: every repeated symbol stands for as few digits as it can. The
// table must be that of the pattern; it is not read when no symbol repeats.
class CompleteExpansion {
 public:
  CompleteExpansion(const Pattern& pattern, const FitTable& table) : pattern_(pattern), table_(table) {
    skip_dispensable();
  }

  bool at_end() const { return at_ == pattern_.m_uCount; }
  uint32_t symbol() const { return pattern_.m_pSymbols[at_]; }

  void advance() {
    ++digit_;
    if (!repeats(symbol())) {
      ++at_;
    }
    skip_dispensable();
  }

 private:
  // Leaves repeated symbols behind as soon as the rest of the pattern can do without them.
  void skip_dispensable() {
    while (!at_end() && repeats(symbol()) && table_.fits(at_ + 1, digit_)) {
      ++at_;
    }
  }

  const Pattern& pattern_;
  const FitTable& table_;
  size_t at_ = 0;
  size_t digit_ = 0;
};

// Adds up the bits of a word in pairs, fours, and so on. Few processors of devices have an instruction for it, and a
// call of the compiler's function takes longer.
uint32_t allowed_characters(uint32_t symbol) {
  uint32_t sums = symbol & kAnySymbol;
  sums = (sums & 0x5555) + (sums >> 1 & 0x5555);
  sums = (sums & 0x3333) + (sums >> 2 & 0x3333);
  sums = (sums & 0x0F0F) + (sums >> 4 & 0x0F0F);
  return (sums & 0x00FF) + (sums >> 8);
}

// Tells whether expansion a is more specific than b: allows fewer characters at the first difference, or is longer.
template <typename A, typename B>
bool is_more_specific(A a, B b) {
  while (!a.at_end() && !b.at_end()) {
    if (a.symbol() != b.symbol()) {
      const uint32_t in_a = allowed_characters(a.symbol());
      const uint32_t in_b = allowed_characters(b.symbol());
      if (in_a != in_b) {
        return in_a < in_b;
      }
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

  int32_t first_match(DigitMap map) {
    int32_t result = NUV_DIGITMAP_NO_MATCH;
    FitTable table;
    Candidates candidates(map, dialled_);
    while (const Pattern* pattern = candidates.next()) {
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

  int32_t best_match(DigitMap map) {
    const Pattern* complete = nullptr;
    const Pattern* partial = nullptr;  // of those that need a table
    bool others_are_partial = false;
    FitTable tables[2];
    FitTable* best = &tables[0];  // that of the complete pattern
    FitTable* next = &tables[1];
    Candidates candidates(map, dialled_);
    while (const Pattern* pattern = candidates.next()) {
      const Fit fit = match(*pattern, *next);
      if (fit == Fit::kComplete && (complete == nullptr || is_more_specific(CompleteExpansion(*pattern, *next),
                                                                            CompleteExpansion(*complete, *best)))) {
        complete = pattern;
        std::swap(best, next);
      }
      if (fit == Fit::kPartial && !needs_table(*pattern)) {
        others_are_partial = true;
      } else if (fit == Fit::kPartial && (partial == nullptr || is_more_specific(expand(*pattern), expand(*partial)))) {
        partial = pattern;
      }
    }
    if (complete == nullptr) {
      return partial != nullptr || others_are_partial ? NUV_DIGITMAP_UNDECIDED : NUV_DIGITMAP_NO_MATCH;
    }
    const CompleteExpansion expansion(*complete, *best);
    if ((partial != nullptr && !is_more_specific(expansion, expand(*partial))) ||
        (others_are_partial && has_to_wait(expansion, map))) {
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
    if (needs_table(pattern)) {
      if (!table.fill(pattern, dialled_)) {
        return Fit::kPartial;
      }
      if (table.fits(0, 0)) {
        return Fit::kComplete;
      }
    }
    const Fit fit = fit_last_expansion(pattern, dialled_);
    return fit == Fit::kComplete && !may_complete(pattern) ? Fit::kPartial : fit;
  }

  // A complete fit counts only with the timer in the state that the pattern asks for; otherwise it has to wait.
  bool may_complete(const Pattern& pattern) const { return pattern.m_bTimer == timer_; }

  bool needs_table(const Pattern& pattern) const { return may_complete(pattern) && has_repetition(pattern); }

  // Whether a pattern that needs no table is partial and at least as specific as the complete one. Comparing takes long and
  // most checks find no complete pattern, so the candidates are walked once more only here.
  bool has_to_wait(const CompleteExpansion& complete, DigitMap map) const {
    Candidates candidates(map, dialled_);
    while (const Pattern* pattern = candidates.next()) {
      FitTable none;
      if (!needs_table(*pattern) && fit_pattern(*pattern, none) == Fit::kPartial &&
          !is_more_specific(complete, expand(*pattern))) {
        return true;
      }
    }
    return false;
  }

  ExpandedSymbols expand(const Pattern& pattern) const { return {pattern, dialled_.size()}; }

  void print(const Pattern& pattern) const {
    if (out_.empty()) {
      return;
    }
    const size_t length = strnlen(pattern.m_pText, out_.size() - 1);
    memcpy(out_.data(), pattern.m_pText, length);
    out_[length] = '\0';
  }

  std::string_view dialled_;
  uint8_t timer_;
  std::span<char> out_;
};

}  // namespace

int32_t NUV_DigitMap_construct(DigitMap* a_this) {
  NUV_REQUIRE_OBJECT(0 == is_null(a_this));
  *a_this = nullptr;
  return 1;
}

void NUV_DigitMap_destruct(DigitMap* a_this) {
  NUV_REQUIRE_OBJECT(0 == is_null(a_this));
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
    if (length > 0 && !append_pattern(*a_this, {at, length})) {
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
  return text != nullptr && append_pattern(*a_this, text.get()) ? 1 : 0;
}

void NUV_DigitMap_dumpMap(const DigitMap* a_this) {
  NUV_REQUIRE_OBJECT(0 == is_null(a_this));
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
