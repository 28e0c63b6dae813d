// How a timer gets into its set, for the reactor, which has checked the same contracts before.
#ifndef USERLIB_SOURCE_NUV_TIMEOUTSET_INTERNAL_H
#define USERLIB_SOURCE_NUV_TIMEOUTSET_INTERNAL_H

#include <stdint.h>

#include "nuv_indexpool_internal.h"
#include "nuv_timeoutset.h"

namespace userlib {

// Appends the timer, gives it an id and returns that. Without a free id the pool reports so, and what it answers then is
// no timer's id.
inline uint32_t add_timer(TimeoutSet& set, timeval time, void* arg1, uint32_t arg2, uint8_t temp,
                          NUV_TimeoutRecvFunc function) {
  uint32_t id = try_occupy(set.m_oIdPool);
  if (id >= set.m_oIdPool.m_uSize) {
    id = NUV_IndexPool_occupy(&set.m_oIdPool);
  }
  // Every timer holds an id of the pool, so a full set has none left to give.
  if (id < NUV_TIMEOUTSET_SIZE) {
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
  }
  return id;
}

}  // namespace userlib

#endif
