/** @file
 * userlib: select set, the descriptors of one kind that a reactor watches.
 *
 * A set holds the receivers of one kind of event (readable, writable or exceptional) in a linked list, the newest
 * first. Around each select() its owner lets it add its descriptors to an fd_set, dispatch those that came back ready,
 * and purge what was removed meanwhile; a reactor (nuv_select.h) does this with six sets:
 *
 *     fd_set ready;
 *     FD_ZERO(&ready);
 *     NUV_SelectSet_setFdSet(&set, &ready);
 *     select(FD_SETSIZE, &ready, NULL, NULL, NULL);
 *     NUV_SelectSet_process(&set, 1, &ready);
 *     NUV_SelectSet_internalRemoveDeleted(&set, &ready);
 *
 * A descriptor is the key of its receiver. Those outside 0 to 1023 do not fit into an fd_set: a receiver for one may be
 * registered, but sets no bit and never fires.
 *
 * Contracts are reported under "nuv_selectset"; every operation first requires "((void *)0) != a_this". The set belongs
 * to one thread. Callbacks run inside NUV_SelectSet_process and may add and remove receivers of every set, their own
 * too; they must return, not throw or jump, and must not destruct the set.
 */
#ifndef NUV_SELECTSET_H
#define NUV_SELECTSET_H

#include <stdint.h>
#include <sys/select.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The number of receivers that a set takes: as many as select() knows descriptors. */
#define NUV_SELECTSET_SIZE 1024

/**
 * What a ready descriptor calls: with the first argument, the descriptor and the second argument that were registered
 * with it. The result is ignored.
 */
typedef int32_t (*NUV_SelectRecvFunc)(void* a_pArg1, int32_t a_iFd, uint32_t a_uArg2);

/** One receiver, from malloc. All fields belong to the set. */
typedef struct NUV_SelectRecv {
  int32_t m_iFd;                  /**< descriptor, the key; it stays the caller's, who closes it */
  void* m_pArg1;                  /**< first callback argument, the caller's */
  uint32_t m_uArg2;               /**< third callback argument, the caller's */
  uint8_t m_bTemp;                /**< 1: goes with the next purge, fired or not */
  uint8_t m_bDeleted;             /**< 1: removed while the set was dispatching, waits for the purge */
  NUV_SelectRecvFunc m_pRecvFunc; /**< callback */
  struct NUV_SelectRecv* m_pNext; /**< next older receiver, null at the end */
} NUV_SelectRecv;

/** A set of receivers. Reading m_uCount is fine, writing is left to the operations. */
typedef struct SelectSet {
  NUV_SelectRecv* m_pFirst; /**< newest receiver, null in an empty set */
  uint32_t m_uCount;        /**< receivers in the list, removed ones that wait for the purge included */
  uint8_t m_bProcessing;    /**< 1 while NUV_SelectSet_process runs */
} SelectSet;

/** NUV_SelectSet_construct makes an empty set and returns 1. */
NUV_API int32_t NUV_SelectSet_construct(SelectSet* a_this);

/** NUV_SelectSet_destruct frees all receivers. The fields keep their values: construct before using the set again. */
NUV_API void NUV_SelectSet_destruct(SelectSet* a_this);

/** NUV_SelectSet_available returns 1 if the set holds fewer than 1024 receivers, else 0. */
NUV_API int32_t NUV_SelectSet_available(const SelectSet* a_this);

/**
 * NUV_SelectSet_setReceiver registers a_recvfunc for the descriptor a_fd, or replaces what was registered for it; a
 * receiver that was removed during the running dispatch comes back to life. a_temp 1 makes it live for one cycle only.
 * Requires a callback and "NUV_SelectSet_available( a_this) == 1", for a replacement too. Returns the receiver's
 * record, which need not be kept and is the set's; null, with nothing registered, when malloc has no memory for a new
 * one.
 */
NUV_API NUV_SelectRecv* NUV_SelectSet_setReceiver(SelectSet* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                  uint8_t a_temp, NUV_SelectRecvFunc a_recvfunc);

/**
 * NUV_SelectSet_removeReceiver removes the receiver of a_fd. From inside a callback of this set it is only marked: it
 * does not fire any more and goes with the next purge. Checks "((void *)0) != pTmpRecv", that the descriptor has a
 * receiver; when an error handler lets an unknown descriptor pass, outside of a dispatch, the process ends in the C
 * library's assertion, because the set can no longer be trusted. Requires room in the set ("1 ==
 * NUV_SelectSet_available( a_this)") after the removal. During a dispatch there is nothing to mark for an unknown
 * descriptor, so that both checks are all.
 */
NUV_API void NUV_SelectSet_removeReceiver(SelectSet* a_this, int32_t a_fd);

/**
 * NUV_SelectSet_setFdSet adds the descriptors of all receivers, marked ones too, to *a_fdset; it clears none. Requires
 * a_fdset; without it nothing is added.
 */
NUV_API void NUV_SelectSet_setFdSet(const SelectSet* a_this, fd_set* a_fdset);

/**
 * NUV_SelectSet_process calls the receivers whose descriptors are in *a_fdset, the newest first, and returns how many
 * it called. A budget of 0 calls none, any other all: the budget is counted by the caller. Receivers that a callback
 * adds are not called before the next dispatch, those that it removes not any more. Requires a_fdset; without it no
 * descriptor is ready. A receiver without a callback counts as called. From inside a callback of this set the outer
 * dispatch goes on afterwards, and until its end nothing is freed.
 */
NUV_API uint32_t NUV_SelectSet_process(SelectSet* a_this, uint32_t a_budget, const fd_set* a_fdset);

/**
 * NUV_SelectSet_internalRemoveDeleted frees the receivers that were removed during a dispatch and those that live for
 * one cycle. Requires a_fdset, but does not look into it. From inside a callback of this set it does nothing: the
 * records are still in use.
 */
NUV_API void NUV_SelectSet_internalRemoveDeleted(SelectSet* a_this, const fd_set* a_fdset);

#ifdef __cplusplus
}
#endif

#endif
