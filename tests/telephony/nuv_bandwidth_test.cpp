#include "nuv_bandwidth.h"

#include <gtest/gtest.h>

#include <csignal>
#include <limits>

#include "doubles/child_process.h"

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Case {
  const char* name;
  uint16_t overhead;
  uint8_t atm;
  float factor1;
  uint16_t ptime;
  float factor2;
  uint16_t count;
  uint32_t bandwidth;
};

template <size_t N>
void expect_bandwidths(const Case (&cases)[N]) {
  for (const auto& row : cases) {
    EXPECT_EQ(NUV_Bandwidth_compute(row.overhead, row.atm, row.factor1, row.ptime, row.factor2, row.count),
              row.bandwidth)
        << row.name;
  }
}

TEST(Bandwidth, IsPacketsPerSecondTimesPacketSize) {
  const Case kCases[] = {
      {"20 ms of 160 bytes", 40, 0, 8.0F, 20, 1.0F, 160, 10000},
      {"the same as bits in a millisecond", 40, 0, 20.0F, 20, 64.0F, 1, 10000},
      {"without headers", 0, 0, 8.0F, 20, 1.0F, 160, 8000},
      {"headers alone", 40, 0, 8.0F, 20, 1.0F, 0, 2000},
      {"nothing", 0, 0, 8.0F, 20, 1.0F, 0, 0},
      {"the largest headers", 65535, 0, 8.0F, 1000, 1.0F, 0, 65535},
      {"the largest count", 0, 0, 8.0F, 1000, 1.0F, 65535, 65535},
      {"half of the bits", 0, 0, 8.0F, 1000, 0.5F, 160, 80},
  };
  expect_bandwidths(kCases);
}

TEST(Bandwidth, PacketsPerSecondAreWhole) {
  const Case kCases[] = {
      {"1 ms", 100, 0, 8.0F, 1, 1.0F, 0, 100000},
      {"10 ms", 100, 0, 8.0F, 10, 1.0F, 0, 10000},
      {"30 ms: 33, not 33.3", 100, 0, 8.0F, 30, 1.0F, 0, 3300},
      {"500 ms", 100, 0, 8.0F, 500, 1.0F, 0, 200},
      {"501 ms", 100, 0, 8.0F, 501, 1.0F, 0, 100},
      {"999 ms", 100, 0, 8.0F, 999, 1.0F, 0, 100},
      {"1000 ms", 100, 0, 8.0F, 1000, 1.0F, 0, 100},
      {"1001 ms: none", 100, 0, 8.0F, 1001, 1.0F, 0, 0},
      {"65535 ms: none", 100, 1, 8.0F, 65535, 1.0F, 100, 0},
  };
  expect_bandwidths(kCases);
}

TEST(Bandwidth, PayloadIsCutToWholeBytes) {
  const Case kCases[] = {
      {"7 bits", 0, 0, 1.0F, 1000, 1.0F, 7, 0},
      {"8 bits", 0, 0, 1.0F, 1000, 1.0F, 8, 1},
      {"15 bits", 0, 0, 1.0F, 1000, 1.0F, 15, 1},
      {"16 bits", 0, 0, 1.0F, 1000, 1.0F, 16, 2},
      {"7.96875 bits, which are 7", 0, 0, 1.0F, 1000, 0.99609375F, 8, 0},
      {"15.5 bits", 0, 0, 0.5F, 1000, 1.0F, 31, 1},
  };
  expect_bandwidths(kCases);
}

TEST(Bandwidth, AtmAddsACellToTheFullOnes) {
  const Case kCases[] = {
      {"160 bytes and headers", 40, 1, 8.0F, 20, 1.0F, 160, 13250},
      {"no byte", 0, 1, 8.0F, 1000, 1.0F, 0, 53},
      {"1 byte", 1, 1, 8.0F, 1000, 1.0F, 0, 53},
      {"47 bytes", 47, 1, 8.0F, 1000, 1.0F, 0, 53},
      {"48 bytes", 48, 1, 8.0F, 1000, 1.0F, 0, 106},
      {"49 bytes", 49, 1, 8.0F, 1000, 1.0F, 0, 106},
      {"95 bytes", 48, 1, 8.0F, 1000, 1.0F, 47, 106},
      {"96 bytes", 48, 1, 8.0F, 1000, 1.0F, 48, 159},
      {"97 bytes", 48, 1, 8.0F, 1000, 1.0F, 49, 159},
      {"any flag but 0", 48, 255, 8.0F, 1000, 1.0F, 0, 106},
  };
  expect_bandwidths(kCases);
}

