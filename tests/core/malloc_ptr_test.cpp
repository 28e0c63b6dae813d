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

TEST(MallocPtr, GivesAnArrayAndTakesItBack) {
  const int calls = support::each_fault("malloc", {ENOMEM}, [](support::Fault& fault) {
    auto numbers = fault.during([] { return malloc_array<uint32_t>(100); });
    ASSERT_EQ(numbers == nullptr, fault.has_struck());
    numbers = malloc_array<uint32_t>(100);
    ASSERT_NE(numbers, nullptr);
    std::memset(numbers.get(), 1, 100 * sizeof(uint32_t));  // the address sanitizer watches both ends
  });
  EXPECT_EQ(calls, 1);
}

// An array that no size_t can measure, or that has no element, is not even asked for.
TEST(MallocPtr, GivesNothingForSizesThatAreNone) {
  const FaultInjector counter("malloc", INT_MAX, 0);
  EXPECT_EQ(malloc_array<char>(0), nullptr);
  EXPECT_EQ(malloc_array<uint32_t>(0), nullptr);
  EXPECT_EQ(malloc_array<uint32_t>(SIZE_MAX / 4 + 1), nullptr);
  EXPECT_EQ(malloc_array<uint32_t>(SIZE_MAX), nullptr);
  EXPECT_EQ(malloc_array<uint64_t>(SIZE_MAX / 2 + 2), nullptr) << "16 bytes, modulo all";
  EXPECT_EQ(counter.calls(), 0);
}

}  // namespace
