// Namespaces for a test: a network with only a loopback interface, or a view of the file system in which the test can
// replace /dev. Needs root.
#ifndef TESTS_WORLD_NAMESPACES_H
#define TESTS_WORLD_NAMESPACES_H

#include <string>

namespace world {

// During its lifetime, the calling thread and the processes that it starts are in a new namespace.
class Namespaces {
 public:
  static constexpr char kNotPermitted[] = "cannot create namespaces: needs root";

  enum class Kind { kNetwork, kMounts };

  explicit Namespaces(Kind kind);
  ~Namespaces();
  Namespaces(const Namespaces&) = delete;
  Namespaces& operator=(const Namespaces&) = delete;

  // False if the system does not permit it; then nothing has changed.
  bool are_ours() const { return are_ours_; }

 private:
  int flag_;
  int before_;  // the former namespace
  bool are_ours_ = false;
};

// Gives the loopback interface of a network namespace a second address.
bool add_loopback_address(const char* address);

// Mounts a file system in memory on a directory during its lifetime. Only in a mount namespace.
class MemoryDisk {
 public:
  // The size is given as for mount(8), such as "64k".
  MemoryDisk(const std::string& directory, const std::string& size);
  ~MemoryDisk();
  MemoryDisk(const MemoryDisk&) = delete;
  MemoryDisk& operator=(const MemoryDisk&) = delete;

  bool is_there() const { return is_there_; }
  bool make_read_only() const;
  // Writes until the disk is full.
  void fill() const;

 private:
  std::string directory_;
  bool is_there_;
};

// Replaces /dev with a directory that has the usual devices but no system log.
bool replace_devices(const std::string& directory);

}  // namespace world

#endif
