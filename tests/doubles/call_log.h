// Records the system calls of a process and its children, in order.
#ifndef TESTS_DOUBLES_CALL_LOG_H
#define TESTS_DOUBLES_CALL_LOG_H

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

namespace support {

// During its lifetime, the functions in wrapped_functions.cpp that call note() record their calls, also in processes
// forked meanwhile: "chdir(/)", "dup2(0, 1)", "fork()".
class CallLog {
 public:
  CallLog();
  ~CallLog();
  CallLog(const CallLog&) = delete;
  CallLog& operator=(const CallLog&) = delete;

  // The calls so far, in order.
  std::vector<std::string> calls() const;

  // The calls of one function.
  std::vector<std::string> calls_of(const std::string& function) const;

  [[gnu::format(printf, 1, 2)]] static void note(const char* format, ...);

 private:
  static constexpr size_t kLines = 512;
  static constexpr size_t kLineSize = 64;
  struct Lines {
    std::atomic<size_t> count;
    char text[kLines][kLineSize];
  };

  Lines* lines_;  // memory that forked processes share
};

}  // namespace support

#endif
