// Collects contract reports instead of ending the process.
#ifndef TESTS_DOUBLES_CONTRACT_RECORDER_H
#define TESTS_DOUBLES_CONTRACT_RECORDER_H

#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "nuv_assert.h"

namespace support {

// One report. The comparison ignores the line, which is only printed.
struct Report {
  uint32_t type = 0;
  std::optional<std::string> file;  // empty: the handler got a null pointer
  std::optional<std::string> text;
  uint32_t line = 0;

  bool operator==(const Report& other) const { return type == other.type && file == other.file && text == other.text; }
};

std::ostream& operator<<(std::ostream& out, const Report& report);

using Reports = std::vector<Report>;

// During its lifetime, a handler that returns is installed. Reports that are not taken fail the test.
class ContractRecorder {
 public:
  ContractRecorder();
  ~ContractRecorder();
  ContractRecorder(const ContractRecorder&) = delete;
  ContractRecorder& operator=(const ContractRecorder&) = delete;

  // Returns the reports since the last call, in order.
  Reports take();

  // The handler also runs this action at each report: an application's handler may even write to the reported record.
  void meddle(std::function<void(const Report&)> action) { meddle_ = std::move(action); }

 private:
  static void record(uint32_t type, const char* file, uint32_t line, const char* text);

  static ContractRecorder* active_;
  ContractRecorder* outer_;
  Reports reports_;
  std::function<void(const Report&)> meddle_;
};

// Shorthands for expected reports.
Report require_report(const char* file, const char* text);
Report ensure_report(const char* file, const char* text);
Report check_report(const char* file, const char* text);

}  // namespace support

#endif
