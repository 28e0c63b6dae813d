// An index pool, compared with a list of flags. The input is a sequence of operations, refused ones included.
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
  explicit Twins(uint32_t size) : occupied_(size) { FUZZ_CHECK(NUV_IndexPool_construct(&pool_, size) == 1); }
  ~Twins() { NUV_IndexPool_destruct(&pool_); }
  Twins(const Twins&) = delete;
  Twins& operator=(const Twins&) = delete;

  uint32_t size() const { return static_cast<uint32_t>(occupied_.size()); }

  void occupy() {
    const auto free = std::find(occupied_.begin(), occupied_.end(), false);
    const auto expected = static_cast<uint32_t>(free - occupied_.begin());
    FUZZ_CHECK(NUV_IndexPool_occupy(&pool_) == expected);
    contracts_.expect_refusal(free == occupied_.end());
    if (free != occupied_.end()) {
      *free = true;
    }
  }

  void occupy_index(uint32_t index) {
    NUV_IndexPool_occupyIndex(&pool_, index);
    contracts_.expect_refusal(index >= size() || occupied_[index]);
    if (index < size()) {
      occupied_[index] = true;
    }
  }

  void release(uint32_t index) {
    NUV_IndexPool_release(&pool_, index);
    contracts_.expect_refusal(index >= size() || !occupied_[index]);
    if (index < size()) {
      occupied_[index] = false;
    }
  }

  void ask(uint32_t index) {
    FUZZ_CHECK(NUV_IndexPool_occupied(&pool_, index) == (index < size() && occupied_[index] ? 1 : 0));
    contracts_.expect_refusal(index >= size());
  }

  void compare() {
    const auto busy = static_cast<uint32_t>(std::count(occupied_.begin(), occupied_.end(), true));
    FUZZ_CHECK(NUV_IndexPool_size(&pool_) == size());
    FUZZ_CHECK(NUV_IndexPool_busy(&pool_) == busy);
    FUZZ_CHECK(NUV_IndexPool_free(&pool_) == size() - busy);
    FUZZ_CHECK(NUV_IndexPool_available(&pool_) == (busy < size() ? 1 : 0));
    for (uint32_t i = 0; i < (size() + 7) / 8 * 8; ++i) {
      const bool bit = (pool_.m_pPool[i / 8] >> i % 8 & 1) != 0;
      FUZZ_CHECK(bit == (i < size() && occupied_[i]));
    }
    contracts_.expect_refusal(false);
  }

 private:
  fuzz::Contracts contracts_;
  IndexPool pool_;
  std::vector<bool> occupied_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  NUV_Sysloglevel_set(1);
  Twins twins(input.flag() ? input.up_to(600) : input.up_to(20));
  while (!input.empty()) {
    const uint8_t operation = input.byte();
    const uint32_t index = operation < 0x80 ? input.up_to(twins.size() + 1) : input.number();
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
