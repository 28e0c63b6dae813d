// Writing to the system log.
#ifndef USERLIB_SOURCE_TRACING_SYSTEM_LOG_H
#define USERLIB_SOURCE_TRACING_SYSTEM_LOG_H

#include <syslog.h>

namespace nuv {

// syslog(), by this name in every build. A fortified build would call __syslog_chk(), and bypass a syslog() that the program
// defines. It would only check the format, which is constant wherever this is called.
extern "C" [[gnu::format(printf, 2, 3)]] void write_to_system_log(int priority, const char* format,
                                                                  ...) __asm__("syslog");

}  // namespace nuv

#endif
