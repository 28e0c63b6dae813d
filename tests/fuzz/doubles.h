// Test doubles that keep fuzz targets from the machine's files, log, clock and console.
#ifndef TESTS_FUZZ_DOUBLES_H
#define TESTS_FUZZ_DOUBLES_H

#include <sys/select.h>
#include <sys/time.h>

#include <cstdint>
#include <map>
#include <string>

namespace fuzz {

// The files below "/flash/", which fopen() keeps in memory. They stay from one input to the next unless a target clears
// them. "/etc/quiet" does not exist.
std::map<std::string, std::string>& flash();

// During its lifetime, contract reports are counted, and the handler returns.
class Contracts {
 public:
  Contracts();
  ~Contracts();
  Contracts(const Contracts&) = delete;
  Contracts& operator=(const Contracts&) = delete;

  // Checks that there were reports since the last call, or that there were none.
  void expect_refusal(bool refused);
};

// During its lifetime, standard output goes to memory.
class Stdout {
 public:
  Stdout();
  ~Stdout();
  Stdout(const Stdout&) = delete;
  Stdout& operator=(const Stdout&) = delete;

  // Returns the output since the last call.
  std::string take();

 private:
  int memory_;
  int outer_;
};

// During its lifetime, provides the monotonic time and replaces select().
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
