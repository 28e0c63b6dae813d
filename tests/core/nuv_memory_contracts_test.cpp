// Violates every contract of the memory block; the error handler returns.
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

const Report kNoFree = ensure_report(kFile, "((void *)0) != a_this->m_pFree");

// A block that does not come from the hook, and its free function, which records its arguments.
using Released = std::vector<std::pair<void*, uint32_t>>;
Released g_released;
uint8_t g_block[4];

void write_down(void* address, uint32_t size) {
  g_released.emplace_back(address, size);
}

void expect_fields(const Memory& memory, const void* address, uint32_t size, NUV_MemoryFree free) {
  EXPECT_EQ(memory.m_pAddr, address);
  EXPECT_EQ(memory.m_uSize, size);
  EXPECT_EQ(memory.m_pFree, free);
}

// Pointer arithmetic that may leave the block.
uint8_t* behind(const void* address, uint32_t offset) {
  return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(address) + offset);
}

using Row = support::Violation<Memory>;

// The handle owns eight bytes from the hook.
class MemoryContracts : public ::testing::TestWithParam<Row> {
 protected:
  MemoryContracts() {
    g_released.clear();
    NUV_Memory_construct(&memory_, 8);
  }

  // Whatever happened to the handle, it can be read, swapped, given a new block and destructed.
  void expect_harmless() {
    EXPECT_EQ(NUV_Memory_get(&memory_, NUV_Memory_size(&memory_), 0), NUV_Memory_begin(&memory_));
    EXPECT_EQ(NUV_Memory_end(&memory_), behind(memory_.m_pAddr, memory_.m_uSize));
    Memory other;
    NUV_Memory_construct(&other, 16);
    uint8_t* address = NUV_Memory_begin(&other);
    NUV_Memory_swap(&memory_, &other);
    NUV_Memory_swap(&memory_, &other);
    NUV_Memory_move(&memory_, &other);
    EXPECT_EQ(NUV_Memory_begin(&memory_), address);
    EXPECT_EQ(NUV_Memory_get(&memory_, 1, 15), address + 15);
    NUV_Memory_destruct(&memory_);
    NUV_Memory_destruct(&other);
  }

  CountingAllocator allocator_;
  ContractRecorder contracts_;
  Memory memory_;
};

