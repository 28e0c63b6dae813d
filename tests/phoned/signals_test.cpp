#include "phoned/io/signals.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <string>

namespace {

using phoned::Signals;

TEST(Signals, ComeInTheirOrder) {
  Signals signals;
  signals.open({SIGUSR1, SIGUSR2});
  raise(SIGUSR2);
  raise(SIGUSR1);
  raise(SIGUSR2);
  EXPECT_EQ(signals.take(), (std::string{SIGUSR2, SIGUSR1, SIGUSR2}));
}

TEST(Signals, LeaveErrnoAlone) {
  Signals signals;
  signals.open({SIGUSR1});
  // The last of them find the pipe full, and must not wait until it is read: nobody else would read it.
  for (int i = 0; i < 70000; ++i) {
    errno = ENOENT;
    raise(SIGUSR1);
    ASSERT_EQ(errno, ENOENT);
  }
  EXPECT_EQ(signals.take().front(), SIGUSR1);
}

TEST(Signals, AreIgnoredWhenNobodyListensAnyMore) {
  {
    Signals signals;
    signals.open({SIGUSR1});
  }
  raise(SIGUSR1);
}

}  // namespace
