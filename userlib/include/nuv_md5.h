/** @file
 * userlib: the MD5 message digest of RFC 1321, and a random value made with it.
 *
 * MD5 finds accidental damage and is what some protocols ask for. It does not withstand an attacker.
 *
 *     NUV_MDInit(&context);
 *     NUV_MDUpdate(&context, header, sizeof header);
 *     NUV_MDUpdate(&context, body, body_length);
 *     NUV_MDFinal(digest, &context);
 *
 * Where the message is cut makes no difference. The family allocates nothing and checks no contracts: pointers must
 * not be null, but for the input of a piece of length 0. All functions may be called from callbacks.
 */
#ifndef NUV_MD5_H
#define NUV_MD5_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A digest on its way. All fields belong to the functions; a copy of the record is a second digest on its way. */
typedef struct NUV_MDContext {
  uint32_t state[4];  /**< the words A, B, C and D after the blocks so far */
  uint32_t count[2];  /**< bits of message so far, modulo 2^64; the low word first */
  uint8_t buffer[64]; /**< in front, the bytes that do not fill a block yet: count / 8 % 64 of them */
} NUV_MDContext;

/** NUV_MDInit begins a digest. Whatever a_context held is forgotten. */
NUV_API void NUV_MDInit(NUV_MDContext* a_context);

/** NUV_MDUpdate adds a_length bytes, which may begin at any address, to the message. */
NUV_API void NUV_MDUpdate(NUV_MDContext* a_context, const void* a_input, uint32_t a_length);

/** NUV_MDFinal writes the digest of the message to the 16 bytes at a_digest and sets all of a_context to zero. */
NUV_API void NUV_MDFinal(uint8_t a_digest[16], NUV_MDContext* a_context);

/** NUV_MD5_GetRandomValue returns 32 bits that differ from call to call, process to process and device to device:
 * enough for a call reference or the start of a sequence, but not for a key or anything that must not be
 * guessed. */
NUV_API uint32_t NUV_MD5_GetRandomValue(void);

#ifdef __cplusplus
}
#endif

#endif
