/** @file
 * userlib: pipe, one anonymous pipe of the operating system.
 *
 * A daemon passes bytes from one of its parts to another through a pipe whose read end a reactor watches:
 *
 *     if (!NUV_Pipe_construct(&events)) return errno;
 *     NUV_Select_setRead(&loop, NUV_Pipe_readFd(&events), &events, 0, on_event);
 *     ...
 *     NUV_Pipe_write(&events, "x", 1);
 *
 * It blocks, and children inherit it: writing more than it holds in a single-threaded daemon blocks for ever. No call
 * that was interrupted is retried. All operations may be called from callbacks.
 */
#ifndef NUV_PIPE_H
#define NUV_PIPE_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A pipe. All fields are left to the operations; the descriptors are the pipe's, from construct to destruct. */
typedef struct Pipe {
  uint8_t m_bCreated; /**< 1 if the system gave a pipe, else 0 */
  int32_t m_iReadFd;  /**< read end; -1 without a pipe */
  int32_t m_iWriteFd; /**< write end; -1 without a pipe */
} Pipe;

/** NUV_Pipe_construct creates the pipe. Returns 1, or 0 if the system gave none, with errno set. */
NUV_API int32_t NUV_Pipe_construct(Pipe* a_this);

/** NUV_Pipe_destruct closes the read end and then the write end, if there are any. Destruct once. */
NUV_API void NUV_Pipe_destruct(Pipe* a_this);

/** NUV_Pipe_readFd returns the descriptor of the read end, for a reactor, and NUV_Pipe_writeFd that of the write end.
 * Both stay the pipe's. */
NUV_API int32_t NUV_Pipe_readFd(const Pipe* a_this);
NUV_API int32_t NUV_Pipe_writeFd(const Pipe* a_this);

/** NUV_Pipe_read makes one read() of at most a_len bytes into a_buf and returns its result: the number of bytes, 0 at
 * the end of the data, or -1 with errno set. */
NUV_API int32_t NUV_Pipe_read(Pipe* a_this, void* a_buf, uint32_t a_len);

/** NUV_Pipe_write makes one write() of a_len bytes from a_buf and returns its result: the number of bytes, perhaps
 * fewer than a_len, or -1 with errno set. */
NUV_API int32_t NUV_Pipe_write(Pipe* a_this, const void* a_buf, uint32_t a_len);

#ifdef __cplusplus
}
#endif

#endif
