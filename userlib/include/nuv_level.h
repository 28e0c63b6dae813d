/** @file
 * userlib: level table, the trace masks of up to 50 modules.
 *
 * What a trace-level init file looks like in memory: one row for each module, with its name and its mask
 * (nuv_sysloglevel.h has the bits). The rows stand packed from index 0 on, in the order in which they were inserted or
 * read. Each has an id, which it keeps while rows before it go: the largest id in use plus one, 0 in an empty table,
 * and after 65535 the smallest free one.
 *
 *     static TraceLevelInit init;
 *     NUV_TraceLevelInit_construct(&init);
 *     uint16_t line = NUV_Level_insert(&init, "Line", 113);
 *     NUV_Level_setTraceLevel(&init, line, 48);
 *     NUV_Level_save(&init.Level, stdout);
 *
 * prints the section of an init file: the line 0;"Line";48 and an empty line.
 *
 * The first nine operations work on the bare table. The others work on the record that owns it (nuv_tracelevelinit.h);
 * those that modify it set bChanged, which nothing here clears. An operation on a row requires that there is a row
 * with this id.
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

/** NUV_Level_construct, NUV_Level_destruct and NUV_Level_clean empty the table and zero its rows. The first returns
 * 1. */
NUV_API int32_t NUV_Level_construct(Level* a_this);
NUV_API void NUV_Level_destruct(Level* a_this);
NUV_API void NUV_Level_clean(Level* a_this);

/** NUV_Level_indexOfId returns the index of the first row with the id a_u16TableId, or -1 if there is none. */
NUV_API int NUV_Level_indexOfId(const Level* a_this, uint16_t a_u16TableId);

/** NUV_Level_lastId returns the largest id in use. An empty table is reported, and gives 0. */
NUV_API uint16_t NUV_Level_lastId(const Level* a_this);

/** NUV_Level_insertRow puts a row with a new id behind the last one and returns the id; name and mask are the caller's
 * to set. A full table is reported, and gets no row; NUV_Level_insert() requires room before. */
NUV_API uint16_t NUV_Level_insertRow(Level* a_this);

/** NUV_Level_deleteRow takes the row with this id out; the rows behind it move up. An unknown id is ignored. */
NUV_API void NUV_Level_deleteRow(Level* a_this, uint16_t a_u16TableId);

/** NUV_Level_save writes one line <id>;"<name>";<mask> for each row, in decimal, and an empty line. It returns false,
 * and stops, when a row cannot be written. What a buffered stream holds back shows up when the caller flushes or
 * closes it. */
NUV_API bool NUV_Level_save(const Level* a_this, FILE* a_pFileStream);

/** NUV_Level_restore appends rows from such lines, up to and including the empty one, and returns true. It returns
 * false, keeping the rows so far, when the stream ends before, a line is not three valid fields, or the table is
 * full. bChanged stays. */
NUV_API bool NUV_Level_restore(Level* a_this, FILE* a_pFileStream);

/** NUV_Level_begin returns 0, the index of the first row, NUV_Level_end the index behind the last one. */
NUV_API uint16_t NUV_Level_begin(const TraceLevelInit* a_pDB);
NUV_API uint16_t NUV_Level_end(const TraceLevelInit* a_pDB);

/** NUV_Level_actSize returns the number of rows in use, NUV_Level_maxSize the 50 that the table has. */
NUV_API uint16_t NUV_Level_actSize(const TraceLevelInit* a_pDB);
NUV_API uint16_t NUV_Level_maxSize(const TraceLevelInit* a_pDB);

/** NUV_Level_isEmpty tells whether no row is in use, NUV_Level_isFull whether all 50 are. */
NUV_API bool NUV_Level_isEmpty(const TraceLevelInit* a_pDB);
NUV_API bool NUV_Level_isFull(const TraceLevelInit* a_pDB);

/** NUV_Level_getIdAtIndex returns the id of the row at an index, which must be in use. */
NUV_API uint16_t NUV_Level_getIdAtIndex(const TraceLevelInit* a_pDB, uint16_t a_u16Index);

/** NUV_Level_getIndexAtId returns the index of the row with this id, 65535 if an error handler lets an unknown id
 * pass. */
NUV_API uint16_t NUV_Level_getIndexAtId(const TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/** NUV_Level_findId tells whether some row has this id. */
NUV_API bool NUV_Level_findId(const TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/** NUV_Level_insert appends a row with this name and mask and returns its id. Requires room. Sets bChanged. */
NUV_API uint16_t NUV_Level_insert(TraceLevelInit* a_pDB, const char* a_pszModulName, uint32_t a_u32TraceLevel);

/** NUV_Level_delete takes the row with this id out, sets bChanged and returns true. */
NUV_API bool NUV_Level_delete(TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/** NUV_Level_update gives the row with this id a new name and mask, as NUV_Level_setModulName() and
 * NUV_Level_setTraceLevel() do. */
NUV_API void NUV_Level_update(TraceLevelInit* a_pDB, uint16_t a_u16TableId, const char* a_pszModulName,
                              uint32_t a_u32TraceLevel);

/** NUV_Level_getModulName returns the name in the row with this id: a pointer into the table, valid until rows move. */
NUV_API const char* NUV_Level_getModulName(const TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/** NUV_Level_setModulName stores the first 10 characters of a name in the row with this id. Sets bChanged. */
NUV_API void NUV_Level_setModulName(TraceLevelInit* a_pDB, uint16_t a_u16TableId, const char* a_pszModulName);

/** NUV_Level_getTraceLevel returns the mask in the row with this id. */
NUV_API uint32_t NUV_Level_getTraceLevel(const TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/** NUV_Level_setTraceLevel stores a mask in the row with this id. Sets bChanged. */
NUV_API void NUV_Level_setTraceLevel(TraceLevelInit* a_pDB, uint16_t a_u16TableId, uint32_t a_u32TraceLevel);

/** NUV_Level_findModulName returns the id of the first row with exactly this name, case included, and
 * NUV_Level_findTraceLevel that of the first with this mask; -1 if there is none. */
NUV_API int NUV_Level_findModulName(const TraceLevelInit* a_pDB, const char* a_pszModulName);
NUV_API int NUV_Level_findTraceLevel(const TraceLevelInit* a_pDB, uint32_t a_u32TraceLevel);

/** NUV_Level_isReferenced returns false: no other table refers to the rows of this one. */
NUV_API bool NUV_Level_isReferenced(const TraceLevelInit* a_pDB, uint16_t a_u16TableId);

/** NUV_Level_reIndex makes the index of every row its id and returns true. bChanged stays: the content is the same. */
NUV_API bool NUV_Level_reIndex(TraceLevelInit* a_pDB);

/** NUV_Level_checkIntegrity returns true: there is no reference that could be broken. */
NUV_API bool NUV_Level_checkIntegrity(const TraceLevelInit* a_pDB);

#ifdef __cplusplus
}
#endif

#endif
