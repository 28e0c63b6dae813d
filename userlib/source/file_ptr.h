// Owner of a stream from fopen().
#ifndef USERLIB_SOURCE_FILE_PTR_H
#define USERLIB_SOURCE_FILE_PTR_H

#include <memory>

#include <stdio.h>

namespace userlib {

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};

using FilePtr = std::unique_ptr<FILE, CloseFile>;

}  // namespace userlib

#endif
