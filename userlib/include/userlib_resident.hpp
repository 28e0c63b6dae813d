/** @file userlib_resident.hpp
 *
 * Part of userlib.hpp: what keeps a resident daemon from being held up, taken over or damaged by its surroundings:
 * TimeLimit, LineReader, UnixListener, LockFile, replace_file.
 *
 * Calls of the system fail as in C: with errno.
 */
#ifndef USERLIB_RESIDENT_HPP
#define USERLIB_RESIDENT_HPP

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <libgen.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "userlib_core.hpp"

namespace userlib {

/// occupy_standard_descriptors opens /dev/null for each of 0 to 2 that is closed. Otherwise the next file or socket would get
/// that number, and with it all that is printed. It goes first in main().
inline void occupy_standard_descriptors() {
  int fd = 0;
  while (fd >= 0 && fd <= STDERR_FILENO) {
    fd = open("/dev/null", O_RDWR);
  }
  close(fd);
}

/// TimeLimit is for a system call that might block although it should not: while it lives, a signal comes every 20 ms and
/// the call fails with EINTR. It takes SIGALRM, which a careless parent may have blocked, and the timer of the process. One
/// may be inside another.
class TimeLimit : Pinned {
 public:
  TimeLimit() {
    struct sigaction action = {};  // without SA_RESTART
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    sigprocmask(SIG_UNBLOCK, &alarm, nullptr);
    constexpr timeval kPeriod = {0, 20000};
    const itimerval interval = {kPeriod, kPeriod};
    setitimer(ITIMER_REAL, &interval, &before_);
  }
  ~TimeLimit() { setitimer(ITIMER_REAL, &before_, nullptr); }

 private:
  itimerval before_ = {};
};

/// LineReader collects lines of at most so many characters from a descriptor that may deliver them in pieces, or never.
template <std::size_t capacity>
class LineReader : Pinned {
 public:
  /// What a read has come to.
  enum class Event {
    kNothing,  ///< the line is not complete yet
    kLine,     ///< line() is complete
    kTooLong,  ///< once for a line that is too long; the rest of it is discarded
    kEnd       ///< end of input
  };

  /// read takes what is available, without waiting, up to the end of one line; the next line stays in the descriptor. A
  /// line ends with LF, CR or both; the last one may end with the input.
  Event read(int fd) {
    const TimeLimit limit;  // another reader may have taken what poll() saw
    for (std::size_t i = 0; i <= capacity && has_input(fd); ++i) {
      char c = 0;
      const ssize_t count = ::read(fd, &c, sizeof c);
      if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return Event::kNothing;
      }
      if (count <= 0) {
        return count == 0 && size_ > 0 ? finish() : Event::kEnd;
      }
      if (const Event event = add(c); event != Event::kNothing) {
        return event;
      }
    }
    return Event::kNothing;
  }

  /// line is the last line, without its end, until the next read. A null character follows it.
  std::string_view line() const { return {text_, line_size_}; }

 private:
  // The descriptor may be shared, as standard input is, and so cannot be made non-blocking.
  static bool has_input(int fd) {
    pollfd state = {fd, POLLIN, 0};
    return poll(&state, 1, 0) > 0;
  }

  Event add(char c) {
    const bool is_second_half = c == '\n' && is_behind_return_;
    is_behind_return_ = c == '\r';
    const bool is_end = c == '\n' || c == '\r';
    if (is_skipping_ || is_second_half) {
      is_skipping_ = is_skipping_ && !is_end;
      return Event::kNothing;
    }
    if (is_end) {
      return finish();
    }
    if (size_ == capacity) {
      size_ = 0;
      is_skipping_ = true;
      return Event::kTooLong;
    }
    text_[size_++] = c;
    return Event::kNothing;
  }

  Event finish() {
    text_[size_] = '\0';
    line_size_ = std::exchange(size_, 0);
    return Event::kLine;
  }

  char text_[capacity + 1] = {};
  std::size_t size_ = 0;  // of what has come of the next line
  std::size_t line_size_ = 0;
  bool is_skipping_ = false;
  bool is_behind_return_ = false;
};

/// set_unix_path puts the path into the address of a Unix socket. Returns false if it is empty or too long (ENAMETOOLONG).
[[nodiscard]] inline bool set_unix_path(sockaddr_un& address, std::string_view path) {
  address = {};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  return true;
}

/// connect_unix returns a socket of this type, such as SOCK_STREAM, that is connected to the path; none, with errno set, if
/// that is not possible.
inline UniqueFd connect_unix(std::string_view path, int type) {
  sockaddr_un address;
  if (!set_unix_path(address, path)) {
    return UniqueFd();
  }
  UniqueFd fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  if (fd && connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    fd.reset();
  }
  return fd;
}

/// UnixListener listens on a Unix socket, to which only the daemon's own user may connect. The socket goes with it.
class UnixListener : Pinned {
 public:
  UnixListener() = default;
  ~UnixListener() { static_cast<void>(close()); }

