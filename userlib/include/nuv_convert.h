/** @file
 * userlib: conversion of texts to values.
 *
 * What an init file, an operator or a peer has written is turned into a value here. The rules are few and strict:
 * numbers are decimal, blanks are skipped in front of a value only, and nothing may stand behind it. A blank is the
 * space character (0x20); a tab or any other white space is none. Each conversion returns 1 when it has written the
 * value, and 0 when it has rejected the text; the destination then still holds what it held before, unless a function
 * says otherwise. A line of three fields, split and converted:
 *
 *     char line[] = "7;\"Line\";113";
 *     char* field[3];
 *     uint16_t id;
 *     char name[sizeof line];
 *     uint32_t mask;
 *     if (NUV_Convert_split(field, 3, line, ';') == 3 && NUV_Convert_uint16(&id, field[0]) &&
 *         NUV_Convert_string(name, field[1]) && NUV_Convert_uint32(&mask, field[2])) {
 *       ...
 *     }
 *
 * Contracts are reported under "nuv_convert". Every function but NUV_Convert_split() requires "((void *)0) != a_dest",
 * then "((void *)0) != a_src". After an error handler has returned, a null text counts as an empty one, and a conversion
 * without a destination returns 0. All may be called from callbacks.
 */
#ifndef NUV_CONVERT_H
#define NUV_CONVERT_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * NUV_Convert_string copies the characters between the double quote that the text begins with and the next one to
 * a_dest, terminates them and returns 1. Nothing inside the quotes is special, and what stands behind the second one is
 * ignored. The size of a_dest is not known here: a buffer as long as a_src is always large enough. Without the first
 * quote it returns 0. When the second one is missing it returns 0 as well, but has copied the characters by then, and
 * has not terminated them.
 */
NUV_API int32_t NUV_Convert_string(char* a_dest, const char* a_src);

/**
 * NUV_Convert_uint16 converts one or more digits. The value is computed modulo 2^32 and must then be below 65536:
 * '65536' is rejected, but '4294967296' counts as 0.
 */
NUV_API int32_t NUV_Convert_uint16(uint16_t* a_dest, const char* a_src);

/** NUV_Convert_uint32 converts one or more digits, modulo 2^32: no number is too large. */
NUV_API int32_t NUV_Convert_uint32(uint32_t* a_dest, const char* a_src);

/**
 * NUV_Convert_int16 converts digits behind an optional "+" or "-"; a sign without digits counts as 0. The value is
 * computed as a signed 32-bit number that wraps. Without a "-" it must then be below 32768, with one not below -32768;
 * *a_dest gets its low 16 bits.
 */
NUV_API int32_t NUV_Convert_int16(int16_t* a_dest, const char* a_src);

/**
 * NUV_Convert_int32 converts digits behind an optional "+" or "-"; a sign without digits counts as 0. The value wraps
 * modulo 2^32: no number is too large, '2147483648' and '-2147483648' are the same.
 */
NUV_API int32_t NUV_Convert_int32(int32_t* a_dest, const char* a_src);

/**
 * NUV_Convert_bool converts a number that is 0 or 1 to a flag of this value. The number is read as sscanf() reads "%u",
 * more generously than the others: white space and a sign may stand before the digits, anything may stand behind them
 * ('1x' gives 1), and what a number past 32 bits gives is the C library's choice. Words are rejected.
 */
NUV_API int32_t NUV_Convert_bool(uint8_t* a_dest, const char* a_src);

/**
 * NUV_Convert_split cuts a_src into the fields between the characters a_separator, stores pointers to them in a_dest,
 * an array of a_maxdest pointers, and returns their number. Each separator found is overwritten with a terminator; the
 * fields lie in a_src and live as long as it does. Empty fields count, so that an empty text is one empty field. When
 * a_maxdest fields are stored, the last one holds the whole rest of the text, separators included.
 *
 * With a_maxdest 0, and then only, a_dest is null: nothing is touched, and the result is 0. Requires
 * "( ((void *)0) == a_dest) == ( 0 == a_maxdest)", then "((void *)0) != a_src". Without an array for them, the fields are
 * cut and counted all the same; a null text has none.
 */
NUV_API uint32_t NUV_Convert_split(char** a_dest, uint32_t a_maxdest, char* a_src, char a_separator);

#ifdef __cplusplus
}
#endif

#endif
