/** @file
 * userlib: reactor, the main loop of a daemon.
 *
 * A daemon owns one Select, registers the descriptors and timers it cares about, and calls NUV_Select_process in a
 * loop; all its work happens in callbacks. A descriptor is internal (the plain operations) when it carries work that
 * the daemon gives itself, through a pipe for instance, and external (suffix External) when it brings work from
 * outside. Internal ones are polled and served first in every turn; the wait is for external ones and timers.
 *
 *     static int32_t tick(void* a_context, struct timeval* a_time, uint32_t a_number)
 *     {
 *       putchar('.');
 *       return NUV_Timer_again(a_time, second);   // 0 would remove the timer
 *     }
 *     ...
 *     NUV_Select_construct(&loop);
 *     NUV_Select_setReadExternal(&loop, 0, &loop, 0, echo);
 *     NUV_Timer_set(&loop, second, NULL, 0, tick);
 *     for (;;) NUV_Select_process(&loop, NULL);
 *
 * | what | limit or meaning |
 * |---|---|
 * | descriptors | 0 to 1023; one outside can be registered, but never fires |
 * | receivers for each kind of event and event type | 1024; a full set refuses replacements and removals, too |
 * | timers | 80; a full set refuses updates and removals, too: keep one free |
 * | callbacks of timers in one turn | 1024; what else is due waits for the next turn, after the descriptors |
 * | what a descriptor's callback returns | ignored |
 * | what a timer's callback returns | 0 removes the timer, anything else keeps it, see nuv_timeoutset.h |
 *
 * Rules:
 *
 *  - Callbacks may register and remove receivers and timers of any kind, their own too, but not call
 *    NUV_Select_process. What they remove does not fire any more.
 *  - A descriptor's callback must not remove the receiver of another descriptor: if that is ready in the same cycle,
 *    the turn may never end. Remove it from a timer, or from an internal event of your own.
 *  - A pipe that a signal handler or another thread writes into must be external: data that arrives on an internal
 *    descriptor after the poll waits until something else ends the wait.
 */
#ifndef NUV_SELECT_H
#define NUV_SELECT_H

#include <stdint.h>
#include <sys/time.h>

#include "nuv_api.h"
#include "nuv_selectset.h"
#include "nuv_timeoutset.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The event types. */
enum {
  NUV_SELECT_INTERNAL = 0, /**< polled first in every turn */
  NUV_SELECT_EXTERNAL = 1  /**< waited for, together with the timers */
};

/** A reactor. All fields are left to the operations. */
typedef struct Select {
  SelectSet m_oRead[2];       /**< read receivers by event type */
  SelectSet m_oWrite[2];      /**< write receivers by event type */
  SelectSet m_oExcept[2];     /**< exception receivers by event type */
  TimeoutSet m_oTimeout;      /**< the timers, at most 80 */
  struct timeval m_oLastTime; /**< monotonic time up to which the timers have been aged */
} Select;

/** NUV_Select_construct makes a reactor without receivers and timers, whose time starts now. Returns 1. */
NUV_API int32_t NUV_Select_construct(Select* a_this);

/** NUV_Select_destruct frees all receivers and timers. Descriptors stay open: they are the caller's. */
NUV_API void NUV_Select_destruct(Select* a_this);

/** NUV_Select_setRead calls a_recvfunc(a_arg1, a_fd, a_arg2) whenever the internal descriptor a_fd is readable, at the
 * end of its data, or closed by the peer; NUV_Select_setReadExternal does so for an external one. Each replaces what
 * it registered for a_fd before. The Temp variants register for one cycle of the event type: after it the receiver is
 * gone, fired or not. NUV_Select_internalSetTempRead takes the event type as an argument; one other than 0 or 1 does
 * nothing and returns null.
 *
 * They require a callback, and room for one more receiver even when they replace one. They return the receiver's
 * record, which is the set's and need not be kept, or null when malloc has no memory. */
