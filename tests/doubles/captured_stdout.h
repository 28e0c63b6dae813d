// Captures what is written to standard output.
#ifndef TESTS_SUPPORT_CAPTURED_STDOUT_H
#define TESTS_SUPPORT_CAPTURED_STDOUT_H

#include <cstdio>
#include <string>

namespace support {

// While it lives, descriptor 1 is a temporary file (a pipe would stall when full). When the test has failed, what was
// not taken is written to the real standard output at the end: the messages of the failures are in it.
class CapturedStdout {
 public:
  CapturedStdout();
  ~CapturedStdout();
  CapturedStdout(const CapturedStdout&) = delete;
  CapturedStdout& operator=(const CapturedStdout&) = delete;

  // What was written since the last call.
  std::string take();

 private:
  std::FILE* file_;
  int saved_;
};

}  // namespace support

#endif
