#include "nuv_utility.h"

#include <algorithm>
#include <memory>
#include <span>
#include <string_view>

#include <errno.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <limits.h>
#include <signal.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/contract.h"
#include "core/file_ptr.h"
#include "core/text.h"

using nuv::text_or_empty;

namespace {

constexpr char kFamily[] = "nuv_utility";

// ---- formatted texts ----

constexpr size_t kSharedTextSize = 512;

constinit char g_shared_text[kSharedTextSize] = {};

// vsnprintf() does not get the last byte, so that the text ends there even if the call fails.
void print_text(std::span<char> dest, const char* format, va_list arguments) NUV_PRINTF(2, 0);
void print_text(std::span<char> dest, const char* format, va_list arguments) {
  std::fill(dest.begin(), dest.end(), '\0');
  if (!dest.empty() && format != nullptr) {
    vsnprintf(dest.data(), dest.size() - 1, format, arguments);
  }
}

// ---- processes and files ----

// Waits for the command at the other end.
struct CloseProcess {
  void operator()(FILE* process) const { pclose(process); }
};

using Process = std::unique_ptr<FILE, CloseProcess>;

bool assigns_every_percent(int assigned, std::string_view format) {
  return assigned >= 0 && std::count(format.begin(), format.end(), '%') == assigned;
}

// ---- names ----

constexpr size_t kPatternLength = 255;
constexpr size_t kPieceSize = 100;
constexpr long kLargestNumber = 99999;
constexpr size_t kLargestWidth = 5;  // of kLargestNumber

constexpr long kNoNumber = -1;

// errno is read but never reset, on purpose: after one number out of range the following ones fail, too.
long read_number(const char* text) {
  char* end = nullptr;
  const long number = strtol(text, &end, 10);
  return errno == ERANGE || *end != '\0' || number < 0 ? kNoNumber : number;
}

struct NumberRange {
  long low;
  long high;
  size_t width;  // digits that every number has at least, with leading zeros where it needs them
};

// Cuts the text at the dash that it holds.
bool read_range(char* text, char* dash, NumberRange& range) {
  if (dash == text || dash[strlen(dash) - 1] == '-') {
    return false;
  }
  *dash = '\0';
  range.low = read_number(text);
  if (range.low == kNoNumber) {
    return false;
  }
  range.high = read_number(dash + 1);
  const size_t written = strlen(text);
  range.width = *text == '0' && written <= kLargestWidth ? written : 1;
  return range.high > range.low && range.high <= kLargestNumber;
}

// Whether the text begins with a number of the range. Takes one digit after the other and checks whether the digits so far
// spell a number of the range, instead of printing every number.
bool begins_with_number_of(const NumberRange& range, const char* text) {
  long number = 0;
  for (size_t count = 1; count <= kLargestWidth; ++count) {
    const char digit = text[count - 1];
    if (digit < '0' || digit > '9') {
      return false;
    }
    number = number * 10 + (digit - '0');
    const bool is_well_written = count == range.width || (count > range.width && text[0] != '0');
    if (is_well_written && range.low <= number && number <= range.high) {
      return true;
    }
  }
  return false;
}

// Tells whether what follows the prefix in a name begins with the piece, a number or a range of numbers. The piece is read
// even where the name has not got the prefix, and the rest is null, because reading leaves its trace in errno.
bool matches_piece(const char* rest, std::string_view text) {
  char piece[kPieceSize] = {};
  memcpy(piece, text.data(), std::min(text.size(), kPieceSize - 1));
  if (char* dash = strchr(piece, '-')) {
    NumberRange range;
    return read_range(piece, dash, range) && rest != nullptr && begins_with_number_of(range, rest);
  }
  if (*piece == '\0') {
    return false;
  }
  const long number = read_number(piece);
  return number != kNoNumber && number <= kLargestNumber && rest != nullptr && strncmp(rest, piece, strlen(piece)) == 0;
}

// The pieces stand between commas. The first characters of the pattern hold them too, behind what the name begins with.
bool matches_numbers(const char* name, const char* pattern, const char* pieces) {
  const char* const found = strstr(pattern, pieces);
  if (found == nullptr || static_cast<size_t>(found - pattern) + strlen(pieces) > kPatternLength) {
    return false;
  }
  const auto prefix = static_cast<size_t>(found - pattern);
  const char* const rest = strncmp(name, pattern, prefix) == 0 ? name + prefix : nullptr;
  for (;;) {
    const size_t length = strcspn(pieces, ",");
    if (matches_piece(rest, {pieces, length})) {
      return true;
    }
    if (pieces[length] == '\0') {
      return false;
    }
    pieces += length + 1;
  }
}

bool matches(const char* name, const char* pattern, const char* range, int flags) {
  if (*pattern == '\0' || *name == '\0') {
    return false;
  }
  if (strpbrk(range, "[*?\\") != nullptr) {
    return fnmatch(pattern, name, flags) == 0;
  }
  if (*range == '\0') {
    return strcmp(name, pattern) == 0;
  }
  return matches_numbers(name, pattern, range);
}

// ---- MAC addresses ----

constexpr size_t kMacTextSize = 18;
constexpr uint64_t kMacNumbers = uint64_t{1} << 48;

uint8_t mac_field(uint64_t mac, unsigned lowest_bit) {
  return static_cast<uint8_t>(mac >> lowest_bit);
}

}  // namespace

