/** @file
 * userlib: level table, the trace masks of up to 50 modules.
 *
 * The table is what a trace-level init file looks like in memory: one row per module, with the module's name and the
 * mask of what it traces (the bits are explained in nuv_sysloglevel.h). The rows stand packed from index 0 on, in the
 * order in which they were inserted or read; rows that are not in use are all zero, except that a line which
 * NUV_Level_restore() refused may have left something in the next one.
 *
 * Every row has an id of its own, by which it is addressed and which it keeps while rows before it are deleted. An id
 * is not an index: a new row gets the largest id in use plus one, and the first row of an empty table gets 0. Once the
 * largest id is 65535, a new row gets the smallest id that is free.
 *
 * There are two layers. The first nine operations work on the bare table and report contracts under "nuv_level". The
 * others work on the record that owns the table (nuv_tracelevelinit.h), report under "nuv_level_access", and note in
 * bChanged that something was modified: NUV_Level_insert, _delete, _update, _setModulName and _setTraceLevel set it to
 * 1, and nothing here clears it.
 *
 *     static TraceLevelInit init;
 *     NUV_TraceLevelInit_construct(&init);
 *     uint16_t line = NUV_Level_insert(&init, "Line", 113);
 *     NUV_Level_setTraceLevel(&init, line, 48);
 *     NUV_Level_save(&init.Level, stdout);
 *
 * prints the section of an init file: the line 0;"Line";48 and an empty line.
 *
 * Operations on the bare table require "a_this != ((void *)0)", except NUV_Level_insertRow and NUV_Level_deleteRow,
 * which leave that to their callers; those on the record require "a_pDB != ((void *)0)". After an error handler has
 * returned, they continue with what they were given, but never outside the table: a full table gets no row; an id that no
 * row has reads as the empty name and the mask 0, and storing under it changes bChanged alone; a count above 50 reads as
 * 50. A null name reads as the empty one.
 */
#ifndef NUV_LEVEL_H
#define NUV_LEVEL_H

#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The number of rows that a table has. */
#define NUV_LEVEL_SIZE 50

/** The record that owns a table, defined in nuv_tracelevelinit.h. */
typedef struct TraceLevelInit TraceLevelInit;

/** One row. Names longer than 10 characters are cut when they are stored. */
typedef struct TableEntry {
  uint16_t u16TableId;    /**< id of the row; unique unless an init file repeats one */
  char szModulName[11];   /**< name of the module, at most 10 characters and a terminator */
  uint32_t u32TraceLevel; /**< trace mask of the module */
} TableEntry;

/** The table. Reading the fields is fine, writing is better left to the operations. */
typedef struct Level {
  uint16_t u16ActSize;              /**< number of rows in use, 0 to 50 */
  struct TableEntry TableEntry[50]; /**< the rows; 0 to u16ActSize - 1 are in use */
} Level;

/** NUV_Level_construct makes an empty table, all rows zero, and returns 1. */
NUV_API int32_t NUV_Level_construct(Level* a_this);

/** NUV_Level_destruct empties the table; it owns nothing else. */
NUV_API void NUV_Level_destruct(Level* a_this);

/** NUV_Level_clean empties the table and zeroes all its rows. */
NUV_API void NUV_Level_clean(Level* a_this);

/**
 * NUV_Level_indexOfId returns the index of the first row with the id a_u16TableId, or -1 if there is none. Ensures
 * "(i >= 0) && (i < 50)" for what it finds.
 */
NUV_API int NUV_Level_indexOfId(const Level* a_this, uint16_t a_u16TableId);

/**
 * NUV_Level_lastId returns the largest id in use. Ensures "NUV_Level_indexOfId(a_this, u16LastTableId) >= 0", so that
 * an empty table, for which the result is 0, is reported.
 */
NUV_API uint16_t NUV_Level_lastId(const Level* a_this);

/**
 * NUV_Level_insertRow puts a row with a new id behind the last one and returns the id; name and mask are the caller's
 * to set. It does not check for room: NUV_Level_insert() does. Ensures
 * "(a_this->u16ActSize - 1) == NUV_Level_indexOfId(a_this, u16LastId)"; in a full table no row is added, which fails
 * this, and the id belongs to no row.
 */
NUV_API uint16_t NUV_Level_insertRow(Level* a_this);

/** NUV_Level_deleteRow takes the row with this id out; the rows behind it move up. An unknown id is ignored. */
NUV_API void NUV_Level_deleteRow(Level* a_this, uint16_t a_u16TableId);

/**
 * NUV_Level_save writes one line <id>;"<name>";<mask> for each row, numbers in decimal, and then an empty line. It
 * returns false, and stops, when a row cannot be written; the empty line is not watched. Errors that a buffered stream
 * holds back show up when the caller flushes or closes it. Requires "a_pFileStream != ((void *)0)"; a null stream gets
 * nothing, and the result is false.
 */
NUV_API bool NUV_Level_save(const Level* a_this, FILE* a_pFileStream);

/**
 * NUV_Level_restore appends rows from lines such as NUV_Level_save() writes, up to and including the empty line that
 * ends them, and returns true. It returns false, keeping the rows read so far, when the stream ends without the empty
 * line, when a line does not hold exactly three fields (a name therefore cannot contain a semicolon), when a field is
 * not what it should be, or when there is a row too many. Ids are taken as they stand, names are cut to 10 characters,
 * masks are taken modulo 2^32. Fields are converted one by one into the row behind the last one, so that a line which is
 * refused leaves there what came before the field that was wrong; NUV_Level_insertRow() would show it. A line of more than
 * 510 characters is read as several. bChanged stays as it is. Requires "a_pFileStream != ((void *)0)"; a null stream is
 * reported by NUV_Utility_readLine() too, and has no line.
 */
