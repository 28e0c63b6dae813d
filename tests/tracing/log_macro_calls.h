/* Calls of the logging macros. C and C++ each compile this file once, and the test runs both.
 * Functions that return int return the line of their first call; the other calls follow, one a line. */
#ifndef TESTS_TRACING_LOG_MACRO_CALLS_H
#define TESTS_TRACING_LOG_MACRO_CALLS_H

#include "nuv_sysloglevel.h"

#ifdef __cplusplus
extern "C" {
#endif

struct LogMacroCalls {
  /* All macros with arguments after the format, in the order of the types. */
  int (*with_arguments)(int handle);
  /* The macros that format, with the format alone. */
  int (*without_arguments)(int handle);
  /* Each macro as the branch of an if without braces, followed by an else. */
  void (*in_branches)(int handle, int taken);
  /* All macros; counts the evaluations of their handles in counts[0] and of their other arguments in counts[1]. */
  void (*counting)(int handle, int counts[2]);
  /* One macro, with this text. */
  void (*with_text)(int handle, const char* text);
};

extern const struct LogMacroCalls kLogMacroCallsInC;

#ifdef __cplusplus
}
#endif

static const unsigned char kLogMacroBytes[3] = {0xAB, 0xCD, 0xEF};

static int log_with_arguments(int handle) {
  const int first = __LINE__ + 1;
  NUV_LOG_INFO(handle, "%s %d", "one", 1);
  NUV_LOG_TRACE(handle, "%s %d", "two", 2);
  NUV_LOG_DEBUG(handle, "%s %d", "three", 3);
  NUV_LOG_DUMP(handle, "four", kLogMacroBytes, sizeof kLogMacroBytes);
  NUV_LOG_WARNING(handle, "%s %d", "five", 5);
  NUV_LOG_ERROR(handle, "%s %d", "six", 6);
  NUV_LOG_GUIOUTPUT(handle, "%s %d", "seven", 7);
  NUV_LOG_TRACEMF(handle, "from", 8, "message", "to", 9, 1);
  NUV_LOG_TRACECT(handle, "%s %d", "nine", 9);
  NUV_LOG_TRACEDO(handle, "%s %d", "ten", 10);
  return first;
}

static int log_without_arguments(int handle) {
  const int first = __LINE__ + 1;
  NUV_LOG_INFO(handle, "info");
  NUV_LOG_TRACE(handle, "trace");
  NUV_LOG_DEBUG(handle, "debug");
  NUV_LOG_WARNING(handle, "warning");
  NUV_LOG_ERROR(handle, "error");
  NUV_LOG_GUIOUTPUT(handle, "guioutput");
  NUV_LOG_TRACECT(handle, "tracect");
  NUV_LOG_TRACEDO(handle, "tracedo");
  return first;
}

static void log_in_branches(int handle, int taken) {
  if (taken == 0)
    NUV_LOG_INFO(handle, "info");
  else if (taken == 1)
    NUV_LOG_TRACE(handle, "trace");
  else if (taken == 2)
    NUV_LOG_DEBUG(handle, "debug");
  else if (taken == 3)
    NUV_LOG_DUMP(handle, "dump", kLogMacroBytes, sizeof kLogMacroBytes);
  else if (taken == 4)
    NUV_LOG_WARNING(handle, "warning");
  else if (taken == 5)
    NUV_LOG_ERROR(handle, "error");
  else if (taken == 6)
    NUV_LOG_GUIOUTPUT(handle, "guioutput");
  else if (taken == 7)
    NUV_LOG_TRACEMF(handle, "from", 8, "message", "to", 9, 1);
  else if (taken == 8)
    NUV_LOG_TRACECT(handle, "tracect");
  else if (taken == 9)
    NUV_LOG_TRACEDO(handle, "tracedo");
  else
    NUV_Sysloglevel_error(handle, "", 0, "none of them");
}

static int log_counted(int* count, int value) {
  ++*count;
  return value;
}

static const char* log_counted_text(int* count) {
  ++*count;
  return "text";
}

static void log_counting(int handle, int counts[2]) {
  int* handles = &counts[0];
  int* others = &counts[1];
  NUV_LOG_INFO(log_counted(handles, handle), "%d", log_counted(others, 1));
  NUV_LOG_TRACE(log_counted(handles, handle), "%d", log_counted(others, 1));
  NUV_LOG_DEBUG(log_counted(handles, handle), "%d", log_counted(others, 1));
  NUV_LOG_DUMP(log_counted(handles, handle), log_counted_text(others), log_counted_text(others),
               (uint32_t)log_counted(others, 4));
  NUV_LOG_WARNING(log_counted(handles, handle), "%d", log_counted(others, 1));
  NUV_LOG_ERROR(log_counted(handles, handle), "%d", log_counted(others, 1));
  NUV_LOG_GUIOUTPUT(log_counted(handles, handle), "%d", log_counted(others, 1));
  NUV_LOG_TRACEMF(log_counted(handles, handle), log_counted_text(others), (uint32_t)log_counted(others, 1),
                  log_counted_text(others), log_counted_text(others), (uint32_t)log_counted(others, 1),
                  (uint32_t)log_counted(others, 1));
  NUV_LOG_TRACECT(log_counted(handles, handle), "%d", log_counted(others, 1));
  NUV_LOG_TRACEDO(log_counted(handles, handle), "%d", log_counted(others, 1));
}

static void log_with_text(int handle, const char* text) {
  NUV_LOG_GUIOUTPUT(handle, "%s", text);
}

#endif
