#include "nuv_md5.h"

#include <algorithm>
#include <bit>
#include <utility>

#include <string.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr uint32_t kBlockSize = 64;
constexpr uint32_t kLengthOffset = 56;  // of the bit count in the last block
constexpr size_t kWords = 16;           // of a block
constexpr size_t kSteps = 64;
constexpr size_t kDigestWords = 4;

constexpr uint32_t kInitialState[kDigestWords] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};

// Entry i is the integer part of 2^32 times the absolute value of sin(i + 1).
constexpr uint32_t kSines[kSteps] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};

constexpr uint8_t kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

// Each round takes the words of the block in an order of its own.
constexpr uint8_t kFactors[4] = {1, 5, 3, 7};
constexpr uint8_t kStarts[4] = {0, 1, 5, 0};

constexpr size_t word_of_step(size_t round, size_t step) {
  return (kFactors[round] * step + kStarts[round]) % kWords;
}

// Words are little-endian in messages and digests, whatever they are in the machine.
uint32_t little_endian(uint32_t word) {
  return std::endian::native == std::endian::little ? word : __builtin_bswap32(word);
}

uint32_t load_word(const uint8_t* bytes) {
  uint32_t word;
  memcpy(&word, bytes, sizeof word);
  return little_endian(word);
}

void store_word(uint8_t* bytes, uint32_t word) {
  word = little_endian(word);
  memcpy(bytes, &word, sizeof word);
}

// One of the 64 steps. The state words change roles from step to step instead of being moved. Always inlined, because the
// choice of the round and the rotation of roles are constants only then.
[[gnu::always_inline]] inline void take_step(size_t round, size_t step, uint32_t (&state)[kDigestWords],
                                             const uint32_t (&words)[kWords]) {
  uint32_t& a = state[(kSteps - step) % 4];
  const uint32_t b = state[(kSteps - step + 1) % 4];
  const uint32_t c = state[(kSteps - step + 2) % 4];
  const uint32_t d = state[(kSteps - step + 3) % 4];
  a += words[word_of_step(round, step)] + kSines[step];
  if (round == 0) {
    a += d ^ (b & (c ^ d));
  } else if (round == 1) {
    // Two sums rather than an "or": the first does not wait for b, which the step before has just made.
    a += c & ~d;
    a += b & d;
  } else if (round == 2) {
    a += b ^ (c ^ d);
  } else {
    a += c ^ (b | ~d);
  }
  a = std::rotl(a, kShifts[round][step % 4]) + b;
}

#ifdef __OPTIMIZE_SIZE__
// Where flash counts more than time, one loop takes all steps.
void take_steps(uint32_t (&state)[kDigestWords], const uint32_t (&words)[kWords]) {
  for (size_t step = 0; step < kSteps; ++step) {
    take_step(step / kWords, step, state, words);
  }
}
#else
// Step by step: then the number of each is a constant, and the table look-ups vanish, too.
template <size_t... kStep>
[[gnu::always_inline]] inline void take_each_step(uint32_t (&state)[kDigestWords], const uint32_t (&words)[kWords],
                                                  std::index_sequence<kStep...> /*all*/) {
  (take_step(kStep / kWords, kStep, state, words), ...);
}

[[gnu::always_inline]] inline void take_steps(uint32_t (&state)[kDigestWords], const uint32_t (&words)[kWords]) {
  take_each_step(state, words, std::make_index_sequence<kSteps>());
}
#endif

void digest_blocks(uint32_t (&state)[kDigestWords], const uint8_t* blocks, uint32_t count) {
  for (; count != 0; --count, blocks += kBlockSize) {
    uint32_t words[kWords];
    for (size_t i = 0; i < kWords; ++i) {
      words[i] = load_word(blocks + i * sizeof words[0]);
    }
    uint32_t next[kDigestWords] = {state[0], state[1], state[2], state[3]};
    take_steps(next, words);
    for (size_t i = 0; i < kDigestWords; ++i) {
      state[i] += next[i];
    }
  }
}

