/** @file
 * userlib: bandwidth of a packetised media stream.
 *
 * A stream costs more on the line than its codec produces: each packet has headers, and on a DSL line it travels in
 * ATM cells of 53 bytes that carry 48. A codec of 8 bits 8000 times a second, in packets of 20 ms (160 samples) with
 * 40 bytes of headers:
 *
 *     uint32_t in_cells = NUV_Bandwidth_compute(40, 1, 8.0F, 20, 1.0F, 160);    // 13250
 */
#ifndef NUV_BANDWIDTH_H
#define NUV_BANDWIDTH_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** NUV_Bandwidth_compute returns bytes per second: packets of a_overhead bytes of headers and a_factor2 * a_count *
 * a_factor1 bits of payload, one every a_ptime milliseconds; in ATM cells if a_atm is not 0. a_ptime must not be 0:
 * the division ends the process with SIGFPE. Checks no contracts; may be called from callbacks. How it rounds is on
 * the family's page. */
NUV_API uint32_t NUV_Bandwidth_compute(uint16_t a_overhead, uint8_t a_atm, float a_factor1, uint16_t a_ptime,
                                       float a_factor2, uint16_t a_count);

#ifdef __cplusplus
}
#endif

#endif
