// A connection to phoned's console, independent of phonectl.
#ifndef TESTS_PHONED_CONSOLE_OPERATOR_H
#define TESTS_PHONED_CONSOLE_OPERATOR_H

#include <string>

namespace support {

class Operator {
 public:
  explicit Operator(const std::string& path);
  ~Operator() { hang_up(); }
  Operator(const Operator&) = delete;
  Operator& operator=(const Operator&) = delete;

  void say(const std::string& text) const;

  // The output of phoned until it hangs up; "(nothing)" if it does not hang up in time.
  std::string answer() const;

  std::string ask(const std::string& line) const;

  void hang_up();

 private:
  int fd_;
};

}  // namespace support

#endif
