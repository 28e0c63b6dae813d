// What do frames, messages and indices cost beside the same work and the same checks written where they are needed?
//
// The sides "called" and "inline" do what a daemon's author would write without the library, on the same records: functions
// of this file that check what the library checks, in the same order and with the same reports, each fact once. "called"
// calls them, as a daemon calls functions of another of its files; so does the library's side, which only goes a longer way
// through the table of the shared object. With "inline" the compiler puts them in the place of their calls.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "nuv_assert.h"
#include "nuv_frame.h"
#include "nuv_indexmap.h"
#include "nuv_indexpool.h"
#include "nuv_message.h"

namespace {

#define CHECK_THAT(type, condition)                     \
  (__builtin_expect(static_cast<bool>(condition), true) \
       ? static_cast<void>(0)                           \
       : NUV_Assert_failed((type), "inline", static_cast<uint32_t>(__LINE__), #condition))
#define REQUIRE_THAT(condition) CHECK_THAT(NUV_ASSERT_REQUIRE, condition)
#define ENSURE_THAT(condition)  CHECK_THAT(NUV_ASSERT_ENSURE, condition)

// Lets the compiler know nothing of a value, nor of what the record behind a pointer holds. Without it, the inline side
// would have its operations folded into one, or into none.
template <typename Value>
Value opaque(Value value) {
  benchmark::DoNotOptimize(value);
  benchmark::ClobberMemory();
  return value;
}

// Calls the function instead of letting the compiler put it here.
template <auto kFunction, typename... Arguments>
[[gnu::noinline]] auto called(Arguments... arguments) {
  return kFunction(arguments...);
}

// ---- Frame ----

uint32_t distance(const uint8_t* from, const uint8_t* to) {
  return static_cast<uint32_t>(to - from);
}

const uint8_t* end_of(const Memory& block) {
  return block.m_pAddr + block.m_uSize;
}

void reduce_front(Frame* frame, uint32_t offset) {
  REQUIRE_THAT(frame != nullptr);
  REQUIRE_THAT(distance(frame->m_pBegin, frame->m_pEnd) >= offset);
  const uint32_t before = distance(frame->m_oMemory.m_pAddr, frame->m_pBegin);
  frame->m_pBegin += offset;
  ENSURE_THAT(distance(frame->m_oMemory.m_pAddr, frame->m_pBegin) == before + offset);
}

void expand_front(Frame* frame, uint32_t offset) {
  REQUIRE_THAT(frame != nullptr);
  REQUIRE_THAT(distance(frame->m_oMemory.m_pAddr, frame->m_pBegin) >= offset);
  const uint32_t before = distance(frame->m_oMemory.m_pAddr, frame->m_pBegin);
  frame->m_pBegin -= offset;
  ENSURE_THAT(distance(frame->m_oMemory.m_pAddr, frame->m_pBegin) == before - offset);
}

void reduce_rear(Frame* frame, uint32_t offset) {
  REQUIRE_THAT(frame != nullptr);
  REQUIRE_THAT(distance(frame->m_pBegin, frame->m_pEnd) >= offset);
  const uint32_t before = distance(frame->m_pEnd, end_of(frame->m_oMemory));
  frame->m_pEnd -= offset;
  ENSURE_THAT(distance(frame->m_pEnd, end_of(frame->m_oMemory)) == before + offset);
}

void expand_rear(Frame* frame, uint32_t offset) {
  REQUIRE_THAT(frame != nullptr);
  REQUIRE_THAT(distance(frame->m_pEnd, end_of(frame->m_oMemory)) >= offset);
  const uint32_t before = distance(frame->m_pEnd, end_of(frame->m_oMemory));
  frame->m_pEnd += offset;
  ENSURE_THAT(distance(frame->m_pEnd, end_of(frame->m_oMemory)) == before - offset);
}

struct FrameInline {
  static void strip(Frame* frame, uint32_t header, uint32_t trailer) {
    reduce_front(frame, opaque(header));
    reduce_rear(frame, opaque(trailer));
  }
  static void give_back(Frame* frame, uint32_t header, uint32_t trailer) {
    expand_front(frame, opaque(header));
    expand_rear(frame, opaque(trailer));
  }
};

struct FrameCalled {
  static void strip(Frame* frame, uint32_t header, uint32_t trailer) {
    called<reduce_front>(frame, opaque(header));
    called<reduce_rear>(frame, opaque(trailer));
  }
  static void give_back(Frame* frame, uint32_t header, uint32_t trailer) {
    called<expand_front>(frame, opaque(header));
    called<expand_rear>(frame, opaque(trailer));
  }
};

struct FrameUserlib {
  static void strip(Frame* frame, uint32_t header, uint32_t trailer) {
    NUV_Frame_reduceFront(frame, opaque(header));
    NUV_Frame_reduceRear(frame, opaque(trailer));
  }
  static void give_back(Frame* frame, uint32_t header, uint32_t trailer) {
    NUV_Frame_expandFront(frame, opaque(header));
    NUV_Frame_expandRear(frame, opaque(trailer));
  }
};

// A layer takes header and trailer off a frame, and the answer gets them back.
template <typename Side>
void reduce_and_expand(benchmark::State& state) {
  Frame frame;
  NUV_Frame_construct(&frame, 1500);
  for ([[maybe_unused]] auto _ : state) {
    Side::strip(opaque(&frame), 14, 4);
    Side::give_back(opaque(&frame), 14, 4);
  }
  if (NUV_Frame_size(&frame) != 1500) {
    state.SkipWithError("the frame has another size than before");
  }
  NUV_Frame_destruct(&frame);
}
BENCHMARK(reduce_and_expand<FrameUserlib>)->Name("frame_reduce_and_expand/userlib");
BENCHMARK(reduce_and_expand<FrameCalled>)->Name("frame_reduce_and_expand/called");
BENCHMARK(reduce_and_expand<FrameInline>)->Name("frame_reduce_and_expand/inline");

// ---- Message ----

uint64_t g_released = 0;

void release(void* /*block*/, uint32_t size) {
  g_released += size;
}

// The allocator's other half, which an empty block gets.
NUV_MemoryFree g_free = [](void*, uint32_t) {};

Memory empty_block() {
  return {nullptr, 0, g_free};
}

void release_block(const Memory& block) {
  block.m_pFree(block.m_pAddr, block.m_uSize);
}

struct MessageInline {
  static void add(Message* message, int32_t type, Memory* block) {
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

  static void move(Message* target, Message* source) {
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
};

struct MessageCalled {
  static void add(Message* message, int32_t type, Memory* block) { called<MessageInline::add>(message, type, block); }
  static void move(Message* target, Message* source) { called<MessageInline::move>(target, source); }
};

struct MessageUserlib {
  static void add(Message* message, int32_t type, Memory* block) { NUV_Message_add(message, type, block); }
  static void move(Message* target, Message* source) { NUV_Message_move(target, source); }
};

std::array<uint8_t, 64> g_payload = {};

Memory payload() {
  return {g_payload.data(), static_cast<uint32_t>(g_payload.size()), release};
}

// Every block goes where one was before, which is released.
template <typename Side>
void add(benchmark::State& state) {
  Message message;
  NUV_Message_construct(&message, 1, 2, 3);
  for ([[maybe_unused]] auto _ : state) {
    message.m_uSize = 0;
    for (int32_t type = 0; type < NUV_MESSAGE_SIZE; ++type) {
      Memory block = payload();
      Side::add(opaque(&message), type, opaque(&block));
    }
  }
  if (NUV_Message_size(&message) != NUV_MESSAGE_SIZE) {
    state.SkipWithError("not every block was added");
  }
  NUV_Message_destruct(&message);
}
BENCHMARK(add<MessageUserlib>)->Name("message_add/userlib");
BENCHMARK(add<MessageCalled>)->Name("message_add/called");
BENCHMARK(add<MessageInline>)->Name("message_add/inline");

// Five items go from one message to another and back.
template <typename Side>
void move(benchmark::State& state) {
  Message one;
  Message other;
  NUV_Message_construct(&one, 1, 2, 3);
  NUV_Message_construct(&other, 4, 5, 6);
  for (int32_t type = 0; type < NUV_MESSAGE_SIZE; ++type) {
    Memory block = payload();
    NUV_Message_add(&one, type, &block);
  }
  for ([[maybe_unused]] auto _ : state) {
    Side::move(opaque(&other), opaque(&one));
    Side::move(opaque(&one), opaque(&other));
  }
  if (NUV_Message_size(&one) != NUV_MESSAGE_SIZE || NUV_Message_size(&other) != 0 || NUV_Message_msgType(&one) != 1) {
    state.SkipWithError("the items are not where they belong");
  }
  NUV_Message_destruct(&one);
  NUV_Message_destruct(&other);
}
BENCHMARK(move<MessageUserlib>)->Name("message_move/userlib");
BENCHMARK(move<MessageCalled>)->Name("message_move/called");
BENCHMARK(move<MessageInline>)->Name("message_move/inline");

// ---- Index pool ----

struct PoolInline {
  static uint32_t occupy(IndexPool* pool) {
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

  static void release(IndexPool* pool, uint32_t index) {
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
};

struct PoolCalled {
  static uint32_t occupy(IndexPool* pool) { return called<PoolInline::occupy>(pool); }
  static void release(IndexPool* pool, uint32_t index) { called<PoolInline::release>(pool, index); }
};

struct PoolUserlib {
  static uint32_t occupy(IndexPool* pool) { return NUV_IndexPool_occupy(pool); }
  static void release(IndexPool* pool, uint32_t index) { NUV_IndexPool_release(pool, index); }
};

// A pool for the timers of a reactor, half of them running.
template <typename Side>
void occupy_and_release(benchmark::State& state) {
  IndexPool pool;
  NUV_IndexPool_construct(&pool, 80);
  for (int i = 0; i < 40; ++i) {
    NUV_IndexPool_occupy(&pool);
  }
  for ([[maybe_unused]] auto _ : state) {
    const uint32_t index = Side::occupy(opaque(&pool));
    Side::release(opaque(&pool), opaque(index));
  }
  if (NUV_IndexPool_busy(&pool) != 40) {
    state.SkipWithError("another number of indices is occupied than before");
  }
  NUV_IndexPool_destruct(&pool);
}
BENCHMARK(occupy_and_release<PoolUserlib>)->Name("index_pool_occupy_and_release/userlib");
BENCHMARK(occupy_and_release<PoolCalled>)->Name("index_pool_occupy_and_release/called");
BENCHMARK(occupy_and_release<PoolInline>)->Name("index_pool_occupy_and_release/inline");

// ---- Index map ----

struct MapInline {
  static uint32_t find(const IndexMap* map, int32_t key) {
    REQUIRE_THAT(map != nullptr);
    for (uint32_t i = 0; i < map->m_uMapSize; ++i) {
      if (map->m_rgMap[i].m_bUsed == 1 && map->m_rgMap[i].m_oPair.m_iKey == key) {
        return i;
      }
    }
    return map->m_uMapSize;
  }
};

struct MapCalled {
  static uint32_t find(const IndexMap* map, int32_t key) { return called<MapInline::find>(map, key); }
};

struct MapUserlib {
  static uint32_t find(const IndexMap* map, int32_t key) { return NUV_IndexMap_find(map, key); }
};

// Looks for every key of a map of 60 in its turn, in another order than that of the positions.
template <typename Side>
void find(benchmark::State& state) {
  constexpr int32_t kEntries = 60;
  constexpr int32_t kFactor = 1000003;
  std::array<IndexMapEntry, kEntries> store;
  IndexMap map;
  NUV_IndexMap_construct(&map, store.data(), store.size());
  for (int32_t i = 0; i < kEntries; ++i) {
    NUV_IndexMap_insert(&map, i * kFactor, 0);
  }
  int32_t wanted = 0;
  for ([[maybe_unused]] auto _ : state) {
    wanted = (wanted + 23) % kEntries;
    if (Side::find(opaque(&map), opaque(wanted * kFactor)) != static_cast<uint32_t>(wanted)) {
      state.SkipWithError("a key is not where it was put");
      return;
    }
  }
}
BENCHMARK(find<MapUserlib>)->Name("index_map_find/60_entries/userlib");
BENCHMARK(find<MapCalled>)->Name("index_map_find/60_entries/called");
BENCHMARK(find<MapInline>)->Name("index_map_find/60_entries/inline");

}  // namespace
