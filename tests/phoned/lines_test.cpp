#include "phoned/core/lines.h"

#include <gtest/gtest.h>

#include <set>

#include "nuv_addressmanager.h"
#include "phoned/core/statistics.h"

namespace {

using phoned::Call;
using phoned::Lines;

TEST(Lines, GiveACallToALineThatIsOffTheHook) {
  Lines lines;
  EXPECT_EQ(lines.find(3), nullptr);
  Call& call = lines.lift(3);
  EXPECT_EQ(lines.find(3), &call);
  EXPECT_EQ(lines.busy(), 1U);
  EXPECT_EQ(NUV_AddressManager_busy(call.number), 1);
  const uint32_t number = call.number;
  lines.hang_up(3);
  EXPECT_EQ(lines.find(3), nullptr);
  EXPECT_EQ(lines.busy(), 0U);
  EXPECT_EQ(NUV_AddressManager_busy(number), 0);
  lines.hang_up(3);
  EXPECT_EQ(lines.busy(), 0U);
}

TEST(Lines, HaveCallsForAllAtOnceAndForEver) {
  Lines lines;
  for (int round = 0; round < 5; ++round) {
    std::set<uint32_t> numbers;
    for (int line = 255; line >= 0; --line) {
      Call& call = lines.lift(static_cast<uint8_t>(line));
      EXPECT_TRUE(call.digits.empty());
      call.digits = std::to_string(line);
      numbers.insert(call.number);
    }
    EXPECT_EQ(numbers.size(), 256U);
    EXPECT_EQ(lines.busy(), 256U);
    for (int line = 0; line < 256; ++line) {
      EXPECT_EQ(lines.find(static_cast<uint8_t>(line))->digits, std::to_string(line));
      lines.hang_up(static_cast<uint8_t>(line));
    }
  }
}

TEST(Lines, GiveEveryCallNumberBackAtTheEnd) {
  {
    Lines lines;
    lines.lift(0);
    lines.lift(255);
  }
  for (const uint8_t busy : g_rgAddress) {
    EXPECT_EQ(busy, 0);
  }
}

TEST(Lines, TellTheOverdueInAscendingOrder) {
  Lines lines;
  for (const uint8_t line : std::initializer_list<uint8_t>{9, 3, 200, 7}) {
    lines.lift(line).deadline = timeval{line, 0};
  }
  lines.find(7)->deadline.reset();
  EXPECT_EQ(lines.next_deadline()->tv_sec, 3);
  EXPECT_EQ(lines.overdue({2, 999999}), std::vector<uint8_t>{});
  EXPECT_EQ(lines.overdue({100, 0}), (std::vector<uint8_t>{3, 9}));
}

// The allocator stays installed, as the library's memory is that of the whole process.
TEST(Allocator, CountsWhatTheLibraryHolds) {
  userlib::count_memory();
  const auto before = userlib::memory_figures;
  {
    const userlib::Frame frame = userlib::Frame::copy_of("0123456789");
    const phoned::Event event(phoned::Event::Kind::kDial, 7, sockaddr_in(), "110");
    EXPECT_EQ(userlib::memory_figures.blocks, before.blocks + 3);
    EXPECT_EQ(userlib::memory_figures.bytes, before.bytes + 13 + sizeof(sockaddr_in));
  }
  EXPECT_EQ(userlib::memory_figures.blocks, before.blocks);
  EXPECT_EQ(userlib::memory_figures.bytes, before.bytes);
  EXPECT_EQ(userlib::memory_figures.allocations, before.allocations + 3);
  EXPECT_GE(userlib::memory_figures.peak_bytes, before.bytes + 13 + sizeof(sockaddr_in));
  EXPECT_EQ(phoned::describe({2, 13, 20, 7}), "2 blocks of 13 bytes in use, 20 bytes at most, 7 allocations");
}

}  // namespace
