/** @file
 * userlib: the reactor, main loop of a daemon.
 *
 * A daemon owns one Select, registers the descriptors and timers that it cares about, and calls NUV_Select_process for
 * ever; all its work happens in the callbacks. Descriptors come in two priority classes, the event types:
 *
 *  - internal ones (the plain operations) carry work that the daemon has given itself, through pipes for instance.
 *    Every turn of the loop polls them first, without waiting, and serves nothing else while any is ready.
 *  - external ones (the operations with the suffix External) bring work from outside. They share a cycle with the
 *    timers and the caller's bound on the wait. While internal receivers exist, an external cycle has a budget of one
 *    callback, so that the internal ones are looked at again soon.
 *
 * A daemon that prints what it reads from standard input, and a dot every second:
 *
 *     static int32_t echo(void* a_context, int32_t a_fd, uint32_t a_number)
 *     {
 *       char text[64];
 *       ssize_t length = read(a_fd, text, sizeof text);
 *       if (length <= 0) NUV_Select_removeReadExternal((Select*)a_context, a_fd);
 *       else fwrite(text, 1, (size_t)length, stdout);
 *       return 0;
 *     }
 *     static const struct timeval second = { 1, 0 };
 *     static int32_t tick(void* a_context, struct timeval* a_time, uint32_t a_number)
 *     {
 *       putchar('.');
 *       return NUV_Timer_again(a_time, second);   // 0 would remove the timer
 *     }
 *     int main(void)
 *     {
 *       static Select loop;
 *       NUV_Select_construct(&loop);
 *       NUV_Select_setReadExternal(&loop, 0, &loop, 0, echo);
 *       NUV_Timer_set(&loop, second, NULL, 0, tick);
 *       for (;;) NUV_Select_process(&loop, NULL);
 *     }
 *
 * What callbacks should know:
 *
 *  - They may register and remove receivers and timers of any kind, their own too. What is removed does not fire any
 *    more and is purged at the end of the cycle; NUV_Select_process itself must not be called from a callback.
 *  - A cycle counts the callbacks it owes by the number of ready descriptors that select() gave, and passes over its
 *    sets until it has made that many. A callback that removes the receiver of another descriptor which is ready in the
 *    same cycle takes a callback away that is still owed: the passes repeat and call the others again, and when there
 *    is no other left they repeat for ever. So remove other receivers from a timer, or from an internal event of your
 *    own.
 *  - The wait is for external descriptors and timers. What comes in on an internal one between the look at them and the
 *    wait lies there until something else ends the wait. So internal descriptors are for what callbacks write; a pipe
 *    that a signal handler or another thread writes into must be an external one.
 *  - Timers that should run again write a new time through their pointer, both fields. A timer that a callback adds is
 *    aged by the whole time that this cycle took. nuv_timer.h has functions that make up for that.
 *  - A turn makes at most 1024 timer callbacks. What is due then ages and waits for the next turn, after the descriptors
 *    have had theirs.
 *  - While timers are set, a turn takes a microsecond at least: when the clock has not moved since the last external
 *    cycle, it is read again until it has. A clock that stands still for 10,000 readings, or has gone back, counts as
 *    wrapped, and every timer falls due.
 *
 * Who traces the system calls of a busy daemon sees select() with a wait of zero, and, when that finds nothing, the same
 * select() again with the wait proper. A select() that may sleep queues up at every descriptor, which costs more than a
 * look at all of them; so after a row of turns with events the reactor looks first. After looks in vain it does so less
 * and less often: a daemon that mostly sleeps looks once in a thousand events. What a turn serves and returns is the same.
 *
 * Contracts are reported under "nuv_select"; every operation first requires "((void *)0) != a_this", and the sets
 * inside make their own checks after it. Operations on a full set are refused for removals, replacements and updates
 * too. The exported internal... operations take the event type as an argument; one other than 0 or 1 names no set, so
 * that nothing is done and the result is null. A reactor belongs to one thread.
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

/**
 * NUV_Select_setRead calls a_recvfunc(a_arg1, a_fd, a_arg2) whenever a_fd is readable, at the end of its data or closed
 * by the peer. It replaces what the same operation registered for a_fd before. Requires a callback, and room for one
 * more receiver even if it replaces one: "1 == NUV_SelectSet_available( &a_this->m_oRead[a_event_type])". Returns the
 * receiver's record, which need not be kept; null without memory for it. May be called from callbacks.
 */
NUV_API NUV_SelectRecv* NUV_Select_setRead(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                           NUV_SelectRecvFunc a_recvfunc);
/** NUV_Select_setReadExternal does the same for an external descriptor. */
NUV_API NUV_SelectRecv* NUV_Select_setReadExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                   NUV_SelectRecvFunc a_recvfunc);

