#include "phoned/io/init_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "nuv_sysloglevel.h"
#include "phoned/core/descriptor.h"

namespace phoned {

namespace {

// The file itself, if a symbolic link leads to it. Empty if there is no telling.
std::string resolve(const std::string& path) {
  std::error_code error;
  const auto file = std::filesystem::weakly_canonical(path, error);
  return error ? "" : file.string();
}

// A file that takes the place of another has an owner, a mode and a directory of its own.
bool can_be_replaced(const std::string& file) {
  struct stat status = {};
  const std::string directory = std::filesystem::path(file).parent_path().string();
  if (access(directory.c_str(), W_OK | X_OK) != 0) {
    return false;
  }
  if (lstat(file.c_str(), &status) != 0) {
    return errno == ENOENT;
  }
  return S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_uid == geteuid() &&
         access(file.c_str(), W_OK) == 0;
}

void keep_mode(const std::string& file, int fd) {
  struct stat status = {};
  if (stat(file.c_str(), &status) == 0) {
    static_cast<void>(fchmod(fd, status.st_mode & 0777));
  }
}

// Some file systems write the new name before the bytes, if they are not told.
bool sync_to_disk(const std::string& written, const std::string& mode_of) {
  const UniqueFd fd(open(written.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  keep_mode(mode_of, fd.get());
  return fsync(fd.get()) == 0;
}

void sync_directory_of(const std::string& file) {
  const UniqueFd fd(open(std::filesystem::path(file).parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  fsync(fd.get());
}

}  // namespace

bool save_masks(const std::string& path) {
  const std::string file = resolve(path);
  if (file.empty()) {
    return NUV_Sysloglevel_saveInitFile(path.c_str());
  }
  const std::string beside = file + ".new";
  // Left behind by a power cut; a second name of the file itself, if that came between the two steps of a rename.
  unlink(beside.c_str());
  if (!can_be_replaced(file)) {
    return NUV_Sysloglevel_saveInitFile(path.c_str());
  }
  if (!NUV_Sysloglevel_saveInitFile(beside.c_str()) || !sync_to_disk(beside, file) ||
      std::rename(beside.c_str(), file.c_str()) != 0) {
    unlink(beside.c_str());
    return false;
  }
  sync_directory_of(file);
  return true;
}

}  // namespace phoned
