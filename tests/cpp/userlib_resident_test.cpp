#include "userlib_resident.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "doubles/child_process.h"
#include "doubles/descriptors.h"
#include "doubles/fault_injector.h"
#include "doubles/temporary_directory.h"

namespace {

using support::ChildProcess;
using support::content_of;
using support::FaultInjector;
using support::open_descriptors;
using support::TemporaryDirectory;
using support::TestPipe;
using support::write_content;
using userlib::LockFile;
using userlib::UniqueFd;
using userlib::UnixListener;
using Event = userlib::LineReader<255>::Event;

bool exists(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
}

// ---- Standard input, output and error ----

bool is_null_device(int fd) {
  struct stat null = {};
  struct stat status = {};
  return stat("/dev/null", &null) == 0 && fstat(fd, &status) == 0 && S_ISCHR(status.st_mode) &&
         status.st_rdev == null.st_rdev && (fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDWR;
}

// Bits of a number say which of the descriptors 0 to 2 are meant.
bool is_in(int bits, int fd) {
  return (bits >> fd & 1) != 0;
}

// Leaves 0 to 2 open, but not to the null device, except for these. Returns all that were open before these were closed.
std::set<int> close_standard_descriptors(int bits) {
  const UniqueFd other(open("/", O_RDONLY));
  for (int fd = 0; fd <= STDERR_FILENO; ++fd) {
    dup2(other.get(), fd);
  }
  std::set<int> all = open_descriptors();
  all.erase(other.get());
  for (int fd = 0; fd <= STDERR_FILENO; ++fd) {
    if (is_in(bits, fd)) {
      close(fd);
    }
  }
  return all;
}

TEST(UserlibHppStandardDescriptors, AreOpenedIfTheyAreClosedAndElseLeftAlone) {
  for (int closed = 0; closed < 8; ++closed) {
    const ChildProcess child([closed] {
      const std::set<int> all = close_standard_descriptors(closed);
      userlib::occupy_standard_descriptors();
      int wrong = open_descriptors() == all ? 0 : 8;
      for (int fd = 0; fd <= STDERR_FILENO; ++fd) {
        wrong |= is_null_device(fd) == is_in(closed, fd) ? 0 : 1 << fd;
      }
      _exit(wrong);
    });
    EXPECT_TRUE(child.has_exited(0)) << "without " << closed << ": " << child.outcome();
  }
}

TEST(UserlibHppStandardDescriptors, StayClosedWithoutTheNullDevice) {
  const ChildProcess child([] {
    std::set<int> left = close_standard_descriptors(1 << STDOUT_FILENO);
    left.erase(STDOUT_FILENO);
    const FaultInjector fault("open", 1, ENOENT, 1000);
    userlib::occupy_standard_descriptors();
    _exit(open_descriptors() == left ? 0 : 1);
  });
  EXPECT_TRUE(child.has_exited(0)) << child.outcome();
}

// ---- A line ----

class UserlibHppLineReader : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(pipe(ends_), 0); }
  void TearDown() override {
    close(ends_[0]);
    hang_up();
  }

  void put(const std::string& text) const {
    ASSERT_EQ(write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void hang_up() {
    if (ends_[1] >= 0) {
      close(ends_[1]);
    }
    ends_[1] = -1;
  }
  Event read() { return reader_.read(ends_[0]); }

  int ends_[2] = {-1, -1};
  userlib::LineReader<255> reader_;
};

TEST_F(UserlibHppLineReader, PutsALineTogether) {
  EXPECT_EQ(read(), Event::kNothing) << "does not wait";
  for (const char* piece : {"t", "r s", "how"}) {
    put(piece);
    EXPECT_EQ(read(), Event::kNothing);
  }
  put("\n");
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "tr show");
  EXPECT_EQ(read(), Event::kNothing);
}

TEST_F(UserlibHppLineReader, LeavesTheNextLineInTheDescriptor) {
  put("a\n\nb\r\n\r");
  char rest[8] = {};
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "a");
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "");
  EXPECT_EQ(::read(ends_[0], rest, 1), 1);
  EXPECT_EQ(rest[0], 'b');
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "") << "a carriage return ends a line, and so does the line feed with it";
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "") << "a carriage return alone";
  put("\nc\rd\r");
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "c") << "the first character belongs to the previous line end";
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "d");
}

