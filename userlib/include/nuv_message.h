/** @file
 * userlib: message, a typed record that the parts of a daemon pass to each other.
 *
 * A header (type, destination port, source port) and up to five data items, each with a type and a block of memory.
 * Sending means handing over: adding an item takes the caller's block, and a message changes hands by move or swap; no
 * payload is copied.
 *
 *     NUV_Message_construct(&offhook, MSG_OFFHOOK, PORT_DIAL, PORT_CARD);
 *     NUV_Message_add(&offhook, TYPE_LINE, &line_block);    // line_block is empty now
 *     NUV_Message_move(&queue[last], &offhook);             // offhook is empty now
 *     NUV_Message_destruct(&offhook);
 *
 * Types and ports are the daemon's own numbering; the library only carries them. For raw bytes between parts of a
 * daemon, take a pipe (nuv_pipe.h).
 */
#ifndef NUV_MESSAGE_H
#define NUV_MESSAGE_H

#include <stdint.h>

#include "nuv_api.h"
#include "nuv_memory.h"
#include "nuv_messagedata.h"
#include "nuv_messageheader.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The number of items that a message holds. */
#define NUV_MESSAGE_SIZE 5

/** A message. Read the fields and write the header if you like, but leave the items to the operations. */
typedef struct Message {
  MessageHeader m_oHeader;                /**< type and ports; stands first, for NUV_MessageHeader_trace */
  uint32_t m_uSize;                       /**< items in use, 0 to 5: those at the front of the array */
  MessageData m_rgData[NUV_MESSAGE_SIZE]; /**< the items, owned; those not in use have no data */
} Message;

/** NUV_Message_construct makes a message without items and returns 1. */
NUV_API int32_t NUV_Message_construct(Message* a_this, int32_t a_msgtype, int32_t a_destport, int32_t a_srcport);

/** NUV_Message_destruct gives back the blocks of all five items. */
NUV_API void NUV_Message_destruct(Message* a_this);

/** NUV_Message_msgType returns the type of the message, NUV_Message_destPort the port that it is for, and
 * NUV_Message_srcPort the port that it comes from. */
NUV_API int32_t NUV_Message_msgType(const Message* a_this);
NUV_API int32_t NUV_Message_destPort(const Message* a_this);
NUV_API int32_t NUV_Message_srcPort(const Message* a_this);

/** NUV_Message_size returns the number of items in use, NUV_Message_maxSize the five that fit. */
NUV_API uint32_t NUV_Message_size(const Message* a_this);
NUV_API uint32_t NUV_Message_maxSize(const Message* a_this);

/** NUV_Message_data returns item a_index, counted from 0; it stays the message's. Requires an item that is in use. */
NUV_API MessageData* NUV_Message_data(Message* a_this, uint32_t a_index);

/** NUV_Message_add appends an item with the type a_type and the block of a_data, which is left empty. Requires room. A
 * full message keeps its five items, and the block stays the caller's. */
NUV_API void NUV_Message_add(Message* a_this, int32_t a_type, Memory* a_data);

/** NUV_Message_swap exchanges headers, sizes and all items of the two messages. */
NUV_API void NUV_Message_swap(Message* a_this, Message* a_src);

/** NUV_Message_move moves header and items of a_src into a_this. The blocks that a_this had are given back, and a_src
 * is left with the header 0, 0, 0 and without items. A message that is moved onto itself ends up like that, too. */
NUV_API void NUV_Message_move(Message* a_this, Message* a_src);

#ifdef __cplusplus
}
#endif

#endif
