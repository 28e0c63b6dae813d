/** @file
 * userlib: timers that count from now.
 *
 * A reactor counts the time of a timer from the end of its last external cycle (nuv_select.h): a daemon that sleeps
 * for ten seconds in a callback, and then sets a timer of five, sees it fire in the same turn. With these functions
 * the delay begins when they are called, before the loop as well as in any callback.
 *
 *     static int32_t tick(void* a_left, struct timeval* a_remaining, uint32_t a_number) {
 *       ...
 *       return NUV_Timer_again(a_remaining, period);
 *     }
 *     ...
 *     NUV_Timer_set(&loop, period, &left, 0, tick);
 *
 * They are compiled into the daemon and made of operations of the reactor, with their limits and contracts. Delays are
 * normalised: 0 to 999999 microseconds. A timer never fires early. It is late by what the callbacks in front of it
 * take, and by what the timer callbacks of a turn take, which ages no timer, nor one that is set or armed again in one
 * of them; by what the system adds to a long wait; and by nothing else, even if the process was stopped. While the
 * clock cannot be read, a delay counts from the end of the last external cycle.
 */
#ifndef NUV_TIMER_H
#define NUV_TIMER_H

#include <stddef.h>
#include <stdint.h>
#include <sys/time.h>

#include "nuv_api.h"
#include "nuv_select.h"
#include "nuv_time.h"
#include "nuv_timeoutset.h"

