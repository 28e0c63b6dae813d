#include "nuv_utility.h"

#include <fcntl.h>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "doubles/child_process.h"
#include "doubles/contract_recorder.h"
#include "doubles/descriptors.h"
#include "doubles/fake_files.h"
#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"

namespace {

using support::ChildProcess;
using support::ContractRecorder;
using support::each_fault;
using support::FakeFiles;
using support::Fault;
using support::FaultInjector;
using support::Holdings;
using support::Reports;
using support::TestFifo;

// ---- paths and texts ----

TEST(Utility, BasenameFollowsTheLastSeparator) {
  const struct {
    const char* path;
    const char* name;
  } kCases[] = {
      {"nuv_frame.cpp", "nuv_frame.cpp"},
      {"/src/nuv_frame.cpp", "nuv_frame.cpp"},
      {"..\\src\\nuv_frame.cpp", "nuv_frame.cpp"},
      {"src\\sub/nuv_frame.cpp", "nuv_frame.cpp"},
      {"src/sub\\nuv_frame.cpp", "nuv_frame.cpp"},
      {"src/", ""},
      {"/", ""},
      {"\\", ""},
      {"", ""},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.path);
    const char* name = NUV_Utility_basename(row.path);
    EXPECT_STREQ(name, row.name);
    EXPECT_EQ(name, row.path + strlen(row.path) - strlen(row.name)) << "points into the path";
  }
  EXPECT_EQ(NUV_Utility_basename(nullptr), nullptr);
}

TEST(Utility, ExtensionFollowsTheLastDot) {
  const struct {
    const char* path;
    const char* extension;
  } kCases[] = {
      {"a.b", "b"}, {"a.tar.gz", "gz"}, {"a.b/c", "b/c"}, {".profile", "profile"}, {"a.", ""}, {".", ""},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.path);
    const char* extension = NUV_Utility_extension(row.path);
    EXPECT_STREQ(extension, row.extension);
    EXPECT_EQ(extension, row.path + strlen(row.path) - strlen(row.extension)) << "points into the path";
  }
  EXPECT_STREQ(NUV_Utility_extension("abc"), "");
  EXPECT_STREQ(NUV_Utility_extension(""), "");
  EXPECT_EQ(NUV_Utility_extension("abc"), NUV_Utility_extension("")) << "always the same static text";
  EXPECT_EQ(NUV_Utility_extension(nullptr), nullptr);
}

TEST(Utility, PathCatPutsOneSlashBetween) {
  const struct {
    const char* dest;
    const char* src;
    const char* path;
  } kCases[] = {
      {"", "x", "x"},      {"/a/", "x", "/a/x"},  {"/a", "x", "/a/x"},  {"a", "x/y", "a/x/y"},
      {"/", "x", "/x"},    {"a", "", "a/"},       {"a/", "", "a/"},     {"", "", ""},
      {"a", "/x", "a//x"}, {"a\\", "x", "a\\/x"}, {"", "/etc", "/etc"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(std::string(row.dest) + " and " + row.src);
    std::vector<char> dest(strlen(row.path) + 1, '#');
    strcpy(dest.data(), row.dest);
    EXPECT_EQ(NUV_Utility_path_cat(dest.data(), row.src), dest.data());
    EXPECT_STREQ(dest.data(), row.path);
  }
}

TEST(Utility, PathCatWithNullChangesNothing) {
  char dest[] = "a\0#";
  EXPECT_EQ(NUV_Utility_path_cat(dest, nullptr), dest);
  EXPECT_EQ(std::string(dest, 4), std::string("a\0#\0", 4));
  EXPECT_EQ(NUV_Utility_path_cat(nullptr, "x"), nullptr);
  EXPECT_EQ(NUV_Utility_path_cat(nullptr, nullptr), nullptr);
}

TEST(Utility, PathCatMayAppendAPartOfItsDestination) {
  char dest[16] = "/a/bc";
  EXPECT_STREQ(NUV_Utility_path_cat(dest, dest + 3), "/a/bc/bc");
}

TEST(Utility, StrcmpBackwardCountsFromTheEnd) {
  const struct {
    const char* text;
    const char* end;
    int32_t result;
  } kCases[] = {
      {"abcd", "xcd", 2}, {"abcd", "bcd", 3}, {"abcd", "abcd", 4}, {"abcd", "xbcd", 3}, {"abcd", "d", 1},
      {"abcd", "x", 0},   {"abcd", "cx", 0},  {"ab", "abc", -1},   {"abc", "", -1},     {"", "a", -1},
      {"", "", -1},       {"a", "a", 1},      {"aXa", "Yaa", 1},   {nullptr, "a", -1},  {"a", nullptr, -1},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(NUV_Utility_strcmp_backward(row.text, row.end), row.result)
        << (row.text != nullptr ? row.text : "null") << " and " << (row.end != nullptr ? row.end : "null");
  }
}

// ---- formatted texts ----

TEST(Utility, VAStrPrintsUpToSizeMinusTwoCharacters) {
  for (const size_t size : {0U, 1U, 2U, 3U, 4U, 8U, 9U, 10U, 11U, 64U}) {
    SCOPED_TRACE(size);
    std::vector<char> buffer(size + 2, '#');
    EXPECT_EQ(NUV_Utility_VAStr(buffer.data() + 1, static_cast<uint32_t>(size), "%s-%d", "line", 4711),
              buffer.data() + 1);
    const size_t room = size >= 2 ? size - 2 : 0;
    std::string expected = std::string("line-4711").substr(0, room);
    expected.resize(size, '\0');  // zeros up to the end, not just a terminator
    EXPECT_EQ(std::string(buffer.data(), buffer.size()), '#' + expected + '#');
  }
}

TEST(Utility, VAStrSurvivesNull) {
  char buffer[] = "####";
  // Called through a pointer, because the compiler warns about a null format.
  char* (*const print)(char*, uint32_t, const char*, ...) = NUV_Utility_VAStr;
  EXPECT_EQ(print(nullptr, 4, "text"), nullptr);
  EXPECT_EQ(print(buffer, 4, nullptr), buffer);
  EXPECT_EQ(std::string(buffer, 4), std::string(4, '\0'));

  char* (*const print_shared)(const char*, ...) = VAStr;
  EXPECT_STREQ(print_shared(nullptr), "");
}

TEST(Utility, SharedVAStrTakes510Characters) {
  for (const size_t length : {0U, 1U, 509U, 510U, 511U, 512U, 600U, 5000U}) {
    SCOPED_TRACE(length);
    const std::string text(length, 'x');
    EXPECT_EQ(VAStr("%s", text.c_str()), text.substr(0, 510));
  }
}

TEST(Utility, SharedVAStrClearsItsOneBufferFirst) {
  const char* first = VAStr("%s", std::string(600, 'x').c_str());
  const char* second = VAStr("%d:%s", 5, "ab");
  EXPECT_EQ(first, second);
  EXPECT_EQ(std::string(second, 512), "5:ab" + std::string(508, '\0'));
}

// ---- processes and files ----

TEST(Utility, RunProcessScansTheCommandsOutput) {
  int number = 0;
  char word[8] = "";
  EXPECT_EQ(RunProcess("echo 42 blue", "%d %7s", &number, word), 1);
  EXPECT_EQ(number, 42);
  EXPECT_STREQ(word, "blue");
}

TEST(Utility, RunProcessNeedsAsManyValuesAsPercents) {
  const struct {
    const char* name;
    const char* command;
    const char* format;
    int32_t result;
    int first;
    int second;
  } kCases[] = {
      {"both there", "echo 1 2", "%d %d", 1, 1, 2},
      {"more there", "echo 1 2 3", "%d %d", 1, 1, 2},
      {"one missing", "echo 1", "%d %d", 0, 1, -1},
      {"one not a number", "echo 1 x", "%d %d", 0, 1, -1},
      {"no output", "true", "%d", 0, -1, -1},
      {"output that does not fit", "echo x", "%d", 0, -1, -1},
      {"a pipeline of the shell", "echo 5 6 | cat; exit 3", "%d %d", 1, 5, 6},
      {"a command that is not there", "/nonexistent/command 2>/dev/null", "%d", 0, -1, -1},
      {"standard error is not scanned", "(echo 1 >&2) 2>/dev/null", "%d", 0, -1, -1},
      {"only the first scan counts", "echo 1; echo 2", "%d", 1, 1, -1},
      // Every percent sign counts as a value, whether it assigns one or not.
      {"an escaped percent", "echo 50% 2", "%d%% %d", 0, 50, 2},
      {"a skipped value", "echo 1 2", "%*d %d", 0, 2, -1},
      {"none at all", "echo x", "x", 1, -1, -1},
      {"an empty format", "true", "", 1, -1, -1},
  };
  // Called through a pointer, because the compiler warns about formats that are not literals.
  int32_t (*const run)(const char*, const char*, ...) = RunProcess;
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    const Holdings before = Holdings::now();
    int first = -1;
    int second = -1;
    EXPECT_EQ(run(row.command, row.format, &first, &second), row.result);
    EXPECT_EQ(first, row.first);
    EXPECT_EQ(second, row.second);
    EXPECT_EQ(Holdings::now(), before);
  }
}

