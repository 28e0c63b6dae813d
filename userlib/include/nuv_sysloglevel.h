/** @file
 * userlib: trace facility, lines for operators by module and type.
 *
 * A daemon registers its modules by name and traces under their handles. Every line has one of ten types, and a mask
 * for each module says which types are written. Masks come from an init file when the daemon starts
 * (nuv_tracelevelinit.h), change while it runs by the operator's "tr" command, and can be saved again.
 *
 *     NUV_Sysloglevel_construct2(init_file, "phoned");    // such as "/flash/phoned.ini"
 *     int line = NUV_Sysloglevel_registerModul("Line");
 *     NUV_LOG_WARNING(line, "no answer for %u s", seconds);
 *
 * writes "warning:Line   no answer for 3 s" to the system log. Two switches say for the whole process where lines go:
 * to the system log (on at the start) and to standard output, the console (off at the start), there with a time stamp
 * in front.
 *
 * | what | limit or meaning |
 * |---|---|
 * | modules | 60; the handle of a module is its index, 0 to 59 |
 * | name of a module | 10 characters |
 * | mask | the bit of type t is 1 << t; new modules get 113 |
 * | ident | 30 characters |
 * | rows of an init file | 50: of more modules, the first 50 are saved |
 *
 * Rules:
 *
 *  - Registration that fails gives a negative handle. An output operation that gets one reports it, and writes a line
 *    about it to the system log, whatever the switches say. Other handles that no module can have are reported, too.
 *  - While the file "/etc/quiet" exists, nothing here turns the console on.
 *  - Every line opens and closes the system log for itself: call openlog() before each syslog() of your own.
 *  - Null texts read as empty, null data has no bytes. Switches, ident and registry have no lock: trace in one thread
 *    only.
 */
#ifndef NUV_SYSLOGLEVEL_H
#define NUV_SYSLOGLEVEL_H

#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The number of modules that the registry takes. */
#define NUV_SYSLOGLEVEL_MODULES 60

/** The mask of a new module: info, warning, error and GUI output. */
#define NUV_SYSLOGLEVEL_DEFAULT_MASK 113

/** The types of lines, each with its bit in a mask and its priority in the system log (facility LOG_USER). */
typedef uint32_t NUV_ESysloglevelType;
enum {
  NUV_SYSLOGLEVEL_INFO = 0,  /**< "info", bit 1, LOG_NOTICE */
  NUV_SYSLOGLEVEL_TRACE,     /**< "trace", bit 2, LOG_DEBUG */
  NUV_SYSLOGLEVEL_DEBUG,     /**< "debug", bit 4, LOG_DEBUG */
  NUV_SYSLOGLEVEL_DUMP,      /**< "dump", bit 8, LOG_DEBUG: bytes in hexadecimal */
  NUV_SYSLOGLEVEL_WARNING,   /**< "warning", bit 16, LOG_WARNING */
  NUV_SYSLOGLEVEL_ERROR,     /**< "error", bit 32, LOG_ERR */
  NUV_SYSLOGLEVEL_GUIOUTPUT, /**< "guioutput", bit 64, LOG_ERR: what a user interface shows */
  NUV_SYSLOGLEVEL_TRACEMF,   /**< "tracemf", bit 128, LOG_DEBUG: message flow */
  NUV_SYSLOGLEVEL_TRACECT,   /**< "tracect", bit 256, LOG_DEBUG */
  NUV_SYSLOGLEVEL_TRACEDO    /**< "tracedo", bit 512, LOG_DEBUG */
};

/** One entry of the registry. The registry itself is the library's. */
typedef struct NUV_SysloglevelModul {
  uint32_t u32TraceLevel; /**< mask of the module, or the one that the next module here will start with */
  char szModulName[12];   /**< name, meant to have at most 10 characters, at most 11; empty: the entry is free */
} NUV_SysloglevelModul;

/** getTimestamp writes the local time into s, a buffer of size bytes, as 'Mar  5 09:04:07:042' (19 characters and a
 * terminator). Callers pass 26 zeroed bytes. Fewer than 17 bytes become the empty text, 17 to 20 get what fits. A
 * null s is left alone. */
