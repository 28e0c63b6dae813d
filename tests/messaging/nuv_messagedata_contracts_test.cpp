// Every check of the message item, violated while the error handler returns.
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

using Row = support::Violation<MessageData>;

// The item holds a block of ten bytes of type 1.
class MessageDataContracts : public ::testing::TestWithParam<Row> {};

TEST_P(MessageDataContracts, AreReportedAndLeaveTheItemAsItIs) {
  const CountingAllocator allocator;
  ContractRecorder contracts;
  MessageData item;
  Memory block;
  NUV_MessageData_construct(&item);
  NUV_Memory_construct(&block, 10);
  const uint8_t* address = block.m_pAddr;
  NUV_MessageData_set(&item, 1, &block);

  GetParam().violate(item);
  EXPECT_EQ(contracts.take(), GetParam().reports);

  EXPECT_EQ(NUV_MessageData_type(&item), 1);
  EXPECT_EQ(NUV_MessageData_data(&item)->m_pAddr, address);
  EXPECT_EQ(NUV_MessageData_data(&item)->m_uSize, 10U);
  EXPECT_EQ(allocator.releases(), 0);
  NUV_MessageData_destruct(&item);
}

const Row kRows[] = {
    {"setWithoutABlock",
     [](MessageData& item) { NUV_MessageData_set(&item, 2, nullptr); },
     {require_report(kFile, "((void *)0) != a_data")}},
    {"swapWithNull",
     [](MessageData& item) { NUV_MessageData_swap(&item, nullptr); },
     {require_report(kFile, "((void *)0) != a_src")}},
    {"moveFromNull",
     [](MessageData& item) { NUV_MessageData_move(&item, nullptr); },
     {require_report(kFile, "0 != a_src")}},
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
  EXPECT_EQ(lines.size(), 6U) << "each operation has a check of its own";
  // The one that writes it short.
  support::expect_null_reports(kFile, "0 != a_this", {{"move", [] { NUV_MessageData_move(nullptr, nullptr); }}});
}

}  // namespace
