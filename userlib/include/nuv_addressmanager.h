/** @file
 * userlib: address manager, the 256 addresses of the process.
 *
 * Hands out the addresses 0 to 255, always the lowest that is free, and none twice until it was given back. There is
 * just one table for the whole process, ready from the start, and so no object to construct:
 *
 *     if (NUV_AddressManager_available()) {
 *       uint32_t call = NUV_AddressManager_allocate();
 *       ...
 *       NUV_AddressManager_deallocate(call);
 *     }
 *
 * Contracts are reported under "nuv_addressmanager". After an error handler has returned, nothing outside of the table
 * is read or written. The table has no lock: it belongs to one thread.
 */
#ifndef NUV_ADDRESSMANAGER_H
#define NUV_ADDRESSMANAGER_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What NUV_AddressManager_allocate returns when there is no address left: all ones. */
#define NUV_ADDRESS_NONE UINT32_C(0xFFFFFFFF)

/** The table, a byte an address: 1 while the address is held, 0 while it is free. Reading is fine, writing is not. */
NUV_API extern uint8_t g_rgAddress[256];

/** NUV_AddressManager_available returns 1 if some address is free, else 0. */
NUV_API int32_t NUV_AddressManager_available(void);

/**
 * NUV_AddressManager_busy returns 1 if a_addr is held, else 0. Requires "256 > a_addr"; other addresses read as free.
 */
NUV_API int32_t NUV_AddressManager_busy(uint32_t a_addr);

/**
 * NUV_AddressManager_allocate takes the lowest free address and returns it. Requires "1 ==
 * NUV_AddressManager_available()" twice, once for the call and once for the search in it; on a full table both are
 * reported, then the ensure "0" of the search that found nothing, then "256 > a_addr" and "1 ==
 * NUV_AddressManager_busy( addr)" for the result, which is NUV_ADDRESS_NONE.
 */
NUV_API uint32_t NUV_AddressManager_allocate(void);

/**
 * NUV_AddressManager_deallocate gives a_addr back. Requires "256 > a_addr" and "1 == NUV_AddressManager_busy( a_addr)".
 */
NUV_API void NUV_AddressManager_deallocate(uint32_t a_addr);

#ifdef __cplusplus
}
#endif

#endif
