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

#include <stdint.h>

#include "nuv_assert.h"

namespace nuv {

// Class and line of a check in sixteen bits, which every processor loads with one instruction.
inline constexpr uint32_t kContractLineBits = 13;

template <uint32_t Type, uint32_t Line>
struct ContractPlace {
  static_assert(Line < 1U << kContractLineBits && Type < 1U << (16 - kContractLineBits));
  static constexpr uint32_t value = Type << kContractLineBits | Line;
};

// Reports a check that does not hold. There are hundreds of checks, and what each of them costs is the code of its
// report: so a family has one function for all of them, which knows its name, and a check hands over no more than two
// arguments. "cold" keeps the reports out of the way of what runs every day.
template <const char* Family>
[[gnu::cold, gnu::noinline]] void contract_failed(uint32_t place, const char* text) {
  NUV_Assert_failed(place >> kContractLineBits, Family, place & ((1U << kContractLineBits) - 1), text);
}

}  // namespace nuv

#define NUV_CONTRACT(type, condition, text)             \
  (__builtin_expect(static_cast<bool>(condition), true) \
       ? static_cast<void>(0)                           \
       : ::nuv::contract_failed<kFamily>(::nuv::ContractPlace<(type), __LINE__>::value, (text)))

#define NUV_REQUIRE(expression)  NUV_CONTRACT(NUV_ASSERT_REQUIRE, expression, #expression)
#define NUV_ENSURE(expression)   NUV_CONTRACT(NUV_ASSERT_ENSURE, expression, #expression)
#define NUV_CHECK(expression)    NUV_CONTRACT(NUV_ASSERT_CHECK, expression, #expression)
#define NUV_NOT_NULL(expression) NUV_CONTRACT(NUV_ASSERT_NULL_POINTER, expression, #expression)
#define NUV_RESOURCE(expression) NUV_CONTRACT(NUV_ASSERT_RESOURCE, expression, #expression)

// For the cases in which the text is not the expression that can be compiled or evaluated safely.
#define NUV_REQUIRE_TEXT(condition, text) NUV_CONTRACT(NUV_ASSERT_REQUIRE, condition, text)
#define NUV_ENSURE_TEXT(condition, text)  NUV_CONTRACT(NUV_ASSERT_ENSURE, condition, text)

#endif
