// Violates every contract of the console; the error handler returns.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "doubles/captured_stdout.h"
#include "doubles/contract_recorder.h"
#include "doubles/descriptors.h"
#include "doubles/violation.h"
#include "nuv_console.h"

namespace {

using support::CapturedStdout;
using support::ContractRecorder;
using support::ensure_report;
using support::Report;
using support::require_report;
using support::TestPipe;

constexpr char kFile[] = "nuv_console";
constexpr char kPrompt[] = "> ";
constexpr uint32_t kRoom = 2;

const Report kStoreAndSize = require_report(kFile, "( ((void *)0) == a_store) == ( 0 == a_size)");
const Report kNoPrompt = require_report(kFile, "((void *)0) != a_prompt");
const Report kNoFunction = require_report(kFile, "((void *)0) != a_cmdfunc");
const Report kNoRoom = require_report(kFile, "NUV_Console_size( a_this) < NUV_Console_maxSize( a_this)");
const Report kNotAdded = ensure_report(kFile, "NUV_Console_size( a_this) == ( oldsize + 1)");

int32_t answer(void* /*context*/, int32_t /*count*/, char** words, int32_t fd) {
  return NUV_Console_output(fd, words[0]);
}

// Returns the console's answer to a line.
std::string ask(Console& console, const std::string& line) {
  TestPipe in;
  TestPipe out;
  in.put(line);
  NUV_Console_handle(&console, in.read_end(), out.write_end());
  return out.take();
}

// A store, and behind its end a command that the console must not use.
using Store = std::array<ConsoleCommand, kRoom + 1>;
Store g_store;

using Row = support::Violation<Console>;

// The console has room for two commands and has one, "one".
class ConsoleContracts : public ::testing::TestWithParam<Row> {
 protected:
  ConsoleContracts() {
    g_store = {};
    NUV_Console_construct(&console_, g_store.data(), kRoom, kPrompt);
    NUV_Console_setCommand(&console_, "one", nullptr, answer);
  }
  ~ConsoleContracts() override { NUV_Console_destruct(&console_); }

  ContractRecorder contracts_;
  Console console_ = {};
};

TEST_P(ConsoleContracts, AreReportedAndLeaveAWorkingConsole) {
  GetParam().violate(console_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);
  EXPECT_EQ(g_store[kRoom].m_pName, nullptr);

  EXPECT_EQ(ask(console_, "one\n"), "one> ");
  EXPECT_EQ(ask(console_, "three\n"), "command not found\n> ");
  while (NUV_Console_size(&console_) > 1) {
    NUV_Console_removeCommand(&console_, g_store[1].m_pName);
  }
  EXPECT_EQ(NUV_Console_setCommand(&console_, "last", nullptr, answer), kRoom);
  EXPECT_EQ(ask(console_, "last\n"), "last> ");
}

const Row kRows[] = {
    {"constructWithASizeButNoStore",
     [](Console&) {
       Console other;
       EXPECT_EQ(NUV_Console_construct(&other, nullptr, 3, kPrompt), 1);
       EXPECT_EQ(NUV_Console_maxSize(&other), 3U);
       EXPECT_EQ(NUV_Console_size(&other), 0U);
       // Without a store there is no room, whatever the size says.
       EXPECT_EQ(NUV_Console_setCommand(&other, "three", nullptr, answer), 0U);
       NUV_Console_removeCommand(&other, "three");
       EXPECT_EQ(ask(other, "three\n"), "command not found\n> ");
     },
     {kStoreAndSize, kNotAdded}},
    {"constructWithAStoreWithoutSize",
     [](Console&) {
       ConsoleCommand store = {};
       Console other;
       EXPECT_EQ(NUV_Console_construct(&other, &store, 0, kPrompt), 1);
       EXPECT_EQ(NUV_Console_maxSize(&other), 0U);
       EXPECT_EQ(NUV_Console_setCommand(&other, "three", nullptr, answer), 0U);
       EXPECT_EQ(store.m_pName, nullptr);
     },
     {kStoreAndSize, kNoRoom, kNotAdded}},
    // The prompt is empty.
    {"constructWithoutAPrompt",
     [](Console&) {
       Console other;
       EXPECT_EQ(NUV_Console_construct(&other, nullptr, 0, nullptr), 1);
       EXPECT_EQ(ask(other, "three\n"), "command not found\n");
     },
     {kNoPrompt}},
    {"constructWithoutStoreAndPrompt",
     [](Console&) {
       Console other;
       EXPECT_EQ(NUV_Console_construct(&other, nullptr, 1, nullptr), 1);
     },
     {kStoreAndSize, kNoPrompt}},
    // The command does nothing.
    {"setCommandWithoutAFunction",
     [](Console& console) {
       EXPECT_EQ(NUV_Console_setCommand(&console, "idle", nullptr, nullptr), 2U);
       EXPECT_EQ(ask(console, "idle\n"), "> ");
     },
     {kNoFunction}},
    {"setCommandInAFullTable",
     [](Console& console) {
       NUV_Console_setCommand(&console, "two", nullptr, answer);
       EXPECT_EQ(NUV_Console_setCommand(&console, "three", nullptr, answer), 2U);
       EXPECT_EQ(ask(console, "two\n"), "two> ");
     },
     {kNoRoom, kNotAdded}},
    {"setCommandWithoutAFunctionInAFullTable",
     [](Console& console) {
       NUV_Console_setCommand(&console, "two", nullptr, answer);
       EXPECT_EQ(NUV_Console_setCommand(&console, "three", nullptr, nullptr), 2U);
     },
     {kNoFunction, kNoRoom, kNotAdded}},
    // No contract checks the name: a command without a name is added, but never found.
    {"setCommandWithoutAName",
     [](Console& console) {
       EXPECT_EQ(NUV_Console_setCommand(&console, nullptr, nullptr, answer), 2U);
       EXPECT_EQ(ask(console, "\"\"\n"), "command not found\n> ");
       CapturedStdout captured;
       EXPECT_EQ(ask(console, "help\n"), "> ");
       EXPECT_EQ(captured.take(), "help\none\n\n");
       NUV_Console_removeCommand(&console, nullptr);
       NUV_Console_removeCommand(&console, "");
       EXPECT_EQ(NUV_Console_size(&console), 2U);
       g_store[1].m_pName = "two";
     },
     {}},
};

INSTANTIATE_TEST_SUITE_P(All, ConsoleContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

TEST(ConsoleContractsNull, EveryOperationReportsANullConsole) {
  support::expect_null_reports(kFile, "((void *)0) != a_this",
                               {{"construct", [] { NUV_Console_construct(nullptr, nullptr, 0, kPrompt); }},
                                {"destruct", [] { NUV_Console_destruct(nullptr); }},
                                {"maxSize", [] { NUV_Console_maxSize(nullptr); }},
                                {"size", [] { NUV_Console_size(nullptr); }},
                                {"setCommand", [] { NUV_Console_setCommand(nullptr, "set", nullptr, answer); }},
                                {"removeCommand", [] { NUV_Console_removeCommand(nullptr, "set"); }},
                                {"handle", [] { NUV_Console_handle(nullptr, -1, -1); }}});
}

}  // namespace
