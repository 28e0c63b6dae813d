/** @file
 * userlib: select set, the descriptors of one kind that a reactor watches.
 *
 * A set holds the receivers of one kind of event (readable, writable or exceptional) in a list, the newest first.
 * Around each select() its owner lets it add its descriptors to an fd_set, call the receivers of those that came back
 * ready, and purge what was removed meanwhile. A reactor does so with six sets (nuv_select.h); use one directly only
 * in a loop of your own.
 *
 *     NUV_SelectSet_setFdSet(&set, &ready);
 *     select(FD_SETSIZE, &ready, NULL, NULL, NULL);
 *     NUV_SelectSet_process(&set, 1, &ready);
 *     NUV_SelectSet_internalRemoveDeleted(&set, &ready);
 *
 * Limits: 1024 receivers, one for each descriptor; a descriptor outside 0 to 1023 sets no bit and never fires.
 * Callbacks may add and remove receivers of every set, their own too; they must return, not throw or jump, and must
 * not destruct the set.
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

/** What a ready descriptor calls: with the first argument, the descriptor and the second argument that were registered
 * for it. The result is ignored. */
typedef int32_t (*NUV_SelectRecvFunc)(void* a_pArg1, int32_t a_iFd, uint32_t a_uArg2);

/** One receiver, from malloc. All fields belong to the set. */
typedef struct NUV_SelectRecv {
  int32_t m_iFd;                  /**< descriptor, the key; it stays the caller's, who closes it */
  void* m_pArg1;                  /**< first callback argument, the caller's */
  uint32_t m_uArg2;               /**< third callback argument, the caller's */
  uint8_t m_bTemp;                /**< 1: goes with the next purge, fired or not */
  uint8_t m_bDeleted;             /**< 1: removed while the set was dispatching; 2: purged then */
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

/** NUV_SelectSet_setReceiver registers a_recvfunc for a_fd, or replaces what was registered for it; a receiver that
 * was removed during the running dispatch comes back. a_temp 1 makes it live for one cycle only. Requires a callback,
 * and room for one more even when it replaces one. Returns the receiver's record, which is the set's, or null when
 * malloc has no memory for a new one. */
NUV_API NUV_SelectRecv* NUV_SelectSet_setReceiver(SelectSet* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                  uint8_t a_temp, NUV_SelectRecvFunc a_recvfunc);

/** NUV_SelectSet_removeReceiver removes the receiver of a_fd. In a callback of this set it only marks it: it fires no
 * more and goes with the next purge. Requires that a_fd has a receiver, and a set that is not full afterwards. */
NUV_API void NUV_SelectSet_removeReceiver(SelectSet* a_this, int32_t a_fd);

/** NUV_SelectSet_setFdSet adds the descriptors of all receivers, marked ones too, to *a_fdset; it clears none. */
NUV_API void NUV_SelectSet_setFdSet(const SelectSet* a_this, fd_set* a_fdset);

/** NUV_SelectSet_process calls the receivers whose descriptors are in *a_fdset, the newest first, and returns their
 * number. A budget of 0 calls none, any other all: the caller counts. Receivers that a callback adds wait for the
 * next dispatch. */
NUV_API uint32_t NUV_SelectSet_process(SelectSet* a_this, uint32_t a_budget, const fd_set* a_fdset);

/** NUV_SelectSet_internalRemoveDeleted frees the receivers that were removed during a dispatch and those that live for
 * one cycle. Requires a_fdset, but does not read it. In a callback of this set they leave the set at once, too, but
 * their records stay in the list until the next purge outside of callbacks. */
NUV_API void NUV_SelectSet_internalRemoveDeleted(SelectSet* a_this, const fd_set* a_fdset);

#ifdef __cplusplus
}
#endif

#endif