uint32_t buffered_bytes(const NUV_MDContext& context) {
  return context.count[0] / 8 % kBlockSize;
}

void count_bytes(NUV_MDContext& context, uint32_t bytes) {
  const uint64_t bits = (uint64_t{context.count[1]} << 32 | context.count[0]) + uint64_t{bytes} * 8;
  context.count[0] = static_cast<uint32_t>(bits);
  context.count[1] = static_cast<uint32_t>(bits >> 32);
}

// What the digest of a random value is taken from. Every byte of it counts, so it has no hidden padding.
struct Surroundings {
  uint32_t seconds;
  uint32_t microseconds;
  uint32_t processor_time;
  uint32_t process;
  uint32_t host;  // reserved, 0
  uint32_t user;
  uint32_t group;
  utsname system;
  uint8_t padding[2];  // 0
};

// utsname is six texts of 65 bytes on every Linux.
static_assert(sizeof(utsname) == 390 && sizeof(Surroundings) == 420);

Surroundings look_around() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  Surroundings seen = {};
  seen.seconds = static_cast<uint32_t>(now.tv_sec);
  seen.microseconds = static_cast<uint32_t>(now.tv_usec);
  seen.processor_time = static_cast<uint32_t>(clock());
  seen.process = static_cast<uint32_t>(getpid());
  seen.user = getuid();
  seen.group = getgid();
  uname(&seen.system);
  return seen;
}

}  // namespace

void NUV_MDInit(NUV_MDContext* a_context) {
  std::copy_n(kInitialState, kDigestWords, a_context->state);
  a_context->count[0] = 0;
  a_context->count[1] = 0;
}

void NUV_MDUpdate(NUV_MDContext* a_context, const void* a_input, uint32_t a_length) {
  if (a_length == 0) {
    return;
  }
  const uint8_t* input = static_cast<const uint8_t*>(a_input);
  const uint32_t buffered = buffered_bytes(*a_context);
  count_bytes(*a_context, a_length);
  if (buffered != 0) {
    const uint32_t taken = std::min(kBlockSize - buffered, a_length);
    memcpy(a_context->buffer + buffered, input, taken);
    input += taken;
    a_length -= taken;
    if (buffered + taken < kBlockSize) {
      return;
    }
    digest_blocks(a_context->state, a_context->buffer, 1);
  }
  const uint32_t blocks = a_length / kBlockSize;
  digest_blocks(a_context->state, input, blocks);
  memcpy(a_context->buffer, input + size_t{blocks} * kBlockSize, a_length % kBlockSize);
}

void NUV_MDFinal(uint8_t a_digest[16], NUV_MDContext* a_context) {
  uint8_t* buffer = a_context->buffer;
  uint32_t used = buffered_bytes(*a_context);
  buffer[used++] = 0x80;
  if (used > kLengthOffset) {
    memset(buffer + used, 0, kBlockSize - used);
    digest_blocks(a_context->state, buffer, 1);
    used = 0;
  }
  memset(buffer + used, 0, kLengthOffset - used);
  store_word(buffer + kLengthOffset, a_context->count[0]);
  store_word(buffer + kLengthOffset + sizeof(uint32_t), a_context->count[1]);
  digest_blocks(a_context->state, buffer, 1);
  for (size_t i = 0; i < kDigestWords; ++i) {
    store_word(a_digest + i * sizeof(uint32_t), a_context->state[i]);
  }
  // Not memset(), which compilers drop if the context is not read any more.
  explicit_bzero(a_context, sizeof *a_context);
}

uint32_t NUV_MD5_GetRandomValue() {
  const Surroundings seen = look_around();
  NUV_MDContext context;
  NUV_MDInit(&context);
  NUV_MDUpdate(&context, &seen, sizeof seen);
  uint8_t digest[kDigestWords * sizeof(uint32_t)];
  NUV_MDFinal(digest, &context);
  uint32_t words[kDigestWords];
  memcpy(words, digest, sizeof words);
  // The last word stays unused.
  return words[0] ^ words[1] ^ words[2];
}
