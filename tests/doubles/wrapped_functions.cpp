// Replacements of C library functions (see wrapped_functions.cmake). Each one asks the doubles first and then calls the
// original.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>

#include "doubles/call_log.h"
#include "doubles/fake_clock.h"
#include "doubles/fake_files.h"
#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"
#include "doubles/process_doubles.h"

using support::CallLog;
using support::FakeClock;
using support::FaultInjector;
using support::redirected_path;

namespace {

// The blocks with their sizes. Never destroyed, because blocks are freed until the very end of the process.
std::map<const void*, size_t>& live_blocks() {
  static auto& blocks = *new std::map<const void*, size_t>;
  return blocks;
}

// The function that a child runs. The child reads this before the parent continues.
struct Start {
  int (*function)(void*);
  void* argument;
};

int start_with_signal(void* argument) {
  const Start start = *static_cast<const Start*>(argument);
  support::SignalToClone::send();
  return start.function(start.argument);
}

}  // namespace

size_t support::count_live_blocks() {
  return live_blocks().size();
}

size_t support::size_of_live_block(const void* block) {
  const auto found = live_blocks().find(block);
  return found != live_blocks().end() ? found->second : 0;
}

extern "C" {

int __real_accept(int fd, sockaddr* address, socklen_t* length);
int __wrap_accept(int fd, sockaddr* address, socklen_t* length) {
  return FaultInjector::strikes("accept") ? -1 : __real_accept(fd, address, length);
}

int __real_access(const char* path, int mode);
int __wrap_access(const char* path, int mode) {
  return FaultInjector::strikes("access") ? -1 : __real_access(redirected_path(path).c_str(), mode);
}

// For a fast alarm, sets the timer that alarm() uses, which survives an exec.
unsigned int __real_alarm(unsigned int seconds);
unsigned int __wrap_alarm(unsigned int seconds) {
  CallLog::note("alarm(%u)", seconds);
  if (!support::FastAlarm::is_active()) {
    return __real_alarm(seconds);
  }
  const auto milliseconds = static_cast<long>(seconds);
  const itimerval timer = {{0, 0}, {milliseconds / 1000, milliseconds % 1000 * 1000}};
  setitimer(ITIMER_REAL, &timer, nullptr);
  return 0;
}

int __real_bind(int fd, const sockaddr* address, socklen_t length);
int __wrap_bind(int fd, const sockaddr* address, socklen_t length) {
  return FaultInjector::strikes("bind") ? -1 : __real_bind(fd, address, length);
}

int __real_chdir(const char* path);
int __wrap_chdir(const char* path) {
  CallLog::note("chdir(%s)", path);
  return FaultInjector::strikes("chdir") ? -1 : __real_chdir(path);
}

int __real_clock_gettime(clockid_t clock, timespec* time);
int __wrap_clock_gettime(clockid_t clock, timespec* time) {
  if (FaultInjector::strikes("clock_gettime")) {
    return -1;
  }
  if (FakeClock::active() != nullptr && clock == CLOCK_MONOTONIC) {
    return FakeClock::active()->read_monotonic(time);
  }
  return __real_clock_gettime(clock, time);
}

// The flags that the library uses need no further arguments.
int __real_clone(int (*function)(void*), void* stack, int flags, void* argument, ...);
int __wrap_clone(int (*function)(void*), void* stack, int flags, void* argument, ...) {
  Start start = {function, argument};
  return FaultInjector::strikes("clone") ? -1 : __real_clone(start_with_signal, stack, flags, &start);
}

int __real_close(int fd);
int __wrap_close(int fd) {
  CallLog::note("close(%d)", fd);
  if (!FaultInjector::strikes("close")) {
    return __real_close(fd);
  }
  // A failed close() closes the descriptor anyway, unless the error is that it was not open.
  const int error = errno;
  if (error != EBADF) {
    __real_close(fd);
  }
  errno = error;
  return -1;
}

int __real_dup2(int from, int to);
int __wrap_dup2(int from, int to) {
  CallLog::note("dup2(%d, %d)", from, to);
  return FaultInjector::strikes("dup2") ? -1 : __real_dup2(from, to);
}

int __wrap_execl(const char* path, const char* argument, ...) {
  CallLog::note("execl(%s)", path);
  if (FaultInjector::strikes("execl")) {
    return -1;
  }
  std::array<char*, 8> vector = {};
  va_list arguments;
  va_start(arguments, argument);
  const char* next = argument;
  for (size_t i = 0; next != nullptr && i + 1 < vector.size(); next = va_arg(arguments, const char*)) {
    vector[i++] = const_cast<char*>(next);
  }
  va_end(arguments);
  return execv(path, vector.data());
}

int __real_fclose(FILE* stream);
int __wrap_fclose(FILE* stream) {
  const int result = __real_fclose(stream);  // closes the stream even if flushing fails
  return FaultInjector::strikes("fclose") ? EOF : result;
}

int __real_fcntl(int fd, int command, ...);
int __wrap_fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const long argument = va_arg(arguments, long);  // passed on, even if there is none
  va_end(arguments);
  return FaultInjector::strikes("fcntl") ? -1 : __real_fcntl(fd, command, argument);
}

