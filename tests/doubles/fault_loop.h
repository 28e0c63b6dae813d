// Makes each call of a C library function fail in turn.
#ifndef TESTS_DOUBLES_FAULT_LOOP_H
#define TESTS_DOUBLES_FAULT_LOOP_H

#include <functional>
#include <ostream>
#include <utility>
#include <vector>

#include "doubles/fault_injector.h"

namespace support {

// One planned failure. It happens only inside during(), so the test's set-up and checks are not affected.
class Fault {
 public:
  Fault(const char* function, int nth, int error) : function_(function), nth_(nth), error_(error) {}

  // Makes the call, which may fail, and returns its result. Counting continues from one during() to the next, so a test
  // may have several steps.
  template <typename Call>
  auto during(Call&& call) {
    const Exposure exposure(this);
    return std::forward<Call>(call)();
  }

  // True if the function has failed, so the result must be that of a failure.
  bool has_struck() const { return calls_ >= nth_; }

  const char* function() const { return function_; }
  int nth() const { return nth_; }
  int error() const { return error_; }

 private:
  // Counts the calls even if the body leaves early.
  class Exposure {
   public:
    explicit Exposure(Fault* fault)
        : fault_(fault), injector_(fault->function_, fault->nth_ - fault->calls_, fault->error_) {}
    ~Exposure() { fault_->calls_ += injector_.calls(); }
    Exposure(const Exposure&) = delete;
    Exposure& operator=(const Exposure&) = delete;

   private:
    Fault* fault_;
    FaultInjector injector_;
  };

  const char* function_;
  int nth_;
  int error_;
  int calls_ = 0;
};

// For each error, runs the body with the first call of the function failing, then with the second, and so on until no
// call fails. The function is one of those in wrapped_functions.cpp. The body sets up, makes its call inside
// fault.during(), checks the result, makes the call again without a fault, and cleans up:
//
//   each_fault("pipe", {EMFILE, ENFILE}, [](Fault& fault) {
//     Pipe pipe;
//     const int32_t result = fault.during([&] { return NUV_Pipe_construct(&pipe); });
//     EXPECT_EQ(result, fault.has_struck() ? 0 : 1);
//     ...
//     NUV_Pipe_destruct(&pipe);
//   });
//
// (Not both in one EXPECT_EQ, because the order in which its arguments are evaluated is unspecified.)
//
// Each run must leave the same number of descriptors, children and malloc() blocks as before. A function that is never
// called fails the test, too. Returns the number of calls that failed (with the last error).
int each_fault(const char* function, const std::vector<int>& errors, const std::function<void(Fault&)>& body);

// Resources that must be the same before and after a failed call.
struct Holdings {
  size_t descriptors = 0;
  size_t blocks = 0;  // from malloc(), by the library or the test, and not freed
  bool has_children = false;

  static Holdings now();

  bool operator==(const Holdings&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Holdings& holdings);

// Returns the number of malloc() blocks that are not freed, without those from new.
size_t count_live_blocks();

// Returns the size passed to malloc() for this block; 0 if it is not allocated.
size_t size_of_live_block(const void* block);

}  // namespace support

#endif