TEST_F(UserlibHppLineReader, TakesAnEmptyLineFirst) {
  put("\n");
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "");
}

TEST_F(UserlibHppLineReader, TakesSoMuchAndNoMore) {
  put(std::string(254, 'x') + "\n" + std::string(255, 'y') + "\n" + std::string(256, 'z') + "\nnext\n");
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), std::string(254, 'x'));
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), std::string(255, 'y'));
  EXPECT_EQ(read(), Event::kTooLong);
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "next");
}

TEST_F(UserlibHppLineReader, SaysOnceThatALineIsTooLong) {
  put(std::string(10000, 'x'));
  EXPECT_EQ(read(), Event::kTooLong);
  for (int i = 0; i < 40; ++i) {
    EXPECT_EQ(read(), Event::kNothing);
  }
  put("x\r\nnext\n");
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "next");
}

TEST_F(UserlibHppLineReader, TellsTheEnd) {
  put("half");
  hang_up();
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "half");
  EXPECT_EQ(read(), Event::kEnd);
  EXPECT_EQ(reader_.read(-1), Event::kNothing);
}

// ---- A system call that blocks ----

TEST(UserlibHppTimeLimit, EndsACallThatWouldBlock) {
  int ends[2];
  char byte = 0;
  ASSERT_EQ(pipe(ends), 0);
  {
    const userlib::TimeLimit limit;
    EXPECT_EQ(read(ends[0], &byte, sizeof byte), -1);
    EXPECT_EQ(errno, EINTR);
  }
  itimerval left = {};
  getitimer(ITIMER_REAL, &left);
  EXPECT_EQ(left.it_value.tv_sec + left.it_value.tv_usec, 0) << "the timer is stopped";
  close(ends[0]);
  close(ends[1]);
}

TEST(UserlibHppTimeLimit, MayBeInsideAnotherAndWhereItsSignalIsBlocked) {
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  sigprocmask(SIG_BLOCK, &alarm, nullptr);
  int ends[2];
  char byte = 0;
  ASSERT_EQ(pipe(ends), 0);
  {
    const userlib::TimeLimit outer;
    { const userlib::TimeLimit inner; }
    itimerval left = {};
    getitimer(ITIMER_REAL, &left);
    ASSERT_GT(left.it_value.tv_usec, 0);
    EXPECT_EQ(left.it_interval.tv_usec, 20000);
    EXPECT_EQ(read(ends[0], &byte, sizeof byte), -1);
    EXPECT_EQ(errno, EINTR);
  }
  close(ends[0]);
  close(ends[1]);
}

// ---- A socket for operators ----

