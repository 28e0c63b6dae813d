// What stands between the fuzz targets and the machine: no input reaches its files, its log, its clock or its console.
#ifndef TESTS_FUZZ_DOUBLES_H
#define TESTS_FUZZ_DOUBLES_H

#include <sys/select.h>
#include <sys/time.h>

#include <cstdint>
#include <map>
#include <string>

namespace fuzz {

// The files below "/flash/": for fopen() they lie in memory, from the first input on until someone clears them. While a
// target runs there is no "/etc/quiet".
std::map<std::string, std::string>& flash();

// While it lives, contract reports are counted, and the handler returns.
class Contracts {
 public:
  Contracts();
  ~Contracts();
  Contracts(const Contracts&) = delete;
  Contracts& operator=(const Contracts&) = delete;

  // Promises that there were reports since the last call, or that there were none.
  void expect_refusal(bool refused);
};

// While it lives, standard output goes to memory.
class Stdout {
 public:
  Stdout();
  ~Stdout();
  Stdout(const Stdout&) = delete;
  Stdout& operator=(const Stdout&) = delete;

  // What was printed since the last call.
  std::string take();

 private:
  int memory_;
  int outer_;
};

// While one lives, it gives the monotonic time and answers select().
class Machine {
 public:
  Machine();
  virtual ~Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  virtual timeval monotonic() = 0;
  virtual int select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* wait) = 0;
};

}  // namespace fuzz

#endif
