#include "nuv_level.h"

#include <algorithm>
#include <span>
#include <string_view>

#include <string.h>

#include "core/contract.h"
#include "core/text.h"
#include "nuv_tracelevelinit.h"

using nuv::first_characters;
using nuv::text_or_empty;

namespace {

constexpr char kFamily[] = "nuv_level_access";

constexpr size_t kNameLength = sizeof(TableEntry::szModulName) - 1;

// The rows in use. There are never more than the table has, whatever its count says.
template <typename Record>
auto rows_in_use(Record& record) {
  return std::span(record.Level.TableEntry, std::min<size_t>(record.Level.u16ActSize, NUV_LEVEL_SIZE));
}

// The id of the first row for which this holds, or -1.
template <typename Predicate>
int find_row(const TraceLevelInit& record, Predicate holds) {
  for (const TableEntry& row : rows_in_use(record)) {
    if (holds(row)) {
      return row.u16TableId;
    }
  }
  return -1;
}

}  // namespace

uint16_t NUV_Level_begin(const TraceLevelInit* a_pDB) {
  NUV_REQUIRE(a_pDB != ((void *)0));
  return 0;
}

uint16_t NUV_Level_end(const TraceLevelInit* a_pDB) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  return a_pDB->Level.u16ActSize;
}

uint16_t NUV_Level_actSize(const TraceLevelInit* a_pDB) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  return a_pDB->Level.u16ActSize;
}

uint16_t NUV_Level_maxSize(const TraceLevelInit* a_pDB) {
  NUV_REQUIRE(a_pDB != ((void *)0));
  return NUV_LEVEL_SIZE;
}

bool NUV_Level_isEmpty(const TraceLevelInit* a_pDB) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  return a_pDB->Level.u16ActSize == 0;
}

bool NUV_Level_isFull(const TraceLevelInit* a_pDB) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  return a_pDB->Level.u16ActSize == NUV_LEVEL_SIZE;
}

uint16_t NUV_Level_getIdAtIndex(const TraceLevelInit* a_pDB, uint16_t a_u16Index) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  NUV_REQUIRE(a_u16Index < a_pDB->Level.u16ActSize);
  return a_u16Index < NUV_LEVEL_SIZE ? a_pDB->Level.TableEntry[a_u16Index].u16TableId : 0;
}

uint16_t NUV_Level_getIndexAtId(const TraceLevelInit* a_pDB, uint16_t a_u16TableId) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  const int iIndex = NUV_Level_indexOfId(&a_pDB->Level, a_u16TableId);
  NUV_REQUIRE(iIndex >= 0);
  return static_cast<uint16_t>(iIndex);
}

bool NUV_Level_findId(const TraceLevelInit* a_pDB, uint16_t a_u16TableId) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  return NUV_Level_indexOfId(&a_pDB->Level, a_u16TableId) >= 0;
}

uint16_t NUV_Level_insert(TraceLevelInit* a_pDB, const char* a_pszModulName, uint32_t a_u32TraceLevel) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  NUV_REQUIRE(a_pDB->Level.u16ActSize < 50);
  NUV_REQUIRE(a_pszModulName != ((void *)0));
  const uint16_t id = NUV_Level_insertRow(&a_pDB->Level);
  NUV_Level_setModulName(a_pDB, id, a_pszModulName);
  NUV_Level_setTraceLevel(a_pDB, id, a_u32TraceLevel);
  return id;
}

bool NUV_Level_delete(TraceLevelInit* a_pDB, uint16_t a_u16TableId) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  NUV_REQUIRE(NUV_Level_indexOfId(&a_pDB->Level, a_u16TableId) >= 0);
  NUV_REQUIRE(a_pDB->Level.u16ActSize > 0);
  NUV_Level_deleteRow(&a_pDB->Level, a_u16TableId);
  a_pDB->bChanged = 1;
  return true;
}