/**
 * NUV_Select_setTempRead registers a receiver as NUV_Select_setRead does, but only for the next cycle that waits for
 * internal descriptors: after it the receiver is gone, fired or not.
 */
NUV_API NUV_SelectRecv* NUV_Select_setTempRead(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                               NUV_SelectRecvFunc a_recvfunc);
/** NUV_Select_setTempReadExternal does the same for an external descriptor and the next external cycle. */
NUV_API NUV_SelectRecv* NUV_Select_setTempReadExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                       NUV_SelectRecvFunc a_recvfunc);
/** NUV_Select_internalSetTempRead does the same for a descriptor of the given event type. */
NUV_API NUV_SelectRecv* NUV_Select_internalSetTempRead(Select* a_this, uint32_t a_event_type, int32_t a_fd,
                                                       void* a_arg1, uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc);

/**
 * NUV_Select_removeRead removes the read receiver of the internal descriptor a_fd, at the end of the cycle when called
 * from a callback. Requires that the set is not full. A descriptor without a receiver fails the check of
 * NUV_SelectSet_removeReceiver().
 */
NUV_API void NUV_Select_removeRead(Select* a_this, int32_t a_fd);
/** NUV_Select_removeReadExternal does the same for an external descriptor. */
NUV_API void NUV_Select_removeReadExternal(Select* a_this, int32_t a_fd);
/** NUV_Select_internalRemoveRead does the same for a descriptor of the given event type. */
NUV_API void NUV_Select_internalRemoveRead(Select* a_this, uint32_t a_event_type, int32_t a_fd);

/**
 * NUV_Select_setWrite calls a_recvfunc(a_arg1, a_fd, a_arg2) whenever a_fd is writable. It replaces what the same
 * operation registered for a_fd before. Requires a callback, and room for one more receiver even if it replaces one:
 * "1 == NUV_SelectSet_available( &a_this->m_oWrite[a_event_type])". Returns the receiver's record, which need not be
 * kept; null without memory for it. May be called from callbacks.
 */
NUV_API NUV_SelectRecv* NUV_Select_setWrite(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                            NUV_SelectRecvFunc a_recvfunc);
/** NUV_Select_setWriteExternal does the same for an external descriptor. */
NUV_API NUV_SelectRecv* NUV_Select_setWriteExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                    NUV_SelectRecvFunc a_recvfunc);
/** NUV_Select_internalSetWrite does the same for a descriptor of the given event type. */
NUV_API NUV_SelectRecv* NUV_Select_internalSetWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                                    uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc);

/**
 * NUV_Select_setTempWrite registers a receiver as NUV_Select_setWrite does, but only for the next cycle that waits for
 * internal descriptors: after it the receiver is gone, fired or not.
 */
NUV_API NUV_SelectRecv* NUV_Select_setTempWrite(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                NUV_SelectRecvFunc a_recvfunc);
/** NUV_Select_setTempWriteExternal does the same for an external descriptor and the next external cycle. */
NUV_API NUV_SelectRecv* NUV_Select_setTempWriteExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                        NUV_SelectRecvFunc a_recvfunc);
/** NUV_Select_internalSetTempWrite does the same for a descriptor of the given event type. */
NUV_API NUV_SelectRecv* NUV_Select_internalSetTempWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd,
                                                        void* a_arg1, uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc);

/**
 * NUV_Select_removeWrite removes the write receiver of the internal descriptor a_fd, at the end of the cycle when
 * called from a callback. Requires that the set is not full. A descriptor without a receiver fails the check of
 * NUV_SelectSet_removeReceiver().
 */
NUV_API void NUV_Select_removeWrite(Select* a_this, int32_t a_fd);
/** NUV_Select_removeWriteExternal does the same for an external descriptor. */
NUV_API void NUV_Select_removeWriteExternal(Select* a_this, int32_t a_fd);
/** NUV_Select_internalRemoveWrite does the same for a descriptor of the given event type. */
NUV_API void NUV_Select_internalRemoveWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd);

/**
 * NUV_Select_setExcept calls a_recvfunc(a_arg1, a_fd, a_arg2) whenever a_fd is in an exceptional state, such as
 * out-of-band data. It replaces what the same operation registered for a_fd before. Requires a callback, and room for
 * one more receiver even if it replaces one: "1 == NUV_SelectSet_available( &a_this->m_oExcept[a_event_type])". Returns
 * the receiver's record, which need not be kept; null without memory for it. May be called from callbacks.
 */
