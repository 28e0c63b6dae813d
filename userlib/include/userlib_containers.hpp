/** @file userlib_containers.hpp
 *
 * Part of userlib.hpp: frames and numbers: Frame, IndexPool, IndexMap.
 */
#ifndef USERLIB_CONTAINERS_HPP
#define USERLIB_CONTAINERS_HPP

#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "nuv_frame.h"
#include "nuv_indexmap.h"
#include "nuv_indexpool.h"
#include "userlib_core.hpp"

namespace userlib {

/// Frame owns a block whose content can shrink and grow at both ends.
class Frame {
 public:
  Frame() : Frame(0) {}

  /// A frame of so many bytes, all of them content, uninitialised. Without memory, which is reported, its address() is
  /// null.
  explicit Frame(uint32_t size) { NUV_Frame_construct(&record_, size); }

  /// A copy of the bytes as content.
  static Frame copy_of(std::string_view bytes) {
    Frame frame(static_cast<uint32_t>(bytes.size()));
    if (frame.address() != nullptr) {
      std::memcpy(frame.begin(), bytes.data(), frame.size());
    }
    return frame;
  }

  ~Frame() { NUV_Frame_destruct(&record_); }
  Frame(Frame&& other) noexcept : Frame() { NUV_Frame_swap(&record_, &other.record_); }
  Frame& operator=(Frame&& other) noexcept {
    if (this != &other) {
      NUV_Frame_assign(&record_, &other.record_);
    }
    return *this;
  }

  uint32_t absolute_size() const { return NUV_Frame_absoluteSize(&record_); }
  uint8_t* address() const { return NUV_Frame_address(&record_); }
  uint32_t size() const { return NUV_Frame_size(&record_); }
  uint8_t* begin() const { return NUV_Frame_begin(&record_); }
  uint8_t* end() const { return NUV_Frame_end(&record_); }
  uint32_t offset_front() const { return NUV_Frame_offsetFront(&record_); }
  uint32_t offset_rear() const { return NUV_Frame_offsetRear(&record_); }

  void reduce_front(uint32_t offset) { NUV_Frame_reduceFront(&record_, offset); }
  void expand_front(uint32_t offset) { NUV_Frame_expandFront(&record_, offset); }
  void reduce_rear(uint32_t offset) { NUV_Frame_reduceRear(&record_, offset); }
  void expand_rear(uint32_t offset) { NUV_Frame_expandRear(&record_, offset); }

  /// text shows the content as characters, none without memory. What was taken off an end stays good as long as the block
  /// lives.
  std::string_view text() const { return {reinterpret_cast<const char*>(begin()), address() != nullptr ? size() : 0}; }

  ::Frame& record() { return record_; }
  const ::Frame& record() const { return record_; }

 private:
  ::Frame record_;
};

/// IndexPool hands out the indices 0 to size - 1. One that was moved from has the size 0.
class IndexPool {
 public:
  explicit IndexPool(uint32_t size) { NUV_IndexPool_construct(&record_, size); }
  ~IndexPool() { NUV_IndexPool_destruct(&record_); }
  IndexPool(IndexPool&& other) noexcept : record_(std::exchange(other.record_, kNone)) {}
  IndexPool& operator=(IndexPool other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }

  uint32_t size() const { return NUV_IndexPool_size(&record_); }
  uint32_t free() const { return NUV_IndexPool_free(&record_); }
  uint32_t busy() const { return NUV_IndexPool_busy(&record_); }
  bool available() const { return NUV_IndexPool_available(&record_) == 1; }
  bool occupied(uint32_t index) const { return NUV_IndexPool_occupied(&record_, index) == 1; }

  /// occupy takes the lowest free index. The caller sees to it that there is one.
  uint32_t occupy() { return NUV_IndexPool_occupy(&record_); }

  /// try_occupy takes the lowest free index, if there is any.
  std::optional<uint32_t> try_occupy() { return available() ? std::optional<uint32_t>(occupy()) : std::nullopt; }

  void occupy_index(uint32_t index) { NUV_IndexPool_occupyIndex(&record_, index); }
  void release(uint32_t index) { NUV_IndexPool_release(&record_, index); }

  ::IndexPool& record() { return record_; }
  const ::IndexPool& record() const { return record_; }

 private:
  static constexpr ::IndexPool kNone = {nullptr, 0, 0};

  ::IndexPool record_;
};

/// IndexMap is a map with room for so many pairs, which it brings along.
///
///     for (IndexMapPair& pair : map) ...
template <uint32_t capacity>
class IndexMap : Pinned {
  static_assert(capacity > 0, "a map has room for something");

 public:
  IndexMap() { NUV_IndexMap_construct(&record_, store_, capacity); }
  ~IndexMap() { NUV_IndexMap_destruct(&record_); }

  /// A walk over the pairs, in the order of their positions. The pair that it stands at may be removed meanwhile.
  class Iterator {
   public:
    Iterator(const ::IndexMap& map, uint32_t position) : map_(&map), position_(position) {}
    IndexMapPair& operator*() const { return *NUV_IndexMap_get(map_, position_); }
    IndexMapPair* operator->() const { return NUV_IndexMap_get(map_, position_); }
    Iterator& operator++() {
      position_ = NUV_IndexMap_next(map_, position_);
      return *this;
    }
    bool operator==(const Iterator& other) const { return position_ == other.position_; }
    bool operator!=(const Iterator& other) const { return position_ != other.position_; }
    uint32_t position() const { return position_; }

   private:
    const ::IndexMap* map_;
    uint32_t position_;
  };

  Iterator begin() const { return {record_, NUV_IndexMap_begin(&record_)}; }
  Iterator end() const { return {record_, NUV_IndexMap_end(&record_)}; }

  uint32_t size() const { return NUV_IndexMap_size(&record_); }
  uint32_t max_size() const { return NUV_IndexMap_maxSize(&record_); }
  bool empty() const { return NUV_IndexMap_empty(&record_) == 1; }

  /// find returns the pair with the key, or null. Its value may be changed.
  IndexMapPair* find(int32_t key) const {
    const uint32_t position = NUV_IndexMap_find(&record_, key);
    return position != NUV_IndexMap_end(&record_) ? NUV_IndexMap_get(&record_, position) : nullptr;
  }

  bool contains(int32_t key) const { return find(key) != nullptr; }
  uint32_t at(int32_t key) const { return NUV_IndexMap_at(&record_, key); }

  /// insert puts a new pair in and returns its position. The caller sees to it that there is room, and no such key.
  uint32_t insert(int32_t key, uint32_t value) { return NUV_IndexMap_insert(&record_, key, value); }

  /// remove takes out the pair with the key and returns true; or false if there is none.
  bool remove(int32_t key) {
    const uint32_t position = NUV_IndexMap_find(&record_, key);
    if (position == NUV_IndexMap_end(&record_)) {
      return false;
    }
    NUV_IndexMap_remove(&record_, position);
    return true;
  }

  void clear() { NUV_IndexMap_clear(&record_); }

  ::IndexMap& record() { return record_; }
  const ::IndexMap& record() const { return record_; }

 private:
  IndexMapEntry store_[capacity];
  ::IndexMap record_;
};

}  // namespace userlib

#endif
