/** @file
 * userlib: execute, a shell command with its output and, if wanted, a time limit.
 *
 * The command runs in a shell of its own, with nothing to read and no descriptor of the daemon. The caller waits until
 * it has ended, so at most what a pipe holds, 64 KiB on most systems, may be printed; a callback keeps the reactor
 * waiting.
 *
 *     int32_t status = NUV_Execute_Command_Timeout("echo answer", output, sizeof output, 5);
 *     if (status == 0) puts(output);
 */
#ifndef NUV_EXECUTE_H
#define NUV_EXECUTE_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** NUV_Execute_Command_Timeout runs a_cmdline with "/bin/sh -c", ends the shell (SIGALRM) after a_seconds, if more
 * than 0, and puts what it printed on standard output and error into r_result, of a_reslen bytes, as a text; of a
 * longer output, the last piece. Returns the exit status of the shell, 1 if a signal ended it, -1 if there was no
 * pipe or no child. NUV_Execute_Command has no limit. The limit does not end what the shell has started: put "exec"
 * before the last command. */
NUV_API int32_t NUV_Execute_Command_Timeout(const char* a_cmdline, char* r_result, int32_t a_reslen, int32_t a_seconds);
NUV_API int32_t NUV_Execute_Command(const char* a_cmdline, char* r_result, int32_t a_reslen);

#ifdef __cplusplus
}
#endif

#endif
