// How fast is NUV_MDUpdate() beside OpenSSL's MD5? Both digest the same bytes.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "nuv_md5.h"

namespace {

using Digest = std::array<uint8_t, 16>;

Digest digest_ours(const std::vector<uint8_t>& message) {
  NUV_MDContext context;
  NUV_MDInit(&context);
  NUV_MDUpdate(&context, message.data(), static_cast<uint32_t>(message.size()));
  Digest digest = {};
  NUV_MDFinal(digest.data(), &context);
  return digest;
}

Digest digest_theirs(const std::vector<uint8_t>& message) {
  Digest digest = {};
  EVP_Digest(message.data(), message.size(), digest.data(), nullptr, EVP_md5(), nullptr);
  return digest;
}

void run(benchmark::State& state, size_t size, Digest (*digest)(const std::vector<uint8_t>&)) {
  std::vector<uint8_t> message(size);
  for (size_t i = 0; i < size; ++i) {
    message[i] = static_cast<uint8_t>(i * 131);
  }
  if (digest_ours(message) != digest_theirs(message)) {
    state.SkipWithError("the digests differ");
    return;
  }
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(digest(message));
  }
  state.SetBytesProcessed(static_cast<int64_t>(static_cast<uint64_t>(state.iterations()) * size));
}

const int kRegistered = [] {
  for (const size_t size : {size_t{64}, size_t{1024}, size_t{1} << 20}) {
    const std::string bytes = std::to_string(size) + "_bytes/";
    benchmark::RegisterBenchmark((bytes + "userlib").c_str(), run, size, digest_ours);
    benchmark::RegisterBenchmark((bytes + "openssl").c_str(), run, size, digest_theirs);
  }
  return 0;
}();

}  // namespace
