#include "nuv_addressmanager.h"

#include <string.h>

#include "core/contract.h"

namespace {

constexpr char kFamily[] = "nuv_addressmanager";

constexpr uint8_t kFree = 0;
constexpr uint8_t kBusy = 1;

constexpr uint32_t kCount = 256;
static_assert(sizeof g_rgAddress == kCount);

bool is_address(uint32_t addr) {
  return addr < kCount;
}

// The entry of the lowest free address, or null. Nothing finds a byte faster than memchr().
const void* find_free() {
  return memchr(g_rgAddress, kFree, sizeof g_rgAddress);
}

// The lowest free address. The search has a precondition of its own and does not trust its caller's: a full table is
// reported by both.
uint32_t search_free() {
  NUV_REQUIRE(1 == NUV_AddressManager_available());
  const void* found = find_free();
  if (found == nullptr) {
    NUV_ENSURE(0);
    return NUV_ADDRESS_NONE;
  }
  return static_cast<uint32_t>(static_cast<const uint8_t*>(found) - g_rgAddress);
}

}  // namespace

constinit uint8_t g_rgAddress[256] = {};

int32_t NUV_AddressManager_available(void) {
  return find_free() != nullptr ? 1 : 0;
}

int32_t NUV_AddressManager_busy(uint32_t a_addr) {
  NUV_REQUIRE(256 > a_addr);
  return is_address(a_addr) ? g_rgAddress[a_addr] : kFree;
}

uint32_t NUV_AddressManager_allocate(void) {
  NUV_REQUIRE(1 == NUV_AddressManager_available());
  const uint32_t addr = search_free();
  if (is_address(addr)) {
    g_rgAddress[addr] = kBusy;
  }
  NUV_ENSURE(1 == NUV_AddressManager_busy( addr));
  return addr;
}

void NUV_AddressManager_deallocate(uint32_t a_addr) {
  NUV_REQUIRE(256 > a_addr);
  NUV_REQUIRE(1 == NUV_AddressManager_busy( a_addr));
  if (is_address(a_addr)) {
    g_rgAddress[a_addr] = kFree;
  }
}