NUV_API void getTimestamp(char* s, uint32_t size);

/** NUV_Sysloglevel_set turns the system log on and the console off (a_flag 1), or the other way round (0). Both
 * switches are bytes: the system log's becomes the low byte of a_flag, the console's that byte exclusive-or 1; any
 * byte but 0 is on. */
NUV_API void NUV_Sysloglevel_set(uint32_t a_flag);

/** NUV_Sysloglevel_setConsole sets only the console switch, to the low byte of a_flag. */
NUV_API void NUV_Sysloglevel_setConsole(uint32_t a_flag);

/** NUV_Sysloglevel_assert writes the report of a failed contract, which no mask filters: the base name of a_file, the
 * line, the text. Its priority is LOG_USER|LOG_ERR. NUV_Assert_failed() calls it, with a newline of its own at the
 * end of the text. */
NUV_API void NUV_Sysloglevel_assert(const char* a_file, uint32_t a_line, const char* a_text);

/** NUV_Sysloglevel_statusinfo writes the status line a_text, which no mask filters, under the ident a_ident (null: the
 * system's default) and with priority LOG_LOCAL0|LOG_INFO. */
NUV_API void NUV_Sysloglevel_statusinfo(const char* a_ident, const char* a_text);

/** NUV_Sysloglevel_construct frees all entries, gives them the mask 113, reads the init file a_file unless that is
 * empty, and returns 1. The module "TraceLevel" is registered in any case. While "/etc/quiet" exists, it turns the
 * console off. */
NUV_API int NUV_Sysloglevel_construct(const char* a_file);

/** NUV_Sysloglevel_construct2 also keeps an ident of at most 31 characters, of which 30 count: all lines go to the
 * system log under it, and it names the default init file. */
NUV_API int NUV_Sysloglevel_construct2(const char* a_file, const char* a_ident);

/** NUV_Sysloglevel_destruct does nothing: the registry lives as long as the process. */
NUV_API void NUV_Sysloglevel_destruct(void);

/** NUV_Sysloglevel_registerModul returns the handle of the module with this name, of 1 to 10 characters. A new name
 * takes the first free entry with the mask that it has. Returns -1 when all entries are taken, which is reported as a
 * resource error. The empty name registers nothing and gets the handle of the next new module. */
NUV_API int NUV_Sysloglevel_registerModul(const char* a_modulName);

/** NUV_Sysloglevel_insertModulnameAndTracelevel gives the module with this name a mask, registering it if necessary.
 * Returns false when all entries have other names. The first 11 characters of a name count; an init file keeps 10. */
NUV_API bool NUV_Sysloglevel_insertModulnameAndTracelevel(const char* a_modulName, uint32_t a_traceLevel);

/** NUV_Sysloglevel_getModulName returns the name under a handle of 0 to 59, in static storage; empty where there is
 * none. */
NUV_API const char* NUV_Sysloglevel_getModulName(int a_modulHandle);

/** NUV_Sysloglevel_checkTracelevel tells whether a module's mask lets a type through; types of 10 and more never
 * pass. */
NUV_API bool NUV_Sysloglevel_checkTracelevel(int a_modulHandle, uint32_t a_type);

/** NUV_Sysloglevel_changeTracelevel gives the module with this name a mask. Returns false if there is none; the empty
 * name and names of more than 11 characters have none. */
NUV_API bool NUV_Sysloglevel_changeTracelevel(const char* a_modulName, uint32_t a_traceLevel);

/** NUV_Sysloglevel_changeTracelevelAll gives all 60 entries a mask, those of modules yet to be registered too. */
NUV_API void NUV_Sysloglevel_changeTracelevelAll(uint32_t a_traceLevel);

/** NUV_Sysloglevel_readInitFile gives the modules that an init file names the masks that it has for them, and
 * registers those that are not there yet; other modules keep theirs. The result is 1 and means nothing. A file that
 * cannot be opened, or is a FIFO, prints one line on standard output; of a damaged file, the rows before the damage
 * count. A row without a free entry is a resource error. */
