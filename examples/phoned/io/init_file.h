// The init file of the traces on a flash whose power may fail.
#ifndef EXAMPLES_PHONED_IO_INIT_FILE_H
#define EXAMPLES_PHONED_IO_INIT_FILE_H

#include <string>

namespace phoned {

// Saves the masks to a file. The library writes over what is there; so that a power cut leaves the old file or the new one,
// it is given a file beside it, which then takes its place. Where that cannot be - in a directory that takes no new
// file, for a device, for a file of another user or with other names - the library writes to the file itself. Returns
// whether the masks are saved; the old file stays if they are not.
bool save_masks(const std::string& path);

}  // namespace phoned

#endif
