/** @file
 * userlib: trace-level init file.
 *
 * A daemon's trace masks survive a restart in a small text file in the device's flash. This record is the file in
 * memory: a level table (nuv_level.h) and the note whether it was changed since it was last saved or restored. The
 * trace facility has one such record of its own, which NUV_Sysloglevel_readInitFile() and
 * NUV_Sysloglevel_saveInitFile() go through; most daemons need no other.
 *
 * The file has two sections, a header with the version of the format and the table:
 *
 *     [TraceLevelInit Version]
 *     1
 *
 *     [Level]
 *     0;"TraceLevel";113
 *     1;"VoipPhone";48
 *
 * Lines end in a newline alone, and the empty line at the end belongs to the file: without it the table counts as cut
 * off. Writing such a file:
 *
 *     static TraceLevelInit init;
 *     NUV_TraceLevelInit_construct(&init);
 *     NUV_Level_insert(&init, "VoipPhone", 48);
 *     FILE* file = tmpfile();    // a daemon opens a file in its flash
 *     if (file != NULL) {
 *       NUV_TraceLevelInit_save(&init, file);
 *       fclose(file);
 *     }
 *
 * Contracts are reported under "nuv_tracelevelinit"; operations on a record first require "a_this != ((void *)0)",
 * those on a stream "a_pFileStream != ((void *)0)". After an error handler has returned, a null stream counts as one
 * that fails; where it should be read, NUV_Utility_readLine() reports it once more. What is wrong with a file is not a contract: the result says so, and a line of the module "TraceLevel"
 * why.
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

/**
 * gmodulHandleTraceLevelInit is the module handle under which the records report, that of the module "TraceLevel". 0
 * until NUV_TraceLevelInit_construct() has set it. Read only.
 */
extern NUV_API int gmodulHandleTraceLevelInit;

/**
 * NUV_TraceLevelInit_construct makes an empty, unchanged record and returns 1. It registers the module "TraceLevel"
 * with the trace facility, which reports a registry that is full; the handle is then -1.
 */
NUV_API int32_t NUV_TraceLevelInit_construct(TraceLevelInit* a_this);

/** NUV_TraceLevelInit_destruct empties the table; the record owns nothing else, and the module stays registered. */
NUV_API void NUV_TraceLevelInit_destruct(TraceLevelInit* a_this);

/** NUV_TraceLevelInit_clean empties the table. bChanged stays as it is. */
NUV_API void NUV_TraceLevelInit_clean(TraceLevelInit* a_this);

/** NUV_TraceLevelInit_hasChanged tells whether bChanged is set. */
NUV_API bool NUV_TraceLevelInit_hasChanged(const TraceLevelInit* a_this);

/**
 * NUV_TraceLevelInit_writeString writes a text and a newline and returns true, or false when either cannot be written.
 * Requires "a_pszString != ((void *)0)" too; for a null text nothing is written.
 */
NUV_API bool NUV_TraceLevelInit_writeString(FILE* a_pFileStream, const char* a_pszString);

/**
 * NUV_TraceLevelInit_readString reads one line, or 1023 characters of a longer one, and tells whether that is exactly
 * a_pszString. False too when no line is left. Requires "a_pszString != ((void *)0)" too; a null text equals no line, but
 * the line is read.
 */
NUV_API bool NUV_TraceLevelInit_readString(FILE* a_pFileStream, const char* a_pszString);

/**
 * NUV_TraceLevelInit_save writes the whole file and returns true, or stops and returns false where a line of it cannot
 * be written. bChanged is cleared in any case. Errors that a buffered stream holds back show up when the caller flushes
 * or closes it.
 */
NUV_API bool NUV_TraceLevelInit_save(TraceLevelInit* a_this, FILE* a_pFileStream);

/**
 * NUV_TraceLevelInit_restore reads a whole file, appends its rows to the table, clears bChanged and returns true. Where
 * the file is not as it should be, it stops, returns false and writes one line with NUV_Sysloglevel_error():
 * "Restoring of table [Version] failed", "Restore failed because wrong version id" or
 * "Restoring of table [Level] failed". Rows read before stay in the table, and bChanged stays as it is. The third line
 * of a file is not looked at.
 */
NUV_API bool NUV_TraceLevelInit_restore(TraceLevelInit* a_this, FILE* a_pFileStream);

/**
 * NUV_TraceLevelInit_checkIntegrity asks the table (NUV_Level_checkIntegrity), warns with
 * NUV_TraceLevelInit_integrityWarning("Level") if it is not sound, and tells whether it is.
 */
NUV_API bool NUV_TraceLevelInit_checkIntegrity(const TraceLevelInit* a_this);

/**
 * NUV_TraceLevelInit_integrityWarning writes "integrity check failed for <table name>" with NUV_Sysloglevel_warning().
 * A null name reads as empty. The text is formatted with VAStr(), whose previous text it overwrites.
 */
NUV_API void NUV_TraceLevelInit_integrityWarning(const char* a_pszTableName);

#ifdef __cplusplus
}
#endif

#endif