TEST(Utility, RunProcessWithNullDoesNothing) {
  int32_t (*const run)(const char*, const char*, ...) = RunProcess;
  int number = -1;
  const FaultInjector watched("popen", 1, EMFILE);
  EXPECT_EQ(run(nullptr, "%d", &number), 0);
  EXPECT_EQ(run("echo 1", nullptr, &number), 0);
  EXPECT_EQ(run(nullptr, nullptr), 0);
  EXPECT_EQ(watched.calls(), 0);
  EXPECT_EQ(number, -1);
}

TEST(Utility, RunProcessFailsWithoutAProcess) {
  each_fault("popen", {EMFILE, ENOMEM, EAGAIN}, [](Fault& fault) {
    int number = -1;
    const int32_t result = fault.during([&] { return RunProcess("echo 1", "%d", &number); });
    EXPECT_EQ(result, fault.has_struck() ? 0 : 1);
    EXPECT_EQ(number, fault.has_struck() ? -1 : 1);
    EXPECT_EQ(RunProcess("echo 2", "%d", &number), 1);
    EXPECT_EQ(number, 2);
  });
}

// The scanned values are good even if pclose() fails.
TEST(Utility, RunProcessIgnoresHowTheCommandEnded) {
  each_fault("pclose", {ECHILD, EINTR}, [](Fault& fault) {
    int number = -1;
    const int32_t result = fault.during([&] { return RunProcess("echo 1; exit 3", "%d", &number); });
    EXPECT_EQ(result, 1);
    EXPECT_EQ(number, 1);
  });
}

