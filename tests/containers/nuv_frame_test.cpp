#include "nuv_frame.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ostream>

#include "doubles/contract_recorder.h"
#include "doubles/counting_allocator.h"
#include "doubles/fault_loop.h"

namespace {

using support::ContractRecorder;
using support::CountingAllocator;

// The position of the content, from the accessors.
struct Layout {
  uint32_t front = 0;
  uint32_t size = 0;
  uint32_t rear = 0;

  bool operator==(const Layout&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Layout& layout) {
  return out << "{front " << layout.front << ", size " << layout.size << ", rear " << layout.rear << "}";
}

// For arithmetic on frames without memory: that on null pointers is undefined.
uintptr_t number_of(const uint8_t* address) {
  return reinterpret_cast<uintptr_t>(address);
}

// Also checks that the accessors agree with the fields.
Layout layout_of(const Frame& frame) {
  const Layout layout = {NUV_Frame_offsetFront(&frame), NUV_Frame_size(&frame), NUV_Frame_offsetRear(&frame)};
  EXPECT_EQ(NUV_Frame_absoluteSize(&frame), frame.m_oMemory.m_uSize);
  EXPECT_EQ(NUV_Frame_address(&frame), frame.m_oMemory.m_pAddr);
  EXPECT_EQ(NUV_Frame_begin(&frame), frame.m_pBegin);
  EXPECT_EQ(NUV_Frame_end(&frame), frame.m_pEnd);
  EXPECT_EQ(number_of(frame.m_pBegin), number_of(frame.m_oMemory.m_pAddr) + layout.front);
  EXPECT_EQ(number_of(frame.m_pEnd), number_of(frame.m_pBegin) + layout.size);
  EXPECT_EQ(layout.front + layout.size + layout.rear, frame.m_oMemory.m_uSize);
  return layout;
}

void expect_empty(const Frame& frame) {
  EXPECT_EQ(frame.m_oMemory.m_pAddr, nullptr);
  EXPECT_EQ(frame.m_oMemory.m_uSize, 0U);
  EXPECT_EQ(frame.m_pBegin, nullptr);
  EXPECT_EQ(frame.m_pEnd, nullptr);
}

class FrameTest : public ::testing::Test {
 protected:
  // A frame with room at both ends.
  static void make(Frame& frame, const Layout& layout) {
    ASSERT_EQ(NUV_Frame_construct(&frame, layout.front + layout.size + layout.rear), 1);
    NUV_Frame_reduceFront(&frame, layout.front);
    NUV_Frame_reduceRear(&frame, layout.rear);
    ASSERT_EQ(layout_of(frame), layout);
  }

