#include "doubles/captured_stdout.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

namespace support {

CapturedStdout::CapturedStdout() : file_(std::tmpfile()), saved_(-1) {
  std::fflush(stdout);
  saved_ = dup(STDOUT_FILENO);
  dup2(fileno(file_), STDOUT_FILENO);
}

CapturedStdout::~CapturedStdout() {
  const std::string rest = take();
  dup2(saved_, STDOUT_FILENO);
  close(saved_);
  std::fclose(file_);
  // The output of a skipped test includes the reason.
  if (::testing::Test::HasFailure() || ::testing::Test::IsSkipped()) {
    std::fputs(rest.c_str(), stdout);
  }
}

std::string CapturedStdout::take() {
  std::fflush(stdout);
  std::string text;
  std::array<char, 4096> piece;
  const int fd = fileno(file_);
  lseek(fd, 0, SEEK_SET);
  for (ssize_t length; (length = read(fd, piece.data(), piece.size())) > 0;) {
    text.append(piece.data(), static_cast<size_t>(length));
  }
  // The descriptors share the file offset, so the next output starts at the beginning again.
  static_cast<void>(!ftruncate(fd, 0));
  lseek(fd, 0, SEEK_SET);
  return text;
}

}  // namespace support
