#include "nuv_console.h"

#include <algorithm>
#include <span>

#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/contract.h"
#include "core/text.h"
#include "nuv_utility.h"

using nuv::text_or_empty;

namespace {

constexpr char kFamily[] = "nuv_console";

constexpr size_t kLineSize = 256;
constexpr size_t kMaxWords = 127;
constexpr int32_t kUnclosedQuote = -1;

// A store that is missing has no room, whatever was said about its size.
bool has_room(const Console& console) {
  return console.m_pStore != nullptr && console.m_uSize < console.m_uMaxSize;
}

std::span<ConsoleCommand> commands(const Console& console) {
  return {console.m_pStore, console.m_uSize};
}

// The first command with the name, or the end of the table. A null name matches none.
std::span<ConsoleCommand>::iterator find_command(std::span<ConsoleCommand> table, const char* name) {
  // Written out: std::find_if repeats its condition seven times, which is a lot of code for a table that an operator
  // waits for.
  auto command = table.begin();
  while (command != table.end() &&
         (command->m_pName == nullptr || name == nullptr || strcmp(command->m_pName, name) != 0)) {
    ++command;
  }
  return command;
}

// Splits the text in place, puts a null pointer behind the words, and returns their number. Words that do not fit are left
// out.
int32_t split_words(char* text, std::span<char*, kMaxWords + 1> words) {
  size_t count = 0;
  while (count < kMaxWords) {
    text += strspn(text, " ");
    if (*text == '\0') {
      break;
    }
    const bool is_quoted = *text == '"';
    text += is_quoted ? 1 : 0;
    words[count++] = text;
    char* const end = strchr(text, is_quoted ? '"' : ' ');
    if (end == nullptr && is_quoted) {
      return kUnclosedQuote;
    }
    if (end == nullptr) {
      break;
    }
    *end = '\0';
    text = end + 1;
  }
  words[count] = nullptr;
  return static_cast<int32_t>(count);
}

// Flushes, so that an operator at standard output sees the names before the prompt.
void print_help(std::span<const ConsoleCommand> table) {
  printf("help\n");
  for (const ConsoleCommand& command : table) {
    printf("%s\n", text_or_empty(command.m_pName));
  }
  fflush(stdout);
}

void run_command(const Console& console, int32_t count, char** words, int out_fd) {
  const std::span<ConsoleCommand> table = commands(console);
  if (strcmp(words[0], "help") == 0) {
    print_help(table);
    return;
  }
  const auto command = find_command(table, words[0]);
  if (command == table.end()) {
    NUV_Console_output(out_fd, VAStr("command not found\n"));
  } else if (command->m_pFunc != nullptr) {
    command->m_pFunc(command->m_pContext, count, words, out_fd);
  }
}

int32_t handle_line(const Console& console, int in_fd, int out_fd) {
  char line[kLineSize];
  const ssize_t length = read(in_fd, line, sizeof line - 1);
  if (length < 1) {
    return static_cast<int32_t>(length);
  }
  line[length] = '\0';
  line[strcspn(line, "\n")] = '\0';
  char* words[kMaxWords + 1];
  const int32_t count = split_words(line, words);
  if (count == kUnclosedQuote) {
    NUV_Console_output(out_fd, VAStr("syntax error\n"));
  } else if (count > 0) {
    run_command(console, count, words, out_fd);
  }
  return NUV_Console_output(out_fd, VAStr("%s", text_or_empty(console.m_pPrompt)));
}

// If accept() fails, so does close(), and its result is returned.
int32_t handle_connection(const Console& console, int listening_fd) {
  const int connection = accept(listening_fd, nullptr, nullptr);
  if (connection >= 0) {
    handle_line(console, connection, connection);
  }
  return close(connection);
}

}  // namespace

int32_t NUV_Console_construct(Console* a_this, ConsoleCommand* a_store, uint32_t a_size, const char* a_prompt) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(( ((void *)0) == a_store) == ( 0 == a_size));
  NUV_REQUIRE(((void *)0) != a_prompt);
  a_this->m_pStore = a_store;
  a_this->m_uMaxSize = a_size;
  a_this->m_uSize = 0;
  a_this->m_pPrompt = a_prompt;
  NUV_ENSURE_TEXT(a_this->m_uMaxSize == a_size, "NUV_Console_maxSize( a_this) == a_size");
  NUV_ENSURE_TEXT(a_this->m_uSize == 0, "NUV_Console_size( a_this) == 0");
  return 1;
}

void NUV_Console_destruct([[maybe_unused]] Console* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
}

uint32_t NUV_Console_maxSize(const Console* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_uMaxSize;
}

uint32_t NUV_Console_size(const Console* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_uSize;
}

uint32_t NUV_Console_setCommand(Console* a_this, const char* a_name, void* a_context, NUV_ConsoleFunc a_cmdfunc) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_cmdfunc != nullptr, "((void *)0) != a_cmdfunc");
  NUV_REQUIRE_TEXT(a_this->m_uSize < a_this->m_uMaxSize, "NUV_Console_size( a_this) < NUV_Console_maxSize( a_this)");
  const uint32_t oldsize = a_this->m_uSize;
  if (has_room(*a_this)) {
    a_this->m_pStore[oldsize] = {a_name, a_context, a_cmdfunc};
    ++a_this->m_uSize;
  }
  NUV_ENSURE_TEXT(a_this->m_uSize == oldsize + 1, "NUV_Console_size( a_this) == ( oldsize + 1)");
  return a_this->m_uSize;
}

void NUV_Console_removeCommand(Console* a_this, const char* a_name) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  const std::span<ConsoleCommand> table = commands(*a_this);
  const auto command = find_command(table, a_name);
  if (command != table.end()) {
    std::copy(command + 1, table.end(), command);
    --a_this->m_uSize;
  }
}

int32_t NUV_Console_output(int32_t a_fd, const char* a_text) {
  a_text = text_or_empty(a_text);
  return static_cast<int32_t>(write(a_fd, a_text, strlen(a_text)));
}

int32_t NUV_Console_handle(Console* a_this, int32_t a_fd, int32_t a_outfd) {
  NUV_REQUIRE(((void *)0) != a_this);
  if (a_fd == STDIN_FILENO) {
    return handle_line(*a_this, STDIN_FILENO, STDOUT_FILENO);
  }
  struct stat status = {};
  const int result = fstat(a_fd, &status);
  if (result != 0) {
    return result;
  }
  if (S_ISSOCK(status.st_mode)) {
    return handle_connection(*a_this, a_fd);
  }
  if (S_ISFIFO(status.st_mode)) {
    return handle_line(*a_this, a_fd, a_outfd);
  }
  return static_cast<int32_t>(status.st_mode & S_IFMT);
}
