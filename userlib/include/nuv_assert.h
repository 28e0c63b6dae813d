/** @file
 * userlib: contract checks, the error handler, and the library's version.
 *
 * Every operation of the library checks what it is given (require), what it returns (ensure) and sometimes its own
 * state (check). A check that fails is a caller's bug: it is reported in one line through the trace output of
 * nuv_sysloglevel.h, then the error handler is called. The default handler ends the process with exit status 255. To
 * dump core or restart, install your own:
 *
 *     static void dump_core(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression)
 *     {
 *         abort();
 *     }
 *     ...
 *     NUV_Assert_setErrorHandler(dump_core);
 *
 * When a handler returns, the operation carries on as if the check had passed. On a constructed object that never
 * reads or writes outside its storage, and ends; the families' pages say what happens instead. On a null object the
 * process crashes. Each check is listed in docs/contracts.md.
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
  NUV_ASSERT_RESOURCE = 5      /**< "resource error": something is used up or unavailable */
};

/** The error handler: gets the class, the family's name, the line in its source and the text of the condition, as they
 * were passed to NUV_Assert_failed(), null pointers included. The texts are valid during the call. It runs in the
 * middle of the failed operation and must not touch the object that is being worked on. */
typedef void (*NUV_AssertHandler)(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression);

/** NUV_Assert_failed reports a failed contract, as ":<class>:<expression>" cut to 255 characters, with the file and
 * the line, and calls the error handler. Null texts read as empty in the report. Daemons may call it for contracts of
 * their own. */
NUV_API NUV_COLD void NUV_Assert_failed(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression);

/** NUV_Assert_setErrorHandler installs a_handler for the whole process; null brings back the default, which calls
 * exit(-1). Install it once at the start: the pointer has no lock. */
NUV_API void NUV_Assert_setErrorHandler(NUV_AssertHandler a_handler);

/** is_null returns 1 if a_pointer is null, else 0. */
NUV_API int32_t is_null(const void* a_pointer);

/** illegal_else and illegal_default return 0: conditions for NUV_Assert_failed to name, in an else branch or a default
 * label that must never run. */
NUV_API int32_t illegal_else(void);
NUV_API int32_t illegal_default(void);

/** NUV_Userlib_getVersionMajor, NUV_Userlib_getVersionMinor and NUV_Userlib_getVersionPatch return the version of the
 * library that is loaded: 1, 4 and 3. */
NUV_API uint32_t NUV_Userlib_getVersionMajor(void);
NUV_API uint32_t NUV_Userlib_getVersionMinor(void);
NUV_API uint32_t NUV_Userlib_getVersionPatch(void);

/** NUV_Userlib_getVersionString returns "userlib-1.4.3", in static storage. */
NUV_API const char* NUV_Userlib_getVersionString(void);

/** NUV_Userlib_checkVersion returns 1 if a program that was built with version a_major.a_minor can run with the
 * library that is loaded: the same major version, and no newer minor version. Otherwise 0. Call it first in main(),
 * with NUV_USERLIB_VERSION_MAJOR and NUV_USERLIB_VERSION_MINOR. */
NUV_API int32_t NUV_Userlib_checkVersion(uint32_t a_major, uint32_t a_minor);

#ifdef __cplusplus
}
#endif

#endif
