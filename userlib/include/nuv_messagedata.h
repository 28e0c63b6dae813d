/** @file
 * userlib: message data, one typed item of a message.
 *
 * An item owns a block of memory and says with a number of the daemon's choice what the bytes are. Setting it takes
 * the caller's block, and items change hands by move or swap; nothing is copied. An item without data has the type
 * NUV_MESSAGEDATA_NONE.
 *
 *     NUV_MessageData_construct(&digits);
 *     NUV_MessageData_set(&digits, TYPE_DIGITS, &block);   // block is empty now
 *     ...
 *     NUV_MessageData_destruct(&digits);
 */
#ifndef NUV_MESSAGEDATA_H
#define NUV_MESSAGEDATA_H

#include <stdint.h>

#include "nuv_api.h"
#include "nuv_memory.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The type of an item without data. */
#define NUV_MESSAGEDATA_NONE (-1)

/** An item. Read the fields if you like, but leave writing to the operations. */
typedef struct MessageData {
  int32_t m_iType; /**< what the bytes are, the daemon's numbering; NUV_MESSAGEDATA_NONE: not set */
  Memory m_oData;  /**< the bytes, owned by the item */
} MessageData;

/** NUV_MessageData_construct makes an item without data and returns 1. */
NUV_API int32_t NUV_MessageData_construct(MessageData* a_this);

/** NUV_MessageData_destruct gives the block back. */
NUV_API void NUV_MessageData_destruct(MessageData* a_this);

/** NUV_MessageData_type returns the type. */
NUV_API int32_t NUV_MessageData_type(const MessageData* a_this);

/** NUV_MessageData_data returns the item's block, which stays the item's: move it out to keep it longer. */
NUV_API Memory* NUV_MessageData_data(MessageData* a_this);

/** NUV_MessageData_set gives the item a type and the block of a_data, which is left empty; its own block is given
 * back. */
NUV_API void NUV_MessageData_set(MessageData* a_this, int32_t a_type, Memory* a_data);

/** NUV_MessageData_swap exchanges types and blocks of the two items. */
NUV_API void NUV_MessageData_swap(MessageData* a_this, MessageData* a_src);

/** NUV_MessageData_move moves type and block of a_src into a_this. The block that a_this had is given back, and a_src
 * is left without data. An item that is moved onto itself loses its data. */
NUV_API void NUV_MessageData_move(MessageData* a_this, MessageData* a_src);

#ifdef __cplusplus
}
#endif

#endif