NUV_API NUV_SelectRecv* NUV_Select_setRead(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                           NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_setReadExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                   NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_setTempRead(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                               NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_setTempReadExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                       NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_internalSetTempRead(Select* a_this, uint32_t a_event_type, int32_t a_fd,
                                                       void* a_arg1, uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc);

/** NUV_Select_removeRead removes the read receiver of the internal descriptor a_fd, NUV_Select_removeReadExternal that
 * of an external one, and NUV_Select_internalRemoveRead that of the given event type; in a callback, at the end of
 * the cycle. They require a set that is not full. A descriptor without a receiver is reported by
 * NUV_SelectSet_removeReceiver(). */
NUV_API void NUV_Select_removeRead(Select* a_this, int32_t a_fd);
NUV_API void NUV_Select_removeReadExternal(Select* a_this, int32_t a_fd);
NUV_API void NUV_Select_internalRemoveRead(Select* a_this, uint32_t a_event_type, int32_t a_fd);

/** NUV_Select_setWrite and its variants do for a writable a_fd what NUV_Select_setRead and its variants do for a
 * readable one. */
NUV_API NUV_SelectRecv* NUV_Select_setWrite(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                            NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_setWriteExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                    NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_internalSetWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                                    uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_setTempWrite(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_setTempWriteExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                        NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_internalSetTempWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd,
                                                        void* a_arg1, uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc);

/** NUV_Select_removeWrite and its variants do for write receivers what NUV_Select_removeRead and its variants do for
 * read ones. */
NUV_API void NUV_Select_removeWrite(Select* a_this, int32_t a_fd);
NUV_API void NUV_Select_removeWriteExternal(Select* a_this, int32_t a_fd);
NUV_API void NUV_Select_internalRemoveWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd);

/** NUV_Select_setExcept and its variants do for an a_fd in an exceptional state, such as out-of-band data, what
 * NUV_Select_setRead and its variants do for a readable one. */
NUV_API NUV_SelectRecv* NUV_Select_setExcept(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                             NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_setExceptExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                     NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_internalSetExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                                     uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_setTempExcept(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                 NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_setTempExceptExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                         NUV_SelectRecvFunc a_recvfunc);
NUV_API NUV_SelectRecv* NUV_Select_internalSetTempExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd,
                                                         void* a_arg1, uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc);

/** NUV_Select_removeExcept and its variants do for exception receivers what those of NUV_Select_removeRead do for read
 * ones. */
NUV_API void NUV_Select_removeExcept(Select* a_this, int32_t a_fd);
NUV_API void NUV_Select_removeExceptExternal(Select* a_this, int32_t a_fd);
NUV_API void NUV_Select_internalRemoveExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd);

/** NUV_Select_setTimeout adds a timer that is due a_time after the end of the reactor's last external cycle;
 * NUV_Timer_set() of nuv_timer.h counts from now. The timer calls a_recvfunc(a_arg1, pointer to its remaining time,
 * a_arg2) and stays until that returns 0. NUV_Select_setTempTimeout adds one that fires once and is gone, whatever
 * its callback returns.
 *
 * Both require a callback and fewer than 80 timers, and return the timer's id, 0 to 79. */
NUV_API uint32_t NUV_Select_setTimeout(Select* a_this, struct timeval a_time, void* a_arg1, uint32_t a_arg2,
                                       NUV_TimeoutRecvFunc a_recvfunc);
NUV_API uint32_t NUV_Select_setTempTimeout(Select* a_this, struct timeval a_time, void* a_arg1, uint32_t a_arg2,
                                           NUV_TimeoutRecvFunc a_recvfunc);

/** NUV_Select_removeTimeout removes the timer a_id; an id that no timer has is ignored. Requires fewer than 80
 * timers. */
NUV_API void NUV_Select_removeTimeout(Select* a_this, uint32_t a_id);

/** NUV_Select_updateTimeout sets the remaining time of the timer a_id; an id that no timer has is ignored. Requires
 * fewer than 80 timers. */
NUV_API void NUV_Select_updateTimeout(Select* a_this, uint32_t a_id, struct timeval a_time);

/** NUV_Select_process makes one turn: it serves the internal descriptors that are ready; if none is, it waits for
 * external descriptors and timers, at most *a_timeout (null: no bound), and serves those.
 *
 * Returns what the last select() returned: the number of ready descriptors, 0 when the wait ran out, or -1 when it
 * failed. A caught signal and an overdue timer do that, which is no error for a main loop, and so does a registered
 * descriptor that was closed. Timers are served in each of these cases. Returns 0 at once when nothing is registered
 * and a_timeout is null. While no timer is set, Linux writes the rest of the wait into *a_timeout: set it again
 * before every call. */
NUV_API int32_t NUV_Select_process(Select* a_this, struct timeval* a_timeout);

#ifdef __cplusplus
}
#endif

#endif
