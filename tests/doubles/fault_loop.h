// Lets every call of a C library function fail in its turn.
#ifndef TESTS_SUPPORT_FAULT_LOOP_H
#define TESTS_SUPPORT_FAULT_LOOP_H

#include <functional>
#include <ostream>
#include <utility>
#include <vector>

#include "doubles/fault_injector.h"

namespace support {

// One failure to come. It waits for during(), so that what a test does before and after its call stays whole.
class Fault {
 public:
  Fault(const char* function, int nth, int error) : function_(function), nth_(nth), error_(error) {}

  // Does the call, exposed to the failure, and gives its result. Calls of the function count on from one during() to the
  // next, so that a scene of several steps can be walked through as well.
  template <typename Call>
  auto during(Call&& call) {
    const Exposure exposure(this);
    return std::forward<Call>(call)();
  }

  // True when the function has failed: the result must be the one for a failure. False: the call was left alone.
  bool has_struck() const { return calls_ >= nth_; }

  const char* function() const { return function_; }
  int nth() const { return nth_; }
  int error() const { return error_; }

 private:
  // Keeps the books also when the call leaves early.
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

// For each of the errors: runs the body with the first call of the function failing, then with the second, and so on until
// it runs through untouched. The names are those of wrapped_functions.cpp. The body builds its scene, makes its call inside
// fault.during(), looks at the result, makes the call once more without a fault, and clears away:
//
//   each_fault("pipe", {EMFILE, ENFILE}, [](Fault& fault) {
//     Pipe pipe;
//     const int32_t result = fault.during([&] { return NUV_Pipe_construct(&pipe); });
//     EXPECT_EQ(result, fault.has_struck() ? 0 : 1);
//     ...
//     NUV_Pipe_destruct(&pipe);
//   });
//
// (Not both in one EXPECT_EQ: which of its arguments is worked out first is not settled.)
//
// After each run no descriptor, no child and no block of malloc() more or less may be there than before. A function that is
// never called fails the test too. Returns how many calls there were to fail (with the last of the errors).
int each_fault(const char* function, const std::vector<int>& errors, const std::function<void(Fault&)>& body);

// What must be the same before and after a call that failed.
struct Holdings {
  size_t descriptors = 0;
  size_t blocks = 0;  // of malloc(), asked for by the library or a test and not given back
  bool has_children = false;

  static Holdings now();

  bool operator==(const Holdings&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Holdings& holdings);

// How many blocks of malloc() are out; what C++ code takes with new is not among them.
size_t count_live_blocks();

// How many bytes malloc() was asked for when it gave this block; 0 when the block is not out.
size_t size_of_live_block(const void* block);

}  // namespace support

#endif
