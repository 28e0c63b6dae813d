#include "nuv_pipe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>

#include "doubles/contract_recorder.h"
#include "doubles/descriptors.h"
#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"

namespace {

using support::ContractRecorder;
using support::count_open_descriptors;
using support::each_fault;
using support::Fault;
using support::FaultInjector;
using support::is_open_descriptor;
using support::TestPipe;


class PipeTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(NUV_Pipe_construct(&pipe_), 1); }
  void TearDown() override { NUV_Pipe_destruct(&pipe_); }

  int32_t write(const std::string& bytes) {
    return NUV_Pipe_write(&pipe_, bytes.data(), static_cast<uint32_t>(bytes.size()));
  }

  // Reads once, at most `length` bytes, and checks that the byte after them is not written.
  std::string read(uint32_t length) {
    std::array<char, 64> buffer;
    buffer.fill('~');
    const int32_t result = NUV_Pipe_read(&pipe_, buffer.data(), length);
    EXPECT_EQ(buffer.at(length), '~');
    return result >= 0 ? std::string(buffer.data(), static_cast<size_t>(result)) : "failed";
  }

  ContractRecorder contracts_;
  Pipe pipe_ = {};
};

TEST(PipeRecord, HoldsFlagReadEndWriteEndInThisOrder) {
  EXPECT_EQ(offsetof(Pipe, m_bCreated), 0U);
  EXPECT_EQ(sizeof(Pipe::m_bCreated), 1U);
  EXPECT_EQ(offsetof(Pipe, m_iReadFd), 4U);
  EXPECT_EQ(offsetof(Pipe, m_iWriteFd), 8U);
  EXPECT_EQ(sizeof(Pipe), 12U);
}

TEST_F(PipeTest, ConstructFillsTheRecord) {
  EXPECT_EQ(pipe_.m_bCreated, 1);
  EXPECT_EQ(NUV_Pipe_readFd(&pipe_), pipe_.m_iReadFd);
  EXPECT_EQ(NUV_Pipe_writeFd(&pipe_), pipe_.m_iWriteFd);
  EXPECT_NE(pipe_.m_iReadFd, pipe_.m_iWriteFd);
  EXPECT_EQ(fcntl(pipe_.m_iReadFd, F_GETFL) & O_ACCMODE, O_RDONLY);
  EXPECT_EQ(fcntl(pipe_.m_iWriteFd, F_GETFL) & O_ACCMODE, O_WRONLY);
}

TEST_F(PipeTest, SetsNoFlags) {
  for (const int fd : {pipe_.m_iReadFd, pipe_.m_iWriteFd}) {
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
  }
}

TEST_F(PipeTest, ReadsBytesInTheOrderOfWriting) {
  EXPECT_EQ(write("abc"), 3);
  EXPECT_EQ(write(std::string("d\0e", 3)), 3);
  EXPECT_EQ(read(4), "abcd");
  EXPECT_EQ(read(60), std::string("\0e", 2)) << "fewer bytes than asked for";
}

TEST_F(PipeTest, MovesNothingForLengthZero) {
  EXPECT_EQ(write("abc"), 3);
  EXPECT_EQ(read(0), "");
  EXPECT_EQ(NUV_Pipe_write(&pipe_, "x", 0), 0);
  EXPECT_EQ(read(60), "abc");
}

TEST_F(PipeTest, ReadsNothingAfterTheWriteEndWasClosed) {
  EXPECT_EQ(write("abc"), 3);
  close(pipe_.m_iWriteFd);
  EXPECT_EQ(read(60), "abc");
  char byte = '~';
  EXPECT_EQ(NUV_Pipe_read(&pipe_, &byte, 1), 0);
  EXPECT_EQ(byte, '~');
}

// A failed read or write is not repeated, not even after EINTR; the caller gets the error.
TEST_F(PipeTest, ReturnsTheErrorOfAFailedRead) {
  const int reads = each_fault("read", {EINTR, EAGAIN, EIO}, [this](Fault& fault) {
    EXPECT_EQ(write("abc"), 3);
    char byte = '~';
    const int32_t result = fault.during([&] { return NUV_Pipe_read(&pipe_, &byte, 1); });
    const int error = errno;
    EXPECT_EQ(result, fault.has_struck() ? -1 : 1);
    EXPECT_EQ(byte, fault.has_struck() ? '~' : 'a');
    if (fault.has_struck()) {
      EXPECT_EQ(error, fault.error());
    }
    EXPECT_EQ(read(60), fault.has_struck() ? "abc" : "bc");
  });
  EXPECT_EQ(reads, 1);
}

TEST_F(PipeTest, ReturnsTheErrorOfAFailedWrite) {
  const int writes = each_fault("write", {EINTR, EAGAIN, EPIPE}, [this](Fault& fault) {
    const int32_t result = fault.during([this] { return NUV_Pipe_write(&pipe_, "abc", 3); });
    const int error = errno;
    EXPECT_EQ(result, fault.has_struck() ? -1 : 3);
    if (fault.has_struck()) {
      EXPECT_EQ(error, fault.error());
    }
    EXPECT_EQ(write("d"), 1);
    EXPECT_EQ(read(60), fault.has_struck() ? "d" : "abcd");
  });
  EXPECT_EQ(writes, 1);
}

