// Blocked outputs: a reader of phoned's output that has stopped, a stopped terminal, a log daemon that hangs or is
// missing. Line cards have priority. phoned drops the lines and later prints how many.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "doubles/pattern.h"
#include "namespaces.h"
#include "outputs.h"
#include "phoned.h"

namespace {

using support::comes_true;
using support::TemporaryDirectory;
using support::TemporaryFile;
using world::Namespaces;
using world::Phoned;
using world::Pipe;
using world::Terminal;

// Prints more than a pipe, a terminal's buffer or a log socket holds.
constexpr int kManyCalls = 700;

// Whether the text says how many lines are missing.
bool reports_losses(const std::string& text) {
  return support::Pattern("[1-9][0-9]* lines? .*(lost|not)").is_in(text);
}

// ---- standard output ----

TEST(Outputs, FullPipeBlocksNothing) {
  const Pipe pipe;
  pipe.fill();
  Phoned phoned({.out_fd = pipe.write_fd()});
  ASSERT_TRUE(phoned.is_up());
  world::expect_prompt_answers(phoned, kManyCalls);
  EXPECT_TRUE(world::is_idle(phoned.pid()));
  world::expect_a_clean_end(phoned);
}

TEST(Outputs, PipeThatIsReadAgainGetsTheNumberOfLostLines) {
  const Pipe pipe;
  Phoned phoned({.out_fd = pipe.write_fd()});
  ASSERT_TRUE(phoned.is_up());
  world::expect_prompt_answers(phoned, kManyCalls);
  std::string out = world::read_all(pipe.read_fd());
  EXPECT_NE(out.find("phoned: listening on port"), std::string::npos);
  world::expect_prompt_answers(phoned, 20);
  world::expect_a_clean_end(phoned);
  out = world::read_all(pipe.read_fd());
  EXPECT_TRUE(reports_losses(out)) << out;
  EXPECT_TRUE(out.ends_with("phoned: farewell\n")) << out;
}

TEST(Outputs, ReaderThatHasGoneBlocksNothing) {
  Pipe pipe;
  Phoned phoned({.out_fd = pipe.write_fd()});
  ASSERT_TRUE(phoned.is_up());
  world::expect_prompt_answers(phoned, 1);
  pipe.close_read_end();
  world::expect_prompt_answers(phoned, 20);
  EXPECT_TRUE(world::is_idle(phoned.pid()));
  world::expect_a_clean_end(phoned);
}

TEST(Outputs, StoppedTerminalBlocksNothing) {
  const Terminal terminal;
  Phoned phoned({.out_fd = terminal.fd()});
  ASSERT_TRUE(phoned.is_up());
  world::expect_prompt_answers(phoned, 1);
  terminal.stop();
  world::expect_prompt_answers(phoned, kManyCalls);
  EXPECT_TRUE(world::is_idle(phoned.pid()));
  terminal.go_on();
  terminal.take();
  world::expect_prompt_answers(phoned, 20);
  EXPECT_TRUE(
      comes_true([text = std::string(), &terminal]() mutable { return reports_losses(text += terminal.take()); }));
  terminal.stop();
  world::expect_a_clean_end(phoned);
}

TEST(Outputs, FullDiskBlocksNothing) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  Phoned phoned({.out_fd = full});
  ASSERT_TRUE(phoned.is_up());
  world::expect_prompt_answers(phoned, 20);
  EXPECT_TRUE(world::is_idle(phoned.pid()));
  world::expect_a_clean_end(phoned);
  close(full);
}

// Other processes may share phoned's standard output.
TEST(Outputs, StandardOutputStaysBlocking) {
  const Pipe pipe;
  Phoned phoned({.out_fd = pipe.write_fd()});
  ASSERT_TRUE(phoned.is_up());
  EXPECT_EQ(fcntl(pipe.write_fd(), F_GETFL) & O_NONBLOCK, 0);
  world::expect_a_clean_end(phoned);
}

// ---- the system log ----

// The socket that syslog() sends to, in the test's own /dev.
class LogSocket {
 public:
  explicit LogSocket(std::string path) : path_(std::move(path)), fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("no log socket");
    }
  }
  ~LogSocket() {
    close(fd_);
    unlink(path_.c_str());
  }
  LogSocket(const LogSocket&) = delete;
  LogSocket& operator=(const LogSocket&) = delete;

  std::string take() const { return world::read_all(fd_); }

  bool gets(const std::string& text) {
    return comes_true([&] { return (got_ += take()).find(text) != std::string::npos; });
  }

 private:
  std::string path_;
  int fd_;
  std::string got_;
};

class SystemLogTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!mounts_.are_ours()) {
      GTEST_SKIP() << Namespaces::kNotPermitted;
    }
    ASSERT_TRUE(world::replace_devices(devices_.path()));
  }

  Phoned::Start tracing_everything() const { return {.options = {"--ini", ini_.path()}}; }

  TemporaryFile ini_{world::trace_everything()};
  TemporaryDirectory devices_;
  Namespaces mounts_{Namespaces::Kind::kMounts};
  std::string log_ = "/dev/log";
};

TEST_F(SystemLogTest, MayBeAbsent) {
  Phoned phoned(tracing_everything());
  ASSERT_TRUE(phoned.is_up());
  world::expect_prompt_answers(phoned, 20);
  EXPECT_TRUE(world::is_idle(phoned.pid()));
  world::expect_a_clean_end(phoned);
}

TEST_F(SystemLogTest, MayBeUnreadFromTheStart) {
  const LogSocket log(log_);
  Phoned phoned(tracing_everything());
  ASSERT_TRUE(phoned.is_up());
  world::expect_prompt_answers(phoned, 100);
  EXPECT_TRUE(world::is_idle(phoned.pid()));
  world::expect_a_clean_end(phoned);
}

// The log daemon does not read its socket for a while, like a stopped process.
TEST_F(SystemLogTest, MayStopAndContinue) {
  LogSocket log(log_);
  Phoned phoned(tracing_everything());
  ASSERT_TRUE(phoned.is_up());
  ASSERT_TRUE(log.gets("listening on port"));
  world::expect_prompt_answers(phoned, 100);
  log.take();
  std::string text;
  EXPECT_TRUE(comes_true([&] {
    world::expect_prompt_answers(phoned, 1);
    return reports_losses(text += log.take());
  })) << text;
  world::expect_prompt_answers(phoned, 100);
  world::expect_a_clean_end(phoned);
}

TEST_F(SystemLogTest, MayEndAndStartAgain) {
  auto log = std::make_unique<LogSocket>(log_);
  Phoned phoned({});
  ASSERT_TRUE(phoned.is_up());
  ASSERT_TRUE(log->gets("listening on port"));
  log.reset();
  world::expect_prompt_answers(phoned, 20);
  log = std::make_unique<LogSocket>(log_);
  std::string text;
  EXPECT_TRUE(comes_true([&] {
    world::expect_prompt_answers(phoned, 1);
    return (text += log->take()).find("110 is complete by 110") != std::string::npos;
  })) << text;
  world::expect_a_clean_end(phoned);
}

// ---- the time zone, which each log line uses ----

TEST(Outputs, TimeZoneThatIsAFifoBlocksNothing) {
  const TemporaryDirectory directory;
  const std::string fifo = directory.file("zone");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  Phoned phoned({.before = "TZ=:" + fifo + "; export TZ;"});
  ASSERT_TRUE(phoned.is_up());
  world::expect_prompt_answers(phoned, 20);
  EXPECT_TRUE(world::is_idle(phoned.pid()));
  world::expect_a_clean_end(phoned);
}

}  // namespace
