/** @file
 * userlib: the bandwidth of a packetised media stream.
 *
 * A voice or video stream costs more on the line than its codec produces: every packet has headers, and on a DSL line
 * it travels in ATM cells of 53 bytes that carry 48. A daemon asks here, before it accepts a call, what the call will
 * need. A codec that makes 8 bits 8000 times a second, 20 ms of them in a packet (160 samples) with 40 bytes of
 * headers:
 *
 *     uint32_t plain = NUV_Bandwidth_compute(40, 0, 8.0F, 20, 1.0F, 160);       // 10000 bytes a second
 *     uint32_t in_cells = NUV_Bandwidth_compute(40, 1, 8.0F, 20, 1.0F, 160);    // 13250
 *
 * The family checks no contracts. Its function may be called from callbacks.
 */
#ifndef NUV_BANDWIDTH_H
#define NUV_BANDWIDTH_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * NUV_Bandwidth_compute returns the bandwidth in bytes per second. A packet holds a_factor2 * a_count * a_factor1 bits
 * of payload, multiplied in this order and cut to whole bits and then to whole bytes, and a_overhead bytes of headers.
 * It is sent every a_ptime milliseconds, 1000 / a_ptime times a second, cut to an integer as well: 30 ms count as 33
 * packets, more than 1000 ms as none. If a_atm is not 0 a packet takes as many whole cells of 53 bytes as its bytes
 * fill with 48 each, and always one more.
 *
 * The products are computed in single precision, alike on every machine. One that is negative or not a number counts as
 * 0, one of 2^32 or more as 2^32 - 1. a_ptime must not be 0: the division ends the process with SIGFPE.
 */
NUV_API uint32_t NUV_Bandwidth_compute(uint16_t a_overhead, uint8_t a_atm, float a_factor1, uint16_t a_ptime,
                                       float a_factor2, uint16_t a_count);

#ifdef __cplusplus
}
#endif

#endif