// Each of these payloads is a byte smaller if a product is not rounded, rounded only at the end, or computed in another
// order.
TEST(Bandwidth, PayloadIsComputedInSinglePrecision) {
  const Case kCases[] = {
      {"49677", 0, 0, 3.3F, 1000, 1.7F, 49677, 34836}, {"50477", 0, 0, 3.3F, 1000, 1.7F, 50477, 35397},
      {"54477", 0, 0, 3.3F, 1000, 1.7F, 54477, 38202}, {"59277", 0, 0, 3.3F, 1000, 1.7F, 59277, 41568},
      {"52077", 0, 1, 3.3F, 1000, 1.7F, 52077, 40333},
  };
  expect_bandwidths(kCases);
}

TEST(Bandwidth, ResultIsComputedInSinglePrecision) {
  const Case kCases[] = {
      {"2^24 bytes", 0, 0, 1.0F, 1000, 134217728.0F, 1, 16777216},
      {"2^24 + 1 bytes, to even", 1, 0, 1.0F, 1000, 134217728.0F, 1, 16777216},
      {"2^24 + 2 bytes", 2, 0, 1.0F, 1000, 134217728.0F, 1, 16777218},
      {"2^24 + 3 bytes, to even", 3, 0, 1.0F, 1000, 134217728.0F, 1, 16777220},
      {"rounded before it is multiplied", 3, 0, 1.0F, 333, 134217728.0F, 1, 50331660},
      {"rounded again after the multiplication", 3, 0, 1.0F, 142, 134217728.0F, 1, 117440544},
  };
  expect_bandwidths(kCases);
}

TEST(Bandwidth, ProductsOutOfRangeAreClamped) {
  const Case kCases[] = {
      {"negative payload", 40, 0, -8.0F, 1000, 1.0F, 160, 40},
      {"a little below zero", 40, 0, -0.25F, 1000, 1.0F, 1, 40},
      {"two negative factors", 40, 0, -8.0F, 1000, -1.0F, 160, 200},
      {"not a number", 40, 0, kNan, 1000, 1.0F, 160, 40},
      {"infinity times 0", 40, 0, kInfinity, 1000, 1.0F, 0, 40},
      {"the largest float below 2^32", 0, 0, 1.0F, 1000, 4294967040.0F, 1, 536870880},
      {"2^32", 0, 0, 1.0F, 1000, 4294967296.0F, 1, 536870912},
      {"infinite", 0, 0, kInfinity, 1000, 1.0F, 1, 536870912},
      {"minus infinite", 40, 0, -kInfinity, 1000, 1.0F, 1, 40},
      {"a result above 2^32", 0, 0, 1.0F, 1, 4294967296.0F, 1, 4294967295},
      {"a result of 2^32", 0, 0, 1.0F, 125, 4294967296.0F, 1, 4294967295},
      {"a result just below 2^32", 0, 0, 1.0F, 125, 4294967040.0F, 1, 4294967040},
  };
  expect_bandwidths(kCases);
}

TEST(Bandwidth, IntervalZeroEndsTheProcess) {
  const support::ChildProcess child([] {
    std::signal(SIGFPE, SIG_DFL);  // the handler of a sanitizer would exit
    NUV_Bandwidth_compute(40, 0, 8.0F, 0, 1.0F, 160);
  });
  EXPECT_TRUE(child.was_killed_by(SIGFPE)) << child.outcome();
}

TEST(Bandwidth, IntervalZeroEndsTheProcessEvenIfTheSignalIsIgnored) {
  const support::ChildProcess child([] {
    std::signal(SIGFPE, SIG_IGN);
    std::signal(SIGABRT, SIG_DFL);
    NUV_Bandwidth_compute(40, 0, 8.0F, 0, 1.0F, 160);
  });
  EXPECT_TRUE(child.was_killed_by(SIGABRT)) << child.outcome();
}

}  // namespace