FILE* __real_fdopen(int fd, const char* mode);
FILE* __wrap_fdopen(int fd, const char* mode) {
  return FaultInjector::strikes("fdopen") ? nullptr : __real_fdopen(fd, mode);
}

int __real_fflush(FILE* stream);
int __wrap_fflush(FILE* stream) {
  return FaultInjector::strikes("fflush") ? EOF : __real_fflush(stream);
}

char* __real_fgets(char* line, int size, FILE* stream);
char* __wrap_fgets(char* line, int size, FILE* stream) {
  return FaultInjector::strikes("fgets") ? nullptr : __real_fgets(line, size, stream);
}

int __real_flock(int fd, int operation);
int __wrap_flock(int fd, int operation) {
  return FaultInjector::strikes("flock") ? -1 : __real_flock(fd, operation);
}

FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
  return FaultInjector::strikes("fopen") ? nullptr : __real_fopen(redirected_path(path).c_str(), mode);
}

pid_t __real_fork();
pid_t __wrap_fork() {
  CallLog::note("fork()");
  return FaultInjector::strikes("fork") ? -1 : __real_fork();
}

// Compilers replace one stream output function with another, so all of them count as fprintf.
[[gnu::format(printf, 2, 3)]] int __wrap_fprintf(FILE* stream, const char* format, ...) {
  if (FaultInjector::strikes("fprintf")) {
    return -1;
  }
  va_list arguments;
  va_start(arguments, format);
  const int result = std::vfprintf(stream, format, arguments);
  va_end(arguments);
  return result;
}

[[gnu::format(printf, 3, 4)]] int __wrap___fprintf_chk(FILE* stream, int /*flag*/, const char* format, ...) {
  if (FaultInjector::strikes("fprintf")) {
    return -1;
  }
  va_list arguments;
  va_start(arguments, format);
  const int result = std::vfprintf(stream, format, arguments);
  va_end(arguments);
  return result;
}

int __real_fputc(int character, FILE* stream);
int __wrap_fputc(int character, FILE* stream) {
  return FaultInjector::strikes("fprintf") ? EOF : __real_fputc(character, stream);
}

int __real_fputs(const char* text, FILE* stream);
int __wrap_fputs(const char* text, FILE* stream) {
  return FaultInjector::strikes("fprintf") ? EOF : __real_fputs(text, stream);
}

void __real_free(void* block);
void __wrap_free(void* block) {
  live_blocks().erase(block);
  __real_free(block);
}

int __real_fstat(int fd, struct stat* status);
int __wrap_fstat(int fd, struct stat* status) {
  return FaultInjector::strikes("fstat") ? -1 : __real_fstat(fd, status);
}

