#include "nuv_message.h"

#include <utility>

#include <stddef.h>

#include "contract.h"

namespace {

constexpr char kFamily[] = "nuv_message";

constexpr uint32_t kCapacity = NUV_MESSAGE_SIZE;
static_assert(offsetof(Message, m_oHeader) == 0, "a message can be traced through a pointer to itself");

}  // namespace

int32_t NUV_Message_construct(Message* a_this, int32_t a_msgtype, int32_t a_destport, int32_t a_srcport) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_MessageHeader_set(&a_this->m_oHeader, a_msgtype, a_destport, a_srcport);
  a_this->m_uSize = 0;
  for (MessageData& item : a_this->m_rgData) {
    NUV_MessageData_construct(&item);
  }
  return 1;
}

void NUV_Message_destruct(Message* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  for (MessageData& item : a_this->m_rgData) {
    NUV_MessageData_destruct(&item);
  }
}

int32_t NUV_Message_msgType(const Message* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_oHeader.m_iMsgType;
}

int32_t NUV_Message_destPort(const Message* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_oHeader.m_iDestPort;
}

int32_t NUV_Message_srcPort(const Message* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_oHeader.m_iSrcPort;
}

uint32_t NUV_Message_size(const Message* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return a_this->m_uSize;
}

uint32_t NUV_Message_maxSize([[maybe_unused]] const Message* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return kCapacity;
}

MessageData* NUV_Message_data(Message* a_this, uint32_t a_index) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(NUV_Message_size( a_this) > a_index);
  return a_index < kCapacity ? &a_this->m_rgData[a_index] : nullptr;
}

void NUV_Message_add(Message* a_this, int32_t a_type, Memory* a_data) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_data);
  NUV_REQUIRE(NUV_Message_size( a_this) < NUV_Message_maxSize( a_this));
  const uint32_t oldsize = a_this->m_uSize;
  // There is no sixth item; a block that finds no room stays with its owner.
  if (a_data != nullptr && oldsize < kCapacity) {
    NUV_MessageData_set(&a_this->m_rgData[oldsize], a_type, a_data);
    ++a_this->m_uSize;
  }
  NUV_ENSURE(NUV_Message_size( a_this) == ( oldsize + 1));
}

void NUV_Message_swap(Message* a_this, Message* a_src) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_src);
  if (a_src == nullptr) {
    return;
  }
  NUV_MessageHeader_swap(&a_this->m_oHeader, &a_src->m_oHeader);
  std::swap(a_this->m_uSize, a_src->m_uSize);
  for (uint32_t i = 0; i < kCapacity; ++i) {
    NUV_MessageData_swap(&a_this->m_rgData[i], &a_src->m_rgData[i]);
  }
}

void NUV_Message_move(Message* a_this, Message* a_src) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(0 != a_src);
  if (a_src == nullptr) {
    return;
  }
  Message old;
  NUV_Message_construct(&old, /*a_msgtype=*/0, /*a_destport=*/0, /*a_srcport=*/0);
  NUV_Message_swap(a_this, &old);
  NUV_Message_swap(a_this, a_src);
  NUV_Message_destruct(&old);
}