  /// open listens on the path, and replaces a socket there on which nobody listens: a daemon that was killed has left it
  /// behind. It is removed by the same path, so a relative one takes a working directory that stays. Processes that do this at
  /// the same time take turns, by a lock on the folder. They may replace each other's sockets where there is none: if the
  /// folder cannot be read, if its file system has no locks, or if somebody holds the lock for more than a second. Returns
  /// false, with errno set: ENAMETOOLONG also for no path, EADDRINUSE while another process listens there, ENOTSOCK for a
  /// file that is not a socket.
  [[nodiscard]] bool open(std::string_view path) {
    static_cast<void>(close());
    if (!set_unix_path(address_, path)) {
      return false;
    }
    const UniqueFd turn = take_turn();  // a socket that is bound, but does not listen yet, looks like a dead one's
    if (!make_room()) {
      return false;
    }
    UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fd || !bind_privately(fd.get())) {
      return false;
    }
    inode_ = inode();
    fd_ = std::move(fd);
    if (listen(fd_.get(), SOMAXCONN) != 0) {
      const int saved = errno;
      static_cast<void>(close());
      errno = saved;
      return false;
    }
    keep_reserve();
    return true;
  }

  /// accept returns the next connection, which does not block; none, with errno set, if there is none.
  UniqueFd accept() const { return UniqueFd(accept4(fd_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)); }

  /// is_shortage tells whether accept failed for want of a descriptor or memory. The connection then stays in the socket,
  /// which stays ready, and a loop would spin.
  static bool is_shortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
  }

  /// refuse is for such a connection: it is accepted with a descriptor that is kept for that, and closed after the callable
  /// has told it why. Returns false if that fails, too: then the socket should not be watched for a while.
  template <class Function>
  bool refuse(Function tell) {
    reserve_.reset();
    UniqueFd fd = accept();
    const bool is_hopeless = !fd && is_shortage(errno);
    if (fd) {
      tell(fd.get());
      fd.reset();
    }
    keep_reserve();
    return !is_hopeless;
  }

  int fd() const { return fd_.get(); }
  explicit operator bool() const { return static_cast<bool>(fd_); }

  /// close removes the socket; but not what else has its name by now. Returns false, with errno set, if it cannot be
  /// removed, or is gone.
  bool close() {
    if (!fd_) {
      return true;
    }
    // While it is open, it is not taken for a dead one's, and its inode not given to another.
    const ino_t found = inode();
    const bool is_removed = found != 0 && (found != inode_ || unlink(address_.sun_path) == 0);
    fd_.reset();
    reserve_.reset();
    return is_removed;
  }

 private:
  void keep_reserve() { reserve_.reset(::open("/dev/null", O_RDONLY | O_CLOEXEC)); }

  // The lock lasts as long as the descriptor. Any user who may read the folder can hold it, so the wait has an end.
  UniqueFd take_turn() const {
    char path[sizeof address_.sun_path];
    std::memcpy(path, address_.sun_path, sizeof path);
    UniqueFd folder(::open(dirname(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (int tries = 100; tries > 0 && flock(folder.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK; --tries) {
      poll(nullptr, 0, 10);
    }
    return folder;
  }

  bool make_room() const {
    struct stat status = {};
    if (lstat(address_.sun_path, &status) != 0) {
      return true;
    }
    if (!S_ISSOCK(status.st_mode)) {
      errno = ENOTSOCK;
      return false;
    }
    // EAGAIN: somebody listens but is busy. EPROTOTYPE: somebody takes datagrams there.
    if (connect_unix(address_.sun_path, SOCK_STREAM | SOCK_NONBLOCK) || errno == EAGAIN || errno == EPROTOTYPE) {
      errno = EADDRINUSE;
      return false;
    }
    // Only a refusal tells that nobody listens: without a free descriptor, for example, nobody knows.
    return (errno == ECONNREFUSED && unlink(address_.sun_path) == 0) || errno == ENOENT;
  }

  bool bind_privately(int fd) const {
    const mode_t mask = umask(0177);
    const bool is_bound = bind(fd, reinterpret_cast<const sockaddr*>(&address_), sizeof address_) == 0;
    const int saved = errno;
    umask(mask);
    errno = saved;
    return is_bound;
  }

  // 0 if there is none.
  ino_t inode() const {
    struct stat status = {};
    return lstat(address_.sun_path, &status) == 0 ? status.st_ino : 0;
  }

  sockaddr_un address_ = {};
  ino_t inode_ = 0;
  UniqueFd fd_;
  UniqueFd reserve_;
};

/// is_same_file tells whether two results of stat() are about one file, whatever its names.
inline bool is_same_file(const struct stat& one, const struct stat& other) {
  return one.st_ino == other.st_ino && one.st_dev == other.st_dev;
}

/// LockFile keeps apart processes that start at the same time. The system takes the lock back even from one that was killed.
class LockFile : Pinned {
 public:
  LockFile() = default;
  ~LockFile() { static_cast<void>(release()); }

  /// take locks the file, which is made if it does not exist. The text of the path must live as long as the lock; a relative
  /// one takes a working directory that stays. Returns false, with errno set, if that is not possible: EWOULDBLOCK while
  /// another process has it.
  [[nodiscard]] bool take(const char* path) {
    static_cast<void>(release());
    path_ = path;
    for (int tries = 10; tries > 0; --tries) {
      UniqueFd fd(open(path, O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
      if (!fd || flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
        return false;
      }
      // Its last owner has removed the file, perhaps between the two calls: then the lock keeps nobody away.
      if (is_named(fd.get())) {
        fd_ = std::move(fd);
        return true;
      }
    }
    errno = EWOULDBLOCK;
    return false;
  }

  explicit operator bool() const { return static_cast<bool>(fd_); }

  /// release removes the file, but not what else has its name by now, and gives up the lock. Returns false, with errno set,
  /// if the file cannot be removed.
  bool release() {
    const bool is_removed = !fd_ || !is_named(fd_.get()) || unlink(path_) == 0 || errno == ENOENT;
    const int saved = errno;
    fd_.reset();
    errno = saved;
    return is_removed;
  }

 private:
  bool is_named(int fd) const {
    struct stat opened = {};
    struct stat named = {};
    return fstat(fd, &opened) == 0 && stat(path_, &named) == 0 && is_same_file(opened, named);
  }

  const char* path_ = nullptr;
  UniqueFd fd_;
};

/// FileReplacement is what replace_file does, step by step.
class FileReplacement {
 public:
  /// What a link leads to is replaced, not the link. A file that does not exist yet has no other name.
  explicit FileReplacement(const char* path) : file_(realpath(path, real_) != nullptr ? real_ : path) {
    has_room_ = std::snprintf(beside_, sizeof beside_, "%s.new", file_) < PATH_MAX;
    std::snprintf(copy_, sizeof copy_, "%s", file_);
    folder_ = dirname(copy_);
  }

  const char* beside() const { return beside_; }

  /// begin removes what a power cut has left beside, unless the file cannot be replaced: then it returns false. What cannot
  /// be removed, such as a folder or another user's link, is not written to.
  bool begin() const {
    const bool is_possible = has_room_ && access(folder_, W_OK | X_OK) == 0 && is_replaceable();
    return is_possible && (unlink(beside_) == 0 || errno == ENOENT);
  }

  /// The file beside takes the old one's group, mode and place. Some file systems write the new name before the bytes, unless
  /// they are told to sync.
  bool finish() const {
    struct stat status = {};
    const UniqueFd fd(open(beside_, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd) {
      return false;
    }
    if (stat(file_, &status) == 0) {
      static_cast<void>(!fchown(fd.get(), static_cast<uid_t>(-1), status.st_gid));
      static_cast<void>(fchmod(fd.get(), status.st_mode & 0777));
    }
    if (fsync(fd.get()) != 0 || std::rename(beside_, file_) != 0) {
      return false;
    }
    const UniqueFd folder(open(folder_, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    fsync(folder.get());
    return true;
  }

 private:
  // A file that takes the place of another has an owner, a mode and a folder of its own.
  bool is_replaceable() const {
    struct stat status = {};
    struct stat beside = {};
    if (lstat(file_, &status) != 0) {
      return errno == ENOENT;
    }
    // The name beside may be a second one of the file itself: of a power cut between the two steps of a rename.
    const bool is_beside = lstat(beside_, &beside) == 0 && is_same_file(beside, status);
    return S_ISREG(status.st_mode) && status.st_nlink == (is_beside ? 2U : 1U) && status.st_uid == geteuid() &&
           access(file_, W_OK) == 0;
  }

  char real_[PATH_MAX];
  char copy_[PATH_MAX];
  char beside_[PATH_MAX];
  const char* file_;
  const char* folder_;
  bool has_room_;
};

/// replace_file has a file written whole: a power cut leaves the old one or the new one. The callable gets the path of a file
/// beside to write to, which then takes the place of the old one, and returns whether it could. Where that cannot be - in a
/// folder that takes no new file, for a device, for a file of another user or with other names - it gets the path itself.
/// Returns whether the file is written; errno is the callable's or the system's if not.
template <class Write>
bool replace_file(const char* path, Write write) {
  const FileReplacement replacement(path);
  if (!replacement.begin()) {
    return write(path);
  }
  const bool is_replaced = write(replacement.beside()) && replacement.finish();
  if (!is_replaced) {
    const int saved = errno;
    unlink(replacement.beside());
    errno = saved;
  }
  return is_replaced;
}

}  // namespace userlib

#endif