size_t __real_fwrite(const void* bytes, size_t size, size_t count, FILE* stream);
size_t __wrap_fwrite(const void* bytes, size_t size, size_t count, FILE* stream) {
  return FaultInjector::strikes("fprintf") ? 0 : __real_fwrite(bytes, size, count, stream);
}

pid_t __real_getppid();
pid_t __wrap_getppid() {
  return support::FakeParent::pid() != 0 ? support::FakeParent::pid() : __real_getppid();
}

int __real_getsockopt(int fd, int level, int option, void* value, socklen_t* length);
int __wrap_getsockopt(int fd, int level, int option, void* value, socklen_t* length) {
  return FaultInjector::strikes("getsockopt") ? -1 : __real_getsockopt(fd, level, option, value, length);
}

int __real_gettimeofday(timeval* time, void* zone);
int __wrap_gettimeofday(timeval* time, void* zone) {
  if (FaultInjector::strikes("gettimeofday")) {
    return -1;
  }
  if (FakeClock::active() != nullptr) {
    *time = FakeClock::active()->wall();
    return 0;
  }
  return __real_gettimeofday(time, zone);
}

tm* __real_gmtime(const time_t* seconds);
tm* __wrap_gmtime(const time_t* seconds) {
  return FaultInjector::strikes("gmtime") ? nullptr : __real_gmtime(seconds);
}

int __real_kill(pid_t pid, int signal);
int __wrap_kill(pid_t pid, int signal) {
  CallLog::note("kill(%d)", signal);
  return FaultInjector::strikes("kill") ? -1 : __real_kill(pid, signal);
}

tm* __real_localtime(const time_t* seconds);
tm* __wrap_localtime(const time_t* seconds) {
  return FaultInjector::strikes("localtime") ? nullptr : __real_localtime(seconds);
}

tm* __real_localtime_r(const time_t* seconds, tm* result);
tm* __wrap_localtime_r(const time_t* seconds, tm* result) {
  return FaultInjector::strikes("localtime_r") ? nullptr : __real_localtime_r(seconds, result);
}

int __real_listen(int socket, int backlog);
int __wrap_listen(int socket, int backlog) {
  return FaultInjector::strikes("listen") ? -1 : __real_listen(socket, backlog);
}

int __real_lstat(const char* path, struct stat* status);
int __wrap_lstat(const char* path, struct stat* status) {
  if (FaultInjector::strikes("lstat")) {
    return -1;
  }
  const int result = __real_lstat(redirected_path(path).c_str(), status);
  if (result == 0 && support::FakeOwner::is_active()) {
    status->st_uid = support::FakeOwner::uid();
  }
  return result;
}

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) {
  void* block = FaultInjector::strikes("malloc") ? nullptr : __real_malloc(size);
  if (block != nullptr) {
    live_blocks()[block] = size;
  }
  return block;
}

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  CallLog::note("open(%s)", path);
  return FaultInjector::strikes("open") ? -1 : __real_open(redirected_path(path).c_str(), flags, mode);
}

int __real_pclose(FILE* stream);
int __wrap_pclose(FILE* stream) {
  const int result = __real_pclose(stream);
  return FaultInjector::strikes("pclose") ? -1 : result;
}

int __real_pipe(int* ends);
int __wrap_pipe(int* ends) {
  return FaultInjector::strikes("pipe") ? -1 : __real_pipe(ends);
}

FILE* __real_popen(const char* command, const char* mode);
FILE* __wrap_popen(const char* command, const char* mode) {
  return FaultInjector::strikes("popen") ? nullptr : __real_popen(command, mode);
}

int __real_putenv(char* assignment);
int __wrap_putenv(char* assignment) {
  return FaultInjector::strikes("putenv") ? -1 : __real_putenv(assignment);
}

ssize_t __real_read(int fd, void* buffer, size_t length);
ssize_t __wrap_read(int fd, void* buffer, size_t length) {
  return FaultInjector::strikes("read") ? -1 : __real_read(fd, buffer, length);
}

