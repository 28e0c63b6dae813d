// Makes calls of the C library fail on purpose.
#ifndef TESTS_SUPPORT_FAULT_INJECTOR_H
#define TESTS_SUPPORT_FAULT_INJECTOR_H

#include <string>

namespace support {

// While it lives, the n-th call (counted from 1) of the named function, made by the library or by a test, fails with
// the given errno, and so do the next ones when it shall fail several times. One injector at a time. The functions are those of wrapped_functions.cpp.
class FaultInjector {
 public:
  FaultInjector(std::string function, int nth, int error, int times = 1);
  ~FaultInjector();
  FaultInjector(const FaultInjector&) = delete;
  FaultInjector& operator=(const FaultInjector&) = delete;

  // How often the function was called so far, the failed call included.
  int calls() const { return calls_; }
  bool has_struck() const { return calls_ >= nth_; }

  // True, with errno set, when this call is the one to fail.
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
