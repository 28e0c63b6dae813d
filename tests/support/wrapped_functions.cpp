// The functions that the linker puts in the place of the C library's (see wrapped_functions.cmake). Each one asks the
// doubles first and then does what the original does.
#include <fcntl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "support/fake_clock.h"
#include "support/fake_files.h"
#include "support/fault_injector.h"

using support::FakeClock;
using support::FaultInjector;
using support::redirected_path;

extern "C" {

int __real_access(const char* path, int mode);
int __wrap_access(const char* path, int mode) {
  return FaultInjector::strikes("access") ? -1 : __real_access(redirected_path(path).c_str(), mode);
}

int __real_bind(int fd, const sockaddr* address, socklen_t length);
int __wrap_bind(int fd, const sockaddr* address, socklen_t length) {
  return FaultInjector::strikes("bind") ? -1 : __real_bind(fd, address, length);
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

FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
  return FaultInjector::strikes("fopen") ? nullptr : __real_fopen(redirected_path(path).c_str(), mode);
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
  return FaultInjector::strikes("open") ? -1 : __real_open(redirected_path(path).c_str(), flags, mode);
}

int __real_pipe(int* ends);
int __wrap_pipe(int* ends) {
  return FaultInjector::strikes("pipe") ? -1 : __real_pipe(ends);
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
  if (FakeClock::active() != nullptr) {
    return FakeClock::active()->select(count, read, write, except, wait);
  }
  return __real_select(count, read, write, except, wait);
}

ssize_t __real_sendto(int fd, const void* buffer, size_t length, int flags, const sockaddr* address, socklen_t size);
ssize_t __wrap_sendto(int fd, const void* buffer, size_t length, int flags, const sockaddr* address, socklen_t size) {
  return FaultInjector::strikes("sendto") ? -1 : __real_sendto(fd, buffer, length, flags, address, size);
}

int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol) {
  return FaultInjector::strikes("socket") ? -1 : __real_socket(domain, type, protocol);
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

int __real_unlink(const char* path);
int __wrap_unlink(const char* path) {
  return FaultInjector::strikes("unlink") ? -1 : __real_unlink(redirected_path(path).c_str());
}

ssize_t __real_write(int fd, const void* buffer, size_t length);
ssize_t __wrap_write(int fd, const void* buffer, size_t length) {
  return FaultInjector::strikes("write") ? -1 : __real_write(fd, buffer, length);
}

}  // extern "C"
