// Reads small text files that a user names.
#ifndef EXAMPLES_PHONED_CORE_FILE_H
#define EXAMPLES_PHONED_CORE_FILE_H

#include <cstddef>
#include <string>

#include "phoned/core/result.h"

namespace phoned {

// Whether there is something that is no regular file, symbolic links followed: at a FIFO or a terminal phoned would wait
// for whoever is at its other end.
bool is_no_regular_file(const std::string& path);

// The content of a regular file of at most "limit" bytes. The error does not name the file.
Result<std::string> read_file(const std::string& path, size_t limit);

}  // namespace phoned

#endif
