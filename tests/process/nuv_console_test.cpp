#include "nuv_console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "doubles/captured_stdout.h"
#include "doubles/child_process.h"
#include "doubles/contract_recorder.h"
#include "doubles/descriptors.h"
#include "doubles/fault_injector.h"
#include "doubles/fault_loop.h"

namespace {

using support::CapturedStdout;
using support::ChildProcess;
using support::ContractRecorder;
using support::each_fault;
using support::Fault;
using support::FaultInjector;
using support::TestPipe;

constexpr char kPrompt[] = "> ";
constexpr int32_t kPromptLength = 2;

using Words = std::vector<std::string>;

// The arguments of a command.
struct Call {
  void* context;
  Words words;
  int fd;
};

std::vector<Call> g_calls;

int32_t note_call(void* context, int32_t count, char** words, int32_t fd) {
  g_calls.push_back({context, Words(words, words + count), fd});
  EXPECT_EQ(words[count], nullptr);
  return -77;  // ignored
}

int32_t answer(void* context, int32_t /*count*/, char** /*words*/, int32_t fd) {
  return NUV_Console_output(fd, static_cast<const char*>(context));
}

// Reads everything that has arrived at a socket.
std::string drain(int fd) {
  std::string text;
  std::array<char, 4096> piece;
  for (ssize_t length; (length = recv(fd, piece.data(), piece.size(), MSG_DONTWAIT)) > 0;) {
    text.append(piece.data(), static_cast<size_t>(length));
  }
  return text;
}

// A console between two pipes.
class ConsoleTest : public ::testing::Test {
 protected:
  ConsoleTest() {
    g_calls.clear();
    EXPECT_EQ(NUV_Console_construct(&console_, store_.data(), kRoom, kPrompt), 1);
  }

  ~ConsoleTest() override { NUV_Console_destruct(&console_); }

  void add(const char* name, void* context = nullptr, NUV_ConsoleFunc function = note_call) {
    const uint32_t size = NUV_Console_size(&console_);
    EXPECT_EQ(NUV_Console_setCommand(&console_, name, context, function), size + 1);
  }

  int32_t handle() { return NUV_Console_handle(&console_, in_.read_end(), out_.write_end()); }
  int32_t handle(const std::string& text) {
    in_.put(text);
    return handle();
  }

  std::string answers() { return out_.take(); }

  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (uint32_t i = 0; i < console_.m_uSize; ++i) {
      names.push_back(store_[i].m_pName);
    }
    return names;
  }

  static constexpr uint32_t kRoom = 4;

  ContractRecorder contracts_;
  std::array<ConsoleCommand, kRoom + 1> store_ = {};  // the last one is behind the console's store
  Console console_ = {};
  TestPipe in_;
  TestPipe out_;
};

TEST_F(ConsoleTest, StartsWithoutCommands) {
  ConsoleCommand store[3] = {{"left", nullptr, note_call}, {}, {}};
  Console console;
  memset(&console, 0x55, sizeof console);
  EXPECT_EQ(NUV_Console_construct(&console, store, 3, kPrompt), 1);
  EXPECT_EQ(NUV_Console_maxSize(&console), 3U);
  EXPECT_EQ(NUV_Console_size(&console), 0U);
  EXPECT_EQ(console.m_pStore, store);
  EXPECT_EQ(console.m_uMaxSize, 3U);
  EXPECT_EQ(console.m_uSize, 0U);
  EXPECT_EQ(console.m_pPrompt, kPrompt);
  NUV_Console_destruct(&console);
  EXPECT_STREQ(store[0].m_pName, "left") << "destruct does not touch the caller's store";
}

TEST_F(ConsoleTest, MayHaveNoStore) {
  Console console;
  EXPECT_EQ(NUV_Console_construct(&console, nullptr, 0, kPrompt), 1);
  EXPECT_EQ(NUV_Console_maxSize(&console), 0U);
  in_.put("anything\n");
  EXPECT_EQ(NUV_Console_handle(&console, in_.read_end(), out_.write_end()), kPromptLength);
  EXPECT_EQ(answers(), "command not found\n> ");
  NUV_Console_removeCommand(&console, "anything");
  EXPECT_EQ(NUV_Console_size(&console), 0U);
}