struct CloseStream {
  void operator()(FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, CloseStream>;

Stream stream_of(const std::string& content) {
  Stream stream(std::tmpfile());
  std::fwrite(content.data(), 1, content.size(), stream.get());
  std::rewind(stream.get());
  return stream;
}

// All lines of the content, read with a buffer of this size.
std::vector<std::string> lines_of(const std::string& content, uint32_t size) {
  const Stream stream = stream_of(content);
  std::vector<std::string> lines;
  std::vector<char> buffer(size + 1, '#');
  while (const char* line = NUV_Utility_readLine(buffer.data(), size, stream.get())) {
    EXPECT_EQ(line, buffer.data());
    EXPECT_EQ(buffer[size], '#');
    lines.emplace_back(line);
    if (lines.size() > content.size()) {
      ADD_FAILURE() << "no end of file";
      break;
    }
  }
  EXPECT_EQ(buffer[size], '#');
  return lines;
}

TEST(Utility, ReadLineCutsAtTheNewline) {
  using Lines = std::vector<std::string>;
  const struct {
    const char* name;
    std::string content;
    Lines lines;  // with a buffer of 6 bytes
  } kCases[] = {
      {"empty file", "", {}},
      {"two lines", "ab\ncd\n", {"ab", "cd"}},
      {"no newline at the end", "ab\ncd", {"ab", "cd"}},
      {"empty lines", "\n\nab\n", {"", "", "ab"}},
      {"a carriage return stays", "ab\r\n", {"ab\r"}},
      {"one below the edge", "abcd\nx\n", {"abcd", "x"}},
      {"at the edge, the newline is read next", "abcde\nx\n", {"abcde", "", "x"}},
      {"one past the edge", "abcdef\nx\n", {"abcde", "f", "x"}},
      {"in pieces", "abcdefghijkl\n", {"abcde", "fghij", "kl"}},
      {"a zero ends the text", std::string("a\0b\ncd\n", 7), {"a", "cd"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    const ContractRecorder contracts;
    EXPECT_EQ(lines_of(row.content, 6), row.lines);
  }
}

TEST(Utility, ReadLineIntoTheSmallestBuffers) {
  const ContractRecorder contracts;
  EXPECT_EQ(lines_of("ab\n", 2), (std::vector<std::string>{"a", "b", ""}));

  const Stream stream = stream_of("ab\n");
  char buffer[2] = {'#', '#'};
  EXPECT_EQ(NUV_Utility_readLine(buffer, 1, stream.get()), buffer);
  EXPECT_EQ(std::string(buffer, 2), std::string("\0#", 2));
  buffer[0] = '#';
  EXPECT_EQ(NUV_Utility_readLine(buffer, 0, stream.get()), nullptr);
  EXPECT_EQ(std::string(buffer, 2), "##");
}

TEST(Utility, ReadLineTakesAnySize) {
  const ContractRecorder contracts;
  for (const uint32_t size : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    const Stream stream = stream_of("ab\n");
    char buffer[8] = "";
    EXPECT_EQ(NUV_Utility_readLine(buffer, size, stream.get()), buffer) << size;
    EXPECT_STREQ(buffer, "ab") << size;
  }
}

TEST(Utility, ReadLineFromAStreamThatCannotBeRead) {
  const ContractRecorder contracts;
  const Stream stream(std::fopen("/dev/null", "w"));
  char buffer[8];
  EXPECT_EQ(NUV_Utility_readLine(buffer, sizeof buffer, stream.get()), nullptr);
}

TEST(Utility, PidFromFileIsItsFirstNumber) {
  const struct {
    const char* name;
    const char* content;
    int32_t pid;
  } kCases[] = {
      {"a pid file", "4711\n", 4711},
      {"no newline", "1", 1},
      {"white space in front", " \n\t12", 12},
      {"text behind", "12abc", 12},
      {"a second number", "12 13", 12},
      {"signs", "-5", -5},
      {"no octal, no hexadecimal", "0x10", 0},
      {"a text", "abc", 0},
      {"a text before the number", "pid 12", 0},
      {"an empty file", "", 0},
  };
  const ContractRecorder contracts;
  FakeFiles files;
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    files.write("/flash/phoned.pid", row.content);
    const Holdings before = Holdings::now();
    EXPECT_EQ(NUV_Utility_get_pid_from_file("/flash/phoned.pid"), row.pid);
    EXPECT_EQ(Holdings::now(), before);
  }
}

TEST(Utility, PidExistsWhileItsProcessCanBeSignalled) {
  const ContractRecorder contracts;
  EXPECT_EQ(NUV_Utility_test_pid_exists(getpid()), 1);

  const ChildProcess child([] { std::printf("%d", getpid()); });
  EXPECT_EQ(NUV_Utility_test_pid_exists(std::stoi(child.out())), 0) << "it has ended";
}

TEST(Utility, PidFromFileThatCannotBeOpenedIs0) {
  const ContractRecorder contracts;
  FakeFiles files;
  EXPECT_EQ(NUV_Utility_get_pid_from_file("/flash/phoned.pid"), 0);
  files.write("/flash/phoned.pid", "4711\n");
  each_fault("fopen", {EACCES, EMFILE, EINTR}, [](Fault& fault) {
    const int32_t pid = fault.during([] { return NUV_Utility_get_pid_from_file("/flash/phoned.pid"); });
    EXPECT_EQ(pid, fault.has_struck() ? 0 : 4711);
    EXPECT_EQ(NUV_Utility_get_pid_from_file("/flash/phoned.pid"), 4711);
  });
}

// The file is opened even if stat() fails, and what was read counts even if fclose() fails.
TEST(Utility, PidFromFileIgnoresFailuresOfStatAndFclose) {
  const ContractRecorder contracts;
  FakeFiles files;
  files.write("/flash/phoned.pid", "4711\n");
  for (const char* function : {"stat", "fclose"}) {
    each_fault(function, {EIO, EINTR}, [](Fault& fault) {
      const int32_t pid = fault.during([] { return NUV_Utility_get_pid_from_file("/flash/phoned.pid"); });
      EXPECT_EQ(pid, 4711);
    });
  }
}

TEST(Utility, PidFromADirectoryLinkOrFifoIs0) {
  const ContractRecorder contracts;
  FakeFiles files;
  std::filesystem::create_directory(files.real_path("/flash/directory"));
  EXPECT_EQ(NUV_Utility_get_pid_from_file("/flash/directory"), 0);
  std::filesystem::create_symlink("nowhere", files.real_path("/flash/link"));
  EXPECT_EQ(NUV_Utility_get_pid_from_file("/flash/link"), 0);
  // The FIFO has a writer, so its number could be read.
  const TestFifo fifo(files.real_path("/flash/fifo"));
  fifo.put("4711\n");
  EXPECT_EQ(NUV_Utility_get_pid_from_file("/flash/fifo"), 0);
  EXPECT_EQ(fifo.take(), "4711\n");
}

TEST(Utility, PidThatCannotBeSignalledCountsAsAbsent) {
  const ContractRecorder contracts;
  each_fault("kill", {EPERM, ESRCH, EINTR}, [](Fault& fault) {
    const int32_t exists = fault.during([] { return NUV_Utility_test_pid_exists(getpid()); });
    EXPECT_EQ(exists, fault.has_struck() ? 0 : 1);
    EXPECT_EQ(NUV_Utility_test_pid_exists(getpid()), 1);
  });
}

TEST(Utility, ReadLineFailsWhereTheStreamCannotBeRead) {
  const ContractRecorder contracts;
  each_fault("fgets", {EIO, EINTR}, [](Fault& fault) {
    const Stream stream = stream_of("line\n");
    char line[8] = "same";
    const char* result = fault.during([&] { return NUV_Utility_readLine(line, sizeof line, stream.get()); });
    EXPECT_EQ(result, fault.has_struck() ? nullptr : line);
    EXPECT_STREQ(line, fault.has_struck() ? "same" : "line");
  });
}

class UtilityUnixSocketTest : public ::testing::Test {
 protected:
  ~UtilityUnixSocketTest() override {
    for (const int fd : fds_) {
      close(fd);
    }
  }

  int keep(int fd) {
    EXPECT_GE(fd, 0);
    fds_.push_back(fd);
    return fd;
  }

  ContractRecorder contracts_;

 private:
  std::vector<int> fds_;
};

TEST_F(UtilityUnixSocketTest, KnowsThePeerOfAPair) {
  int pair[2] = {-1, -1};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  keep(pair[0]);
  keep(pair[1]);
  EXPECT_EQ(NUV_Utility_get_pid_for_unixsocket_fd(pair[0]), getpid());
}

TEST_F(UtilityUnixSocketTest, KnowsAPeerInAnotherProcess) {
  const int listener = keep(socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  // Without a name, the kernel picks a free one.
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address.sun_family), 0);
  socklen_t size = sizeof address;
  ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
  ASSERT_EQ(listen(listener, 1), 0);

  const ChildProcess child([&] {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), size) == 0) {
      std::printf("%d", getpid());
    }
  });
  ASSERT_NE(child.out(), "");
  const int fd = keep(accept(listener, nullptr, nullptr));
  EXPECT_EQ(NUV_Utility_get_pid_for_unixsocket_fd(fd), std::stoi(child.out()));
}

