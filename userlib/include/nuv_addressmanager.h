/** @file
 * userlib: address manager, the 256 addresses of the process.
 *
 * Hands out the addresses 0 to 255, always the lowest that is free. The one table of the process is ready from the
 * start; it has no lock and belongs to one thread. Where each part has numbers of its own, take an index pool
 * (nuv_indexpool.h).
 *
 *     if (NUV_AddressManager_available()) {
 *       uint32_t call = NUV_AddressManager_allocate();
 *       ...
 *       NUV_AddressManager_deallocate(call);
 *     }
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

/** The table, a byte an address: 1 while the address is held, 0 while it is free. Read it, but do not write. */
NUV_API extern uint8_t g_rgAddress[256];

/** NUV_AddressManager_available returns 1 if some address is free, else 0. */
NUV_API int32_t NUV_AddressManager_available(void);

/** NUV_AddressManager_busy returns 1 if a_addr, which must be below 256, is held, else 0. */
NUV_API int32_t NUV_AddressManager_busy(uint32_t a_addr);

/** NUV_AddressManager_allocate takes the lowest free address and returns it. Requires a free one. */
NUV_API uint32_t NUV_AddressManager_allocate(void);

/** NUV_AddressManager_deallocate gives a_addr back. Requires an address below 256 that is held. */
NUV_API void NUV_AddressManager_deallocate(uint32_t a_addr);

#ifdef __cplusplus
}
#endif

#endif
