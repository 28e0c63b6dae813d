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

// Tells whether there is a bit for the index: up to the end of the last byte, but none at all when malloc failed. Bits
// behind the last index are 0 until an error handler that returned lets somebody take them.
inline bool has_bit(const IndexPool& pool, uint32_t index) {
  return index / kBitsPerByte < byte_count(pool.m_uSize) && pool.m_pPool != nullptr;
}

inline bool is_set(const IndexPool& pool, uint32_t index) {
  return has_bit(pool, index) && (pool.m_pPool[index / kBitsPerByte] >> index % kBitsPerByte & 1) != 0;
}

// Sets the index's bit and counts one free index less, whatever the bit was. Without a bit nothing happens.
inline void set_occupied(IndexPool& pool, uint32_t index) {
  if (has_bit(pool, index)) {
    pool.m_pPool[index / kBitsPerByte] |= bit_of(index);
    --pool.m_uFree;
  }
}

// Clears the index's bit and counts one free index more, whatever the bit was. Without a bit nothing happens.
inline void set_free(IndexPool& pool, uint32_t index) {
  if (has_bit(pool, index)) {
    pool.m_pPool[index / kBitsPerByte] &= static_cast<uint8_t>(~bit_of(index));
    ++pool.m_uFree;
  }
}

// Takes the lowest clear bit, which lies behind the last index if all indices are taken. Returns the size, and changes
// nothing, when there is none: it is left to NUV_IndexPool_occupy() to complain.
inline uint32_t try_occupy(IndexPool& pool) {
  if (pool.m_pPool == nullptr) {
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

// Frees the index. Returns false, and leaves it to NUV_IndexPool_release() to complain, when it is not occupied.
inline bool try_release(IndexPool& pool, uint32_t index) {
  if (!is_set(pool, index)) {
    return false;
  }
  set_free(pool, index);
  return true;
}

}  // namespace userlib

#endif