TEST_F(ConsoleTest, SplitsALineIntoWords) {
  const struct {
    const char* name;
    std::string line;
    Words words;
  } kCases[] = {
      {"one word", "set\n", {"set"}},
      {"no newline", "set", {"set"}},
      {"two words", "set a\n", {"set", "a"}},
      {"many blanks", "   set   a   \n", {"set", "a"}},
      {"quotes keep blanks", "set \"a b\" c\n", {"set", "a b", "c"}},
      {"quotes keep blanks at the ends", "set \"  a  \"\n", {"set", "  a  "}},
      {"nothing between quotes", "set \"\" c\n", {"set", "", "c"}},
      {"a closing quote ends the word", "set \"a\"b\n", {"set", "a", "b"}},
      {"quoted words without a blank between them", "set \"a\"\"b\"\n", {"set", "a", "b"}},
      {"a quote inside a word", "set a\"b c\"d\n", {"set", "a\"b", "c\"d"}},
      {"a quote at the end of a word", "set a\"\n", {"set", "a\""}},
      {"a quoted command", "\"set\" a\n", {"set", "a"}},
      {"a tab is no blank", "set\ta b\n", {"set\ta", "b"}},
      {"a carriage return stays", "set a\r\n", {"set", "a\r"}},
      {"a backslash is nothing special", "set \"a\\\" b\n", {"set", "a\\", "b"}},
      {"what follows the newline is lost", "set a\nset b\n", {"set", "a"}},
      {"an open quote behind the newline", "set a\n\"\n", {"set", "a"}},
      {"a zero byte ends the line", std::string("set a\0b c\n", 10), {"set", "a"}},
      {"bytes beyond ASCII", "set \xC3\xBC\xFF\n", {"set", "\xC3\xBC\xFF"}},
      {"percent signs", "set %s%n\n", {"set", "%s%n"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    console_.m_uSize = 0;
    add("set");
    add("set\ta");
    EXPECT_EQ(handle(row.line), kPromptLength);
    ASSERT_EQ(g_calls.size(), 1U);
    EXPECT_EQ(g_calls[0].words, row.words);
    EXPECT_EQ(answers(), "> ");
    g_calls.clear();
  }
}

TEST_F(ConsoleTest, AnswersALineThatCallsNothing) {
  const struct {
    const char* name;
    std::string line;
    const char* answer;
  } kCases[] = {
      {"an empty line", "\n", "> "},
      {"blanks", "    \n", "> "},
      {"a zero byte", std::string("\0set\n", 5), "> "},
      {"an unknown command", "get\n", "command not found\n> "},
      {"the front of a command", "se\n", "command not found\n> "},
      {"a command and more", "sets\n", "command not found\n> "},
      {"other letters", "Set\n", "command not found\n> "},
      {"a carriage return behind the command", "set\r\n", "command not found\n> "},
      {"an empty word", "\"\"\n", "command not found\n> "},
      {"percent signs", "%s%n\n", "command not found\n> "},
      {"an open quote", "set \"a b\n", "syntax error\n> "},
      {"an open quote at the end", "set a \"\n", "syntax error\n> "},
      {"an open quote in front", "\"set a\n", "syntax error\n> "},
      {"an open quote behind a closed one", "set \"a\"\"b\n", "syntax error\n> "},
      {"an open quote in a line for help", "help \"\n", "syntax error\n> "},
  };
  add("set");
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(handle(row.line), kPromptLength);
    EXPECT_EQ(answers(), row.answer);
    EXPECT_TRUE(g_calls.empty());
  }
}

TEST_F(ConsoleTest, CallsTheCommandWithItsContextAndTheDescriptor) {
  int context = 0;
  add("other");
  add("show", &context);
  EXPECT_EQ(handle("show all\n"), kPromptLength) << "the command's result is ignored";
  ASSERT_EQ(g_calls.size(), 1U);
  EXPECT_EQ(g_calls[0].context, &context);
  EXPECT_EQ(g_calls[0].words, (Words{"show", "all"}));
  EXPECT_EQ(g_calls[0].fd, out_.write_end());
}

TEST_F(ConsoleTest, WritesThePromptAfterTheAnswer) {
  char text[] = "the answer\n";
  add("ask", text, answer);
  EXPECT_EQ(handle("ask\n"), kPromptLength);
  EXPECT_EQ(answers(), "the answer\n> ");
}

TEST_F(ConsoleTest, CallsTheFirstOfEqualNames) {
  int first = 0;
  int second = 0;
  add("show", &first);
  add("show", &second);
  handle("show\n");
  ASSERT_EQ(g_calls.size(), 1U);
  EXPECT_EQ(g_calls[0].context, &first);
  NUV_Console_removeCommand(&console_, "show");
  EXPECT_EQ(NUV_Console_size(&console_), 1U) << "removes only one of them";
  handle("show\n");
  ASSERT_EQ(g_calls.size(), 2U);
  EXPECT_EQ(g_calls[1].context, &second);
}

TEST_F(ConsoleTest, RemovesACommandAndKeepsTheOrderOfTheOthers) {
  const struct {
    const char* name;
    const char* removed;
    std::vector<std::string> left;
  } kCases[] = {
      {"the first", "one", {"two", "three", "four"}},
      {"one in the middle", "two", {"one", "three", "four"}},
      {"another one in the middle", "three", {"one", "two", "four"}},
      {"the last", "four", {"one", "two", "three"}},
      {"an unknown one", "five", {"one", "two", "three", "four"}},
      {"other letters", "One", {"one", "two", "three", "four"}},
      {"the front of a name", "on", {"one", "two", "three", "four"}},
      {"a name and more", "ones", {"one", "two", "three", "four"}},
      {"an empty name", "", {"one", "two", "three", "four"}},
      {"no name", nullptr, {"one", "two", "three", "four"}},
      {"the one that is always there", "help", {"one", "two", "three", "four"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    console_.m_uSize = 0;
    int contexts[4] = {};
    add("one", &contexts[0]);
    add("two", &contexts[1]);
    add("three", &contexts[2]);
    add("four", &contexts[3]);
    store_[kRoom].m_pName = "guard";
    NUV_Console_removeCommand(&console_, row.removed);
    EXPECT_EQ(NUV_Console_size(&console_), row.left.size());
    EXPECT_EQ(names(), row.left);
    EXPECT_STREQ(store_[kRoom].m_pName, "guard");
  }
}

TEST_F(ConsoleTest, MovesContextsAndFunctionsTogetherWithTheirNames) {
  int context = 0;
  char text[] = "moved\n";
  add("one");
  add("two", &context);
  add("three", text, answer);
  NUV_Console_removeCommand(&console_, "one");
  handle("two\n");
  ASSERT_EQ(g_calls.size(), 1U);
  EXPECT_EQ(g_calls[0].context, &context);
  handle("three\n");
  EXPECT_EQ(answers(), "> moved\n> ");
  handle("one\n");
  EXPECT_EQ(answers(), "command not found\n> ");
}

TEST_F(ConsoleTest, CommandMayRemoveItselfAndAddOthers) {
  add("once", &console_, [](void* console, int32_t, char**, int32_t) -> int32_t {
    NUV_Console_removeCommand(static_cast<Console*>(console), "once");
    NUV_Console_setCommand(static_cast<Console*>(console), "more", nullptr, note_call);
    return 0;
  });
  add("last");
  EXPECT_EQ(handle("once\n"), kPromptLength);
  EXPECT_EQ(names(), (std::vector<std::string>{"last", "more"}));
  EXPECT_EQ(handle("more\n"), kPromptLength);
  EXPECT_EQ(g_calls.size(), 1U);
}

TEST_F(ConsoleTest, PrintsHelpOnStandardOutput) {
  const struct {
    const char* name;
    std::vector<const char*> commands;
    const char* line;
    const char* printed;
  } kCases[] = {
      {"an empty table", {}, "help\n", "help\n"},
      {"commands in their order", {"set", "get", "all"}, "help\n", "help\nset\nget\nall\n"},
      {"more words", {"set"}, "help set now\n", "help\nset\n"},
      {"quoted", {"set"}, "\"help\"\n", "help\nset\n"},
      {"a command of that name is never called", {"help", "set"}, "help\n", "help\nhelp\nset\n"},
      {"equal names", {"set", "set"}, "help\n", "help\nset\nset\n"},
      {"percent signs", {"%s%n"}, "help\n", "help\n%s%n\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    console_.m_uSize = 0;
    for (const char* command : row.commands) {
      add(command);
    }
    CapturedStdout captured;
    EXPECT_EQ(handle(row.line), kPromptLength);
    EXPECT_EQ(captured.take(), row.printed);
    EXPECT_EQ(answers(), "> ");
    EXPECT_TRUE(g_calls.empty());
  }
}

TEST_F(ConsoleTest, HelpMustBeTheWholeWord) {
  CapturedStdout captured;
  handle("helper\n");
  handle("hel\n");
  EXPECT_EQ(captured.take(), "");
  EXPECT_EQ(answers(), "command not found\n> command not found\n> ");
}

// One read takes at most 255 bytes, which form a line; the rest is the next line.
TEST_F(ConsoleTest, ReadsAtMost255Bytes) {
  for (const size_t length : {254U, 255U, 256U, 300U}) {
    SCOPED_TRACE(length);
    console_.m_uSize = 0;
    g_calls.clear();
    add("w");
    const std::string word(length - 2, 'x');
    EXPECT_EQ(handle("w " + word), kPromptLength);
    ASSERT_EQ(g_calls.size(), 1U);
    EXPECT_EQ(g_calls[0].words, (Words{"w", word.substr(0, 253)}));
    EXPECT_EQ(answers(), "> ");
    const std::string rest = length > 255 ? "command not found\n> " : "";
    EXPECT_EQ(handle(), length > 255 ? kPromptLength : -1);
    EXPECT_EQ(answers(), rest);
  }
}

TEST_F(ConsoleTest, LineInTwoReadsIsTwoLines) {
  add("set");
  handle("set a");
  handle(" b\n");
  ASSERT_EQ(g_calls.size(), 1U);
  EXPECT_EQ(g_calls[0].words, (Words{"set", "a"}));
  EXPECT_EQ(answers(), "> command not found\n> ");
}

TEST_F(ConsoleTest, LineHasAtMost127Words) {
  for (const size_t count : {126U, 127U, 128U}) {
    SCOPED_TRACE(count);
    g_calls.clear();
    console_.m_uSize = 0;
    add("a");
    std::string line;
    for (size_t i = 0; i < count; ++i) {
      line += "a ";
    }
    line.pop_back();
    EXPECT_EQ(handle(line), kPromptLength);
    ASSERT_EQ(g_calls.size(), 1U);
    EXPECT_EQ(g_calls[0].words, Words(std::min<size_t>(count, 127), "a"));
    EXPECT_EQ(answers(), "> ");
  }
}

TEST_F(ConsoleTest, IgnoresTheRestAfterTheLastWord) {
  add("a");
  std::string line;
  for (int i = 0; i < 127; ++i) {
    line += "a ";
  }
  EXPECT_EQ(handle(line + '"'), kPromptLength);
  ASSERT_EQ(g_calls.size(), 1U);
  EXPECT_EQ(g_calls[0].words, Words(127, "a"));
  EXPECT_EQ(answers(), "> ");
}

TEST_F(ConsoleTest, ReturnsTheResultOfAFailedReadAndWritesNothing) {
  add("set");
  EXPECT_EQ(handle(), -1) << "nothing to read";
  EXPECT_EQ(errno, EAGAIN);
  in_.put("set\n");
  for (const int error : {EIO, EINTR}) {
    const FaultInjector failure("read", 1, error);
    EXPECT_EQ(handle(), -1);
    EXPECT_EQ(errno, error);
    EXPECT_EQ(failure.calls(), 1) << "not repeated";
  }
  EXPECT_EQ(handle(), kPromptLength);
  EXPECT_EQ(answers(), "> ");
  in_.close_write_end();
  EXPECT_EQ(handle(), 0) << "end of the input";
  EXPECT_EQ(answers(), "");
}

// A failed write is not repeated, not even after EINTR. The result is that of the last write, which prints the prompt.
TEST_F(ConsoleTest, ReturnsTheResultOfTheLastWrite) {
  const struct {
    const char* line;
    const char* message;
  } kCases[] = {{"unknown\n", "command not found\n"}, {"\"\n", "syntax error\n"}, {"\n", ""}};
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.line);
    const std::string message = row.message;
    const int last = message.empty() ? 1 : 2;
    const int writes = each_fault("write", {EINTR, EAGAIN, EIO}, [&](Fault& fault) {
      in_.put(row.line);
      const int32_t result = fault.during([this] { return handle(); });
      const int error = errno;
      const bool is_last = fault.nth() == last;
      EXPECT_EQ(result, is_last ? -1 : kPromptLength);
      if (is_last) {
        EXPECT_EQ(error, fault.error());
      }
      EXPECT_EQ(answers(), fault.nth() > last ? message + "> " : is_last ? message : "> ");
      EXPECT_EQ(handle("\n"), kPromptLength);
      EXPECT_EQ(answers(), "> ");
    });
    EXPECT_EQ(writes, last);
  }
}

TEST_F(ConsoleTest, DescriptorOfUnknownKindIsNotRead) {
  const int looks = each_fault("fstat", {EIO, EBADF, EINTR}, [this](Fault& fault) {
    in_.put("\n");
    const int32_t result = fault.during([this] { return handle(); });
    EXPECT_EQ(result, fault.has_struck() ? -1 : kPromptLength);
    EXPECT_EQ(answers(), fault.has_struck() ? "" : "> ");
    if (fault.has_struck()) {
      EXPECT_EQ(handle(), kPromptLength) << "the line is still unread";
      EXPECT_EQ(answers(), "> ");
    }
  });
  EXPECT_EQ(looks, 1);
}

TEST_F(ConsoleTest, PrintsThePromptUnchangedUpToTheSizeOfVAStr) {
  const struct {
    const char* name;
    std::string prompt;
    std::string written;
  } kCases[] = {
      {"an empty prompt", "", ""},
      {"percent signs", "%s%n%d> ", "%s%n%d> "},
      {"as much as fits", std::string(510, 'p'), std::string(510, 'p')},
      {"more than fits", std::string(511, 'p'), std::string(510, 'p')},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    console_.m_pPrompt = row.prompt.c_str();
    EXPECT_EQ(handle("\n"), static_cast<int32_t>(row.written.size()));
    EXPECT_EQ(answers(), row.written);
  }
}

TEST_F(ConsoleTest, WritesATextInOneCall) {
  const FaultInjector counter("write", 0, EIO);
  EXPECT_EQ(NUV_Console_output(out_.write_end(), "some text\n"), 10);
  EXPECT_EQ(NUV_Console_output(out_.write_end(), ""), 0);
  EXPECT_EQ(NUV_Console_output(out_.write_end(), nullptr), 0);
  EXPECT_EQ(NUV_Console_output(out_.write_end(), "%s%n"), 4);
  EXPECT_EQ(counter.calls(), 4);
  EXPECT_EQ(answers(), "some text\n%s%n");
}

TEST_F(ConsoleTest, GivesUpAfterAShortOrFailedWrite) {
  ASSERT_EQ(fcntl(in_.write_end(), F_SETPIPE_SZ, 4096), 4096);
  ASSERT_EQ(fcntl(in_.write_end(), F_SETFL, O_NONBLOCK), 0);
  const FaultInjector counter("write", 0, EIO);
  EXPECT_EQ(NUV_Console_output(in_.write_end(), std::string(5000, 'x').c_str()), 4096);
  EXPECT_EQ(NUV_Console_output(in_.write_end(), "no room\n"), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(NUV_Console_output(-1, "nowhere\n"), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(counter.calls(), 3);
}

// ---- kinds of descriptors ----

TEST_F(ConsoleTest, DescriptorZeroIsAnsweredOnDescriptorOne) {
  char text[] = "the answer\n";
  add("ask", text, answer);
  for (const char* line : {"ask\n", "help\n", "unknown\n", "\"\n"}) {
    SCOPED_TRACE(line);
    in_.put(line);
    int32_t result = 0;
    const ChildProcess child([&] {
      dup2(in_.read_end(), STDIN_FILENO);
      result = NUV_Console_handle(&console_, 0, out_.write_end());
      dprintf(STDERR_FILENO, "%d", result);
    });
    const std::string expected = line == std::string("ask\n")       ? "the answer\n> "
                                 : line == std::string("help\n")    ? "help\nask\n> "
                                 : line == std::string("unknown\n") ? "command not found\n> "
                                                                    : "syntax error\n> ";
    EXPECT_EQ(child.out(), expected);
    EXPECT_EQ(child.err(), "2");
    EXPECT_EQ(answers(), "") << "nothing goes to the output descriptor";
  }
}

// Even a file, which any other descriptor may not be.
TEST_F(ConsoleTest, DescriptorZeroMayBeAnything) {
  add("set");
  const ChildProcess child([&] {
    std::FILE* file = std::tmpfile();
    std::fputs("set from a file\n", file);
    std::rewind(file);
    dup2(fileno(file), STDIN_FILENO);
    const int32_t first = NUV_Console_handle(&console_, 0, -1);
    const int32_t at_the_end = NUV_Console_handle(&console_, 0, -1);
    close(STDIN_FILENO);
    const int32_t closed = NUV_Console_handle(&console_, 0, -1);
    dprintf(STDERR_FILENO, "%zu %d %d %d", g_calls.size(), first, at_the_end, closed);
  });
  EXPECT_EQ(child.out(), "> ");
  EXPECT_EQ(child.err(), "1 2 0 -1");
}

TEST_F(ConsoleTest, ReadsNothingFromOtherKindsOfDescriptors) {
  std::FILE* file = std::tmpfile();
  std::fputs("set\n", file);
  std::rewind(file);
  const int directory = open("/", O_RDONLY);
  const int device = open("/dev/zero", O_RDWR);
  const struct {
    const char* name;
    int fd;
    int32_t result;
  } kCases[] = {
      {"a regular file", fileno(file), 0x8000},
      {"a directory", directory, 0x4000},
      {"a character device", device, 0x2000},
  };
  add("set");
  {
    const FaultInjector counter("read", 0, EIO);
    for (const auto& row : kCases) {
      SCOPED_TRACE(row.name);
      EXPECT_EQ(NUV_Console_handle(&console_, row.fd, out_.write_end()), row.result);
    }
    EXPECT_EQ(counter.calls(), 0);
  }
  EXPECT_EQ(answers(), "");
  close(directory);
  close(device);
  std::fclose(file);
}

TEST_F(ConsoleTest, ClosedDescriptorReturnsMinusOne) {
  const int closed = dup(in_.read_end());
  close(closed);
  for (const int fd : {-1, closed, INT32_MAX}) {
    EXPECT_EQ(NUV_Console_handle(&console_, fd, out_.write_end()), -1) << fd;
    EXPECT_EQ(errno, EBADF);
  }
}

// A listening socket with a name that the kernel chooses, so that no file is left behind.
class ConsoleSocketTest : public ConsoleTest {
 protected:
  ConsoleSocketTest() : listening_(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
    address_.sun_family = AF_UNIX;
    EXPECT_EQ(bind(listening_, reinterpret_cast<const sockaddr*>(&address_), sizeof address_.sun_family), 0);
    EXPECT_EQ(listen(listening_, 4), 0);
    length_ = sizeof address_;
    EXPECT_EQ(getsockname(listening_, reinterpret_cast<sockaddr*>(&address_), &length_), 0);
    char text[] = "the answer\n";
    memcpy(text_, text, sizeof text);
    add("ask", text_, answer);
    descriptors_ = support::open_descriptors();
  }

  ~ConsoleSocketTest() override {
    EXPECT_EQ(support::open_descriptors(), descriptors_);
    close(listening_);
  }

  int connect_and_type(const std::string& text) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address_), length_), 0);
    EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    return fd;
  }

  int32_t handle_connection() { return NUV_Console_handle(&console_, listening_, out_.write_end()); }

  static bool is_at_end(int fd) {
    char byte = 0;
    return recv(fd, &byte, 1, MSG_DONTWAIT) == 0;
  }

  int listening_;
  sockaddr_un address_ = {};
  socklen_t length_ = 0;
  char text_[16] = {};
  std::set<int> descriptors_;
};

