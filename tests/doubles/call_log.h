// The order in which a process and its children call the system.
#ifndef TESTS_SUPPORT_CALL_LOG_H
#define TESTS_SUPPORT_CALL_LOG_H

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

namespace support {

// While it lives, the wrapped functions that change a process note their calls, those of processes forked meanwhile
// too: "chdir(/)", "dup2(0, 1)", "fork()". The functions are those of wrapped_functions.cpp that call note().
class CallLog {
 public:
  CallLog();
  ~CallLog();
  CallLog(const CallLog&) = delete;
  CallLog& operator=(const CallLog&) = delete;

  // The calls so far, in their order.
  std::vector<std::string> calls() const;

  // Those of one function.
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
