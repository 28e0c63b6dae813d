// Console lines, compared with a simple model. The input is an operator's, sent through a pipe to a console with a few
// commands, which handles it until nothing is left. The first command, "remove", removes commands.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "nuv_console.h"

namespace {

constexpr size_t kPipeRoom = 1536;  // six lines, and less than a pipe holds
constexpr char kPrompt[] = "fuzz> ";

// A non-blocking pipe, reused for all inputs.
class Pipe {
 public:
  Pipe() { FUZZ_CHECK(pipe2(ends_, O_NONBLOCK | O_CLOEXEC) == 0); }

  int read_end() const { return ends_[0]; }
  int write_end() const { return ends_[1]; }

  std::string take() {
    std::string bytes(kPipeRoom, '\0');
    const ssize_t length = read(ends_[0], bytes.data(), bytes.size());
    bytes.resize(length > 0 ? static_cast<size_t>(length) : 0);
    return bytes;
  }

 private:
  int ends_[2];
};

// ---- the model ----

using Words = std::vector<std::string>;

// Returns nothing if a quote is not closed.
std::optional<Words> words_of(std::string_view line) {
  constexpr size_t kMostWords = 127;
  Words words;
  while (words.size() < kMostWords) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    if (line.empty()) {
      break;
    }
    const bool quoted = line.front() == '"';
    line.remove_prefix(quoted ? 1 : 0);
    const size_t end = line.find(quoted ? '"' : ' ');
    if (quoted && end == std::string_view::npos) {
      return std::nullopt;
    }
    words.emplace_back(line.substr(0, end));
    if (end == std::string_view::npos) {
      break;
    }
    line.remove_prefix(end + 1);
  }
  return words;
}

// ---- the console ----

constexpr std::array<const char*, 5> kNames = {"remove", "show", "set", "a b", ""};

// The arguments of a command.
struct Call {
  std::string command;
  Words words;

  bool operator==(const Call&) const = default;
};

struct Fixture {
  Console console;
  std::vector<Call> calls;
};

Fixture g_fixture;

int32_t run(void* context, int32_t argc, char** argv, int32_t fd) {
  FUZZ_CHECK(argc > 0 && argv[argc] == nullptr);
  g_fixture.calls.push_back({static_cast<const char*>(context), {}});
  Words& words = g_fixture.calls.back().words;
  for (int32_t i = 0; i < argc; ++i) {
    words.emplace_back(argv[i]);
    std::fill_n(argv[i], words.back().size(), '!');  // a command may change them
  }
  if (words.front() == "remove" && argc > 1) {
    NUV_Console_removeCommand(&g_fixture.console, words[1].c_str());
  }
  NUV_Console_output(fd, "done\n");
  return 0;
}

// The answer to a line, the printed text, and the called command.
struct Outcome {
  std::string answer;
  std::string printed;
  std::vector<Call> calls;
};

class Model {
 public:
  Outcome handle(std::string_view line) {
    const auto words = words_of(line);
    if (!words) {
      return {std::string("syntax error\n") + kPrompt, "", {}};
    }
    if (words->empty()) {
      return {kPrompt, "", {}};
    }
    if (words->front() == "help") {
      return {kPrompt, help(), {}};
    }
    if (std::find(names_.begin(), names_.end(), words->front()) == names_.end()) {
      return {std::string("command not found\n") + kPrompt, "", {}};
    }
    if (words->front() == "remove" && words->size() > 1) {
      names_.erase(std::remove(names_.begin(), names_.end(), words->at(1)), names_.end());
    }
    return {std::string("done\n") + kPrompt, "", {{words->front(), *words}}};
  }

  size_t size() const { return names_.size(); }

 private:
  std::string help() const {
    std::string text = "help\n";
    for (const std::string& name : names_) {
      text += name + "\n";
    }
    return text;
  }

  std::vector<std::string> names_{kNames.begin(), kNames.end()};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Pipe request;
  static Pipe answer;
  constexpr size_t kMostBytes = 255;
  std::array<ConsoleCommand, kNames.size()> store;
  Console& console = g_fixture.console;
  NUV_Console_construct(&console, store.data(), store.size(), kPrompt);
  for (const char* name : kNames) {
    NUV_Console_setCommand(&console, name, const_cast<char*>(name), run);
  }
  Model model;
  fuzz::Stdout printed;
  std::string_view rest(reinterpret_cast<const char*>(data), std::min(size, kPipeRoom));
  FUZZ_CHECK(rest.empty() || write(request.write_end(), rest.data(), rest.size()) == static_cast<ssize_t>(rest.size()));
  while (!rest.empty()) {
    const std::string_view chunk = rest.substr(0, kMostBytes);
    rest.remove_prefix(chunk.size());
    const Outcome expected = model.handle(fuzz::c_text(chunk.substr(0, chunk.find('\n'))));
    g_fixture.calls.clear();
    const int32_t result = NUV_Console_handle(&console, request.read_end(), answer.write_end());
    FUZZ_CHECK(result == static_cast<int32_t>(sizeof kPrompt - 1));
    FUZZ_CHECK(answer.take() == expected.answer);
    FUZZ_CHECK(printed.take() == expected.printed);
    FUZZ_CHECK(g_fixture.calls == expected.calls);
    FUZZ_CHECK(NUV_Console_size(&console) == model.size());
  }
  FUZZ_CHECK(NUV_Console_handle(&console, request.read_end(), answer.write_end()) == -1);
  FUZZ_CHECK(answer.take().empty());
  NUV_Console_destruct(&console);
  return 0;
}
