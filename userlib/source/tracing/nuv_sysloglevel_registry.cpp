#include <algorithm>
#include <array>
#include <string_view>

#include <stdio.h>
#include <string.h>

#include "core/contract.h"
#include "core/file_ptr.h"
#include "core/text.h"
#include "nuv_sysloglevel.h"
#include "nuv_tracelevelinit.h"
#include "tracing/nuv_sysloglevel_internal.h"

namespace nuv {

constinit ModuleRegistry g_modules = {};

}  // namespace nuv

using nuv::g_modules;
using nuv::g_trace_output;
using nuv::is_handle;
using nuv::text_or_empty;

namespace {

constexpr char kFamily[] = "nuv_sysloglevel";

constexpr size_t kNameLength = sizeof(NUV_SysloglevelModul::szModulName) - 1;
constexpr size_t kIdentRoom = 31;  // one less than the buffer has: 30 characters and the terminator

// The init file in memory. It keeps what was last read or saved.
constinit TraceLevelInit gTraceLevelInit = {};

struct TraceType {
  const char* name;     // in the lines
  const char* printed;  // where a mask is spelled out
};

constexpr std::array<TraceType, 10> kTypes = {{
    {"info", " Info"},
    {"trace", " Trace"},
    {"debug", " Debug"},
    {"dump", " Dump"},
    {"warning", " Warning"},
    {"error", " Error"},
    {"guioutput", " GuiOutput"},
    {"tracemf", " TraceMf"},
    {"tracect", " TraceCt"},
    {"tracedo", " TraceDo"},
}};

bool lets_through(uint32_t mask, uint32_t type) {
  return type < kTypes.size() && (mask & (UINT32_C(1) << type)) != 0;
}

// The reports of checkTracelevel, which daemons call before every line: out of its way.
[[gnu::cold, gnu::noinline]] bool refuse_handle(int a_modulHandle) {
  NUV_REQUIRE(a_modulHandle >= 0);
  NUV_REQUIRE(a_modulHandle < 60);
  return false;
}

bool is_free(const NUV_SysloglevelModul& module) {
  return module.szModulName[0] == '\0';
}

// The index of the module with this name, or of the free entry that it may take, or behind the end if there is neither.
int find_entry(const char* name) {
  int entry = 0;
  for (const NUV_SysloglevelModul& module : g_modules) {
    if (is_free(module) || strncmp(module.szModulName, name, kNameLength) == 0) {
      break;
    }
    ++entry;
  }
  return entry;
}

// As much of the name as an entry holds.
NUV_SysloglevelModul& enter(int entry, const char* name) {
  NUV_SysloglevelModul& module = g_modules[static_cast<size_t>(entry)];
  nuv::store_text(module.szModulName, name);
  return module;
}

void restore_from(const char* path) {
  const nuv::FilePtr file = nuv::open_file(path, "r");
  if (file == nullptr) {
    printf("The given Init-File (%s) of TraceLevel could not open.\n", path);
    return;
  }
  // The rows before the damaged part of a file count.
  static_cast<void>(NUV_TraceLevelInit_restore(&gTraceLevelInit, file.get()));
}

void copy_modules_to_table(Level& table) {
  NUV_Level_clean(&table);
  for (const NUV_SysloglevelModul& module : g_modules) {
    if (is_free(module) || table.u16ActSize == NUV_LEVEL_SIZE) {
      return;
    }
    TableEntry& row = table.TableEntry[table.u16ActSize];
    row.u16TableId = table.u16ActSize;
    nuv::store_text(row.szModulName, module.szModulName);
    row.u32TraceLevel = module.u32TraceLevel;
    ++table.u16ActSize;
  }
}

}  // namespace

int NUV_Sysloglevel_construct(const char* a_file) {
  NUV_REQUIRE(((void *)0) != a_file);
  g_modules.fill({NUV_SYSLOGLEVEL_DEFAULT_MASK, {}});
  if (text_or_empty(a_file)[0] != '\0') {
    NUV_Sysloglevel_readInitFile(a_file);
  } else {
    NUV_TraceLevelInit_construct(&gTraceLevelInit);
  }
  if (nuv::console_is_kept_quiet()) {
    g_trace_output.console = 0;
  }
  return 1;
}

