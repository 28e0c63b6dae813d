#include "doubles/violation.h"

#include "doubles/first_report.h"

namespace support {

std::set<uint32_t> expect_null_reports(const char* file, const char* text, std::initializer_list<NullCall> calls) {
  std::set<uint32_t> lines;
  for (const NullCall& row : calls) {
    SCOPED_TRACE(row.name);
    const Report report = first_report(row.call);
    EXPECT_EQ(report, require_report(file, text));
    lines.insert(report.line);
  }
  return lines;
}

}  // namespace support
