/** @file
 * userlib: daemon, a process in the background and its pid file.
 *
 * Turns the calling process into a daemon and keeps its pid file: the process id in decimal, without a newline.
 *
 *     NUV_Daemon_construct(&daemon, "phoned", a_directory);    // such as "/var/run"
 *     if (NUV_Daemon_occupiedPidFile(&daemon)) return 1;    // another one runs
 *     NUV_Daemon_daemonize(&daemon);
 *     NUV_Daemon_createPidFile(&daemon);                    // /var/run/phoned.pid
 *     ...
 *     NUV_Daemon_deletePidFile(&daemon);
 *
 * Daemonise before you start threads and timers or lock files, which a fork does not pass on; the pid file comes after
 * it, because the id changes. Nothing locks it: two that start at once may both find it free. All but
 * NUV_Daemon_daemonize() are fit for callbacks.
 */
#ifndef NUV_DAEMON_H
#define NUV_DAEMON_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A daemon. All fields are left to the operations. */
typedef struct Daemon {
  uint8_t m_bDaemonized;    /**< 1 once the process is a daemon, else 0 */
  char m_szProcessName[16]; /**< the name, 1 to 15 characters and a zero */
  char m_szPidFileName[96]; /**< the whole name of the pid file */
} Daemon;

/** NUV_Daemon_construct prepares a record for a process of this name (1 to 15 characters) with the pid file
 * "<name>.pid" in the directory a_pidfilepath (at most 73 characters; empty: root), and returns 1. Texts are copied. */
NUV_API int32_t NUV_Daemon_construct(Daemon* a_this, const char* a_processname, const char* a_pidfilepath);

/** NUV_Daemon_destruct releases nothing. The pid file stays. */
NUV_API void NUV_Daemon_destruct(Daemon* a_this);

/** NUV_Daemon_getProcessName returns the name of the process, NUV_Daemon_getPidFileName that of the pid file with its
 * directory. The texts are in the record. */
NUV_API const char* NUV_Daemon_getProcessName(const Daemon* a_this);
NUV_API const char* NUV_Daemon_getPidFileName(const Daemon* a_this);

/** NUV_Daemon_getPid returns the id of the calling process. */
NUV_API int32_t NUV_Daemon_getPid(void);

/** NUV_Daemon_daemonized returns 1 once NUV_Daemon_daemonize() has made the process a daemon, else 0. */
NUV_API int32_t NUV_Daemon_daemonized(const Daemon* a_this);

/** NUV_Daemon_daemonize detaches the process. It returns in the daemon only: another id, a session of its own,
 * directory "/", file mask 027, descriptors 0 to 2 on the null device. The caller ends with status 0, or 1 if it
 * cannot be detached. A child of init is only marked. Requires a process that is no daemon yet. */
NUV_API void NUV_Daemon_daemonize(Daemon* a_this);

/** NUV_Daemon_hasPidFile returns 1 if the pid file exists, NUV_Daemon_checkPidFile if it holds the id of the calling
 * process; else 0. */
NUV_API int32_t NUV_Daemon_hasPidFile(const Daemon* a_this);
NUV_API int32_t NUV_Daemon_checkPidFile(const Daemon* a_this);

/** NUV_Daemon_createPidFile writes the process id over what the pid file holds, which must not be this id. A file that
 * cannot be opened or written is reported. */
NUV_API void NUV_Daemon_createPidFile(const Daemon* a_this);

/** NUV_Daemon_deletePidFile removes the pid file if it holds the id of the calling process. Failure is reported. */
NUV_API void NUV_Daemon_deletePidFile(const Daemon* a_this);

/** NUV_Daemon_occupiedPidFile returns 1 if the pid file names a process that the caller may signal, itself included,
 * else 0. */
NUV_API int32_t NUV_Daemon_occupiedPidFile(const Daemon* a_this);

#ifdef __cplusplus
}
#endif

#endif