NUV_API int NUV_Sysloglevel_readInitFile(const char* a_path);

/** NUV_Sysloglevel_saveInitFile writes the names and masks of the registered modules to an init file. Returns false if
 * the file cannot be opened, is a FIFO, or does not take all of it. */
NUV_API bool NUV_Sysloglevel_saveInitFile(const char* a_path);

/** NUV_ESysloglevelType_name returns the name of a type, as its lines begin with it; "unknown" for other numbers. */
NUV_API const char* NUV_ESysloglevelType_name(uint32_t a_type);

/** NUV_Sysloglevel_printTracelevel prints the types that a mask lets through, as " ( Warning Error)", and a newline. */
NUV_API void NUV_Sysloglevel_printTracelevel(uint32_t a_traceLevel);

/** @name Output operations
 *
 * Each writes a line if the mask of the module lets its type through; the switches say where to.
 *
 * @{ */

/** NUV_Sysloglevel_info, _trace and _warning write "<type>:<module>   <text>"; _debug, _error, _tracect and _tracedo
 * write "<type>:<module>: <base name of a_file>:<line>   <text>"; _guioutput writes "<module>: <text>". */
NUV_API void NUV_Sysloglevel_info(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);
NUV_API void NUV_Sysloglevel_trace(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);
NUV_API void NUV_Sysloglevel_debug(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);
NUV_API void NUV_Sysloglevel_warning(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);
NUV_API void NUV_Sysloglevel_error(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);
NUV_API void NUV_Sysloglevel_tracect(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);
NUV_API void NUV_Sysloglevel_tracedo(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);
NUV_API void NUV_Sysloglevel_guioutput(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);

/** NUV_Sysloglevel_tracemf writes the way of a message, without the name of the module: "tracemf: <from name>:<from
 * number> --><message>--> <to name>:<to number>  <direction>", with the direction "TX" for a_direction 0, else "RX". */
NUV_API void NUV_Sysloglevel_tracemf(int a_ModulHandle, const char* a_fromName, uint32_t a_fromNumber,
                                     const char* a_message, const char* a_toName, uint32_t a_toNumber,
                                     uint32_t a_direction);

/** NUV_Sysloglevel_dump writes a_length bytes in lines "dump:<module>: <title>: <bytes>", 16 bytes a line, in
 * upper-case hexadecimal with blanks in between. No bytes, no line. */
NUV_API void NUV_Sysloglevel_dump(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_title,
                                  const void* a_data, uint32_t a_length);

/** @} */

/** NUV_Sysloglevel_handleCmd carries out the operator's "tr" command: a_argv has the a_argc words of the line, the
 * command word first. It prints to standard output. a_this is the console, which must not be null and is not used.
 *
 *     tr [help]                       prints a summary of these commands
 *     tr file                         traces to the system log
 *     tr console                      traces to standard output
 *     tr show                         prints modules, masks and the meaning of the bits
 *     tr change <module> <mask>       sets the mask of one module
 *     tr changeall <mask>             sets the mask of every registered module
 *     tr save [<path>]                saves the masks to an init file
 *     tr restore [<path>]             sets all masks to 0, then reads an init file
 *
 * A mask is decimal, 0 to 1023; what is not a number counts as 0. Without a path it is "/flash/<ident>.ini", or
 * "/flash/phoned.ini" without an ident. Other words do nothing. */
NUV_API void NUV_Sysloglevel_handleCmd(void* a_this, int a_argc, char** a_argv);

/** @name Macros for daemons
 *
 * They add file and line, format like printf() into a buffer of their own, and cut the text to NUV_LOG_TEXT_SIZE - 1
 * characters. A suppressed line costs the call that tests the mask; its arguments (but for the handle) are not
 * evaluated, those of a line that is written once. Each macro is one statement, good for an if without braces.
 *
 * @{ */

