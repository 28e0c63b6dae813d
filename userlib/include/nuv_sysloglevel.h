/** @file
 * userlib: the trace facility.
 *
 * A daemon is made of modules, and an operator wants to see what one of them does without drowning in what the others
 * do. Every module is therefore registered by name and traces under its handle, every line has one of ten types, and a
 * mask per module says which types are written. Masks are read from an init file when the daemon starts
 * (nuv_tracelevelinit.h), changed while it runs by the operator's "tr" command, and saved again.
 *
 *     NUV_Sysloglevel_construct2(init_file, "phoned");    // such as "/flash/phoned.ini"
 *     int line = NUV_Sysloglevel_registerModul("Line");
 *     NUV_LOG_WARNING(line, "no answer for %u s", seconds);
 *
 * writes "warning:Line   no answer for 3 s" to the system log, as the mask of a new module lets info, warnings, errors
 * and GUI output through. The registry is an array of 60 entries, filled from the front and searched by name; a handle
 * is an index into it, and the mask's bit for type t is 1 << t.
 *
 * Two switches decide for the whole process where lines go: to the system log (on at start), to standard output (off at
 * start), to both or nowhere. While the marker file "/etc/quiet" exists, nothing in the trace facility can turn the
 * console on; a device that is shipped quiet stays quiet.
 *
 * Every line for the system log opens and closes the log for itself. A daemon's own openlog() therefore holds only until
 * the next line of the library: lines that the daemon writes with syslog() after it have the process id, the facility
 * LOG_USER, and the ident of NUV_Sysloglevel_construct2() or, where closelog() forgets it, the program's name. A daemon
 * with such lines calls openlog() before each of them, or does without and gives the facility with the priority.
 *
 * A line for the console starts with a time stamp down to the millisecond.
 *
 * Contracts are reported under "nuv_sysloglevel". A negative handle is what a failed registration gives. An output
 * operation that gets one writes a line about it to the system log, whatever the switches say and with a time stamp of
 * its own where the log is switched off, and then reports "(int)a_ModulHandle >= 0". Handles of 60 and more are
 * reported by the operations that look into the registry. After an error handler has returned, message flow ends, and the
 * other operations go on to ask the registry for name and mask, which reports a negative handle again. Nothing outside the
 * registry is read: such a handle has no name, and nothing passes its mask. Null texts read as empty, null data has no
 * bytes.
 *
 * Switches, ident and registry are plain data of the process without a lock: all tracing belongs to one thread.
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

/**
 * getTimestamp writes the local wall-clock time into s, a buffer of size bytes, as 'Mar  5 09:04:07:042' (19 characters
 * and a terminator): month, day padded with a blank, time of day, milliseconds. Callers pass 26 zeroed bytes. Never
 * writes past size: a buffer of fewer than 17 bytes becomes the empty text, one of 17 to 20 gets what fits. A null s is
 * left alone.
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

/**
 * NUV_Sysloglevel_construct frees all 60 entries, gives them the mask 113, and returns 1. A path that is not empty is
 * then read with NUV_Sysloglevel_readInitFile(); without one only the module "TraceLevel" is registered, as the file
 * would have done. While "/etc/quiet" exists, the console is turned off. Requires "((void *)0) != a_file".
 */
NUV_API int NUV_Sysloglevel_construct(const char* a_file);

/**
 * NUV_Sysloglevel_construct2 does the same and then keeps the first 30 characters of an ident, under which all lines go
 * to the system log from then on and which names the default init file. Requires "((void *)0) != a_file",
 * "((void *)0) != a_ident" and "32 > strlen(a_ident)".
 */
NUV_API int NUV_Sysloglevel_construct2(const char* a_file, const char* a_ident);

/** NUV_Sysloglevel_destruct does nothing: the registry lives as long as the process. */
NUV_API void NUV_Sysloglevel_destruct(void);

/**
 * NUV_Sysloglevel_registerModul returns the handle of the module with this name. A name that is not yet there takes the
 * first free entry and the mask that this entry has. Requires a name of at most 10 characters,
 * "strlen( a_modulName) < 11"; of a longer one the first 11 count. When all entries have other names it reports the class "resource
 * error" with "i < 60" and returns -1. An empty name is none: it gets the handle that the next new module will have.
 */
NUV_API int NUV_Sysloglevel_registerModul(const char* a_modulName);

/**
 * NUV_Sysloglevel_insertModulnameAndTracelevel gives the module with this name a mask, registers it if necessary and
 * returns true; or false when all entries have other names. The first 11 characters of a name count; an init file keeps 10
 * of them.
 */
NUV_API bool NUV_Sysloglevel_insertModulnameAndTracelevel(const char* a_modulName, uint32_t a_traceLevel);

