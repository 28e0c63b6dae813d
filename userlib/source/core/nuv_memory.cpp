#include "nuv_memory.h"

#include <utility>

#include <stdlib.h>

#include "core/contract.h"
#include "core/memory_block.h"

namespace {

constexpr char kFamily[] = "nuv_memory";

void* allocate(uint32_t size) {
  return malloc(size);
}

void release(void* addr, uint32_t /*size*/) {
  free(addr);
}

// Stands in for the free function that a block came without: to lose the block does less harm than to guess.
void keep(void* /*addr*/, uint32_t /*size*/) {}

// Makes a block that broke the invariant, and was reported for it, one that later operations can rely on: nobody reads
// m_uSize bytes at null, and destruct has a function to call.
void settle(Memory& memory) {
  if (memory.m_pAddr == nullptr) {
    memory.m_uSize = 0;
  }
  if (memory.m_pFree == nullptr) {
    memory.m_pFree = keep;
  }
}

// Offset and size are compared one after the other, because their sum may wrap.
bool holds(const Memory& memory, uint32_t size, uint32_t offset) {
  return size <= memory.m_uSize && offset <= memory.m_uSize - size;
}

}  // namespace

constinit userlib::MemoryHook userlib::g_memory_hook = {allocate, release};

void NUV_installMemoryManager(NUV_MemoryAlloc a_alloc, NUV_MemoryFree a_free) {
  NUV_REQUIRE(0 != a_alloc);
  NUV_REQUIRE(0 != a_free);
  // Half a pair would free blocks with a function that did not make them.
  if (a_alloc != nullptr && a_free != nullptr) {
    userlib::g_memory_hook = {a_alloc, a_free};
  }
}

int32_t NUV_Memory_construct(Memory* a_this, uint32_t a_size) {
  NUV_REQUIRE(0 != a_this);
  const userlib::MemoryHook hook = userlib::g_memory_hook;
  a_this->m_pAddr = nullptr;
  if (a_size != 0) {
    a_this->m_pAddr = static_cast<uint8_t*>(hook.alloc(a_size));
    NUV_NOT_NULL(NULL != a_this->m_pAddr);
  }
  a_this->m_uSize = a_size;
  a_this->m_pFree = hook.free;
  NUV_ENSURE(( ((void *)0) != a_this->m_pAddr) == ( 0 != a_this->m_uSize));
  NUV_ENSURE_TEXT(a_this->m_pFree != nullptr, "((void *)0) != a_this->m_pFree");
  settle(*a_this);
  return 1;
}

void NUV_Memory_destruct(Memory* a_this) {
  NUV_REQUIRE(0 != a_this);
  userlib::release_block(*a_this);
}

uint32_t NUV_Memory_size(const Memory* a_this) {
  NUV_REQUIRE(0 != a_this);
  return a_this->m_uSize;
}

uint8_t* NUV_Memory_begin(const Memory* a_this) {
  NUV_REQUIRE(0 != a_this);
  return a_this->m_pAddr;
}

uint8_t* NUV_Memory_end(const Memory* a_this) {
  NUV_REQUIRE(0 != a_this);
  return a_this->m_pAddr + a_this->m_uSize;
}

int32_t NUV_Memory_set(Memory* a_this, void* a_addr, uint32_t a_size, NUV_MemoryFree a_free) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(( 0 != a_addr) == ( 0 != a_size));
  NUV_REQUIRE(0 != a_free);
  *a_this = {static_cast<uint8_t*>(a_addr), a_size, a_free};
  NUV_ENSURE(( 0 != a_this->m_pAddr) == ( 0 != a_this->m_uSize));
  NUV_ENSURE(0 != a_this->m_pFree);
  settle(*a_this);
  return 1;
}

void NUV_Memory_swap(Memory* a_this, Memory* a_src) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(0 != a_src);
  if (a_src != nullptr) {
    std::swap(*a_this, *a_src);
  }
}

void NUV_Memory_move(Memory* a_this, Memory* a_src) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(0 != a_src);
  if (a_src != nullptr) {
    userlib::move_block(*a_this, *a_src);
  }
}

uint8_t* NUV_Memory_get(const Memory* a_this, uint32_t a_size, uint32_t a_offset) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(holds(*a_this, a_size, a_offset),
                   "( NUV_Memory_begin( a_this) + a_size + a_offset) <= NUV_Memory_end( a_this)");
  return holds(*a_this, /*size=*/0, a_offset) ? a_this->m_pAddr + a_offset : nullptr;
}
