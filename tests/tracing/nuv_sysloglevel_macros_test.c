#include "log_macro_calls.h"

const struct LogMacroCalls kLogMacroCallsInC = {log_with_arguments, log_without_arguments, log_in_branches,
                                                log_counting, log_with_text};
