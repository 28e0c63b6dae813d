// Parts of the machine that a test has to itself: a network with nothing but a loopback interface, and a view of the
// file system in which /dev holds what the test puts there. Needs root.
#ifndef TESTS_WORLD_NAMESPACES_H
#define TESTS_WORLD_NAMESPACES_H

#include <string>

namespace world {

// From here to the end of the object, the calling thread and what it starts are in namespaces of their own.
class Namespaces {
 public:
  static constexpr char kNotPermitted[] = "no namespaces of our own are permitted: this needs root";

  enum class Kind { kNetwork, kMounts };

  explicit Namespaces(Kind kind);
  ~Namespaces();
  Namespaces(const Namespaces&) = delete;
  Namespaces& operator=(const Namespaces&) = delete;

  // False where the system does not permit it; nothing has changed then.
  bool are_ours() const { return are_ours_; }

 private:
  int flag_;
  int before_;  // where the thread comes from
  bool are_ours_ = false;
};

// Gives the loopback interface of a network namespace a second address.
bool add_loopback_address(const char* address);

// Puts a file system in memory in a directory, as long as the object lives. Mount namespaces only.
class MemoryDisk {
 public:
  // The size as mount(8) takes it, such as "64k".
  MemoryDisk(const std::string& directory, const std::string& size);
  ~MemoryDisk();
  MemoryDisk(const MemoryDisk&) = delete;
  MemoryDisk& operator=(const MemoryDisk&) = delete;

  bool is_there() const { return is_there_; }
  bool make_read_only() const;
  // Writes until there is no room for another byte.
  void fill() const;

 private:
  std::string directory_;
  bool is_there_;
};

// Puts a directory in the place of /dev, with the devices that every program needs and no system log.
bool replace_devices(const std::string& directory);

}  // namespace world

#endif
