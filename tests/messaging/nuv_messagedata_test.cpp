#include "nuv_messagedata.h"

#include <gtest/gtest.h>

#include "doubles/contract_recorder.h"
#include "doubles/counting_allocator.h"

namespace {

using support::ContractRecorder;
using support::CountingAllocator;

void expect_unset(MessageData& item) {
  EXPECT_EQ(NUV_MessageData_type(&item), -1);
  EXPECT_EQ(NUV_MessageData_data(&item)->m_pAddr, nullptr);
  EXPECT_EQ(NUV_MessageData_data(&item)->m_uSize, 0U);
  EXPECT_EQ(NUV_MessageData_data(&item)->m_pFree, CountingAllocator::release);
}

class MessageDataTest : public ::testing::Test {
 protected:
  // Constructs an item with a new block and returns the block's address.
  static uint8_t* make(MessageData& item, int32_t type, uint32_t size) {
    EXPECT_EQ(NUV_MessageData_construct(&item), 1);
    Memory block;
    NUV_Memory_construct(&block, size);
    uint8_t* address = block.m_pAddr;
    NUV_MessageData_set(&item, type, &block);
    return address;
  }

  static void expect_holds(MessageData& item, int32_t type, const uint8_t* address, uint32_t size) {
    EXPECT_EQ(NUV_MessageData_type(&item), type);
    EXPECT_EQ(NUV_MessageData_data(&item)->m_pAddr, address);
    EXPECT_EQ(NUV_MessageData_data(&item)->m_uSize, size);
  }

  CountingAllocator allocator_;
  ContractRecorder contracts_;
};

TEST_F(MessageDataTest, StartsWithoutData) {
  MessageData item = {7, {nullptr, 9, nullptr}};
  EXPECT_EQ(NUV_MessageData_construct(&item), 1);
  expect_unset(item);
  EXPECT_EQ(item.m_iType, -1);
  EXPECT_EQ(NUV_MessageData_data(&item), &item.m_oData);
  EXPECT_EQ(allocator_.allocations(), 0);
  NUV_MessageData_destruct(&item);
  EXPECT_EQ(allocator_.empty_releases(), 1);
}

TEST_F(MessageDataTest, TakesTheCallersBlock) {
  MessageData item;
  NUV_MessageData_construct(&item);
  Memory block;
  NUV_Memory_construct(&block, 8);
  uint8_t* address = block.m_pAddr;
  NUV_MessageData_set(&item, 42, &block);
  expect_holds(item, 42, address, 8);
  EXPECT_EQ(block.m_pAddr, nullptr);
  EXPECT_EQ(block.m_uSize, 0U);
  EXPECT_EQ(allocator_.releases(), 0);
  NUV_MessageData_destruct(&item);
  EXPECT_EQ(allocator_.releases(), 1);
  NUV_Memory_destruct(&block);
}

TEST_F(MessageDataTest, FreesTheFormerBlockWhenSetAgain) {
  MessageData item;
  make(item, 1, 8);
  Memory block;
  NUV_Memory_construct(&block, 3);
  uint8_t* address = block.m_pAddr;
  NUV_MessageData_set(&item, INT32_MIN, &block);
  EXPECT_EQ(allocator_.releases(), 1);
  expect_holds(item, INT32_MIN, address, 3);
  NUV_MessageData_set(&item, 0, &block);
  EXPECT_EQ(allocator_.releases(), 2);
  expect_holds(item, 0, nullptr, 0);
  NUV_MessageData_destruct(&item);
}

TEST_F(MessageDataTest, SetFromItselfFreesItsBlock) {
  MessageData item;
  make(item, 1, 8);
  NUV_MessageData_set(&item, 2, NUV_MessageData_data(&item));
  expect_holds(item, 2, nullptr, 0);
  EXPECT_EQ(allocator_.releases(), 1);
  NUV_MessageData_destruct(&item);
}

TEST_F(MessageDataTest, SwapsTypesAndBlocks) {
  MessageData one;
  MessageData two;
  MessageData unset;
  const uint8_t* one_block = make(one, 1, 10);
  const uint8_t* two_block = make(two, 2, 20);
  NUV_MessageData_construct(&unset);
  NUV_MessageData_swap(&one, &two);
  expect_holds(one, 2, two_block, 20);
  expect_holds(two, 1, one_block, 10);
  NUV_MessageData_swap(&two, &unset);
  expect_unset(two);
  expect_holds(unset, 1, one_block, 10);
  NUV_MessageData_swap(&one, &one);
  expect_holds(one, 2, two_block, 20);
  EXPECT_EQ(allocator_.releases(), 0);
  NUV_MessageData_destruct(&one);
  NUV_MessageData_destruct(&two);
  NUV_MessageData_destruct(&unset);
}

TEST_F(MessageDataTest, MovesTypeAndBlock) {
  MessageData target;
  MessageData source;
  make(target, 1, 10);
  const uint8_t* block = make(source, 2, 20);
  NUV_MessageData_move(&target, &source);
  EXPECT_EQ(allocator_.releases(), 1);
  expect_holds(target, 2, block, 20);
  expect_unset(source);
  NUV_MessageData_move(&target, &source);
  EXPECT_EQ(allocator_.releases(), 2);
  expect_unset(target);
  expect_unset(source);
  NUV_MessageData_destruct(&target);
  NUV_MessageData_destruct(&source);
}

TEST_F(MessageDataTest, LosesItsDataWhenMovedOntoItself) {
  MessageData item;
  make(item, 1, 10);
  NUV_MessageData_move(&item, &item);
  expect_unset(item);
  EXPECT_EQ(allocator_.releases(), 1);
  NUV_MessageData_destruct(&item);
}

}  // namespace
