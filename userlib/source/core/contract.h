// Contract checks, as every source file of the library writes them.
//
// A check evaluates its expression once, costs one predictable branch while it holds, and otherwise reports the
// expression's text under the family's name (the source file's constant kFamily). The text is what an operator reads
// and what error handlers compare, so it is typed with exactly the blanks that it must have; .clang-format leaves the
// arguments of these macros alone. Every build checks: there is no switch that compiles the checks out.
//
// If the error handler returns, the operation goes on. So each operation checks once more before it uses a value that would
// lead it outside its storage.
#ifndef USERLIB_SOURCE_CORE_CONTRACT_H
#define USERLIB_SOURCE_CORE_CONTRACT_H

#include <stddef.h>
#include <stdint.h>

#include "nuv_assert.h"

namespace nuv {

// Class and line of a check in sixteen bits, which every processor loads with one instruction.
inline constexpr uint32_t kContractLineBits = 13;

template <uint32_t Type, uint32_t Line>
struct ContractLine {
  static_assert(Line < 1U << kContractLineBits && Type < 1U << (16 - kContractLineBits));
  static constexpr uint32_t value = Type << kContractLineBits | Line;
};

// Takes a check's class and line apart and reports it.
[[gnu::cold]] void report_contract(uint32_t class_and_line, const char* text, const char* family);

// The name of a family, as an argument of templates.
template <size_t Size>
struct FamilyName {
  explicit consteval FamilyName(const char (&name)[Size]) {
    for (size_t i = 0; i < Size; ++i) {  // <algorithm> would be most of what each source parses
      text[i] = name[i];
    }
  }
  char text[Size] = {};
};

// Reports a check that does not hold. There are hundreds of checks, and what each of them costs is the code of its
// report: so a family has one function for all of them, which knows its name, and a check passes no more than two
// arguments. "cold" keeps the reports away from what runs every day. "used" keeps the function visible to the linker: in
// position-independent code for mips a call then takes an instruction less than one to a function that is local to a file.
template <FamilyName Family>
[[gnu::cold, gnu::noinline, gnu::used, gnu::visibility("hidden")]] void contract_failed(uint32_t class_and_line,
                                                                                        const char* text) {
  report_contract(class_and_line, text, Family.text);
}

// The same for an object that is null and would be read or written next: should the error handler return, the process ends
// as it does at any access through a null pointer.
template <FamilyName Family>
[[noreturn, gnu::cold, gnu::noinline]] void object_missing(uint32_t class_and_line, const char* text) {
  contract_failed<Family>(class_and_line, text);
  static_cast<void>(*static_cast<const volatile char*>(nullptr));  // NOLINT(clang-analyzer-core.NullDereference)
  __builtin_trap();
}

}  // namespace nuv

#define NUV_CONTRACT_BY(report, type, condition, text)  \
  (__builtin_expect(static_cast<bool>(condition), true) \
       ? static_cast<void>(0)                           \
       : ::nuv::report<::nuv::FamilyName(kFamily)>(::nuv::ContractLine<(type), __LINE__>::value, (text)))
#define NUV_CONTRACT(type, condition, text) NUV_CONTRACT_BY(contract_failed, type, condition, text)

#define NUV_REQUIRE(expression)  NUV_CONTRACT(NUV_ASSERT_REQUIRE, expression, #expression)
#define NUV_ENSURE(expression)   NUV_CONTRACT(NUV_ASSERT_ENSURE, expression, #expression)
#define NUV_CHECK(expression)    NUV_CONTRACT(NUV_ASSERT_CHECK, expression, #expression)
#define NUV_NOT_NULL(expression) NUV_CONTRACT(NUV_ASSERT_NULL_POINTER, expression, #expression)
#define NUV_RESOURCE(expression) NUV_CONTRACT(NUV_ASSERT_RESOURCE, expression, #expression)

// For the object of an operation, where the operation reads or writes it next.
#define NUV_REQUIRE_OBJECT(expression) NUV_CONTRACT_BY(object_missing, NUV_ASSERT_REQUIRE, expression, #expression)

// For a text that is not the expression to be compiled, or could not be evaluated safely.
#define NUV_REQUIRE_TEXT(condition, text) NUV_CONTRACT(NUV_ASSERT_REQUIRE, condition, text)
#define NUV_ENSURE_TEXT(condition, text)  NUV_CONTRACT(NUV_ASSERT_ENSURE, condition, text)

#endif
