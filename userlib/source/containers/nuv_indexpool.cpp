#include "nuv_indexpool.h"

#include <stdlib.h>
#include <string.h>

#include "containers/nuv_indexpool_internal.h"
#include "core/contract.h"

namespace {

constexpr char kFamily[] = "nuv_indexpool";

// NUV_IndexPool_occupied() with its own report, for the contracts of the others.
bool is_occupied(const IndexPool& pool, uint32_t index) {
  NUV_REQUIRE_TEXT(pool.m_uSize > index, "NUV_IndexPool_size( a_this) > a_index");
  return userlib::is_set(pool, index);
}

}  // namespace

int32_t NUV_IndexPool_construct(IndexPool* a_this, uint32_t a_size) {
  NUV_REQUIRE(((void *)0) != a_this);
  // A pool without indices owns one byte all the same, because malloc(0) may answer null without having failed.
  const uint32_t bytes = a_size != 0 ? userlib::byte_count(a_size) : 1;
  a_this->m_pPool = static_cast<uint8_t*>(malloc(bytes));
  NUV_NOT_NULL(NULL != a_this->m_pPool);
  if (a_this->m_pPool != nullptr) {
    memset(a_this->m_pPool, 0, bytes);
  }
  a_this->m_uSize = a_size;
  a_this->m_uFree = a_size;
  NUV_ENSURE(NUV_IndexPool_size( a_this) == a_size);
  NUV_ENSURE(NUV_IndexPool_free( a_this) == a_size);
  NUV_ENSURE(NUV_IndexPool_busy( a_this) == 0);
  return 1;
}

void NUV_IndexPool_destruct(IndexPool* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  free(a_this->m_pPool);
}

uint32_t NUV_IndexPool_size(const IndexPool* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_uSize;
}

uint32_t NUV_IndexPool_free(const IndexPool* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_uFree;
}

uint32_t NUV_IndexPool_busy(const IndexPool* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_uSize - a_this->m_uFree;
}

int32_t NUV_IndexPool_available(const IndexPool* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_uFree > 0 ? 1 : 0;
}

int32_t NUV_IndexPool_occupied(const IndexPool* a_this, uint32_t a_index) {
  NUV_REQUIRE(((void *)0) != a_this);
  return is_occupied(*a_this, a_index) ? 1 : 0;
}

uint32_t NUV_IndexPool_occupy(IndexPool* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uFree > 0, "NUV_IndexPool_available( a_this) == 1");
  const uint32_t index = userlib::try_occupy(*a_this);
  NUV_ENSURE(a_this->m_uSize > index);
  NUV_ENSURE_TEXT(is_occupied(*a_this, index), "NUV_IndexPool_occupied( a_this, index)");
  return index;
}

void NUV_IndexPool_occupyIndex(IndexPool* a_this, uint32_t a_index) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uSize > a_index, "NUV_IndexPool_size( a_this) > a_index");
  NUV_REQUIRE_TEXT(!is_occupied(*a_this, a_index), "NUV_IndexPool_occupied( a_this, a_index) == 0");
  userlib::set_occupied(*a_this, a_index);
  NUV_ENSURE_TEXT(is_occupied(*a_this, a_index), "NUV_IndexPool_occupied( a_this, a_index)");
}

void NUV_IndexPool_release(IndexPool* a_this, uint32_t a_index) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uSize > a_index, "NUV_IndexPool_size( a_this) > a_index");
  NUV_REQUIRE_TEXT(is_occupied(*a_this, a_index), "NUV_IndexPool_occupied( a_this, a_index) == 1");
  userlib::set_free(*a_this, a_index);
  NUV_ENSURE_TEXT(!is_occupied(*a_this, a_index), "NUV_IndexPool_occupied( a_this, a_index) == 0");
}
