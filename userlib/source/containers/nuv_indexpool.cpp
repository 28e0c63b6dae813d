#include "nuv_indexpool.h"

#include <bit>

#include <stdlib.h>
#include <string.h>

#include "core/contract.h"

namespace {

constexpr char kFamily[] = "nuv_indexpool";

constexpr uint32_t kBitsPerByte = 8;

uint8_t bit_of(uint32_t index) {
  return static_cast<uint8_t>(1U << (index % kBitsPerByte));
}

uint32_t byte_count(uint32_t size) {
  return size / kBitsPerByte + (size % kBitsPerByte != 0 ? 1 : 0);
}

// Whether the pool has a bit for the index: if the byte's first bit is an index, and malloc() has not failed. Bits
// behind the last index are 0 unless a returning error handler let a caller set them.
bool has_bit(const IndexPool& pool, uint32_t index) {
  return index - index % kBitsPerByte < pool.m_uSize && pool.m_pPool != nullptr;
}

bool is_set(const IndexPool& pool, uint32_t index) {
  return has_bit(pool, index) && (pool.m_pPool[index / kBitsPerByte] >> index % kBitsPerByte & 1) != 0;
}

// Sets the index's bit and counts one free index less, whatever the bit was. Without a bit nothing happens.
void set_occupied(IndexPool& pool, uint32_t index) {
  if (has_bit(pool, index)) {
    pool.m_pPool[index / kBitsPerByte] |= bit_of(index);
    --pool.m_uFree;
  }
}

// Clears the index's bit and counts one free index more, whatever the bit was. Without a bit nothing happens.
void set_free(IndexPool& pool, uint32_t index) {
  if (has_bit(pool, index)) {
    pool.m_pPool[index / kBitsPerByte] &= static_cast<uint8_t>(~bit_of(index));
    ++pool.m_uFree;
  }
}

// Takes the lowest clear bit, which may lie behind the last index. Returns the size and changes nothing if there is none;
// NUV_IndexPool_occupy() reports that.
uint32_t occupy_lowest(IndexPool& pool) {
  if (pool.m_pPool == nullptr) {
    return pool.m_uSize;
  }
  uint32_t byte = 0;
  if constexpr (std::endian::native == std::endian::little) {
    // Eight bytes at a time, as long as all of their bits are indices; docs/decisions/speed.md says what that brings. Load and
    // store have the same width, so that the next call does not wait for the store.
    for (uint64_t word; pool.m_uSize / kBitsPerByte >= byte + sizeof word; byte += sizeof word) {
      memcpy(&word, pool.m_pPool + byte, sizeof word);
      if (word != UINT64_MAX) {
        const uint32_t index = byte * kBitsPerByte + static_cast<uint32_t>(std::countr_one(word));
        word |= word + 1;  // the lowest 0
        memcpy(pool.m_pPool + byte, &word, sizeof word);
        --pool.m_uFree;
        return index;
      }
    }
  }
  const uint32_t bytes = byte_count(pool.m_uSize);
  while (byte < bytes && pool.m_pPool[byte] == 0xFF) {
    ++byte;
  }
  if (byte == bytes) {
    return pool.m_uSize;
  }
  const uint32_t index = byte * kBitsPerByte + static_cast<uint32_t>(std::countr_one(pool.m_pPool[byte]));
  set_occupied(pool, index);
  return index;
}

// NUV_IndexPool_occupied() with its report, for the contracts of other operations.
bool is_occupied(const IndexPool& pool, uint32_t index) {
  NUV_REQUIRE_TEXT(pool.m_uSize > index, "NUV_IndexPool_size( a_this) > a_index");
  return is_set(pool, index);
}

}  // namespace

int32_t NUV_IndexPool_construct(IndexPool* a_this, uint32_t a_size) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  // An empty pool owns one byte, too: malloc(0) may return null without having failed.
  const uint32_t bytes = a_size != 0 ? byte_count(a_size) : 1;
  a_this->m_pPool = static_cast<uint8_t*>(malloc(bytes));
  NUV_NOT_NULL(NULL != a_this->m_pPool);
  if (a_this->m_pPool != nullptr) {
    memset(a_this->m_pPool, 0, bytes);
  }
  a_this->m_uSize = a_size;
  a_this->m_uFree = a_size;
  NUV_ENSURE_TEXT(a_this->m_uSize == a_size, "NUV_IndexPool_size( a_this) == a_size");
  NUV_ENSURE_TEXT(a_this->m_uFree == a_size, "NUV_IndexPool_free( a_this) == a_size");
  NUV_ENSURE_TEXT(a_this->m_uSize == a_this->m_uFree, "NUV_IndexPool_busy( a_this) == 0");
  return 1;
}

void NUV_IndexPool_destruct(IndexPool* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  free(a_this->m_pPool);
}

uint32_t NUV_IndexPool_size(const IndexPool* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_uSize;
}

uint32_t NUV_IndexPool_free(const IndexPool* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_uFree;
}

uint32_t NUV_IndexPool_busy(const IndexPool* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_uSize - a_this->m_uFree;
}

int32_t NUV_IndexPool_available(const IndexPool* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_uFree > 0 ? 1 : 0;
}

int32_t NUV_IndexPool_occupied(const IndexPool* a_this, uint32_t a_index) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return is_occupied(*a_this, a_index) ? 1 : 0;
}

uint32_t NUV_IndexPool_occupy(IndexPool* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uFree > 0, "NUV_IndexPool_available( a_this) == 1");
  const uint32_t index = occupy_lowest(*a_this);
  NUV_ENSURE(a_this->m_uSize > index);
  NUV_ENSURE_TEXT(is_occupied(*a_this, index), "NUV_IndexPool_occupied( a_this, index)");
  return index;
}

void NUV_IndexPool_occupyIndex(IndexPool* a_this, uint32_t a_index) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uSize > a_index, "NUV_IndexPool_size( a_this) > a_index");
  NUV_REQUIRE_TEXT(!is_occupied(*a_this, a_index), "NUV_IndexPool_occupied( a_this, a_index) == 0");
  set_occupied(*a_this, a_index);
  NUV_ENSURE_TEXT(is_occupied(*a_this, a_index), "NUV_IndexPool_occupied( a_this, a_index)");
}

void NUV_IndexPool_release(IndexPool* a_this, uint32_t a_index) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uSize > a_index, "NUV_IndexPool_size( a_this) > a_index");
  NUV_REQUIRE_TEXT(is_occupied(*a_this, a_index), "NUV_IndexPool_occupied( a_this, a_index) == 1");
  set_free(*a_this, a_index);
  NUV_ENSURE_TEXT(!is_occupied(*a_this, a_index), "NUV_IndexPool_occupied( a_this, a_index) == 0");
}