NUV_API bool NUV_Level_restore(Level* a_this, FILE* a_pFileStream);

/** NUV_Level_begin returns 0, the index of the first row. */
NUV_API uint16_t NUV_Level_begin(const TraceLevelInit* a_pDB);

/** NUV_Level_end returns the index behind the last row. */
NUV_API uint16_t NUV_Level_end(const TraceLevelInit* a_pDB);

/** NUV_Level_actSize returns the number of rows in use. */
NUV_API uint16_t NUV_Level_actSize(const TraceLevelInit* a_pDB);

/** NUV_Level_maxSize returns 50, the number of rows that the table has. */
NUV_API uint16_t NUV_Level_maxSize(const TraceLevelInit* a_pDB);

/** NUV_Level_isEmpty tells whether no row is in use. */
NUV_API bool NUV_Level_isEmpty(const TraceLevelInit* a_pDB);

/** NUV_Level_isFull tells whether all 50 rows are in use. */
NUV_API bool NUV_Level_isFull(const TraceLevelInit* a_pDB);

/**
 * NUV_Level_getIdAtIndex returns the id of the row at an index. Requires "a_u16Index < a_pDB->Level.u16ActSize"; behind
 * the rows in use it returns what the row there holds, and behind the table 0.
 */
NUV_API uint16_t NUV_Level_getIdAtIndex(const TraceLevelInit* a_pDB, uint16_t a_u16Index);

/**
 * NUV_Level_getIndexAtId returns the index of the row with this id. Requires "iIndex >= 0", which says that there is
 * one; a refused call returns 65535, which is no index.
 */
NUV_API uint16_t NUV_Level_getIndexAtId(const TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/** NUV_Level_findId tells whether some row has this id. */
NUV_API bool NUV_Level_findId(const TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/**
 * NUV_Level_insert appends a row with this name and mask and returns its id. Requires room,
 * "a_pDB->Level.u16ActSize < 50", and a name, "a_pszModulName != ((void *)0)". Sets bChanged.
 */
NUV_API uint16_t NUV_Level_insert(TraceLevelInit* a_pDB, const char* a_pszModulName, uint32_t a_u32TraceLevel);

/**
 * NUV_Level_delete takes the row with this id out, sets bChanged and returns true. Requires
 * "NUV_Level_indexOfId(&a_pDB->Level, a_u16TableId) >= 0" and "a_pDB->Level.u16ActSize > 0".
 */
NUV_API bool NUV_Level_delete(TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/**
 * NUV_Level_update gives the row with this id a new name and mask: NUV_Level_setModulName() and
 * NUV_Level_setTraceLevel() with their requirements, behind "a_pszModulName != ((void *)0)" of its own.
 */
NUV_API void NUV_Level_update(TraceLevelInit* a_pDB, uint16_t a_u16TableId, const char* a_pszModulName,
                              uint32_t a_u32TraceLevel);

/**
 * NUV_Level_getModulName returns the name in the row with this id: a pointer into the table, which follows the row's
 * fate. Requires "iIndex >= 0".
 */
NUV_API const char* NUV_Level_getModulName(const TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/**
 * NUV_Level_setModulName stores the first 10 characters of a name in the row with this id. Requires
 * "a_pszModulName != ((void *)0)" and "iIndex >= 0"; ensures
 * "strncmp(NUV_Level_getModulName(a_pDB, a_u16TableId), a_pszModulName, 11-1) == 0". Sets bChanged.
 */
NUV_API void NUV_Level_setModulName(TraceLevelInit* a_pDB, uint16_t a_u16TableId, const char* a_pszModulName);

/** NUV_Level_getTraceLevel returns the mask in the row with this id. Requires "iIndex >= 0". */
NUV_API uint32_t NUV_Level_getTraceLevel(const TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/**
 * NUV_Level_setTraceLevel stores a mask in the row with this id. Requires "iIndex >= 0"; ensures
 * "NUV_Level_getTraceLevel(a_pDB, a_u16TableId) == a_u32TraceLevel". Sets bChanged.
 */
NUV_API void NUV_Level_setTraceLevel(TraceLevelInit* a_pDB, uint16_t a_u16TableId, uint32_t a_u32TraceLevel);

/** NUV_Level_findModulName returns the id of the first row with exactly this name, or -1. Case matters. */
NUV_API int NUV_Level_findModulName(const TraceLevelInit* a_pDB, const char* a_pszModulName);

/** NUV_Level_findTraceLevel returns the id of the first row with exactly this mask, or -1. */
NUV_API int NUV_Level_findTraceLevel(const TraceLevelInit* a_pDB, uint32_t a_u32TraceLevel);

/** NUV_Level_isReferenced returns false: no other table refers to the rows of this one. */
NUV_API bool NUV_Level_isReferenced(const TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/**
 * NUV_Level_reIndex makes the index of every row its id, unless the row is referenced, and returns true. bChanged stays
 * as it is: the content is the same.
 */
NUV_API bool NUV_Level_reIndex(TraceLevelInit* a_pDB);

/** NUV_Level_checkIntegrity returns true: there is no reference that could be broken. */
NUV_API bool NUV_Level_checkIntegrity(const TraceLevelInit* a_pDB);

#ifdef __cplusplus
}
#endif

#endif
