/* userlib: the trace facility.
 *
 * Two switches decide for the whole process where lines go: to the system log (on at start), to standard output (off at
 * start), to both or nowhere. While the marker file "/etc/quiet" exists, nothing in the trace facility can turn the
 * console on; a device that is shipped quiet stays quiet.
 *
 * Every line for the system log opens and closes the log for itself, so that a daemon's own openlog() never mixes with
 * the library's. A line for the console starts with a time stamp down to the millisecond.
 *
 * The switches and the ident are plain data of the process without a lock: all tracing belongs to one thread.
 */
#ifndef NUV_SYSLOGLEVEL_H
#define NUV_SYSLOGLEVEL_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * getTimestamp writes the local wall-clock time into s, a buffer of size bytes, as 'Mar  5 09:04:07:042' (19 characters
 * and a terminator): month, day padded with a blank, time of day, milliseconds. Callers pass 26 zeroed bytes. Never
 * writes past size: a buffer of fewer than 17 bytes becomes the empty text, one of 17 to 20 gets what fits.
 */
NUV_API void getTimestamp(char* s, uint32_t size);

/**
 * NUV_Sysloglevel_set turns the system log on and the console off (a_flag 1), or the other way round (a_flag 0). The
 * console switch stays as it is while "/etc/quiet" exists. Both switches are bytes: the system log's becomes the low
 * byte of a_flag, the console's the low byte of a_flag exclusive-or 1, and any byte but 0 is on.
 */
NUV_API void NUV_Sysloglevel_set(uint32_t a_flag);

/**
 * NUV_Sysloglevel_setConsole sets only the console switch, to the low byte of a_flag, and only while "/etc/quiet" does
 * not exist.
 */
NUV_API void NUV_Sysloglevel_setConsole(uint32_t a_flag);

/**
 * NUV_Sysloglevel_assert writes the report of a failed contract: a_file is a source path of which the base name is
 * printed, a_line the line in it, a_text the message. No module mask filters it. The system log gets it with priority
 * LOG_USER|LOG_ERR. NUV_Assert_failed() is its usual caller; its messages end in a newline of their own, so that on the
 * console a report is followed by an empty line. Null texts read as empty.
 */
NUV_API void NUV_Sysloglevel_assert(const char* a_file, uint32_t a_line, const char* a_text);

/**
 * NUV_Sysloglevel_statusinfo writes the status line a_text, which no module mask filters, under an ident of the
 * caller's own (null: the system's default ident) and with priority LOG_LOCAL0|LOG_INFO; on the console it follows the
 * time stamp. A null text reads as empty.
 */
NUV_API void NUV_Sysloglevel_statusinfo(const char* a_ident, const char* a_text);

#ifdef __cplusplus
}
#endif

#endif
