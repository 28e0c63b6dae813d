// The "tr" command, compared with a simple model of the registry. Each line of an input is one command: words separated
// by blanks, without the command word.
#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <map>
#include <optional>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "registry.h"

namespace {

using fuzz::Module;
using fuzz::registered_modules;

constexpr std::array<const char*, 3> kModules = {"Line", "VoipPhone", "x"};

using Words = std::vector<std::string>;

Words words_of(std::string_view line) {
  Words words = {"tr"};
  while (true) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    if (line.empty()) {
      return words;
    }
    const size_t length = std::min(line.find(' '), line.size());
    words.emplace_back(line.substr(0, length));
    line.remove_prefix(length);
  }
}

// Redirects all paths to the files in memory.
void keep_in_flash(Words& words) {
  const bool takes_path = words.size() >= 3 && (words[1] == "save" || words[1] == "restore");
  if (takes_path && !words[2].starts_with("/flash/")) {
    words[2] = "/flash/" + words[2];
  }
}

// ---- the model ----

class Model {
 public:
  std::vector<Module> modules = {{"TraceLevel", 113}};

  Model() {
    for (const char* name : kModules) {
      modules.push_back({name, 113});
    }
  }

  // Returns the output of a command; nothing if its output is checked elsewhere.
  std::optional<std::string> run(const Words& words) {
    if (words.size() < 2 || words[1] == "help" || words[1] == "show") {
      return std::nullopt;
    }
    if (words[1] == "change") {
      return change(words);
    }
    if (words[1] == "changeall") {
      return change_all(words);
    }
    const std::string path = words.size() == 3 ? words[2] : "/flash/fuzz.ini";
    if (words[1] == "save") {
      files_[path] = modules;
      return "Actual tracelevel is saved in file " + path + "\n";
    }
    if (words[1] == "restore") {
      return restore(path);
    }
    return "";
  }

 private:
  static constexpr char kWrongCount[] = "Error in parameterlist, no change possible\n";

  static int level_of(const std::string& word) {
    return static_cast<int>(std::clamp(std::strtoll(word.c_str(), nullptr, 10), static_cast<long long>(INT_MIN),
                                       static_cast<long long>(INT_MAX)));
  }

  std::string change(const Words& words) {
    if (words.size() != 4) {
      return kWrongCount;
    }
    const std::string module = "The tracelevel of modul " + words[2];
    const int level = level_of(words[3]);
    if (level < 0 || level > 1023) {
      return module + " is not changed, because given level " + std::to_string(level) + " is out of range !\n";
    }
    const auto found = std::find_if(modules.begin(), modules.end(),
                                    [&words](const Module& candidate) { return candidate.name == words[2]; });
    if (found == modules.end()) {
      return module + " is not changed, because modul is not registered\n";
    }
    found->mask = static_cast<uint32_t>(level);
    return module + " is changed to " + std::to_string(level) + " \n";
  }

  std::string change_all(const Words& words) {
    if (words.size() != 3) {
      return kWrongCount;
    }
    const int level = level_of(words[2]);
    if (level < 0 || level > 1023) {
      return "The tracelevel of all moduls is not changed, because given level " + std::to_string(level) +
             " is out of range !\n";
    }
    for (Module& module : modules) {
      module.mask = static_cast<uint32_t>(level);
    }
    return "Tracelevel is changed for all moduls\n";
  }

  std::string restore(const std::string& path) {
    for (Module& module : modules) {
      module.mask = 0;
    }
    const auto file = files_.find(path);
    if (file == files_.end()) {
      return "The given Init-File (" + path + ") of TraceLevel could not open.\n";
    }
    modules = file->second;
    return "";
  }

  std::map<std::string, std::vector<Module>> files_;
};

// ---- the comparison ----

void check_shown(const std::string& printed, const std::vector<Module>& modules) {
  for (size_t i = 0; i < modules.size(); ++i) {
    std::array<char, 80> line;
    std::snprintf(line.data(), line.size(), "\nhandle %2zu : %-10s  level : %u ", i, modules[i].name.c_str(),
                  modules[i].mask);
    FUZZ_CHECK(printed.find(line.data()) != std::string::npos);
  }
  FUZZ_CHECK(printed.ends_with("---------------------------------------------------\n"));
}

void check_command(Words words, Model& model, fuzz::Stdout& out) {
  keep_in_flash(words);
  const auto expected = model.run(words);
  std::vector<char*> pointers;
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  NUV_Sysloglevel_handleCmd(&model, static_cast<int>(pointers.size()), pointers.data());
  const std::string printed = out.take();
  if (expected) {
    FUZZ_CHECK(printed == *expected);
  } else if (words.size() >= 2 && words[1] == "show") {
    check_shown(printed, model.modules);
  } else {
    FUZZ_CHECK(printed.find("tr restore [/path/to/filename]\n") != std::string::npos);
  }
  FUZZ_CHECK(registered_modules() == model.modules);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  fuzz::Stdout out;
  NUV_Sysloglevel_construct2("", "fuzz");
  Model model;
  for (const char* name : kModules) {
    NUV_Sysloglevel_registerModul(name);
  }
  while (!input.empty()) {
    check_command(words_of(fuzz::c_text(input.line())), model, out);
  }
  NUV_Sysloglevel_set(1);
  fuzz::flash().clear();
  return 0;
}
