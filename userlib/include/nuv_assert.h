/** @file
 * userlib: contract checks, the error handler, and the library's version.
 *
 * Every operation of the library checks what it was given (require), what it is about to return (ensure) and, where it
 * pays, its own state in between (check). A check that fails is a caller's bug, not an operational failure: it is
 * reported in one line through the trace output of nuv_sysloglevel.h and then handed to the error handler. The handler
 * that is installed at start ends the process with exit status 255, so that a daemon dies at the first broken promise
 * instead of running on with damaged state. A daemon that wants something else (a core dump, a restart) installs its
 * own:
 *
 *     static void dump_core(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression)
 *     {
 *         abort();
 *     }
 *     ...
 *     NUV_Assert_setErrorHandler(dump_core);
 *
 * When a handler returns, the operation carries on as if the check had passed, and later checks report what they find. On
 * an object that exists and was constructed this never reads or writes outside its storage, and ends: the headers say
 * what happens instead. On a null object it does, and the process crashes.
 */
#ifndef NUV_ASSERT_H
#define NUV_ASSERT_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The version that this header belongs to. The major number is also the number in the soname: libuserlib.so.1. */
#define NUV_USERLIB_VERSION_MAJOR 1
#define NUV_USERLIB_VERSION_MINOR 4 /**< grows with every addition to the interface */
#define NUV_USERLIB_VERSION_PATCH 3 /**< grows with every release in between */

/** The class of a failed contract; each has a text that the report prints. Any other number prints "unknown error". */
typedef uint32_t NUV_EAssertType;
enum {
  NUV_ASSERT_NO_ERROR = 0,     /**< "no error"; never raised by the library */
  NUV_ASSERT_REQUIRE = 1,      /**< "require failed": an argument, or the state on entry */
  NUV_ASSERT_ENSURE = 2,       /**< "ensure failed": a result, or the state before return */
  NUV_ASSERT_CHECK = 3,        /**< "check failed": something inside an operation */
  NUV_ASSERT_NULL_POINTER = 4, /**< "null pointer": a member that must be set is null */
  NUV_ASSERT_RESOURCE = 5      /**< "resource error": something could not be had */
};

/**
 * The error handler: gets the class, the source file's name, the line and the text of the expression that did not hold,
 * exactly as they were passed to NUV_Assert_failed(), null pointers included. The texts are only valid during the call.
 * It runs in the middle of the failed operation and must not call back into the object that is being worked on.
 */
typedef void (*NUV_AssertHandler)(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression);

/**
 * NUV_Assert_failed reports one failed contract and calls the error handler. It hands the message
 * ":<class>:<expression>\n", cut to 255 characters, to NUV_Sysloglevel_assert() together with the file and the line. A
 * null a_file or a_expression reads as the empty text in the report, while the handler receives the null pointer
 * itself. Daemons may call it for contracts of their own, from callbacks too.
 */
NUV_API NUV_COLD void NUV_Assert_failed(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression);

/**
 * NUV_Assert_setErrorHandler installs a_handler for the whole process; null brings back the default, which calls
 * exit(-1) and writes nothing itself. Install it once at start: the pointer is a plain global without a lock.
 */
NUV_API void NUV_Assert_setErrorHandler(NUV_AssertHandler a_handler);

/** is_null returns 1 if a_pointer is null, else 0. */
NUV_API int32_t is_null(const void* a_pointer);

/** illegal_else returns 0: an expression for the else branch that must never run, so NUV_Assert_failed can name it. */
NUV_API int32_t illegal_else(void);

/** illegal_default returns 0: the same for the default label of a switch that knows all its cases. */
NUV_API int32_t illegal_default(void);

/** NUV_Userlib_getVersionMajor returns 1, the major version of the library that is loaded. */
NUV_API uint32_t NUV_Userlib_getVersionMajor(void);

/** NUV_Userlib_getVersionMinor returns 4, the minor version of the library that is loaded. */
NUV_API uint32_t NUV_Userlib_getVersionMinor(void);

/** NUV_Userlib_getVersionPatch returns 3, the patch level of the library that is loaded. */
NUV_API uint32_t NUV_Userlib_getVersionPatch(void);

/** NUV_Userlib_getVersionString returns "userlib-1.4.3": static storage, never freed. */
NUV_API const char* NUV_Userlib_getVersionString(void);

/**
 * NUV_Userlib_checkVersion returns 1 if a program built against version a_major.a_minor can run with the library that
 * is loaded: the same major version, and no newer minor version. Otherwise 0. The patch level never matters. Typical
 * use: NUV_Userlib_checkVersion(NUV_USERLIB_VERSION_MAJOR, NUV_USERLIB_VERSION_MINOR) first thing in main().
 */
NUV_API int32_t NUV_Userlib_checkVersion(uint32_t a_major, uint32_t a_minor);

#ifdef __cplusplus
}
#endif

#endif
