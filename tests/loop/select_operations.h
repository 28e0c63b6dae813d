// Tables of the reactor's operations on descriptors.
#ifndef TESTS_LOOP_SELECT_OPERATIONS_H
#define TESTS_LOOP_SELECT_OPERATIONS_H

#include <cstdint>

#include "nuv_select.h"

namespace select_operations {

using Sets = SelectSet (Select::*)[2];

struct SetOperation {
  const char* name;
  NUV_SelectRecv* (*call)(Select*, int32_t, void*, uint32_t, NUV_SelectRecvFunc);
  Sets sets;
  uint32_t event_type;
  uint8_t temp;
};

struct RemoveOperation {
  const char* name;
  void (*call)(Select*, int32_t);
  Sets sets;
  uint32_t event_type;
};

// Binds the event type of an operation.
template <auto kOperation, uint32_t kEventType>
NUV_SelectRecv* set_for(Select* reactor, int32_t fd, void* arg1, uint32_t arg2, NUV_SelectRecvFunc function) {
  return kOperation(reactor, kEventType, fd, arg1, arg2, function);
}

template <auto kOperation, uint32_t kEventType>
void remove_for(Select* reactor, int32_t fd) {
  kOperation(reactor, kEventType, fd);
}

inline constexpr SetOperation kSetOperations[] = {
    {"setRead", NUV_Select_setRead, &Select::m_oRead, 0, 0},
    {"setReadExternal", NUV_Select_setReadExternal, &Select::m_oRead, 1, 0},
    {"setTempRead", NUV_Select_setTempRead, &Select::m_oRead, 0, 1},
    {"setTempReadExternal", NUV_Select_setTempReadExternal, &Select::m_oRead, 1, 1},
    {"internalSetTempRead 0", set_for<NUV_Select_internalSetTempRead, 0>, &Select::m_oRead, 0, 1},
    {"internalSetTempRead 1", set_for<NUV_Select_internalSetTempRead, 1>, &Select::m_oRead, 1, 1},
    {"setWrite", NUV_Select_setWrite, &Select::m_oWrite, 0, 0},
    {"setWriteExternal", NUV_Select_setWriteExternal, &Select::m_oWrite, 1, 0},
    {"internalSetWrite 0", set_for<NUV_Select_internalSetWrite, 0>, &Select::m_oWrite, 0, 0},
    {"internalSetWrite 1", set_for<NUV_Select_internalSetWrite, 1>, &Select::m_oWrite, 1, 0},
    {"setTempWrite", NUV_Select_setTempWrite, &Select::m_oWrite, 0, 1},
    {"setTempWriteExternal", NUV_Select_setTempWriteExternal, &Select::m_oWrite, 1, 1},
    {"internalSetTempWrite 0", set_for<NUV_Select_internalSetTempWrite, 0>, &Select::m_oWrite, 0, 1},
    {"internalSetTempWrite 1", set_for<NUV_Select_internalSetTempWrite, 1>, &Select::m_oWrite, 1, 1},
    {"setExcept", NUV_Select_setExcept, &Select::m_oExcept, 0, 0},
    {"setExceptExternal", NUV_Select_setExceptExternal, &Select::m_oExcept, 1, 0},
    {"internalSetExcept 0", set_for<NUV_Select_internalSetExcept, 0>, &Select::m_oExcept, 0, 0},
    {"internalSetExcept 1", set_for<NUV_Select_internalSetExcept, 1>, &Select::m_oExcept, 1, 0},
    {"setTempExcept", NUV_Select_setTempExcept, &Select::m_oExcept, 0, 1},
    {"setTempExceptExternal", NUV_Select_setTempExceptExternal, &Select::m_oExcept, 1, 1},
    {"internalSetTempExcept 0", set_for<NUV_Select_internalSetTempExcept, 0>, &Select::m_oExcept, 0, 1},
    {"internalSetTempExcept 1", set_for<NUV_Select_internalSetTempExcept, 1>, &Select::m_oExcept, 1, 1},
};

inline constexpr RemoveOperation kRemoveOperations[] = {
    {"removeRead", NUV_Select_removeRead, &Select::m_oRead, 0},
    {"removeReadExternal", NUV_Select_removeReadExternal, &Select::m_oRead, 1},
    {"internalRemoveRead 0", remove_for<NUV_Select_internalRemoveRead, 0>, &Select::m_oRead, 0},
    {"internalRemoveRead 1", remove_for<NUV_Select_internalRemoveRead, 1>, &Select::m_oRead, 1},
    {"removeWrite", NUV_Select_removeWrite, &Select::m_oWrite, 0},
    {"removeWriteExternal", NUV_Select_removeWriteExternal, &Select::m_oWrite, 1},
    {"internalRemoveWrite 0", remove_for<NUV_Select_internalRemoveWrite, 0>, &Select::m_oWrite, 0},
    {"internalRemoveWrite 1", remove_for<NUV_Select_internalRemoveWrite, 1>, &Select::m_oWrite, 1},
    {"removeExcept", NUV_Select_removeExcept, &Select::m_oExcept, 0},
    {"removeExceptExternal", NUV_Select_removeExceptExternal, &Select::m_oExcept, 1},
    {"internalRemoveExcept 0", remove_for<NUV_Select_internalRemoveExcept, 0>, &Select::m_oExcept, 0},
    {"internalRemoveExcept 1", remove_for<NUV_Select_internalRemoveExcept, 1>, &Select::m_oExcept, 1},
};

// The operations with an event type, unbound.
inline constexpr NUV_SelectRecv* (*kInternalSetOperations[])(Select*, uint32_t, int32_t, void*, uint32_t,
                                                             NUV_SelectRecvFunc) = {
    NUV_Select_internalSetTempRead, NUV_Select_internalSetWrite,      NUV_Select_internalSetTempWrite,
    NUV_Select_internalSetExcept,   NUV_Select_internalSetTempExcept,
};
inline constexpr void (*kInternalRemoveOperations[])(Select*, uint32_t, int32_t) = {
    NUV_Select_internalRemoveRead, NUV_Select_internalRemoveWrite, NUV_Select_internalRemoveExcept};

inline const char* room_text(Sets sets) {
  if (sets == &Select::m_oRead) {
    return "1 == NUV_SelectSet_available( &a_this->m_oRead[a_event_type])";
  }
  return sets == &Select::m_oWrite ? "1 == NUV_SelectSet_available( &a_this->m_oWrite[a_event_type])"
                                   : "1 == NUV_SelectSet_available( &a_this->m_oExcept[a_event_type])";
}

// The receivers of all six sets.
inline uint32_t total(const Select& reactor) {
  uint32_t count = 0;
  for (const Sets sets : {&Select::m_oRead, &Select::m_oWrite, &Select::m_oExcept}) {
    count += (reactor.*sets)[0].m_uCount + (reactor.*sets)[1].m_uCount;
  }
  return count;
}

}  // namespace select_operations

#endif
