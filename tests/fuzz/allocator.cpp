#include "allocator.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <set>

#include "fuzz_check.h"
#include "nuv_memory.h"

namespace fuzz {
namespace {

std::map<void*, uint32_t> g_blocks;
std::multiset<uint32_t> g_refused;
bool g_is_dry = false;

void* allocate(uint32_t size) {
  FUZZ_CHECK(size > 0);
  if (g_is_dry) {
    g_refused.insert(size);
    return nullptr;
  }
  void* const block = std::malloc(size);
  std::memset(block, Allocator::kPattern, size);
  g_blocks[block] = size;
  return block;
}

void release(void* address, uint32_t size) {
  if (address == nullptr) {
    const auto refused = g_refused.find(size);
    FUZZ_CHECK(size == 0 || refused != g_refused.end());
    if (size != 0) {
      g_refused.erase(refused);
    }
    return;
  }
  const auto block = g_blocks.find(address);
  FUZZ_CHECK(block != g_blocks.end());
  FUZZ_CHECK(block->second == size);
  g_blocks.erase(block);
  std::free(address);
}

}  // namespace

Allocator::Allocator() {
  NUV_installMemoryManager(allocate, release);
}

Allocator::~Allocator() {
  FUZZ_CHECK(g_blocks.empty());
  g_refused.clear();
  g_is_dry = false;
}

void Allocator::run_dry(bool dry) {
  g_is_dry = dry;
}

}  // namespace fuzz
