// Redirects the library's files into a temporary directory.
#ifndef TESTS_DOUBLES_FAKE_FILES_H
#define TESTS_DOUBLES_FAKE_FILES_H

#include <string>

namespace support {

// During its lifetime, access(), fopen(), open(), stat() and unlink() redirect "/etc/quiet" and everything below
// "/flash/" into a temporary directory. Without an instance these paths do not exist.
class FakeFiles {
 public:
  FakeFiles();
  ~FakeFiles();
  FakeFiles(const FakeFiles&) = delete;
  FakeFiles& operator=(const FakeFiles&) = delete;

  // Paths are given as the library uses them: "/etc/quiet", "/flash/phoned.ini".
  void write(const std::string& path, const std::string& content);
  std::string read(const std::string& path) const;
  bool exists(const std::string& path) const;
  void remove(const std::string& path);

  // The path in the temporary directory.
  std::string real_path(const std::string& path) const { return directory_ + path; }

 private:
  std::string directory_;
};

// Returns the redirected path, or the same path if it is not one of the above.
std::string redirected_path(const char* path);

}  // namespace support

#endif
