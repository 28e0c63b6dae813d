#include "core/malloc_ptr.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>

#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"

namespace {

using nuv::malloc_array;
using support::FaultInjector;

TEST(MallocPtr, AllocatesAndFreesAnArray) {
  const int calls = support::each_fault("malloc", {ENOMEM}, [](support::Fault& fault) {
    auto numbers = fault.during([] { return malloc_array<uint32_t>(100); });
    ASSERT_EQ(numbers == nullptr, fault.has_struck());
    numbers = malloc_array<uint32_t>(100);
    ASSERT_NE(numbers, nullptr);
    std::memset(numbers.get(), 1, 100 * sizeof(uint32_t));  // AddressSanitizer checks both ends
  });
  EXPECT_EQ(calls, 1);
}

// malloc() is not called for an empty array, nor for one whose size overflows size_t.
TEST(MallocPtr, ReturnsNullForEmptyAndOverflowingSizes) {
  const FaultInjector counter("malloc", INT_MAX, 0);
  EXPECT_EQ(malloc_array<char>(0), nullptr);
  EXPECT_EQ(malloc_array<uint32_t>(0), nullptr);
  EXPECT_EQ(malloc_array<uint32_t>(SIZE_MAX / 4 + 1), nullptr);
  EXPECT_EQ(malloc_array<uint32_t>(SIZE_MAX), nullptr);
  EXPECT_EQ(malloc_array<uint64_t>(SIZE_MAX / 2 + 2), nullptr) << "wraps to 16 bytes";
  EXPECT_EQ(counter.calls(), 0);
}

}  // namespace
