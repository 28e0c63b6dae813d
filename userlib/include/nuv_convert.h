/** @file
 * userlib: conversion of texts to values.
 *
 * For what init files, operators and peers write. Numbers are decimal, blanks (0x20 only) are skipped in front of a
 * value, nothing may follow it. A conversion returns 1 when it has written the value, 0 when it rejects the text and
 * leaves the destination alone.
 *
 *     if (NUV_Convert_split(field, 3, line, ';') == 3 && NUV_Convert_uint16(&id, field[0]) &&
 *         NUV_Convert_string(name, field[1]) && NUV_Convert_uint32(&mask, field[2])) {
 *
 * All may be called from callbacks.
 */
#ifndef NUV_CONVERT_H
#define NUV_CONVERT_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** NUV_Convert_string copies what stands between the leading double quote and the next one, and terminates it. A
 * buffer as long as a_src is large enough. Without the second quote it returns 0, but has written by then. */
NUV_API int32_t NUV_Convert_string(char* a_dest, const char* a_src);

/** NUV_Convert_uint16 and NUV_Convert_uint32 convert one or more digits, modulo 2^32. For the former, the result must
 * then be below 65536. */
NUV_API int32_t NUV_Convert_uint16(uint16_t* a_dest, const char* a_src);
NUV_API int32_t NUV_Convert_uint32(uint32_t* a_dest, const char* a_src);

/** NUV_Convert_int16 and NUV_Convert_int32 convert digits behind an optional sign; a sign alone is 0. The value wraps
 * as 32 bits; that of the former must then be below 32768 or, with a "-", at least -32768. */
NUV_API int32_t NUV_Convert_int16(int16_t* a_dest, const char* a_src);
NUV_API int32_t NUV_Convert_int32(int32_t* a_dest, const char* a_src);

/** NUV_Convert_bool converts a number that is 0 or 1, read as sscanf() reads "%u": anything may stand behind it. */
NUV_API int32_t NUV_Convert_bool(uint8_t* a_dest, const char* a_src);

/** NUV_Convert_split cuts a_src at a_separator, stores pointers to the fields, empty ones too, in a_dest, and returns
 * their number. The fields stay in a_src. The last of a_maxdest holds the rest of the text. With a_maxdest 0, a_dest
 * is null and the result 0. */
NUV_API uint32_t NUV_Convert_split(char** a_dest, uint32_t a_maxdest, char* a_src, char a_separator);

#ifdef __cplusplus
}
#endif

#endif