TEST(UserlibHppUnixListener, AcceptsAndRemovesItsSocket) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("console");
  UnixListener listener;
  EXPECT_FALSE(listener);
  EXPECT_TRUE(listener.close()) << "there is nothing to remove";
  ASSERT_TRUE(listener.open(path));
  EXPECT_FALSE(listener.accept());
  EXPECT_EQ(errno, EAGAIN) << "does not wait";
  struct stat status = {};
  ASSERT_EQ(lstat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U) << "for one user only";
  const UniqueFd client = userlib::connect_unix(path, SOCK_STREAM);
  ASSERT_TRUE(client);
  const UniqueFd server = listener.accept();
  ASSERT_TRUE(server);
  EXPECT_NE(fcntl(server.get(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_EQ(write(client.get(), "x", 1), 1);
  char byte = 0;
  EXPECT_EQ(read(server.get(), &byte, 1), 1);
  EXPECT_TRUE(listener.close());
  EXPECT_FALSE(exists(path));
  EXPECT_FALSE(userlib::connect_unix(path, SOCK_STREAM));
  EXPECT_EQ(errno, ENOENT);
}

// A socket that has a path, and on which nobody listens; none if that is not possible.
UniqueFd bound_socket(const std::string& path, int type) {
  sockaddr_un address = {};
  UniqueFd fd(socket(AF_UNIX, type, 0));
  const bool is_bound = userlib::set_unix_path(address, path) &&
                        bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  return is_bound ? std::move(fd) : UniqueFd();
}

TEST(UserlibHppUnixListener, ReplacesASocketOnWhichNobodyListens) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("console");
  bound_socket(path, SOCK_STREAM).reset();
  ASSERT_TRUE(exists(path));
  UnixListener first;
  UnixListener second;
  EXPECT_TRUE(first.open(path));
  EXPECT_FALSE(second.open(path));
  EXPECT_EQ(errno, EADDRINUSE);
  EXPECT_TRUE(userlib::connect_unix(path, SOCK_STREAM)) << "the first one still listens";
}

TEST(UserlibHppUnixListener, TellsWhyItCannotListen) {
  const TemporaryDirectory directory;
  const std::string file = directory.file("file");
  write_content(file, "kept");
  const struct {
    std::string path;
    int error;
  } kCases[] = {
      {file, ENOTSOCK},
      {"", ENAMETOOLONG},
      {directory.file(std::string(107 - directory.path().size(), 'x')), ENAMETOOLONG},
      {directory.file("missing/console"), ENOENT},
  };
  for (const auto& row : kCases) {
    UnixListener listener;
    EXPECT_FALSE(listener.open(row.path)) << row.path;
    EXPECT_EQ(errno, row.error) << row.path;
    EXPECT_FALSE(listener);
  }
  EXPECT_EQ(content_of(file), "kept");
  UnixListener listener;
  EXPECT_TRUE(listener.open(directory.file(std::string(106 - directory.path().size(), 'x')))) << "the longest path";
}

// Whether somebody listens cannot be told then: the socket may be a living daemon's.
TEST(UserlibHppUnixListener, ReplacesNoSocketThatItCannotTry) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("console");
  UnixListener first;
  UnixListener second;
  ASSERT_TRUE(first.open(path));
  {
    const FaultInjector fault("socket", 1, EMFILE);
    EXPECT_FALSE(second.open(path));
    EXPECT_EQ(errno, EMFILE);
  }
  EXPECT_TRUE(userlib::connect_unix(path, SOCK_STREAM)) << "the first one still listens";
}

TEST(UserlibHppUnixListener, ReplacesNoSocketThatTakesDatagrams) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("log");
  const UniqueFd other = bound_socket(path, SOCK_DGRAM);
  ASSERT_TRUE(other);
  UnixListener listener;
  EXPECT_FALSE(listener.open(path));
  EXPECT_EQ(errno, EADDRINUSE);
  EXPECT_TRUE(userlib::connect_unix(path, SOCK_DGRAM));
}

TEST(UserlibHppUnixListener, TellsThatADeadOnesSocketCannotBeRemoved) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("console");
  sockaddr_un address = {};
  ASSERT_TRUE(userlib::set_unix_path(address, path));
  const UniqueFd dead(socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(bind(dead.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  UnixListener listener;
  const FaultInjector fault("unlink", 1, EROFS);
  EXPECT_FALSE(listener.open(path));
  EXPECT_EQ(errno, EROFS);
}

TEST(UserlibHppUnixListener, LeavesNothingWhereItCannotListen) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("console");
  UnixListener listener;
  for (const char* call : {"socket", "bind", "listen"}) {
    const FaultInjector fault(call, 1, ENOMEM);
    EXPECT_FALSE(listener.open(path)) << call;
    EXPECT_EQ(errno, ENOMEM) << call;
    EXPECT_FALSE(listener) << call;
    EXPECT_FALSE(exists(path)) << call;
  }
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_NE(mask, 0177U) << "the mask of the process is back";
  EXPECT_TRUE(listener.open(path));
}

TEST(UserlibHppUnixListener, LeavesWhatHasItsNameByNow) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("console");
  UnixListener listener;
  ASSERT_TRUE(listener.open(path));
  ASSERT_EQ(rename(path.c_str(), directory.file("elsewhere").c_str()), 0);
  write_content(path, "another's");
  EXPECT_TRUE(listener.close());
  EXPECT_EQ(content_of(path), "another's");
  unlink(path.c_str());
  ASSERT_TRUE(listener.open(path));
  unlink(path.c_str());
  EXPECT_FALSE(listener.close());
  EXPECT_EQ(errno, ENOENT);
  ASSERT_TRUE(listener.open(path));
  const FaultInjector fault("unlink", 1, EROFS);
  EXPECT_FALSE(listener.close());
  EXPECT_EQ(errno, EROFS);
}

