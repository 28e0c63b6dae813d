#include "doubles/temporary_directory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace support {

TemporaryDirectory::TemporaryDirectory() : path_(::testing::TempDir() + "userlib-XXXXXX") {
  EXPECT_NE(mkdtemp(path_.data()), nullptr);
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code unused;
  std::filesystem::remove_all(path_, unused);
}

std::string content_of(const std::string& path) {
  std::stringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

void write_content(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace support