TEST_F(ConsoleSocketTest, ConnectionServesOneLine) {
  const struct {
    const char* line;
    const char* answer;
  } kCases[] = {
      {"ask\n", "the answer\n> "},
      {"ask\nask\n", "the answer\n> "},
      {"unknown", "command not found\n> "},
      {"\"\n", "syntax error\n> "},
      {"\n", "> "},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.line);
    const int client = connect_and_type(row.line);
    EXPECT_EQ(handle_connection(), 0) << "the result of close()";
    EXPECT_EQ(drain(client), row.answer);
    EXPECT_TRUE(is_at_end(client));
    EXPECT_EQ(answers(), "") << "nothing goes to the output descriptor";
    close(client);
  }
}

TEST_F(ConsoleSocketTest, ServesConnectionsOneByOne) {
  const int first = connect_and_type("ask\n");
  const int second = connect_and_type("unknown\n");
  EXPECT_EQ(handle_connection(), 0);
  EXPECT_EQ(drain(first), "the answer\n> ");
  EXPECT_EQ(drain(second), "");
  EXPECT_EQ(handle_connection(), 0);
  EXPECT_EQ(drain(second), "command not found\n> ");
  close(first);
  close(second);
}

// In a daemon that has closed its standard input, the connection may get descriptor 0.
TEST_F(ConsoleSocketTest, ConnectionMayBeDescriptorZero) {
  const int client = connect_and_type("ask\n");
  const ChildProcess child([&] {
    close(STDIN_FILENO);
    _exit(handle_connection() == 0 && fcntl(STDIN_FILENO, F_GETFD) == -1 ? 0 : 1);
  });
  EXPECT_TRUE(child.has_exited(0)) << child.outcome();
  EXPECT_EQ(drain(client), "the answer\n> ");
  close(client);
}

