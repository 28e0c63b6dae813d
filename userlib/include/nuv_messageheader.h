/** @file
 * userlib: message header, what a message is and between whom it travels.
 *
 * Three numbers stand at the front of every message, all of the daemon's own choice: its type, the port that it is
 * for, the port that it comes from. For tracing, a header prints as one line of text:
 *
 *     char line[80];
 *     NUV_MessageHeader_trace(line, sizeof line, &message.m_oHeader, "tx", "dial", "card", "digit 5");
 *     // "tx:dial#3:card#1:digit 5" for destination port 3 and source port 1
 */
#ifndef NUV_MESSAGEHEADER_H
#define NUV_MESSAGEHEADER_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A header. The fields may be read and written freely. */
typedef struct MessageHeader {
  int32_t m_iMsgType;  /**< the kind of message, the daemon's numbering */
  int32_t m_iDestPort; /**< the port that the message is for */
  int32_t m_iSrcPort;  /**< the port that the message comes from */
} MessageHeader;

/** NUV_MessageHeader_set stores the three numbers. */
NUV_API void NUV_MessageHeader_set(MessageHeader* a_msg, int32_t a_msgtype, int32_t a_destport, int32_t a_srcport);

/** NUV_MessageHeader_swap exchanges the two headers. */
NUV_API void NUV_MessageHeader_swap(MessageHeader* a_this, MessageHeader* a_src);

/** NUV_MessageHeader_trace writes "<prefix>:<destname>#<destination port>:<srcname>#<source port>:<text>" into a_dest,
 * a buffer of a_size bytes, cut to fit and terminated, without a newline; a_text may be null. A message may be passed
 * through its header, which is its first field. Returns the length of the whole line, as snprintf() does: a result of
 * a_size or more says that it was cut. With a_size 0 nothing is written. */
NUV_API int32_t NUV_MessageHeader_trace(char* a_dest, uint32_t a_size, const MessageHeader* a_msg, const char* a_prefix,
                                        const char* a_destname, const char* a_srcname, const char* a_text);

#ifdef __cplusplus
}
#endif

#endif
