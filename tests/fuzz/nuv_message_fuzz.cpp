// Three messages, compared with simple lists. The input is a sequence of operations, which continue after a contract
// violation.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "allocator.h"
#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "nuv_message.h"
#include "nuv_sysloglevel.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Item {
  int32_t type = NUV_MESSAGEDATA_NONE;
  Bytes bytes;
};

struct Model {
  std::array<int32_t, 3> header = {};  // type, destination, source
  uint32_t size = 0;
  std::array<Item, NUV_MESSAGE_SIZE> items;
};

// A memory block with these bytes.
class Block {
 public:
  explicit Block(const Bytes& bytes) {
    NUV_Memory_construct(&memory_, static_cast<uint32_t>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), NUV_Memory_begin(&memory_));
  }
  ~Block() { NUV_Memory_destruct(&memory_); }
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

  Memory* get() { return &memory_; }

 private:
  Memory memory_;
};

Bytes bytes_of(const Memory* memory) {
  return {NUV_Memory_begin(memory), NUV_Memory_begin(memory) + NUV_Memory_size(memory)};
}

class Twins {
 public:
  static constexpr size_t kMessages = 3;

  Twins() {
    for (Message& message : messages_) {
      NUV_Message_construct(&message, 0, 0, 0);
    }
  }
  ~Twins() {
    for (Message& message : messages_) {
      NUV_Message_destruct(&message);
    }
  }
  Twins(const Twins&) = delete;
  Twins& operator=(const Twins&) = delete;

  void construct(size_t i, int32_t type, int32_t destination, int32_t source) {
    NUV_Message_destruct(&messages_[i]);
    FUZZ_CHECK(NUV_Message_construct(&messages_[i], type, destination, source) == 1);
    models_[i] = {};
    models_[i].header = {type, destination, source};
  }

  void add(size_t i, int32_t type, const Bytes& bytes) {
    Block block(bytes);
    NUV_Message_add(&messages_[i], type, block.get());
    Model& model = models_[i];
    const bool refused = model.size == NUV_MESSAGE_SIZE;
    contracts_.expect_refusal(refused);
    FUZZ_CHECK(bytes_of(block.get()) == (refused ? bytes : Bytes()));
    if (!refused) {
      model.items[model.size++] = {type, bytes};
    }
  }

  // Adds an item with an empty block.
  void add_nothing(size_t i, int32_t type) {
    NUV_Message_add(&messages_[i], type, nullptr);
    contracts_.expect_refusal(true);
    Model& model = models_[i];
    if (model.size < NUV_MESSAGE_SIZE) {
      model.items[model.size++] = {type, {}};
    }
  }

  void swap_with_nothing(size_t i) {
    NUV_Message_swap(&messages_[i], nullptr);
    contracts_.expect_refusal(true);
  }

  void move_nothing(size_t i) {
    NUV_Message_move(&messages_[i], nullptr);
    contracts_.expect_refusal(true);
    models_[i] = {};
  }

  void set_nothing(size_t i, uint32_t index, int32_t type) {
    if (index < models_[i].size) {
      NUV_MessageData_set(NUV_Message_data(&messages_[i], index), type, nullptr);
      contracts_.expect_refusal(true);
      models_[i].items[index] = {type, {}};
    }
  }

  void swap(size_t i, size_t source) {
    NUV_Message_swap(&messages_[i], &messages_[source]);
    std::swap(models_[i], models_[source]);
  }

  void move(size_t i, size_t source) {
    NUV_Message_move(&messages_[i], &messages_[source]);
    models_[i] = models_[source];
    models_[source] = {};
  }

  // Reads one item, which may not exist.
  void look_at(size_t i, uint32_t index) {
    MessageData* const item = NUV_Message_data(&messages_[i], index);
    contracts_.expect_refusal(index >= models_[i].size);
    FUZZ_CHECK((item != nullptr) == (index < NUV_MESSAGE_SIZE));
  }

  void set_item(size_t i, uint32_t index, int32_t type, const Bytes& bytes) {
    if (index < models_[i].size) {
      Block block(bytes);
      NUV_MessageData_set(NUV_Message_data(&messages_[i], index), type, block.get());
      FUZZ_CHECK(bytes_of(block.get()).empty());
      models_[i].items[index] = {type, bytes};
    }
  }