TEST_F(UtilityUnixSocketTest, Gives0WithoutPeer) {
  EXPECT_EQ(NUV_Utility_get_pid_for_unixsocket_fd(keep(socket(AF_UNIX, SOCK_STREAM, 0))), 0);
  EXPECT_EQ(NUV_Utility_get_pid_for_unixsocket_fd(keep(open("/dev/null", O_RDONLY))), 0);
}

TEST_F(UtilityUnixSocketTest, Gives0IfTheKernelDoesNotTell) {
  int pair[2] = {-1, -1};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  keep(pair[0]);
  keep(pair[1]);
  each_fault("getsockopt", {ENOPROTOOPT, EINTR}, [&](Fault& fault) {
    const int32_t pid = fault.during([&] { return NUV_Utility_get_pid_for_unixsocket_fd(pair[0]); });
    EXPECT_EQ(pid, fault.has_struck() ? 0 : getpid());
    EXPECT_EQ(NUV_Utility_get_pid_for_unixsocket_fd(pair[0]), getpid());
  });
}

TEST_F(UtilityUnixSocketTest, AcceptsDescriptor0) {
  NUV_Utility_get_pid_for_unixsocket_fd(0);
  EXPECT_EQ(contracts_.take(), Reports{});
}

TEST(Utility, CloexecFlagIsSetAndCleared) {
  const int fd = open("/dev/null", O_RDONLY);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(NUV_Set_cloexec_flag(fd, 1), 0);
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(NUV_Set_cloexec_flag(fd, 0), 0);
  EXPECT_EQ(fcntl(fd, F_GETFD), 0);
  EXPECT_EQ(NUV_Set_cloexec_flag(fd, -2), 0);
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(NUV_Set_cloexec_flag(fd, 256), 0);
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  close(fd);
  EXPECT_LT(NUV_Set_cloexec_flag(fd, 1), 0);
  EXPECT_EQ(errno, EBADF);
}

TEST(Utility, CloexecFlagStaysIfTheFlagsCannotBeReadOrWritten) {
  const int calls = each_fault("fcntl", {EBADF, EINTR}, [](Fault& fault) {
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int32_t result = fault.during([&] { return NUV_Set_cloexec_flag(fd, 0); });
    EXPECT_EQ(result, fault.has_struck() ? -1 : 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), fault.has_struck() ? FD_CLOEXEC : 0);
    EXPECT_EQ(NUV_Set_cloexec_flag(fd, 0), 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), 0);
    close(fd);
  });
  EXPECT_EQ(calls, 2);
}

// ---- names ----

struct NameCase {
  const char* pattern;
  const char* range;
  const char* name;
  int32_t result;
};

int32_t match(const char* pattern, const char* name, const char* range, int flags = 0) {
  errno = 0;
  return NUV_Utility_fnmatch(pattern, name, range, flags);
}

template <size_t N>
void expect_matches(const NameCase (&cases)[N]) {
  for (const auto& row : cases) {
    EXPECT_EQ(match(row.pattern, row.name, row.range), row.result)
        << "pattern '" << row.pattern << "', range '" << row.range << "', name '" << row.name << "'";
  }
}

TEST(UtilityFnmatch, EmptyMatchesNothing) {
  const NameCase kCases[] = {
      {"", "", "", -1},   {"", "", "eth", -1},  {"eth", "", "", -1},
      {"*", "*", "", -1}, {"", "*", "eth", -1}, {"1", "1", "", -1},
  };
  expect_matches(kCases);
}