/**
 * NUV_Sysloglevel_getModulName returns the name under a handle: static storage. Requires "a_modulHandle >= 0" and
 * "a_modulHandle < 60"; a refused call returns the empty name.
 */
NUV_API const char* NUV_Sysloglevel_getModulName(int a_modulHandle);

/**
 * NUV_Sysloglevel_checkTracelevel tells whether a module's mask lets a type through; types of 10 and more never pass.
 * Requires "a_modulHandle >= 0" and "a_modulHandle < 60"; a refused call returns false.
 */
NUV_API bool NUV_Sysloglevel_checkTracelevel(int a_modulHandle, uint32_t a_type);

/**
 * NUV_Sysloglevel_changeTracelevel gives the module with this name a mask and returns true, or false if no module has
 * the name. The empty name is no module's, and neither is one of more than 11 characters.
 */
NUV_API bool NUV_Sysloglevel_changeTracelevel(const char* a_modulName, uint32_t a_traceLevel);

/** NUV_Sysloglevel_changeTracelevelAll gives all 60 entries a mask, those of modules yet to be registered too. */
NUV_API void NUV_Sysloglevel_changeTracelevelAll(uint32_t a_traceLevel);

/**
 * NUV_Sysloglevel_readInitFile gives the modules that an init file names the masks that it has for them, and registers
 * those that are not there yet; so a daemon finds its masks in place when it registers its modules afterwards. Modules
 * that the file does not name keep their masks. A file that cannot be opened is worth one line on standard output, "The
 * given Init-File (<path>) of TraceLevel could not open."; a FIFO is no file, because the daemon would have to wait for
 * somebody at its other end. Of a file that is damaged, the rows in front of the damage count. A row for which there is
 * no entry left is reported as the class "resource error" with the text of the call that failed. The module
 * "TraceLevel" is registered in any case. The result is 1 and means nothing.
 */
NUV_API int NUV_Sysloglevel_readInitFile(const char* a_path);

/**
 * NUV_Sysloglevel_saveInitFile writes the names and masks of the registered modules to an init file, in the order of
 * their handles, and returns true; or false if the file cannot be opened, is a FIFO, or does not take all of it. An
 * init file has 50 rows: of more modules, the first 50 are saved.
 */
NUV_API bool NUV_Sysloglevel_saveInitFile(const char* a_path);

/** NUV_ESysloglevelType_name returns the name of a type, as its lines begin with it; "unknown" for other numbers. */
NUV_API const char* NUV_ESysloglevelType_name(uint32_t a_type);

/**
 * NUV_Sysloglevel_printTracelevel prints the types that a mask lets through on standard output, as " ( Warning Error)",
 * and a newline; for the mask 0 the newline alone.
 */
NUV_API void NUV_Sysloglevel_printTracelevel(uint32_t a_traceLevel);

/** @name Output operations
 *
 * Each writes a line if the mask of the module lets its type through; the switches say where to.
 * A console line has the time stamp and ":" in front of what is shown here. Of a_file, the path of a source file, only
 * the base name is printed; info, trace and warning print neither it nor the line.
 *
 * @{ */

/** NUV_Sysloglevel_info writes "info:<module>   <text>". */
NUV_API void NUV_Sysloglevel_info(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);

/** NUV_Sysloglevel_trace writes "trace:<module>   <text>". */
NUV_API void NUV_Sysloglevel_trace(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);

/** NUV_Sysloglevel_debug writes "debug:<module>: <file>:<line>   <text>". */
NUV_API void NUV_Sysloglevel_debug(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);

/** NUV_Sysloglevel_warning writes "warning:<module>   <text>". */
NUV_API void NUV_Sysloglevel_warning(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);

/** NUV_Sysloglevel_error writes "error:<module>: <file>:<line>   <text>". */
NUV_API void NUV_Sysloglevel_error(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);

/** NUV_Sysloglevel_tracect writes "tracect:<module>: <file>:<line>   <text>". */
NUV_API void NUV_Sysloglevel_tracect(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);

/** NUV_Sysloglevel_tracedo writes "tracedo:<module>: <file>:<line>   <text>". */
NUV_API void NUV_Sysloglevel_tracedo(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);

/** NUV_Sysloglevel_guioutput writes "<module>: <text>": what is meant for a user interface carries no type. */
NUV_API void NUV_Sysloglevel_guioutput(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text);

/**
 * NUV_Sysloglevel_tracemf writes the way of a message, as
 * "tracemf: <from name>:<from number> --><message>--> <to name>:<to number>  <direction>". The direction is "TX" for
 * a_direction 0, else "RX". The module's name is not part of it.
 */