const char* NUV_Utility_basename(const char* a_path) {
  return a_path != nullptr ? nuv::base_name(a_path) : nullptr;
}

const char* NUV_Utility_extension(const char* a_path) {
  if (a_path == nullptr) {
    return nullptr;
  }
  const char* dot = strrchr(a_path, '.');
  return dot != nullptr ? dot + 1 : "";
}

char* NUV_Utility_path_cat(char* a_dest, const char* a_src) {
  if (a_dest == nullptr || a_src == nullptr) {
    return a_dest;
  }
  const size_t added = strlen(a_src);
  size_t length = strlen(a_dest);
  if (length > 0 && a_dest[length - 1] != '/') {
    a_dest[length++] = '/';
  }
  // Moved, not copied: a_src may be a piece of a_dest.
  memmove(a_dest + length, a_src, added);
  a_dest[length + added] = '\0';
  return a_dest;
}

int32_t NUV_Utility_strcmp_backward(const char* a_str1, const char* a_str2) {
  const std::string_view text = text_or_empty(a_str1);
  const std::string_view end = text_or_empty(a_str2);
  if (end.empty() || text.size() < end.size()) {
    return -1;
  }
  size_t alike = 0;
  while (alike < end.size() && text[text.size() - 1 - alike] == end[end.size() - 1 - alike]) {
    ++alike;
  }
  return static_cast<int32_t>(alike);
}

char* NUV_Utility_VAStr(char* a_dest, uint32_t a_size, const char* a_format, ...) {
  if (a_dest == nullptr) {
    return nullptr;
  }
  va_list arguments;
  va_start(arguments, a_format);
  print_text({a_dest, a_size}, a_format, arguments);
  va_end(arguments);
  return a_dest;
}

char* VAStr(const char* a_format, ...) {
  va_list arguments;
  va_start(arguments, a_format);
  print_text(g_shared_text, a_format, arguments);
  va_end(arguments);
  return g_shared_text;
}

int32_t RunProcess(const char* a_command, const char* a_format, ...) {
  if (a_command == nullptr || a_format == nullptr) {
    return 0;
  }
  const Process process(popen(a_command, "r"));
  if (process == nullptr) {
    return 0;
  }
  va_list arguments;
  va_start(arguments, a_format);
  const int assigned = vfscanf(process.get(), a_format, arguments);
  va_end(arguments);
  return assigns_every_percent(assigned, a_format) ? 1 : 0;
}

char* NUV_Utility_readLine(char* a_dest, uint32_t a_size, FILE* a_stream) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_stream);
  if (a_dest == nullptr || a_stream == nullptr || a_size == 0) {
    return nullptr;
  }
  const int size = static_cast<int>(std::min<uint32_t>(a_size, INT_MAX));
  if (fgets(a_dest, size, a_stream) == nullptr) {
    return nullptr;
  }
  a_dest[strcspn(a_dest, "\n")] = '\0';
  return a_dest;
}

