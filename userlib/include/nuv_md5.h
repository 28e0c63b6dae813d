/** @file
 * userlib: the MD5 message digest of RFC 1321, and a random value made with it.
 *
 * A digest is computed in three calls, the middle one repeated for every piece of the message; where the message is cut
 * makes no difference:
 *
 *     NUV_MDContext context;
 *     uint8_t digest[16];
 *     NUV_MDInit(&context);
 *     NUV_MDUpdate(&context, header, sizeof header);
 *     NUV_MDUpdate(&context, body, body_length);
 *     NUV_MDFinal(digest, &context);
 *
 * MD5 finds accidental damage and is what some protocols ask for. It does not withstand an attacker, who can make two
 * messages with one digest.
 *
 * The family checks no contracts: pointers must not be null, but for the input of a piece of length 0. Nothing here is
 * allocated, and no message is copied but for the rest that does not fill a block of 64 bytes. All functions may be
 * called from callbacks.
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

/**
 * NUV_MDFinal ends the message, writes its digest to the 16 bytes at a_digest and sets all of a_context to zero, so
 * that no part of the message stays behind. The next digest begins with NUV_MDInit() again.
 */
NUV_API void NUV_MDFinal(uint8_t a_digest[16], NUV_MDContext* a_context);

/**
 * NUV_MD5_GetRandomValue returns 32 bits that differ from call to call, from process to process and from device to
 * device: three words of a digest over the time of day, the processor time used, the ids of process, user and group,
 * and what uname() tells. That is enough for a call reference or the start of a sequence, and not for a key or anything
 * that somebody gains by guessing.
 */
NUV_API uint32_t NUV_MD5_GetRandomValue(void);

#ifdef __cplusplus
}
#endif

#endif
