/** @file
 * userlib: utilities.
 *
 * Small functions that a daemon needs here and there, none worth a family of its own: pieces of paths, formatted texts,
 * lines of a file, the output of a shell command, process ids, a matcher for names with a numeric range, the
 * close-on-exec flag, and arithmetic on MAC addresses. None keeps anything but the one buffer behind VAStr(), and none
 * takes memory that it does not give back. For example, a configuration names the interfaces that a rule is for:
 *
 *     int32_t is_one_of_them = NUV_Utility_fnmatch("port01-03", "port02", "01-03", 0);    // 0
 *     int32_t by_wildcard = NUV_Utility_fnmatch("port*", "port02", "*", 0);               // 0
 *     int32_t is_the_very_name = NUV_Utility_fnmatch("port", "port02", "", 0);            // -1, it is not
 *
 * Contracts are reported under "nuv_utility", with the texts given at the functions that have any. Where nothing is
 * said about null, a null text counts as an empty one. All functions may be called from callbacks.
 */
#ifndef NUV_UTILITY_H
#define NUV_UTILITY_H

#include <stdint.h>
#include <stdio.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Paths and texts
 * @{ */

/**
 * NUV_Utility_basename returns what follows the last "/" or "\" of a_path, as a pointer into it, or a_path itself when
 * there is neither. Null gives null.
 */
NUV_API const char* NUV_Utility_basename(const char* a_path);

/**
 * NUV_Utility_extension returns what follows the last dot of a_path, as a pointer into it; the dot may stand in a
 * directory's name ('a.b/c' gives 'b/c'). Without one it returns a static empty text. Null gives null.
 */
NUV_API const char* NUV_Utility_extension(const char* a_path);

/**
 * NUV_Utility_path_cat appends a_src to the path in a_dest, with a "/" between the two unless a_dest is empty or ends
 * in one, and returns a_dest. The caller's buffer must have room for the whole: its size is not known here. If either
 * pointer is null, nothing is changed.
 */
NUV_API char* NUV_Utility_path_cat(char* a_dest, const char* a_src);

/**
 * NUV_Utility_strcmp_backward lays the end of a_str2 against the end of a_str1 and returns how many characters agree,
 * counted from the last one backwards: the length of a_str2 when a_str1 ends in it. It returns -1 when either text is
 * empty or a_str1 is the shorter one.
 */
NUV_API int32_t NUV_Utility_strcmp_backward(const char* a_str1, const char* a_str2);

/** @} */

/** @name Formatted texts
 * @{ */

/**
 * NUV_Utility_VAStr fills the a_size bytes of a_dest with zeros, prints at most a_size - 2 characters into them and
 * returns a_dest. The last byte always stays zero; with a_size 0 nothing is written at all. If a_dest is null nothing
 * happens, if a_format is null nothing is printed.
 */
NUV_API char* NUV_Utility_VAStr(char* a_dest, uint32_t a_size, const char* a_format, ...) NUV_PRINTF(3, 4);

/**
 * VAStr prints at most 510 characters into the one static buffer that all callers of the process share, and returns it.
 * The text is good until the next call, so it cannot be an argument of that call: the buffer is cleared first.
 */
NUV_API char* VAStr(const char* a_format, ...) NUV_PRINTF(1, 2);

/** @} */

/** @name Processes and files
 * @{ */

/**
 * RunProcess runs a_command with the shell, scans its standard output once with a_format as fscanf() does, waits for
 * the command to end, and returns 1 if as many values were assigned as a_format has "%" characters. Every "%" counts,
 * so a format with "%%" or "%*d" never succeeds. It returns 0 in all other cases: too few values, either text null, no
 * process to be had. How the command ends does not matter.
 */
NUV_API int32_t RunProcess(const char* a_command, const char* a_format, ...) NUV_SCANF(2, 3);

/**
 * NUV_Utility_readLine reads one line, or the first a_size - 1 characters of a longer one, from a_stream to a_dest,
 * takes the newline off (a carriage return stays) and returns a_dest. It returns null at the end of the file, after an
 * error, and when a_size is 0. Requires "((void *)0) != a_dest", then "((void *)0) != a_stream"; a refused call returns
 * null.
 */
NUV_API char* NUV_Utility_readLine(char* a_dest, uint32_t a_size, FILE* a_stream);

/**
 * NUV_Utility_get_pid_from_file returns the decimal number that the file begins with, or 0 when there is no such
 * number, the file cannot be opened, or it is a FIFO. Requires "((void *)0) != pidfile", then "0 != strlen (pidfile)".
 */
NUV_API int32_t NUV_Utility_get_pid_from_file(const char* pidfile);

/**
 * NUV_Utility_test_pid_exists returns 1 if signal 0 can be sent to pid, else 0: a process that this one may not signal
 * counts as absent. Requires "0 != pid".
 */
NUV_API int32_t NUV_Utility_test_pid_exists(int32_t pid);

/**
 * NUV_Utility_get_pid_for_unixsocket_fd returns the id of the process at the other end of a connected unix-domain
 * socket, or 0 when the socket does not know it. Requires "0 <= a_fd".
 */
NUV_API int32_t NUV_Utility_get_pid_for_unixsocket_fd(int32_t a_fd);

/**
 * NUV_Set_cloexec_flag makes exec() close a_fd if a_value is not 0, and keep it open otherwise. It returns what fcntl()
 * returned, a negative number on failure, with the cause in errno.
 */
NUV_API int32_t NUV_Set_cloexec_flag(int32_t a_fd, int32_t a_value);

/** @} */

/** @name Names
 * @{ */

/**
 * NUV_Utility_fnmatch tells whether the name a_string matches a_pattern: 0 if so, else -1. The part of a_pattern that
 * is special is named by a_range:
 *
 *  - with "[", "*", "?" or "\" in a_range, a_pattern is a shell wildcard, matched by fnmatch() with a_flags;
 *  - with an empty a_range, a_string must be a_pattern;
 *  - otherwise a_range is the numeric part of a_pattern: what stands before its first occurrence is the prefix (looked
 *    for in the first 255 characters; without an occurrence nothing matches, and what follows it does not count), and
 *    a_string must begin with the prefix and one of the numbers of a_range.
 *
 * The pieces between the commas of a_range are tried in turn, empty ones skipped; of a piece 99 characters count. One
 * without "-" is a number from 0 to 99999, compared as it is written. One with "-" is a low and a high number, low
 * below high, low below 99999 and high below 100000, and stands for all numbers from one to the other; when it begins
 * with "0" and its low number is written with 2 to 5 characters, they have leading zeros up to this width, else none. A
 * piece that is neither matches nothing.
 *
 * Only the beginning of a_string is compared: prefix 'eth' with the piece '1' matches 'eth10' too.
 *
 * Numbers are read with strtol() and rejected while errno is ERANGE. Nothing here resets it: a piece too large for
 * strtol() spoils all pieces after it, and so does an ERANGE that an earlier call of anything has left. A caller who is
 * not sure sets errno to 0 first. An empty pattern or string matches nothing.
 */
NUV_API int32_t NUV_Utility_fnmatch(const char* a_pattern, const char* a_string, const char* a_range, int32_t a_flags);

/** @} */

/** @name MAC addresses
 *
 * In text an address is six hexadecimal fields with colons between them, read as "%x:%x:%x:%x:%x:%x" and written as
 * "%02x:%02x:%02x:%02x:%02x:%02x": '0:A:b:1:2:3' is read, '00:0a:0b:01:02:03' is written. As a number it has its first
 * field in bits 40-47 and its last one in bits 0-7. A field above ff also sets bits of the fields in front of it; a
 * field that the text lacks is 0. No pointer of these functions may be null. The text buffers have 18 bytes; a_dest may
 * be the buffer of an operand. The address of the third of several interfaces:
 *
 *     char mac[18];
 *     NUV_Utility_MacAddOffset("00:11:22:33:44:55", 2, mac);    // mac is now 00:11:22:33:44:57
 *
 * @{ */

/** NUV_Utility_MacToUint returns the number form of the address a_mac. */
NUV_API uint64_t NUV_Utility_MacToUint(const char* a_mac);

/** NUV_Utility_UintToMac prints bits 0-47 of a_value as an address to a_dest and returns the characters printed: 17. */
NUV_API int32_t NUV_Utility_UintToMac(uint64_t a_value, char* a_dest);

/** NUV_Utility_MacAddMac prints the low 48 bits of the sum to a_dest. It returns 1 when the sum has more, else 0. */
NUV_API int32_t NUV_Utility_MacAddMac(const char* a_mac1, const char* a_mac2, char* a_dest);

/**
 * NUV_Utility_MacSubMac prints the distance of the two addresses to a_dest, the larger less the smaller one. It returns
 * -1 when a_mac1 is the smaller one, else 0.
 */
NUV_API int32_t NUV_Utility_MacSubMac(const char* a_mac1, const char* a_mac2, char* a_dest);

/** NUV_Utility_MacAddOffset does and returns what NUV_Utility_MacAddMac() does with the low 48 bits of a_offset. */
NUV_API int32_t NUV_Utility_MacAddOffset(const char* a_mac, uint64_t a_offset, char* a_dest);

/** NUV_Utility_MacSubOffset does and returns what NUV_Utility_MacSubMac() does with the low 48 bits of a_offset. */
NUV_API int32_t NUV_Utility_MacSubOffset(const char* a_mac, uint64_t a_offset, char* a_dest);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
