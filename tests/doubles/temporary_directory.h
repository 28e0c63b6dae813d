// A directory for a test's files.
#ifndef TESTS_DOUBLES_TEMPORARY_DIRECTORY_H
#define TESTS_DOUBLES_TEMPORARY_DIRECTORY_H

#include <string>

namespace support {

// Initially empty. The destructor removes it with its contents, unless the disk is read-only.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return path_; }

  // The path of a file in it.
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

std::string content_of(const std::string& path);
void write_content(const std::string& path, const std::string& content);

}  // namespace support

#endif