#ifdef __cplusplus
extern "C" {
#endif

/** NUV_Timer_willAge returns 1 in a cycle at whose end the timers, new ones too, age, else 0. Meant for
 * NUV_Timer_fromNow. */
NUV_INLINE int32_t NUV_Timer_willAge(const Select* a_this) {
  return a_this->m_oRead[NUV_SELECT_EXTERNAL].m_bProcessing != 0 ||
         a_this->m_oWrite[NUV_SELECT_EXTERNAL].m_bProcessing != 0 ||
         a_this->m_oExcept[NUV_SELECT_EXTERNAL].m_bProcessing != 0 || a_this->m_oTimeout.m_bProcessing != 0;
}

/** NUV_Timer_fromNow returns the remaining time that a timer of the reactor needs to be due a_delay from now. Where no
 * cycle is going to age the timers it does so itself and moves the mark to now, or the next wait would be too long. A
 * delay of more than a billion seconds, 31 years, is returned as it is. */
NUV_INLINE struct timeval NUV_Timer_fromNow(Select* a_this, struct timeval a_delay) {
  struct timeval now, elapsed;
  if (a_this == NULL || nuv_gettimeofday_absolute(&now) != 0 || NUV_timeval_cmp(&now, &a_this->m_oLastTime) <= 0) {
    return a_delay;
  }
  elapsed = now;
  NUV_timeval_dec(&elapsed, &a_this->m_oLastTime);
  if (NUV_Timer_willAge(a_this) == 0) {
    NUV_TimeoutSet_process(&a_this->m_oTimeout, 0, &elapsed);
    a_this->m_oLastTime = now;
  } else if (a_delay.tv_sec < 1000000000) {
    NUV_timeval_inc(&a_delay, &elapsed);
  }
  return a_delay;
}

/** NUV_Timer_set adds a timer that is due a_delay from now and stays until its callback returns 0. Returns its id;
 * else as NUV_Select_setTimeout(). */
NUV_INLINE uint32_t NUV_Timer_set(Select* a_this, struct timeval a_delay, void* a_arg1, uint32_t a_arg2,
                                  NUV_TimeoutRecvFunc a_recvfunc) {
  return NUV_Select_setTimeout(a_this, NUV_Timer_fromNow(a_this, a_delay), a_arg1, a_arg2, a_recvfunc);
}

/** NUV_Timer_setTemp adds a timer that fires once, a_delay from now, and is gone; its callback may set it again.
 * Returns its id; else as NUV_Select_setTempTimeout(). */
NUV_INLINE uint32_t NUV_Timer_setTemp(Select* a_this, struct timeval a_delay, void* a_arg1, uint32_t a_arg2,
                                      NUV_TimeoutRecvFunc a_recvfunc) {
  return NUV_Select_setTempTimeout(a_this, NUV_Timer_fromNow(a_this, a_delay), a_arg1, a_arg2, a_recvfunc);
}

/** NUV_Timer_isAged returns 1 if the timers are being served and the timer a_id has had its turn, so that a new
 * remaining time counts from the end of this turn; else 0. Meant for NUV_Timer_update. */
NUV_INLINE int32_t NUV_Timer_isAged(const TimeoutSet* a_this, uint32_t a_id) {
  uint32_t slot;
  int32_t is_aged = 0;
  for (slot = 0; slot < a_this->m_uCount && a_this->m_bProcessing != 0; ++slot) {
    if (a_this->m_rgRecv[slot].m_uId == a_id) {
      is_aged = 1;
    }
    if (a_this->m_rgRecv[slot].m_bDeleted == NUV_TIMEOUTSET_FIRING) {
      return is_aged;
    }
  }
  return 0;
}

/** NUV_Timer_update makes the timer a_id due a_delay from now, whatever was left of its time: a time-out that each new
 * event puts off. Else as NUV_Select_updateTimeout(). */
NUV_INLINE void NUV_Timer_update(Select* a_this, uint32_t a_id, struct timeval a_delay) {
  if (a_this != NULL && NUV_Timer_isAged(&a_this->m_oTimeout, a_id) == 0) {
    a_delay = NUV_Timer_fromNow(a_this, a_delay);
  }
  NUV_Select_updateTimeout(a_this, a_id, a_delay);
}

/** NUV_Timer_again arms a timer again from its own callback, which hands over the pointer that it was given: due
 * a_delay after this turn. Returns 1, for the callback to return. */
NUV_INLINE int32_t NUV_Timer_again(struct timeval* a_time, struct timeval a_delay) {
  *a_time = a_delay;
  return 1;
}

/** NUV_Timer_microseconds returns a time in microseconds, at most 30,000 years. */
NUV_INLINE int64_t NUV_Timer_microseconds(const struct timeval* a_time) {
  const int64_t most = INT64_C(1000000000000);
  const int64_t seconds = a_time->tv_sec;
  return (seconds > most ? most : seconds < -most ? -most : seconds) * 1000000 + a_time->tv_usec;
}

/** NUV_Timer_time returns microseconds as a time, which may be negative. */
NUV_INLINE struct timeval NUV_Timer_time(int64_t a_microseconds) {
  struct timeval time = {0, 0};
  const int64_t borrowed = a_microseconds % 1000000 < 0;
  time.tv_sec = NUV_CAST(time_t, a_microseconds / 1000000 - borrowed);
  time.tv_usec = NUV_CAST(suseconds_t, a_microseconds % 1000000 + borrowed * 1000000);
  return time;
}

/** NUV_Timer_againInPhase arms a periodic timer again without drift, from its own callback, which hands over the
 * pointer that it was given: due at whole periods after the first call, however long callbacks take. Periods that
 * have passed already are left out. Returns 1, for the callback to return; what the callback does after this call
 * makes the next one late.
 *
 * *a_due is the caller's, one for each timer: {0, 0} before the first call, then the monotonic time at which the
 * timer is due next. A period of zero or less is due in every turn. */
NUV_INLINE int32_t NUV_Timer_againInPhase(struct timeval* a_time, struct timeval* a_due, struct timeval a_period) {
  const int64_t period = NUV_Timer_microseconds(&a_period);
  struct timeval clock = {0, 0};
  int64_t now, due;
  if (period <= 0 || nuv_gettimeofday_absolute(&clock) != 0) {
    return NUV_Timer_again(a_time, a_period);
  }
  now = NUV_Timer_microseconds(&clock);
  due =
      a_due->tv_sec != 0 || a_due->tv_usec != 0 ? NUV_Timer_microseconds(a_due) : now + NUV_Timer_microseconds(a_time);
  if (due <= now) {
    due += ((now - due) / period + 1) * period;
  }
  *a_due = NUV_Timer_time(due);
  return NUV_Timer_again(a_time, NUV_Timer_time(due - now));
}

#ifdef __cplusplus
}
#endif

#endif
