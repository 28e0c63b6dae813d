// The descriptors of the process, and pipes for tests.
#ifndef TESTS_DOUBLES_DESCRIPTORS_H
#define TESTS_DOUBLES_DESCRIPTORS_H

#include <cstddef>
#include <set>
#include <string>

namespace support {

std::set<int> open_descriptors();

// Compare counts before and after a call to detect leaked or wrongly closed descriptors.
size_t count_open_descriptors();

bool is_open_descriptor(int fd);

// A pipe with a non-blocking read end.
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

  // Returns the bytes that have arrived since the last call.
  std::string take();

 private:
  int ends_[2];
};

// A FIFO at this path with both ends open, so that opening it never blocks.
class TestFifo {
 public:
  explicit TestFifo(const std::string& path);
  ~TestFifo();
  TestFifo(const TestFifo&) = delete;
  TestFifo& operator=(const TestFifo&) = delete;

  void put(const std::string& bytes) const;

  // Returns the bytes that have arrived since the last call.
  std::string take() const;

 private:
  int fd_;
};

}  // namespace support

#endif
