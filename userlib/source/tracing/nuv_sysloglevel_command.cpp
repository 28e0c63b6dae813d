#include <array>
#include <span>
#include <string_view>

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>

#include "core/contract.h"
#include "core/text.h"
#include "nuv_sysloglevel.h"
#include "tracing/nuv_sysloglevel_internal.h"

using nuv::g_modules;
using nuv::g_trace_output;
using nuv::text_or_empty;

namespace {

constexpr char kFamily[] = "nuv_sysloglevel";

constexpr int kHighestMask = 1023;
constexpr char kDefaultPath[] = "/flash/phoned.ini";
constexpr char kWrongWordCount[] = "Error in parameterlist, no change possible";

// Holds the default path that was built last.
constinit char g_save_path[99] = {};

constexpr char kHelp[] =
    "\n----------- Commands to change tracelevel ----------------------\n"
    "   - file      = output of traces in file\n"
    "                 tr file\n"
    "   - console   = output of traces to console\n"
    "                 tr console\n"
    "   - show      = show tracelevel of all moduls\n"
    "                 tr show\n"
    "   - change    = change tracelevel for one modul\n"
    "                 tr change <modulname> <tracelevel>\n"
    "   - changeall = change tracelevel for all moduls\n"
    "                 tr changeall <tracelevel>\n"
    "                 to switch off all traces use: \"tr changeall 0\"\n"
    "   - save      = save changes in initfile\n"
    "                 tr save [/path/to/filename]\n"
    "                 default : /flash/<registered module name>.ini\n"
    "                 e.g.: /flash/phoned.ini\n"
    "   - restore   = restore tracelevel from initfile\n"
    "                 tr restore [/path/to/filename]\n"
    "                 default : /flash/<registered module name>.ini\n"
    "                 e.g.: /flash/phoned.ini\n"
    "   - help      = list of commands\n"
    "                 tr [help]\n"
    "----------------------------------------------------------------\n";

constexpr char kLegend[] =
    "------------ How to set TraceLevel : --------------\n"
    "You have to add for each TraceLevel the specified value\n"
    "|10|09|08|07|06|05|04|03|02|01| --> value for TraceLevel\n"
    " Info       (01)        -->   1\n"
    " Trace      (02)        -->   2\n"
    " Debug      (03)        -->   4\n"
    " Dump       (04)        -->   8\n"
    " Warning    (05)        -->  16\n"
    " Error      (06)        -->  32\n"
    " GUIOutput  (07)        -->  64\n"
    " TraceMF    (08)        --> 128\n"
    " TraceCT    (09)        --> 256\n"
    " TraceDO    (10)        --> 512\n"
    " Example : to switch on traces for \"Warning\" and \"Error\" 16 + 32 use \n"
    " \"tr change VoipPhone 48\"\n"
    "---------------------------------------------------\n";

// The words of the line, the command word included. A null word reads as empty.
class Words {
 public:
  Words(int count, char** words) : words_(words, words != nullptr && count > 0 ? static_cast<size_t>(count) : 0) {}

  size_t count() const { return words_.size(); }
  const char* operator[](size_t i) const { return text_or_empty(words_[i]); }

 private:
  std::span<char*> words_;
};

// atoi(), but numbers that do not fit become the nearest int on every target, which is out of any range.
int to_int(const char* text) {
  const long value = strtol(text, nullptr, 10);
  if (value > INT_MAX) {
    return INT_MAX;
  }
  return value < INT_MIN ? INT_MIN : static_cast<int>(value);
}

bool is_mask(int level) {
  return level >= 0 && level <= kHighestMask;
}

void set_registered_modules(uint32_t mask) {
  for (NUV_SysloglevelModul& module : g_modules) {
    if (module.szModulName[0] != '\0') {
      module.u32TraceLevel = mask;
    }
  }
}

const char* init_file_path(const Words& words) {
  if (words.count() == 3) {
    return words[2];
  }
  if (g_trace_output.ident_pointer == nullptr) {
    return kDefaultPath;
  }
  snprintf(g_save_path, sizeof g_save_path, "/flash/%s.ini", g_trace_output.ident_pointer);
  return g_save_path;
}

void help(const Words& /*words*/) {
  fputs(kHelp, stdout);
}

void file(const Words& /*words*/) {
  NUV_Sysloglevel_set(1);
}

void console(const Words& /*words*/) {
  NUV_Sysloglevel_set(0);
}

void show(const Words& /*words*/) {
  puts("\n---------- registered moduls for traces -----------");
  int handle = 0;
  for (const NUV_SysloglevelModul& module : g_modules) {
    if (module.szModulName[0] != '\0') {
      printf("handle %2d : %-10s  level : %u ", handle, module.szModulName, module.u32TraceLevel);
      NUV_Sysloglevel_printTracelevel(module.u32TraceLevel);
    }
    ++handle;
  }
  fputs(kLegend, stdout);
}

void change(const Words& words) {
  if (words.count() != 4) {
    puts(kWrongWordCount);
    return;
  }
  const char* module = words[2];
  const int level = to_int(words[3]);
  if (!is_mask(level)) {
    printf("The tracelevel of modul %s is not changed, because given level %d is out of range !\n", module, level);
  } else if (NUV_Sysloglevel_changeTracelevel(module, static_cast<uint32_t>(level))) {
    printf("The tracelevel of modul %s is changed to %d \n", module, level);
  } else {
    printf("The tracelevel of modul %s is not changed, because modul is not registered\n", module);
  }
}

void changeall(const Words& words) {
  if (words.count() != 3) {
    puts(kWrongWordCount);
    return;
  }
  const int level = to_int(words[2]);
  if (!is_mask(level)) {
    printf("The tracelevel of all moduls is not changed, because given level %d is out of range !\n", level);
    return;
  }
  set_registered_modules(static_cast<uint32_t>(level));
  puts("Tracelevel is changed for all moduls");
}

void save(const Words& words) {
  const char* path = init_file_path(words);
  if (NUV_Sysloglevel_saveInitFile(path)) {
    printf("Actual tracelevel is saved in file %s\n", path);
  } else {
    printf("File %s is not updated\n", path);
  }
}

// Modules that the file does not name end without any traces, so they are switched off before it is read.
void restore(const Words& words) {
  set_registered_modules(0);
  NUV_Sysloglevel_readInitFile(init_file_path(words));
}

struct Command {
  std::string_view name;
  void (*run)(const Words& words);
};

constexpr std::array<Command, 8> kCommands = {{
    {"help", help},
    {"file", file},
    {"console", console},
    {"show", show},
    {"change", change},
    {"changeall", changeall},
    {"save", save},
    {"restore", restore},
}};

}  // namespace

void NUV_Sysloglevel_handleCmd(void* a_this, int a_argc, char** a_argv) {
  NUV_REQUIRE(((void *)0) != a_this);
  const Words words(a_argc, a_argv);
  if (words.count() < 2) {
    help(words);
    return;
  }
  for (const Command& command : kCommands) {
    if (command.name == words[1]) {
      command.run(words);
    }
  }
}
