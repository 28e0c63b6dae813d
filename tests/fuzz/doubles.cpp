#include "doubles.h"

#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "fuzz_check.h"
#include "nuv_assert.h"

namespace fuzz {
namespace {

uint32_t g_reports = 0;
Machine* g_machine = nullptr;

void count_report(uint32_t /*type*/, const char* /*file*/, uint32_t /*line*/, const char* /*text*/) {
  ++g_reports;
}

bool is_in_flash(const char* path) {
  return std::string_view(path).starts_with("/flash/");
}

// An open file of the flash, written back when it is closed.
struct OpenFile {
  std::string path;
  std::string content;
  size_t position = 0;
};

ssize_t read_file(void* cookie, char* bytes, size_t size) {
  auto& file = *static_cast<OpenFile*>(cookie);
  const size_t length = std::min(size, file.content.size() - file.position);
  std::memcpy(bytes, file.content.data() + file.position, length);
  file.position += length;
  return static_cast<ssize_t>(length);
}

ssize_t write_file(void* cookie, const char* bytes, size_t size) {
  static_cast<OpenFile*>(cookie)->content.append(bytes, size);
  return static_cast<ssize_t>(size);
}

int close_written_file(void* cookie) {
  const std::unique_ptr<OpenFile> file(static_cast<OpenFile*>(cookie));
  flash()[file->path] = file->content;
  return 0;
}

int close_read_file(void* cookie) {
  delete static_cast<OpenFile*>(cookie);
  return 0;
}

FILE* open_in_flash(const char* path, std::string_view mode) {
  cookie_io_functions_t functions = {};
  if (mode.starts_with("w")) {
    functions.write = write_file;
    functions.close = close_written_file;
    return fopencookie(new OpenFile{path, {}}, "w", functions);
  }
  const auto file = flash().find(path);
  if (file == flash().end()) {
    errno = ENOENT;
    return nullptr;
  }
  functions.read = read_file;
  functions.close = close_read_file;
  return fopencookie(new OpenFile{path, file->second}, "r", functions);
}

}  // namespace

std::map<std::string, std::string>& flash() {
  static std::map<std::string, std::string> files;
  return files;
}

Contracts::Contracts() {
  g_reports = 0;
  NUV_Assert_setErrorHandler(count_report);
}

Contracts::~Contracts() {
  NUV_Assert_setErrorHandler(nullptr);
}

void Contracts::expect_refusal(bool refused) {
  FUZZ_CHECK((std::exchange(g_reports, 0) > 0) == refused);
}

Stdout::Stdout() : memory_(memfd_create("stdout", MFD_CLOEXEC)), outer_(dup(STDOUT_FILENO)) {
  std::fflush(stdout);
  FUZZ_CHECK(memory_ >= 0 && outer_ >= 0 && dup2(memory_, STDOUT_FILENO) == STDOUT_FILENO);
}

Stdout::~Stdout() {
  std::fflush(stdout);
  dup2(outer_, STDOUT_FILENO);
  close(outer_);
  close(memory_);
}

std::string Stdout::take() {
  std::fflush(stdout);
  std::string text(static_cast<size_t>(lseek(memory_, 0, SEEK_CUR)), '\0');
  FUZZ_CHECK(pread(memory_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
  lseek(memory_, 0, SEEK_SET);
  return text;
}

Machine::Machine() {
  g_machine = this;
}

Machine::~Machine() {
  g_machine = nullptr;
}

}  // namespace fuzz

extern "C" {

int __real_access(const char* path, int mode);
int __wrap_access(const char* path, int mode) {
  if (std::string_view(path) == "/etc/quiet") {
    errno = ENOENT;
    return -1;
  }
  return __real_access(path, mode);
}

int __real_clock_gettime(clockid_t clock, timespec* time);
int __wrap_clock_gettime(clockid_t clock, timespec* time) {
  if (fuzz::g_machine == nullptr || clock != CLOCK_MONOTONIC) {
    return __real_clock_gettime(clock, time);
  }
  const timeval now = fuzz::g_machine->monotonic();
  *time = {now.tv_sec, now.tv_usec * 1000};
  return 0;
}

FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
  return fuzz::is_in_flash(path) ? fuzz::open_in_flash(path, mode) : __real_fopen(path, mode);
}

int __real_select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* wait);
int __wrap_select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* wait) {
  if (fuzz::g_machine == nullptr) {
    return __real_select(count, read, write, except, wait);
  }
  return fuzz::g_machine->select(count, read, write, except, wait);
}

// Nothing reaches the system log, but the texts are formatted, so that their arguments are read.
void openlog(const char* /*ident*/, int /*option*/, int /*facility*/) {}
void closelog() {}

[[gnu::format(printf, 2, 0)]] void vsyslog(int /*priority*/, const char* format, va_list arguments) {
  char text[256];
  vsnprintf(text, sizeof text, format, arguments);
}

[[gnu::format(printf, 2, 3)]] void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}

[[gnu::format(printf, 3, 4)]] void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}

}  // extern "C"
