#include "doubles/fault_loop.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "doubles/descriptors.h"
#include "doubles/process_doubles.h"

namespace support {
namespace {

// More calls than any test makes.
constexpr int kTooMany = 1000;

// Returns true if a call failed and the next one is to fail.
bool run_once(Fault& fault, const std::function<void(Fault&)>& body) {
  SCOPED_TRACE(std::string(fault.function()) + "() fails at call " + std::to_string(fault.nth()) + " with " +
               std::strerror(fault.error()));
  const Holdings before = Holdings::now();
  body(fault);
  EXPECT_EQ(Holdings::now(), before);
  return fault.has_struck() && !testing::Test::HasFatalFailure();
}

}  // namespace

Holdings Holdings::now() {
  return {count_open_descriptors(), count_live_blocks(), ::support::has_children()};
}

std::ostream& operator<<(std::ostream& out, const Holdings& holdings) {
  return out << holdings.descriptors << " descriptors, " << holdings.blocks << " blocks, "
             << (holdings.has_children ? "children" : "no child");
}

int each_fault(const char* function, const std::vector<int>& errors, const std::function<void(Fault&)>& body) {
  int strikes = 0;
  for (const int error : errors) {
    for (int nth = 1; nth < kTooMany; ++nth) {
      strikes = nth - 1;
      Fault fault(function, nth, error);
      if (!run_once(fault, body)) {
        break;
      }
    }
    EXPECT_GT(strikes, 0) << function << "() is never called";
    EXPECT_LT(strikes, kTooMany - 2) << function << "() is called too often";
  }
  return strikes;
}

}  // namespace support
