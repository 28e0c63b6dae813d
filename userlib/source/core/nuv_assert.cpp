#include "nuv_assert.h"

#include <array>

#include <stdio.h>
#include <stdlib.h>

#include "core/contract.h"
#include "core/text.h"
#include "nuv_sysloglevel.h"

using nuv::text_or_empty;

#define VERSION_TEXT(major, minor, patch)   "userlib-" #major "." #minor "." #patch
#define VERSION_STRING(major, minor, patch) VERSION_TEXT(major, minor, patch)

namespace {

constexpr size_t kMessageSize = 256;

constexpr std::array<const char*, 6> kTypeText = {
    "no error", "require failed", "ensure failed", "check failed", "null pointer", "resource error",
};

const char* type_text(uint32_t type) {
  return type < kTypeText.size() ? kTypeText[type] : "unknown error";
}

// The message has been written when this runs; all that is left is to end the process.
void exit_on_error(uint32_t /*type*/, const char* /*file*/, uint32_t /*line*/, const char* /*expression*/) {
  exit(-1);
}

constinit NUV_AssertHandler g_handler = exit_on_error;

}  // namespace

void nuv::report_contract(uint32_t class_and_line, const char* text, const char* family) {
  NUV_Assert_failed(class_and_line >> kContractLineBits, family, class_and_line & ((1U << kContractLineBits) - 1),
                    text);
}

void NUV_Assert_failed(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression) {
  char message[kMessageSize];
  snprintf(message, sizeof message, ":%s:%s\n", type_text(a_type), text_or_empty(a_expression));
  NUV_Sysloglevel_assert(text_or_empty(a_file), a_line, message);
  g_handler(a_type, a_file, a_line, a_expression);
}

void NUV_Assert_setErrorHandler(NUV_AssertHandler a_handler) {
  g_handler = a_handler != nullptr ? a_handler : exit_on_error;
}

int32_t is_null(const void* a_pointer) {
  return a_pointer == nullptr ? 1 : 0;
}

int32_t illegal_else() {
  return 0;
}

int32_t illegal_default() {
  return 0;
}

uint32_t NUV_Userlib_getVersionMajor() {
  return NUV_USERLIB_VERSION_MAJOR;
}

uint32_t NUV_Userlib_getVersionMinor() {
  return NUV_USERLIB_VERSION_MINOR;
}

uint32_t NUV_Userlib_getVersionPatch() {
  return NUV_USERLIB_VERSION_PATCH;
}

const char* NUV_Userlib_getVersionString() {
  return VERSION_STRING(NUV_USERLIB_VERSION_MAJOR, NUV_USERLIB_VERSION_MINOR, NUV_USERLIB_VERSION_PATCH);
}

int32_t NUV_Userlib_checkVersion(uint32_t a_major, uint32_t a_minor) {
  return a_major == NUV_USERLIB_VERSION_MAJOR && a_minor <= NUV_USERLIB_VERSION_MINOR ? 1 : 0;
}