TEST_P(MemoryContracts, AreReportedAndCarriedOn) {
  GetParam().violate(memory_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
  expect_harmless();
}

// Frees the handle's block first, because construct and set overwrite the handle without freeing.
void reconstruct(Memory& memory, uint32_t size) {
  NUV_Memory_destruct(&memory);
  EXPECT_EQ(NUV_Memory_construct(&memory, size), 1);
}

void set(Memory& memory, void* address, uint32_t size, NUV_MemoryFree free) {
  NUV_Memory_destruct(&memory);
  EXPECT_EQ(NUV_Memory_set(&memory, address, size, free), 1);
  expect_fields(memory, address, size, free);
}

const Row kRows[] = {
    {"constructWithoutMemory",
     [](Memory& memory) {
       NUV_installMemoryManager(CountingAllocator::allocate_nothing, CountingAllocator::release);
       reconstruct(memory, 8);
       CountingAllocator::install();
       expect_fields(memory, nullptr, 8, CountingAllocator::release);
     },
     {kNoMemory, ensure_report(kFile, kAgreeMade)}},
    // Each null half of the hook is stored, and reported again when a block is made with it.
    {"constructWithoutAFunctionThatAllocates",
     [](Memory& memory) {
       NUV_installMemoryManager(nullptr, write_down);
       reconstruct(memory, 8);
       CountingAllocator::install();
       expect_fields(memory, nullptr, 8, write_down);
     },
     {require_report(kFile, "0 != a_alloc"), kNoMemory, ensure_report(kFile, kAgreeMade)}},
    {"constructNothingWithoutAFunctionThatAllocates",
     [](Memory& memory) {
       NUV_installMemoryManager(nullptr, write_down);
       reconstruct(memory, 0);
       CountingAllocator::install();
       expect_fields(memory, nullptr, 0, write_down);
     },
     {require_report(kFile, "0 != a_alloc")}},
    {"constructWithoutAFunctionThatFrees",
     [](Memory& memory) {
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       reconstruct(memory, 8);
       CountingAllocator::install();
       EXPECT_NE(memory.m_pAddr, nullptr);
       expect_fields(memory, memory.m_pAddr, 8, nullptr);
       CountingAllocator::release(memory.m_pAddr, 8);  // the handle has no free function
     },
     {require_report(kFile, "0 != a_free"), kNoFree}},
    {"constructNothingWithoutAFunctionThatFrees",
     [](Memory& memory) {
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       reconstruct(memory, 0);
       CountingAllocator::install();
       expect_fields(memory, nullptr, 0, nullptr);
     },
     {require_report(kFile, "0 != a_free"), kNoFree}},
    {"constructWithoutAHook",
     [](Memory& memory) {
       NUV_installMemoryManager(nullptr, nullptr);
       reconstruct(memory, 8);
       CountingAllocator::install();
       expect_fields(memory, nullptr, 8, nullptr);
     },
     {require_report(kFile, "0 != a_alloc"), require_report(kFile, "0 != a_free"), kNoMemory,
      ensure_report(kFile, kAgreeMade), kNoFree}},
    {"moveWithoutAFunctionThatFrees",
     [](Memory& memory) {
       Memory source;
       NUV_Memory_construct(&source, 5);
       uint8_t* address = source.m_pAddr;
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       NUV_Memory_move(&memory, &source);
       CountingAllocator::install();
       expect_fields(memory, address, 5, CountingAllocator::release);
       expect_fields(source, nullptr, 0, nullptr);
       NUV_Memory_destruct(&source);
     },
     {require_report(kFile, "0 != a_free"), kNoFree}},
    {"setASizeWithoutABlock",
     [](Memory& memory) { set(memory, nullptr, 4, write_down); },
     {require_report(kFile, kAgree), ensure_report(kFile, kAgreeStored)}},
    {"setABlockWithoutASize",
     [](Memory& memory) { set(memory, g_block, 0, write_down); },
     {require_report(kFile, kAgree), ensure_report(kFile, kAgreeStored)}},
    {"setWithoutAFreeFunction",
     [](Memory& memory) { set(memory, g_block, 4, nullptr); },
     {require_report(kFile, "0 != a_free"), ensure_report(kFile, "0 != a_this->m_pFree")}},
    {"setOfNothingButASize",
     [](Memory& memory) { set(memory, nullptr, 0xFFFFFFFF, nullptr); },
     {require_report(kFile, kAgree), require_report(kFile, "0 != a_free"), ensure_report(kFile, kAgreeStored),
      ensure_report(kFile, "0 != a_this->m_pFree")}},
    {"swapWithNull",
     [](Memory& memory) {
       const Memory before = memory;
       NUV_Memory_swap(&memory, nullptr);
       expect_fields(memory, before.m_pAddr, 8, before.m_pFree);
     },
     {require_report(kFile, "0 != a_src")}},
    // Same as moving from an empty handle.
    {"moveFromNull",
     [](Memory& memory) {
       NUV_Memory_move(&memory, nullptr);
       expect_fields(memory, nullptr, 0, CountingAllocator::release);
     },
     {require_report(kFile, "0 != a_src")}},
    {"moveFromNullWithoutAFunctionThatFrees",
     [](Memory& memory) {
       NUV_installMemoryManager(CountingAllocator::allocate, nullptr);
       NUV_Memory_move(&memory, nullptr);
       CountingAllocator::install();
       expect_fields(memory, nullptr, 0, nullptr);
     },
     {require_report(kFile, "0 != a_free"), require_report(kFile, "0 != a_src"), kNoFree}},
};

INSTANTIATE_TEST_SUITE_P(All, MemoryContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

// The free function, if any, gets the address and size that were set, even if they make no sense.
TEST_F(MemoryContracts, AnInvalidBlockIsFreedAsItWasSet) {
  const struct {
    void* address;
    uint32_t size;
    NUV_MemoryFree free;
    Released released;
  } kCases[] = {
      {nullptr, 4, write_down, {{nullptr, 4}}},
      {g_block, 0, write_down, {{g_block, 0}}},
      {g_block, 4, nullptr, {}},
      {nullptr, 0, nullptr, {}},
  };
  NUV_Memory_destruct(&memory_);
  for (const auto& row : kCases) {
    NUV_Memory_set(&memory_, row.address, row.size, row.free);
    NUV_Memory_destruct(&memory_);
    EXPECT_EQ(g_released, row.released);
    g_released.clear();
    NUV_Memory_set(&memory_, row.address, row.size, row.free);
    contracts_.take();
    Memory empty;
    NUV_Memory_construct(&empty, 0);
    NUV_Memory_move(&memory_, &empty);
    EXPECT_EQ(g_released, row.released);
    g_released.clear();
    NUV_Memory_destruct(&memory_);
    NUV_Memory_destruct(&empty);
  }
}

TEST_F(MemoryContracts, GetReturnsAddressPlusOffsetEvenOutsideTheBlock) {
  uint8_t* block = memory_.m_pAddr;
  const struct {
    const char* name;
    uint32_t size;
    uint32_t offset;
  } kCases[] = {
      {"one byte more than all", 9, 0},
      {"all, one byte too far", 8, 1},
      {"a byte at the end", 1, 8},
      {"nothing behind the end", 0, 9},
      {"a byte behind the end", 1, 9},
      // Sums that wrap to a small number.
      {"a size that wraps to 0", 0xFFFFFFFF, 1},
      {"a size that wraps to the end", 0xFFFFFFFF, 8},
      {"an offset that wraps to 0", 1, 0xFFFFFFFF},
      {"an offset that wraps to the end", 8, 0xFFFFFFF8},
      {"halves that wrap to 0", 0x80000000, 0x80000000},
      {"the largest numbers", 0xFFFFFFFF, 0xFFFFFFFF},
      {"the largest size", 0xFFFFFFFF, 0},
      {"the largest offset", 0, 0xFFFFFFFF},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(NUV_Memory_get(&memory_, row.size, row.offset), behind(block, row.offset));
    EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kInside)});
  }
  expect_harmless();
}

