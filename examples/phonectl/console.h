// Says a line on phoned's console socket, and gathers the answer.
#ifndef EXAMPLES_PHONECTL_CONSOLE_H
#define EXAMPLES_PHONECTL_CONSOLE_H

#include <chrono>
#include <string>
#include <string_view>

#include "phoned/core/result.h"

namespace phonectl {

// The answer is what phoned sends until it closes the connection.
phoned::Result<std::string> ask_console(const std::string& path, const std::string& line,
                                        std::chrono::milliseconds timeout);

// Tells whether an answer says that nothing was done.
bool is_refusal(std::string_view answer);

}  // namespace phonectl

#endif