TEST_F(PipeTest, WritesOnceEvenIfNotEverythingFits) {
  const int capacity = fcntl(pipe_.m_iWriteFd, F_SETPIPE_SZ, 4096);
  ASSERT_GE(capacity, 4096);
  ASSERT_EQ(fcntl(pipe_.m_iWriteFd, F_SETFL, O_NONBLOCK), 0);
  const std::string bytes(static_cast<size_t>(capacity) + 4096, 'a');
  const FaultInjector counter("write", 0, 0);
  EXPECT_EQ(write(bytes), capacity);
  EXPECT_EQ(counter.calls(), 1);
  EXPECT_EQ(write(bytes), -1);
  EXPECT_EQ(errno, EAGAIN);
}

TEST_F(PipeTest, WriteFailsAfterTheReadEndWasClosed) {
  const auto former = signal(SIGPIPE, SIG_IGN);
  close(pipe_.m_iReadFd);
  EXPECT_EQ(write("a"), -1);
  EXPECT_EQ(errno, EPIPE);
  signal(SIGPIPE, former);
}

TEST(PipeLife, DestructClosesBothEnds) {
  const ContractRecorder contracts;
  const size_t before = count_open_descriptors();
  Pipe pipe = {};
  ASSERT_EQ(NUV_Pipe_construct(&pipe), 1);
  EXPECT_EQ(count_open_descriptors(), before + 2);
  NUV_Pipe_destruct(&pipe);
  EXPECT_FALSE(is_open_descriptor(pipe.m_iReadFd));
  EXPECT_FALSE(is_open_descriptor(pipe.m_iWriteFd));
  EXPECT_EQ(pipe.m_bCreated, 1) << "the flag stays";
}

// The next pipe gets the same descriptor numbers, so a second destruct closes that one.
TEST(PipeLife, DestructDoesNotRememberThatItClosed) {
  const ContractRecorder contracts;
  Pipe pipe = {};
  ASSERT_EQ(NUV_Pipe_construct(&pipe), 1);
  NUV_Pipe_destruct(&pipe);
  int next[2] = {-1, -1};
  ASSERT_EQ(pipe2(next, O_CLOEXEC), 0);
  ASSERT_EQ(next[0], pipe.m_iReadFd);
  ASSERT_EQ(next[1], pipe.m_iWriteFd);
  NUV_Pipe_destruct(&pipe);
  EXPECT_FALSE(is_open_descriptor(next[0]));
  EXPECT_FALSE(is_open_descriptor(next[1]));
}

TEST(PipeLife, WithoutAPipeClosesNothing) {
  const ContractRecorder contracts;
  const TestPipe stranger;
  Pipe pipe;
  std::memset(&pipe, 0xFF, sizeof pipe);
  {
    const FaultInjector no_pipe("pipe", 1, EMFILE);
    const int32_t result = NUV_Pipe_construct(&pipe);
    const int error = errno;
    EXPECT_EQ(result, 0);
    EXPECT_EQ(error, EMFILE);
    EXPECT_TRUE(no_pipe.has_struck());
  }
  EXPECT_EQ(pipe.m_bCreated, 0);
  // Without a pipe, destruct ignores the descriptors in the fields.
  pipe.m_iReadFd = stranger.read_end();
  pipe.m_iWriteFd = stranger.write_end();
  NUV_Pipe_destruct(&pipe);
  EXPECT_TRUE(is_open_descriptor(stranger.read_end()));
  EXPECT_TRUE(is_open_descriptor(stranger.write_end()));
}

TEST(PipeLife, PipeThatCannotBeCreatedHasNoDescriptors) {
  const int pipes = each_fault("pipe", {EMFILE, ENFILE}, [](Fault& fault) {
    const ContractRecorder contracts;
    Pipe pipe = {};
    const int32_t created = fault.during([&] { return NUV_Pipe_construct(&pipe); });
    EXPECT_EQ(created, fault.has_struck() ? 0 : 1);
    EXPECT_EQ(pipe.m_bCreated, created);
    if (fault.has_struck()) {
      EXPECT_EQ(NUV_Pipe_readFd(&pipe), -1);
      EXPECT_EQ(NUV_Pipe_writeFd(&pipe), -1);
      char byte = '~';
      EXPECT_EQ(NUV_Pipe_read(&pipe, &byte, 1), -1);
      EXPECT_EQ(NUV_Pipe_write(&pipe, &byte, 1), -1);
      NUV_Pipe_destruct(&pipe);
      EXPECT_EQ(NUV_Pipe_construct(&pipe), 1) << "the next attempt";
    }
    NUV_Pipe_destruct(&pipe);
  });
  EXPECT_EQ(pipes, 1);
}

// The second end is closed even if closing the first fails.
TEST(PipeLife, FailedCloseIsNotRepeated) {
  const int closes = each_fault("close", {EINTR, EIO}, [](Fault& fault) {
    const ContractRecorder contracts;
    Pipe pipe = {};
    ASSERT_EQ(NUV_Pipe_construct(&pipe), 1);
    fault.during([&] { NUV_Pipe_destruct(&pipe); });
  });
  EXPECT_EQ(closes, 2);
}

}  // namespace
