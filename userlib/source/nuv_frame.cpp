#include "nuv_frame.h"

#include <utility>

#include "contract.h"

namespace {

constexpr char kFamily[] = "nuv_frame";

// The bytes between two pointers, modulo 2^32. They are taken as numbers, because after a failed contract one of them may
// lie outside of the block.
uint32_t distance(const uint8_t* from, const uint8_t* to) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(to) - reinterpret_cast<uintptr_t>(from));
}

// Out of a block there is no arithmetic with pointers; with numbers there is.
uint8_t* moved_up(uint8_t* pointer, uint32_t offset) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(pointer) + offset);
}

uint8_t* moved_down(uint8_t* pointer, uint32_t offset) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(pointer) - offset);
}

void reset_content(Frame& frame) {
  frame.m_pBegin = NUV_Memory_begin(&frame.m_oMemory);
  frame.m_pEnd = NUV_Memory_end(&frame.m_oMemory);
}

}  // namespace

int32_t NUV_Frame_construct(Frame* a_this, uint32_t a_size) {
  NUV_REQUIRE(0 != a_this);
  NUV_Memory_construct(&a_this->m_oMemory, a_size);
  reset_content(*a_this);
  return 1;
}

int32_t NUV_Frame_copyConstruct(Frame* a_this, Frame* a_src) {
  NUV_REQUIRE(0 != a_this);
  // The block changes hands in a place of its own, so that it is not lost even if both frames are the same.
  Memory block;
  NUV_Memory_construct(&block, 0);
  NUV_Memory_swap(&block, a_src != nullptr ? &a_src->m_oMemory : nullptr);
  a_this->m_oMemory = block;
  reset_content(*a_this);
  return 1;
}

void NUV_Frame_destruct(Frame* a_this) {
  NUV_REQUIRE(0 != a_this);
  NUV_Memory_destruct(&a_this->m_oMemory);
}

void NUV_Frame_swap(Frame* a_this, Frame* a_src) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(0 != a_src);
  if (a_src == nullptr) {
    return;
  }
  NUV_Memory_swap(&a_this->m_oMemory, &a_src->m_oMemory);
  std::swap(a_this->m_pBegin, a_src->m_pBegin);
  std::swap(a_this->m_pEnd, a_src->m_pEnd);
}

void NUV_Frame_assign(Frame* a_this, Frame* a_src) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(0 != a_src);
  if (a_src == nullptr) {
    return;
  }
  Frame old;
  NUV_Frame_construct(&old, 0);
  NUV_Frame_swap(a_this, &old);
  NUV_Frame_swap(a_this, a_src);
  NUV_Frame_destruct(&old);
}

uint32_t NUV_Frame_absoluteSize(const Frame* a_this) {
  NUV_REQUIRE(0 != a_this);
  return NUV_Memory_size(&a_this->m_oMemory);
}

uint8_t* NUV_Frame_address(const Frame* a_this) {
  NUV_REQUIRE(0 != a_this);
  return NUV_Memory_begin(&a_this->m_oMemory);
}

uint8_t* NUV_Frame_begin(const Frame* a_this) {
  NUV_REQUIRE(0 != a_this);
  return a_this->m_pBegin;
}

uint8_t* NUV_Frame_end(const Frame* a_this) {
  NUV_REQUIRE(0 != a_this);
  return a_this->m_pEnd;
}

uint32_t NUV_Frame_offsetFront(const Frame* a_this) {
  NUV_REQUIRE(0 != a_this);
  return distance(NUV_Memory_begin(&a_this->m_oMemory), a_this->m_pBegin);
}

uint32_t NUV_Frame_offsetRear(const Frame* a_this) {
  NUV_REQUIRE(0 != a_this);
  return distance(a_this->m_pEnd, NUV_Memory_end(&a_this->m_oMemory));
}

uint32_t NUV_Frame_size(const Frame* a_this) {
  NUV_REQUIRE(0 != a_this);
  return distance(a_this->m_pBegin, a_this->m_pEnd);
}

// The pointer moves as it was told, also where an error handler let too large an offset pass: nothing is read or written
// through it here, and the frame shows what was done to it.

void NUV_Frame_reduceFront(Frame* a_this, uint32_t a_offset) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(NUV_Frame_size( a_this) >= a_offset);
  const uint32_t oldoffset = NUV_Frame_offsetFront(a_this);
  a_this->m_pBegin = moved_up(a_this->m_pBegin, a_offset);
  NUV_ENSURE(NUV_Frame_offsetFront( a_this) == ( oldoffset + a_offset));
}

void NUV_Frame_expandFront(Frame* a_this, uint32_t a_offset) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(NUV_Frame_offsetFront( a_this) >= a_offset);
  const uint32_t oldoffset = NUV_Frame_offsetFront(a_this);
  a_this->m_pBegin = moved_down(a_this->m_pBegin, a_offset);
  NUV_ENSURE(NUV_Frame_offsetFront( a_this) == ( oldoffset - a_offset));
}

void NUV_Frame_reduceRear(Frame* a_this, uint32_t a_offset) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(NUV_Frame_size( a_this) >= a_offset);
  const uint32_t oldoffset = NUV_Frame_offsetRear(a_this);
  a_this->m_pEnd = moved_down(a_this->m_pEnd, a_offset);
  NUV_ENSURE(NUV_Frame_offsetRear( a_this) == ( oldoffset + a_offset));
}

void NUV_Frame_expandRear(Frame* a_this, uint32_t a_offset) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(NUV_Frame_offsetRear( a_this) >= a_offset);
  const uint32_t oldoffset = NUV_Frame_offsetRear(a_this);
  a_this->m_pEnd = moved_up(a_this->m_pEnd, a_offset);
  NUV_ENSURE(NUV_Frame_offsetRear( a_this) == ( oldoffset - a_offset));
}
