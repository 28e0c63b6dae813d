// Every check of the memory block, violated while the error handler returns.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "doubles/contract_recorder.h"
#include "doubles/counting_allocator.h"
#include "doubles/violation.h"
#include "nuv_memory.h"

namespace {

using support::ContractRecorder;
using support::CountingAllocator;
using support::ensure_report;
using support::Report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_memory";
constexpr char kAgree[] = "( 0 != a_addr) == ( 0 != a_size)";
constexpr char kAgreeStored[] = "( 0 != a_this->m_pAddr) == ( 0 != a_this->m_uSize)";
constexpr char kAgreeMade[] = "( ((void *)0) != a_this->m_pAddr) == ( 0 != a_this->m_uSize)";
constexpr char kInside[] = "( NUV_Memory_begin( a_this) + a_size + a_offset) <= NUV_Memory_end( a_this)";

const Report kNoMemory = {NUV_ASSERT_NULL_POINTER, kFile, "NULL != a_this->m_pAddr"};

// A block that is not from the hook, and the function that gives it back: writes down what it is called with.
using Released = std::vector<std::pair<void*, uint32_t>>;
Released g_released;
uint8_t g_block[4];

void write_down(void* address, uint32_t size) {
  g_released.emplace_back(address, size);
}

void* allocate_nothing(uint32_t /*size*/) {
  return nullptr;
}

testing::AssertionResult is_empty(const Memory& memory) {
  if (memory.m_pAddr != nullptr || memory.m_uSize != 0) {
    return testing::AssertionFailure() << "address " << static_cast<void*>(memory.m_pAddr) << ", size "
                                       << memory.m_uSize;
  }
  return memory.m_pFree != nullptr ? testing::AssertionSuccess() : testing::AssertionFailure() << "no free function";
}

// A handle that can be read, takes a new block, and gives it back.
void expect_works(Memory& memory) {
  EXPECT_EQ(NUV_Memory_get(&memory, NUV_Memory_size(&memory), 0), NUV_Memory_begin(&memory));
  Memory other;
  NUV_Memory_construct(&other, 16);
  uint8_t* address = NUV_Memory_begin(&other);
  NUV_Memory_move(&memory, &other);
  EXPECT_EQ(NUV_Memory_begin(&memory), address);
  EXPECT_EQ(NUV_Memory_get(&memory, 1, 15), address + 15);
  NUV_Memory_destruct(&memory);
  EXPECT_TRUE(is_empty(other));
  NUV_Memory_destruct(&other);
}

using Row = support::Violation<Memory>;

// The handle owns eight bytes from the hook.
class MemoryContracts : public ::testing::TestWithParam<Row> {
 protected:
  MemoryContracts() {
    g_released.clear();
    NUV_Memory_construct(&memory_, 8);
  }