// Processes that all open one path at the same time, and leave their socket behind.
class Rivals {
 public:
  static constexpr std::size_t kCount = 4;

  // Each is held up once, so many microseconds after it has begun.
  Rivals(const std::string& path, int microseconds) : moment_{{0, 0}, {0, microseconds}} {
    for (std::size_t i = 0; i < kCount; ++i) {
      pids_[i] = fork();
      if (pids_[i] == 0) {
        compete(path, static_cast<char>('a' + i));
      }
    }
    start_.put("!");
  }
  ~Rivals() {
    start_.close_write_end();
    for (const pid_t pid : pids_) {
      waitpid(pid, nullptr, 0);
    }
  }
  Rivals(const Rivals&) = delete;
  Rivals& operator=(const Rivals&) = delete;

  // "-" for each that was told that another one listens, "?" for another error, and then the names of those that listen.
  std::string results() {
    std::string all;
    for (pollfd next = {results_.read_end(), POLLIN, 0}; all.size() < kCount && poll(&next, 1, 10000) > 0;) {
      all += results_.take();
    }
    std::sort(all.begin(), all.end());
    return all;
  }

 private:
  // The one that listens tells its name to whoever connects. All end with the test.
  [[noreturn]] void compete(const std::string& path, char name) {
    start_.close_write_end();
    pollfd start = {start_.read_end(), POLLIN, 0};
    poll(&start, 1, -1);
    std::signal(SIGALRM, hold_up);
    setitimer(ITIMER_REAL, &moment_, nullptr);
    UnixListener listener;
    results_.put(std::string(1, listener.open(path) ? name : errno == EADDRINUSE ? '-' : '?'));
    pollfd events[] = {{listener.fd(), POLLIN, 0}, {start_.read_end(), 0, 0}};
    while (events[1].revents == 0) {
      poll(events, 2, -1);  // which the signal may end
      const UniqueFd client = listener.accept();
      send(client.get(), &name, sizeof name, MSG_NOSIGNAL);
    }
    _exit(0);
  }

  static void hold_up(int /*signal*/) {
    const int saved = errno;
    poll(nullptr, 0, 2);
    errno = saved;
  }

  itimerval moment_;
  TestPipe start_;
  TestPipe results_;
  pid_t pids_[kCount] = {};
};

// Returns the name of the one that listens on the path; a blank if there is none.
char name_of_listener(const std::string& path) {
  char name = ' ';
  const UniqueFd client = userlib::connect_unix(path, SOCK_STREAM);
  static_cast<void>(!read(client.get(), &name, sizeof name));
  return name;
}

TEST(UserlibHppUnixListener, IsTheOnlyOneOfThoseThatOpenAtTheSameTime) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("console");
  bound_socket(path, SOCK_STREAM).reset();
  for (int microseconds = 1; microseconds < 100; microseconds += 2) {
    SCOPED_TRACE(microseconds);
    Rivals rivals(path, microseconds);
    const std::string results = rivals.results();
    ASSERT_EQ(results.size(), Rivals::kCount);
    EXPECT_EQ(results.substr(0, Rivals::kCount - 1), std::string(Rivals::kCount - 1, '-'));
    EXPECT_EQ(name_of_listener(path), results.back()) << "and is found at the path";
  }
}

