#include "userlib-digitmap/options.h"

#include <utility>

namespace digitmap_tool {

namespace {

// Reads one command line, up to the first mistake.
class CommandLine {
 public:
  explicit CommandLine(std::vector<std::string> words) : words_(std::move(words)) {}

  bool read(Options& options) {
    while (at_ < words_.size() && why_.empty()) {
      const std::string word = words_[at_++];
      if (word == "--") {
        break;
      }
      // A plan or a number never begins with "-".
      if (word.size() < 2 || word[0] != '-') {
        options.words.push_back(word);
      } else {
        take(word, options);
      }
    }
    options.words.insert(options.words.end(), words_.begin() + static_cast<ptrdiff_t>(at_), words_.end());
    return why_.empty();
  }

  const std::string& why() const { return why_; }

 private:
  void take(const std::string& word, Options& options) {
    const size_t equals = word.starts_with("--") ? word.find('=') : std::string::npos;
    const std::string name = word.substr(0, equals);
    if (name == "-f" || name == "--file") {
      options.file = value(word, equals, "the name of a file with a dial plan");
    } else if (name == "-g" || name == "--graph") {
      options.graph = value(word, equals, "the name of an SVG file to write");
    } else if (name == "--length") {
      take_length(value(word, equals, "a number of digits"), options);
    } else if (name == "--convert") {
      take_form(equals == std::string::npos ? "mgcp" : word.substr(equals + 1), options);
    } else if (equals != std::string::npos) {
      why_ = "option " + quote(word) + " is unknown, or takes no value";
    } else if (name == "--dot") {
      options.wants_dot = true;
    } else if (name == "--check") {
      options.wants_check = true;
    } else if (name == "--first") {
      options.mode = Mode::kFirst;
    } else if (name == "--timer") {
      options.timer = Timer::kExpired;
    } else if (name == "-q" || name == "--quiet") {
      options.is_quiet = true;
    } else if (name == "-h" || name == "--help") {
      options.wants_help = true;
    } else if (name == "--version") {
      options.wants_version = true;
    } else {
      why_ = "option " + quote(word) + " is unknown";
    }
  }

  void take_length(const std::string& text, Options& options) {
    const bool is_number =
        !text.empty() && text.size() < 3 && text.find_first_not_of("0123456789") == std::string::npos;
    options.length = is_number ? std::stoul(text) : 0;
    if (why_.empty() && (options.length == 0 || options.length > kMaxDigits)) {
      why_ = "length " + quote(text) + " must be a number from 1 to " + std::to_string(kMaxDigits);
    }
  }

  void take_form(const std::string& name, Options& options) {
    if (name == "mgcp") {
      options.convert = Form::kMgcp;
    } else if (name == "h248") {
      options.convert = Form::kH248;
    } else {
      why_ = "form " + quote(name) + " is unknown: must be mgcp or h248";
    }
  }

  std::string value(const std::string& word, size_t equals, const std::string& what) {
    if (equals != std::string::npos) {
      return word.substr(equals + 1);
    }
    if (at_ == words_.size()) {
      why_ = "option " + quote(word) + " needs a value: " + what;
      return {};
    }
    return words_[at_++];
  }

  std::vector<std::string> words_;
  size_t at_ = 0;
  std::string why_;
};

// Options that exclude each other, in words; empty if there are none.
std::string find_conflict(const Options& options) {
  if (options.wants_dot && options.graph) {
    return "--dot and --graph cannot be combined";
  }
  const bool wants_drawing = options.wants_dot || options.graph;
  if (options.wants_check && (options.convert || wants_drawing)) {
    return "--check cannot be combined with --convert, --dot or --graph";
  }
  if (options.convert && wants_drawing) {
    return "--convert cannot be combined with --dot or --graph";
  }
  return {};
}

}  // namespace

std::optional<std::string> read_options(std::vector<std::string> words, Options& options) {
  CommandLine command_line(std::move(words));
  if (!command_line.read(options)) {
    return command_line.why();
  }
  const std::string conflict = find_conflict(options);
  return conflict.empty() ? std::nullopt : std::optional(conflict);
}

std::string quote(std::string_view text) {
  constexpr size_t kLongest = 80;
  std::string quoted = "'";
  for (const char c : text.substr(0, kLongest)) {
    quoted += c >= ' ' && c <= '~' ? c : '?';
  }
  return quoted + (text.size() > kLongest ? "...'" : "'");
}

}  // namespace digitmap_tool