int32_t NUV_Utility_get_pid_from_file(const char* pidfile) {
  NUV_REQUIRE(((void *)0) != pidfile);
  NUV_REQUIRE_TEXT(*text_or_empty(pidfile) != '\0', "0 != strlen (pidfile)");
  const nuv::FilePtr file = nuv::open_file(text_or_empty(pidfile), "r");
  if (file == nullptr) {
    return 0;
  }
  int pid = 0;
  // NOLINTNEXTLINE(cert-err34-c): the id is what this conversion makes of the file.
  return fscanf(file.get(), "%d", &pid) == 1 ? pid : 0;
}

int32_t NUV_Utility_test_pid_exists(int32_t pid) {
  NUV_REQUIRE(0 != pid);
  return kill(pid, 0) == 0 ? 1 : 0;
}

int32_t NUV_Utility_get_pid_for_unixsocket_fd(int32_t a_fd) {
  NUV_REQUIRE(0 <= a_fd);
  ucred peer = {};
  socklen_t size = sizeof peer;
  if (getsockopt(a_fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
    return 0;
  }
  return peer.pid;
}

int32_t NUV_Set_cloexec_flag(int32_t a_fd, int32_t a_value) {
  const int flags = fcntl(a_fd, F_GETFD);
  if (flags < 0) {
    return flags;
  }
  return fcntl(a_fd, F_SETFD, a_value != 0 ? flags | FD_CLOEXEC : flags & ~FD_CLOEXEC);
}

int32_t NUV_Utility_fnmatch(const char* a_pattern, const char* a_string, const char* a_range, int32_t a_flags) {
  return matches(text_or_empty(a_string), text_or_empty(a_pattern), text_or_empty(a_range), a_flags) ? 0 : -1;
}

uint64_t NUV_Utility_MacToUint(const char* a_mac) {
  unsigned field[6] = {};
  // NOLINTNEXTLINE(cert-err34-c): a field that the text lacks is 0, one that is too large spills over.
  sscanf(a_mac, "%x:%x:%x:%x:%x:%x", &field[0], &field[1], &field[2], &field[3], &field[4], &field[5]);
  uint64_t mac = 0;
  for (const unsigned value : field) {
    mac = mac << 8 | value;
  }
  return mac;
}

int32_t NUV_Utility_UintToMac(uint64_t a_value, char* a_dest) {
  return snprintf(a_dest, kMacTextSize, "%02x:%02x:%02x:%02x:%02x:%02x", mac_field(a_value, 40), mac_field(a_value, 32),
                  mac_field(a_value, 24), mac_field(a_value, 16), mac_field(a_value, 8), mac_field(a_value, 0));
}

int32_t NUV_Utility_MacAddMac(const char* a_mac1, const char* a_mac2, char* a_dest) {
  const uint64_t sum = NUV_Utility_MacToUint(a_mac1) + NUV_Utility_MacToUint(a_mac2);
  NUV_Utility_UintToMac(sum, a_dest);
  return sum >= kMacNumbers ? 1 : 0;
}

int32_t NUV_Utility_MacSubMac(const char* a_mac1, const char* a_mac2, char* a_dest) {
  const uint64_t mac1 = NUV_Utility_MacToUint(a_mac1);
  const uint64_t mac2 = NUV_Utility_MacToUint(a_mac2);
  NUV_Utility_UintToMac(mac1 >= mac2 ? mac1 - mac2 : mac2 - mac1, a_dest);
  return mac1 >= mac2 ? 0 : -1;
}

int32_t NUV_Utility_MacAddOffset(const char* a_mac, uint64_t a_offset, char* a_dest) {
  char offset[kMacTextSize];
  NUV_Utility_UintToMac(a_offset, offset);
  return NUV_Utility_MacAddMac(a_mac, offset, a_dest);
}

int32_t NUV_Utility_MacSubOffset(const char* a_mac, uint64_t a_offset, char* a_dest) {
  char offset[kMacTextSize];
  NUV_Utility_UintToMac(a_offset, offset);
  return NUV_Utility_MacSubMac(a_mac, offset, a_dest);
}
