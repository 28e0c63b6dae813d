// Quantiles of any number of times, in memory that does not grow.
#ifndef TOOLS_USERLIB_FLOW_HISTOGRAM_H
#define TOOLS_USERLIB_FLOW_HISTOGRAM_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace flow_tool {

// Counts values from 0 on. Values below 64 are kept as they are; above that each power of two is divided into 32 parts,
// and what comes back is the middle of a part: at most 1/64, 1.6 %, beside the value.
class Histogram {
 public:
  void add(uint64_t value);

  // The least value that the given part of all values, above 0 and up to 1, does not exceed. 0 without values.
  uint64_t quantile(double part) const;

  uint64_t count() const { return count_; }

 private:
  static constexpr unsigned kBits = 5;       // of a value that count beside its highest one
  static constexpr unsigned kMostBits = 47;  // 2^47 microseconds are four years
  static constexpr size_t kSize = (kMostBits - kBits + 1) << kBits;

  static size_t place(uint64_t value);
  static uint64_t middle(size_t place);

  std::array<uint64_t, kSize> counts_ = {};
  uint64_t count_ = 0;
};

}  // namespace flow_tool

#endif
