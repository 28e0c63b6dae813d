// An index map, compared with a list of entries and a count. The input is a sequence of operations, which continue
// after a contract violation.
#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "nuv_indexmap.h"
#include "nuv_sysloglevel.h"

namespace {

struct Entry {
  bool is_used = false;
  int32_t key = 0;
  uint32_t value = 0;
};

class Twins {
 public:
  // With or without a store for `size` pairs.
  Twins(uint32_t size, bool has_store)
      : store_(has_store && size > 0 ? new IndexMapEntry[size] : nullptr),
        size_(size),
        entries_(store_ != nullptr ? size : 0) {
    FUZZ_CHECK(NUV_IndexMap_construct(&map_, store_.get(), size) == 1);
    contracts_.expect_refusal(size != entries_.size());
  }
  ~Twins() { NUV_IndexMap_destruct(&map_); }
  Twins(const Twins&) = delete;
  Twins& operator=(const Twins&) = delete;

  uint32_t size() const { return size_; }

  void insert(int32_t key, uint32_t value) {
    const auto free = std::find_if(entries_.begin(), entries_.end(), [](const auto& entry) { return !entry.is_used; });
    const bool has_room = free != entries_.end();
    FUZZ_CHECK(NUV_IndexMap_insert(&map_, key, value) ==
               (has_room ? static_cast<uint32_t>(free - entries_.begin()) : size_));
    contracts_.expect_refusal(count_ >= size_ || find(key) != size_ || !has_room);
    if (has_room) {
      *free = {true, key, value};
      ++count_;
    }
  }

  void remove(uint32_t position) {
    NUV_IndexMap_remove(&map_, position);
    contracts_.expect_refusal(remove_from_model(position));
  }

  void look_up(int32_t key) {
    const uint32_t position = find(key);
    FUZZ_CHECK(NUV_IndexMap_find(&map_, key) == position);
    contracts_.expect_refusal(false);
    FUZZ_CHECK(NUV_IndexMap_at(&map_, key) == (is_used(position) ? entries_[position].value : 0));
    contracts_.expect_refusal(!is_used(position));
  }

  // The value may be written through the pair.
  void change(uint32_t position, uint32_t value) {
    IndexMapPair* pair = NUV_IndexMap_get(&map_, position);
    contracts_.expect_refusal(!is_used(position));
    FUZZ_CHECK((pair != nullptr) == (position < entries_.size()));
    if (pair != nullptr) {
      FUZZ_CHECK(pair->m_iKey == entries_[position].key && pair->m_uValue == entries_[position].value);
      pair->m_uValue = value;
      entries_[position].value = value;
    }
  }

  void next(uint32_t position) {
    const uint32_t expected = position < size_ ? first_used(position + 1) : size_;
    FUZZ_CHECK(NUV_IndexMap_next(&map_, position) == expected);
    contracts_.expect_refusal(position >= size_);
  }

  void clear() {
    NUV_IndexMap_clear(&map_);
    bool refused = false;
    for (uint32_t i = first_used(0); i != size_; i = first_used(i)) {
      refused |= remove_from_model(i);
    }
    contracts_.expect_refusal(refused || count_ != 0);
  }

  void compare() {
    FUZZ_CHECK(NUV_IndexMap_size(&map_) == count_);
    FUZZ_CHECK(NUV_IndexMap_maxSize(&map_) == size_);
    FUZZ_CHECK(NUV_IndexMap_empty(&map_) == (count_ == 0 ? 1 : 0));
    FUZZ_CHECK(NUV_IndexMap_end(&map_) == size_);
    uint32_t expected = first_used(0);
    for (uint32_t i = NUV_IndexMap_begin(&map_); i != NUV_IndexMap_end(&map_); i = NUV_IndexMap_next(&map_, i)) {
      FUZZ_CHECK(i == expected);
      FUZZ_CHECK(store_[i].m_bUsed == 1);
      FUZZ_CHECK(store_[i].m_oPair.m_iKey == entries_[i].key && store_[i].m_oPair.m_uValue == entries_[i].value);
      expected = first_used(i + 1);
    }
    FUZZ_CHECK(expected == size_);
    contracts_.expect_refusal(false);
  }

 private:
  bool is_used(uint32_t position) const { return position < entries_.size() && entries_[position].is_used; }

  // Returns whether that violates a contract.
  bool remove_from_model(uint32_t position) {
    if (position >= entries_.size()) {
      return true;
    }
    const bool was_used = std::exchange(entries_[position].is_used, false);
    --count_;
    return !was_used || find(entries_[position].key) != size_;
  }

  uint32_t first_used(uint32_t position) const {
    while (position < entries_.size() && !entries_[position].is_used) {
      ++position;
    }
    return position < entries_.size() ? position : size_;
  }

  uint32_t find(int32_t key) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [key](const auto& entry) { return entry.is_used && entry.key == key; });
    return found != entries_.end() ? static_cast<uint32_t>(found - entries_.begin()) : size_;
  }

  fuzz::Contracts contracts_;
  std::unique_ptr<IndexMapEntry[]> store_;
  IndexMap map_;
  uint32_t size_;
  uint32_t count_ = 0;  // may wrap
  std::vector<Entry> entries_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  NUV_Sysloglevel_set(1);
  const uint32_t capacity = input.up_to(40);
  Twins twins(capacity, input.byte() != 0xFF);
  while (!input.empty()) {
    const uint8_t operation = input.byte();
    const uint32_t position = operation < 0x80 ? input.up_to(twins.size() + 1) : input.number();
    switch (operation % 8) {
      case 0:
      case 1:
        twins.insert(static_cast<int32_t>(position), input.byte());
        break;
      case 2:
        twins.insert(-static_cast<int32_t>(input.up_to(9)), input.number());
        break;
      case 3:
        twins.remove(position);
        break;
      case 4:
        twins.look_up(static_cast<int32_t>(position));
        break;
      case 5:
        twins.change(position, input.byte());
        break;
      case 6:
        twins.next(position);
        break;
      default:
        if (position == 0) {
          twins.clear();
        }
        break;
    }
    twins.compare();
  }
  return 0;
}
