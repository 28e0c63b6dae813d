// Violates every contract of the message item; the error handler returns.
#include <gtest/gtest.h>

#include "doubles/contract_recorder.h"
#include "doubles/counting_allocator.h"
#include "doubles/violation.h"
#include "nuv_messagedata.h"

namespace {

using support::ContractRecorder;
using support::CountingAllocator;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_messagedata";

const support::Report kNoFree = support::ensure_report("nuv_memory", "((void *)0) != a_this->m_pFree");

using Row = support::Violation<MessageData>;

void expect_item(const MessageData& item, int32_t type, const uint8_t* address, uint32_t size, NUV_MemoryFree free) {
  EXPECT_EQ(item.m_iType, type);
  EXPECT_EQ(item.m_oData.m_pAddr, address);
  EXPECT_EQ(item.m_oData.m_uSize, size);
  EXPECT_EQ(item.m_oData.m_pFree, free);
}

// The item holds a block of ten bytes of type 1.
class MessageDataContracts : public ::testing::TestWithParam<Row> {
 protected:
  MessageDataContracts() {
    Memory block;
    NUV_MessageData_construct(&item_);
    NUV_Memory_construct(&block, 10);
    NUV_MessageData_set(&item_, 1, &block);
  }

  // Whatever happened to the item, it can be given a block, moved and destructed.
  ~MessageDataContracts() override {
    Memory block;
    MessageData other;
    NUV_Memory_construct(&block, 4);
    const uint8_t* address = block.m_pAddr;
    NUV_MessageData_set(&item_, 7, &block);
    NUV_MessageData_construct(&other);
    NUV_MessageData_move(&other, &item_);
    expect_item(item_, NUV_MESSAGEDATA_NONE, nullptr, 0, CountingAllocator::release);
    expect_item(other, 7, address, 4, CountingAllocator::release);
    NUV_MessageData_destruct(&other);
    NUV_MessageData_destruct(&item_);
  }

  const CountingAllocator allocator_;
  ContractRecorder contracts_;
  MessageData item_;
};

TEST_P(MessageDataContracts, AreReportedAndCarriedOn) {
  GetParam().violate(item_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
}

// nuv_memory itself reports each empty block that is constructed without a free function.
const Row kRows[] = {
    // The type is stored, the former block is freed, and the missing one counts as empty.
    {"setWithoutABlock",
     [](MessageData& item) {
       NUV_MessageData_set(&item, 2, nullptr);
       expect_item(item, 2, nullptr, 0, CountingAllocator::release);
     },
     {require_report(kFile, "((void *)0) != a_data"), require_report("nuv_memory", "0 != a_src")}},
    {"setWithoutABlockAndAFreeFunction",
     [](MessageData& item) {
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       NUV_MessageData_set(&item, 2, nullptr);
       CountingAllocator::install();
       expect_item(item, 2, nullptr, 0, nullptr);
     },
     {require_report("nuv_memory", "0 != a_free"), require_report(kFile, "((void *)0) != a_data"),
      require_report("nuv_memory", "0 != a_src"), kNoFree}},
    {"setWithoutAFreeFunction",
     [](MessageData& item) {
       Memory block;
       NUV_Memory_construct(&block, 3);
       const uint8_t* address = block.m_pAddr;
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       NUV_MessageData_set(&item, 2, &block);
       CountingAllocator::install();
       expect_item(item, 2, address, 3, CountingAllocator::release);
       EXPECT_EQ(block.m_pFree, nullptr);
     },
     {require_report("nuv_memory", "0 != a_free"), kNoFree}},
    {"constructWithoutAFreeFunction",
     [](MessageData&) {
       MessageData other;
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       EXPECT_EQ(NUV_MessageData_construct(&other), 1);
       CountingAllocator::install();
       expect_item(other, NUV_MESSAGEDATA_NONE, nullptr, 0, nullptr);
       NUV_MessageData_destruct(&other);
     },
     {require_report("nuv_memory", "0 != a_free"), kNoFree}},
    {"swapWithNull",
     [](MessageData& item) {
       NUV_MessageData_swap(&item, nullptr);
       expect_item(item, 1, item.m_oData.m_pAddr, 10, CountingAllocator::release);
       EXPECT_NE(item.m_oData.m_pAddr, nullptr);
     },
     {require_report(kFile, "((void *)0) != a_src")}},
    // Same as moving from an item without data.
    {"moveFromNull",
     [](MessageData& item) {
       NUV_MessageData_move(&item, nullptr);
       expect_item(item, NUV_MESSAGEDATA_NONE, nullptr, 0, CountingAllocator::release);
     },
     {require_report(kFile, "0 != a_src")}},
    {"moveWithoutAFreeFunction",
     [](MessageData& item) {
       MessageData other;
       NUV_MessageData_construct(&other);
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       NUV_MessageData_move(&other, &item);
       CountingAllocator::install();
       expect_item(item, NUV_MESSAGEDATA_NONE, nullptr, 0, nullptr);
       EXPECT_EQ(NUV_MessageData_type(&other), 1);
       NUV_MessageData_destruct(&other);
     },
     {require_report("nuv_memory", "0 != a_free"), kNoFree}},
};

INSTANTIATE_TEST_SUITE_P(All, MessageDataContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST(MessageDataContractsNull, EveryOperationReportsANullItem) {
  const auto lines = support::expect_null_reports(kFile, "((void *)0) != a_this",
                                                  {{"construct", [] { NUV_MessageData_construct(nullptr); }},
                                                   {"destruct", [] { NUV_MessageData_destruct(nullptr); }},
                                                   {"type", [] { NUV_MessageData_type(nullptr); }},
                                                   {"data", [] { NUV_MessageData_data(nullptr); }},
                                                   {"set", [] { NUV_MessageData_set(nullptr, 1, nullptr); }},
                                                   {"swap", [] { NUV_MessageData_swap(nullptr, nullptr); }}});
  EXPECT_EQ(lines.size(), 6U) << "one report for each operation";
  // This one spells the condition differently.
  support::expect_null_reports(kFile, "0 != a_this", {{"move", [] { NUV_MessageData_move(nullptr, nullptr); }}});
}

}  // namespace
