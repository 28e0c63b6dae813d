// Streams with a known content or limited room.
#ifndef TESTS_DOUBLES_STREAMS_H
#define TESTS_DOUBLES_STREAMS_H

#include <cstddef>
#include <cstdio>
#include <string>

namespace support {

// A stream with this content.
class InputStream {
 public:
  explicit InputStream(const std::string& content);
  ~InputStream();
  InputStream(const InputStream&) = delete;
  InputStream& operator=(const InputStream&) = delete;

  std::FILE* get() const { return file_; }

  // Returns the unread rest.
  std::string rest();

 private:
  std::FILE* file_;
};

// An unbuffered stream that accepts `room` bytes; after that, writes fail.
class OutputStream {
 public:
  static constexpr size_t kUnlimited = static_cast<size_t>(-1);

  explicit OutputStream(size_t room = kUnlimited);
  ~OutputStream();
  OutputStream(const OutputStream&) = delete;
  OutputStream& operator=(const OutputStream&) = delete;

  std::FILE* get() const { return file_; }

  // The bytes written.
  const std::string& content() const { return content_; }

  // The bytes that did not fit.
  const std::string& lost() const { return lost_; }

 private:
  static ssize_t write(void* cookie, const char* data, size_t size);

  size_t room_;
  std::string content_;
  std::string lost_;
  std::FILE* file_;
};

}  // namespace support

#endif
