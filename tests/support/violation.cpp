#include "support/violation.h"

#include "support/first_report.h"

namespace support {

void expect_null_reports(const char* file, const char* text, std::initializer_list<NullCall> calls) {
  for (const NullCall& row : calls) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(first_report(row.call), require_report(file, text));
  }
}

}  // namespace support
