#include "doubles/streams.h"

#include <algorithm>

namespace support {

InputStream::InputStream(const std::string& content) : file_(std::tmpfile()) {
  std::fwrite(content.data(), 1, content.size(), file_);
  std::rewind(file_);
}

InputStream::~InputStream() {
  std::fclose(file_);
}

std::string InputStream::rest() {
  std::string rest;
  for (int c; (c = std::fgetc(file_)) != EOF;) {
    rest.push_back(static_cast<char>(c));
  }
  return rest;
}

OutputStream::OutputStream(size_t room) : room_(room), file_(nullptr) {
  cookie_io_functions_t functions = {};
  functions.write = write;
  file_ = fopencookie(this, "w", functions);
  std::setvbuf(file_, nullptr, _IONBF, 0);
}

OutputStream::~OutputStream() {
  std::fclose(file_);
}

ssize_t OutputStream::write(void* cookie, const char* data, size_t size) {
  auto& stream = *static_cast<OutputStream*>(cookie);
  const size_t taken = std::min(size, stream.room_ - stream.content_.size());
  stream.content_.append(data, taken);
  stream.lost_.append(data + taken, size - taken);
#ifndef __GLIBC__
  // Other C libraries take a short count for success and need a negative result, which glibc does not allow.
  if (taken < size) {
    return -1;
  }
#endif
  return static_cast<ssize_t>(taken);
}

}  // namespace support
