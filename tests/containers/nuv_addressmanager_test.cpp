#include "nuv_addressmanager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "doubles/child_process.h"
#include "doubles/contract_recorder.h"

namespace {

using support::ContractRecorder;

static_assert(sizeof g_rgAddress == 256);

bool table_is(uint8_t value) {
  return std::all_of(std::begin(g_rgAddress), std::end(g_rgAddress), [value](uint8_t byte) { return byte == value; });
}

// The table is global: each test starts and ends with all addresses free.
class AddressManagerTest : public ::testing::Test {
 protected:
  AddressManagerTest() { EXPECT_TRUE(table_is(0)); }

  ~AddressManagerTest() override {
    for (uint32_t i = 0; i < 256; ++i) {
      if (g_rgAddress[i] != 0) {
        NUV_AddressManager_deallocate(i);
      }
    }
    EXPECT_TRUE(table_is(0));
  }

  static void allocate(uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
      ASSERT_EQ(NUV_AddressManager_allocate(), i);
    }
  }

  ContractRecorder contracts_;
};

TEST_F(AddressManagerTest, StartsWithAllAddressesFree) {
  EXPECT_EQ(NUV_AddressManager_available(), 1);
  EXPECT_EQ(NUV_AddressManager_busy(0), 0);
  EXPECT_EQ(NUV_AddressManager_busy(255), 0);
}

TEST_F(AddressManagerTest, GivesTheLowestFreeAddress) {
  allocate(3);
  NUV_AddressManager_deallocate(1);
  EXPECT_EQ(NUV_AddressManager_allocate(), 1U);
  EXPECT_EQ(NUV_AddressManager_allocate(), 3U);
  NUV_AddressManager_deallocate(2);
  NUV_AddressManager_deallocate(0);
  EXPECT_EQ(NUV_AddressManager_allocate(), 0U);
  EXPECT_EQ(NUV_AddressManager_allocate(), 2U);
}

TEST_F(AddressManagerTest, ShowsTakenAddressesInItsTable) {
  allocate(2);
  EXPECT_EQ(NUV_AddressManager_busy(1), 1);
  EXPECT_EQ(g_rgAddress[1], 1);
  EXPECT_EQ(NUV_AddressManager_busy(2), 0);
  EXPECT_EQ(g_rgAddress[2], 0);
  NUV_AddressManager_deallocate(1);
  EXPECT_EQ(NUV_AddressManager_busy(1), 0);
  EXPECT_EQ(g_rgAddress[0], 1);
  EXPECT_EQ(g_rgAddress[1], 0);
}

TEST_F(AddressManagerTest, AllocatesEachOfThe256Once) {
  for (uint32_t i = 0; i < 256; ++i) {
    EXPECT_EQ(NUV_AddressManager_available(), 1);
    ASSERT_EQ(NUV_AddressManager_allocate(), i);
  }
  EXPECT_EQ(NUV_AddressManager_available(), 0);
  EXPECT_EQ(NUV_AddressManager_busy(255), 1);
  EXPECT_TRUE(table_is(1));
  NUV_AddressManager_deallocate(255);
  EXPECT_EQ(NUV_AddressManager_available(), 1);
  EXPECT_EQ(NUV_AddressManager_allocate(), 255U);
}

TEST_F(AddressManagerTest, EndsTheProcessWhenTheTableIsFull) {
  allocate(256);
  const support::ChildProcess child([] {
    NUV_Assert_setErrorHandler(nullptr);
    NUV_AddressManager_allocate();
  });
  EXPECT_TRUE(child.has_exited(255)) << child.outcome();
}

}  // namespace
