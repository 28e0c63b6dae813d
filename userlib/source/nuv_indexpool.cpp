#include "nuv_indexpool.h"

#include <bit>

#include <stdlib.h>
#include <string.h>

#include "contract.h"

namespace {

constexpr char kFamily[] = "nuv_indexpool";

constexpr uint32_t kBitsPerByte = 8;

uint32_t byte_count(uint32_t size) {
  return size / kBitsPerByte + (size % kBitsPerByte != 0 ? 1 : 0);
}

uint8_t bit_of(uint32_t index) {
  return static_cast<uint8_t>(1U << (index % kBitsPerByte));
}

// Tells whether the pool has a bit for the index. It has none past its size, nor any when malloc failed.
bool has_bit(const IndexPool& pool, uint32_t index) {
  return index < pool.m_uSize && pool.m_pPool != nullptr;
}

bool is_set(const IndexPool& pool, uint32_t index) {
  return has_bit(pool, index) && (pool.m_pPool[index / kBitsPerByte] >> index % kBitsPerByte & 1) != 0;
}

// NUV_IndexPool_occupied() with its own report, for the contracts of the others.
bool is_occupied(const IndexPool& pool, uint32_t index) {
  NUV_REQUIRE_TEXT(pool.m_uSize > index, "NUV_IndexPool_size( a_this) > a_index");
  return is_set(pool, index);
}

// For an index that has a bit and is free.
void set_occupied(IndexPool& pool, uint32_t index) {
  pool.m_pPool[index / kBitsPerByte] |= bit_of(index);
  --pool.m_uFree;
}

// For an index that is occupied.
void set_free(IndexPool& pool, uint32_t index) {
  pool.m_pPool[index / kBitsPerByte] &= static_cast<uint8_t>(~bit_of(index));
  ++pool.m_uFree;
}

// Occupies the lowest free index and tells which one it is, or the size when there is none. The bits behind the last index
// are always 0, so the last byte may offer one of them: that is no index either.
uint32_t occupy_lowest(IndexPool& pool) {
  const uint32_t size = pool.m_uSize;
  const uint32_t bytes = pool.m_pPool != nullptr ? byte_count(size) : 0;
  for (uint32_t i = 0; i < bytes; ++i) {
    const uint32_t bits = pool.m_pPool[i];
    if (bits == 0xFF) {
      continue;
    }
    const uint32_t index = i * kBitsPerByte + static_cast<uint32_t>(std::countr_one(bits));
    if (index >= size) {
      break;
    }
    pool.m_pPool[i] = static_cast<uint8_t>(bits | (bits + 1));  // with its lowest clear bit set
    --pool.m_uFree;
    return index;
  }
  return size;
}

}  // namespace

int32_t NUV_IndexPool_construct(IndexPool* a_this, uint32_t a_size) {
  NUV_REQUIRE(((void *)0) != a_this);
  // A pool without indices owns one byte all the same, because malloc(0) may answer null without having failed.
  const uint32_t bytes = a_size != 0 ? byte_count(a_size) : 1;
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
  const uint32_t index = occupy_lowest(*a_this);
  NUV_ENSURE(a_this->m_uSize > index);
  NUV_ENSURE_TEXT(is_occupied(*a_this, index), "NUV_IndexPool_occupied( a_this, index)");
  return index;
}

void NUV_IndexPool_occupyIndex(IndexPool* a_this, uint32_t a_index) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uSize > a_index, "NUV_IndexPool_size( a_this) > a_index");
  const bool was_occupied = is_occupied(*a_this, a_index);
  NUV_REQUIRE_TEXT(!was_occupied, "NUV_IndexPool_occupied( a_this, a_index) == 0");
  if (!was_occupied && has_bit(*a_this, a_index)) {
    set_occupied(*a_this, a_index);
  }
  NUV_ENSURE_TEXT(is_occupied(*a_this, a_index), "NUV_IndexPool_occupied( a_this, a_index)");
}

void NUV_IndexPool_release(IndexPool* a_this, uint32_t a_index) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uSize > a_index, "NUV_IndexPool_size( a_this) > a_index");
  const bool was_occupied = is_occupied(*a_this, a_index);
  NUV_REQUIRE_TEXT(was_occupied, "NUV_IndexPool_occupied( a_this, a_index) == 1");
  if (was_occupied) {
    set_free(*a_this, a_index);
  }
  NUV_ENSURE_TEXT(!is_occupied(*a_this, a_index), "NUV_IndexPool_occupied( a_this, a_index) == 0");
}
