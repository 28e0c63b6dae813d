#include "phoned/io/commands.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <span>

#include <sys/stat.h>

#include "nuv_bandwidth.h"
#include "nuv_sysloglevel.h"
#include "nuv_utility.h"
#include "phoned/core/allocator.h"
#include "phoned/core/clock.h"
#include "phoned/core/text.h"
#include "phoned/core/trace.h"
#include "phoned/io/certificate.h"
#include "phoned/io/output.h"

namespace phoned {

// One call of a command.
struct Commands::Invocation {
  std::span<char*> words;  // the command itself is the first
  int answer_fd;

  size_t arguments() const { return words.size() - 1; }
  std::string argument(size_t i) const { return words[i + 1]; }
};

namespace {

constexpr char kNoCapture[] = "no descriptor is free to catch what this prints: try again later";

std::string error_answer(const std::string& why) {
  return "error: " + why + "\n";
}

std::string usage(const std::string& text) {
  return error_answer("must be '" + text + "'");
}

std::string show_call(uint8_t line, const Call& call, const timeval& now) {
  const std::string name = std::to_string(line) + " ";
  if (call.state == Call::State::kDecided) {
    return name + "decided " + call.digits + "\n";
  }
  std::string text = name + "collecting" + (call.digits.empty() ? "" : " ") + call.digits;
  if (call.deadline) {
    const timeval wait = wait_until(*call.deadline, now);
    text += ", " + std::to_string(wait.tv_sec * 1000 + wait.tv_usec / 1000) + " ms left";
  }
  return text + "\n";
}

std::string show_verdict(const std::string& digits, const Verdict& verdict) {
  switch (verdict.kind) {
    case Verdict::Kind::kMore:
      return "more " + digits;
    case Verdict::Kind::kComplete:
      return "complete " + digits + " " + verdict.pattern;
    case Verdict::Kind::kReject:
      return "reject " + digits;
  }
  return {};
}

// Six fields of one or two hexadecimal digits.
bool is_mac(std::string_view text) {
  int fields = 0;
  while (true) {
    const size_t end = std::min(text.find(':'), text.size());
    const std::string_view field = text.substr(0, end);
    if (field.empty() || field.size() > 2 || field.find_first_not_of("0123456789abcdefABCDEF") != field.npos) {
      return false;
    }
    ++fields;
    if (end == text.size()) {
      return fields == 6;
    }
    text.remove_prefix(end + 1);
  }
}

std::optional<float> to_factor(const std::string& text) {
  constexpr float kLargest = 1e6F;
  float value = 0;
  const auto [stop, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
  // Written so that what is not a number is out of range, too.
  const bool is_in_range = value >= 0 && value <= kLargest;
  if (problem != std::errc() || stop != text.data() + text.size() || !is_in_range) {
    return std::nullopt;
  }
  return value;
}

// The library refuses a FIFO itself, but only after a restore has taken all masks away, and where the operator does not
// see it. At a terminal it would wait for whoever types.
std::optional<std::string> refuse_init_file(const std::string& command, const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) {
    return std::nullopt;
  }
  const bool is_refused = command == "save" ? S_ISFIFO(status.st_mode) : !S_ISREG(status.st_mode);
  if ((command != "save" && command != "restore") || !is_refused) {
    return std::nullopt;
  }
  return quote_path(path) + " is not a regular file";
}

}  // namespace

Commands::Commands(const DialLayer& dial_layer, std::function<void()> stop)
    : dial_layer_(dial_layer), stop_(std::move(stop)) {
  add("tr", &Commands::tr);
  add("lines", &Commands::lines);
  add("map", &Commands::map);
  add("check", &Commands::check);
  add("run", &Commands::run);
  add("mac", &Commands::mac);
  add("bandwidth", &Commands::bandwidth);
  add("cert", &Commands::cert);
  add("mem", &Commands::mem);
  add("stop", &Commands::stop);
}

std::optional<Error> Commands::open() {
  if (!pipe_.open()) {
    return Error{std::string("no pipe for the console to be had: ") + std::strerror(errno)};
  }
  return std::nullopt;
}

void Commands::handle(const std::string& line, int answer_fd) {
  // The pipe is empty but for this line: it is read in the same breath. One that is empty would not be there at all.
  Capture help;  // which the console prints
  if (!help.is_open() && line.find("help") != line.npos) {
    NUV_Console_output(answer_fd, error_answer(kNoCapture).c_str());
    return;
  }
  if (pipe_.put(line.empty() ? "\n" : line)) {
    console_.handle(pipe_.read_fd(), answer_fd);
  }
  if (const std::string printed = help.take(); !printed.empty()) {
    NUV_Console_output(answer_fd, printable_lines(printed).c_str());
  }
  if (!pipe_.take().empty()) {
    NUV_Console_output(answer_fd, error_answer("the system let the line get lost: say it again").c_str());
  }
}

void Commands::add(const char* name, Function function) {
  table_.emplace_back(console_, name, [this, function](const userlib::Invocation& call) {
    const std::string text = (this->*function)({{call.words, static_cast<size_t>(call.count)}, call.answer_fd});
    call.answer(printable_lines(text).c_str());
  });
}

// ---- The commands ----

std::string Commands::tr(const Invocation& call) {
  if (call.arguments() > 0) {
    const std::string path = call.arguments() > 1 ? call.argument(1) : trace::kDefaultInitFile;
    if (const auto refused = refuse_init_file(call.argument(0), path)) {
      return error_answer(*refused);
    }
  }
  Capture capture;
  if (!capture.is_open()) {
    return error_answer(kNoCapture);
  }
  {
    const TimeLimit limit;  // the operator may name a device to save to
    NUV_Sysloglevel_handleCmd(&console_.record(), static_cast<int>(call.words.size()), call.words.data());
  }
  if (call.arguments() > 0 && (call.argument(0) == "console" || call.argument(0) == "file")) {
    trace::use_system_log(call.argument(0) == "file");
  }
  const std::string printed = capture.take();
  return printed.empty() ? "tr: nothing to show\n" : printed;
}

std::string Commands::lines(const Invocation&) {
  const timeval now = monotonic_now();
  std::string text;
  for (size_t number = 0; number < kLineCount; ++number) {
    const auto line = static_cast<uint8_t>(number);
    if (const Call* call = dial_layer_.lines().find(line)) {
      text += show_call(line, *call, now);
    }
  }
  return text.empty() ? "all lines are on the hook\n" : text;
}

std::string Commands::map(const Invocation&) {
  std::string text;
  for (const std::string& pattern : dial_layer_.plan().patterns()) {
    text += pattern + "\n";
  }
  return text;
}

std::string Commands::check(const Invocation& call) {
  if (call.arguments() != 1) {
    return usage("check DIGITS");
  }
  const std::string digits = call.argument(0);
  if (digits.empty() || digits.size() > DialLayer::kMaxDigits ||
      digits.find_first_not_of("0123456789ABCD#*") != digits.npos) {
    return error_answer(quote(digits) + ": must be 1 to " + std::to_string(DialLayer::kMaxDigits) +
                        " of the digits 0-9, A-D, # and *");
  }
  // Digits count one by one, and what stands behind the one that decides is never looked at.
  for (size_t size = 1; size <= digits.size(); ++size) {
    const std::string dialled = digits.substr(0, size);
    const Verdict verdict = dial_layer_.plan().check(dialled);
    if (verdict.kind != Verdict::Kind::kMore) {
      return show_verdict(dialled, verdict) + "\n";
    }
  }
  const Verdict late = dial_layer_.plan().check_at_timeout(digits);
  return "more " + digits + ", or after the inter-digit time " + show_verdict(digits, late) + "\n";
}

std::string Commands::run(const Invocation& call) {
  if (call.arguments() == 0) {
    return usage("run COMMAND");
  }
  std::string command;
  for (const char* word : call.words.subspan(1)) {
    command += (command.empty() ? "" : " ") + std::string(word);
  }
  const auto error = runner_.start(command, call.answer_fd);
  return error ? error_answer(error->why) : "";
}

std::string Commands::mac(const Invocation& call) {
  if (call.arguments() != 2) {
    return usage("mac BASE OFFSET");
  }
  const std::string base = call.argument(0);
  if (!is_mac(base)) {
    return error_answer(quote(base) + ": must be a MAC address, such as 00:11:22:33:44:55");
  }
  const auto offset = to_number(call.argument(1), 0, std::numeric_limits<uint32_t>::max());
  if (!offset) {
    return error_answer(quote(call.argument(1)) + ": must be a number from 0 to 4294967295");
  }
  std::array<char, 18> address = {};
  const bool is_beyond = NUV_Utility_MacAddOffset(base.c_str(), *offset, address.data()) == 1;
  return std::string(address.data()) + (is_beyond ? ", beyond the last address\n" : "\n");
}

std::string Commands::bandwidth(const Invocation& call) {
  if (call.arguments() != 6) {
    return usage("bandwidth OVERHEAD ATM BITS PTIME FACTOR COUNT");
  }
  const auto overhead = to_number(call.argument(0), 0, UINT16_MAX);
  const auto atm = to_number(call.argument(1), 0, 1);
  const auto bits = to_factor(call.argument(2));
  const auto ptime = to_number(call.argument(3), 1, UINT16_MAX);
  const auto factor = to_factor(call.argument(4));
  const auto count = to_number(call.argument(5), 0, UINT16_MAX);
  const auto wrong = [&call](size_t i, const std::string& rule) {
    return error_answer(quote(call.argument(i)) + ": must be " + rule);
  };
  if (!overhead) {
    return wrong(0, "the bytes of headers in a packet, 0 to 65535");
  }
  if (!atm) {
    return wrong(1, "1 for ATM cells, or 0");
  }
  if (!bits) {
    return wrong(2, "the bits of a sample, 0 to 1000000");
  }
  if (!ptime) {
    return wrong(3, "the milliseconds in a packet, 1 to 65535");
  }
  if (!factor) {
    return wrong(4, "a factor, 0 to 1000000");
  }
  if (!count) {
    return wrong(5, "the samples in a packet, 0 to 65535");
  }
  return std::to_string(NUV_Bandwidth_compute(static_cast<uint16_t>(*overhead), static_cast<uint8_t>(*atm), *bits,
                                              static_cast<uint16_t>(*ptime), *factor, static_cast<uint16_t>(*count))) +
         " bytes/s\n";
}

std::string Commands::cert(const Invocation& call) {
  if (call.arguments() != 2) {
    return usage("cert FILE NEEDLE");
  }
  const auto result = match_subject(call.argument(0), call.argument(1));
  return result ? *result + "\n" : error_answer(result.error().why);
}

std::string Commands::mem(const Invocation&) {
  return describe(memory_figures()) + "\n";
}

std::string Commands::stop(const Invocation&) {
  stop_();
  return "phoned ends\n";
}

}  // namespace phoned