  CountingAllocator allocator_;
  ContractRecorder contracts_;
  Memory memory_;
};

TEST_P(MemoryContracts, AreReportedAndLeaveAWorkingHandle) {
  GetParam().violate(memory_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
  expect_works(memory_);
}

// The handle's block is given back first, because construct and set forget what it holds.
void set(Memory& memory, void* address, uint32_t size, NUV_MemoryFree free) {
  NUV_Memory_destruct(&memory);
  EXPECT_EQ(NUV_Memory_set(&memory, address, size, free), 1);
}

const Row kRows[] = {
    {"installWithoutAlloc",
     [](Memory&) { NUV_installMemoryManager(nullptr, write_down); },
     {require_report(kFile, "0 != a_alloc")}},
    {"installWithoutFree",
     [](Memory&) { NUV_installMemoryManager(allocate_nothing, nullptr); },
     {require_report(kFile, "0 != a_free")}},
    {"installWithoutAnything",
     [](Memory&) { NUV_installMemoryManager(nullptr, nullptr); },
     {require_report(kFile, "0 != a_alloc"), require_report(kFile, "0 != a_free")}},
    {"constructWithoutMemory",
     [](Memory& memory) {
       NUV_Memory_destruct(&memory);
       NUV_installMemoryManager(allocate_nothing, CountingAllocator::release);
       EXPECT_EQ(NUV_Memory_construct(&memory, 8), 1);
       NUV_installMemoryManager(CountingAllocator::allocate, CountingAllocator::release);
       EXPECT_TRUE(is_empty(memory));
       EXPECT_EQ(NUV_Memory_end(&memory), nullptr);
     },
     {kNoMemory, ensure_report(kFile, kAgreeMade)}},
    {"setASizeWithoutABlock",
     [](Memory& memory) {
       set(memory, nullptr, 4, write_down);
       EXPECT_TRUE(is_empty(memory)) << "nobody may read 4 bytes at null";
     },
     {require_report(kFile, kAgree), ensure_report(kFile, kAgreeStored)}},
    {"setABlockWithoutASize",
     [](Memory& memory) {
       set(memory, g_block, 0, write_down);
       EXPECT_EQ(NUV_Memory_size(&memory), 0U);
       NUV_Memory_destruct(&memory);
       EXPECT_EQ(g_released, (Released{{g_block, 0}})) << "the block was handed over and is not lost";
     },
     {require_report(kFile, kAgree), ensure_report(kFile, kAgreeStored)}},
    {"setWithoutAFreeFunction",
     [](Memory& memory) {
       set(memory, g_block, 4, nullptr);
       EXPECT_EQ(NUV_Memory_get(&memory, 4, 0), g_block);
       ASSERT_NE(memory.m_pFree, nullptr);
       NUV_Memory_destruct(&memory);
       EXPECT_EQ(g_released, Released{}) << "nobody knows how to give it back";
     },
     {require_report(kFile, "0 != a_free"), ensure_report(kFile, "0 != a_this->m_pFree")}},
    {"setOfNothingButASize",
     [](Memory& memory) {
       set(memory, nullptr, 0xFFFFFFFF, nullptr);
       EXPECT_TRUE(is_empty(memory));
     },
     {require_report(kFile, kAgree), require_report(kFile, "0 != a_free"), ensure_report(kFile, kAgreeStored),
      ensure_report(kFile, "0 != a_this->m_pFree")}},
    {"swapWithNull",
     [](Memory& memory) {
       const Memory before = memory;
       NUV_Memory_swap(&memory, nullptr);
       EXPECT_EQ(memory.m_pAddr, before.m_pAddr);
       EXPECT_EQ(memory.m_uSize, 8U);
       EXPECT_EQ(memory.m_pFree, before.m_pFree);
     },
     {require_report(kFile, "0 != a_src")}},
    {"moveFromNull",
     [](Memory& memory) {
       const Memory before = memory;
       NUV_Memory_move(&memory, nullptr);
       EXPECT_EQ(memory.m_pAddr, before.m_pAddr);
       EXPECT_EQ(memory.m_uSize, 8U);
       EXPECT_EQ(memory.m_pFree, before.m_pFree);
     },
     {require_report(kFile, "0 != a_src")}},
};

INSTANTIATE_TEST_SUITE_P(All, MemoryContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

// Only a handler that breaks the record itself gets this far.
TEST_F(MemoryContracts, EvenAHandlerThatTakesTheFreeFunctionAwayLeavesAnEmptyHandle) {
  NUV_Memory_destruct(&memory_);
  NUV_installMemoryManager(allocate_nothing, CountingAllocator::release);
  contracts_.meddle([this](const Report&) { memory_.m_pFree = nullptr; });
  EXPECT_EQ(NUV_Memory_construct(&memory_, 8), 1);
  NUV_installMemoryManager(CountingAllocator::allocate, CountingAllocator::release);
  EXPECT_EQ(contracts_.take(), (Reports{kNoMemory, ensure_report(kFile, kAgreeMade),
                                        ensure_report(kFile, "((void *)0) != a_this->m_pFree")}));
  EXPECT_TRUE(is_empty(memory_));
  expect_works(memory_);
}

TEST_F(MemoryContracts, GetGivesNothingThatLiesBehindTheEnd) {
  uint8_t* block = memory_.m_pAddr;
  const struct {
    const char* name;
    uint32_t size;
    uint32_t offset;
    uint8_t* result;
  } kCases[] = {
      {"one byte more than all", 9, 0, block},
      {"all, one byte too far", 8, 1, block + 1},
      {"a byte at the end", 1, 8, block + 8},
      {"nothing behind the end", 0, 9, nullptr},
      {"a byte behind the end", 1, 9, nullptr},
      // Sums that wrap to something small.
      {"a size that wraps to 0", 0xFFFFFFFF, 1, block + 1},
      {"a size that wraps to the end", 0xFFFFFFFF, 8, block + 8},
      {"an offset that wraps to 0", 1, 0xFFFFFFFF, nullptr},
      {"an offset that wraps to the end", 8, 0xFFFFFFF8, nullptr},
      {"halves that wrap to 0", 0x80000000, 0x80000000, nullptr},
      {"the largest numbers", 0xFFFFFFFF, 0xFFFFFFFF, nullptr},
      {"the largest size", 0xFFFFFFFF, 0, block},
      {"the largest offset", 0, 0xFFFFFFFF, nullptr},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(NUV_Memory_get(&memory_, row.size, row.offset), row.result);
    EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kInside)});
  }
  expect_works(memory_);
}

TEST_F(MemoryContracts, GetGivesNothingOfAnEmptyHandle) {
  Memory empty;
  NUV_Memory_construct(&empty, 0);
  EXPECT_EQ(NUV_Memory_get(&empty, 1, 0), nullptr);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kInside)});
  NUV_Memory_destruct(&empty);
  NUV_Memory_destruct(&memory_);
}

TEST(MemoryContractsNull, EveryOperationReportsANullHandle) {
  const auto lines = support::expect_null_reports(kFile, "0 != a_this",
                                                  {{"construct", [] { NUV_Memory_construct(nullptr, 1); }},
                                                   {"destruct", [] { NUV_Memory_destruct(nullptr); }},
                                                   {"size", [] { NUV_Memory_size(nullptr); }},
                                                   {"begin", [] { NUV_Memory_begin(nullptr); }},
                                                   {"end", [] { NUV_Memory_end(nullptr); }},
                                                   {"set", [] { NUV_Memory_set(nullptr, nullptr, 1, nullptr); }},
                                                   {"swap", [] { NUV_Memory_swap(nullptr, nullptr); }},
                                                   {"move", [] { NUV_Memory_move(nullptr, nullptr); }}});
  EXPECT_EQ(lines.size(), 8U) << "each operation has a check of its own";
  // The one that writes it in full.
  support::expect_null_reports(kFile, "((void *)0) != a_this", {{"get", [] { NUV_Memory_get(nullptr, 1, 1); }}});
}

}  // namespace
