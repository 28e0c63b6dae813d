#include "nuv_tracelevelinit.h"

#include <string.h>

#include "core/contract.h"
#include "core/text.h"
#include "nuv_sysloglevel.h"
#include "nuv_utility.h"

namespace {

constexpr char kFamily[] = "nuv_tracelevelinit";

constexpr size_t kLineSize = 1024;
constexpr char kVersionSection[] = "[TraceLevelInit Version]";
constexpr char kVersionId[] = "1";
constexpr char kLevelSection[] = "[Level]";

bool write_header(FILE* file) {
  return NUV_TraceLevelInit_writeString(file, kVersionSection) && NUV_TraceLevelInit_writeString(file, kVersionId) &&
         NUV_TraceLevelInit_writeString(file, "") && NUV_TraceLevelInit_writeString(file, kLevelSection);
}

// Traces why a file was not restored, and returns false for the caller to return.
bool refuse(uint32_t line, const char* why) {
  NUV_Sysloglevel_error(gmodulHandleTraceLevelInit, kFamily, line, why);
  return false;
}

}  // namespace

constinit int gmodulHandleTraceLevelInit = 0;

int32_t NUV_TraceLevelInit_construct(TraceLevelInit* a_this) {
  NUV_REQUIRE(a_this != ((void *)0));
  gmodulHandleTraceLevelInit = NUV_Sysloglevel_registerModul("TraceLevel");
  a_this->bChanged = 0;
  NUV_Level_construct(&a_this->Level);
  return 1;
}

void NUV_TraceLevelInit_destruct(TraceLevelInit* a_this) {
  NUV_REQUIRE(a_this != ((void *)0));
  NUV_Level_destruct(&a_this->Level);
}

void NUV_TraceLevelInit_clean(TraceLevelInit* a_this) {
  NUV_REQUIRE(a_this != ((void *)0));
  NUV_Level_clean(&a_this->Level);
}

bool NUV_TraceLevelInit_hasChanged(const TraceLevelInit* a_this) {
  NUV_REQUIRE_OBJECT(a_this != ((void *)0));
  return a_this->bChanged != 0;
}

bool NUV_TraceLevelInit_writeString(FILE* a_pFileStream, const char* a_pszString) {
  NUV_REQUIRE(a_pFileStream != ((void *)0));
  NUV_REQUIRE(a_pszString != ((void *)0));
  if (a_pFileStream == nullptr || a_pszString == nullptr) {
    return false;
  }
  return fputs(a_pszString, a_pFileStream) >= 0 && fputc('\n', a_pFileStream) != EOF;
}

bool NUV_TraceLevelInit_readString(FILE* a_pFileStream, const char* a_pszString) {
  NUV_REQUIRE(a_pFileStream != ((void *)0));
  NUV_REQUIRE(a_pszString != ((void *)0));
  char line[kLineSize];
  return NUV_Utility_readLine(line, sizeof line, a_pFileStream) != nullptr && a_pszString != nullptr &&
         strncmp(line, a_pszString, sizeof line) == 0;
}

bool NUV_TraceLevelInit_save(TraceLevelInit* a_this, FILE* a_pFileStream) {
  NUV_REQUIRE(a_this != ((void *)0));
  NUV_REQUIRE(a_pFileStream != ((void *)0));
  const bool saved = write_header(a_pFileStream) && NUV_Level_save(&a_this->Level, a_pFileStream);
  a_this->bChanged = 0;
  return saved;
}

bool NUV_TraceLevelInit_restore(TraceLevelInit* a_this, FILE* a_pFileStream) {
  NUV_REQUIRE(a_this != ((void *)0));
  NUV_REQUIRE(a_pFileStream != ((void *)0));
  if (!NUV_TraceLevelInit_readString(a_pFileStream, kVersionSection)) {
    return refuse(__LINE__, "Restoring of table [Version] failed");
  }
  if (!NUV_TraceLevelInit_readString(a_pFileStream, kVersionId)) {
    return refuse(__LINE__, "Restore failed because wrong version id");
  }
  // The line between the sections, whatever it holds. If it is missing, so is the next line, and that is reported.
  static_cast<void>(NUV_TraceLevelInit_readString(a_pFileStream, ""));
  if (!NUV_TraceLevelInit_readString(a_pFileStream, kLevelSection)) {
    return refuse(__LINE__, "Restoring of table [Level] failed");
  }
  if (!NUV_Level_restore(&a_this->Level, a_pFileStream)) {
    return refuse(__LINE__, "Restoring of table [Level] failed");
  }
  a_this->bChanged = 0;
  return true;
}

bool NUV_TraceLevelInit_checkIntegrity(const TraceLevelInit* a_this) {
  NUV_REQUIRE(a_this != ((void *)0));
  if (!NUV_Level_checkIntegrity(a_this)) {
    NUV_TraceLevelInit_integrityWarning("Level");
    return false;
  }
  return true;
}

void NUV_TraceLevelInit_integrityWarning(const char* a_pszTableName) {
  const char* text = VAStr("integrity check failed for %s", nuv::text_or_empty(a_pszTableName));
  NUV_Sysloglevel_warning(gmodulHandleTraceLevelInit, kFamily, __LINE__, text);
}