/** The size of the buffer that the macros format into, terminator included. */
#define NUV_LOG_TEXT_SIZE 512

/** NUV_LOG_INFO(handle, "format", ...) writes a line with NUV_Sysloglevel_info(), and each of the others with the
 * operation of its name. */
#define NUV_LOG_INFO(a_handle, ...) NUV_LOG_FORMATTED(NUV_Sysloglevel_info, NUV_SYSLOGLEVEL_INFO, a_handle, __VA_ARGS__)
#define NUV_LOG_TRACE(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_trace, NUV_SYSLOGLEVEL_TRACE, a_handle, __VA_ARGS__)
#define NUV_LOG_DEBUG(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_debug, NUV_SYSLOGLEVEL_DEBUG, a_handle, __VA_ARGS__)
#define NUV_LOG_WARNING(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_warning, NUV_SYSLOGLEVEL_WARNING, a_handle, __VA_ARGS__)
#define NUV_LOG_ERROR(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_error, NUV_SYSLOGLEVEL_ERROR, a_handle, __VA_ARGS__)
#define NUV_LOG_GUIOUTPUT(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_guioutput, NUV_SYSLOGLEVEL_GUIOUTPUT, a_handle, __VA_ARGS__)
#define NUV_LOG_TRACECT(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_tracect, NUV_SYSLOGLEVEL_TRACECT, a_handle, __VA_ARGS__)
#define NUV_LOG_TRACEDO(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_tracedo, NUV_SYSLOGLEVEL_TRACEDO, a_handle, __VA_ARGS__)

/** NUV_LOG_DUMP(handle, title, data, length) writes bytes with NUV_Sysloglevel_dump(). */
#define NUV_LOG_DUMP(a_handle, a_title, a_data, a_length)                                         \
  do {                                                                                            \
    const int nuv_log_handle_ = (a_handle);                                                       \
    if (NUV_LOG_IS_WANTED(nuv_log_handle_, NUV_SYSLOGLEVEL_DUMP)) {                               \
      NUV_Sysloglevel_dump(nuv_log_handle_, __FILE__, __LINE__, (a_title), (a_data), (a_length)); \
    }                                                                                             \
  } while (0)

/** NUV_LOG_TRACEMF(handle, from, fromnumber, message, to, tonumber, direction): see NUV_Sysloglevel_tracemf(). */
#define NUV_LOG_TRACEMF(a_handle, a_from, a_fromnumber, a_message, a_to, a_tonumber, a_direction)           \
  do {                                                                                                      \
    const int nuv_log_handle_ = (a_handle);                                                                 \
    if (NUV_LOG_IS_WANTED(nuv_log_handle_, NUV_SYSLOGLEVEL_TRACEMF)) {                                      \
      NUV_Sysloglevel_tracemf(nuv_log_handle_, (a_from), (a_fromnumber), (a_message), (a_to), (a_tonumber), \
                              (a_direction));                                                               \
    }                                                                                                       \
  } while (0)

/** For the macros above. An unregistered module counts as wanted, because its line is a report. */
#define NUV_LOG_IS_WANTED(a_handle, a_type) ((a_handle) < 0 || NUV_Sysloglevel_checkTracelevel((a_handle), (a_type)))

/** For the macros above. The format is one of the variable arguments, since C99 requires at least one of them. */
#define NUV_LOG_FORMATTED(a_output, a_type, a_handle, ...)                  \
  do {                                                                      \
    const int nuv_log_handle_ = (a_handle);                                 \
    if (NUV_LOG_IS_WANTED(nuv_log_handle_, (a_type))) {                     \
      char nuv_log_text_[NUV_LOG_TEXT_SIZE];                                \
      if (snprintf(nuv_log_text_, sizeof nuv_log_text_, __VA_ARGS__) < 0) { \
        nuv_log_text_[0] = '\0';                                            \
      }                                                                     \
      a_output(nuv_log_handle_, __FILE__, __LINE__, nuv_log_text_);         \
    }                                                                       \
  } while (0)

/** @} */

#ifdef __cplusplus
}
#endif

#endif