  CountingAllocator allocator_;
  ContractRecorder contracts_;
};

TEST_F(FrameTest, StartsWithItsWholeBlockAsContent) {
  for (const uint32_t size : {1U, 2U, 1500U}) {
    SCOPED_TRACE(size);
    Frame frame;
    EXPECT_EQ(NUV_Frame_construct(&frame, size), 1);
    ASSERT_NE(NUV_Frame_address(&frame), nullptr);
    EXPECT_EQ(NUV_Frame_absoluteSize(&frame), size);
    EXPECT_EQ(NUV_Frame_begin(&frame), NUV_Frame_address(&frame));
    EXPECT_EQ(NUV_Frame_end(&frame), NUV_Frame_address(&frame) + size);
    EXPECT_EQ(layout_of(frame), (Layout{0, size, 0}));
    std::memset(NUV_Frame_begin(&frame), 1, size);
    NUV_Frame_destruct(&frame);
  }
  EXPECT_EQ(allocator_.allocations(), 3);
  EXPECT_EQ(allocator_.releases(), 3);
}

TEST_F(FrameTest, HasNoBlockWithSizeZero) {
  Frame frame;
  EXPECT_EQ(NUV_Frame_construct(&frame, 0), 1);
  expect_empty(frame);
  NUV_Frame_reduceFront(&frame, 0);
  NUV_Frame_expandFront(&frame, 0);
  NUV_Frame_reduceRear(&frame, 0);
  NUV_Frame_expandRear(&frame, 0);
  expect_empty(frame);
  EXPECT_EQ(layout_of(frame), Layout{});
  EXPECT_EQ(allocator_.allocations(), 0);
  NUV_Frame_destruct(&frame);
  EXPECT_EQ(allocator_.empty_releases(), 1);
}

TEST_F(FrameTest, MovesTheEndsOfItsContent) {
  using Move = void (*)(Frame*, uint32_t);
  const struct {
    const char* name;
    Move move;
    uint32_t offset;
    Layout after;  // of a frame with {10, 20, 30}
  } kCases[] = {
      {"strip nothing in front", NUV_Frame_reduceFront, 0, {10, 20, 30}},
      {"strip a byte in front", NUV_Frame_reduceFront, 1, {11, 19, 30}},
      {"strip all from the front", NUV_Frame_reduceFront, 20, {30, 0, 30}},
      {"give nothing back in front", NUV_Frame_expandFront, 0, {10, 20, 30}},
      {"give a byte back in front", NUV_Frame_expandFront, 1, {9, 21, 30}},
      {"give all back in front", NUV_Frame_expandFront, 10, {0, 30, 30}},
      {"strip nothing behind", NUV_Frame_reduceRear, 0, {10, 20, 30}},
      {"strip a byte behind", NUV_Frame_reduceRear, 1, {10, 19, 31}},
      {"strip all from behind", NUV_Frame_reduceRear, 20, {10, 0, 50}},
      {"give nothing back behind", NUV_Frame_expandRear, 0, {10, 20, 30}},
      {"give a byte back behind", NUV_Frame_expandRear, 1, {10, 21, 29}},
      {"give all back behind", NUV_Frame_expandRear, 30, {10, 50, 0}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    Frame frame;
    make(frame, {10, 20, 30});
    uint8_t* address = frame.m_oMemory.m_pAddr;
    row.move(&frame, row.offset);
    EXPECT_EQ(layout_of(frame), row.after);
    EXPECT_EQ(frame.m_oMemory.m_pAddr, address);
    NUV_Frame_destruct(&frame);
  }
}

TEST_F(FrameTest, LeavesTheBytesUnchanged) {
  Frame frame;
  NUV_Frame_construct(&frame, 4);
  std::memcpy(NUV_Frame_begin(&frame), "abcd", 4);
  NUV_Frame_reduceFront(&frame, 2);
  NUV_Frame_reduceRear(&frame, 1);
  EXPECT_EQ(*NUV_Frame_begin(&frame), 'c');
  NUV_Frame_expandFront(&frame, 2);
  NUV_Frame_expandRear(&frame, 1);
  EXPECT_EQ(std::memcmp(NUV_Frame_begin(&frame), "abcd", 4), 0);
  NUV_Frame_destruct(&frame);
}

TEST_F(FrameTest, CopyTakesTheBlockAndMakesAllOfItContent) {
  Frame source;
  make(source, {10, 20, 30});
  const Frame before = source;
  Frame copy;
  EXPECT_EQ(NUV_Frame_copyConstruct(&copy, &source), 1);
  EXPECT_EQ(copy.m_oMemory.m_pAddr, before.m_oMemory.m_pAddr);
  EXPECT_EQ(copy.m_oMemory.m_pFree, before.m_oMemory.m_pFree);
  EXPECT_EQ(layout_of(copy), (Layout{0, 60, 0}));
  EXPECT_EQ(NUV_Frame_address(&source), nullptr);
  EXPECT_EQ(NUV_Frame_absoluteSize(&source), 0U);
  EXPECT_EQ(source.m_pBegin, before.m_pBegin) << "unchanged, although the block is no longer the source's";
  EXPECT_EQ(source.m_pEnd, before.m_pEnd);
  EXPECT_EQ(allocator_.allocations(), 1);
  NUV_Frame_destruct(&source);
  EXPECT_EQ(allocator_.releases(), 0);
  EXPECT_EQ(allocator_.empty_releases(), 1);
  NUV_Frame_destruct(&copy);
  EXPECT_EQ(allocator_.releases(), 1);
}

TEST_F(FrameTest, SourceOfACopyCanBeAssignedTo) {
  Frame source;
  Frame copy;
  Frame other;
  make(source, {10, 20, 30});
  NUV_Frame_copyConstruct(&copy, &source);
  make(other, {1, 2, 3});
  NUV_Frame_assign(&source, &other);
  EXPECT_EQ(layout_of(source), (Layout{1, 2, 3}));
  expect_empty(other);
  NUV_Frame_destruct(&source);
  NUV_Frame_destruct(&copy);
  NUV_Frame_destruct(&other);
  EXPECT_EQ(allocator_.releases(), 2);
}

TEST_F(FrameTest, CopyOfAnEmptyFrameIsEmpty) {
  Frame source;
  NUV_Frame_construct(&source, 0);
  Frame copy;
  EXPECT_EQ(NUV_Frame_copyConstruct(&copy, &source), 1);
  expect_empty(copy);
  NUV_Frame_destruct(&source);
  NUV_Frame_destruct(&copy);
}

TEST_F(FrameTest, CopyOntoItselfKeepsItsBlock) {
  Frame frame;
  make(frame, {10, 20, 30});
  EXPECT_EQ(NUV_Frame_copyConstruct(&frame, &frame), 1);
  EXPECT_EQ(layout_of(frame), (Layout{0, 60, 0}));
  NUV_Frame_destruct(&frame);
  EXPECT_EQ(allocator_.releases(), 1);
}

TEST_F(FrameTest, SwapsBlocksAndContents) {
  Frame one;
  Frame two;
  make(one, {10, 20, 30});
  make(two, {1, 2, 3});
  const Frame one_before = one;
  const Frame two_before = two;
  NUV_Frame_swap(&one, &two);
  EXPECT_EQ(layout_of(one), (Layout{1, 2, 3}));
  EXPECT_EQ(one.m_oMemory.m_pAddr, two_before.m_oMemory.m_pAddr);
  EXPECT_EQ(layout_of(two), (Layout{10, 20, 30}));
  EXPECT_EQ(two.m_oMemory.m_pAddr, one_before.m_oMemory.m_pAddr);
  NUV_Frame_swap(&one, &one);
  EXPECT_EQ(layout_of(one), (Layout{1, 2, 3}));
  EXPECT_EQ(allocator_.releases(), 0);
  NUV_Frame_destruct(&one);
  NUV_Frame_destruct(&two);
}

TEST_F(FrameTest, AssignMoves) {
  Frame target;
  Frame source;
  make(target, {1, 2, 3});
  make(source, {10, 20, 30});
  const Frame before = source;
  NUV_Frame_assign(&target, &source);
  EXPECT_EQ(allocator_.releases(), 1) << "the former block of the target";
  EXPECT_EQ(layout_of(target), (Layout{10, 20, 30}));
  EXPECT_EQ(target.m_oMemory.m_pAddr, before.m_oMemory.m_pAddr);
  expect_empty(source);
  EXPECT_NE(source.m_oMemory.m_pFree, nullptr);

  NUV_Frame_assign(&target, &source);
  expect_empty(target);
  EXPECT_EQ(allocator_.releases(), 2);
  NUV_Frame_destruct(&target);
  NUV_Frame_destruct(&source);
  EXPECT_EQ(allocator_.live(), 0);
}

TEST_F(FrameTest, AssignedToItselfIsEmpty) {
  Frame frame;
  make(frame, {10, 20, 30});
  NUV_Frame_assign(&frame, &frame);
  expect_empty(frame);
  EXPECT_EQ(allocator_.releases(), 1);
  NUV_Frame_destruct(&frame);
}

// Only construct allocates, so only a frame's first block can be missing.
TEST(FrameMemory, OnlyConstructAllocates) {
  const int calls = support::each_fault("malloc", {ENOMEM}, [](support::Fault& fault) {
    ContractRecorder contracts;
    Frame frame;
    Frame copy;
    Frame target;
    fault.during([&] {
      EXPECT_EQ(NUV_Frame_construct(&frame, 60), 1);
      EXPECT_EQ(NUV_Frame_copyConstruct(&copy, &frame), 1);
      EXPECT_EQ(NUV_Frame_construct(&target, 0), 1);
      NUV_Frame_assign(&target, &copy);
      NUV_Frame_swap(&target, &frame);
    });
    EXPECT_EQ(contracts.take().size(), fault.has_struck() ? 2U : 0U);
    EXPECT_EQ(layout_of(frame), (Layout{0, 60, 0})) << "even without memory";
    EXPECT_EQ(NUV_Frame_address(&frame) == nullptr, fault.has_struck());
    expect_empty(copy);
    NUV_Frame_destruct(&frame);
    NUV_Frame_destruct(&target);
    NUV_Frame_destruct(&copy);

    EXPECT_EQ(NUV_Frame_construct(&frame, 60), 1);
    EXPECT_EQ(layout_of(frame), (Layout{0, 60, 0}));
    NUV_Frame_destruct(&frame);
  });
  EXPECT_EQ(calls, 1);
}

}  // namespace
