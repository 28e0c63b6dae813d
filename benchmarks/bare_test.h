// Only tests a mask, in a shared library.
#ifndef BENCHMARKS_BARE_TEST_H
#define BENCHMARKS_BARE_TEST_H

#include <cstdint>

extern uint32_t g_bare_mask;

bool bare_test(uint32_t type);

#endif
