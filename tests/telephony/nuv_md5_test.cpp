#include "nuv_md5.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <sys/mman.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "doubles/child_process.h"
#include "doubles/fake_clock.h"
#include "doubles/fault_loop.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Digest = std::array<uint8_t, 16>;

std::string hex(const Digest& digest) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

Digest finish(NUV_MDContext& context) {
  Digest digest;
  NUV_MDFinal(digest.data(), &context);
  return digest;
}

Digest md5(const void* message, size_t length) {
  NUV_MDContext context;
  NUV_MDInit(&context);
  NUV_MDUpdate(&context, message, static_cast<uint32_t>(length));
  return finish(context);
}

// The same, by OpenSSL.
Digest peer_md5(const void* message, size_t length) {
  Digest digest;
  unsigned size = 0;
  EXPECT_EQ(EVP_Digest(message, length, digest.data(), &size, EVP_md5(), nullptr), 1);
  EXPECT_EQ(size, digest.size());
  return digest;
}

Bytes random_bytes(size_t length) {
  std::mt19937 generator(static_cast<uint32_t>(length));
  Bytes bytes(length);
  for (uint8_t& byte : bytes) {
    byte = static_cast<uint8_t>(generator());
  }
  return bytes;
}

// Appendix A.5.
TEST(Md5, PassesTheTestSuiteOfRfc1321) {
  const struct {
    const char* message;
    const char* digest;
  } kCases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(hex(md5(row.message, strlen(row.message))), row.digest) << "'" << row.message << "'";
  }
}

TEST(Md5, IsTheSameForAnyCutOfTheMessage) {
  const Bytes message = random_bytes(300);
  for (uint32_t length = 0; length <= message.size(); ++length) {
    const Digest expected = peer_md5(message.data(), length);
    for (uint32_t cut = 0; cut <= length; ++cut) {
      NUV_MDContext context;
      NUV_MDInit(&context);
      NUV_MDUpdate(&context, message.data(), cut);
      NUV_MDUpdate(&context, message.data() + cut, length - cut);
      ASSERT_EQ(hex(finish(context)), hex(expected)) << "length " << length << ", cut at " << cut;
    }
  }
}

TEST(Md5, IsTheSameInPiecesOfAnySize) {
  const Bytes message = random_bytes(1000);
  const std::string expected = hex(peer_md5(message.data(), message.size()));
  for (const size_t size : {1U, 7U, 55U, 56U, 63U, 64U, 65U, 127U, 128U, 129U, 999U, 1000U}) {
    NUV_MDContext context;
    NUV_MDInit(&context);
    for (size_t i = 0; i < message.size(); i += size) {
      NUV_MDUpdate(&context, message.data() + i, static_cast<uint32_t>(std::min(size, message.size() - i)));
    }
    EXPECT_EQ(hex(finish(context)), expected) << size;
  }
}

TEST(Md5, AcceptsInputAtAnyAddress) {
  for (size_t offset = 0; offset < 16; ++offset) {
    const Bytes message = random_bytes(200);
    Bytes moved(offset, 0xFF);
    moved.insert(moved.end(), message.begin(), message.end());
    EXPECT_EQ(hex(md5(moved.data() + offset, message.size())), hex(peer_md5(message.data(), message.size()))) << offset;
  }
}

TEST(Md5, AgreesWithAnotherImplementationOnRandomMessages) {
  for (size_t length = 1; length < 200000; length = length * 3 / 2 + 1) {
    const Bytes message = random_bytes(length);
    EXPECT_EQ(hex(md5(message.data(), length)), hex(peer_md5(message.data(), length))) << length;
  }
}

TEST(Md5, WritesSixteenBytesAtAnyAddress) {
  for (size_t offset = 1; offset < 9; ++offset) {
    std::array<uint8_t, 32> room;
    room.fill(0xA5);
    NUV_MDContext context;
    NUV_MDInit(&context);
    NUV_MDUpdate(&context, "abc", 3);
    NUV_MDFinal(room.data() + offset, &context);
    Digest digest;
    std::copy_n(room.begin() + offset, digest.size(), digest.begin());
    EXPECT_EQ(hex(digest), "900150983cd24fb0d6963f7d28e17f72");
    std::fill_n(room.begin() + offset, digest.size(), uint8_t{0xA5});
    EXPECT_TRUE(std::all_of(room.begin(), room.end(), [](uint8_t byte) { return byte == 0xA5; }));
  }
}