TEST(UserlibHppUnixListener, LocksItsFolderOnlyUntilItListens) {
  const TemporaryDirectory directory;
  const UniqueFd folder(open(directory.path().c_str(), O_RDONLY | O_DIRECTORY));
  const std::size_t before = support::count_open_descriptors();
  UnixListener first;
  UnixListener second;
  ASSERT_TRUE(first.open(directory.file("console")));
  EXPECT_EQ(flock(folder.get(), LOCK_EX | LOCK_NB), 0);
  flock(folder.get(), LOCK_UN);
  EXPECT_FALSE(second.open(directory.file("console")));
  EXPECT_EQ(flock(folder.get(), LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(support::count_open_descriptors(), before + 2) << "the socket and the reserve";
}

// Another user can have it as well as another daemon that starts.
TEST(UserlibHppUnixListener, WaitsForItsFolderAWhileButNotForEver) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("console");
  UnixListener listener;
  {
    const FaultInjector fault("flock", 1, EWOULDBLOCK, 3);
    EXPECT_TRUE(listener.open(path));
    EXPECT_EQ(fault.calls(), 4);
  }
  const UniqueFd folder(open(directory.path().c_str(), O_RDONLY | O_DIRECTORY));
  ASSERT_EQ(flock(folder.get(), LOCK_EX), 0);
  const FaultInjector count("flock", 1000, 0);
  EXPECT_TRUE(listener.open(path));
  EXPECT_EQ(count.calls(), 100);
}

TEST(UserlibHppUnixListener, NeedsNoLock) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("console");
  for (const char* call : {"open", "flock"}) {
    bound_socket(path, SOCK_STREAM).reset();
    const FaultInjector fault(call, 1, ENOLCK);
    UnixListener listener;
    EXPECT_TRUE(listener.open(path)) << call;
    EXPECT_TRUE(fault.has_struck()) << call;
    EXPECT_TRUE(userlib::connect_unix(path, SOCK_STREAM)) << call;
  }
}

// Descriptors 0 to 2 are another test's business.
class WithoutFreeDescriptors {
 public:
  WithoutFreeDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const UniqueFd next(open("/dev/null", O_RDONLY));
    set(static_cast<rlim_t>(next.get()));
  }
  ~WithoutFreeDescriptors() { set(before_.rlim_cur); }
  WithoutFreeDescriptors(const WithoutFreeDescriptors&) = delete;
  WithoutFreeDescriptors& operator=(const WithoutFreeDescriptors&) = delete;

 private:
  void set(rlim_t most) const {
    const rlimit limit = {most, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &limit);
  }

  rlimit before_ = {};
};

TEST(UserlibHppUnixListener, RefusesWithItsReserve) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("console");
  UnixListener listener;
  ASSERT_TRUE(listener.open(path));
  const UniqueFd first = userlib::connect_unix(path, SOCK_STREAM);
  const UniqueFd second = userlib::connect_unix(path, SOCK_STREAM);
  char said = 0;
  const auto tell = [](int fd) { EXPECT_EQ(write(fd, "x", 1), 1); };
  {
    const WithoutFreeDescriptors none_free;
    EXPECT_FALSE(listener.accept());
    EXPECT_TRUE(UnixListener::is_shortage(errno));
    EXPECT_TRUE(listener.refuse(tell));
    EXPECT_TRUE(listener.refuse(tell)) << "the reserve is there again";
    EXPECT_TRUE(listener.refuse([](int) { ADD_FAILURE() << "nobody is left in the socket"; }));
  }
  for (const UniqueFd* client : {&first, &second}) {
    EXPECT_EQ(read(client->get(), &said, 1), 1);
    EXPECT_EQ(read(client->get(), &said, 1), 0) << "refused, and disconnected";
  }
}

