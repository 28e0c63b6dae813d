// Violates every contract of the frame; the error handler returns.
#include <gtest/gtest.h>

#include "doubles/contract_recorder.h"
#include "doubles/counting_allocator.h"
#include "doubles/violation.h"
#include "nuv_frame.h"

namespace {

using support::ContractRecorder;
using support::CountingAllocator;
using support::ensure_report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_frame";
constexpr char kSize[] = "NUV_Frame_size( a_this) >= a_offset";
constexpr char kFrontRoom[] = "NUV_Frame_offsetFront( a_this) >= a_offset";
constexpr char kRearRoom[] = "NUV_Frame_offsetRear( a_this) >= a_offset";

void expect_layout(const Frame& frame, uint32_t front, uint32_t size, uint32_t rear) {
  EXPECT_EQ(NUV_Frame_offsetFront(&frame), front);
  EXPECT_EQ(NUV_Frame_size(&frame), size);
  EXPECT_EQ(NUV_Frame_offsetRear(&frame), rear);
}

void expect_empty(const Frame& frame) {
  EXPECT_EQ(NUV_Frame_address(&frame), nullptr);
  EXPECT_EQ(NUV_Frame_begin(&frame), nullptr);
  EXPECT_EQ(NUV_Frame_end(&frame), nullptr);
  EXPECT_EQ(NUV_Frame_absoluteSize(&frame), 0U);
}

const support::Report kNoFree = ensure_report("nuv_memory", "((void *)0) != a_this->m_pFree");

using Row = support::Violation<Frame>;

// The frame has 10 bytes of headroom, 20 of content and 30 of tailroom.
class FrameContracts : public ::testing::TestWithParam<Row> {
 protected:
  FrameContracts() {
    NUV_Frame_construct(&frame_, 60);
    NUV_Frame_reduceFront(&frame_, 10);
    NUV_Frame_reduceRear(&frame_, 30);
  }

  // Whatever happened to the frame, another one can be assigned to it, and destruct frees its block.
  ~FrameContracts() override {
    Frame other;
    NUV_Frame_construct(&other, 5);
    NUV_Frame_reduceFront(&other, 2);
    NUV_Frame_assign(&frame_, &other);
    expect_layout(frame_, 2, 3, 0);
    expect_empty(other);
    NUV_Frame_destruct(&frame_);
    NUV_Frame_destruct(&other);
  }