int NUV_Sysloglevel_construct2(const char* a_file, const char* a_ident) {
  NUV_REQUIRE(((void *)0) != a_file);
  NUV_REQUIRE(((void *)0) != a_ident);
  a_ident = text_or_empty(a_ident);
  NUV_REQUIRE(32 > strlen(a_ident));
  if (NUV_Sysloglevel_construct(a_file) == 0) {
    return 0;
  }
  snprintf(g_trace_output.ident, kIdentRoom, "%s", a_ident);
  g_trace_output.ident_pointer = g_trace_output.ident;
  return 1;
}

void NUV_Sysloglevel_destruct() {}

int NUV_Sysloglevel_registerModul(const char* a_modulName) {
  a_modulName = text_or_empty(a_modulName);
  NUV_REQUIRE(strlen( a_modulName) < 11);
  const int i = find_entry(a_modulName);
  NUV_RESOURCE(i < 60);
  if (!is_handle(i)) {
    return -1;
  }
  enter(i, a_modulName);
  return i;
}

bool NUV_Sysloglevel_insertModulnameAndTracelevel(const char* a_modulName, uint32_t a_traceLevel) {
  const char* const name = text_or_empty(a_modulName);
  const int entry = find_entry(name);
  if (!is_handle(entry)) {
    return false;
  }
  enter(entry, name).u32TraceLevel = a_traceLevel;
  return true;
}

const char* NUV_Sysloglevel_getModulName(int a_modulHandle) {
  NUV_REQUIRE(a_modulHandle >= 0);
  NUV_REQUIRE(a_modulHandle < 60);
  return is_handle(a_modulHandle) ? g_modules[static_cast<size_t>(a_modulHandle)].szModulName : "";
}

bool NUV_Sysloglevel_checkTracelevel(int a_modulHandle, uint32_t a_type) {
  return is_handle(a_modulHandle) ? lets_through(g_modules[static_cast<size_t>(a_modulHandle)].u32TraceLevel, a_type)
                                  : refuse_handle(a_modulHandle);
}

bool NUV_Sysloglevel_changeTracelevel(const char* a_modulName, uint32_t a_traceLevel) {
  const char* const name = text_or_empty(a_modulName);
  for (NUV_SysloglevelModul& module : g_modules) {
    if (!is_free(module) && strcmp(module.szModulName, name) == 0) {
      module.u32TraceLevel = a_traceLevel;
      return true;
    }
  }
  return false;
}

void NUV_Sysloglevel_changeTracelevelAll(uint32_t a_traceLevel) {
  for (NUV_SysloglevelModul& module : g_modules) {
    module.u32TraceLevel = a_traceLevel;
  }
}

int NUV_Sysloglevel_readInitFile(const char* a_path) {
  NUV_TraceLevelInit_construct(&gTraceLevelInit);
  restore_from(text_or_empty(a_path));
  for (uint16_t i = 0; i < gTraceLevelInit.Level.u16ActSize; ++i) {
    NUV_RESOURCE(1 == NUV_Sysloglevel_insertModulnameAndTracelevel (gTraceLevelInit.Level.TableEntry[i].szModulName,
                 gTraceLevelInit.Level.TableEntry[i].u32TraceLevel));
  }
  return 1;
}

bool NUV_Sysloglevel_saveInitFile(const char* a_path) {
  copy_modules_to_table(gTraceLevelInit.Level);
  nuv::FilePtr file = nuv::open_file(text_or_empty(a_path), "w");
  if (file == nullptr) {
    return false;
  }
  const bool saved = NUV_TraceLevelInit_save(&gTraceLevelInit, file.get());
  // The buffer of the stream is written here, so this is where a full flash shows.
  return fclose(file.release()) == 0 && saved;
}

const char* NUV_ESysloglevelType_name(uint32_t a_type) {
  return a_type < kTypes.size() ? kTypes[a_type].name : "unknown";
}

void NUV_Sysloglevel_printTracelevel(uint32_t a_traceLevel) {
  if (a_traceLevel != 0) {
    printf(" (");
    for (uint32_t type = 0; type < kTypes.size(); ++type) {
      if (lets_through(a_traceLevel, type)) {
        printf("%s", kTypes[type].printed);
      }
    }
    printf(")");
  }
  printf("\n");
}
