#include "namespaces.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

namespace world {
namespace {

int flag_of(Namespaces::Kind kind) {
  return kind == Namespaces::Kind::kNetwork ? CLONE_NEWNET : CLONE_NEWNS;
}

const char* path_of(Namespaces::Kind kind) {
  return kind == Namespaces::Kind::kNetwork ? "/proc/thread-self/ns/net" : "/proc/thread-self/ns/mnt";
}

// Makes a request to the interface, one of SIOC... .
template <auto kRequest>
bool configure(ifreq& interface) {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const bool is_done = ioctl(fd, kRequest, &interface) == 0;
  close(fd);
  return is_done;
}

ifreq interface_of(const char* name) {
  ifreq interface = {};
  std::strncpy(interface.ifr_name, name, sizeof interface.ifr_name - 1);
  return interface;
}

bool start_loopback() {
  ifreq loopback = interface_of("lo");
  loopback.ifr_flags = IFF_UP | IFF_RUNNING;
  return configure<SIOCSIFFLAGS>(loopback);
}

// Keeps mounts of the namespace from spreading to the machine.
bool keep_mounts_to_ourselves() {
  return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace

Namespaces::Namespaces(Kind kind) : flag_(flag_of(kind)), before_(open(path_of(kind), O_RDONLY | O_CLOEXEC)) {
  if (before_ >= 0 && unshare(flag_) == 0) {
    are_ours_ = kind == Kind::kNetwork ? start_loopback() : keep_mounts_to_ourselves();
  }
}

Namespaces::~Namespaces() {
  if (before_ >= 0) {
    setns(before_, flag_);
    close(before_);
  }
}

bool add_loopback_address(const char* address) {
  ifreq alias = interface_of("lo:1");
  sockaddr_in in = {};
  in.sin_family = AF_INET;
  inet_pton(AF_INET, address, &in.sin_addr);
  std::memcpy(&alias.ifr_addr, &in, sizeof in);
  return configure<SIOCSIFADDR>(alias);
}

MemoryDisk::MemoryDisk(const std::string& directory, const std::string& size)
    : directory_(directory),
      is_there_(mount("tmpfs", directory.c_str(), "tmpfs", 0, ("mode=700,size=" + size).c_str()) == 0) {}

MemoryDisk::~MemoryDisk() {
  if (is_there_) {
    umount2(directory_.c_str(), MNT_DETACH);
  }
}

bool MemoryDisk::make_read_only() const {
  return mount(nullptr, directory_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

void MemoryDisk::fill() const {
  const int fd = open((directory_ + "/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const std::string page(4096, 'x');
  while (write(fd, page.data(), page.size()) > 0) {
  }
  close(fd);
}

bool replace_devices(const std::string& directory) {
  std::filesystem::create_directories(directory + "/pts");
  for (const char* name : {"null", "zero", "full", "random", "urandom", "tty", "ptmx"}) {
    const std::string device = std::string("/dev/") + name;
    const std::string place = directory + "/" + name;
    std::ofstream{place};
    if (mount(device.c_str(), place.c_str(), nullptr, MS_BIND, nullptr) != 0) {
      return false;
    }
  }
  return mount("/dev/pts", (directory + "/pts").c_str(), nullptr, MS_BIND, nullptr) == 0 &&
         mount(directory.c_str(), "/dev", nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

}  // namespace world
