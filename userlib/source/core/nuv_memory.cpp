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

// Offset and size are compared one after the other, because their sum may wrap.
bool holds(const Memory& memory, uint32_t size, uint32_t offset) {
  return size <= memory.m_uSize && offset <= memory.m_uSize - size;
}

}  // namespace

constinit nuv::MemoryHook nuv::g_memory_hook = {allocate, release};

void nuv::report_missing_free_function() {
  NUV_ENSURE_TEXT(false, "((void *)0) != a_this->m_pFree");
}

void NUV_installMemoryManager(NUV_MemoryAlloc a_alloc, NUV_MemoryFree a_free) {
  NUV_REQUIRE(0 != a_alloc);
  NUV_REQUIRE(0 != a_free);
  nuv::g_memory_hook = {a_alloc, a_free};
}

int32_t NUV_Memory_construct(Memory* a_this, uint32_t a_size) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  const nuv::MemoryHook hook = nuv::g_memory_hook;
  a_this->m_pAddr = nullptr;
  if (a_size != 0) {
    a_this->m_pAddr = hook.alloc != nullptr ? static_cast<uint8_t*>(hook.alloc(a_size)) : nullptr;
    NUV_NOT_NULL(NULL != a_this->m_pAddr);
  }
  a_this->m_uSize = a_size;
  a_this->m_pFree = hook.free;
  NUV_ENSURE(( ((void *)0) != a_this->m_pAddr) == ( 0 != a_this->m_uSize));
  nuv::expect_free_function(*a_this);
  return 1;
}

void NUV_Memory_destruct(Memory* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  nuv::release_block(*a_this);
}

uint32_t NUV_Memory_size(const Memory* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  return a_this->m_uSize;
}

uint8_t* NUV_Memory_begin(const Memory* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  return a_this->m_pAddr;
}

uint8_t* NUV_Memory_end(const Memory* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  return nuv::moved_up(a_this->m_pAddr, a_this->m_uSize);
}

int32_t NUV_Memory_set(Memory* a_this, void* a_addr, uint32_t a_size, NUV_MemoryFree a_free) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(( 0 != a_addr) == ( 0 != a_size));
  NUV_REQUIRE(0 != a_free);
  *a_this = {static_cast<uint8_t*>(a_addr), a_size, a_free};
  NUV_ENSURE(( 0 != a_this->m_pAddr) == ( 0 != a_this->m_uSize));
  NUV_ENSURE(0 != a_this->m_pFree);
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
  const Memory old = *a_this;
  nuv::take_over(*a_this, a_src) = nuv::empty_block();
  nuv::release_block(old);
}

uint8_t* NUV_Memory_get(const Memory* a_this, uint32_t a_size, uint32_t a_offset) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(holds(*a_this, a_size, a_offset),
                   "( NUV_Memory_begin( a_this) + a_size + a_offset) <= NUV_Memory_end( a_this)");
  return nuv::moved_up(a_this->m_pAddr, a_offset);
}
