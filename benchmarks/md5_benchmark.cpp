// How fast is NUV_MDUpdate() beside OpenSSL's MD5? Both digest the same bytes, in turns; of each the best turn counts.
#include <openssl/evp.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "nuv_md5.h"

namespace {

constexpr size_t kDigestSize = 16;
constexpr int kTurns = 20;
constexpr size_t kBytesPerTurn = size_t{32} << 20;

using Digest = uint8_t[kDigestSize];

void digest_ours(const std::vector<uint8_t>& message, Digest& digest) {
  NUV_MDContext context;
  NUV_MDInit(&context);
  NUV_MDUpdate(&context, message.data(), static_cast<uint32_t>(message.size()));
  NUV_MDFinal(digest, &context);
}

void digest_theirs(const std::vector<uint8_t>& message, Digest& digest) {
  EVP_Digest(message.data(), message.size(), digest, nullptr, EVP_md5(), nullptr);
}

template <typename Function>
double seconds(size_t times, Function function) {
  const auto start = std::chrono::steady_clock::now();
  for (size_t i = 0; i < times; ++i) {
    function();
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Returns false when the two digests differ: then their speed means nothing.
bool compare(size_t size) {
  std::vector<uint8_t> message(size);
  for (size_t i = 0; i < size; ++i) {
    message[i] = static_cast<uint8_t>(i * 131);
  }
  Digest ours = {};
  Digest theirs = {};
  double best_ours = 1e9;
  double best_theirs = 1e9;
  const size_t times = std::max<size_t>(kBytesPerTurn / 16 / std::max<size_t>(size, 64), 1);
  for (int turn = 0; turn < kTurns; ++turn) {
    best_ours = std::min(best_ours, seconds(times, [&] { digest_ours(message, ours); }));
    best_theirs = std::min(best_theirs, seconds(times, [&] { digest_theirs(message, theirs); }));
  }
  std::printf("md5 of %8zu bytes: userlib / OpenSSL speed ratio %.2f\n", size, best_theirs / best_ours);
  return std::memcmp(ours, theirs, kDigestSize) == 0;
}

}  // namespace

int main() {
  bool all_equal = true;
  for (const size_t size : {size_t{64}, size_t{1024}, size_t{65536}, size_t{1} << 20}) {
    all_equal = compare(size) && all_equal;
  }
  return all_equal ? 0 : 1;
}