NUV_API NUV_SelectRecv* NUV_Select_setExcept(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                             NUV_SelectRecvFunc a_recvfunc);
/** NUV_Select_setExceptExternal does the same for an external descriptor. */
NUV_API NUV_SelectRecv* NUV_Select_setExceptExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                     NUV_SelectRecvFunc a_recvfunc);
/** NUV_Select_internalSetExcept does the same for a descriptor of the given event type. */
NUV_API NUV_SelectRecv* NUV_Select_internalSetExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                                     uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc);

/**
 * NUV_Select_setTempExcept registers a receiver as NUV_Select_setExcept does, but only for the next cycle that waits
 * for internal descriptors: after it the receiver is gone, fired or not.
 */
NUV_API NUV_SelectRecv* NUV_Select_setTempExcept(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                 NUV_SelectRecvFunc a_recvfunc);
/** NUV_Select_setTempExceptExternal does the same for an external descriptor and the next external cycle. */
NUV_API NUV_SelectRecv* NUV_Select_setTempExceptExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                         NUV_SelectRecvFunc a_recvfunc);
/** NUV_Select_internalSetTempExcept does the same for a descriptor of the given event type. */
NUV_API NUV_SelectRecv* NUV_Select_internalSetTempExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd,
                                                         void* a_arg1, uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc);

/**
 * NUV_Select_removeExcept removes the exception receiver of the internal descriptor a_fd, at the end of the cycle when
 * called from a callback. Requires that the set is not full. A descriptor without a receiver fails the check of
 * NUV_SelectSet_removeReceiver().
 */
NUV_API void NUV_Select_removeExcept(Select* a_this, int32_t a_fd);
/** NUV_Select_removeExceptExternal does the same for an external descriptor. */
NUV_API void NUV_Select_removeExceptExternal(Select* a_this, int32_t a_fd);
/** NUV_Select_internalRemoveExcept does the same for a descriptor of the given event type. */
NUV_API void NUV_Select_internalRemoveExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd);

/**
 * NUV_Select_setTimeout adds a timer that is due a_time after the reactor's last time mark, which is the end of its
 * last external cycle. For a daemon between two turns that is practically now; between the mark and a callback lies at
 * least the wait of the running turn: NUV_Timer_set() counts from now. The timer calls a_recvfunc(a_arg1, pointer to the remaining time, a_arg2), and
 * stays until that returns 0. Returns the timer's id. Requires room ("1 == NUV_TimeoutSet_available(
 * &a_this->m_oTimeout)", 80 timers at most) and a callback. May be called from callbacks. See nuv_timeoutset.h for what
 * the callback may do.
 */
NUV_API uint32_t NUV_Select_setTimeout(Select* a_this, struct timeval a_time, void* a_arg1, uint32_t a_arg2,
                                       NUV_TimeoutRecvFunc a_recvfunc);

/** NUV_Select_setTempTimeout adds a timer that fires once and is gone, whatever its callback returns. */
NUV_API uint32_t NUV_Select_setTempTimeout(Select* a_this, struct timeval a_time, void* a_arg1, uint32_t a_arg2,
                                           NUV_TimeoutRecvFunc a_recvfunc);

/**
 * NUV_Select_removeTimeout removes the timer a_id; an id that no timer has is ignored. Requires, as the update does,
 * that fewer than 80 timers are set: keep one free if you remove timers.
 */
NUV_API void NUV_Select_removeTimeout(Select* a_this, uint32_t a_id);

/** NUV_Select_updateTimeout sets the remaining time of the timer a_id; an id that no timer has is ignored. */
NUV_API void NUV_Select_updateTimeout(Select* a_this, uint32_t a_id, struct timeval a_time);

/**
 * NUV_Select_process makes one turn of the loop: it serves the internal descriptors that are ready; if none is, it
 * waits for external descriptors and timers, no longer than *a_timeout (null: no bound), and serves those.
 *
 * Returns what the last select() returned: the number of ready descriptors, 0 when the wait ran out, or -1 when it
 * failed, which a signal that was caught makes it do, and an overdue timer too (its wait is negative). Timers are
 * served in every one of these cases. Neither is an error for a main loop. Returns 0 at once, without a select(), when
 * nothing at all is registered and a_timeout is null.
 *
 * While no timer is set, select() gets a_timeout itself, and Linux writes the rest of the wait into it: set it anew for
 * every call.
 */
NUV_API int32_t NUV_Select_process(Select* a_this, struct timeval* a_timeout);

#ifdef __cplusplus
}
#endif

#endif
