// What a daemon registers with a reactor and takes out again; the loop itself is in nuv_select.cpp.
#include "core/contract.h"
#include "nuv_select.h"

namespace {

constexpr char kFamily[] = "nuv_select";

constexpr uint32_t kEventTypes = 2;

// A kind of event: where its sets are, and what a set without room is reported as.
struct Kind {
  SelectSet (Select::*sets)[kEventTypes];
  const char* room_text;
};

constexpr Kind kRead = {&Select::m_oRead, "1 == NUV_SelectSet_available( &a_this->m_oRead[a_event_type])"};
constexpr Kind kWrite = {&Select::m_oWrite, "1 == NUV_SelectSet_available( &a_this->m_oWrite[a_event_type])"};
constexpr Kind kExcept = {&Select::m_oExcept, "1 == NUV_SelectSet_available( &a_this->m_oExcept[a_event_type])"};

// How long a registration lasts.
enum Lasting : uint8_t { kStays = 0, kOneCycle = 1 };

// The set of a kind and an event type, null where there is no such type. A set without room is reported.
SelectSet* set_of(Select& reactor, const Kind& kind, uint32_t event_type) {
  if (event_type >= kEventTypes) {
    return nullptr;
  }
  SelectSet* const set = &(reactor.*kind.sets)[event_type];
  NUV_REQUIRE_TEXT(1 == NUV_SelectSet_available(set), kind.room_text);
  return set;
}

// The arguments of the exported functions come first and in their order, which makes those short.
NUV_SelectRecv* set_receiver(Select* a_this, int32_t fd, void* arg1, uint32_t arg2, NUV_SelectRecvFunc a_recvfunc,
                             const Kind& kind, uint32_t event_type, Lasting lasting) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_recvfunc != nullptr, "((void *)0) != a_recvfunc");
  SelectSet* const set = set_of(*a_this, kind, event_type);
  return set != nullptr ? NUV_SelectSet_setReceiver(set, fd, arg1, arg2, lasting, a_recvfunc) : nullptr;
}

void remove_receiver(Select* a_this, int32_t fd, const Kind& kind, uint32_t event_type) {
  NUV_REQUIRE(((void *)0) != a_this);
  if (SelectSet* const set = set_of(*a_this, kind, event_type)) {
    NUV_SelectSet_removeReceiver(set, fd);
  }
}

// NUV_TimeoutSet_available(), where every timer passes.
bool has_timer_room(const Select& reactor) {
  return reactor.m_oTimeout.m_uCount < NUV_TIMEOUTSET_SIZE;
}

uint32_t set_timer(Select* a_this, timeval time, void* arg1, uint32_t arg2, uint8_t temp,
                   NUV_TimeoutRecvFunc a_recvfunc) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(has_timer_room(*a_this), "1 == NUV_TimeoutSet_available( &a_this->m_oTimeout)");
  NUV_REQUIRE_TEXT(a_recvfunc != nullptr, "((void *)0) != a_recvfunc");
  return NUV_TimeoutSet_setReceiver(&a_this->m_oTimeout, time, arg1, arg2, temp, a_recvfunc);
}

}  // namespace

NUV_SelectRecv* NUV_Select_setRead(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                   NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kRead, NUV_SELECT_INTERNAL, kStays);
}

NUV_SelectRecv* NUV_Select_setReadExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                           NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kRead, NUV_SELECT_EXTERNAL, kStays);
}

NUV_SelectRecv* NUV_Select_setTempRead(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                       NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kRead, NUV_SELECT_INTERNAL, kOneCycle);
}

NUV_SelectRecv* NUV_Select_setTempReadExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                               NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kRead, NUV_SELECT_EXTERNAL, kOneCycle);
}

NUV_SelectRecv* NUV_Select_internalSetTempRead(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                               uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kRead, a_event_type, kOneCycle);
}

void NUV_Select_removeRead(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, a_fd, kRead, NUV_SELECT_INTERNAL);
}