TEST_F(ConsoleSocketTest, PrintsHelpOnStandardOutputAnyway) {
  const int client = connect_and_type("help\n");
  {
    CapturedStdout captured;
    EXPECT_EQ(handle_connection(), 0);
    EXPECT_EQ(captured.take(), "help\nask\n");
  }
  EXPECT_EQ(drain(client), "> ");
  close(client);
}

TEST_F(ConsoleSocketTest, ClosesAConnectionWithoutInput) {
  const int client = connect_and_type("");
  shutdown(client, SHUT_WR);
  EXPECT_EQ(handle_connection(), 0);
  EXPECT_TRUE(is_at_end(client));
  close(client);
}

TEST_F(ConsoleSocketTest, IgnoresAClosedClientIfSigpipeIsIgnored) {
  const auto old_action = std::signal(SIGPIPE, SIG_IGN);
  close(connect_and_type("ask\n"));
  EXPECT_EQ(handle_connection(), 0);
  std::signal(SIGPIPE, old_action);
}

TEST_F(ConsoleSocketTest, ReturnsMinusOneIfAcceptFails) {
  EXPECT_EQ(handle_connection(), -1) << "no client is waiting";
  EXPECT_EQ(errno, EBADF) << "from close()";
  const int client = connect_and_type("ask\n");
  {
    const FaultInjector failure("accept", 1, ECONNABORTED);
    EXPECT_EQ(handle_connection(), -1);
  }
  EXPECT_EQ(drain(client), "");
  EXPECT_EQ(handle_connection(), 0) << "the socket still works";
  EXPECT_EQ(drain(client), "the answer\n> ");
  close(client);
}

