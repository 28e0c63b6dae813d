#include "doubles/call_log.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace support {
namespace {

CallLog* g_active = nullptr;

}  // namespace

CallLog::CallLog() : lines_(nullptr) {
  void* memory = mmap(nullptr, sizeof(Lines), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    ADD_FAILURE() << "no memory for a call log";
    return;
  }
  lines_ = static_cast<Lines*>(memory);  // all zeros
  g_active = this;
}

CallLog::~CallLog() {
  g_active = nullptr;
  if (lines_ != nullptr) {
    munmap(lines_, sizeof(Lines));
  }
}

std::vector<std::string> CallLog::calls() const {
  const size_t count = lines_ != nullptr ? std::min<size_t>(lines_->count, kLines) : 0;
  return {lines_->text, lines_->text + count};
}

std::vector<std::string> CallLog::calls_of(const std::string& function) const {
  std::vector<std::string> selected = calls();
  std::erase_if(selected, [&](const std::string& call) { return !call.starts_with(function + "("); });
  return selected;
}

void CallLog::note(const char* format, ...) {
  if (g_active == nullptr) {
    return;
  }
  const int error = errno;
  const size_t line = g_active->lines_->count++;
  if (line < kLines) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(g_active->lines_->text[line], kLineSize, format, arguments);
    va_end(arguments);
  }
  errno = error;
}

}  // namespace support