TEST_F(MemoryContracts, GetCountsFromNullInAnEmptyHandle) {
  Memory empty;
  NUV_Memory_construct(&empty, 0);
  EXPECT_EQ(NUV_Memory_get(&empty, 1, 0), nullptr);
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kInside)});
  EXPECT_EQ(NUV_Memory_get(&empty, 0, 5), behind(nullptr, 5));
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kInside)});
  NUV_Memory_destruct(&empty);
  NUV_Memory_destruct(&memory_);
}

// The bounds check uses the size even if the address is null.
TEST_F(MemoryContracts, GetChecksTheSizeAlone) {
  NUV_Memory_destruct(&memory_);
  NUV_Memory_set(&memory_, nullptr, 8, write_down);
  contracts_.take();
  EXPECT_EQ(NUV_Memory_get(&memory_, 4, 4), behind(nullptr, 4));
  EXPECT_EQ(contracts_.take(), Reports{});
  EXPECT_EQ(NUV_Memory_get(&memory_, 5, 4), behind(nullptr, 4));
  EXPECT_EQ(contracts_.take(), Reports{require_report(kFile, kInside)});
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
  EXPECT_EQ(lines.size(), 8U) << "one report for each operation";
  // This one spells the condition differently.
  support::expect_null_reports(kFile, "((void *)0) != a_this", {{"get", [] { NUV_Memory_get(nullptr, 1, 1); }}});
}

}  // namespace
