// The command "tr save" on a flash whose power may fail.
#include <cerrno>
#include <cstdio>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "nuv_sysloglevel.h"
#include "phoned/io/commands.h"

namespace phoned {

namespace {

// A file that takes the place of another has an owner, a mode and a directory of its own.
bool can_be_replaced(const std::filesystem::path& file) {
  struct stat status = {};
  if (access(file.parent_path().c_str(), W_OK | X_OK) != 0) {
    return false;
  }
  if (lstat(file.c_str(), &status) != 0) {
    return errno == ENOENT;
  }
  return S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_uid == geteuid() &&
         access(file.c_str(), W_OK) == 0;
}

// Some file systems write the new name before the bytes, unless they are told to sync. The new file gets the old one's mode.
bool sync_to_disk(const std::filesystem::path& written, const std::filesystem::path& old) {
  struct stat status = {};
  const userlib::UniqueFd fd(open(written.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (stat(old.c_str(), &status) == 0) {
    static_cast<void>(fchmod(fd.get(), status.st_mode & 0777));
  }
  return fsync(fd.get()) == 0;
}

}  // namespace

bool save_masks(const std::string& path) {
  std::error_code unused;
  const std::filesystem::path file = std::filesystem::weakly_canonical(path, unused);  // empty on failure
  const std::filesystem::path beside = file.string() + ".new";
  // Left behind by a power cut; a second name of the file itself, if that came between the two steps of a rename.
  if (!file.empty()) {
    unlink(beside.c_str());
  }
  if (file.empty() || !can_be_replaced(file)) {
    return NUV_Sysloglevel_saveInitFile(path.c_str());
  }
  if (!NUV_Sysloglevel_saveInitFile(beside.c_str()) || !sync_to_disk(beside, file) ||
      std::rename(beside.c_str(), file.c_str()) != 0) {
    unlink(beside.c_str());
    return false;
  }
  const userlib::UniqueFd directory(open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  fsync(directory.get());
  return true;
}

}  // namespace phoned
