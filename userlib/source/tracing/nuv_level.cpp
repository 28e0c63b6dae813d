#include "nuv_level.h"

#include <algorithm>
#include <span>

#include <string.h>

#include "core/contract.h"
#include "nuv_convert.h"
#include "nuv_utility.h"

namespace {

constexpr char kFamily[] = "nuv_level";

constexpr size_t kLineSize = 512;
static_assert(sizeof(Level::TableEntry) == NUV_LEVEL_SIZE * sizeof(TableEntry));

// The rows in use. There are never more than the table has, whatever its count says.
template <typename Table>
auto rows_in_use(Table& table) {
  return std::span(table.TableEntry, std::min<size_t>(table.u16ActSize, NUV_LEVEL_SIZE));
}

// The id of the next row. Where the largest possible one is in use, the smallest that is free: 50 rows leave one.
uint16_t next_id(const Level& table) {
  if (table.u16ActSize == 0) {
    return 0;
  }
  const uint16_t last = NUV_Level_lastId(&table);
  if (last < UINT16_MAX) {
    return static_cast<uint16_t>(last + 1);
  }
  uint16_t id = 0;
  while (NUV_Level_indexOfId(&table, id) >= 0) {
    ++id;
  }
  return id;
}

// Converts a quoted name into the field of a row, as much of it as the field holds. Characters in front of a closing quote
// that is missing are stored too, without a terminator of their own.
bool convert_name(char (&dest)[sizeof(TableEntry::szModulName)], const char* field) {
  char name[kLineSize] = {};  // as long as the line, because the conversion knows no limit
  const bool is_closed = NUV_Convert_string(name, field) != 0;
  const size_t length = strnlen(name, sizeof dest - 1);
  memcpy(dest, name, length);
  if (is_closed) {
    dest[length] = '\0';
  }
  return is_closed;
}

// Cuts a line into its fields and converts them into the row, up to one that is not what it should be.
bool convert_row(TableEntry& row, char* line) {
  constexpr uint32_t kFields = 3;
  char* field[kFields + 1];  // room for one too many, so that it shows
  return NUV_Convert_split(field, kFields + 1, line, ';') == kFields &&
         NUV_Convert_uint16(&row.u16TableId, field[0]) != 0 && convert_name(row.szModulName, field[1]) &&
         NUV_Convert_uint32(&row.u32TraceLevel, field[2]) != 0;
}

}  // namespace

int32_t NUV_Level_construct(Level* a_this) {
  NUV_REQUIRE_OBJECT(a_this != ((void *)0));
  *a_this = {};
  return 1;
}

void NUV_Level_destruct(Level* a_this) {
  NUV_REQUIRE_OBJECT(a_this != ((void *)0));
  *a_this = {};
}

void NUV_Level_clean(Level* a_this) {
  NUV_REQUIRE_OBJECT(a_this != ((void *)0));
  *a_this = {};
}

int NUV_Level_indexOfId(const Level* a_this, uint16_t a_u16TableId) {
  NUV_REQUIRE_OBJECT(a_this != ((void *)0));
  int i = 0;
  for (const TableEntry& row : rows_in_use(*a_this)) {
    if (row.u16TableId == a_u16TableId) {
      NUV_ENSURE((i >= 0) && (i < 50));
      return i;
    }
    ++i;
  }
  return -1;
}

uint16_t NUV_Level_lastId(const Level* a_this) {
  NUV_REQUIRE_OBJECT(a_this != ((void *)0));
  uint16_t u16LastTableId = 0;
  for (const TableEntry& row : rows_in_use(*a_this)) {
    u16LastTableId = std::max(u16LastTableId, row.u16TableId);
  }
  NUV_ENSURE(NUV_Level_indexOfId(a_this, u16LastTableId) >= 0);
  return u16LastTableId;
}

uint16_t NUV_Level_insertRow(Level* a_this) {
  const uint16_t u16LastId = next_id(*a_this);
  if (a_this->u16ActSize < NUV_LEVEL_SIZE) {
    a_this->TableEntry[a_this->u16ActSize].u16TableId = u16LastId;
    ++a_this->u16ActSize;
  }
  NUV_ENSURE((a_this->u16ActSize - 1) == NUV_Level_indexOfId(a_this, u16LastId));
  return u16LastId;
}

void NUV_Level_deleteRow(Level* a_this, uint16_t a_u16TableId) {
  const int index = NUV_Level_indexOfId(a_this, a_u16TableId);
  if (index < 0) {
    return;
  }
  const auto rows = rows_in_use(*a_this);
  std::copy(rows.begin() + index + 1, rows.end(), rows.begin() + index);
  rows.back() = {};
  --a_this->u16ActSize;
}

bool NUV_Level_save(const Level* a_this, FILE* a_pFileStream) {
  NUV_REQUIRE(a_this != ((void *)0));
  NUV_REQUIRE(a_pFileStream != ((void *)0));
  if (a_pFileStream == nullptr) {
    return false;
  }
  for (const TableEntry& row : rows_in_use(*a_this)) {
    // Ten characters at most: a name that someone else wrote into the table may lack its terminator.
    if (fprintf(a_pFileStream, "%u;\"%.10s\";%u\n", row.u16TableId, row.szModulName, row.u32TraceLevel) < 0) {
      return false;
    }
  }
  fputc('\n', a_pFileStream);
  return true;
}

bool NUV_Level_restore(Level* a_this, FILE* a_pFileStream) {
  NUV_REQUIRE(a_this != ((void *)0));
  NUV_REQUIRE(a_pFileStream != ((void *)0));
  char line[kLineSize];
  while (NUV_Utility_readLine(line, sizeof line, a_pFileStream) != nullptr) {
    if (line[0] == '\0') {
      return true;
    }
    if (a_this->u16ActSize >= NUV_LEVEL_SIZE || !convert_row(a_this->TableEntry[a_this->u16ActSize], line)) {
      return false;
    }
    ++a_this->u16ActSize;
  }
  return false;
}