NUV_API void NUV_Sysloglevel_tracemf(int a_ModulHandle, const char* a_fromName, uint32_t a_fromNumber,
                                     const char* a_message, const char* a_toName, uint32_t a_toNumber,
                                     uint32_t a_direction);

/**
 * NUV_Sysloglevel_dump writes a_length bytes in lines "dump:<module>: <title>: <bytes>" of 16 bytes, the last one with
 * what is left. A byte is two upper-case hexadecimal digits, with a blank between bytes. No bytes, no line.
 */
NUV_API void NUV_Sysloglevel_dump(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_title,
                                  const void* a_data, uint32_t a_length);

/** @} */

/**
 * NUV_Sysloglevel_handleCmd carries out the operator's "tr" command. a_argv holds the a_argc words of the line, the
 * first one being the command word itself; what it prints goes to standard output. A daemon calls it for the line that
 * its console has received; a_this is that console, which is required ("((void *)0) != a_this") and not looked at.
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
 * A mask is a decimal number of 0 to 1023; what is not a number counts as 0. The path is "/flash/<ident>.ini" unless it
 * is given, or "/flash/phoned.ini" in a daemon without an ident. Other words in place of these do nothing at all.
 */
NUV_API void NUV_Sysloglevel_handleCmd(void* a_this, int a_argc, char** a_argv);

/** @name Macros for daemons
 *
 * They add file and line, format like printf(), and cost a suppressed line no more than the call
 * that tests the mask. Arguments are evaluated once, those of a suppressed line (but for the handle) not at all. The
 * text is formatted into a buffer of the macro's own, so that VAStr() keeps its text; it is cut to
 * NUV_LOG_TEXT_SIZE - 1 characters. A negative handle is reported as above. Each macro is one statement:
 *
 *     if (digits == 0)
 *       NUV_LOG_DEBUG(module, "nothing dialled");
 *     else
 *       NUV_LOG_TRACE(module, "line %u: %s", number, digits);
 *
 * @{ */

/** The size of the buffer that the macros format into, terminator included. */
#define NUV_LOG_TEXT_SIZE 512

/** NUV_LOG_INFO(handle, "format", ...) writes a line with NUV_Sysloglevel_info(). */
#define NUV_LOG_INFO(a_handle, ...) NUV_LOG_FORMATTED(NUV_Sysloglevel_info, NUV_SYSLOGLEVEL_INFO, a_handle, __VA_ARGS__)

/** NUV_LOG_TRACE(handle, "format", ...) writes a line with NUV_Sysloglevel_trace(). */
#define NUV_LOG_TRACE(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_trace, NUV_SYSLOGLEVEL_TRACE, a_handle, __VA_ARGS__)

/** NUV_LOG_DEBUG(handle, "format", ...) writes a line with NUV_Sysloglevel_debug(). */
#define NUV_LOG_DEBUG(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_debug, NUV_SYSLOGLEVEL_DEBUG, a_handle, __VA_ARGS__)

/** NUV_LOG_WARNING(handle, "format", ...) writes a line with NUV_Sysloglevel_warning(). */
#define NUV_LOG_WARNING(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_warning, NUV_SYSLOGLEVEL_WARNING, a_handle, __VA_ARGS__)

/** NUV_LOG_ERROR(handle, "format", ...) writes a line with NUV_Sysloglevel_error(). */
#define NUV_LOG_ERROR(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_error, NUV_SYSLOGLEVEL_ERROR, a_handle, __VA_ARGS__)

/** NUV_LOG_GUIOUTPUT(handle, "format", ...) writes a line with NUV_Sysloglevel_guioutput(). */
#define NUV_LOG_GUIOUTPUT(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_guioutput, NUV_SYSLOGLEVEL_GUIOUTPUT, a_handle, __VA_ARGS__)

/** NUV_LOG_TRACECT(handle, "format", ...) writes a line with NUV_Sysloglevel_tracect(). */
#define NUV_LOG_TRACECT(a_handle, ...) \
  NUV_LOG_FORMATTED(NUV_Sysloglevel_tracect, NUV_SYSLOGLEVEL_TRACECT, a_handle, __VA_ARGS__)

/** NUV_LOG_TRACEDO(handle, "format", ...) writes a line with NUV_Sysloglevel_tracedo(). */
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

/** For the macros above. An unregistered module counts as wanted, for its line is a report. */
#define NUV_LOG_IS_WANTED(a_handle, a_type) ((a_handle) < 0 || NUV_Sysloglevel_checkTracelevel((a_handle), (a_type)))

/** For the macros above. The format is one of the variable arguments, since C99 wants at least one of them. */
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
