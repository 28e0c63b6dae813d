#include "histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace flow_tool {

size_t Histogram::place(uint64_t value) {
  const uint64_t bounded = std::min(value, (uint64_t{1} << kMostBits) - 1);
  const auto bits = static_cast<unsigned>(std::bit_width(bounded));
  const unsigned shift = bits > kBits + 1 ? bits - kBits - 1 : 0;
  return (size_t{shift} << kBits) + static_cast<size_t>(bounded >> shift);
}

uint64_t Histogram::middle(size_t place) {
  const size_t part = place >> kBits;
  const unsigned shift = part > 0 ? static_cast<unsigned>(part) - 1 : 0;
  const uint64_t low = uint64_t{place - (size_t{shift} << kBits)} << shift;
  return low + (uint64_t{1} << shift) / 2;
}

void Histogram::add(uint64_t value) {
  ++counts_[place(value)];
  ++count_;
}

uint64_t Histogram::quantile(double part) const {
  const auto wanted = static_cast<uint64_t>(std::ceil(part * static_cast<double>(count_)));
  uint64_t seen = 0;
  for (size_t i = 0; i < kSize; ++i) {
    seen += counts_[i];
    if (counts_[i] != 0 && seen >= wanted) {
      return middle(i);
    }
  }
  return 0;
}

}  // namespace flow_tool
