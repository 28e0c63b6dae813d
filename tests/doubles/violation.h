// Rows for tables of contract violations: the call, the object afterwards, and the reports if the error handler
// returns.
#ifndef TESTS_DOUBLES_VIOLATION_H
#define TESTS_DOUBLES_VIOLATION_H

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
  void (*violate)(Object& object);  // also checks results and fields
  Reports reports;                  // all expected reports, in order
};

template <typename Object>
std::ostream& operator<<(std::ostream& out, const Violation<Object>& row) {
  return out << row.name;
}

// For INSTANTIATE_TEST_SUITE_P: names the tests after their rows.
constexpr auto kNameOfRow = [](const auto& info) { return std::string(info.param.name); };

// A call with a null pointer, which cannot continue after its first report; runs in a child process.
struct NullCall {
  const char* name;
  void (*call)();
};

// The first report of each call must be this precondition of this file. Returns the line numbers of the reports: there
// are as many as calls if each operation checks the pointer itself.
std::set<uint32_t> expect_null_reports(const char* file, const char* text, std::initializer_list<NullCall> calls);

}  // namespace support

#endif
