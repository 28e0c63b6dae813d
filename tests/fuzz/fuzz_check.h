// Checks for fuzz targets.
#ifndef TESTS_FUZZ_FUZZ_CHECK_H
#define TESTS_FUZZ_FUZZ_CHECK_H

#include <cstdio>
#include <cstdlib>

// Aborts unless the condition holds, so that the fuzzer keeps the input.
#define FUZZ_CHECK(condition)                                                                 \
  do {                                                                                        \
    if (!(condition)) {                                                                       \
      std::fprintf(stderr, "%s:%d: FUZZ_CHECK failed: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                           \
    }                                                                                         \
  } while (0)

#endif
