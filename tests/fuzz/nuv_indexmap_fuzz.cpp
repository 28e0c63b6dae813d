// An index map, compared with a list of optional pairs. The input is a sequence of operations, refused ones included.
#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "nuv_indexmap.h"
#include "nuv_sysloglevel.h"

namespace {

struct Pair {
  int32_t key;
  uint32_t value;
};

class Twins {
 public:
  // With or without a store for so many pairs.
  Twins(uint32_t size, bool has_store)
      : store_(has_store && size > 0 ? new IndexMapEntry[size] : nullptr), entries_(store_ != nullptr ? size : 0) {
    FUZZ_CHECK(NUV_IndexMap_construct(&map_, store_.get(), size) == 1);
    contracts_.expect_refusal(size != entries_.size());
  }
  ~Twins() { NUV_IndexMap_destruct(&map_); }
  Twins(const Twins&) = delete;
  Twins& operator=(const Twins&) = delete;

  uint32_t size() const { return static_cast<uint32_t>(entries_.size()); }

  void insert(int32_t key, uint32_t value) {
    const auto free =
        std::find_if(entries_.begin(), entries_.end(), [](const auto& entry) { return !entry.has_value(); });
    const bool refused = free == entries_.end() || find(key) != size();
    const auto expected = refused ? size() : static_cast<uint32_t>(free - entries_.begin());
    FUZZ_CHECK(NUV_IndexMap_insert(&map_, key, value) == expected);
    contracts_.expect_refusal(refused);
    if (!refused) {
      *free = Pair{key, value};
    }
  }

  void remove(uint32_t position) {
    NUV_IndexMap_remove(&map_, position);
    contracts_.expect_refusal(!is_used(position));
    if (is_used(position)) {
      entries_[position].reset();
    }
  }

  void look_up(int32_t key) {
    const uint32_t position = find(key);
    FUZZ_CHECK(NUV_IndexMap_find(&map_, key) == position);
    contracts_.expect_refusal(false);
    FUZZ_CHECK(NUV_IndexMap_at(&map_, key) == (is_used(position) ? entries_[position]->value : 0));
    contracts_.expect_refusal(!is_used(position));
  }

  // The value may be written through the pair.
  void change(uint32_t position, uint32_t value) {
    IndexMapPair* pair = NUV_IndexMap_get(&map_, position);
    contracts_.expect_refusal(!is_used(position));
    FUZZ_CHECK((pair != nullptr) == (position < size()));
    if (is_used(position)) {
      FUZZ_CHECK(pair->m_iKey == entries_[position]->key && pair->m_uValue == entries_[position]->value);
      pair->m_uValue = value;
      entries_[position]->value = value;
    }
  }

  void next(uint32_t position) {
    const uint32_t expected = position < size() ? first_used(position + 1) : size();
    FUZZ_CHECK(NUV_IndexMap_next(&map_, position) == expected);
    contracts_.expect_refusal(position >= size());
  }

  void clear() {
    NUV_IndexMap_clear(&map_);
    std::fill(entries_.begin(), entries_.end(), std::nullopt);
  }

  void compare() {
    const auto used = static_cast<uint32_t>(
        std::count_if(entries_.begin(), entries_.end(), [](const auto& entry) { return entry.has_value(); }));
    FUZZ_CHECK(NUV_IndexMap_size(&map_) == used);
    FUZZ_CHECK(NUV_IndexMap_maxSize(&map_) == size());
    FUZZ_CHECK(NUV_IndexMap_empty(&map_) == (used == 0 ? 1 : 0));
    FUZZ_CHECK(NUV_IndexMap_end(&map_) == size());
    uint32_t expected = first_used(0);
    for (uint32_t i = NUV_IndexMap_begin(&map_); i != NUV_IndexMap_end(&map_); i = NUV_IndexMap_next(&map_, i)) {
      FUZZ_CHECK(i == expected);
      FUZZ_CHECK(store_[i].m_bUsed == 1);
      FUZZ_CHECK(store_[i].m_oPair.m_iKey == entries_[i]->key && store_[i].m_oPair.m_uValue == entries_[i]->value);
      expected = first_used(i + 1);
    }
    FUZZ_CHECK(expected == size());
    contracts_.expect_refusal(false);
  }

 private:
  bool is_used(uint32_t position) const { return position < size() && entries_[position].has_value(); }

  uint32_t first_used(uint32_t position) const {
    while (position < size() && !entries_[position]) {
      ++position;
    }
    return position;
  }

  uint32_t find(int32_t key) const {
    const auto found =
        std::find_if(entries_.begin(), entries_.end(), [key](const auto& entry) { return entry && entry->key == key; });
    return static_cast<uint32_t>(found - entries_.begin());
  }

  fuzz::Contracts contracts_;
  std::unique_ptr<IndexMapEntry[]> store_;
  IndexMap map_;
  std::vector<std::optional<Pair>> entries_;
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
