// An index pool, compared with a list of flags and a count. The input is a sequence of operations, which continue after
// a contract violation.
#include <algorithm>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "nuv_indexpool.h"
#include "nuv_sysloglevel.h"

namespace {

class Twins {
 public:
  explicit Twins(uint32_t size) : size_(size), free_(size), bits_((size + 7) / 8 * 8) {
    FUZZ_CHECK(NUV_IndexPool_construct(&pool_, size) == 1);
  }
  ~Twins() { NUV_IndexPool_destruct(&pool_); }
  Twins(const Twins&) = delete;
  Twins& operator=(const Twins&) = delete;

  uint32_t size() const { return size_; }

  void occupy() {
    const auto clear = std::find(bits_.begin(), bits_.end(), false);
    const uint32_t expected = clear != bits_.end() ? static_cast<uint32_t>(clear - bits_.begin()) : size_;
    FUZZ_CHECK(NUV_IndexPool_occupy(&pool_) == expected);
    contracts_.expect_refusal(free_ == 0 || expected >= size_);
    if (clear != bits_.end()) {
      *clear = true;
      --free_;
    }
  }

  void occupy_index(uint32_t index) {
    NUV_IndexPool_occupyIndex(&pool_, index);
    contracts_.expect_refusal(index >= size_ || bits_[index]);
    if (index < bits_.size()) {
      bits_[index] = true;
      --free_;
    }
  }

  void release(uint32_t index) {
    NUV_IndexPool_release(&pool_, index);
    contracts_.expect_refusal(index >= size_ || !bits_[index]);
    if (index < bits_.size()) {
      bits_[index] = false;
      ++free_;
    }
  }

  void ask(uint32_t index) {
    FUZZ_CHECK(NUV_IndexPool_occupied(&pool_, index) == (index < bits_.size() && bits_[index] ? 1 : 0));
    contracts_.expect_refusal(index >= size_);
  }

  void compare() {
    FUZZ_CHECK(NUV_IndexPool_size(&pool_) == size_);
    FUZZ_CHECK(NUV_IndexPool_busy(&pool_) == size_ - free_);
    FUZZ_CHECK(NUV_IndexPool_free(&pool_) == free_);
    FUZZ_CHECK(NUV_IndexPool_available(&pool_) == (free_ > 0 ? 1 : 0));
    for (uint32_t i = 0; i < bits_.size(); ++i) {
      FUZZ_CHECK(((pool_.m_pPool[i / 8] >> i % 8 & 1) != 0) == bits_[i]);
    }
    contracts_.expect_refusal(false);
  }

 private:
  fuzz::Contracts contracts_;
  IndexPool pool_;
  uint32_t size_;
  uint32_t free_;           // may wrap
  std::vector<bool> bits_;  // for the indices, and the spare bits of the last byte
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  NUV_Sysloglevel_set(1);
  Twins twins(input.flag() ? input.up_to(600) : input.up_to(20));
  while (!input.empty()) {
    const uint8_t operation = input.byte();
    const uint32_t index = operation < 0x80 ? input.up_to(twins.size() + 9) : input.number();
    switch (operation % 5) {
      case 0:
      case 1:
        twins.occupy();
        break;
      case 2:
        twins.occupy_index(index);
        break;
      case 3:
        twins.release(index);
        break;
      default:
        twins.ask(index);
        break;
    }
    twins.compare();
  }
  return 0;
}
