#include "nuv_frame.h"

#include <utility>

#include "core/contract.h"
#include "core/memory_block.h"

using nuv::moved_up;

namespace {

constexpr char kFamily[] = "nuv_frame";

// The bytes between two pointers, computed from their addresses: after a failed contract one may point outside the
// block. Callers get the result modulo 2^32. The operations that move a pointer compare all bits, so that the compiler
// can see that the difference changes by the offset and drop the check.
uintptr_t distance(const uint8_t* from, const uint8_t* to) {
  return reinterpret_cast<uintptr_t>(to) - reinterpret_cast<uintptr_t>(from);
}

uint8_t* moved_down(uint8_t* pointer, uint32_t offset) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(pointer) - offset);
}

uint8_t* end_of_block(const Frame& frame) {
  return moved_up(frame.m_oMemory.m_pAddr, frame.m_oMemory.m_uSize);
}

uintptr_t headroom(const Frame& frame) {
  return distance(frame.m_oMemory.m_pAddr, frame.m_pBegin);
}

uintptr_t tailroom(const Frame& frame) {
  return distance(frame.m_pEnd, end_of_block(frame));
}

uint32_t size_of(const Frame& frame) {
  return static_cast<uint32_t>(distance(frame.m_pBegin, frame.m_pEnd));
}

uint32_t offset_front(const Frame& frame) {
  return static_cast<uint32_t>(headroom(frame));
}

uint32_t offset_rear(const Frame& frame) {
  return static_cast<uint32_t>(tailroom(frame));
}

void reset_content(Frame& frame) {
  frame.m_pBegin = frame.m_oMemory.m_pAddr;
  frame.m_pEnd = end_of_block(frame);
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
  // The block goes through a local variable, so that it is not lost even if both frames are the same.
  Memory block;
  NUV_Memory_construct(&block, 0);
  NUV_Memory_swap(&block, a_src != nullptr ? &a_src->m_oMemory : nullptr);
  a_this->m_oMemory = block;
  reset_content(*a_this);
  return 1;
}

void NUV_Frame_destruct(Frame* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  nuv::release_block(a_this->m_oMemory);
}

void NUV_Frame_swap(Frame* a_this, Frame* a_src) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(0 != a_src);
  if (a_src != nullptr) {
    std::swap(*a_this, *a_src);
  }
}

void NUV_Frame_assign(Frame* a_this, Frame* a_src) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(0 != a_src);
  const Frame old = *a_this;
  nuv::take_over(*a_this, a_src) = {nuv::empty_block(), /*m_pBegin=*/nullptr, /*m_pEnd=*/nullptr};
  nuv::release_block(old.m_oMemory);
}

uint32_t NUV_Frame_absoluteSize(const Frame* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  return a_this->m_oMemory.m_uSize;
}

uint8_t* NUV_Frame_address(const Frame* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  return a_this->m_oMemory.m_pAddr;
}

uint8_t* NUV_Frame_begin(const Frame* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  return a_this->m_pBegin;
}

uint8_t* NUV_Frame_end(const Frame* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  return a_this->m_pEnd;
}

uint32_t NUV_Frame_offsetFront(const Frame* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  return offset_front(*a_this);
}

uint32_t NUV_Frame_offsetRear(const Frame* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  return offset_rear(*a_this);
}

uint32_t NUV_Frame_size(const Frame* a_this) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  return size_of(*a_this);
}

// The pointer moves even if a returning error handler let too large an offset pass: nothing is read or written through it
// here, and the frame shows what happened.

void NUV_Frame_reduceFront(Frame* a_this, uint32_t a_offset) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  NUV_REQUIRE_TEXT(size_of(*a_this) >= a_offset, "NUV_Frame_size( a_this) >= a_offset");
  const uintptr_t oldoffset = headroom(*a_this);
  a_this->m_pBegin = moved_up(a_this->m_pBegin, a_offset);
  NUV_ENSURE_TEXT(headroom(*a_this) == oldoffset + a_offset,
                  "NUV_Frame_offsetFront( a_this) == ( oldoffset + a_offset)");
}

void NUV_Frame_expandFront(Frame* a_this, uint32_t a_offset) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  NUV_REQUIRE_TEXT(offset_front(*a_this) >= a_offset, "NUV_Frame_offsetFront( a_this) >= a_offset");
  const uintptr_t oldoffset = headroom(*a_this);
  a_this->m_pBegin = moved_down(a_this->m_pBegin, a_offset);
  NUV_ENSURE_TEXT(headroom(*a_this) == oldoffset - a_offset,
                  "NUV_Frame_offsetFront( a_this) == ( oldoffset - a_offset)");
}

void NUV_Frame_reduceRear(Frame* a_this, uint32_t a_offset) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  NUV_REQUIRE_TEXT(size_of(*a_this) >= a_offset, "NUV_Frame_size( a_this) >= a_offset");
  const uintptr_t oldoffset = tailroom(*a_this);
  a_this->m_pEnd = moved_down(a_this->m_pEnd, a_offset);
  NUV_ENSURE_TEXT(tailroom(*a_this) == oldoffset + a_offset,
                  "NUV_Frame_offsetRear( a_this) == ( oldoffset + a_offset)");
}

void NUV_Frame_expandRear(Frame* a_this, uint32_t a_offset) {
  NUV_REQUIRE_OBJECT(0 != a_this);
  NUV_REQUIRE_TEXT(offset_rear(*a_this) >= a_offset, "NUV_Frame_offsetRear( a_this) >= a_offset");
  const uintptr_t oldoffset = tailroom(*a_this);
  a_this->m_pEnd = moved_up(a_this->m_pEnd, a_offset);
  NUV_ENSURE_TEXT(tailroom(*a_this) + a_offset == oldoffset,
                  "NUV_Frame_offsetRear( a_this) == ( oldoffset - a_offset)");
}