  CountingAllocator allocator_;
  ContractRecorder contracts_;
  Frame frame_;
};

TEST_P(FrameContracts, AreReportedAndCarriedOn) {
  GetParam().violate(frame_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
}

const Row kRows[] = {
    // The frame keeps the requested size: all of a block at null is content.
    {"constructWithoutMemory",
     [](Frame& frame) {
       NUV_Frame_destruct(&frame);
       NUV_installMemoryManager(CountingAllocator::allocate_nothing, CountingAllocator::release);
       EXPECT_EQ(NUV_Frame_construct(&frame, 60), 1);
       CountingAllocator::install();
       EXPECT_EQ(NUV_Frame_address(&frame), nullptr);
       EXPECT_EQ(NUV_Frame_begin(&frame), nullptr);
       EXPECT_EQ(NUV_Frame_absoluteSize(&frame), 60U);
       expect_layout(frame, 0, 60, 0);
       NUV_Frame_reduceFront(&frame, 10);
       NUV_Frame_reduceRear(&frame, 20);
       expect_layout(frame, 10, 30, 20);
     },
     {{NUV_ASSERT_NULL_POINTER, "nuv_memory", "NULL != a_this->m_pAddr"},
      ensure_report("nuv_memory", "( ((void *)0) != a_this->m_pAddr) == ( 0 != a_this->m_uSize)")}},
    // Each handle constructed without a free function is reported, and has none.
    {"constructWithoutAFreeFunction",
     [](Frame& frame) {
       NUV_Frame_destruct(&frame);
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       EXPECT_EQ(NUV_Frame_construct(&frame, 0), 1);
       CountingAllocator::install();
       expect_empty(frame);
       EXPECT_EQ(frame.m_oMemory.m_pFree, nullptr);
     },
     {require_report("nuv_memory", "0 != a_free"), kNoFree}},
    {"copyConstructWithoutAFreeFunction",
     [](Frame& frame) {
       Frame copy;
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       EXPECT_EQ(NUV_Frame_copyConstruct(&copy, &frame), 1);
       CountingAllocator::install();
       expect_layout(copy, 0, 60, 0);
       EXPECT_EQ(NUV_Frame_address(&frame), nullptr);
       EXPECT_EQ(frame.m_oMemory.m_pFree, nullptr);
       NUV_Frame_destruct(&copy);
     },
     {require_report("nuv_memory", "0 != a_free"), kNoFree}},
    {"assignWithoutAFreeFunction",
     [](Frame& frame) {
       Frame source;
       NUV_Frame_construct(&source, 7);
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       NUV_Frame_assign(&frame, &source);
       CountingAllocator::install();
       expect_layout(frame, 0, 7, 0);
       expect_empty(source);
       EXPECT_EQ(source.m_oMemory.m_pFree, nullptr);
       NUV_Frame_destruct(&source);
     },
     {require_report("nuv_memory", "0 != a_free"), kNoFree}},
    {"copyConstructFromNull",
     [](Frame& frame) {
       NUV_Frame_destruct(&frame);
       EXPECT_EQ(NUV_Frame_copyConstruct(&frame, nullptr), 1);
       expect_empty(frame);
     },
     {require_report("nuv_memory", "0 != a_src")}},
    {"swapWithNull",
     [](Frame& frame) {
       NUV_Frame_swap(&frame, nullptr);
       expect_layout(frame, 10, 20, 30);
     },
     {require_report(kFile, "0 != a_src")}},
    // Same as assigning an empty frame.
    {"assignFromNull",
     [](Frame& frame) {
       NUV_Frame_assign(&frame, nullptr);
       expect_empty(frame);
     },
     {require_report(kFile, "0 != a_src")}},
    {"reduceFrontOfEmptyContent",
     [](Frame& frame) {
       NUV_Frame_reduceRear(&frame, 20);
       expect_layout(frame, 10, 0, 50);
       NUV_Frame_reduceFront(&frame, 1);
     },
     {require_report(kFile, kSize)}},
    {"reduceRearOfEmptyContent",
     [](Frame& frame) {
       NUV_Frame_reduceFront(&frame, 20);
       expect_layout(frame, 30, 0, 30);
       NUV_Frame_reduceRear(&frame, 1);
       EXPECT_EQ(NUV_Frame_end(&frame), NUV_Frame_begin(&frame) - 1);
     },
     {require_report(kFile, kSize)}},
};

INSTANTIATE_TEST_SUITE_P(All, FrameContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

// One byte too many, and numbers that wrap when added to an offset: the move is reported but done, and the opposite
// move undoes it.
TEST_F(FrameContracts, MovesTheContentEvenOutOfItsBlock) {
  using Move = void (*)(Frame*, uint32_t);
  const struct {
    const char* name;
    Move move;
    Move back;
    uint32_t offset;
    const char* require;
    const char* back_require;  // null: the move back is allowed
    uint32_t front;
    uint32_t size;
    uint32_t rear;
  } kCases[] = {
      {"a byte too many off the front", NUV_Frame_reduceFront, NUV_Frame_expandFront, 21, kSize, nullptr, 31,
       0xFFFFFFFF, 30},
      {"a sum that wraps", NUV_Frame_reduceFront, NUV_Frame_expandFront, 0xFFFFFFF6, kSize, kFrontRoom, 0, 30, 30},
      {"a byte too many in front", NUV_Frame_expandFront, NUV_Frame_reduceFront, 11, kFrontRoom, nullptr, 0xFFFFFFFF,
       31, 30},
      {"a byte too many off the end", NUV_Frame_reduceRear, NUV_Frame_expandRear, 21, kSize, nullptr, 10, 0xFFFFFFFF,
       51},
      {"the largest number off the end", NUV_Frame_reduceRear, NUV_Frame_expandRear, 0xFFFFFFFF, kSize, kRearRoom, 10,
       21, 29},
      {"a byte too many behind", NUV_Frame_expandRear, NUV_Frame_reduceRear, 31, kRearRoom, nullptr, 10, 51,
       0xFFFFFFFF},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    row.move(&frame_, row.offset);
    EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, row.require)});
    expect_layout(frame_, row.front, row.size, row.rear);
    row.back(&frame_, row.offset);
    EXPECT_EQ(contracts_.take(),
              row.back_require == nullptr ? Reports{} : Reports{require_report(kFile, row.back_require)});
    expect_layout(frame_, 10, 20, 30);
  }
}

TEST(FrameContractsNull, EveryOperationReportsANullFrame) {
  const auto lines = support::expect_null_reports(kFile, "0 != a_this",
                                                  {{"construct", [] { NUV_Frame_construct(nullptr, 1); }},
                                                   {"copyConstruct", [] { NUV_Frame_copyConstruct(nullptr, nullptr); }},
                                                   {"destruct", [] { NUV_Frame_destruct(nullptr); }},
                                                   {"swap", [] { NUV_Frame_swap(nullptr, nullptr); }},
                                                   {"assign", [] { NUV_Frame_assign(nullptr, nullptr); }},
                                                   {"absoluteSize", [] { NUV_Frame_absoluteSize(nullptr); }},
                                                   {"address", [] { NUV_Frame_address(nullptr); }},
                                                   {"begin", [] { NUV_Frame_begin(nullptr); }},
                                                   {"end", [] { NUV_Frame_end(nullptr); }},
                                                   {"offsetFront", [] { NUV_Frame_offsetFront(nullptr); }},
                                                   {"offsetRear", [] { NUV_Frame_offsetRear(nullptr); }},
                                                   {"size", [] { NUV_Frame_size(nullptr); }},
                                                   {"reduceFront", [] { NUV_Frame_reduceFront(nullptr, 1); }},
                                                   {"expandFront", [] { NUV_Frame_expandFront(nullptr, 1); }},
                                                   {"reduceRear", [] { NUV_Frame_reduceRear(nullptr, 1); }},
                                                   {"expandRear", [] { NUV_Frame_expandRear(nullptr, 1); }}});
  EXPECT_EQ(lines.size(), 16U) << "one report for each operation";
}

}  // namespace
