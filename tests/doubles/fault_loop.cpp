#include "doubles/fault_loop.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstring>
#include <string>

#include "doubles/descriptors.h"

namespace support {
namespace {

// More calls than any scene makes: the body cannot have come to its end.
constexpr int kTooMany = 1000;

// Looks for a child, ended or running, and leaves it as it is.
bool has_children() {
  siginfo_t info;
  return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

// Returns true when the failure struck and the next call may be tried.
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
    EXPECT_LT(strikes, kTooMany - 2) << function << "() is called without end";
  }
  return strikes;
}

}  // namespace support
