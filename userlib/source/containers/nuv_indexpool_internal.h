// The index pool's bits, for the pool itself and for the timers, which take and return an id each.
#ifndef USERLIB_SOURCE_NUV_INDEXPOOL_INTERNAL_H
#define USERLIB_SOURCE_NUV_INDEXPOOL_INTERNAL_H

#include <bit>

#include <stdint.h>
#include <string.h>

#include "nuv_indexpool.h"

namespace userlib {

constexpr uint32_t kBitsPerByte = 8;

inline uint8_t bit_of(uint32_t index) {
  return static_cast<uint8_t>(1U << (index % kBitsPerByte));
}

inline uint32_t byte_count(uint32_t size) {
  return size / kBitsPerByte + (size % kBitsPerByte != 0 ? 1 : 0);
}

// Tells whether the pool has a bit for the index. It has none past its size, nor any when malloc failed.
inline bool has_bit(const IndexPool& pool, uint32_t index) {
  return index < pool.m_uSize && pool.m_pPool != nullptr;
}

inline bool is_set(const IndexPool& pool, uint32_t index) {
  return has_bit(pool, index) && (pool.m_pPool[index / kBitsPerByte] >> index % kBitsPerByte & 1) != 0;
}

// For an index that has a bit and is free.
inline void set_occupied(IndexPool& pool, uint32_t index) {
  pool.m_pPool[index / kBitsPerByte] |= bit_of(index);
  --pool.m_uFree;
}

// Takes the lowest free index. Returns the size, and leaves it to NUV_IndexPool_occupy() to complain, when there is none.
inline uint32_t try_occupy(IndexPool& pool) {
  if (pool.m_uFree == 0 || pool.m_pPool == nullptr) {
    return pool.m_uSize;
  }
  uint32_t byte = 0;
  if constexpr (std::endian::native == std::endian::little) {
    // Eight bytes at a time, as long as all of their bits are indices. Whoever takes index after index finds the word in
    // the same place and width as it was left.
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
  // The bits behind the last index are always 0, so the last byte may offer one of them: that is no index.
  const uint32_t bytes = byte_count(pool.m_uSize);
  while (byte < bytes && pool.m_pPool[byte] == 0xFF) {
    ++byte;
  }
  if (byte == bytes) {
    return pool.m_uSize;
  }
  const uint32_t index = byte * kBitsPerByte + static_cast<uint32_t>(std::countr_one(pool.m_pPool[byte]));
  if (index >= pool.m_uSize) {
    return pool.m_uSize;
  }
  set_occupied(pool, index);
  return index;
}

// Frees the index. Returns false, and leaves it to NUV_IndexPool_release() to complain, when it is not occupied.
inline bool try_release(IndexPool& pool, uint32_t index) {
  if (!is_set(pool, index)) {
    return false;
  }
  pool.m_pPool[index / kBitsPerByte] &= static_cast<uint8_t>(~bit_of(index));
  ++pool.m_uFree;
  return true;
}

}  // namespace userlib

#endif
