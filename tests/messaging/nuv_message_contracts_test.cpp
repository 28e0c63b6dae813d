// Violates every contract of the message; the error handler returns.
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

// Checks that the first `count` items have the types 0, 1, 2, ... and the others none.
void expect_items(Message& message, uint32_t count) {
  EXPECT_EQ(NUV_Message_size(&message), count);
  for (uint32_t i = 0; i < 5; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(message.m_rgData[i].m_iType, i < count ? static_cast<int32_t>(i) : -1);
    EXPECT_EQ(message.m_rgData[i].m_oData.m_uSize, i < count ? 8U : 0U);
  }
}

void expect_header(const Message& message, int32_t type, int32_t destination, int32_t source) {
  EXPECT_EQ(NUV_Message_msgType(&message), type);
  EXPECT_EQ(NUV_Message_destPort(&message), destination);
  EXPECT_EQ(NUV_Message_srcPort(&message), source);
}

const support::Report kNoFreeFunction = require_report("nuv_memory", "0 != a_free");
const support::Report kNoFree = ensure_report("nuv_memory", "((void *)0) != a_this->m_pFree");

using Row = support::Violation<Message>;

// The message has the header (1, 2, 3) and two items; guard bytes follow it.
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

// Whatever happened to the message, it can be filled, moved and destructed.
TEST_P(MessageContracts, AreReportedAndCarriedOn) {
  GetParam().violate(message_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);

  Message other;
  NUV_Message_construct(&other, 4, 5, 6);
  fill(message_);
  EXPECT_EQ(NUV_Message_size(&message_), 5U);
  EXPECT_EQ(NUV_MessageData_type(NUV_Message_data(&message_, 4)), 4);
  NUV_Message_move(&other, &message_);
  expect_items(message_, 0);
  NUV_Message_destruct(&other);
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
    // The item is added with its type; the missing block counts as empty.
    {"addWithoutABlock",
     [](Message& message) {
       NUV_Message_add(&message, 9, nullptr);
       EXPECT_EQ(NUV_Message_size(&message), 3U);
       EXPECT_EQ(message.m_rgData[2].m_iType, 9);
       EXPECT_EQ(message.m_rgData[2].m_oData.m_pAddr, nullptr);
       EXPECT_EQ(message.m_rgData[2].m_oData.m_uSize, 0U);
       EXPECT_EQ(message.m_rgData[3].m_iType, -1);
     },
     {require_report(kFile, "((void *)0) != a_data"), require_report("nuv_messagedata", "((void *)0) != a_data"),
      require_report("nuv_memory", "0 != a_src")}},
    {"addToAFullMessage",
     [](Message& message) {
       fill(message);
       Memory block;
       NUV_Memory_construct(&block, 16);
       const uint8_t* address = block.m_pAddr;
       NUV_Message_add(&message, 9, &block);
       expect_items(message, 5);
       EXPECT_EQ(block.m_pAddr, address) << "the block was not added and stays the caller's";
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
       expect_header(message, 1, 2, 3);
       expect_items(message, 2);
     },
     {require_report(kFile, "((void *)0) != a_src")}},
    // Same as moving from an empty message.
    {"moveFromNull",
     [](Message& message) {
       NUV_Message_move(&message, nullptr);
       expect_header(message, 0, 0, 0);
       expect_items(message, 0);
     },
     {require_report(kFile, "0 != a_src")}},
    // Each of the five empty blocks is reported, and has no free function.
    {"constructWithoutAFreeFunction",
     [](Message&) {
       Message other;
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       EXPECT_EQ(NUV_Message_construct(&other, 1, 2, 3), 1);
       CountingAllocator::install();
       expect_header(other, 1, 2, 3);
       expect_items(other, 0);
       EXPECT_EQ(other.m_rgData[4].m_oData.m_pFree, nullptr);
       NUV_Message_destruct(&other);
     },
     {kNoFreeFunction, kNoFree, kNoFree, kNoFree, kNoFree, kNoFree}},
    {"moveWithoutAFreeFunction",
     [](Message& message) {
       Message other;
       NUV_Message_construct(&other, 0, 0, 0);
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       NUV_Message_move(&other, &message);
       CountingAllocator::install();
       expect_header(message, 0, 0, 0);
       expect_items(message, 0);
       EXPECT_EQ(message.m_rgData[0].m_oData.m_pFree, nullptr);
       expect_header(other, 1, 2, 3);
       expect_items(other, 2);
       NUV_Message_destruct(&other);
     },
     {kNoFreeFunction, kNoFree, kNoFree, kNoFree, kNoFree, kNoFree}},
    {"addWithoutAFreeFunction",
     [](Message& message) {
       Memory block;
       NUV_Memory_construct(&block, 8);
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       NUV_Message_add(&message, 2, &block);
       CountingAllocator::install();
       expect_items(message, 3);
       EXPECT_EQ(block.m_pFree, nullptr);
     },
     {kNoFreeFunction, kNoFree}},
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
  EXPECT_EQ(lines.size(), 10U) << "one report for each operation";
  // This one spells the condition differently.
  support::expect_null_reports(kFile, "0 != a_this", {{"move", [] { NUV_Message_move(nullptr, nullptr); }}});
}

}  // namespace
