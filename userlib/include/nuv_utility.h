/** @file
 * userlib: utilities that belong to no other family.
 *
 * Paths, formatted texts, lines of a file, process ids, names with a numeric range, MAC addresses. Nothing is kept but
 * the one buffer behind VAStr(). All may be called from callbacks. Null texts count as empty unless something else is
 * said.
 *
 *     int32_t is_one_of_them = NUV_Utility_fnmatch("port01-03", "port02", "01-03", 0);    // 0
 */
#ifndef NUV_UTILITY_H
#define NUV_UTILITY_H

#include <stdint.h>
#include <stdio.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** NUV_Utility_basename returns what follows the last "/" or "\" of a_path, or a_path itself. Null gives null. */
NUV_API const char* NUV_Utility_basename(const char* a_path);

/** NUV_Utility_extension returns what follows the last dot of a_path, or a static empty text. Null gives null. */
NUV_API const char* NUV_Utility_extension(const char* a_path);

/** NUV_Utility_path_cat appends a_src to the path in a_dest, which must have room, with a "/" where needed, and
 * returns a_dest. */
NUV_API char* NUV_Utility_path_cat(char* a_dest, const char* a_src);

/** NUV_Utility_strcmp_backward returns how many characters at the ends of both texts agree, at most the length of
 * a_str2; -1 when either is empty or a_str1 is the shorter one. */
NUV_API int32_t NUV_Utility_strcmp_backward(const char* a_str1, const char* a_str2);

/** NUV_Utility_VAStr prints at most a_size - 2 characters to a_dest, fills the rest of its a_size bytes with zeros,
 * returns it. */
NUV_API char* NUV_Utility_VAStr(char* a_dest, uint32_t a_size, const char* a_format, ...) NUV_PRINTF(3, 4);

/** VAStr prints at most 510 characters into the one static buffer of the process, and returns it: good until the next
 * call. */
NUV_API char* VAStr(const char* a_format, ...) NUV_PRINTF(1, 2);

/** RunProcess scans the output of a_command once with a_format, waits for the command to end, and returns 1 if as many
 * values were assigned as a_format has "%" characters, else 0. */
NUV_API int32_t RunProcess(const char* a_command, const char* a_format, ...) NUV_SCANF(2, 3);

/** NUV_Utility_readLine reads a line, or the first a_size - 1 characters of a longer one, without its newline, and
 * returns a_dest; null at the end of the file, after an error, and for null pointers, which are reported. */
NUV_API char* NUV_Utility_readLine(char* a_dest, uint32_t a_size, FILE* a_stream);

/** NUV_Utility_get_pid_from_file returns the number that the file begins with, or 0. Requires a name that is not
 * empty. */
NUV_API int32_t NUV_Utility_get_pid_from_file(const char* pidfile);

/** NUV_Utility_test_pid_exists returns 1 if the caller may signal the process pid, which must not be 0, else 0. */
NUV_API int32_t NUV_Utility_test_pid_exists(int32_t pid);

/** NUV_Utility_get_pid_for_unixsocket_fd returns the id of the peer of a connected unix-domain socket, or 0. */
NUV_API int32_t NUV_Utility_get_pid_for_unixsocket_fd(int32_t a_fd);

/** NUV_Set_cloexec_flag makes exec() close a_fd, or with a_value 0 keep it, and returns what fcntl() returned. */
NUV_API int32_t NUV_Set_cloexec_flag(int32_t a_fd, int32_t a_value);

/** NUV_Utility_fnmatch returns 0 if the name a_string matches a_pattern, else -1. With "[", "*", "?" or "\" in
 * a_range, a_pattern is a shell wildcard for fnmatch() with a_flags; with an empty a_range it is the name; else
 * a_range, such as "1-3,7", is its numeric part, and a_string must begin with what stands before that and one of the
 * numbers. Set errno to 0 first. */
NUV_API int32_t NUV_Utility_fnmatch(const char* a_pattern, const char* a_string, const char* a_range, int32_t a_flags);

/** NUV_Utility_MacToUint returns a MAC address as a number, with its first field in bits 40 to 47.
 * NUV_Utility_UintToMac prints such a number to a_dest, 18 bytes, and returns 17. No pointer may be null. */
NUV_API uint64_t NUV_Utility_MacToUint(const char* a_mac);
NUV_API int32_t NUV_Utility_UintToMac(uint64_t a_value, char* a_dest);

/** These print the low 48 bits of the sum, or the distance, to a_dest, 18 bytes, which may be an operand. They return
 * 1 when a sum has more bits, -1 when the second operand of a distance is the larger one, else 0. No pointer may be
 * null. */
NUV_API int32_t NUV_Utility_MacAddMac(const char* a_mac1, const char* a_mac2, char* a_dest);
NUV_API int32_t NUV_Utility_MacSubMac(const char* a_mac1, const char* a_mac2, char* a_dest);
NUV_API int32_t NUV_Utility_MacAddOffset(const char* a_mac, uint64_t a_offset, char* a_dest);
NUV_API int32_t NUV_Utility_MacSubOffset(const char* a_mac, uint64_t a_offset, char* a_dest);

#ifdef __cplusplus
}
#endif

#endif
