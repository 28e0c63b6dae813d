#include "userlib_output.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>

#include "doubles/fault_injector.h"
#include "doubles/temporary_directory.h"

namespace {

using userlib::Capture;
using userlib::Output;

// Redirects standard output to an fd for its lifetime.
class Redirected {
 public:
  explicit Redirected(int fd) {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    dup2(fd, STDOUT_FILENO);
  }
  ~Redirected() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;

 private:
  int saved_;
};

std::string read_all(int fd) {
  std::string text;
  char buffer[4096];
  for (pollfd state = {fd, POLLIN, 0}; poll(&state, 1, 0) == 1;) {
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count <= 0) {
      break;
    }
    text.append(buffer, static_cast<size_t>(count));
  }
  return text;
}

// Standard output to a pipe or a pair of sockets.
class UserlibHppOutput : public testing::TestWithParam<bool> {
 protected:
  UserlibHppOutput() { EXPECT_EQ(GetParam() ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends_) : pipe(ends_), 0); }
  ~UserlibHppOutput() override {
    close(ends_[0]);
    close(ends_[1]);
  }

  // Prints numbered lines.
  static void print(int from, int to, Output& output) {
    for (int i = from; i < to; ++i) {
      std::printf("%07d\n", i);
    }
    output.flush();
  }

  int ends_[2] = {-1, -1};
};

TEST_P(UserlibHppOutput, PassesOnWhatIsPrinted) {
  std::string text;
  {
    const Redirected redirected(ends_[1]);
    Output output(stdout, "daemon");
    ASSERT_TRUE(output.open());
    print(0, 3, output);
    EXPECT_FALSE(output.is_behind());
    text = read_all(ends_[0]);
    output.close();
  }
  EXPECT_EQ(text, "0000000\n0000001\n0000002\n");
  EXPECT_EQ(fcntl(ends_[1], F_GETFL) & O_NONBLOCK, 0) << "other processes share it";
}

TEST_P(UserlibHppOutput, CountsWhatHasNoRoomAndTellsInItsPlace) {
  constexpr int kMany = 100000;
  std::string text;
  bool was_behind = false;
  {
    const Redirected redirected(ends_[1]);
    Output output(stdout, "daemon");
    ASSERT_TRUE(output.open());
    print(0, kMany, output);
    was_behind = output.is_behind();
    text = read_all(ends_[0]);
    print(kMany, kMany + 3, output);
    output.finish();
    text += read_all(ends_[0]);
    output.close();
  }
  EXPECT_TRUE(was_behind);
  const size_t told = text.find("daemon: ");
  ASSERT_NE(told, std::string::npos);
  const int printed = static_cast<int>(told / 8);
  const std::string rest =
      "daemon: " + std::to_string(kMany - printed) + " lines could not be printed\n0100000\n0100001\n0100002\n";
  EXPECT_EQ(text.substr(told), rest) << "all other lines arrive";
}

TEST_P(UserlibHppOutput, WaitsForNobodyWhoHasGone) {
  const Redirected redirected(ends_[1]);
  Output output(stdout, "daemon");
  ASSERT_TRUE(output.open());
  std::signal(SIGPIPE, SIG_IGN);
  close(ends_[0]);
  print(0, 100000, output);
  output.finish();
  output.close();
}

TEST_P(UserlibHppOutput, TellsWhatTheSystemRefuses) {
  std::string text;
  {
    const Redirected redirected(ends_[1]);
    Output output(stdout, "daemon");
    for (const char* call : {"fcntl", "dup2"}) {
      const support::FaultInjector fault(call, 1, EMFILE);
      EXPECT_FALSE(output.open()) << call;
      EXPECT_EQ(errno, EMFILE) << call;
    }
    print(0, 1, output);
    text = read_all(ends_[0]);
  }
  EXPECT_EQ(text, "0000000\n") << "goes the old way";
}

INSTANTIATE_TEST_SUITE_P(, UserlibHppOutput, testing::Bool(),
                         [](const auto& param) { return param.param ? "socket" : "pipe"; });

TEST(UserlibHppOutputToFile, GoesTheOldWay) {
  const support::TemporaryDirectory directory;
  const std::string path = directory.file("file");
  const userlib::UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT, 0600));
  bool is_open = false;
  {
    const Redirected redirected(file.get());
    Output output(stdout, "daemon");
    is_open = output.open();
    std::fputs("print\n", stdout);
    output.flush();
  }
  EXPECT_TRUE(is_open);
  EXPECT_EQ(support::content_of(path), "print\n");
}

// A reader who comes back learns how much there was meanwhile.
TEST(UserlibHppOutputToFifo, CountsWhatNobodyRead) {
  const support::TemporaryDirectory directory;
  const std::string path = directory.file("fifo");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  std::signal(SIGPIPE, SIG_IGN);
  userlib::UniqueFd reader(open(path.c_str(), O_RDONLY | O_NONBLOCK));
  const userlib::UniqueFd writer(open(path.c_str(), O_WRONLY));
  bool was_behind = false;
  int times_asked = 0;
  std::string text;
  {
    const Redirected redirected(writer.get());
    Output output(stdout, "daemon");
    ASSERT_TRUE(output.open());
    reader.reset();
    for (const char* lines : {"1\n2\n3\n", "4\n5\n"}) {
      std::fputs(lines, stdout);
      output.flush();
    }
    was_behind = output.is_behind();
    reader.reset(open(path.c_str(), O_RDONLY | O_NONBLOCK));
    std::fputs("6\n", stdout);
    {
      const support::FaultInjector never("clock_gettime", 1000, EINVAL);
      output.finish();
      times_asked = never.calls();
    }
    text = read_all(reader.get());
    output.close();
  }
  EXPECT_TRUE(was_behind);
  EXPECT_EQ(text, "daemon: 5 lines could not be printed\n6\n");
  EXPECT_EQ(times_asked, 1) << "does not wait once all is written";
}

std::string take(Capture& capture) {
  capture.end();
  std::string text(capture.size(), '\0');
  text.resize(capture.read(text.data(), text.size()));
  return text;
}

TEST(UserlibHppCapture, KeepsWhatIsPrintedAlsoInsideAnother) {
  Capture outer;
  std::printf("outer ");
  {
    Capture inner;
    std::printf("inner");
    EXPECT_EQ(take(inner), "inner");
  }
  std::printf("again");
  EXPECT_EQ(take(outer), "outer again");
}

TEST(UserlibHppCapture, CollectsNothingIfTheSystemRefuses) {
  Capture outer;
  const struct {
    const char* call;
    int nth;
  } kCases[] = {{"fcntl", 1}, {"fcntl", 2}, {"dup2", 1}};
  for (const auto& row : kCases) {
    const support::FaultInjector fault(row.call, row.nth, EMFILE);
    Capture inner;
    std::printf("x");
    EXPECT_FALSE(inner.is_open()) << row.call;
    EXPECT_EQ(take(inner), "") << row.call;
  }
  EXPECT_EQ(take(outer), "xxx") << "printed the old way";
}

}  // namespace