ssize_t __real_recvfrom(int fd, void* buffer, size_t length, int flags, sockaddr* address, socklen_t* address_length);
ssize_t __wrap_recvfrom(int fd, void* buffer, size_t length, int flags, sockaddr* address, socklen_t* address_length) {
  CallLog::note("recvfrom(%zu, %d)", length, flags);
  return FaultInjector::strikes("recvfrom") ? -1 : __real_recvfrom(fd, buffer, length, flags, address, address_length);
}

int __real_select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* wait);
int __wrap_select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* wait) {
  if (FaultInjector::strikes("select")) {
    return -1;
  }
  if (FakeClock::active() != nullptr && !FakeClock::active()->is_select_real()) {
    return FakeClock::active()->select(count, read, write, except, wait);
  }
  return __real_select(count, read, write, except, wait);
}

ssize_t __real_sendto(int fd, const void* buffer, size_t length, int flags, const sockaddr* address, socklen_t size);
ssize_t __wrap_sendto(int fd, const void* buffer, size_t length, int flags, const sockaddr* address, socklen_t size) {
  CallLog::note("sendto(%zu, %d)", length, flags);
  return FaultInjector::strikes("sendto") ? -1 : __real_sendto(fd, buffer, length, flags, address, size);
}

pid_t __real_setsid();
pid_t __wrap_setsid() {
  CallLog::note("setsid()");
  return FaultInjector::strikes("setsid") ? -1 : __real_setsid();
}

int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol) {
  return FaultInjector::strikes("socket") ? -1 : __real_socket(domain, type, protocol);
}

int __real_stat(const char* path, struct stat* status);
int __wrap_stat(const char* path, struct stat* status) {
  return FaultInjector::strikes("stat") ? -1 : __real_stat(redirected_path(path).c_str(), status);
}

size_t __real_strftime(char* text, size_t size, const char* format, const tm* time);
size_t __wrap_strftime(char* text, size_t size, const char* format, const tm* time) {
  if (FaultInjector::strikes("strftime")) {
    // The buffer is undefined after a failure; the worst case is a full buffer without a terminator.
    std::memset(text, '?', size);
    return 0;
  }
  return __real_strftime(text, size, format, time);
}

// The library calls syscall() with three arguments.
long __real_syscall(long number, long first, long second, long third);
long __wrap_syscall(long number, long first, long second, long third) {
  return FaultInjector::strikes("syscall") ? -1 : __real_syscall(number, first, second, third);
}

long __real_sysconf(int name);
long __wrap_sysconf(int name) {
  return FaultInjector::strikes("sysconf") ? -1 : __real_sysconf(name);
}

time_t __real_time(time_t* result);
time_t __wrap_time(time_t* result) {
  if (FaultInjector::strikes("time")) {
    return -1;
  }
  if (FakeClock::active() == nullptr) {
    return __real_time(result);
  }
  const time_t now = FakeClock::active()->wall().tv_sec;
  if (result != nullptr) {
    *result = now;
  }
  return now;
}

mode_t __real_umask(mode_t mask);
mode_t __wrap_umask(mode_t mask) {
  CallLog::note("umask(%03o)", mask);
  return __real_umask(mask);
}

int __real_uname(utsname* name);
int __wrap_uname(utsname* name) {
  return FaultInjector::strikes("uname") ? -1 : __real_uname(name);
}

int __real_unlink(const char* path);
int __wrap_unlink(const char* path) {
  return FaultInjector::strikes("unlink") ? -1 : __real_unlink(redirected_path(path).c_str());
}

pid_t __real_waitpid(pid_t pid, int* status, int options);
pid_t __wrap_waitpid(pid_t pid, int* status, int options) {
  CallLog::note("waitpid(%d)", options);
  return FaultInjector::strikes("waitpid") ? -1 : __real_waitpid(pid, status, options);
}

ssize_t __real_write(int fd, const void* buffer, size_t length);
ssize_t __wrap_write(int fd, const void* buffer, size_t length) {
  return FaultInjector::strikes("write") ? -1 : __real_write(fd, buffer, length);
}

}  // extern "C"
