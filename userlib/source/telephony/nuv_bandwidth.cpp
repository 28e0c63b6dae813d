#include "nuv_bandwidth.h"

#include <signal.h>
#include <stdlib.h>

namespace {

constexpr uint32_t kMillisecondsPerSecond = 1000;
constexpr uint32_t kCellPayload = 48;
constexpr uint32_t kCellSize = 53;
constexpr uint32_t kLargestResult = UINT32_MAX;
constexpr float kPastLargestResult = 4294967296.0F;

// The value in single precision. Some floating-point units keep more bits than that in their registers; a volatile
// variable has no more than its type has, so the rest is rounded off. It is rounded once only: the exact product of two
// floats fits into such a register.
float rounded(float value) {
  volatile float single = value;
  return single;
}

// Truncated towards zero. What an unsigned number cannot hold would be undefined and differ from machine to machine, so
// it is brought to the nearest one. The comparison also catches what is not a number.
uint32_t to_unsigned(float value) {
  if (!(value > 0.0F)) {
    return 0;
  }
  return value < kPastLargestResult ? static_cast<uint32_t>(value) : kLargestResult;
}

// Not every processor traps a division by zero, so this ends the process on all.
uint32_t packets_per_second(uint32_t interval) {
  if (interval == 0) {
    raise(SIGFPE);
    abort();
  }
  return kMillisecondsPerSecond / interval;
}

uint32_t payload_bytes(float factor1, float factor2, uint16_t count) {
  const float bits_per_factor1 = rounded(factor2 * static_cast<float>(count));
  const float bits = rounded(bits_per_factor1 * factor1);
  return to_unsigned(bits) >> 3;
}

// One cell more than the bytes fill, even when they leave no rest: better an estimate that is too high, because the
// cells carry more than the packet.
uint32_t bytes_in_cells(uint32_t bytes) {
  return (bytes / kCellPayload + 1) * kCellSize;
}

}  // namespace

uint32_t NUV_Bandwidth_compute(uint16_t a_overhead, uint8_t a_atm, float a_factor1, uint16_t a_ptime, float a_factor2,
                               uint16_t a_count) {
  const uint32_t packets = packets_per_second(a_ptime);
  const uint32_t bytes = payload_bytes(a_factor1, a_factor2, a_count) + a_overhead;
  const uint32_t packet_size = a_atm != 0 ? bytes_in_cells(bytes) : bytes;
  return to_unsigned(rounded(static_cast<float>(packets) * rounded(static_cast<float>(packet_size))));
}
