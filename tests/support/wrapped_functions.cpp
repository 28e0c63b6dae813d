// The functions that the linker puts in the place of the C library's (see wrapped_functions.cmake). Each one asks the
// doubles first and then does what the original does.
#include <fcntl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "support/call_log.h"
#include "support/fake_clock.h"
#include "support/fake_files.h"
#include "support/fault_injector.h"
#include "support/process_doubles.h"

using support::CallLog;
using support::FakeClock;
using support::FaultInjector;
using support::redirected_path;

extern "C" {

int __real_accept(int fd, sockaddr* address, socklen_t* length);
int __wrap_accept(int fd, sockaddr* address, socklen_t* length) {
  return FaultInjector::strikes("accept") ? -1 : __real_accept(fd, address, length);
}

int __real_access(const char* path, int mode);
int __wrap_access(const char* path, int mode) {
  return FaultInjector::strikes("access") ? -1 : __real_access(redirected_path(path).c_str(), mode);
}

// A fast alarm rings after milliseconds. The timer is the one that alarm() uses, and an exec keeps it.
unsigned int __real_alarm(unsigned int seconds);
unsigned int __wrap_alarm(unsigned int seconds) {
  CallLog::note("alarm(%u)", seconds);
  if (!support::FastAlarm::is_active()) {
    return __real_alarm(seconds);
  }
  const itimerval timer = {{0, 0}, {seconds / 1000, seconds % 1000 * 1000L}};
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

int __real_close(int fd);
int __wrap_close(int fd) {
  CallLog::note("close(%d)", fd);
  return FaultInjector::strikes("close") ? -1 : __real_close(fd);
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

FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
  return FaultInjector::strikes("fopen") ? nullptr : __real_fopen(redirected_path(path).c_str(), mode);
}

pid_t __real_fork();
pid_t __wrap_fork() {
  CallLog::note("fork()");
  return FaultInjector::strikes("fork") ? -1 : __real_fork();
}

int __real_fstat(int fd, struct stat* status);
int __wrap_fstat(int fd, struct stat* status) {
  return FaultInjector::strikes("fstat") ? -1 : __real_fstat(fd, status);
}

pid_t __real_getppid();
pid_t __wrap_getppid() {
  return support::FakeParent::pid() != 0 ? support::FakeParent::pid() : __real_getppid();
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

int __real_kill(pid_t pid, int signal);
int __wrap_kill(pid_t pid, int signal) {
  CallLog::note("kill(%d)", signal);
  return FaultInjector::strikes("kill") ? -1 : __real_kill(pid, signal);
}

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) {
  return FaultInjector::strikes("malloc") ? nullptr : __real_malloc(size);
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

int __real_pipe(int* ends);
int __wrap_pipe(int* ends) {
  return FaultInjector::strikes("pipe") ? -1 : __real_pipe(ends);
}

FILE* __real_popen(const char* command, const char* mode);
FILE* __wrap_popen(const char* command, const char* mode) {
  return FaultInjector::strikes("popen") ? nullptr : __real_popen(command, mode);
}

ssize_t __real_read(int fd, void* buffer, size_t length);
ssize_t __wrap_read(int fd, void* buffer, size_t length) {
  return FaultInjector::strikes("read") ? -1 : __real_read(fd, buffer, length);
}

ssize_t __real_recvfrom(int fd, void* buffer, size_t length, int flags, sockaddr* address, socklen_t* address_length);
ssize_t __wrap_recvfrom(int fd, void* buffer, size_t length, int flags, sockaddr* address, socklen_t* address_length) {
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

size_t __real_strftime(char* text, size_t size, const char* format, const tm* time);
size_t __wrap_strftime(char* text, size_t size, const char* format, const tm* time) {
  if (FaultInjector::strikes("strftime")) {
    // What a text without room leaves behind is undefined: the worst is a full buffer without an end.
    std::memset(text, '?', size);
    return 0;
  }
  return __real_strftime(text, size, format, time);
}

// The library makes one call by number, with three arguments.
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
