/** @file
 * userlib: frame, a byte block whose content can shrink and grow at both ends.
 *
 * Protocol layers add and strip headers and trailers without copying: a frame owns one block of memory, and two
 * pointers mark the content inside it.
 *
 *     address        begin            end          address + absolute size
 *        | offset front | size (content) | offset rear |
 *
 * Reducing takes bytes off an end of the content, expanding gives them back; neither touches the bytes.
 *
 *     NUV_Frame_construct(&packet, 1500);
 *     NUV_Frame_reduceFront(&packet, 20);         // leave room for a header
 *     memcpy(NUV_Frame_begin(&packet), text, length);
 *     NUV_Frame_reduceRear(&packet, NUV_Frame_size(&packet) - length);
 *     NUV_Frame_expandFront(&packet, 20);         // the header's turn
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

/** NUV_Frame_construct makes a frame of a_size bytes, all of them content, uninitialised, and returns 1. The block
 * comes from the hook of nuv_memory.h. With a_size 0, or without memory, NUV_Frame_address() is null; the latter is
 * reported. */
NUV_API int32_t NUV_Frame_construct(Frame* a_this, uint32_t a_size);

/** NUV_Frame_copyConstruct makes a frame that takes the block away from a_src, all of it content, and returns 1. a_src
 * can then only be destructed or assigned to. */
NUV_API int32_t NUV_Frame_copyConstruct(Frame* a_this, Frame* a_src);

/** NUV_Frame_destruct gives the block back. */
NUV_API void NUV_Frame_destruct(Frame* a_this);

/** NUV_Frame_swap exchanges blocks and contents of the two frames. */
NUV_API void NUV_Frame_swap(Frame* a_this, Frame* a_src);

/** NUV_Frame_assign moves a_src into a_this, which gives its own block back. a_src is empty then; assigned to itself,
 * a frame is too. */
NUV_API void NUV_Frame_assign(Frame* a_this, Frame* a_src);

/** NUV_Frame_absoluteSize returns the size of the block in bytes, headroom and tailroom included. */
NUV_API uint32_t NUV_Frame_absoluteSize(const Frame* a_this);

/** NUV_Frame_address returns the address of the block (null without one), NUV_Frame_begin that of the first byte of
 * the content, and NUV_Frame_end the one past its last byte. */
NUV_API uint8_t* NUV_Frame_address(const Frame* a_this);
NUV_API uint8_t* NUV_Frame_begin(const Frame* a_this);
NUV_API uint8_t* NUV_Frame_end(const Frame* a_this);

/** NUV_Frame_offsetFront returns the bytes of headroom, NUV_Frame_offsetRear those of tailroom, and NUV_Frame_size
 * those of content. */
NUV_API uint32_t NUV_Frame_offsetFront(const Frame* a_this);
NUV_API uint32_t NUV_Frame_offsetRear(const Frame* a_this);
NUV_API uint32_t NUV_Frame_size(const Frame* a_this);

/** NUV_Frame_reduceFront and NUV_Frame_reduceRear strip a_offset bytes from an end of the content, which become
 * headroom or tailroom; NUV_Frame_expandFront and NUV_Frame_expandRear give such bytes back to it. Each requires at
 * least a_offset bytes there. */
NUV_API void NUV_Frame_reduceFront(Frame* a_this, uint32_t a_offset);
NUV_API void NUV_Frame_expandFront(Frame* a_this, uint32_t a_offset);
NUV_API void NUV_Frame_reduceRear(Frame* a_this, uint32_t a_offset);
NUV_API void NUV_Frame_expandRear(Frame* a_this, uint32_t a_offset);

#ifdef __cplusplus
}
#endif

#endif