TEST(UtilityFnmatch, NullCountsAsEmpty) {
  EXPECT_EQ(match(nullptr, "eth", ""), -1);
  EXPECT_EQ(match("eth", nullptr, ""), -1);
  EXPECT_EQ(match("eth", "eth", nullptr), 0);
  EXPECT_EQ(match("eth", "eth1", nullptr), -1);
}

TEST(UtilityFnmatch, RangeWithWildcardMatchesAsInTheShell) {
  const NameCase kCases[] = {
      {"eth*", "*", "eth1", 0},
      {"eth*", "*", "eth", 0},
      {"eth*", "*", "wlan", -1},
      {"eth?", "?", "eth1", 0},
      {"eth?", "?", "eth10", -1},
      {"eth[1-3]", "[1-3]", "eth2", 0},
      {"eth[1-3]", "[1-3]", "eth4", -1},
      {"eth\\*", "\\", "eth*", 0},
      {"eth\\*", "\\", "eth1", -1},
      // Only wildcards in the range count, at any place in it; those in the pattern do not.
      {"eth*", "1,2*", "eth1", 0},
      {"eth*", "", "eth1", -1},
      {"eth*", "", "eth*", 0},
      {"eth1", "*", "eth1", 0},
      {"eth]", "]", "eth1", -1},
  };
  expect_matches(kCases);
}

TEST(UtilityFnmatch, FlagsArePassedToFnmatch) {
  EXPECT_EQ(match("a*c", "a/c", "*"), 0);
  EXPECT_EQ(match("a*c", "a/c", "*", FNM_PATHNAME), -1);
  EXPECT_EQ(match("*c", ".c", "*"), 0);
  EXPECT_EQ(match("*c", ".c", "*", FNM_PERIOD), -1);
  EXPECT_EQ(match("a\\c", "a\\c", "\\", FNM_NOESCAPE), 0);
}

TEST(UtilityFnmatch, WithoutRangeTheNameIsThePattern) {
  const NameCase kCases[] = {
      {"eth1", "", "eth1", 0},
      {"eth1", "", "eth10", -1},
      {"eth1", "", "eth", -1},
      {"eth1", "", "ETH1", -1},
  };
  expect_matches(kCases);
}

TEST(UtilityFnmatch, RangeMustBePartOfThePattern) {
  const NameCase kCases[] = {
      {"eth1", "1", "eth1", 0},
      {"eth1", "2", "eth2", -1},
      {"eth1", "2", "eth1", -1},
      {"eth", "1", "eth1", -1},
      // The first occurrence ends the prefix; the pattern after it is ignored.
      {"e1h1", "1", "e1", 0},
      {"e1h1", "1", "e1x", 0},
      {"e1h1", "1", "exh1", -1},
      {"eth1.5", "1", "eth1.7", 0},
      // Empty prefix.
      {"1-3", "1-3", "2", 0},
      {"1-3", "1-3", "4", -1},
  };
  expect_matches(kCases);
}

TEST(UtilityFnmatch, OnlyTheBeginningOfTheNameIsCompared) {
  const NameCase kCases[] = {
      {"eth1", "1", "eth10", 0},         {"eth1", "1", "eth1x", 0},    {"eth1-3", "1-3", "eth25", 0},
      {"eth1", "1", "xeth1", -1},        {"eth1-3", "1-3", "et2", -1}, {"eth10", "10", "eth1", -1},
      {"eth10-12", "10-12", "eth1", -1},
  };
  expect_matches(kCases);
}

TEST(UtilityFnmatch, PatternIsCutAt255Characters) {
  for (const size_t length : {253U, 254U, 255U, 300U}) {
    SCOPED_TRACE(length);
    const std::string prefix(length, 'x');
    EXPECT_EQ(match((prefix + "1").c_str(), (prefix + "1").c_str(), "1"), length <= 254 ? 0 : -1);
    EXPECT_EQ(match((prefix + "12").c_str(), (prefix + "12").c_str(), "12"), length <= 253 ? 0 : -1);
  }
}

TEST(UtilityFnmatch, SingleNumberIsComparedAsText) {
  const NameCase kCases[] = {
      {"p0", "0", "p0", 0},
      {"p007", "007", "p007", 0},
      {"p007", "007", "p7", -1},
      {"p7", "7", "p007", -1},
      {"p99998", "99998", "p99998", 0},
      {"p99999", "99999", "p99999", 0},
      {"p100000", "100000", "p100000", -1},
      {"p0099999", "0099999", "p0099999", 0},
      // strtol() accepts leading white space and a sign.
      {"p+7", "+7", "p+7", 0},
      {"p+7", "+7", "p7", -1},
      {"p 7", " 7", "p 7", 0},
      {"p7 ", "7 ", "p7 ", -1},
      {"p7x", "7x", "p7x", -1},
      {"px", "x", "px", -1},
      {"p0x7", "0x7", "p0x7", -1},
      {"p ", " ", "p ", -1},
      {"p4294967297", "4294967297", "p4294967297", -1},
      {"p99999999999999999999", "99999999999999999999", "p99999999999999999999", -1},
  };
  expect_matches(kCases);
}

