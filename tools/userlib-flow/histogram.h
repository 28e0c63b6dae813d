// Quantiles of any number of times, in constant memory.
#ifndef TOOLS_USERLIB_FLOW_HISTOGRAM_H
#define TOOLS_USERLIB_FLOW_HISTOGRAM_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace flow_tool {

// Values below 64 are counted exactly; above that, each power of two is divided into 32 buckets, and the middle of a
// bucket is at most 1/64, 1.6 %, off the value.
class Histogram {
 public:
  void add(uint64_t value);

  // The least value that this fraction of all values (above 0, up to 1) does not exceed. 0 without values.
  uint64_t quantile(double part) const;

  uint64_t count() const { return count_; }

 private:
  static constexpr unsigned kBits = 5;       // significant bits below the highest one
  static constexpr unsigned kMostBits = 47;  // 2^47 microseconds are four years
  static constexpr size_t kSize = (kMostBits - kBits + 1) << kBits;

  static size_t place(uint64_t value);
  static uint64_t middle(size_t place);

  std::array<uint64_t, kSize> counts_ = {};
  uint64_t count_ = 0;
};

}  // namespace flow_tool

#endif
