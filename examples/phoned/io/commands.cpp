#include "phoned/io/commands.h"

#include <charconv>
#include <limits>

#include <sys/stat.h>

#include "nuv_bandwidth.h"
#include "nuv_sysloglevel.h"
#include "nuv_utility.h"
#include "phoned/core/clock.h"
#include "phoned/core/text.h"
#include "phoned/core/trace.h"
#include "phoned/io/init_file.h"
#include "phoned/io/output.h"

namespace phoned {

namespace {

constexpr char kNoCapture[] = "no descriptor is free to catch what this prints: try again later";

std::string argument(const userlib::Invocation& words, int32_t index) {
  return std::string(words.word(index));
}

Error must_be(const std::string& argument, const std::string& rule) {
  return Error(quote(argument) + ": must be " + rule);
}

uint32_t to_integer(const std::string& text, uint32_t min, uint32_t max, const std::string& rule) {
  const auto number = to_number(text, min, max);
  if (!number) {
    throw must_be(text, rule);
  }
  return *number;
}

float to_factor(const std::string& text, const std::string& rule) {
  constexpr float kLargest = 1e6F;
  float value = 0;
  const auto [stop, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
  // False for NaN, too.
  const bool is_in_range = value >= 0 && value <= kLargest;
  if (problem != std::errc() || stop != text.data() + text.size() || !is_in_range) {
    throw must_be(text, rule);
  }
  return value;
}

// Six fields of one or two hexadecimal digits.
bool is_mac(const std::string& text) {
  const std::string fields = text + ":";
  int count = 0;
  for (std::string_view rest = fields; !rest.empty(); ++count) {
    const std::string_view field = take_until(rest, ":");
    if (field.empty() || field.size() > 2 || field.find_first_not_of("0123456789abcdefABCDEF") != field.npos) {
      return false;
    }
  }
  return count == 6;
}

std::string describe(uint8_t line, const Call& call, const timeval& now) {
  std::string text = std::to_string(line) + (call.is_decided ? " decided" : " collecting");
  text += (call.digits.empty() ? "" : " ") + call.digits;
  if (call.deadline) {
    const timeval wait = wait_until(*call.deadline, now);
    text += ", " + std::to_string(wait.tv_sec * 1000 + wait.tv_usec / 1000) + " ms left";
  }
  return text + "\n";
}

// The library refuses a FIFO and a damaged file, too, but only after a restore has reset all masks, and not to the operator.
// It would block on a terminal.
void check_init_file(const std::string& command, const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) {
    return;
  }
  if ((command == "save" && S_ISFIFO(status.st_mode)) || (command == "restore" && !S_ISREG(status.st_mode))) {
    throw Error(quote_path(path) + " is not a regular file");
  }
  if (command == "restore" && trace::is_damaged(path)) {
    throw Error(quote_path(path) + " is damaged");
  }
}

// In the library's words.
std::string save(const std::string& path) {
  return save_masks(path) ? "Actual tracelevel is saved in file " + path + "\n" : "File " + path + " is not updated\n";
}

}  // namespace

constexpr int32_t kAny = std::numeric_limits<int32_t>::max();

const Commands::Row Commands::kTable[] = {
    {"tr", "", 0, kAny, &Commands::tr},
    {"lines", "", 0, kAny, &Commands::lines},
    {"map", "", 0, kAny, &Commands::map},
    {"check", "DIGITS", 1, 1, &Commands::check},
    {"run", "COMMAND", 1, kAny, &Commands::run},
    {"mac", "BASE OFFSET", 2, 2, &Commands::mac},
    {"bandwidth", "OVERHEAD ATM BITS PTIME FACTOR COUNT", 6, 6, &Commands::bandwidth},
    {"cert", "FILE NEEDLE", 2, 2, &Commands::cert},
    {"mem", "", 0, kAny, &Commands::mem},
    {"stop", "", 0, kAny, &Commands::stop},
};

Commands::Commands(const DialLayer& dial_layer, Statistics& statistics, std::function<void()> stop)
    : dial_layer_(dial_layer), statistics_(statistics), stop_(std::move(stop)) {
  for (const Row& row : kTable) {
    commands_.emplace_back(console_, row.name, [this, &row](const Words& words) {
      say(words.answer_fd, printable_lines(carry_out(row, words)));
    });
  }
}

void Commands::handle(const std::string& line, int answer_fd) {
  operator_fd_ = answer_fd;
  Capture answer;
  if (!answer.is_open() && line.find("help") != line.npos) {
    return say(answer_fd, std::string("error: ") + kNoCapture + "\n");
  }
  // The console reads what it finds in the pipe, and would wait for ever if that were nothing.
  if (pipe_.put(line.empty() ? "\n" : line)) {
    console_.handle(pipe_.read_fd(), answer.is_open() ? STDOUT_FILENO : answer_fd);
  }
  say(answer_fd, printable_lines(answer.take()));
  if (!pipe_.take().empty()) {
    say(answer_fd, "error: the system let the line get lost: say it again\n");
  }
}

void Commands::say(int fd, const std::string& text) {
  if (!text.empty() && NUV_Console_output(fd, text.c_str()) != static_cast<int32_t>(text.size())) {
    ++statistics_.cut;
  }
}

std::string Commands::carry_out(const Row& row, const Words& words) {
  const int32_t count = words.count - 1;
  try {
    if (count < row.min || count > row.max) {
      throw Error("must be '" + std::string(row.name) + " " + row.arguments + "'");
    }
    return (this->*row.function)(words);
  } catch (const Error& error) {
    return std::string("error: ") + error.what() + "\n";
  }
}

// ---- The commands ----

std::string Commands::tr(const Words& words) {
  const std::string command = argument(words, 1);
  check_init_file(command, words.count > 2 ? argument(words, 2) : trace::kDefaultInitFile);
  Capture capture;
  if (!capture.is_open()) {
    throw Error(kNoCapture);
  }
  {
    const TimeLimit limit;  // the operator may name a device to save to
    if (command == "save" && words.count <= 3) {
      return save(words.count == 3 ? argument(words, 2) : trace::kDefaultInitFile);
    }
    NUV_Sysloglevel_handleCmd(&console_.record(), words.count, words.words);
  }
  if (command == "console" || command == "file") {
    trace::use_system_log(command == "file");
  }
  const std::string printed = capture.take();
  return printed.empty() ? "tr: nothing to show\n" : printed;
}

std::string Commands::lines(const Words&) {
  const timeval now = monotonic_now();
  std::string text;
  for (size_t line = 0; line < kLineCount; ++line) {
    const auto number = static_cast<uint8_t>(line);
    if (const Call* call = dial_layer_.lines().find(number)) {
      text += describe(number, *call, now);
    }
  }
  return text.empty() ? "all lines are on the hook\n" : text;
}

std::string Commands::map(const Words&) {
  std::string text;
  for (const std::string& pattern : dial_layer_.plan().patterns()) {
    text += pattern + "\n";
  }
  return text;
}

std::string Commands::check(const Words& words) {
  const std::string digits = argument(words, 1);
  const DialPlan& plan = dial_layer_.plan();
  if (digits.empty() || digits.size() > DialLayer::kMaxDigits || digits.find_first_not_of(kDigits) != digits.npos) {
    throw must_be(digits, "1 to " + std::to_string(DialLayer::kMaxDigits) + " of the digits 0-9, A-D, # and *");
  }
  // As on a line: digits after the one that decides are ignored.
  for (size_t size = 1; size <= digits.size(); ++size) {
    const std::string dialled = digits.substr(0, size);
    const Verdict verdict = plan.check(dialled);
    if (verdict.kind != Verdict::Kind::kMore) {
      return outcome(dialled, verdict) + "\n";
    }
  }
  return "more " + digits + ", or after the inter-digit time " + outcome(digits, plan.check_at_timeout(digits)) + "\n";
}

std::string Commands::run(const Words& words) {
  std::string command = argument(words, 1);
  for (int32_t i = 2; i < words.count; ++i) {
    command += " " + argument(words, i);
  }
  runner_.start(command, operator_fd_);
  return "";
}

std::string Commands::mac(const Words& words) {
  const std::string base = argument(words, 1);
  if (!is_mac(base)) {
    throw must_be(base, "a MAC address, such as 00:11:22:33:44:55");
  }
  const auto offset = to_integer(argument(words, 2), 0, UINT32_MAX, "a number from 0 to 4294967295");
  char address[18] = {};
  const bool is_beyond = NUV_Utility_MacAddOffset(base.c_str(), offset, address) == 1;
  return std::string(address) + (is_beyond ? ", beyond the last address\n" : "\n");
}

std::string Commands::bandwidth(const Words& words) {
  const auto integer = [&words](int32_t index, uint32_t min, uint32_t max, const char* rule) {
    return static_cast<uint16_t>(to_integer(argument(words, index), min, max, rule));
  };
  const auto overhead = integer(1, 0, UINT16_MAX, "the bytes of headers in a packet, 0 to 65535");
  const auto atm = static_cast<uint8_t>(integer(2, 0, 1, "1 for ATM cells, or 0"));
  const float bits = to_factor(argument(words, 3), "the bits of a sample, 0 to 1000000");
  const auto ptime = integer(4, 1, UINT16_MAX, "the milliseconds in a packet, 1 to 65535");
  const float factor = to_factor(argument(words, 5), "a factor, 0 to 1000000");
  const auto count = integer(6, 0, UINT16_MAX, "the samples in a packet, 0 to 65535");
  return std::to_string(NUV_Bandwidth_compute(overhead, atm, bits, ptime, factor, count)) + " bytes/s\n";
}

std::string Commands::cert(const Words& words) {
  return match_subject(argument(words, 1), argument(words, 2)) + "\n";
}

std::string Commands::mem(const Words&) {
  return describe(memory_figures) + "\n";
}

std::string Commands::stop(const Words&) {
  stop_();
  return "phoned ends\n";
}

}  // namespace phoned
