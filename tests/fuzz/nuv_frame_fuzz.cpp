// Four frames, compared with blocks of bytes and two positions in them. The input is a sequence of operations, which
// continue after a contract violation: the model computes positions without the limits of a block.
#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "allocator.h"
#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "nuv_frame.h"
#include "nuv_sysloglevel.h"

namespace {

struct Model {
  std::vector<uint8_t> block;  // none without memory
  uint32_t absolute_size = 0;
  int64_t begin = 0;
  int64_t end = 0;
  bool is_spent = false;  // its block was moved: only destruct and assign to it are allowed

  uint32_t front() const { return static_cast<uint32_t>(begin); }
  uint32_t rear() const { return static_cast<uint32_t>(absolute_size - end); }
  uint32_t size() const { return static_cast<uint32_t>(end - begin); }
  bool is_sound() const { return 0 <= begin && begin <= end && end <= static_cast<int64_t>(block.size()); }
};

class Twins {
 public:
  static constexpr size_t kFrames = 4;

  Twins() {
    for (Frame& frame : frames_) {
      NUV_Frame_construct(&frame, 0);
    }
  }
  ~Twins() {
    for (Frame& frame : frames_) {
      NUV_Frame_destruct(&frame);
    }
  }
  Twins(const Twins&) = delete;
  Twins& operator=(const Twins&) = delete;

  const Model& model(size_t i) const { return models_[i]; }

  void construct(size_t i, uint32_t size, bool dry) {
    NUV_Frame_destruct(&frames_[i]);
    allocator_.run_dry(dry);
    FUZZ_CHECK(NUV_Frame_construct(&frames_[i], size) == 1);
    allocator_.run_dry(false);
    contracts_.expect_refusal(dry && size > 0);
    models_[i] = {};
    models_[i].block.assign(dry ? 0 : size, fuzz::Allocator::kPattern);
    models_[i].absolute_size = size;
    models_[i].end = size;
  }

  void copy_construct(size_t i, size_t source) {
    if (models_[source].is_spent) {
      return;
    }
    if (i != source) {
      NUV_Frame_destruct(&frames_[i]);
    }
    FUZZ_CHECK(NUV_Frame_copyConstruct(&frames_[i], &frames_[source]) == 1);
    contracts_.expect_refusal(false);
    Model taken = models_[source];
    taken.begin = 0;
    taken.end = taken.absolute_size;
    models_[source] = {};
    models_[source].is_spent = true;
    models_[i] = taken;
  }

  void swap(size_t i, size_t source) {
    NUV_Frame_swap(&frames_[i], &frames_[source]);
    contracts_.expect_refusal(false);
    std::swap(models_[i], models_[source]);
  }

  void assign(size_t i, size_t source) {
    if (models_[source].is_spent) {
      return;
    }
    NUV_Frame_assign(&frames_[i], &frames_[source]);
    contracts_.expect_refusal(false);
    models_[i] = models_[source];
    models_[source] = {};
  }

  void move_from_null(size_t i) {
    NUV_Frame_swap(&frames_[i], nullptr);
    contracts_.expect_refusal(true);
    NUV_Frame_assign(&frames_[i], nullptr);
    contracts_.expect_refusal(true);
    models_[i] = {};
  }

  void reduce_front(size_t i, uint32_t offset) {
    const bool refused = models_[i].size() < offset;
    NUV_Frame_reduceFront(&frames_[i], offset);
    contracts_.expect_refusal(refused);
    models_[i].begin += offset;
  }

  void expand_front(size_t i, uint32_t offset) {
    const bool refused = models_[i].front() < offset;
    NUV_Frame_expandFront(&frames_[i], offset);
    contracts_.expect_refusal(refused);
    models_[i].begin -= offset;
  }

  void reduce_rear(size_t i, uint32_t offset) {
    const bool refused = models_[i].size() < offset;
    NUV_Frame_reduceRear(&frames_[i], offset);
    contracts_.expect_refusal(refused);
    models_[i].end -= offset;
  }

  void expand_rear(size_t i, uint32_t offset) {
    const bool refused = models_[i].rear() < offset;
    NUV_Frame_expandRear(&frames_[i], offset);
    contracts_.expect_refusal(refused);
    models_[i].end += offset;
  }

  // Overwrites the whole content.
  void fill(size_t i, uint8_t value) {
    Model& model = models_[i];
    if (!model.is_spent && model.is_sound()) {
      std::fill(NUV_Frame_begin(&frames_[i]), NUV_Frame_end(&frames_[i]), value);
      std::fill_n(model.block.begin() + static_cast<std::ptrdiff_t>(model.begin), model.size(), value);
    }
  }

  void compare() {
    for (size_t i = 0; i < kFrames; ++i) {
      const Frame& frame = frames_[i];
      const Model& model = models_[i];
      FUZZ_CHECK(NUV_Frame_absoluteSize(&frame) == model.absolute_size);
      FUZZ_CHECK((NUV_Frame_address(&frame) != nullptr) == !model.block.empty());
      FUZZ_CHECK(std::equal(model.block.begin(), model.block.end(), NUV_Frame_address(&frame)));
      if (!model.is_spent) {
        FUZZ_CHECK(NUV_Frame_offsetFront(&frame) == model.front());
        FUZZ_CHECK(NUV_Frame_offsetRear(&frame) == model.rear());
        FUZZ_CHECK(NUV_Frame_size(&frame) == model.size());
      }
    }
    contracts_.expect_refusal(false);
  }

 private:
  fuzz::Contracts contracts_;
  fuzz::Allocator allocator_;
  std::array<Frame, kFrames> frames_;
  std::array<Model, kFrames> models_;
};

void move_an_end(Twins& twins, size_t i, uint8_t operation, uint32_t offset) {
  if (twins.model(i).is_spent) {
    return;
  }
  switch (operation) {
    case 0:
      return twins.reduce_front(i, offset);
    case 1:
      return twins.expand_front(i, offset);
    case 2:
      return twins.reduce_rear(i, offset);
    default:
      return twins.expand_rear(i, offset);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  NUV_Sysloglevel_set(1);
  Twins twins;
  while (!input.empty()) {
    const uint8_t operation = input.byte();
    const uint8_t frames = input.byte();
    const size_t i = frames % Twins::kFrames;
    const size_t other = frames / Twins::kFrames % Twins::kFrames;
    switch (operation % 12) {
      case 0:
        twins.construct(i, input.up_to(300), operation >= 0xC0);
        break;
      case 1:
        twins.copy_construct(i, other);
        break;
      case 2:
        twins.swap(i, other);
        break;
      case 3:
        twins.assign(i, other);
        break;
      case 4:
        twins.move_from_null(i);
        break;
      case 5:
      case 6:
        twins.fill(i, input.byte());
        break;
      default:
        // The exact limit, a small number, or any number.
        const uint32_t offset =
            operation < 0x60 ? twins.model(i).size() : (operation < 0xC0 ? input.up_to(8) : input.number());
        move_an_end(twins, i, frames / 16 % 4, offset);
        break;
    }
    twins.compare();
  }
  return 0;
}
