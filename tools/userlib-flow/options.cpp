#include "options.h"

#include <algorithm>
#include <charconv>
#include <variant>

#include "display.h"
#include "mask.h"

namespace flow_tool {

namespace {

using Problem = std::optional<std::string>;

constexpr size_t kLeastWidth = 40;
constexpr size_t kMostWidth = 1000;
constexpr size_t kMostLimit = 1'000'000;
constexpr size_t kMostContext = 10'000;
constexpr uint32_t kGreatestLine = 65'535;
constexpr Time kLongestGap = 1'000'000 * kSecond;

// A message that names the bad value, and what would be right.
std::string wrong(std::string_view name, std::string_view value, std::string_view right) {
  return "option " + std::string(name) + ": " + quote(value) + " must be " + std::string(right);
}

std::optional<size_t> read_number(std::string_view text, size_t least, size_t most) {
  size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool is_good = error == std::errc() && end == text.data() + text.size() && number >= least && number <= most;
  return is_good ? std::optional(number) : std::nullopt;
}

Problem take_number(std::string_view name, std::string_view value, size_t least, size_t most, size_t& number) {
  const auto read = read_number(value, least, most);
  if (!read) {
    return wrong(name, value, "a number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  number = *read;
  return {};
}

// "1.5" seconds.
Problem take_gap(std::string_view name, std::string_view value, Options& options) {
  const size_t dot = std::min(value.find('.'), value.size());
  const auto whole = read_number(value.substr(0, dot), 0, kLongestGap / kSecond);
  std::string fraction(value.substr(std::min(dot + 1, value.size())));
  const bool is_fine = dot == value.size() || (!fraction.empty() && fraction.size() <= 6);
  fraction.resize(6, '0');
  const auto rest = read_number(fraction, 0, kSecond - 1);
  if (!whole || !rest || !is_fine) {
    return wrong(name, value, "seconds, such as 0.5; 0 for no gaps");
  }
  options.gap = static_cast<Time>(*whole) * kSecond + static_cast<Time>(*rest);
  return {};
}

Problem take_types(std::string_view name, std::string_view value, Options& options) {
  const auto mask = read_mask_names(value);
  if (const auto* error = std::get_if<MaskError>(&mask)) {
    return "option " + std::string(name) + ": " + error->why;
  }
  options.choice.types = std::get<uint32_t>(mask);
  options.has_type = true;
  return {};
}

Problem take_line(std::string_view name, std::string_view value, Options& options) {
  const auto line = read_number(value, 0, kGreatestLine);
  if (!line) {
    return wrong(name, value, "the number of a subscriber's line, 0 to " + std::to_string(kGreatestLine));
  }
  options.choice.line = static_cast<uint32_t>(*line);
  return {};
}

Problem take_call(std::string_view name, std::string_view value, Options& options) {
  const size_t colon = value.find(':');
  const auto line = read_number(value.substr(0, colon), 0, kGreatestLine);
  const auto number =
      colon == std::string_view::npos ? std::optional<size_t>(1) : read_number(value.substr(colon + 1), 1, UINT32_MAX);
  if (!line || !number) {
    return wrong(name, value, "the number of a subscriber's line, such as 3, or 3:2 for its second call");
  }
  options.choice.call = Call{static_cast<uint32_t>(*line), static_cast<uint32_t>(*number)};
  return {};
}

Problem take_moment(std::string_view name, std::string_view value, time_t now, std::optional<Moment>& moment) {
  moment = Moment::read(value, now);
  if (!moment) {
    return wrong(name, value, "a time, such as 09:04:07.042, '2026-03-05 09:04' or 'Mar  5 09:04:07'");
  }
  return {};
}

template <typename Value>
struct Word {
  std::string_view name;
  Value value;
};

template <typename Value, size_t kSize>
Problem take_word(std::string_view name, std::string_view value, const Word<Value> (&words)[kSize], Value& chosen) {
  std::string right = "one of";
  for (const auto& word : words) {
    if (word.name == value) {
      chosen = word.value;
      return {};
    }
    right += " " + std::string(word.name);
  }
  return wrong(name, value, right);
}

void take_modules(std::string_view value, Options& options) {
  for (size_t begin = 0; begin <= value.size();) {
    const size_t end = std::min(value.find(',', begin), value.size());
    options.choice.modules.emplace_back(value.substr(begin, end - begin));
    begin = end + 1;
  }
}

// Reads one command line, up to the first mistake.
class CommandLine {
 public:
  CommandLine(const std::vector<std::string>& words, time_t now, Options& options)
      : words_(words), now_(now), options_(options) {}

  Problem read() {
    while (at_ < words_.size()) {
      const std::string& word = words_[at_++];
      if (word == "--") {
        break;
      }
      if (word.size() < 2 || word[0] != '-') {
        plain(word);
      } else if (Problem problem = take(word)) {
        return problem;
      }
    }
    for (; at_ < words_.size(); ++at_) {
      plain(words_[at_]);
    }
    return check();
  }

 private:
  void plain(const std::string& word) {
    if (options_.inputs.empty() && !options_.is_mask && word == "mask") {
      options_.is_mask = true;
    } else {
      (options_.is_mask ? options_.masks : options_.inputs).push_back(word);
    }
  }

  Problem take(const std::string& word) {
    const size_t equals = word.starts_with("--") ? word.find('=') : std::string::npos;
    const std::string name = word.substr(0, equals);
    if (takes_no_value(name)) {
      return equals == std::string::npos ? std::nullopt : Problem("option " + quote(word) + " takes no value");
    }
    if (!wants_value(name)) {
      return "option " + quote(word) + " is unknown";
    }
    if (equals == std::string::npos && at_ == words_.size()) {
      return "option " + name + " needs a value";
    }
    return take_value(name, equals != std::string::npos ? word.substr(equals + 1) : words_[at_++]);
  }

  // Handles the options without a value. Returns whether this is one.
  bool takes_no_value(const std::string& name) {
    if (name == "--svg" || name == "--mermaid" || name == "--stats") {
      ++outputs_;
      options_.output = name == "--svg" ? Output::kSvg : name == "--stats" ? Output::kStatistics : Output::kMermaid;
    } else if (name == "--follow" || name == "-f") {
      options_.follows = true;
    } else if (name == "--ascii") {
      options_.is_ascii = true;
    } else if (name == "--no-times") {
      options_.has_times = false;
    } else if (name == "--help" || name == "-h") {
      options_.wants_help = true;
    } else if (name == "--version") {
      options_.wants_version = true;
    } else {
      return false;
    }
    return true;
  }

  static bool wants_value(std::string_view name) {
    for (const std::string_view known :
         {"--output", "-o", "--width", "--colour", "--lanes", "--gap", "--limit", "--module", "-m", "--type", "-t",
          "--line", "-l", "--call", "-c", "--since", "--until", "--around", "--context"}) {
      if (name == known) {
        return true;
      }
    }
    return false;
  }

  Problem take_value(const std::string& name, const std::string& value) {
    if (name == "--output" || name == "-o") {
      options_.file = value;
      return {};
    }
    if (name == "--width") {
      return take_number(name, value, kLeastWidth, kMostWidth, options_.width.emplace());
    }
    if (name == "--limit") {
      return take_number(name, value, 1, kMostLimit, options_.limit);
    }
    if (name == "--colour") {
      return take_word(name, value,
                       {{"auto", Colours::kAuto}, {"always", Colours::kAlways}, {"never", Colours::kNever}},
                       options_.colours);
    }
    if (name == "--lanes") {
      return take_word(name, value, {{"name", LaneBy::kName}, {"number", LaneBy::kNumber}}, options_.lanes);
    }
    return name == "--gap" ? take_gap(name, value, options_) : take_choice(name, value);
  }

  Problem take_choice(const std::string& name, const std::string& value) {
    if (name == "--module" || name == "-m") {
      take_modules(value, options_);
      return {};
    }
    if (name == "--type" || name == "-t") {
      return take_types(name, value, options_);
    }
    if (name == "--line" || name == "-l") {
      return take_line(name, value, options_);
    }
    if (name == "--call" || name == "-c") {
      return take_call(name, value, options_);
    }
    if (name == "--since" || name == "--until") {
      return take_moment(name, value, now_, name == "--since" ? options_.choice.since : options_.choice.until);
    }
    if (name == "--around") {
      options_.choice.around = value;
      return {};
    }
    return take_number(name, value, 0, kMostContext, options_.choice.context);
  }

  Problem check() const {
    if (outputs_ > 1) {
      return "--svg, --mermaid and --stats cannot be combined";
    }
    if (options_.follows && options_.output != Output::kText) {
      return "--follow prints a text chart: it cannot be combined with --svg, --mermaid or --stats";
    }
    if (options_.follows && options_.inputs.size() > 1 &&
        std::find(options_.inputs.begin(), options_.inputs.end(), "-") != options_.inputs.end()) {
      return "--follow reads either the standard input or files";
    }
    if (options_.follows && options_.file) {
      return "--follow prints to the standard output: it cannot be combined with --output";
    }
    return {};
  }

  const std::vector<std::string>& words_;
  time_t now_;
  Options& options_;
  size_t at_ = 0;
  int outputs_ = 0;
};

}  // namespace

std::optional<std::string> read_options(const std::vector<std::string>& words, time_t now, Options& options) {
  if (Problem problem = CommandLine(words, now, options).read()) {
    return problem;
  }
  if (options.is_mask) {
    if (options.choice.modules.size() > 1) {
      return "option --module: mask takes only one module";
    }
    options.mask_module = options.choice.modules.empty() ? "" : options.choice.modules.front();
    if (options.masks.empty() && !options.wants_help && !options.wants_version) {
      return "mask needs names, such as info,error,tracemf, or a number from 0 to 1023";
    }
  }
  if (options.inputs.empty()) {
    options.inputs.emplace_back("-");
  }
  return std::nullopt;
}

}  // namespace flow_tool