void NUV_Level_update(TraceLevelInit* a_pDB, uint16_t a_u16TableId, const char* a_pszModulName,
                      uint32_t a_u32TraceLevel) {
  NUV_REQUIRE(a_pDB != ((void *)0));
  NUV_REQUIRE(a_pszModulName != ((void *)0));
  NUV_Level_setModulName(a_pDB, a_u16TableId, a_pszModulName);
  NUV_Level_setTraceLevel(a_pDB, a_u16TableId, a_u32TraceLevel);
}

const char* NUV_Level_getModulName(const TraceLevelInit* a_pDB, uint16_t a_u16TableId) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  const int iIndex = NUV_Level_indexOfId(&a_pDB->Level, a_u16TableId);
  NUV_REQUIRE(iIndex >= 0);
  return iIndex >= 0 ? a_pDB->Level.TableEntry[iIndex].szModulName : "";
}

void NUV_Level_setModulName(TraceLevelInit* a_pDB, uint16_t a_u16TableId, const char* a_pszModulName) {
  NUV_REQUIRE(a_pDB != ((void *)0));
  NUV_REQUIRE(a_pszModulName != ((void *)0));
  a_pszModulName = text_or_empty(a_pszModulName);
  const int iIndex = NUV_Level_indexOfId(&a_pDB->Level, a_u16TableId);
  NUV_REQUIRE(iIndex >= 0);
  if (iIndex >= 0) {
    nuv::store_text(a_pDB->Level.TableEntry[iIndex].szModulName, first_characters(a_pszModulName, kNameLength));
  }
  NUV_ENSURE(strncmp(NUV_Level_getModulName(a_pDB, a_u16TableId), a_pszModulName, 11-1) == 0);
  a_pDB->bChanged = 1;
}

uint32_t NUV_Level_getTraceLevel(const TraceLevelInit* a_pDB, uint16_t a_u16TableId) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  const int iIndex = NUV_Level_indexOfId(&a_pDB->Level, a_u16TableId);
  NUV_REQUIRE(iIndex >= 0);
  return iIndex >= 0 ? a_pDB->Level.TableEntry[iIndex].u32TraceLevel : 0;
}

void NUV_Level_setTraceLevel(TraceLevelInit* a_pDB, uint16_t a_u16TableId, uint32_t a_u32TraceLevel) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  const int iIndex = NUV_Level_indexOfId(&a_pDB->Level, a_u16TableId);
  NUV_REQUIRE(iIndex >= 0);
  if (iIndex >= 0) {
    a_pDB->Level.TableEntry[iIndex].u32TraceLevel = a_u32TraceLevel;
  }
  NUV_ENSURE(NUV_Level_getTraceLevel(a_pDB, a_u16TableId) == a_u32TraceLevel);
  a_pDB->bChanged = 1;
}

int NUV_Level_findModulName(const TraceLevelInit* a_pDB, const char* a_pszModulName) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  const char* const name = text_or_empty(a_pszModulName);
  if (strlen(name) > kNameLength) {
    return -1;
  }
  return find_row(*a_pDB, [name](const TableEntry& row) { return strncmp(row.szModulName, name, kNameLength) == 0; });
}

int NUV_Level_findTraceLevel(const TraceLevelInit* a_pDB, uint32_t a_u32TraceLevel) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  return find_row(*a_pDB, [a_u32TraceLevel](const TableEntry& row) { return row.u32TraceLevel == a_u32TraceLevel; });
}

bool NUV_Level_isReferenced(const TraceLevelInit* a_pDB, uint16_t /*a_u16TableId*/) {
  NUV_REQUIRE(a_pDB != ((void *)0));
  return false;
}

bool NUV_Level_reIndex(TraceLevelInit* a_pDB) {
  NUV_REQUIRE_OBJECT(a_pDB != ((void *)0));
  uint16_t index = 0;
  for (TableEntry& row : rows_in_use(*a_pDB)) {
    if (!NUV_Level_isReferenced(a_pDB, row.u16TableId)) {
      row.u16TableId = index;
    }
    ++index;
  }
  return true;
}

bool NUV_Level_checkIntegrity(const TraceLevelInit* a_pDB) {
  NUV_REQUIRE(((void *)0) != a_pDB);
  return true;
}
