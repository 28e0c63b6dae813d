#include "phoned/io/commands.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <limits>

#include <sys/wait.h>

#include "nuv_bandwidth.h"
#include "nuv_sysloglevel.h"
#include "nuv_utility.h"
#include "phoned/core/text.h"
#include "phoned/core/trace.h"

namespace phoned {

namespace {

using Words = userlib::Invocation;

constexpr int32_t kAny = std::numeric_limits<int32_t>::max();
constexpr char kNoCapture[] = "no descriptor is free to catch what this prints: try again later";

Error must_be(std::string_view argument, const std::string& rule) {
  return Error(quote(argument) + ": must be " + rule);
}

uint32_t to_integer(std::string_view text, uint32_t min, uint32_t max, const std::string& rule) {
  const auto number = to_number(text, min, max);
  if (!number) {
    throw must_be(text, rule);
  }
  return *number;
}

float to_factor(std::string_view text, const std::string& rule) {
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

std::string describe(uint8_t line, const Call& call, const timeval& now) {
  std::string text = std::to_string(line) + (call.is_decided ? " decided" : " collecting");
  text += (call.digits.empty() ? "" : " ") + call.digits;
  if (call.deadline) {
    const timeval wait = userlib::wait_until(*call.deadline, now);
    text += ", " + std::to_string(wait.tv_sec * 1000 + wait.tv_usec / 1000) + " ms left";
  }
  return text + "\n";
}

// The library refuses a FIFO and a damaged file, too, but only after a restore has reset all masks, and not to the operator.
// It would block on a terminal.
void check_init_file(std::string_view command, const std::string& path) {
  std::error_code unused;
  const bool is_fifo = std::filesystem::is_fifo(path, unused);
  if ((command == "save" && is_fifo) || (command == "restore" && is_no_regular_file(path))) {
    throw Error(quote_path(path) + " is not a regular file");
  }
  if (command == "restore" && trace::is_damaged(path)) {
    throw Error(quote_path(path) + " is damaged");
  }
}

// Nothing while the child is running. Tries again if the system refuses to tell.
std::optional<int> status_of(pid_t child) {
  int status = 0;
  pid_t ended = -1;
  for (int i = 0; i < kTries && ended < 0; ++i) {
    ended = waitpid(child, &status, WNOHANG);
  }
  return ended == child || (ended < 0 && errno == ECHILD) ? std::optional(status) : std::nullopt;
}

// What was captured, which ends here.
std::string take(userlib::Capture& capture) {
  capture.end();
  std::string text(capture.size(), '\0');
  text.resize(capture.read(text.data(), text.size()));
  return text;
}

// ---- Commands that need little ----

std::string describe(const Lines& lines) {
  const timeval now = userlib::monotonic_now();
  std::string text;
  for (size_t line = 0; line < kLineCount; ++line) {
    const auto number = static_cast<uint8_t>(line);
    if (const Call* call = lines.find(number)) {
      text += describe(number, *call, now);
    }
  }
  return text.empty() ? "all lines are on the hook\n" : text;
}

std::string describe(const DialPlan& plan) {
  std::string text;
  for (const std::string& pattern : plan.patterns()) {
    text += pattern + "\n";
  }
  return text;
}

std::string check(const DialPlan& plan, const Words& words) {
  const std::string digits(words.word(1));
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

// Six fields of one or two hexadecimal digits.
bool is_mac(const std::string& text) {
  constexpr char kFields[] =
      "%*2[0-9a-fA-F]:%*2[0-9a-fA-F]:%*2[0-9a-fA-F]:%*2[0-9a-fA-F]:%*2[0-9a-fA-F]:%*2[0-9a-fA-F]%n";
  int end = -1;
  std::sscanf(text.c_str(), kFields, &end);
  return end == static_cast<int>(text.size());
}

std::string mac(const Words& words) {
  const std::string base(words.word(1));
  if (!is_mac(base)) {
    throw must_be(base, "a MAC address, such as 00:11:22:33:44:55");
  }
  const auto offset = to_integer(words.word(2), 0, UINT32_MAX, "a number from 0 to 4294967295");
  char address[18] = {};
  const bool is_beyond = NUV_Utility_MacAddOffset(base.c_str(), offset, address) == 1;
  return std::string(address) + (is_beyond ? ", beyond the last address\n" : "\n");
}

std::string bandwidth(const Words& words) {
  const auto integer = [&words](int32_t index, uint32_t min, uint32_t max, const char* rule) {
    return static_cast<uint16_t>(to_integer(words.word(index), min, max, rule));
  };
  const auto overhead = integer(1, 0, UINT16_MAX, "the bytes of headers in a packet, 0 to 65535");
  const auto atm = static_cast<uint8_t>(integer(2, 0, 1, "1 for ATM cells, or 0"));
  const float bits = to_factor(words.word(3), "the bits of a sample, 0 to 1000000");
  const auto ptime = integer(4, 1, UINT16_MAX, "the milliseconds in a packet, 1 to 65535");
  const float factor = to_factor(words.word(5), "a factor, 0 to 1000000");
  const auto count = integer(6, 0, UINT16_MAX, "the samples in a packet, 0 to 65535");
  return std::to_string(NUV_Bandwidth_compute(overhead, atm, bits, ptime, factor, count)) + " bytes/s\n";
}

std::string cert(const Words& words) {
  return match_subject(std::string(words.word(1)), std::string(words.word(2))) + "\n";
}

}  // namespace

Commands::Commands(const DialLayer& dial_layer, Statistics& statistics, const std::function<void()>& stop)
    : statistics_(statistics),
      rows_{
          {"tr", "", 0, kAny, [this](const Words& words) { return tr(words); }},
          {"lines", "", 0, kAny, [&dial_layer](const Words&) { return describe(dial_layer.lines()); }},
          {"map", "", 0, kAny, [&dial_layer](const Words&) { return describe(dial_layer.plan()); }},
          {"check", "DIGITS", 1, 1, [&dial_layer](const Words& words) { return check(dial_layer.plan(), words); }},
          {"run", "COMMAND", 1, kAny, [this](const Words& words) { return run(words); }},
          {"mac", "BASE OFFSET", 2, 2, mac},
          {"bandwidth", "OVERHEAD ATM BITS PTIME FACTOR COUNT", 6, 6, bandwidth},
          {"cert", "FILE NEEDLE", 2, 2, cert},
          {"mem", "", 0, kAny, [](const Words&) { return describe(userlib::memory_figures) + "\n"; }},
          {"stop", "", 0, kAny,
           [stop](const Words&) {
             stop();
             return "phoned ends\n";
           }},
      } {
  for (const Row& row : rows_) {
    commands_.emplace_back(console_, row.name,
                           [this, &row](const Words& words) { say(words.answer_fd, carry_out(row, words)); });
  }
}

Commands::~Commands() {
  for (const pid_t child : children_) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
}

void Commands::handle(const std::string& line, int answer_fd) {
  operator_fd_ = answer_fd;
  userlib::Capture answer;
  if (!answer.is_open() && line.find("help") != line.npos) {
    return say(answer_fd, std::string("error: ") + kNoCapture + "\n");
  }
  // The console reads what it finds in the pipe, and would wait for ever if that were nothing.
  if (pipe_.put(line.empty() ? "\n" : line)) {
    console_.handle(pipe_.read_fd(), answer.is_open() ? STDOUT_FILENO : answer_fd);
  }
  say(answer_fd, take(answer));
  if (!pipe_.take().empty()) {
    say(answer_fd, "error: the system lost the line: send it again\n");
  }
}

void Commands::say(int fd, const std::string& text) {
  const std::string shown = printable(text, "\n\t");
  if (!shown.empty() && NUV_Console_output(fd, shown.c_str()) != static_cast<int32_t>(shown.size())) {
    ++statistics_.cut;
  }
}

void Commands::reap() {
  std::erase_if(children_, [this](pid_t child) {
    const auto status = status_of(child);
    statistics_.cut += status.value_or(0) == 0 ? 0 : 1;
    return status.has_value();
  });
}

std::string Commands::carry_out(const Row& row, const Words& words) {
  const int32_t count = words.count - 1;
  try {
    if (count < row.min || count > row.max) {
      throw Error("must be '" + std::string(row.name) + " " + row.arguments + "'");
    }
    return row.function(words);
  } catch (const Error& error) {
    return std::string("error: ") + error.what() + "\n";
  }
}

std::string Commands::tr(const Words& words) {
  const std::string_view command = words.word(1);
  const std::string file(words.count > 2 ? words.word(2) : trace::kDefaultInitFile);
  check_init_file(command, file);
  userlib::Capture printed;
  if (!printed.is_open()) {
    throw Error(kNoCapture);
  }
  const userlib::TimeLimit limit;  // the operator may name a device to save to
  if (command == "save" && words.count <= 3) {
    // In the library's words. A power cut leaves the old file or the new one; the library alone would write over it.
    return userlib::replace_file(file.c_str(), [](const char* path) { return NUV_Sysloglevel_saveInitFile(path); })
               ? "Actual tracelevel is saved in file " + file + "\n"
               : "File " + file + " is not updated\n";
  }
  NUV_Sysloglevel_handleCmd(&console_.record(), words.count, words.words);
  if (command == "console" || command == "file") {
    trace::use_system_log(command == "file");
  }
  const std::string text = take(printed);
  return text.empty() ? "tr: nothing to show\n" : text;
}

std::string Commands::run(const Words& words) {
  constexpr size_t kMaxCommands = 4;  // at the same time
  if (children_.size() == kMaxCommands) {
    throw Error(std::to_string(kMaxCommands) + " commands are running already: wait for the end of one");
  }
  std::string command(words.word(1));
  for (int32_t i = 2; i < words.count; ++i) {
    command += " " + std::string(words.word(i));
  }
  children_.push_back(start_shell_command(command, operator_fd_));
  return "";
}

}  // namespace phoned
