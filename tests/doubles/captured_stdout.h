// Captures standard output.
#ifndef TESTS_DOUBLES_CAPTURED_STDOUT_H
#define TESTS_DOUBLES_CAPTURED_STDOUT_H

#include <cstdio>
#include <string>

namespace support {

// During its lifetime, descriptor 1 is a temporary file; a full pipe would block. If the test fails, the destructor
// prints the output that was not taken, which includes the failure messages.
class CapturedStdout {
 public:
  CapturedStdout();
  ~CapturedStdout();
  CapturedStdout(const CapturedStdout&) = delete;
  CapturedStdout& operator=(const CapturedStdout&) = delete;

  // Returns the output since the last call.
  std::string take();

 private:
  std::FILE* file_;
  int saved_;
};

}  // namespace support

#endif
