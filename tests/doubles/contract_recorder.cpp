#include "doubles/contract_recorder.h"

#include <gtest/gtest.h>

#include "doubles/witness.h"

namespace support {
namespace {

std::optional<std::string> copy(const char* text) {
  return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

}  // namespace

ContractRecorder* ContractRecorder::active_ = nullptr;

std::ostream& operator<<(std::ostream& out, const Report& report) {
  return out << "{class " << report.type << ", file " << report.file.value_or("(null)") << ", line " << report.line
             << ", text " << report.text.value_or("(null)") << "}";
}

ContractRecorder::ContractRecorder() : outer_(active_) {
  active_ = this;
  NUV_Assert_setErrorHandler(record);
}

ContractRecorder::~ContractRecorder() {
  active_ = outer_;
  NUV_Assert_setErrorHandler(outer_ != nullptr ? record : nullptr);
  for (const Report& report : reports_) {
    ADD_FAILURE() << "unexpected contract report: " << report;
  }
}

Reports ContractRecorder::take() {
  return std::exchange(reports_, {});
}

void ContractRecorder::record(uint32_t type, const char* file, uint32_t line, const char* text) {
  const Report report = {type, copy(file), copy(text), line};
  active_->reports_.push_back(report);
  witness(report);
  if (active_->meddle_) {
    active_->meddle_(report);
  }
}

Report require_report(const char* file, const char* text) {
  return {NUV_ASSERT_REQUIRE, file, text};
}

Report ensure_report(const char* file, const char* text) {
  return {NUV_ASSERT_ENSURE, file, text};
}

Report check_report(const char* file, const char* text) {
  return {NUV_ASSERT_CHECK, file, text};
}

}  // namespace support