void NUV_Select_removeReadExternal(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, a_fd, kRead, NUV_SELECT_EXTERNAL);
}

void NUV_Select_internalRemoveRead(Select* a_this, uint32_t a_event_type, int32_t a_fd) {
  remove_receiver(a_this, a_fd, kRead, a_event_type);
}

NUV_SelectRecv* NUV_Select_setWrite(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                    NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kWrite, NUV_SELECT_INTERNAL, kStays);
}

NUV_SelectRecv* NUV_Select_setWriteExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                            NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kWrite, NUV_SELECT_EXTERNAL, kStays);
}

NUV_SelectRecv* NUV_Select_internalSetWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                            uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kWrite, a_event_type, kStays);
}

NUV_SelectRecv* NUV_Select_setTempWrite(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                        NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kWrite, NUV_SELECT_INTERNAL, kOneCycle);
}

NUV_SelectRecv* NUV_Select_setTempWriteExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kWrite, NUV_SELECT_EXTERNAL, kOneCycle);
}

NUV_SelectRecv* NUV_Select_internalSetTempWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                                uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kWrite, a_event_type, kOneCycle);
}

void NUV_Select_removeWrite(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, a_fd, kWrite, NUV_SELECT_INTERNAL);
}

void NUV_Select_removeWriteExternal(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, a_fd, kWrite, NUV_SELECT_EXTERNAL);
}

void NUV_Select_internalRemoveWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd) {
  remove_receiver(a_this, a_fd, kWrite, a_event_type);
}

NUV_SelectRecv* NUV_Select_setExcept(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                     NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kExcept, NUV_SELECT_INTERNAL, kStays);
}

NUV_SelectRecv* NUV_Select_setExceptExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                             NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kExcept, NUV_SELECT_EXTERNAL, kStays);
}

NUV_SelectRecv* NUV_Select_internalSetExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                             uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kExcept, a_event_type, kStays);
}

NUV_SelectRecv* NUV_Select_setTempExcept(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                         NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kExcept, NUV_SELECT_INTERNAL, kOneCycle);
}

NUV_SelectRecv* NUV_Select_setTempExceptExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                 NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kExcept, NUV_SELECT_EXTERNAL, kOneCycle);
}

NUV_SelectRecv* NUV_Select_internalSetTempExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                                 uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, a_fd, a_arg1, a_arg2, a_recvfunc, kExcept, a_event_type, kOneCycle);
}

void NUV_Select_removeExcept(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, a_fd, kExcept, NUV_SELECT_INTERNAL);
}

void NUV_Select_removeExceptExternal(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, a_fd, kExcept, NUV_SELECT_EXTERNAL);
}

void NUV_Select_internalRemoveExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd) {
  remove_receiver(a_this, a_fd, kExcept, a_event_type);
}

uint32_t NUV_Select_setTimeout(Select* a_this, struct timeval a_time, void* a_arg1, uint32_t a_arg2,
                               NUV_TimeoutRecvFunc a_recvfunc) {
  return set_timer(a_this, a_time, a_arg1, a_arg2, kStays, a_recvfunc);
}

uint32_t NUV_Select_setTempTimeout(Select* a_this, struct timeval a_time, void* a_arg1, uint32_t a_arg2,
                                   NUV_TimeoutRecvFunc a_recvfunc) {
  return set_timer(a_this, a_time, a_arg1, a_arg2, kOneCycle, a_recvfunc);
}

void NUV_Select_removeTimeout(Select* a_this, uint32_t a_id) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(has_timer_room(*a_this), "1 == NUV_TimeoutSet_available( &a_this->m_oTimeout)");
  NUV_TimeoutSet_removeReceiver(&a_this->m_oTimeout, a_id);
}

void NUV_Select_updateTimeout(Select* a_this, uint32_t a_id, struct timeval a_time) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(has_timer_room(*a_this), "1 == NUV_TimeoutSet_available( &a_this->m_oTimeout)");
  NUV_TimeoutSet_updateReceiver(&a_this->m_oTimeout, a_id, a_time);
}
