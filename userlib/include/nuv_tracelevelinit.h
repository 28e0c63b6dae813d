/** @file
 * userlib: trace-level init file, in which trace masks survive a restart.
 *
 * The record is the file in memory: a level table (nuv_level.h), and whether it was changed. The trace facility has a
 * record of its own; most daemons need no other. The file has two sections, and ends in an empty line:
 *
 *     [TraceLevelInit Version]
 *     1
 *
 *     [Level]
 *     0;"TraceLevel";113
 *     1;"VoipPhone";48
 *
 * What is wrong with a file is a result and a trace line of the module "TraceLevel". A save leaves it to the caller to
 * flush or close the stream, and to see the errors of that.
 */
#ifndef NUV_TRACELEVELINIT_H
#define NUV_TRACELEVELINIT_H

#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

#include "nuv_api.h"
#include "nuv_level.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An init file in memory. The table is meant to be worked on with the operations of nuv_level.h. */
struct TraceLevelInit {
  uint8_t bChanged;   /**< 1: modified since construction, the last save or the last successful restore */
  struct Level Level; /**< the rows */
};

/** The handle of the module "TraceLevel"; 0 until NUV_TraceLevelInit_construct() has set it. Read only. */
extern NUV_API int gmodulHandleTraceLevelInit;

/** NUV_TraceLevelInit_construct makes an empty, unchanged record, registers "TraceLevel", and returns 1. */
NUV_API int32_t NUV_TraceLevelInit_construct(TraceLevelInit* a_this);

/** NUV_TraceLevelInit_destruct and NUV_TraceLevelInit_clean empty the table; bChanged stays as it is. */
NUV_API void NUV_TraceLevelInit_destruct(TraceLevelInit* a_this);
NUV_API void NUV_TraceLevelInit_clean(TraceLevelInit* a_this);

/** NUV_TraceLevelInit_hasChanged tells whether bChanged is set. */
NUV_API bool NUV_TraceLevelInit_hasChanged(const TraceLevelInit* a_this);

/** NUV_TraceLevelInit_writeString writes a text and a newline; false when either cannot be written. */
NUV_API bool NUV_TraceLevelInit_writeString(FILE* a_pFileStream, const char* a_pszString);

/** NUV_TraceLevelInit_readString reads a line, at most 1023 characters, and tells whether it is exactly a_pszString. */
NUV_API bool NUV_TraceLevelInit_readString(FILE* a_pFileStream, const char* a_pszString);

/** NUV_TraceLevelInit_save writes the whole file; false where a line cannot be written. Clears bChanged in any case. */
NUV_API bool NUV_TraceLevelInit_save(TraceLevelInit* a_this, FILE* a_pFileStream);

/** NUV_TraceLevelInit_restore appends the rows of a file to the table and clears bChanged. Where the file is not as it
 * should be, it returns false, traces why, and keeps bChanged and the rows so far. */
NUV_API bool NUV_TraceLevelInit_restore(TraceLevelInit* a_this, FILE* a_pFileStream);

/** NUV_TraceLevelInit_checkIntegrity tells whether the table is sound, and warns if it is not. */
NUV_API bool NUV_TraceLevelInit_checkIntegrity(const TraceLevelInit* a_this);

/** NUV_TraceLevelInit_integrityWarning traces the warning "integrity check failed for <table name>". It formats with
 * VAStr(). */
NUV_API void NUV_TraceLevelInit_integrityWarning(const char* a_pszTableName);

#ifdef __cplusplus
}
#endif

#endif