TEST(UtilityFnmatch, RangeStandsForEveryNumberInIt) {
  const NameCase kCases[] = {
      {"p3-5", "3-5", "p2", -1},
      {"p3-5", "3-5", "p3", 0},
      {"p3-5", "3-5", "p4", 0},
      {"p3-5", "3-5", "p5", 0},
      {"p3-5", "3-5", "p6", -1},
      {"p3-5", "3-5", "p03", -1},
      {"p3-5", "3-5", "p", -1},
      {"p3-5", "3-5", "px", -1},
      {"p3-5", "3-5", "p-4", -1},
      {"p3-5", "3-5", "p/", -1},
      {"p3-5", "3-5", "p:", -1},
      {"p8-12", "8-12", "p7", -1},
      {"p8-12", "8-12", "p8", 0},
      {"p8-12", "8-12", "p9", 0},
      {"p8-12", "8-12", "p10", 0},
      {"p8-12", "8-12", "p12", 0},
      {"p8-12", "8-12", "p13", -1},
      {"p8-12", "8-12", "p1", -1},
      {"p8-12", "8-12", "p1x", -1},
      {"p8-12", "8-12", "p010", -1},
      // The characters before '0' and after '9' do not count as digits.
      {"p8-12", "8-12", "p:", -1},
      {"p8-12", "8-12", "p1;", -1},
      {"p18-25", "18-25", "p2/", -1},
      {"p18-25", "18-25", "p/25", -1},
      {"p12-345", "12-345", "p11", -1},
      {"p12-345", "12-345", "p12", 0},
      {"p12-345", "12-345", "p346", 0},  // begins with 34
      {"p99998-99999", "99998-99999", "p99998", 0},
      {"p99998-99999", "99998-99999", "p99999", 0},
      {"p99998-99999", "99998-99999", "p99997", -1},
      {"p99998-99999", "99998-99999", "p9999", -1},
      {"p99998-99999", "99998-99999", "p999990", 0},
  };
  expect_matches(kCases);
}

TEST(UtilityFnmatch, RangeWithLeadingZerosKeepsItsWidth) {
  const NameCase kCases[] = {
      {"port01-03", "01-03", "port02", 0},
      {"port01-03", "01-03", "port2", -1},
      {"port01-03", "01-03", "port002", -1},
      {"port01-03", "01-03", "port00", -1},
      {"port01-03", "01-03", "port04", -1},
      {"p08-12", "08-12", "p8", -1},
      {"p08-12", "08-12", "p08", 0},
      {"p08-12", "08-12", "p10", 0},
      {"p08-12", "08-12", "p12", 0},
      {"p08-12", "08-12", "p13", -1},
      // Numbers have at least the width of the low number.
      {"p08-120", "08-120", "p100", 0},
      {"p98-120", "98-120", "p098", -1},
      {"p08-120", "08-120", "p010", -1},
      {"p08-012", "08-012", "p08", 0},
      {"p08-012", "08-012", "p12", 0},
      {"p008-12", "008-12", "p012", 0},
      {"p008-12", "008-12", "p12", -1},
      {"p0008-12", "0008-12", "p0009", 0},
      {"p0008-12", "0008-12", "p009", -1},
      {"p00008-12", "00008-12", "p00009", 0},
      {"p00008-12", "00008-12", "p0009", -1},
      {"p00008-12", "00008-12", "p9", -1},
      // With one character, or with six, the number is printed without leading zeros.
      {"p0-12", "0-12", "p0", 0},
      {"p0-12", "0-12", "p9", 0},
      {"p0-12", "0-12", "p12", 0},
      {"p3-12", "3-12", "p09", -1},
      {"p000008-12", "000008-12", "p9", 0},
      {"p000000-12", "000000-12", "p0", 0},
      {"p000008-12", "000008-12", "p000009", -1},
      {"p00-03", "00-03", "p00", 0},
      {"p00-03", "00-03", "p0", -1},
      {"p000-999", "000-999", "p1000", 0},  // begins with 100
      // The zero must be the first character of the piece.
      {"p+08-12", "+08-12", "p8", 0},
      {"p+08-12", "+08-12", "p08", -1},
      {"p 08-12", " 08-12", "p8", 0},
  };
  expect_matches(kCases);
}

TEST(UtilityFnmatch, InvalidRangesMatchNothing) {
  const struct {
    const char* range;
    const char* number;  // in a name that a careless parser would match
  } kCases[] = {
      {"3-3", "3"},
      {"5-3", "4"},
      {"-3", "3"},
      {"-", "-"},
      {"3-", "3"},
      {"-3-5", "4"},
      {"3-5-", "4"},
      {"3--5", "4"},
      {"3-5-7", "4"},
      {"3x-5", "4"},
      {"3-5x", "4"},
      {"x-5", "4"},
      {"3-x", "4"},
      {"3 -5", "4"},
      {"3- ", "4"},
      {" -5", "4"},
      {"3-5 ", "4"},
      {"99999-100000", "99999"},
      {"99998-100000", "99998"},
      {"1-4294967297", "1"},
      {"1-99999999999999999999", "1"},
      {"99999999999999999999-5", "4"},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(match((std::string("p") + row.range).c_str(), (std::string("p") + row.number).c_str(), row.range), -1)
        << row.range;
  }
}

TEST(UtilityFnmatch, PiecesAreTriedInTurn) {
  const NameCase kCases[] = {
      {"p1,5,9", "1,5,9", "p1", 0},
      {"p1,5,9", "1,5,9", "p5", 0},
      {"p1,5,9", "1,5,9", "p9", 0},
      {"p1,5,9", "1,5,9", "p7", -1},
      {"p1,5,9", "1,5,9", "p1,5,9", 0},
      {"p01-03,7", "01-03,7", "p02", 0},
      {"p01-03,7", "01-03,7", "p7", 0},
      {"p7,01-03", "7,01-03", "p02", 0},
      {"p7,01-03", "7,01-03", "p2", -1},
      // Empty pieces are skipped, bad ones match nothing.
      {"p,,5", ",,5", "p5", 0},
      {"p5,", "5,", "p5", 0},
      {"p,", ",", "p,", -1},
      {"p,", ",", "p", -1},
      {"px,5", "x,5", "p5", 0},
      {"p3-3,5", "3-3,5", "p5", 0},
      {"p3-3,5", "3-3,5", "p3", -1},
      {"p5,x", "5,x", "p4", -1},
      {"p5,6-7", "5,6-7", "p5,6-7", 0},
  };
  expect_matches(kCases);
}

