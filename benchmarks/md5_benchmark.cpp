// How fast is NUV_MDUpdate() compared with OpenSSL's MD5?
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "nuv_md5.h"

namespace {

constexpr size_t kDigestSize = 16;

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

std::vector<uint8_t> message_of(size_t size) {
  std::vector<uint8_t> message(size);
  for (size_t i = 0; i < size; ++i) {
    message[i] = static_cast<uint8_t>(i * 131);
  }
  return message;
}

template <typename Function>
void run(benchmark::State& state, size_t size, Function function) {
  const std::vector<uint8_t> message = message_of(size);
  Digest digest = {};
  for (auto _ : state) {
    function(message, digest);
    benchmark::DoNotOptimize(digest);
  }
  Digest expected = {};
  digest_theirs(message, expected);
  if (std::memcmp(digest, expected, kDigestSize) != 0) {
    state.SkipWithError("the digests differ");
  }
}

[[maybe_unused]] const bool kRegistered = [] {
  for (const size_t size : {size_t{64}, size_t{1024}, size_t{65536}, size_t{1} << 20}) {
    const std::string name = "bytes/" + std::to_string(size) + "/";
    benchmark::RegisterBenchmark((name + "userlib").c_str(), [=](auto& state) { run(state, size, digest_ours); });
    benchmark::RegisterBenchmark((name + "openssl").c_str(), [=](auto& state) { run(state, size, digest_theirs); });
  }
  return true;
}();

}  // namespace