TEST(Md5, DigestsAreIndependent) {
  NUV_MDContext first;
  NUV_MDContext second;
  NUV_MDInit(&first);
  NUV_MDInit(&second);
  NUV_MDUpdate(&first, "a", 1);
  NUV_MDUpdate(&second, "message ", 8);
  NUV_MDUpdate(&first, "b", 1);
  NUV_MDContext copy = first;
  NUV_MDUpdate(&second, "digest", 6);
  NUV_MDUpdate(&copy, "c", 1);
  EXPECT_EQ(hex(finish(second)), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(hex(finish(copy)), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(hex(finish(first)), hex(peer_md5("ab", 2)));
}

TEST(Md5, InitResetsTheContext) {
  NUV_MDContext context;
  memset(&context, 0xA5, sizeof context);
  NUV_MDInit(&context);
  EXPECT_EQ(context.state[0], 0x67452301U);
  EXPECT_EQ(context.state[1], 0xEFCDAB89U);
  EXPECT_EQ(context.state[2], 0x98BADCFEU);
  EXPECT_EQ(context.state[3], 0x10325476U);
  EXPECT_EQ(context.count[0], 0U);
  EXPECT_EQ(context.count[1], 0U);
  NUV_MDUpdate(&context, "abc", 3);
  EXPECT_EQ(hex(finish(context)), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(Md5, BuffersAnIncompleteBlock) {
  NUV_MDContext context;
  NUV_MDInit(&context);
  const Bytes message = random_bytes(64 + 5);
  NUV_MDUpdate(&context, message.data(), 69);
  EXPECT_EQ(context.count[0], 69U * 8);
  EXPECT_TRUE(std::equal(message.begin() + 64, message.end(), context.buffer));
}

TEST(Md5, FinalClearsTheContext) {
  for (const uint32_t length : {0U, 3U, 55U, 56U, 64U, 100U}) {
    SCOPED_TRACE(length);
    const Bytes message = random_bytes(length);
    NUV_MDContext context;
    memset(&context, 0xA5, sizeof context);
    NUV_MDInit(&context);
    NUV_MDUpdate(&context, message.data(), length);
    finish(context);
    const NUV_MDContext zero = {};
    EXPECT_EQ(memcmp(&context, &zero, sizeof context), 0);
  }
}

TEST(Md5, EmptyPieceChangesNothing) {
  NUV_MDContext context = {};  // clears the buffer, too, because the contexts are compared
  NUV_MDInit(&context);
  NUV_MDUpdate(&context, nullptr, 0);
  NUV_MDUpdate(&context, "abc", 3);
  const NUV_MDContext before = context;
  NUV_MDUpdate(&context, nullptr, 0);
  EXPECT_EQ(memcmp(&context, &before, sizeof context), 0);
  EXPECT_EQ(hex(finish(context)), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(Md5, CountsBitsModulo2To64) {
  const struct {
    const char* name;
    std::array<uint32_t, 2> before;
    uint32_t length;
    std::array<uint32_t, 2> after;
  } kCases[] = {
      {"from the start", {0, 0}, 64, {512, 0}},           {"up to the carry", {0xFFFFFC00, 0}, 64, {0xFFFFFE00, 0}},
      {"carry to zero", {0xFFFFFE00, 0}, 64, {0, 1}},     {"carry past zero", {0xFFFFFE00, 7}, 65, {8, 8}},
      {"no carry", {0xFFFFFE00, 7}, 63, {0xFFFFFFF8, 7}}, {"wrap", {0xFFFFFE00, 0xFFFFFFFF}, 64, {0, 0}},
  };
  const Bytes message = random_bytes(65);
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    NUV_MDContext context;
    NUV_MDInit(&context);
    context.count[0] = row.before[0];
    context.count[1] = row.before[1];
    NUV_MDUpdate(&context, message.data(), row.length);
    EXPECT_EQ(context.count[0], row.after[0]);
    EXPECT_EQ(context.count[1], row.after[1]);
  }
}

TEST(Md5, DigestDependsOnTheWholeCount) {
  const auto digest_after = [](uint32_t low, uint32_t high) {
    NUV_MDContext context;
    NUV_MDInit(&context);
    context.count[0] = low;
    context.count[1] = high;
    return hex(finish(context));
  };
  // One block: the end of the message, zeros, and the count with its least significant byte first.
  const auto expected = [](const std::array<uint8_t, 8>& count) {
    NUV_MDContext context;
    NUV_MDInit(&context);
    std::array<uint8_t, 64> block = {0x80};
    std::copy(count.begin(), count.end(), block.begin() + 56);
    NUV_MDUpdate(&context, block.data(), block.size());
    Digest digest;
    for (size_t i = 0; i < digest.size(); ++i) {
      digest[i] = static_cast<uint8_t>(context.state[i / 4] >> (8 * (i % 4)));
    }
    return hex(digest);
  };
  EXPECT_EQ(digest_after(0x12345600, 0x789ABCDE), expected({0x00, 0x56, 0x34, 0x12, 0xDE, 0xBC, 0x9A, 0x78}));
  EXPECT_EQ(digest_after(0, 1), expected({0, 0, 0, 0, 1, 0, 0, 0}));
}

// Half a gigabyte takes a second, but half a minute in an instrumented or unoptimised build.
#if defined(__SANITIZE_ADDRESS__) || !defined(__OPTIMIZE__)
constexpr bool kIsSlow = true;
#elif defined(__has_feature)
constexpr bool kIsSlow = __has_feature(address_sanitizer);
#else
constexpr bool kIsSlow = false;
#endif

// One piece whose length in bits does not fit into 32 bits: 2^29 zeros, which take no memory. Then one "x".
TEST(Md5, AcceptsAPieceOf4Gigabit) {
  if (kIsSlow) {
    GTEST_SKIP() << "needs an optimised build without sanitizers";
  }
  constexpr size_t kLength = size_t{1} << 29;
  void* zeros = mmap(nullptr, kLength, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (zeros == MAP_FAILED) {
    GTEST_SKIP() << "cannot map 512 MB";
  }
  madvise(zeros, kLength, MADV_HUGEPAGE);  // fewer page faults, if the kernel supports it
  NUV_MDContext context;
  NUV_MDInit(&context);
  NUV_MDUpdate(&context, zeros, kLength);
  EXPECT_EQ(context.count[0], 0U);
  EXPECT_EQ(context.count[1], 1U);
  NUV_MDUpdate(&context, "x", 1);
  EXPECT_EQ(context.count[0], 8U);
  EXPECT_EQ(context.count[1], 1U);
  EXPECT_EQ(hex(finish(context)), "1a4f30a4bccf106ae2d1b01a207354fb");
  munmap(zeros, kLength);
}

// ---- the random value ----

utsname this_system() {
  utsname system;
  EXPECT_EQ(uname(&system), 0);
  return system;
}

// The expected value, from its inputs laid out byte by byte.
uint32_t value_for(timeval now, clock_t processor_time, const utsname& system) {
  const uint32_t numbers[] = {static_cast<uint32_t>(now.tv_sec),
                              static_cast<uint32_t>(now.tv_usec),
                              static_cast<uint32_t>(processor_time),
                              static_cast<uint32_t>(getpid()),
                              0,
                              getuid(),
                              getgid()};
  Bytes record(420);
  memcpy(record.data(), numbers, sizeof numbers);
  size_t position = sizeof numbers;
  for (const char* name :
       {system.sysname, system.nodename, system.release, system.version, system.machine, system.domainname}) {
    memcpy(record.data() + position, name, 65);
    position += 65;
  }
  EXPECT_EQ(position + 2, record.size());
  const Digest digest = peer_md5(record.data(), record.size());
  uint32_t words[4];
  memcpy(words, digest.data(), sizeof words);
  return words[0] ^ words[1] ^ words[2];
}

// The processor time may advance during the call, so all possible times are tried.
bool is_value_at(uint32_t value, timeval now, clock_t earliest, clock_t latest, const utsname& system) {
  for (clock_t time = earliest; time <= latest; ++time) {
    if (value_for(now, time, system) == value) {
      return true;
    }
  }
  return false;
}

bool makes_the_value_at(timeval now) {
  support::FakeClock clock_double;
  clock_double.set_wall(now);
  const clock_t before = clock();
  const uint32_t value = NUV_MD5_GetRandomValue();
  const clock_t after = clock();
  return is_value_at(value, now, before, after, this_system());
}

TEST(Md5RandomValue, IsADigestOfTimeProcessAndSystem) {
  EXPECT_TRUE(makes_the_value_at({1234567890, 987654}));
  EXPECT_TRUE(makes_the_value_at({0, 0}));
  EXPECT_TRUE(makes_the_value_at({2147483647, 999999}));
}

// Only root can change to other ids.
TEST(Md5RandomValue, UsesTheRealUserAndGroup) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "needs root";
  }
  const support::ChildProcess child([] {
    if (setresgid(1001, 1002, 1003) == 0 && setresuid(2001, 2002, 2003) == 0 && makes_the_value_at({1, 2})) {
      std::puts("yes");
    }
  });
  EXPECT_EQ(child.out(), "yes\n");
}

// Inputs that cannot be read count as zeros.
TEST(Md5RandomValue, UsesZerosForWhatCannotBeRead) {
  support::FakeClock clock_double;
  clock_double.set_wall({1234567890, 987654});
  const struct {
    const char* function;
    timeval now;
    utsname system;
  } kCases[] = {
      {"gettimeofday", {0, 0}, this_system()},
      {"uname", {1234567890, 987654}, {}},
  };
  for (const auto& row : kCases) {
    const int calls = support::each_fault(row.function, {EFAULT}, [&](support::Fault& fault) {
      const clock_t before = clock();
      const uint32_t value = fault.during([] { return NUV_MD5_GetRandomValue(); });
      const clock_t after = clock();
      const bool is_expected = fault.has_struck()
                                   ? is_value_at(value, row.now, before, after, row.system)
                                   : is_value_at(value, {1234567890, 987654}, before, after, this_system());
      EXPECT_TRUE(is_expected);
    });
    EXPECT_EQ(calls, 1);
  }
}

TEST(Md5RandomValue, DiffersFromTimeToTime) {
  support::FakeClock clock_double;
  clock_double.set_wall({1, 0});
  const uint32_t first = NUV_MD5_GetRandomValue();
  clock_double.set_wall({1, 1});
  EXPECT_NE(NUV_MD5_GetRandomValue(), first);
}

}  // namespace