TEST(UtilityFnmatch, PieceIsCutAt99Characters) {
  // The cut part is neither read nor compared.
  const std::string zeros(98, '0');
  EXPECT_EQ(match(("p" + zeros + "1").c_str(), ("p" + zeros + "1").c_str(), (zeros + "1").c_str()), 0);
  EXPECT_EQ(match(("p" + zeros + "12").c_str(), ("p" + zeros + "1").c_str(), (zeros + "12").c_str()), 0);
  EXPECT_EQ(match(("p" + zeros + "1x").c_str(), ("p" + zeros + "1").c_str(), (zeros + "1x").c_str()), 0);
  const std::string low(96, '0');
  EXPECT_EQ(match(("p" + low + "1-9").c_str(), "p9", (low + "1-9").c_str()), 0);
  EXPECT_EQ(match(("p" + low + "1-90").c_str(), "p10", (low + "1-90").c_str()), 0);
  EXPECT_EQ(match(("p" + low + "1-90").c_str(), "p20", (low + "1-90").c_str()), 0);
  // Cut to "...1-" and to a text without "-".
  EXPECT_EQ(match(("p" + zeros + "-9").c_str(), "p5", (zeros + "-9").c_str()), -1);
  EXPECT_EQ(match(("p" + zeros + "0-9").c_str(), ("p" + zeros + "0").c_str(), (zeros + "0-9").c_str()), 0);
}

TEST(UtilityFnmatch, LongHostileRangesAreHarmless) {
  std::string range;
  for (int i = 0; i < 60; ++i) {
    range += "1-99999,";
  }
  EXPECT_EQ(match(range.c_str(), "x", range.c_str()), -1) << "the pattern is cut at 255 characters";
  const std::string digits(100000, '9');
  EXPECT_EQ(match(digits.c_str(), digits.c_str(), digits.c_str()), -1);
  EXPECT_EQ(match("p1-99999", ("p" + digits).c_str(), "1-99999"), 0);
}

TEST(UtilityFnmatch, StaleRangeErrorSpoilsEveryNumber) {
  const struct {
    const char* pattern;
    const char* range;
    const char* name;
    int32_t result;
  } kCases[] = {
      {"p1", "1", "p1", -1},
      {"p1-3", "1-3", "p2", -1},
      {"p1", "", "p1", 0},
      {"p*", "*", "p1", 0},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.range);
    errno = ERANGE;
    EXPECT_EQ(NUV_Utility_fnmatch(row.pattern, row.name, row.range, 0), row.result);
  }
  errno = EINVAL;
  EXPECT_EQ(NUV_Utility_fnmatch("p1", "p1", "1", 0), 0) << "only ERANGE counts";
}

TEST(UtilityFnmatch, NumberOutOfRangeSpoilsThoseAfterIt) {
  EXPECT_EQ(match("p99999999999999999999,1", "p1", "99999999999999999999,1"), -1);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(NUV_Utility_fnmatch("p1", "p1", "1", 0), -1);
  EXPECT_EQ(match("p1,99999999999999999999", "p1", "1,99999999999999999999"), 0);
  // A piece that begins or ends with "-" is not read at all.
  EXPECT_EQ(match("p99999999999999999999-,1", "p1", "99999999999999999999-,1"), 0);
  EXPECT_EQ(match("p-99999999999999999999,1", "p1", "-99999999999999999999,1"), 0);
  // The number is read even if the prefix does not match.
  EXPECT_EQ(match("p99999999999999999999", "q1", "99999999999999999999"), -1);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(match("p1-99999999999999999999", "q1", "1-99999999999999999999"), -1);
  EXPECT_EQ(errno, ERANGE);
}

// ---- MAC addresses ----

// Room for an address between two guard bytes.
class MacText {
 public:
  ~MacText() {
    EXPECT_EQ(bytes_.front(), '#');
    EXPECT_EQ(bytes_.back(), '#');
  }
  char* get() { return bytes_.data() + 1; }
  operator std::string() const { return bytes_.data() + 1; }

 private:
  std::array<char, 20> bytes_ = {'#', '#', '#', '#', '#', '#', '#', '#', '#', '#',
                                 '#', '#', '#', '#', '#', '#', '#', '#', '#', '#'};
};

std::string printed(uint64_t value) {
  MacText text;
  EXPECT_EQ(NUV_Utility_UintToMac(value, text.get()), 17);
  return text;
}

TEST(UtilityMac, IsReadAsANumber) {
  const struct {
    const char* text;
    uint64_t value;
  } kCases[] = {
      {"00:11:22:33:44:55", 0x001122334455},
      {"0:1:2:3:4:5", 0x000102030405},
      {"AA:BB:CC:DD:EE:FF", 0xAABBCCDDEEFF},
      {"aa:Bb:cC:dd:ee:ff", 0xAABBCCDDEEFF},
      {"ff:ff:ff:ff:ff:ff", 0xFFFFFFFFFFFF},
      // Bits above the lower 8 of a field are ORed into the fields before it.
      {"0:0:0:0:0:100", 0x000000000100},
      {"0:0:0:0:0:12345", 0x000000012345},
      {"0:0:0:0:1:102", 0x000000000102},
      {"0:0:0:0:2:102", 0x000000000302},
      {"100:0:0:0:0:0", 0x1000000000000},
      {"1:200:0:0:0:0", 0x030000000000},
      {"0:0:0:0:0:ffffffff", 0x0000FFFFFFFF},
      {"ffffffff:0:0:0:0:0", 0xFFFFFF0000000000},
      // Missing fields are 0.
      {"", 0},
      {"12", 0x120000000000},
      {"12:34", 0x123400000000},
      {"12:34:56:78:9a", 0x123456789A00},
      {"12:34::56", 0x123400000000},
      {"12:xx:34", 0x120000000000},
      {"12-34-56-78-9a-bc", 0x120000000000},
      {"x", 0},
      {"12:34:56:78:9a:bc:de", 0x123456789ABC},
      {"12:34:56:78:9a:bcx", 0x123456789ABC},
      {" 12: 34:56:78:9a:bc", 0x123456789ABC},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(NUV_Utility_MacToUint(row.text), row.value) << row.text;
  }
}

