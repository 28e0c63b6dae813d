#include "bare_test.h"

uint32_t g_bare_mask = 0;

bool bare_test(uint32_t type) {
  return (g_bare_mask >> type & 1) != 0;
}
