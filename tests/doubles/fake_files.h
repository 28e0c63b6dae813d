// Keeps the tests away from the machine's own files.
#ifndef TESTS_SUPPORT_FAKE_FILES_H
#define TESTS_SUPPORT_FAKE_FILES_H

#include <string>

namespace support {

// While it lives, "/etc/quiet" and everything below "/flash/" lead into a temporary directory, for access(), fopen(),
// open(), stat() and unlink(). Without one these paths do not exist for the library.
class FakeFiles {
 public:
  FakeFiles();
  ~FakeFiles();
  FakeFiles(const FakeFiles&) = delete;
  FakeFiles& operator=(const FakeFiles&) = delete;

  // All paths are those that the library uses: "/etc/quiet", "/flash/phoned.ini".
  void write(const std::string& path, const std::string& content);
  std::string read(const std::string& path) const;
  bool exists(const std::string& path) const;
  void remove(const std::string& path);

  // Where the file really lies.
  std::string real_path(const std::string& path) const { return directory_ + path; }

 private:
  std::string directory_;
};

// Where a path leads: the path itself unless it is one of those above.
std::string redirected_path(const char* path);

}  // namespace support

#endif
