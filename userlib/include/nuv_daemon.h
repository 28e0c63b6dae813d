/** @file
 * userlib: daemon, a process in the background and its pid file.
 *
 * A Daemon record turns the calling process into a daemon and looks after the file in which a second instance or a
 * control script finds its process id. The file is named after the process and lies in a directory of the caller's
 * choice; it holds the decimal id, without a newline.
 *
 *     static Daemon daemon;
 *     NUV_Daemon_construct(&daemon, "phoned", a_directory);    // such as "/var/run"
 *     if (NUV_Daemon_occupiedPidFile(&daemon)) return 1;    // another one runs
 *     NUV_Daemon_daemonize(&daemon);
 *     NUV_Daemon_createPidFile(&daemon);                    // /var/run/phoned.pid
 *     ...
 *     NUV_Daemon_deletePidFile(&daemon);
 *
 * Daemonise before anything that a fork does not pass on: threads, timers, file locks. The pid file comes after,
 * because the process id changes. Nothing locks the file: of two instances that start in the same moment, both may find
 * it free.
 *
 * Contracts are reported under "nuv_daemon"; every operation on a record first requires "((void *)0) != a_this". The
 * pid files are read and processes looked up with the functions of nuv_utility.h. All operations but
 * NUV_Daemon_daemonize() may be called from callbacks.
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

/**
 * NUV_Daemon_construct prepares a record for the process a_processname, whose pid file is to lie in the directory
 * a_pidfilepath, and returns 1. The pid file's name is the directory, a "/" unless it ends in one, the process name and
 * ".pid"; an empty directory is the root. Both texts are copied, and the directory is not looked at.
 *
 * Requires "((void *)0) != a_processname" and "((void *)0) != a_pidfilepath", then a name of 1 to 15 characters,
 * "( 0 < strlen( a_processname)) && ( 16 > strlen( a_processname))", and a path of at most 73,
 * "( 96 - 16 - 6 > strlen( a_pidfilepath))". Ensures "0 == NUV_Daemon_daemonized( a_this)". After an error handler has
 * returned, null reads as the empty text, and what is too long for its field is cut.
 */
NUV_API int32_t NUV_Daemon_construct(Daemon* a_this, const char* a_processname, const char* a_pidfilepath);

/** NUV_Daemon_destruct releases nothing, because a record owns nothing. The pid file stays. */
NUV_API void NUV_Daemon_destruct(Daemon* a_this);

/** NUV_Daemon_getProcessName returns the name of the process, kept in the record. */
NUV_API const char* NUV_Daemon_getProcessName(const Daemon* a_this);

/** NUV_Daemon_getPidFileName returns the name of the pid file with its directory, kept in the record. */
NUV_API const char* NUV_Daemon_getPidFileName(const Daemon* a_this);

/** NUV_Daemon_getPid returns the id of the calling process. */
NUV_API int32_t NUV_Daemon_getPid(void);

/** NUV_Daemon_daemonized returns 1 once NUV_Daemon_daemonize() has made the process a daemon, else 0. */
NUV_API int32_t NUV_Daemon_daemonized(const Daemon* a_this);

/**
 * NUV_Daemon_daemonize detaches the process from whoever started it. It returns in the daemon only: another process,
 * with another id, whose parent is init, in a session of its own without being its leader (so that it never gets a
 * terminal), with the working directory "/", the file mask 027, and the descriptors 0, 1 and 2 on the null device. All
 * other descriptors stay open. The process that called, and one in between, end with status 0 without running exit
 * handlers; what their streams still held has been written by then.
 *
 * A process whose parent is init counts as a daemon already: it is only marked as one.
 *
 * If the process cannot be detached (no fork, no session, no null device), exit(1) ends the process that found out: the
 * caller's own if the first fork fails, one that nobody waits for after that. A working directory that cannot be left
 * does not matter. Requires "0 == NUV_Daemon_daemonized( a_this)".
 */
NUV_API void NUV_Daemon_daemonize(Daemon* a_this);

/** NUV_Daemon_hasPidFile returns 1 if the pid file exists, else 0. */
NUV_API int32_t NUV_Daemon_hasPidFile(const Daemon* a_this);

/** NUV_Daemon_checkPidFile returns 1 if the pid file holds the id of the calling process, else 0. */
NUV_API int32_t NUV_Daemon_checkPidFile(const Daemon* a_this);

/**
 * NUV_Daemon_createPidFile writes the id of the calling process into the pid file, over whatever it held before: ask
 * NUV_Daemon_occupiedPidFile() first. A symbolic link in its place is followed if it belongs to root or to the effective
 * user; a stranger's counts as a file that cannot be opened, and so does a FIFO.
 *
 * Requires "0 == NUV_Daemon_checkPidFile( a_this)". A file that cannot be opened is reported under the class
 * "resource error" with "((void *)0) != pPidFile". Ensures "1 == NUV_Daemon_checkPidFile( a_this)", which also fails
 * when the id could not be written.
 */
NUV_API void NUV_Daemon_createPidFile(const Daemon* a_this);

/**
 * NUV_Daemon_deletePidFile removes the pid file if it holds the id of the calling process; a file of another process is
 * left in place. Ensures "0 == NUV_Daemon_checkPidFile( a_this)", which fails when the file could not be removed.
 */
NUV_API void NUV_Daemon_deletePidFile(const Daemon* a_this);

/**
 * NUV_Daemon_occupiedPidFile returns 1 if the pid file names a process that exists, be it the calling one, else 0: no
 * file, none that can be read, no positive number in it, a process that has ended, or one that the caller may not
 * signal.
 */
NUV_API int32_t NUV_Daemon_occupiedPidFile(const Daemon* a_this);

#ifdef __cplusplus
}
#endif

#endif
