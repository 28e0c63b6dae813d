// Every check of the message, violated while the error handler returns.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "doubles/contract_recorder.h"
#include "doubles/counting_allocator.h"
#include "doubles/violation.h"
#include "nuv_message.h"

namespace {

using support::ContractRecorder;
using support::CountingAllocator;
using support::ensure_report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_message";
constexpr char kHasRoom[] = "NUV_Message_size( a_this) < NUV_Message_maxSize( a_this)";
constexpr char kHasGrown[] = "NUV_Message_size( a_this) == ( oldsize + 1)";
constexpr char kInUse[] = "NUV_Message_size( a_this) > a_index";

// Adds a block of eight bytes of this type.
void add(Message& message, int32_t type) {
  Memory block;
  NUV_Memory_construct(&block, 8);
  NUV_Message_add(&message, type, &block);
  NUV_Memory_destruct(&block);
}

void fill(Message& message) {
  while (NUV_Message_size(&message) < NUV_Message_maxSize(&message)) {
    add(message, static_cast<int32_t>(NUV_Message_size(&message)));
  }
}

// Looks that the first items, so many, have the types 0, 1, 2, ... and the others none.
void expect_items(Message& message, uint32_t count) {
  EXPECT_EQ(NUV_Message_size(&message), count);
  for (uint32_t i = 0; i < 5; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(message.m_rgData[i].m_iType, i < count ? static_cast<int32_t>(i) : -1);
    EXPECT_EQ(message.m_rgData[i].m_oData.m_uSize, i < count ? 8U : 0U);
  }
}

using Row = support::Violation<Message>;

// The message has the header (1, 2, 3) and two items, and memory behind it that is not the message's.
class MessageContracts : public ::testing::TestWithParam<Row> {
 protected:
  static constexpr uint8_t kGuard = 0x5A;

  MessageContracts() {
    std::fill(std::begin(storage_.behind), std::end(storage_.behind), kGuard);
    NUV_Message_construct(&message_, 1, 2, 3);
    add(message_, 0);
    add(message_, 1);
  }

  CountingAllocator allocator_;
  ContractRecorder contracts_;
  struct {
    Message message;
    uint8_t behind[sizeof(MessageData)];
  } storage_;
  Message& message_ = storage_.message;
};

TEST_P(MessageContracts, AreReportedAndLeaveAWorkingMessage) {
  GetParam().violate(message_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);

  EXPECT_EQ(NUV_Message_msgType(&message_), 1);
  EXPECT_EQ(NUV_Message_destPort(&message_), 2);
  EXPECT_EQ(NUV_Message_srcPort(&message_), 3);
  fill(message_);
  expect_items(message_, 5);
  EXPECT_EQ(NUV_MessageData_type(NUV_Message_data(&message_, 4)), 4);
  NUV_Message_destruct(&message_);
  for (const uint8_t byte : storage_.behind) {
    EXPECT_EQ(byte, kGuard);
  }
}

const Row kRows[] = {
    {"dataOfAnItemThatIsNotInUse",
     [](Message& message) { EXPECT_EQ(NUV_Message_data(&message, 2), &message.m_rgData[2]); },
     {require_report(kFile, kInUse)}},
    {"dataOfTheLastPlace",
     [](Message& message) { EXPECT_EQ(NUV_Message_data(&message, 4), &message.m_rgData[4]); },
     {require_report(kFile, kInUse)}},
    {"dataOfTheSixthItem",
     [](Message& message) {
       fill(message);
       EXPECT_EQ(NUV_Message_data(&message, 5), nullptr);
     },
     {require_report(kFile, kInUse)}},
    {"dataOfTheLargestIndex",
     [](Message& message) { EXPECT_EQ(NUV_Message_data(&message, 0xFFFFFFFF), nullptr); },
     {require_report(kFile, kInUse)}},
    {"addWithoutABlock",
     [](Message& message) {
       NUV_Message_add(&message, 9, nullptr);
       expect_items(message, 2);
     },
     {require_report(kFile, "((void *)0) != a_data"), ensure_report(kFile, kHasGrown)}},
    {"addToAFullMessage",
     [](Message& message) {
       fill(message);
       Memory block;
       NUV_Memory_construct(&block, 16);
       const uint8_t* address = block.m_pAddr;
       NUV_Message_add(&message, 9, &block);
       expect_items(message, 5);
       EXPECT_EQ(block.m_pAddr, address) << "the block that found no room stays the caller's";
       EXPECT_EQ(block.m_uSize, 16U);
       NUV_Memory_destruct(&block);
     },
     {require_report(kFile, kHasRoom), ensure_report(kFile, kHasGrown)}},
    {"addNothingToAFullMessage",
     [](Message& message) {
       fill(message);
       NUV_Message_add(&message, 9, nullptr);
       expect_items(message, 5);
     },
     {require_report(kFile, "((void *)0) != a_data"), require_report(kFile, kHasRoom),
      ensure_report(kFile, kHasGrown)}},
    {"swapWithNull",
     [](Message& message) {
       NUV_Message_swap(&message, nullptr);
       expect_items(message, 2);
     },
     {require_report(kFile, "((void *)0) != a_src")}},
    {"moveFromNull",
     [](Message& message) {
       NUV_Message_move(&message, nullptr);
       expect_items(message, 2);
     },
     {require_report(kFile, "0 != a_src")}},
};

INSTANTIATE_TEST_SUITE_P(All, MessageContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST(MessageContractsNull, EveryOperationReportsANullMessage) {
  const auto lines = support::expect_null_reports(kFile, "((void *)0) != a_this",
                                                  {{"construct", [] { NUV_Message_construct(nullptr, 1, 2, 3); }},
                                                   {"destruct", [] { NUV_Message_destruct(nullptr); }},
                                                   {"msgType", [] { NUV_Message_msgType(nullptr); }},
                                                   {"destPort", [] { NUV_Message_destPort(nullptr); }},
                                                   {"srcPort", [] { NUV_Message_srcPort(nullptr); }},
                                                   {"size", [] { NUV_Message_size(nullptr); }},
                                                   {"maxSize", [] { NUV_Message_maxSize(nullptr); }},
                                                   {"data", [] { NUV_Message_data(nullptr, 0); }},
                                                   {"add", [] { NUV_Message_add(nullptr, 1, nullptr); }},
                                                   {"swap", [] { NUV_Message_swap(nullptr, nullptr); }}});
  EXPECT_EQ(lines.size(), 10U) << "each operation has a check of its own";
  // The one that writes it short.
  support::expect_null_reports(kFile, "0 != a_this", {{"move", [] { NUV_Message_move(nullptr, nullptr); }}});
}

}  // namespace
