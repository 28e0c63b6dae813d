// Makes calls of the C library fail.
#ifndef TESTS_DOUBLES_FAULT_INJECTOR_H
#define TESTS_DOUBLES_FAULT_INJECTOR_H

#include <string>

namespace support {

// During its lifetime, the n-th call (counted from 1) of a function in wrapped_functions.cpp, by the library or the
// test, and the following calls up to `times`, fail with this errno. Only one instance may exist.
class FaultInjector {
 public:
  FaultInjector(std::string function, int nth, int error, int times = 1);
  ~FaultInjector();
  FaultInjector(const FaultInjector&) = delete;
  FaultInjector& operator=(const FaultInjector&) = delete;

  // The number of calls so far, including failed ones.
  int calls() const { return calls_; }
  bool has_struck() const { return calls_ >= nth_; }

  // Returns true and sets errno if this call must fail.
  static bool strikes(const char* function);

 private:
  std::string function_;
  int nth_;
  int error_;
  int times_;
  int calls_ = 0;
};

}  // namespace support

#endif
