#include "nuv_messagedata.h"

#include <utility>

#include "core/contract.h"
#include "core/memory_block.h"

namespace {

constexpr char kFamily[] = "nuv_messagedata";

}  // namespace

int32_t NUV_MessageData_construct(MessageData* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  *a_this = {NUV_MESSAGEDATA_NONE, nuv::empty_block()};
  return 1;
}

void NUV_MessageData_destruct(MessageData* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  nuv::release_block(a_this->m_oData);
}

int32_t NUV_MessageData_type(const MessageData* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_iType;
}

Memory* NUV_MessageData_data(MessageData* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  return &a_this->m_oData;
}

void NUV_MessageData_set(MessageData* a_this, int32_t a_type, Memory* a_data) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_data);
  a_this->m_iType = a_type;
  NUV_Memory_move(&a_this->m_oData, a_data);
}

void NUV_MessageData_swap(MessageData* a_this, MessageData* a_src) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_src);
  if (a_src != nullptr) {
    std::swap(*a_this, *a_src);
  }
}

void NUV_MessageData_move(MessageData* a_this, MessageData* a_src) {
  NUV_REQUIRE(0 != a_this);
  NUV_REQUIRE(0 != a_src);
  const MessageData old = *a_this;
  nuv::take_over(*a_this, a_src) = {NUV_MESSAGEDATA_NONE, nuv::empty_block()};
  nuv::release_block(old.m_oData);
}
