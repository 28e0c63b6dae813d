#include "nuv_message.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "doubles/contract_recorder.h"
#include "doubles/counting_allocator.h"

namespace {

using support::ContractRecorder;
using support::CountingAllocator;

// Type and address of all five items, in order.
using Items = std::vector<std::pair<int32_t, const uint8_t*>>;
const Items kUnset(5, {-1, nullptr});

Items items_of(const Message& message) {
  Items items;
  for (const MessageData& item : message.m_rgData) {
    items.emplace_back(item.m_iType, item.m_oData.m_pAddr);
  }
  return items;
}

void expect_header(const Message& message, int32_t type, int32_t dest, int32_t src) {
  EXPECT_EQ(NUV_Message_msgType(&message), type);
  EXPECT_EQ(NUV_Message_destPort(&message), dest);
  EXPECT_EQ(NUV_Message_srcPort(&message), src);
}

class MessageTest : public ::testing::Test {
 protected:
  // Makes a message with the header (base, base + 1, base + 2) and items of the types base, base + 1, ...
  static void make(Message& message, int32_t base, int32_t count) {
    ASSERT_EQ(NUV_Message_construct(&message, base, base + 1, base + 2), 1);
    for (int32_t i = 0; i < count; ++i) {
      Memory block;
      NUV_Memory_construct(&block, 8);
      NUV_Message_add(&message, base + i, &block);
      NUV_Memory_destruct(&block);
    }
    ASSERT_EQ(NUV_Message_size(&message), static_cast<uint32_t>(count));
  }

  CountingAllocator allocator_;
  ContractRecorder contracts_;
};

TEST_F(MessageTest, StartsWithItsHeaderAndNoItems) {
  Message message;
  EXPECT_EQ(NUV_Message_construct(&message, 1, -2, 3), 1);
  expect_header(message, 1, -2, 3);
  EXPECT_EQ(message.m_oHeader.m_iMsgType, 1);
  EXPECT_EQ(message.m_oHeader.m_iDestPort, -2);
  EXPECT_EQ(message.m_oHeader.m_iSrcPort, 3);
  EXPECT_EQ(NUV_Message_size(&message), 0U);
  EXPECT_EQ(NUV_Message_maxSize(&message), 5U);
  EXPECT_EQ(items_of(message), kUnset);
  EXPECT_EQ(allocator_.allocations(), 0);
  NUV_Message_destruct(&message);
  EXPECT_EQ(allocator_.empty_releases(), 5) << "all five items are destructed, used or not";
}

TEST_F(MessageTest, AcceptsUpToFiveBlocks) {
  Message message;
  NUV_Message_construct(&message, 1, 2, 3);
  Items expected = kUnset;
  for (uint32_t i = 0; i < 5; ++i) {
    SCOPED_TRACE(i);
    Memory block;
    NUV_Memory_construct(&block, 8 + i);
    const auto type = static_cast<int32_t>(100 + i);
    expected[i] = {type, block.m_pAddr};
    NUV_Message_add(&message, type, &block);
    EXPECT_EQ(block.m_pAddr, nullptr);
    EXPECT_EQ(block.m_uSize, 0U);
    EXPECT_EQ(NUV_Message_size(&message), i + 1);
    EXPECT_EQ(items_of(message), expected);
    MessageData* item = NUV_Message_data(&message, i);
    ASSERT_EQ(item, &message.m_rgData[i]);
    EXPECT_EQ(NUV_MessageData_type(item), type);
    EXPECT_EQ(NUV_MessageData_data(item)->m_uSize, 8 + i);
  }
  EXPECT_EQ(allocator_.releases(), 0);
  NUV_Message_destruct(&message);
  EXPECT_EQ(allocator_.releases(), 5);
}

TEST_F(MessageTest, AddsAnItemWithAnEmptyBlock) {
  Message message;
  NUV_Message_construct(&message, 1, 2, 3);
  Memory block;
  NUV_Memory_construct(&block, 0);
  NUV_Message_add(&message, 7, &block);
  EXPECT_EQ(NUV_Message_size(&message), 1U);
  EXPECT_EQ(NUV_MessageData_type(NUV_Message_data(&message, 0)), 7);
  NUV_Message_destruct(&message);
}

TEST_F(MessageTest, SwapsHeadersSizesAndAllItems) {
  for (int32_t count = 0; count <= 5; ++count) {
    SCOPED_TRACE(count);
    Message one;
    Message two;
    make(one, 10, count);
    make(two, 50, 3);
    const Items one_items = items_of(one);
    const Items two_items = items_of(two);
    NUV_Message_swap(&one, &two);
    expect_header(one, 50, 51, 52);
    EXPECT_EQ(NUV_Message_size(&one), 3U);
    EXPECT_EQ(items_of(one), two_items);
    expect_header(two, 10, 11, 12);
    EXPECT_EQ(NUV_Message_size(&two), static_cast<uint32_t>(count));
    EXPECT_EQ(items_of(two), one_items);
    NUV_Message_destruct(&one);
    NUV_Message_destruct(&two);
  }
}

TEST_F(MessageTest, SwapsItemsThatAreNotInUse) {
  Message one;
  Message two;
  make(one, 10, 0);
  make(two, 50, 0);
  Memory block;
  NUV_Memory_construct(&block, 8);
  const uint8_t* address = block.m_pAddr;
  NUV_MessageData_set(&one.m_rgData[4], 7, &block);
  NUV_Message_swap(&one, &two);
  EXPECT_EQ(items_of(one), kUnset);
  Items expected = kUnset;
  expected[4] = {7, address};
  EXPECT_EQ(items_of(two), expected);
  EXPECT_EQ(NUV_Message_size(&two), 0U);
  NUV_Message_destruct(&one);
  NUV_Message_destruct(&two);
  EXPECT_EQ(allocator_.releases(), 1);
}

TEST_F(MessageTest, MovesHeaderAndItems) {
  Message target;
  Message source;
  make(target, 10, 5);
  make(source, 50, 3);
  const Items items = items_of(source);
  NUV_Message_move(&target, &source);
  EXPECT_EQ(allocator_.releases(), 5) << "the former blocks of the target";
  expect_header(target, 50, 51, 52);
  EXPECT_EQ(NUV_Message_size(&target), 3U);
  EXPECT_EQ(items_of(target), items);
  expect_header(source, 0, 0, 0);
  EXPECT_EQ(NUV_Message_size(&source), 0U);
  EXPECT_EQ(items_of(source), kUnset);

  Memory block;
  NUV_Memory_construct(&block, 8);
  NUV_Message_add(&source, 1, &block);
  EXPECT_EQ(NUV_Message_size(&source), 1U) << "the source can be used again";
  NUV_Message_destruct(&target);
  NUV_Message_destruct(&source);
  EXPECT_EQ(allocator_.allocations(), 9);
  EXPECT_EQ(allocator_.releases(), 9);
}

TEST_F(MessageTest, IsEmptyWhenMovedOntoItself) {
  Message message;
  make(message, 10, 3);
  NUV_Message_move(&message, &message);
  expect_header(message, 0, 0, 0);
  EXPECT_EQ(NUV_Message_size(&message), 0U);
  EXPECT_EQ(items_of(message), kUnset);
  EXPECT_EQ(allocator_.releases(), 3);
  NUV_Message_destruct(&message);
}

}  // namespace
