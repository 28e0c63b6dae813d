// A directory for what a test writes.
#ifndef TESTS_SUPPORT_TEMPORARY_DIRECTORY_H
#define TESTS_SUPPORT_TEMPORARY_DIRECTORY_H

#include <string>

namespace support {

// Empty at first, and gone with all that is in it when this object dies.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string content_of(const std::string& path);
void write_content(const std::string& path, const std::string& content);

}  // namespace support

#endif
