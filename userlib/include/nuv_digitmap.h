/** @file
 * userlib: digit map, the dial plan of a telephone line.
 *
 * A dial plan is a list of patterns such as "0x.T|110|[1-9]xxx". After each digit that a subscriber dials, and when the
 * inter-digit time has run out, the digits collected so far are checked against it: the number is complete, may still
 * grow, or can never match.
 *
 * A pattern is made of symbols, one for each digit to be dialled:
 *
 *     0-9 A-D # *    that symbol
 *     x or X         any of 0 to 9
 *     [135A]         any of the symbols in the brackets
 *     [2-5]          any symbol of the range, in the order 0-9 A-D # *
 *     .              the symbol before it may be dialled any number of times, none included
 *     T              the pattern is complete only when the inter-digit time has run out
 *
 * Brackets with a "-" in them are one range, of which only the first and the last symbol count; one that runs backwards
 * or has one end only matches nothing.
 *
 * Blanks and parentheses may be used freely; "|" separates the patterns. A pattern without T is complete as soon as its
 * digits are there, and only while the timer has not run out.
 *
 *     DigitMap plan;
 *     char pattern[32];
 *     NUV_DigitMap_construct(&plan);
 *     NUV_DigitMap_setMap(&plan, "(0x.T | 110 | [1-9]xxx)");
 *     switch (NUV_DigitMap_checkDialString(&plan, NUV_DIGITMAP_FIRST_MATCH, "110", 0, pattern, sizeof pattern)) {
 *       case NUV_DIGITMAP_COMPLETE: ...  // "110", pattern is "110"
 *
 * Contracts are reported under "nuv_digitmap". Checking never changes the map; it takes time in proportion to the
 * length of the map times the length of the dial string, however many repetitions the patterns hold, and uses the heap
 * only for patterns and dial strings of unusual length (symbols times digits beyond some 2000).
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

/** NUV_DigitMap_construct makes an empty map and returns 1. Requires "0 == is_null(a_this)". */
NUV_API int32_t NUV_DigitMap_construct(DigitMap* a_this);

/** NUV_DigitMap_destruct frees all patterns and leaves an empty map. Requires "0 == is_null(a_this)". */
NUV_API void NUV_DigitMap_destruct(DigitMap* a_this);

/**
 * NUV_DigitMap_setMap replaces the map by the patterns of a_map, which "|" separates; empty ones between two bars do
 * not count. Returns 1; or 0 at the first pattern that is not valid (one with any other character than those above,
 * with an open bracket, or with a "." that has no symbol in front) or without memory, and then keeps the patterns read
 * before it. Requires "0 == is_null(a_this)" and "0 == is_null(a_map)"; without a text the map is empty and the result
 * 0.
 */
NUV_API int32_t NUV_DigitMap_setMap(DigitMap* a_this, const char* a_map);

/**
 * NUV_DigitMap_addMap appends a_map as one pattern, which must not hold a "|"; an empty text is the pattern that
 * matches nothing dialled. Returns 1; or 0, with the map unchanged, if it is not valid or there is no memory. Requires
 * "0 == is_null(a_this)" and "0 == is_null(a_map)"; without a text the result is 0.
 */
NUV_API int32_t NUV_DigitMap_addMap(DigitMap* a_this, const char* a_map);

/**
 * NUV_DigitMap_dumpMap prints every pattern on standard output: its text, whether it waits for the timer, and its
 * masks, between two lines of 15 dashes. Requires "0 == is_null(a_this)".
 */
NUV_API void NUV_DigitMap_dumpMap(const DigitMap* a_this);

/**
 * NUV_DigitMap_checkDialString checks the digits dialled so far. The low byte of a_timer is 1 when the inter-digit time
 * has run out, else 0. Returns NUV_DIGITMAP_COMPLETE, NUV_DIGITMAP_UNDECIDED or NUV_DIGITMAP_NO_MATCH; any a_mode but 0
 * and 1 gives NUV_DIGITMAP_NO_MATCH.
 *
 * First match: the patterns are tried in their order. A complete one ends the search.
 *
 * Best match: of all complete patterns the most specific one is taken: the one that, compared symbol by symbol with its
 * repetitions written out, allows fewer digits at the first difference, or else is longer; among equals the first. It
 * has to wait (undecided) while an incomplete pattern exists that is as specific or more so, or if its text ends with
 * ".".
 *
 * a_out, of a_outSize bytes, receives the text of each complete pattern when it is found, cut to the buffer, and at
 * last that of the one taken; so it may have been written although the result is undecided. Null: no text is wanted.
 *
 * Requires "0 == is_null(a_this)" and "0 == is_null(a_dial_string)"; nothing matches null. Where memory is needed and
 * there is none, the pattern that needs it counts as undecided.
 */
NUV_API int32_t NUV_DigitMap_checkDialString(const DigitMap* a_this, int32_t a_mode, const char* a_dial_string,
                                             uint32_t a_timer, char* a_out, uint32_t a_outSize);

#ifdef __cplusplus
}
#endif

#endif
