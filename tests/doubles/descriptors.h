// Looks at the descriptors of the process.
#ifndef TESTS_SUPPORT_DESCRIPTORS_H
#define TESTS_SUPPORT_DESCRIPTORS_H

#include <cstddef>
#include <set>
#include <string>

namespace support {

// The descriptors that are open.
std::set<int> open_descriptors();

// How many descriptors are open. Equal counts before and after: nothing was leaked, nothing too many closed.
size_t count_open_descriptors();

bool is_open_descriptor(int fd);

// A pipe of the test's own, whose read end never blocks.
class TestPipe {
 public:
  TestPipe();
  ~TestPipe();
  TestPipe(const TestPipe&) = delete;
  TestPipe& operator=(const TestPipe&) = delete;

  int read_end() const { return ends_[0]; }
  int write_end() const { return ends_[1]; }

  void put(const std::string& bytes);
  void close_write_end();

  // All bytes that have arrived since the last call.
  std::string take();

 private:
  int ends_[2];
};

// A FIFO made at this path, both of whose ends are open: nobody has to wait at one of them.
class TestFifo {
 public:
  explicit TestFifo(const std::string& path);
  ~TestFifo();
  TestFifo(const TestFifo&) = delete;
  TestFifo& operator=(const TestFifo&) = delete;

  void put(const std::string& bytes) const;

  // All bytes that have arrived since the last call.
  std::string take() const;

 private:
  int fd_;
};

}  // namespace support

#endif