  // Moves the block out of an item.
  void take_block(size_t i, uint32_t index) {
    if (index < models_[i].size) {
      Block block({});
      NUV_Memory_move(block.get(), NUV_MessageData_data(NUV_Message_data(&messages_[i], index)));
      FUZZ_CHECK(bytes_of(block.get()) == models_[i].items[index].bytes);
      models_[i].items[index].bytes.clear();
    }
  }

  void move_item(size_t i, uint32_t index, size_t source, uint32_t source_index) {
    if (index < models_[i].size && source_index < models_[source].size) {
      NUV_MessageData_move(NUV_Message_data(&messages_[i], index), NUV_Message_data(&messages_[source], source_index));
      Item moved = std::exchange(models_[source].items[source_index], {});
      models_[i].items[index] = std::move(moved);
      if (i == source && index == source_index) {
        models_[i].items[index] = {};
      }
    }
  }

  void trace(size_t i, uint32_t size, const std::string& text) {
    const auto& header = models_[i].header;
    const std::string expected =
        "tx:dial#" + std::to_string(header[1]) + ":card#" + std::to_string(header[2]) + ":" + text;
    const std::unique_ptr<char[]> line(new char[size]);
    FUZZ_CHECK(NUV_MessageHeader_trace(line.get(), size, &messages_[i].m_oHeader, "tx", "dial", "card", text.c_str()) ==
               static_cast<int32_t>(expected.size()));
    FUZZ_CHECK(size == 0 || expected.substr(0, size - 1) == line.get());
  }

  void compare() {
    for (size_t i = 0; i < kMessages; ++i) {
      Message& message = messages_[i];
      const Model& model = models_[i];
      FUZZ_CHECK(NUV_Message_msgType(&message) == model.header[0]);
      FUZZ_CHECK(NUV_Message_destPort(&message) == model.header[1]);
      FUZZ_CHECK(NUV_Message_srcPort(&message) == model.header[2]);
      FUZZ_CHECK(NUV_Message_size(&message) == model.size);
      FUZZ_CHECK(NUV_Message_maxSize(&message) == NUV_MESSAGE_SIZE);
      for (uint32_t index = 0; index < NUV_MESSAGE_SIZE; ++index) {
        MessageData& item = message.m_rgData[index];
        FUZZ_CHECK(NUV_MessageData_type(&item) == model.items[index].type);
        FUZZ_CHECK(bytes_of(NUV_MessageData_data(&item)) == model.items[index].bytes);
      }
    }
    contracts_.expect_refusal(false);
  }

 private:
  fuzz::Contracts contracts_;
  fuzz::Allocator allocator_;
  std::array<Message, kMessages> messages_;
  std::array<Model, kMessages> models_;
};

Bytes read_bytes(fuzz::FuzzInput& input) {
  Bytes bytes(input.up_to(40));
  std::fill(bytes.begin(), bytes.end(), input.byte());
  return bytes;
}

int32_t read_number(fuzz::FuzzInput& input) {
  return static_cast<int32_t>(input.number());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  NUV_Sysloglevel_set(1);
  Twins twins;
  while (!input.empty()) {
    const uint8_t operation = input.byte();
    const uint8_t which = input.byte();
    const size_t i = which % Twins::kMessages;
    const size_t other = which / 4 % Twins::kMessages;
    const uint32_t index = which / 16 % 8;
    switch (operation % 16) {
      case 0:
        twins.construct(i, read_number(input), read_number(input), read_number(input));
        break;
      case 1:
      case 2:
      case 3:
        twins.add(i, read_number(input), read_bytes(input));
        break;
      case 4:
        twins.add_nothing(i, static_cast<int32_t>(index));
        break;
      case 5:
        twins.swap(i, other);
        break;
      case 6:
        twins.move(i, other);
        break;
      case 7:
        twins.look_at(i, operation < 0x80 ? index : input.number());
        break;
      case 8:
        twins.set_item(i, index, read_number(input), read_bytes(input));
        break;
      case 9:
        twins.take_block(i, index);
        break;
      case 10:
      case 11:
        twins.move_item(i, index, other, input.up_to(4));
        break;
      case 12:
        twins.swap_with_nothing(i);
        break;
      case 13:
        twins.move_nothing(i);
        break;
      case 14:
        twins.set_nothing(i, index, read_number(input));
        break;
      default:
        twins.trace(i, input.up_to(60), std::string(input.up_to(30), 't'));
        break;
    }
    twins.compare();
  }
  return 0;
}
