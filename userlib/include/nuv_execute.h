/** @file
 * userlib: execute, a shell command with its output and, if wanted, a time limit.
 *
 * A daemon that needs an answer from a command line tool (the state of an interface, the result of a script) runs it
 * through these two functions. The command runs in a shell of its own, with nothing to read and without any descriptor
 * of the daemon; what it prints on standard output and standard error comes back as one text:
 *
 *     char output[256];
 *     int32_t status = NUV_Execute_Command_Timeout("echo answer", output, sizeof output, 5);
 *     if (status == 0) puts(output);
 *
 * The calling thread waits until the shell has ended; nothing is read before that. Two things follow. A command that
 * prints more than a pipe holds (64 KiB on most systems) stalls until its time limit, or for ever without one: let
 * such a command print into a file. And from an output that is longer than the buffer, the last piece is left, not the
 * first: see NUV_Execute_Command_Timeout().
 *
 * The time limit is an alarm (SIGALRM) that the shell inherits. It ends the shell, not what the shell has started: put
 * "exec" before the last command of a line that shall not outlive the limit. A daemon that ignores or blocks SIGALRM
 * has no time limit, because shells inherit that as well. One that ignores SIGCHLD gets 0 instead of every status.
 *
 * Contracts are reported under "nuv_execute". Both functions may be called from callbacks, where they keep the reactor
 * waiting.
 */
#ifndef NUV_EXECUTE_H
#define NUV_EXECUTE_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * NUV_Execute_Command_Timeout runs a_cmdline with "/bin/sh -c" and puts what it prints into r_result, a buffer of
 * a_reslen bytes. The shell is ended after a_seconds seconds; with 0 or less there is no limit.
 *
 * The output is read in pieces of a_reslen bytes, each one stored at the front of the buffer over the one before, and
 * the last byte of the buffer is set to zero. So an output that is shorter than the buffer is there as a text, a longer
 * one leaves its last piece: 300 bytes read into 100 leave bytes 200 to 298 and a zero. A last piece that does not fill
 * the buffer is ended by a zero too. A buffer of one byte always holds the empty text, and so does every buffer when
 * nothing was printed or the shell was ended by a signal.
 *
 * Returns the exit status of the shell, which is that of its last command, 0 to 255. Returns 1 too when a signal ended
 * the shell, so the time limit looks like an exit with status 1; a command whose status 1 matters must say it in its
 * output. A shell that could not be set up gives the errno of what failed as its status. Returns -1, with no
 * descriptor left open, if there was no pipe or no child.
 *
 * Requires "((void *)0) != a_cmdline", "((void *)0) != r_result" and "0 != a_reslen". A buffer that is null or whose
 * length is not positive is left alone, and the output is lost.
 */
NUV_API int32_t NUV_Execute_Command_Timeout(const char* a_cmdline, char* r_result, int32_t a_reslen, int32_t a_seconds);

/** NUV_Execute_Command is NUV_Execute_Command_Timeout() without a time limit. */
NUV_API int32_t NUV_Execute_Command(const char* a_cmdline, char* r_result, int32_t a_reslen);

#ifdef __cplusplus
}
#endif

#endif
