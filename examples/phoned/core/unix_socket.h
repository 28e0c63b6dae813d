// Unix sockets: their addresses, and connections to them.
#ifndef EXAMPLES_PHONED_CORE_UNIX_SOCKET_H
#define EXAMPLES_PHONED_CORE_UNIX_SOCKET_H

#include <cerrno>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>

#include "userlib.hpp"

namespace phoned {

// A path that is too long is cut.
inline sockaddr_un unix_address(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

// A socket of this type that is connected to the path; none, with errno set, if that is not possible.
inline userlib::UniqueFd connect_unix(const std::string& path, int type) {
  const sockaddr_un address = unix_address(path);
  if (path != address.sun_path) {
    errno = ENAMETOOLONG;
    return userlib::UniqueFd();
  }
  userlib::UniqueFd fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    fd.reset();
  }
  return fd;
}

}  // namespace phoned

#endif
