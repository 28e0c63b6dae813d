/** @file
 * userlib: digit map, the dial plan of a telephone line.
 *
 * A dial plan is a list of patterns with "|" in between, such as "0x.T|110|[1-9]xxx". After each digit, and when the
 * inter-digit time has run out, the digits so far are checked: the number is complete, may still grow, or can never
 * match.
 *
 *     0-9 A-D # *    that symbol
 *     x or X         any of 0 to 9
 *     [135A]         any of the symbols in the brackets
 *     [2-5]          any symbol of the range, in the order 0-9 A-D # *; with a "-", brackets are one range
 *     .              the symbol before it may be dialled any number of times, none included
 *     T              the pattern is complete only when the inter-digit time has run out
 *
 * Blanks and parentheses mean nothing. A pattern without T is complete when its digits are there, unless the time has
 * run out.
 *
 *     NUV_DigitMap_setMap(&plan, "(0x.T | 110 | [1-9]xxx)");
 *     switch (NUV_DigitMap_checkDialString(&plan, NUV_DIGITMAP_FIRST_MATCH, "110", 0, pattern, sizeof pattern)) {
 *       case NUV_DIGITMAP_COMPLETE: ...  // "110", pattern is "110"
 *
 * A check takes time in proportion to the length of the map times that of the dial string.
 */
#ifndef NUV_DIGITMAP_H
#define NUV_DIGITMAP_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The modes of a check. */
enum {
  NUV_DIGITMAP_FIRST_MATCH = 0, /**< the first pattern of the list that is complete decides */
  NUV_DIGITMAP_BEST_MATCH = 1   /**< the most specific pattern decides */
};

/** The results of a check. */
enum {
  NUV_DIGITMAP_UNDECIDED = 0, /**< more digits, or the end of the inter-digit time, may complete a pattern */
  NUV_DIGITMAP_COMPLETE = 1,  /**< the number is complete */
  NUV_DIGITMAP_NO_MATCH = 3   /**< no pattern can match any more */
};

/** One pattern of the map. All fields belong to the map. */
typedef struct NUV_DigitMapPattern {
  uint32_t* m_pSymbols; /**< one mask a symbol: bits 0-9 the digits, 10-13 A-D, 14 #, 15 *; bit 16: may repeat. Owned,
                           or null without symbols */
  uint32_t m_uCount;    /**< number of symbols */
  char* m_pText;        /**< the pattern as it was written, without blanks and parentheses; owned */
  uint8_t m_bTimer;     /**< 1 if the pattern holds a T */
  struct NUV_DigitMapPattern* m_pNext; /**< next pattern, null at the end */
} NUV_DigitMapPattern;

/** A map: the handle is the caller's, the list that it heads is the library's. */
typedef NUV_DigitMapPattern* DigitMap;

/** NUV_DigitMap_construct makes an empty map and returns 1; NUV_DigitMap_destruct frees all patterns and leaves an
 * empty one. */
NUV_API int32_t NUV_DigitMap_construct(DigitMap* a_this);
NUV_API void NUV_DigitMap_destruct(DigitMap* a_this);

/** NUV_DigitMap_setMap replaces the map by the patterns of a_map; empty ones do not count. Returns 1; or 0 at the
 * first pattern that is not valid (another character, an open bracket, a "." without a symbol in front) or without
 * memory, and keeps those before it. */
NUV_API int32_t NUV_DigitMap_setMap(DigitMap* a_this, const char* a_map);

/** NUV_DigitMap_addMap appends a_map as one pattern, which must not hold a "|"; an empty text matches nothing dialled.
 * Returns 1; or 0, with the map unchanged, if it is not valid or there is no memory. */
NUV_API int32_t NUV_DigitMap_addMap(DigitMap* a_this, const char* a_map);

/** NUV_DigitMap_dumpMap prints every pattern with its masks on standard output, between two lines of 15 dashes. */
NUV_API void NUV_DigitMap_dumpMap(const DigitMap* a_this);

/** NUV_DigitMap_checkDialString checks the digits so far; the low byte of a_timer is 1 when the inter-digit time has
 * run out. In first match, the first complete pattern decides. In best match, the most specific complete one does;
 * the result is undecided while an incomplete pattern exists that is as specific. Any other a_mode gives
 * NUV_DIGITMAP_NO_MATCH. a_out, of a_outSize bytes or null, gets the text of the pattern taken, cut to fit; it may be
 * written when the result is undecided, too. */
NUV_API int32_t NUV_DigitMap_checkDialString(const DigitMap* a_this, int32_t a_mode, const char* a_dial_string,
                                             uint32_t a_timer, char* a_out, uint32_t a_outSize);

#ifdef __cplusplus
}
#endif

#endif
