/** @file
 * userlib: frame, a byte block whose content can shrink and grow at both ends.
 *
 * Protocol layers add and strip headers and trailers. A frame lets them do that without copying: it owns one block of
 * memory, and two pointers mark the content inside it. The bytes before the content are the headroom (offset front),
 * those behind it the tailroom (offset rear):
 *
 *     address        begin            end          address + absolute size
 *        | offset front | size (content) | offset rear |
 *
 * Reducing takes bytes off an end of the content, expanding gives them back; neither touches the bytes themselves.
 *
 *     Frame packet;
 *     NUV_Frame_construct(&packet, 1500);
 *     NUV_Frame_reduceFront(&packet, 20);         // leave room for a header
 *     memcpy(NUV_Frame_begin(&packet), text, length);
 *     NUV_Frame_reduceRear(&packet, NUV_Frame_size(&packet) - length);
 *     NUV_Frame_expandFront(&packet, 20);         // the header's turn
 *     ...
 *     NUV_Frame_destruct(&packet);
 *
 * Contracts are reported under "nuv_frame" (those of the block under "nuv_memory"); every operation first requires
 * "0 != a_this". After an error handler has returned, reducing and expanding move their pointer all the same, out of the
 * block if the offset was too large. The frame itself never reads or writes through its pointers, so that this harms only
 * who does: destruct such a frame, assign another one to it, or take the move back. An assign from null leaves an empty
 * frame, and a swap with null changes nothing.
 */
#ifndef NUV_FRAME_H
#define NUV_FRAME_H

#include <stdint.h>

#include "nuv_api.h"
#include "nuv_memory.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A frame. Read the fields if you like, but leave writing to the operations. */
typedef struct Frame {
  Memory m_oMemory;  /**< the block, owned; its size is the frame's absolute size */
  uint8_t* m_pBegin; /**< first byte of the content */
  uint8_t* m_pEnd;   /**< one past the last byte of the content */
} Frame;

/**
 * NUV_Frame_construct makes a frame of a_size bytes, all of them content, and returns 1. The block comes from the hook
 * of nuv_memory.h, uninitialised. With a_size 0 there is no block and both pointers are null. When there was no memory,
 * which the block reports, the frame has its size at the address null: look at NUV_Frame_address() before writing to it.
 */
NUV_API int32_t NUV_Frame_construct(Frame* a_this, uint32_t a_size);

/**
 * NUV_Frame_copyConstruct makes a frame that takes the block away from a_src, and returns 1. No byte is copied, and the
 * content of the new frame is the whole block, whatever it was before. a_src owns nothing any more, yet its begin and
 * end still point into the block that the new frame owns: all that it is good for is destruct and being assigned to. A
 * null a_src is reported by the block as "0 != a_src" and makes an empty frame.
 */
NUV_API int32_t NUV_Frame_copyConstruct(Frame* a_this, Frame* a_src);

/** NUV_Frame_destruct gives the block back. */
NUV_API void NUV_Frame_destruct(Frame* a_this);

/** NUV_Frame_swap exchanges blocks and contents of the two frames. Requires "0 != a_src". */
NUV_API void NUV_Frame_swap(Frame* a_this, Frame* a_src);

/**
 * NUV_Frame_assign moves a_src into a_this: a_this takes over block and content as they are, the block that it had is
 * given back, and a_src becomes an empty frame that can be used again. A frame assigned to itself ends up empty.
 * Requires "0 != a_src".
 */
NUV_API void NUV_Frame_assign(Frame* a_this, Frame* a_src);

/** NUV_Frame_absoluteSize returns the size of the block in bytes, headroom and tailroom included. */
NUV_API uint32_t NUV_Frame_absoluteSize(const Frame* a_this);

/** NUV_Frame_address returns the address of the block, null without one. */
NUV_API uint8_t* NUV_Frame_address(const Frame* a_this);

/** NUV_Frame_begin returns the address of the first byte of the content. */
NUV_API uint8_t* NUV_Frame_begin(const Frame* a_this);

/** NUV_Frame_end returns the address one past the last byte of the content. */
NUV_API uint8_t* NUV_Frame_end(const Frame* a_this);

/** NUV_Frame_offsetFront returns the bytes of headroom. */
NUV_API uint32_t NUV_Frame_offsetFront(const Frame* a_this);

/** NUV_Frame_offsetRear returns the bytes of tailroom. */
NUV_API uint32_t NUV_Frame_offsetRear(const Frame* a_this);

/** NUV_Frame_size returns the bytes of content. */
NUV_API uint32_t NUV_Frame_size(const Frame* a_this);

/**
 * NUV_Frame_reduceFront strips a_offset bytes from the front of the content; they become headroom. Requires
 * "NUV_Frame_size( a_this) >= a_offset", ensures "NUV_Frame_offsetFront( a_this) == ( oldoffset + a_offset)".
 */
NUV_API void NUV_Frame_reduceFront(Frame* a_this, uint32_t a_offset);

/**
 * NUV_Frame_expandFront gives a_offset bytes of headroom back to the content. Requires
 * "NUV_Frame_offsetFront( a_this) >= a_offset", ensures "NUV_Frame_offsetFront( a_this) == ( oldoffset - a_offset)".
 */
NUV_API void NUV_Frame_expandFront(Frame* a_this, uint32_t a_offset);

/**
 * NUV_Frame_reduceRear strips a_offset bytes from the end of the content; they become tailroom. Requires
 * "NUV_Frame_size( a_this) >= a_offset", ensures "NUV_Frame_offsetRear( a_this) == ( oldoffset + a_offset)".
 */
NUV_API void NUV_Frame_reduceRear(Frame* a_this, uint32_t a_offset);

/**
 * NUV_Frame_expandRear gives a_offset bytes of tailroom to the content. Requires
 * "NUV_Frame_offsetRear( a_this) >= a_offset", ensures "NUV_Frame_offsetRear( a_this) == ( oldoffset - a_offset)".
 */
NUV_API void NUV_Frame_expandRear(Frame* a_this, uint32_t a_offset);

#ifdef __cplusplus
}
#endif

#endif
