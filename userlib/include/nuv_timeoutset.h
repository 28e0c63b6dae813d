/** @file
 * userlib: timeout set, the timers of one reactor.
 *
 * Up to 80 timers in an array, each with the time that remains until it is due. The owner asks how long it may sleep,
 * sleeps, and tells the set how much time has passed; timers that are due then call back. A reactor does all of this
 * by itself (nuv_select.h): use a set directly only in a loop of your own.
 *
 *     NUV_TimeoutSet_setTimeout(&timers, &wait);
 *     ... sleep no longer than wait, measure elapsed ...
 *     NUV_TimeoutSet_process(&timers, NUV_TIMEOUT_UNLIMITED, &elapsed);
 *     NUV_TimeoutSet_internalRemoveDeleted(&timers);
 *
 * | what | limit or meaning |
 * |---|---|
 * | timers | 80; a full set refuses removals, too |
 * | callbacks in one pass | 1024; what else is due ages, and fires in the next pass |
 * | result of a callback | 0 removes the timer, anything else keeps it |
 * | order | that of the slots, 0 to m_uCount - 1; a timer that goes leaves its slot to the last one |
 *
 * Callbacks may call every operation of their set but destruct and process; they must return, not throw or jump.
 */
#ifndef NUV_TIMEOUTSET_H
#define NUV_TIMEOUTSET_H

#include <stdint.h>
#include <sys/time.h>

#include "nuv_api.h"
#include "nuv_indexpool.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The number of timers that a set holds. */
#define NUV_TIMEOUTSET_SIZE 80

/** What m_bDeleted of a timer holds while its callback runs. */
#define NUV_TIMEOUTSET_FIRING 2

/** The budget that never runs out. */
#define NUV_TIMEOUT_UNLIMITED UINT32_C(0xFFFFFFFF)

/** What a due timer calls: with its first argument, a pointer to its remaining time, and its second argument. A new
 * time written through the pointer, both fields, arms the timer again. The result 0 removes the timer; one that is
 * kept without a new time is due again at once. The pointer is valid until the callback returns, or purges the set
 * itself. */
typedef int32_t (*NUV_TimeoutRecvFunc)(void* a_pArg1, struct timeval* a_pTime, uint32_t a_uArg2);

/** One timer. All fields belong to the set. */
typedef struct NUV_TimeoutRecv {
  struct timeval m_oTime;          /**< remaining time until the timer is due; zero or negative: due */
  void* m_pArg1;                   /**< first callback argument, the caller's */
  uint32_t m_uArg2;                /**< third callback argument, the caller's */
  uint8_t m_bTemp;                 /**< 1: one-shot, gone after it has fired once */
  NUV_TimeoutRecvFunc m_pRecvFunc; /**< callback */
  uint32_t m_uId;                  /**< 0 to 79, no two timers of the set alike */
  uint8_t m_bDeleted;              /**< 1: removed during a dispatch, waits for the purge; NUV_TIMEOUTSET_FIRING */
} NUV_TimeoutRecv;

/** A set of timers. Reading m_uCount is fine, writing is left to the operations. */
typedef struct TimeoutSet {
  NUV_TimeoutRecv m_rgRecv[80]; /**< the timers, dense in the slots 0 to m_uCount - 1 */
  IndexPool m_oIdPool;          /**< gives and takes back the ids */
  uint32_t m_uCount;            /**< timers in the set, removed ones that wait for the purge included */
  uint8_t m_bProcessing;        /**< 1 while NUV_TimeoutSet_process runs */
} TimeoutSet;

/** NUV_TimeoutSet_construct makes an empty set and returns 1. It takes the bits of the id pool from malloc; without
 * memory, which the pool reports, timers fire but share one id. */
NUV_API int32_t NUV_TimeoutSet_construct(TimeoutSet* a_this);

/** NUV_TimeoutSet_destruct releases the id pool. Timers still in the set never fire. */
NUV_API void NUV_TimeoutSet_destruct(TimeoutSet* a_this);

/** NUV_TimeoutSet_available returns 1 if the set holds fewer than 80 timers, else 0. */
NUV_API int32_t NUV_TimeoutSet_available(const TimeoutSet* a_this);

/** NUV_TimeoutSet_setReceiver adds a timer that is due after a_time and returns its id. a_temp 1 makes it one-shot.
 * Requires a callback. Ask for room before: in a full set the id pool reports, no timer is added, and the id belongs
 * to none. A timer that a callback adds ages, and may fire, in the same pass. */
NUV_API uint32_t NUV_TimeoutSet_setReceiver(TimeoutSet* a_this, struct timeval a_time, void* a_arg1, uint32_t a_arg2,
                                            uint8_t a_temp, NUV_TimeoutRecvFunc a_recvfunc);

/** NUV_TimeoutSet_updateReceiver gives the timer a_id the remaining time a_time. An unknown id is ignored. */
NUV_API void NUV_TimeoutSet_updateReceiver(TimeoutSet* a_this, uint32_t a_id, struct timeval a_time);

/** NUV_TimeoutSet_removeReceiver removes the timer a_id; an unknown id is ignored. In a callback it only marks the
 * timer, which then fires no more and goes with the next purge. Requires that the set is not full, although removing
 * makes room. */
NUV_API void NUV_TimeoutSet_removeReceiver(TimeoutSet* a_this, uint32_t a_id);

/** NUV_TimeoutSet_setTimeout lowers *a_currtimeout, which the caller sets to its own bound, to the smallest remaining
 * time in the set, marked timers included. Returns 1 if the set holds any timer, else 0. */
NUV_API int32_t NUV_TimeoutSet_setTimeout(const TimeoutSet* a_this, struct timeval* a_currtimeout);

/** NUV_TimeoutSet_process ages every timer by *a_currtimeout, the time since the previous call, and calls those that
 * have no time left, at most a_budget of them. Returns the number of callbacks. Not for callbacks: timers would age
 * twice. */
NUV_API uint32_t NUV_TimeoutSet_process(TimeoutSet* a_this, uint32_t a_budget, const struct timeval* a_currtimeout);

/** NUV_TimeoutSet_internalRemoveDeleted purges the timers that were removed in callbacks. In a callback, a timer that
 * moves to an earlier slot does not age in this pass. */
NUV_API void NUV_TimeoutSet_internalRemoveDeleted(TimeoutSet* a_this);

#ifdef __cplusplus
}
#endif

#endif
