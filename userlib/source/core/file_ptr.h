// Owner of a stream from fopen(), and how the library opens files.
#ifndef USERLIB_SOURCE_CORE_FILE_PTR_H
#define USERLIB_SOURCE_CORE_FILE_PTR_H

#include <memory>

#include <stdio.h>
#include <sys/stat.h>

namespace nuv {

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};

using FilePtr = std::unique_ptr<FILE, CloseFile>;

// fopen(), but a FIFO cannot be opened: a daemon would block until another process opens the other end. The FIFO is not
// opened at all, not even with O_NONBLOCK, because that would let the other process go on. Between the two calls, whoever may
// write to the directory can put a FIFO there; a pid file, whose directory others may share, is opened otherwise.
inline FilePtr open_file(const char* path, const char* mode) {
  struct stat status = {};
  if (stat(path, &status) == 0 && S_ISFIFO(status.st_mode)) {
    return nullptr;
  }
  return FilePtr(fopen(path, mode));
}

}  // namespace nuv

#endif
