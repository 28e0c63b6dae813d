#include "doubles/fake_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

namespace support {
namespace {

std::string& active_directory() {
  static std::string directory;
  return directory;
}

bool is_redirected(std::string_view path) {
  return path == "/etc/quiet" || path.starts_with("/flash/");
}

}  // namespace

std::string redirected_path(const char* path) {
  if (!is_redirected(path)) {
    return path;
  }
  return active_directory().empty() ? "/nonexistent" + std::string(path) : active_directory() + path;
}

FakeFiles::FakeFiles() {
  std::string name = ::testing::TempDir() + "fake-files-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) {
    ADD_FAILURE() << "no temporary directory " << name;
  }
  directory_ = name;
  std::filesystem::create_directories(directory_ + "/etc");
  std::filesystem::create_directories(directory_ + "/flash");
  active_directory() = directory_;
}

FakeFiles::~FakeFiles() {
  active_directory().clear();
  std::filesystem::remove_all(directory_);
}

void FakeFiles::write(const std::string& path, const std::string& content) {
  std::ofstream(directory_ + path, std::ios::binary) << content;
}

std::string FakeFiles::read(const std::string& path) const {
  std::stringstream content;
  content << std::ifstream(directory_ + path, std::ios::binary).rdbuf();
  return content.str();
}

bool FakeFiles::exists(const std::string& path) const {
  return std::filesystem::exists(directory_ + path);
}

void FakeFiles::remove(const std::string& path) {
  std::filesystem::remove(directory_ + path);
}

}  // namespace support
