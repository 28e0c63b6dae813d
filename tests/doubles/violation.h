// Rows for tables of violated contracts: what is done, what it leaves in the object, and what is reported when the error
// handler returns.
#ifndef TESTS_SUPPORT_VIOLATION_H
#define TESTS_SUPPORT_VIOLATION_H

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <ostream>
#include <set>
#include <string>

#include "doubles/contract_recorder.h"

namespace support {

// One violation of an object in a known state. The name becomes part of the test's name: letters and digits only.
template <typename Object>
struct Violation {
  const char* name;
  void (*violate)(Object& object);  // looks at results and fields, too: they are those of the operation's own steps
  Reports reports;                  // all that it must cause, in order
};

template <typename Object>
std::ostream& operator<<(std::ostream& out, const Violation<Object>& row) {
  return out << row.name;
}

// For INSTANTIATE_TEST_SUITE_P: names the tests after their rows.
constexpr auto kNameOfRow = [](const auto& info) { return std::string(info.param.name); };

// A call with a null pointer that cannot go on: only its first report counts, in a process of its own.
struct NullCall {
  const char* name;
  void (*call)();
};

// Each call must begin with the report that this text, as a precondition of this file, was violated. Returns the lines of
// the reports: as many as there are calls, where each operation has a check of its own and leaves it to no other.
std::set<uint32_t> expect_null_reports(const char* file, const char* text, std::initializer_list<NullCall> calls);

}  // namespace support

#endif