TEST(UserlibHppUnixListener, TellsThatNotEvenItsReserveHelps) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("console");
  UnixListener listener;
  ASSERT_TRUE(listener.open(path));
  const UniqueFd client = userlib::connect_unix(path, SOCK_STREAM);
  rlimit before = {};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none = {0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const bool is_refused = listener.refuse([](int) {});
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_FALSE(is_refused);
  EXPECT_TRUE(listener.accept()) << "the connection is still there";
}

// ---- A lock ----

TEST(UserlibHppLockFile, HasOneOwner) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("lock");
  LockFile first;
  LockFile second;
  ASSERT_TRUE(first.take(path.c_str()));
  EXPECT_TRUE(first);
  EXPECT_FALSE(second.take(path.c_str()));
  EXPECT_EQ(errno, EWOULDBLOCK);
  EXPECT_FALSE(second);
  EXPECT_TRUE(second.release());
  EXPECT_TRUE(exists(path)) << "only its owner removes the file";
  EXPECT_TRUE(first.release());
  EXPECT_FALSE(exists(path));
  EXPECT_TRUE(second.take(path.c_str()));
}

// A lock on a file that nobody finds any more keeps nobody away.
TEST(UserlibHppLockFile, DoesNotCountWithoutItsName) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("lock");
  LockFile first;
  LockFile second;
  ASSERT_TRUE(first.take(path.c_str()));
  ASSERT_EQ(unlink(path.c_str()), 0);
  EXPECT_TRUE(second.take(path.c_str()));
  const FaultInjector fault("fstat", 1, EIO, 100);
  LockFile third;
  EXPECT_FALSE(third.take(directory.file("other").c_str())) << "does not try for ever";
  EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST(UserlibHppLockFile, TellsWhatTheSystemRefuses) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("lock");
  ASSERT_EQ(symlink("/dev/null", path.c_str()), 0);
  LockFile lock;
  EXPECT_FALSE(lock.take(path.c_str())) << "a link may lead anywhere";
  EXPECT_EQ(errno, ELOOP);
  unlink(path.c_str());
  ASSERT_TRUE(lock.take(path.c_str()));
  const FaultInjector fault("unlink", 1, EROFS);
  EXPECT_FALSE(lock.release());
  EXPECT_EQ(errno, EROFS);
}

TEST(UserlibHppLockFile, LeavesWhatHasItsNameByNow) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("lock");
  LockFile first;
  LockFile second;
  ASSERT_TRUE(first.take(path.c_str()));
  ASSERT_EQ(unlink(path.c_str()), 0);
  ASSERT_TRUE(second.take(path.c_str()));
  EXPECT_TRUE(first.release());
  EXPECT_FALSE(first.take(path.c_str())) << "the second one still has it";
  EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST(UserlibHppLockFile, IsOneFileAtATime) {
  const TemporaryDirectory directory;
  const std::string one = directory.file("one");
  const std::string two = directory.file("two");
  LockFile lock;
  LockFile other;
  ASSERT_TRUE(lock.take(one.c_str()));
  ASSERT_TRUE(other.take(two.c_str()));
  EXPECT_FALSE(lock.take(two.c_str()));
  EXPECT_FALSE(exists(one));
  EXPECT_TRUE(lock.release());
  EXPECT_TRUE(exists(two)) << "another's";
}

// ---- A file that replaces another ----

class UserlibHppReplaceFile : public testing::Test {
 protected:
  // Replaces the file with "new", and says what was written to.
  bool replace(const std::string& path) {
    return userlib::replace_file(path.c_str(), [this](const char* name) {
      written_ = name;
      write_content(name, "new");
      return true;
    });
  }

  static ino_t inode(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
  }

  TemporaryDirectory directory_;
  std::string file_ = directory_.file("masks");
  std::string written_;
};