// The answer depends on the call that fails; the connection is closed in any case.
TEST_F(ConsoleSocketTest, ClosesTheConnectionAfterAnyFailure) {
  const struct {
    const char* function;
    std::vector<int32_t> results;      // for each call that fails
    std::vector<const char*> answers;  // what the client then receives
  } kCases[] = {
      {"fstat", {-1}, {""}},
      {"accept", {-1}, {""}},
      {"read", {0}, {""}},
      {"write", {0, 0}, {"> ", "the answer\n"}},
      {"close", {-1}, {"the answer\n> "}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.function);
    const int calls = each_fault(row.function, {EINTR, EIO, ECONNABORTED, EMFILE}, [&](Fault& fault) {
      int client = connect_and_type("ask\n");
      const int32_t result = fault.during([this] { return handle_connection(); });
      const auto which = static_cast<size_t>(fault.nth() - 1);
      EXPECT_EQ(result, fault.has_struck() ? row.results[which] : 0);
      EXPECT_EQ(drain(client), fault.has_struck() ? row.answers[which] : "the answer\n> ");
      if (!is_at_end(client)) {
        EXPECT_EQ(handle_connection(), 0) << "a client that was not accepted is still waiting";
        EXPECT_EQ(drain(client), "the answer\n> ");
      }
      close(client);
      client = connect_and_type("ask\n");
      EXPECT_EQ(handle_connection(), 0);
      EXPECT_EQ(drain(client), "the answer\n> ");
      close(client);
    });
    EXPECT_EQ(calls, static_cast<int>(row.results.size()));
  }
}

TEST_F(ConsoleSocketTest, ReturnsMinusOneForASocketThatDoesNotListen) {
  const int datagrams = socket(AF_INET, SOCK_DGRAM, 0);
  int connected[2] = {-1, -1};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, connected), 0);
  for (const int fd : {connected[0], datagrams}) {
    EXPECT_EQ(NUV_Console_handle(&console_, fd, out_.write_end()), -1);
  }
  EXPECT_EQ(answers(), "");
  for (const int fd : {datagrams, connected[0], connected[1]}) {
    close(fd);
  }
}

}  // namespace
