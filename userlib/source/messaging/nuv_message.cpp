#include "nuv_message.h"

#include <utility>

#include <stddef.h>

#include "core/contract.h"
#include "core/memory_block.h"

namespace {

constexpr char kFamily[] = "nuv_message";

constexpr uint32_t kCapacity = NUV_MESSAGE_SIZE;
static_assert(offsetof(Message, m_oHeader) == 0, "a message can be traced through a pointer to itself");

void make_empty(Message& message, const MessageHeader& header) {
  message.m_oHeader = header;
  message.m_uSize = 0;
  for (MessageData& item : message.m_rgData) {
    item = {NUV_MESSAGEDATA_NONE, nuv::empty_block()};
  }
}

void release_items(const Message& message) {
  for (const MessageData& item : message.m_rgData) {
    nuv::release_block(item.m_oData);
  }
}

}  // namespace

int32_t NUV_Message_construct(Message* a_this, int32_t a_msgtype, int32_t a_destport, int32_t a_srcport) {
  NUV_REQUIRE(((void *)0) != a_this);
  make_empty(*a_this, {a_msgtype, a_destport, a_srcport});
  return 1;
}

void NUV_Message_destruct(Message* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  release_items(*a_this);
}

int32_t NUV_Message_msgType(const Message* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_oHeader.m_iMsgType;
}

int32_t NUV_Message_destPort(const Message* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_oHeader.m_iDestPort;
}

int32_t NUV_Message_srcPort(const Message* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_oHeader.m_iSrcPort;
}

uint32_t NUV_Message_size(const Message* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_uSize;
}

uint32_t NUV_Message_maxSize([[maybe_unused]] const Message* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return kCapacity;
}

MessageData* NUV_Message_data(Message* a_this, uint32_t a_index) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_uSize > a_index, "NUV_Message_size( a_this) > a_index");
  return a_index < kCapacity ? &a_this->m_rgData[a_index] : nullptr;
}

void NUV_Message_add(Message* a_this, int32_t a_type, Memory* a_data) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_data);
  NUV_REQUIRE_TEXT(a_this->m_uSize < kCapacity, "NUV_Message_size( a_this) < NUV_Message_maxSize( a_this)");
  const uint32_t oldsize = a_this->m_uSize;
  // There is no sixth item; a block that finds no room stays with its owner.
  if (oldsize < kCapacity) {
    NUV_MessageData_set(&a_this->m_rgData[oldsize], a_type, a_data);
    ++a_this->m_uSize;
  }
  NUV_ENSURE_TEXT(a_this->m_uSize == oldsize + 1, "NUV_Message_size( a_this) == ( oldsize + 1)");
}

void NUV_Message_swap(Message* a_this, Message* a_src) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_src);
  if (a_src != nullptr) {
    std::swap(*a_this, *a_src);
  }
}

void NUV_Message_move(Message* a_this, Message* a_src) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(0 != a_src);
  const Message old = *a_this;
  make_empty(nuv::take_over(*a_this, a_src), /*header=*/{});
  release_items(old);
}