TEST_F(UserlibHppReplaceFile, WritesBesideAndRenames) {
  write_content(file_, "old");
  chmod(file_.c_str(), 0604);
  const ino_t before = inode(file_);
  EXPECT_TRUE(replace(file_));
  EXPECT_TRUE(written_.ends_with("/masks.new")) << written_;
  EXPECT_EQ(content_of(file_), "new");
  EXPECT_NE(inode(file_), before);
  struct stat status = {};
  ASSERT_EQ(stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0604U) << "the mode stays";
  EXPECT_FALSE(exists(file_ + ".new"));
}

TEST_F(UserlibHppReplaceFile, MakesAFileAndReplacesWhatALinkLeadsTo) {
  EXPECT_TRUE(replace(file_));
  EXPECT_TRUE(written_.ends_with("/masks.new")) << written_;
  EXPECT_EQ(content_of(file_), "new");
  write_content(file_, "old");
  const std::string link = directory_.file("link");
  ASSERT_EQ(symlink("masks", link.c_str()), 0);
  EXPECT_TRUE(replace(link));
  EXPECT_TRUE(written_.ends_with("/masks.new")) << written_;
  EXPECT_EQ(content_of(file_), "new");
  struct stat status = {};
  ASSERT_EQ(lstat(link.c_str(), &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(UserlibHppReplaceFile, WritesToWhatCannotBeReplaced) {
  const std::string other = directory_.file("other");
  write_content(file_, "old");
  ASSERT_EQ(link(file_.c_str(), other.c_str()), 0);
  EXPECT_TRUE(replace(file_));
  EXPECT_EQ(written_, file_) << "it has another name";
  EXPECT_EQ(content_of(other), "new");
  const std::string dangling = directory_.file("dangling");
  ASSERT_EQ(symlink("nowhere", dangling.c_str()), 0);
  EXPECT_TRUE(replace(dangling));
  EXPECT_EQ(written_, dangling);
  EXPECT_EQ(content_of(directory_.file("nowhere")), "new");
  const std::string lost = directory_.file("missing/masks");
  EXPECT_TRUE(userlib::replace_file(lost.c_str(), [&](const char* name) { return name == lost; })) << "no such folder";
  const std::string too_long(PATH_MAX, 'x');
  EXPECT_TRUE(userlib::replace_file(too_long.c_str(), [&](const char* name) { return name == too_long; }));
}

TEST_F(UserlibHppReplaceFile, WritesToWhatLeavesNoRoomForTheNameBeside) {
  std::string path = directory_.file("");
  while (path.size() + 3 <= PATH_MAX - sizeof ".new") {
    path += "./";
  }
  path.resize(PATH_MAX - sizeof ".new", 'x');
  EXPECT_TRUE(replace(path));
  EXPECT_EQ(written_, path + ".new") << "the longest path";
  ASSERT_EQ(unlink(path.c_str()), 0);
  path += 'x';
  EXPECT_TRUE(replace(path));
  EXPECT_EQ(written_, path);
}

TEST_F(UserlibHppReplaceFile, KeepsTheOldFileWhereWritingFails) {
  const auto expect_old = [this](const char* what) {
    EXPECT_EQ(content_of(file_), "old") << what;
    EXPECT_FALSE(exists(file_ + ".new")) << what;
  };
  write_content(file_, "old");
  EXPECT_FALSE(userlib::replace_file(file_.c_str(), [](const char* name) {
    write_content(name, "half");
    return false;
  }));
  expect_old("the writer fails");
  write_content(file_ + ".new", "left behind by a power cut");
  EXPECT_FALSE(userlib::replace_file(file_.c_str(), [](const char*) { return true; }));
  expect_old("nothing is written");
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(userlib::replace_file(file_.c_str(), [](const char*) {
    errno = ENOSPC;
    return false;
  }));
  EXPECT_EQ(errno, ENOSPC) << "why it failed";
}

TEST_F(UserlibHppReplaceFile, TellsThatItCannotRename) {
  EXPECT_FALSE(userlib::replace_file(file_.c_str(), [this](const char* name) {
    write_content(name, "new");
    return mkdir(file_.c_str(), 0700) == 0;
  }));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_FALSE(exists(file_ + ".new"));
}

TEST_F(UserlibHppReplaceFile, WritesToNothingElseThatHasTheNameBeside) {
  write_content(file_, "old");
  // Links on the way to the folder are followed first.
  const std::string beside = std::filesystem::canonical(file_).string() + ".new";
  ASSERT_EQ(mkdir(beside.c_str(), 0700), 0);
  EXPECT_TRUE(replace(file_));
  EXPECT_EQ(written_, file_) << "a folder is there";
  ASSERT_EQ(rmdir(beside.c_str()), 0);
  const std::string other = directory_.file("other");
  write_content(other, "kept");
  ASSERT_EQ(symlink("other", beside.c_str()), 0);
  EXPECT_TRUE(replace(file_));
  EXPECT_EQ(written_, beside) << "the link is removed";
  EXPECT_EQ(content_of(other), "kept");
  ASSERT_EQ(symlink("other", beside.c_str()), 0);
  const FaultInjector fault("unlink", 1, EPERM);
  EXPECT_TRUE(replace(file_));
  EXPECT_EQ(written_, file_) << "the link stays";
  EXPECT_EQ(content_of(other), "kept");
}

// What is beside may be somebody else's, and is in nobody's way.
TEST_F(UserlibHppReplaceFile, RemovesNothingBesideWhatCannotBeReplaced) {
  const std::string folder = directory_.file("folder");
  const std::string dangling = directory_.file("dangling");
  const std::string twice = directory_.file("twice");
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  ASSERT_EQ(symlink("nowhere", dangling.c_str()), 0);
  write_content(twice, "old");
  ASSERT_EQ(link(twice.c_str(), directory_.file("other").c_str()), 0);
  write_content(file_, "old");
  const auto expect_kept = [](const std::string& path) {
    write_content(path + ".new", "kept");
    EXPECT_TRUE(userlib::replace_file(path.c_str(), [&](const char* name) { return name == path; })) << path;
    EXPECT_EQ(content_of(path + ".new"), "kept") << path;
  };
  expect_kept(folder);
  expect_kept(dangling);
  expect_kept(twice);
  for (const int nth : {1, 2}) {
    const FaultInjector fault("access", nth, EACCES);
    expect_kept(file_);
    EXPECT_TRUE(fault.has_struck()) << "1: the folder, 2: the file";
  }
}

TEST_F(UserlibHppReplaceFile, ReplacesAFileThatAPowerCutHasLeftWithBothNames) {
  const std::string beside = std::filesystem::canonical(directory_.path()).string() + "/masks.new";
  write_content(file_, "old");
  ASSERT_EQ(link(file_.c_str(), beside.c_str()), 0);
  EXPECT_TRUE(replace(file_));
  EXPECT_EQ(written_, beside);
  EXPECT_EQ(content_of(file_), "new");
  EXPECT_FALSE(exists(beside));
  ASSERT_EQ(link(file_.c_str(), beside.c_str()), 0);
  ASSERT_EQ(link(file_.c_str(), directory_.file("other").c_str()), 0);
  EXPECT_TRUE(replace(file_));
  EXPECT_EQ(written_, file_) << "it has a third name";
  EXPECT_TRUE(exists(beside));
}

TEST_F(UserlibHppReplaceFile, KeepsTheGroup) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root may give a file to any group";
  }
  write_content(file_, "old");
  ASSERT_EQ(chown(file_.c_str(), static_cast<uid_t>(-1), 12345), 0);
  EXPECT_TRUE(replace(file_));
  struct stat status = {};
  ASSERT_EQ(stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_gid, 12345U);
}

// The new file would be the wrong user's.
TEST_F(UserlibHppReplaceFile, WritesToWhatIsNotThisUsersOwn) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root may give a file to another";
  }
  write_content(file_, "old");
  ASSERT_EQ(chown(file_.c_str(), 12345, static_cast<gid_t>(-1)), 0);
  EXPECT_TRUE(replace(file_));
  EXPECT_EQ(written_, file_);
}

}  // namespace
