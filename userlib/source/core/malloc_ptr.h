// Owner of memory from malloc().
#ifndef USERLIB_SOURCE_CORE_MALLOC_PTR_H
#define USERLIB_SOURCE_CORE_MALLOC_PTR_H

#include <memory>

#include <stdlib.h>

namespace nuv {

struct FreeMalloc {
  void operator()(void* memory) const { free(memory); }
};

template <typename T>
using MallocPtr = std::unique_ptr<T, FreeMalloc>;

// Uninitialised memory for count objects, or null. A count of 0 gives null.
template <typename T>
MallocPtr<T[]> malloc_array(size_t count) {
  size_t size = 0;
  if (count == 0 || __builtin_mul_overflow(count, sizeof(T), &size)) {
    return nullptr;
  }
  return MallocPtr<T[]>(static_cast<T*>(malloc(size)));
}

}  // namespace nuv

#endif
