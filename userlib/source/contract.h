// Contract checks, as every source file of the library writes them.
//
// A check evaluates its expression once, costs one predictable branch while it holds, and otherwise reports the
// expression's text under the family's name (the source file's constant kFamily). The text is what an operator reads
// and what error handlers compare, so it is typed with exactly the blanks that it must have; .clang-format leaves the
// arguments of these macros alone. Every build checks: there is no switch that compiles the checks out.
//
// After the error handler has returned, the operation goes on. Each one therefore guards the storage it touches itself
// where a failed check would have led it astray.
#ifndef USERLIB_SOURCE_CONTRACT_H
#define USERLIB_SOURCE_CONTRACT_H

#include "nuv_assert.h"

#define NUV_CONTRACT(type, condition, text)             \
  (__builtin_expect(static_cast<bool>(condition), true) \
       ? static_cast<void>(0)                           \
       : ::NUV_Assert_failed((type), kFamily, static_cast<uint32_t>(__LINE__), (text)))

#define NUV_REQUIRE(expression)  NUV_CONTRACT(NUV_ASSERT_REQUIRE, expression, #expression)
#define NUV_ENSURE(expression)   NUV_CONTRACT(NUV_ASSERT_ENSURE, expression, #expression)
#define NUV_CHECK(expression)    NUV_CONTRACT(NUV_ASSERT_CHECK, expression, #expression)
#define NUV_NOT_NULL(expression) NUV_CONTRACT(NUV_ASSERT_NULL_POINTER, expression, #expression)
#define NUV_RESOURCE(expression) NUV_CONTRACT(NUV_ASSERT_RESOURCE, expression, #expression)

// For the cases in which the text is not the expression that can be compiled or evaluated safely.
#define NUV_REQUIRE_TEXT(condition, text) NUV_CONTRACT(NUV_ASSERT_REQUIRE, condition, text)
#define NUV_ENSURE_TEXT(condition, text)  NUV_CONTRACT(NUV_ASSERT_ENSURE, condition, text)

#endif
