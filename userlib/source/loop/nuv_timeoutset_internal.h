// How a timer gets into its set where there is nothing to report, for the set and for the reactor.
#ifndef USERLIB_SOURCE_NUV_TIMEOUTSET_INTERNAL_H
#define USERLIB_SOURCE_NUV_TIMEOUTSET_INTERNAL_H

#include <stdint.h>

#include "containers/nuv_indexpool_internal.h"
#include "nuv_timeoutset.h"

namespace userlib {

// Appends a timer and returns its id. A result of NUV_TIMEOUTSET_SIZE or more means that the set is full, or its pool
// without memory: then nothing has changed.
inline uint32_t try_add_timer(TimeoutSet& set, timeval time, void* arg1, uint32_t arg2, uint8_t temp,
                              NUV_TimeoutRecvFunc function) {
  if (set.m_uCount >= NUV_TIMEOUTSET_SIZE) {
    return NUV_TIMEOUTSET_SIZE;
  }
  const uint32_t id = try_occupy(set.m_oIdPool);
  if (id >= NUV_TIMEOUTSET_SIZE) {
    return id;
  }
  NUV_TimeoutRecv& timer = set.m_rgRecv[set.m_uCount];
  // Field by field: the time comes in two registers, and as one piece it would take the way through memory.
  timer.m_oTime.tv_sec = time.tv_sec;
  timer.m_oTime.tv_usec = time.tv_usec;
  timer.m_pArg1 = arg1;
  timer.m_uArg2 = arg2;
  timer.m_bTemp = temp;
  timer.m_pRecvFunc = function;
  timer.m_uId = id;
  timer.m_bDeleted = 0;
  ++set.m_uCount;
  return id;
}

}  // namespace userlib

#endif
