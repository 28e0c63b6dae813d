// Work with frames, messages and indices: by the library, and by handwritten functions on the same records. Those check
// what the library checks, in the same order and with the same reports, each fact once.
#ifndef BENCHMARKS_RECORDS_WORK_H
#define BENCHMARKS_RECORDS_WORK_H

#include <array>
#include <cstdint>
#include <utility>

#include "nuv_assert.h"
#include "nuv_frame.h"
#include "nuv_indexmap.h"
#include "nuv_indexpool.h"
#include "nuv_message.h"

namespace records_work {

#define CHECK_THAT(type, condition)                     \
  (__builtin_expect(static_cast<bool>(condition), true) \
       ? static_cast<void>(0)                           \
       : NUV_Assert_failed((type), "inline", static_cast<uint32_t>(__LINE__), #condition))
#define REQUIRE_THAT(condition) CHECK_THAT(NUV_ASSERT_REQUIRE, condition)
#define ENSURE_THAT(condition)  CHECK_THAT(NUV_ASSERT_ENSURE, condition)

// Hides a value, and the record behind a pointer, from the optimiser. Otherwise it would fold inlined work into one
// operation, or none.
template <typename Value>
Value opaque(Value value) {
  asm volatile("" : "+r"(value) : : "memory");
  return value;
}

// Calls the function, and keeps the compiler from inlining it.
template <auto kFunction, typename... Arguments>
[[gnu::noinline]] auto called(Arguments... arguments) {
  return kFunction(arguments...);
}

// ---- Frame ----

inline uint32_t distance(const uint8_t* from, const uint8_t* to) {
  return static_cast<uint32_t>(to - from);
}

inline const uint8_t* end_of(const Memory& block) {
  return block.m_pAddr + block.m_uSize;
}

inline void reduce_front(Frame* frame, uint32_t offset) {
  REQUIRE_THAT(frame != nullptr);
  REQUIRE_THAT(distance(frame->m_pBegin, frame->m_pEnd) >= offset);
  const uint32_t before = distance(frame->m_oMemory.m_pAddr, frame->m_pBegin);
  frame->m_pBegin += offset;
  ENSURE_THAT(distance(frame->m_oMemory.m_pAddr, frame->m_pBegin) == before + offset);
}

inline void expand_front(Frame* frame, uint32_t offset) {
  REQUIRE_THAT(frame != nullptr);
  REQUIRE_THAT(distance(frame->m_oMemory.m_pAddr, frame->m_pBegin) >= offset);
  const uint32_t before = distance(frame->m_oMemory.m_pAddr, frame->m_pBegin);
  frame->m_pBegin -= offset;
  ENSURE_THAT(distance(frame->m_oMemory.m_pAddr, frame->m_pBegin) == before - offset);
}

inline void reduce_rear(Frame* frame, uint32_t offset) {
  REQUIRE_THAT(frame != nullptr);
  REQUIRE_THAT(distance(frame->m_pBegin, frame->m_pEnd) >= offset);
  const uint32_t before = distance(frame->m_pEnd, end_of(frame->m_oMemory));
  frame->m_pEnd -= offset;
  ENSURE_THAT(distance(frame->m_pEnd, end_of(frame->m_oMemory)) == before + offset);
}

inline void expand_rear(Frame* frame, uint32_t offset) {
  REQUIRE_THAT(frame != nullptr);
  REQUIRE_THAT(distance(frame->m_pEnd, end_of(frame->m_oMemory)) >= offset);
  const uint32_t before = distance(frame->m_pEnd, end_of(frame->m_oMemory));
  frame->m_pEnd += offset;
  ENSURE_THAT(distance(frame->m_pEnd, end_of(frame->m_oMemory)) == before - offset);
}

// ---- Message ----

// The release function for an empty block.
inline NUV_MemoryFree g_free = [](void*, uint32_t) {};

inline Memory empty_block() {
  return {nullptr, 0, g_free};
}

inline void release_block(const Memory& block) {
  block.m_pFree(block.m_pAddr, block.m_uSize);
}

inline void add_item(Message* message, int32_t type, Memory* block) {
  REQUIRE_THAT(message != nullptr);
  REQUIRE_THAT(block != nullptr);
  REQUIRE_THAT(message->m_uSize < NUV_MESSAGE_SIZE);
  const uint32_t before = message->m_uSize;
  if (block != nullptr && before < NUV_MESSAGE_SIZE) {
    MessageData& item = message->m_rgData[before];
    item.m_iType = type;
    const Memory old = std::exchange(item.m_oData, std::exchange(*block, empty_block()));
    release_block(old);
    ++message->m_uSize;
  }
  ENSURE_THAT(message->m_uSize == before + 1);
}

inline void move_message(Message* target, Message* source) {
  REQUIRE_THAT(target != nullptr);
  REQUIRE_THAT(source != nullptr);
  if (source == nullptr) {
    return;
  }
  const Message old = *target;
  *target = *source;
  source->m_oHeader = {0, 0, 0};
  source->m_uSize = 0;
  for (MessageData& item : source->m_rgData) {
    item = {NUV_MESSAGEDATA_NONE, empty_block()};
  }
  for (const MessageData& item : old.m_rgData) {
    release_block(item.m_oData);
  }
}

// ---- Index pool ----

inline uint32_t occupy_lowest(IndexPool* pool) {
  REQUIRE_THAT(pool != nullptr);
  REQUIRE_THAT(pool->m_uFree > 0);
  const uint32_t bytes = (pool->m_uSize + 7) / 8;
  uint32_t byte = 0;
  while (byte < bytes && pool->m_pPool[byte] == 0xFF) {
    ++byte;
  }
  if (byte == bytes) {
    return pool->m_uSize;
  }
  const uint32_t bit = static_cast<uint32_t>(__builtin_ctz(~static_cast<uint32_t>(pool->m_pPool[byte])));
  const uint32_t index = byte * 8 + bit;
  if (index < pool->m_uSize) {
    pool->m_pPool[byte] = static_cast<uint8_t>(pool->m_pPool[byte] | 1U << bit);
    --pool->m_uFree;
  }
  ENSURE_THAT(pool->m_uSize > index);
  ENSURE_THAT((pool->m_pPool[index / 8] >> index % 8 & 1U) == 1);
  return index;
}

inline void release_index(IndexPool* pool, uint32_t index) {
  REQUIRE_THAT(pool != nullptr);
  REQUIRE_THAT(pool->m_uSize > index);
  if (index >= pool->m_uSize) {
    return;
  }
  const bool is_occupied = (pool->m_pPool[index / 8] >> index % 8 & 1U) == 1;
  REQUIRE_THAT(is_occupied);
  if (is_occupied) {
    pool->m_pPool[index / 8] = static_cast<uint8_t>(pool->m_pPool[index / 8] & ~(1U << index % 8));
    ++pool->m_uFree;
  }
  ENSURE_THAT((pool->m_pPool[index / 8] >> index % 8 & 1U) == 0);
}

// ---- Index map ----

inline uint32_t find_key(const IndexMap* map, int32_t key) {
  REQUIRE_THAT(map != nullptr);
  for (uint32_t i = 0; i < map->m_uMapSize; ++i) {
    if (map->m_rgMap[i].m_bUsed == 1 && map->m_rgMap[i].m_oPair.m_iKey == key) {
      return i;
    }
  }
  return map->m_uMapSize;
}

#undef ENSURE_THAT
#undef REQUIRE_THAT
#undef CHECK_THAT

// ---- The sides, and their repeated work ----

template <auto kReduceFront, auto kReduceRear, auto kExpandFront, auto kExpandRear>
struct FrameSide {
  static void strip(Frame* frame, uint32_t header, uint32_t trailer) {
    kReduceFront(frame, opaque(header));
    kReduceRear(frame, opaque(trailer));
  }
  static void give_back(Frame* frame, uint32_t header, uint32_t trailer) {
    kExpandFront(frame, opaque(header));
    kExpandRear(frame, opaque(trailer));
  }
};

template <auto kFunction>
constexpr auto kCalled = called<kFunction, Frame*, uint32_t>;

using FrameByHand = FrameSide<reduce_front, reduce_rear, expand_front, expand_rear>;
using FrameCalled = FrameSide<kCalled<reduce_front>, kCalled<reduce_rear>, kCalled<expand_front>, kCalled<expand_rear>>;
using FrameUserlib =
    FrameSide<NUV_Frame_reduceFront, NUV_Frame_reduceRear, NUV_Frame_expandFront, NUV_Frame_expandRear>;

// A layer takes header and trailer off a frame, and puts them back for the answer.
template <typename Side>
class ReduceAndExpand {
 public:
  ReduceAndExpand() { NUV_Frame_construct(&frame_, kSize); }
  ~ReduceAndExpand() { NUV_Frame_destruct(&frame_); }
  ReduceAndExpand(const ReduceAndExpand&) = delete;
  ReduceAndExpand& operator=(const ReduceAndExpand&) = delete;

  void step() {
    Side::strip(opaque(&frame_), 14, 4);
    Side::give_back(opaque(&frame_), 14, 4);
  }
  bool is_right() const { return NUV_Frame_size(&frame_) == kSize; }

 private:
  static constexpr uint32_t kSize = 1500;
  Frame frame_;
};

struct MessageByHand {
  static void add(Message* message, int32_t type, Memory* block) { add_item(message, type, block); }
  static void move(Message* target, Message* source) { move_message(target, source); }
};

struct MessageCalled {
  static void add(Message* message, int32_t type, Memory* block) { called<add_item>(message, type, block); }
  static void move(Message* target, Message* source) { called<move_message>(target, source); }
};

struct MessageUserlib {
  static void add(Message* message, int32_t type, Memory* block) { NUV_Message_add(message, type, block); }
  static void move(Message* target, Message* source) { NUV_Message_move(target, source); }
};

inline uint64_t g_released = 0;

inline Memory payload() {
  static std::array<uint8_t, 64> bytes = {};
  return {bytes.data(), static_cast<uint32_t>(bytes.size()), [](void*, uint32_t size) { g_released += size; }};
}

// Every block replaces an earlier one, which is released.
template <typename Side>
class AddItems {
 public:
  AddItems() { NUV_Message_construct(&message_, 1, 2, 3); }
  ~AddItems() { NUV_Message_destruct(&message_); }
  AddItems(const AddItems&) = delete;
  AddItems& operator=(const AddItems&) = delete;

  void step() {
    message_.m_uSize = 0;
    for (int32_t type = 0; type < NUV_MESSAGE_SIZE; ++type) {
      Memory block = payload();
      Side::add(opaque(&message_), type, opaque(&block));
    }
  }
  bool is_right() const { return NUV_Message_size(&message_) == NUV_MESSAGE_SIZE; }

 private:
  Message message_;
};

// Moves five items from one message to another and back.
template <typename Side>
class MoveItems {
 public:
  MoveItems() {
    NUV_Message_construct(&one_, 1, 2, 3);
    NUV_Message_construct(&other_, 4, 5, 6);
    for (int32_t type = 0; type < NUV_MESSAGE_SIZE; ++type) {
      Memory block = payload();
      NUV_Message_add(&one_, type, &block);
    }
  }
  ~MoveItems() {
    NUV_Message_destruct(&one_);
    NUV_Message_destruct(&other_);
  }
  MoveItems(const MoveItems&) = delete;
  MoveItems& operator=(const MoveItems&) = delete;

  void step() {
    Side::move(opaque(&other_), opaque(&one_));
    Side::move(opaque(&one_), opaque(&other_));
  }
  bool is_right() const {
    return NUV_Message_size(&one_) == NUV_MESSAGE_SIZE && NUV_Message_size(&other_) == 0 &&
           NUV_Message_msgType(&one_) == 1;
  }

 private:
  Message one_;
  Message other_;
};

struct PoolByHand {
  static uint32_t occupy(IndexPool* pool) { return occupy_lowest(pool); }
  static void release(IndexPool* pool, uint32_t index) { release_index(pool, index); }
};

struct PoolCalled {
  static uint32_t occupy(IndexPool* pool) { return called<occupy_lowest>(pool); }
  static void release(IndexPool* pool, uint32_t index) { called<release_index>(pool, index); }
};

struct PoolUserlib {
  static uint32_t occupy(IndexPool* pool) { return NUV_IndexPool_occupy(pool); }
  static void release(IndexPool* pool, uint32_t index) { NUV_IndexPool_release(pool, index); }
};

// A pool for the timers of a reactor, half of them in use.
template <typename Side>
class OccupyAndRelease {
 public:
  OccupyAndRelease() {
    NUV_IndexPool_construct(&pool_, 2 * kBusy);
    for (uint32_t i = 0; i < kBusy; ++i) {
      NUV_IndexPool_occupy(&pool_);
    }
  }
  ~OccupyAndRelease() { NUV_IndexPool_destruct(&pool_); }
  OccupyAndRelease(const OccupyAndRelease&) = delete;
  OccupyAndRelease& operator=(const OccupyAndRelease&) = delete;

  void step() {
    const uint32_t index = Side::occupy(opaque(&pool_));
    Side::release(opaque(&pool_), opaque(index));
  }
  bool is_right() const { return NUV_IndexPool_busy(&pool_) == kBusy; }

 private:
  static constexpr uint32_t kBusy = 40;
  IndexPool pool_;
};

struct MapByHand {
  static uint32_t find(const IndexMap* map, int32_t key) { return find_key(map, key); }
};

struct MapCalled {
  static uint32_t find(const IndexMap* map, int32_t key) { return called<find_key>(map, key); }
};

struct MapUserlib {
  static uint32_t find(const IndexMap* map, int32_t key) { return NUV_IndexMap_find(map, key); }
};

// Looks up every key of a map of 60, in another order than that of the positions.
template <typename Side>
class FindKeys {
 public:
  FindKeys() {
    NUV_IndexMap_construct(&map_, store_.data(), kEntries);
    for (int32_t i = 0; i < kEntries; ++i) {
      NUV_IndexMap_insert(&map_, i * kFactor, 0);
    }
  }

  void step() {
    wanted_ = (wanted_ + 23) % kEntries;
    is_right_ &= Side::find(opaque(&map_), opaque(wanted_ * kFactor)) == static_cast<uint32_t>(wanted_);
  }
  bool is_right() const { return is_right_; }

 private:
  static constexpr int32_t kEntries = 60;
  static constexpr int32_t kFactor = 1000003;
  std::array<IndexMapEntry, kEntries> store_;
  IndexMap map_;
  int32_t wanted_ = 0;
  bool is_right_ = true;
};

}  // namespace records_work

#endif
