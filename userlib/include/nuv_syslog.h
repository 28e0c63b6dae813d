/** @file
 * userlib: plain logger.
 *
 * For tools, and for daemons that have no use for modules and masks: every call writes its line, to the system log or,
 * after a switch, to standard output behind a time stamp. It shares nothing with the trace facility of
 * nuv_sysloglevel.h but the look of its lines.
 *
 *     NUV_Syslog_set(0);
 *     NUV_Syslog_error(__FILE__, __LINE__, "no such line");
 *
 * prints "Mar  5 09:04:07:error:phonectl.c:12:no such line".
 *
 * The system log is neither opened nor closed here: a line goes to what the program has opened, or to the default,
 * with the priority LOG_ALERT whatever its type is. Null texts read as empty, null data has no bytes. The switch has
 * no lock.
 */
#ifndef NUV_SYSLOG_H
#define NUV_SYSLOG_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The types of lines. */
typedef uint32_t NUV_ESyslogType;
enum {
  NUV_SYSLOG_INFO = 0, /**< "info" */
  NUV_SYSLOG_TRACE,    /**< "trace" */
  NUV_SYSLOG_DEBUG,    /**< "debug" */
  NUV_SYSLOG_DUMP,     /**< "dump" */
  NUV_SYSLOG_WARNING,  /**< "warning" */
  NUV_SYSLOG_ERROR     /**< "error" */
};

/** NUV_Syslog_set lets the lines go to the system log (a_flag 1, as at the start) or to standard output (0). The low
 * byte of a_flag counts, and any byte but 0 means the system log. */
NUV_API void NUV_Syslog_set(uint32_t a_flag);

/** NUV_Syslog_info and NUV_Syslog_trace write "<type>:<text>", without file and line. */
NUV_API void NUV_Syslog_info(const char* a_file, uint32_t a_line, const char* a_text);
NUV_API void NUV_Syslog_trace(const char* a_file, uint32_t a_line, const char* a_text);

/** NUV_Syslog_debug, NUV_Syslog_warning and NUV_Syslog_error write "<type>:<base name of the file>:<line>:<text>". */
NUV_API void NUV_Syslog_debug(const char* a_file, uint32_t a_line, const char* a_text);
NUV_API void NUV_Syslog_warning(const char* a_file, uint32_t a_line, const char* a_text);
NUV_API void NUV_Syslog_error(const char* a_file, uint32_t a_line, const char* a_text);

/** NUV_Syslog_dump writes a_length bytes in lines "<title>:<bytes>", 16 bytes a line, in upper-case hexadecimal with
 * blanks in between; without file and line. No bytes, no line. */
NUV_API void NUV_Syslog_dump(const char* a_file, uint32_t a_line, const char* a_title, const void* a_data,
                             uint32_t a_length);

/** NUV_ESyslogType_name returns the name of a type, as its lines begin with it; "unknown" for other numbers. */
NUV_API const char* NUV_ESyslogType_name(uint32_t a_type);

/** _getTimestamp writes the local time into s, a buffer of at least 16 bytes, as 'Mar  5 09:04:07' (15 characters and
 * a terminator). A null s is left alone. */
NUV_API void _getTimestamp(char* s);

#ifdef __cplusplus
}
#endif

#endif