TEST(UtilityMac, IsPrintedInLowerCaseWithTwoDigits) {
  EXPECT_EQ(printed(0), "00:00:00:00:00:00");
  EXPECT_EQ(printed(0x000102030405), "00:01:02:03:04:05");
  EXPECT_EQ(printed(0xAABBCCDDEEFF), "aa:bb:cc:dd:ee:ff");
  EXPECT_EQ(printed(0x123456789ABC), "12:34:56:78:9a:bc");
  EXPECT_EQ(printed(0xFFFF123456789ABC), "12:34:56:78:9a:bc") << "bits 48-63 are ignored";
}

TEST(UtilityMac, TextIsReadBackAsPrinted) {
  for (uint64_t value = 1; value < uint64_t{1} << 48; value = value * 3 + 1) {
    EXPECT_EQ(NUV_Utility_MacToUint(printed(value).c_str()), value);
  }
}

TEST(UtilityMac, SumTellsWhetherItHasWrapped) {
  const struct {
    const char* mac1;
    const char* mac2;
    const char* sum;
    int32_t result;
  } kCases[] = {
      {"00:11:22:33:44:55", "00:00:00:00:00:01", "00:11:22:33:44:56", 0},
      {"00:00:00:00:00:ff", "0:0:0:0:0:1", "00:00:00:00:01:00", 0},
      {"ff:ff:ff:ff:ff:fe", "0:0:0:0:0:1", "ff:ff:ff:ff:ff:ff", 0},
      {"ff:ff:ff:ff:ff:ff", "0:0:0:0:0:1", "00:00:00:00:00:00", 1},
      {"ff:ff:ff:ff:ff:ff", "ff:ff:ff:ff:ff:ff", "ff:ff:ff:ff:ff:fe", 1},
      {"80:0:0:0:0:0", "80:0:0:0:0:1", "00:00:00:00:00:01", 1},
      {"0:0:0:0:0:0", "0:0:0:0:0:0", "00:00:00:00:00:00", 0},
      {"100:0:0:0:0:5", "0:0:0:0:0:1", "00:00:00:00:00:06", 1},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(std::string(row.mac1) + " + " + row.mac2);
    MacText sum;
    EXPECT_EQ(NUV_Utility_MacAddMac(row.mac1, row.mac2, sum.get()), row.result);
    EXPECT_EQ(std::string(sum), row.sum);
    MacText exchanged;
    EXPECT_EQ(NUV_Utility_MacAddMac(row.mac2, row.mac1, exchanged.get()), row.result);
    EXPECT_EQ(std::string(exchanged), row.sum);
  }
}

TEST(UtilityMac, DifferenceIsADistance) {
  const struct {
    const char* mac1;
    const char* mac2;
    const char* difference;
    int32_t result;
  } kCases[] = {
      {"00:11:22:33:44:55", "00:00:00:00:00:01", "00:11:22:33:44:54", 0},
      {"00:00:00:00:01:00", "0:0:0:0:0:1", "00:00:00:00:00:ff", 0},
      {"0:0:0:0:0:7", "0:0:0:0:0:7", "00:00:00:00:00:00", 0},
      {"0:0:0:0:0:7", "0:0:0:0:0:8", "00:00:00:00:00:01", -1},
      {"00:00:00:00:00:01", "0:0:0:0:0:2", "00:00:00:00:00:01", -1},
      {"0:0:0:0:0:0", "ff:ff:ff:ff:ff:ff", "ff:ff:ff:ff:ff:ff", -1},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(std::string(row.mac1) + " - " + row.mac2);
    MacText difference;
    EXPECT_EQ(NUV_Utility_MacSubMac(row.mac1, row.mac2, difference.get()), row.result);
    EXPECT_EQ(std::string(difference), row.difference);
  }
}

TEST(UtilityMac, OffsetCountsWithItsLow48Bits) {
  const struct {
    const char* mac;
    uint64_t offset;
    const char* sum;
    int32_t sum_result;
    const char* difference;
    int32_t difference_result;
  } kCases[] = {
      {"00:11:22:33:44:55", 0, "00:11:22:33:44:55", 0, "00:11:22:33:44:55", 0},
      {"00:11:22:33:44:55", 1, "00:11:22:33:44:56", 0, "00:11:22:33:44:54", 0},
      {"ff:ff:ff:ff:ff:ff", 1, "00:00:00:00:00:00", 1, "ff:ff:ff:ff:ff:fe", 0},
      {"00:00:00:00:00:01", 2, "00:00:00:00:00:03", 0, "00:00:00:00:00:01", -1},
      {"00:00:00:00:00:05", 0x1000000000002, "00:00:00:00:00:07", 0, "00:00:00:00:00:03", 0},
      {"00:00:00:00:00:00", 0xFFFFFFFFFFFF, "ff:ff:ff:ff:ff:ff", 0, "ff:ff:ff:ff:ff:ff", -1},
      {"00:00:00:00:00:01", UINT64_MAX, "00:00:00:00:00:00", 1, "ff:ff:ff:ff:ff:fe", -1},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(std::string(row.mac) + " and " + std::to_string(row.offset));
    MacText sum;
    EXPECT_EQ(NUV_Utility_MacAddOffset(row.mac, row.offset, sum.get()), row.sum_result);
    EXPECT_EQ(std::string(sum), row.sum);
    MacText difference;
    EXPECT_EQ(NUV_Utility_MacSubOffset(row.mac, row.offset, difference.get()), row.difference_result);
    EXPECT_EQ(std::string(difference), row.difference);
  }
}

TEST(UtilityMac, ResultMayOverwriteAnOperand) {
  char mac[18] = "00:11:22:33:44:55";
  EXPECT_EQ(NUV_Utility_MacAddOffset(mac, 1, mac), 0);
  EXPECT_STREQ(mac, "00:11:22:33:44:56");
  EXPECT_EQ(NUV_Utility_MacSubMac(mac, mac, mac), 0);
  EXPECT_STREQ(mac, "00:00:00:00:00:00");
}

}  // namespace
