// Whatever the library prints to the console and to the log can be read back.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <syslog.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "doubles/captured_stdout.h"
#include "doubles/syslog_double.h"
#include "nuv_assert.h"
#include "nuv_syslog.h"
#include "nuv_sysloglevel.h"
#include "userlib-flow/line_parser.h"

namespace flow_tool {

std::ostream& operator<<(std::ostream& out, const Record& record) {
  return out << "kind " << static_cast<int>(record.kind) << " type " << record.type << " module '" << record.module
             << "' file '" << record.file << "':" << record.source_line << " text '" << record.text << "' hex '"
             << record.hex << "' from '" << record.from << "':" << record.from_number << " to '" << record.to
             << "':" << record.to_number << (record.is_received ? " RX" : " TX");
}

namespace {

constexpr char kIdent[] = "phoned";
constexpr char kTag[] = "phoned[77]: ";
constexpr uint32_t kPid = 77;

// A fixed time in the format of each log: 2026-03-05 09:04:07.042 in UTC.
constexpr time_t kNow = 1'772'701'447;
constexpr Time kTime = kNow * kSecond + 42'000;

// The same numbers in every run.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  size_t below(size_t limit) {
    state_ = state_ * UINT64_C(6364136223846793005) + UINT64_C(1442695040888963407);
    return static_cast<size_t>(state_ >> 33) % limit;
  }
  std::string text(const std::string& letters, size_t least, size_t most) {
    std::string text;
    for (size_t length = least + below(most - least + 1); text.size() < length;) {
      text += letters[below(letters.size())];
    }
    return text;
  }

 private:
  uint64_t state_;
};

constexpr char kWords[] = "abc XYZ 0123456789:;,.->#<>()[]{}'\"\\/*%&=";
constexpr char kNames[] = "abcXYZ0189_.";

// What was passed to the library, and should be in the record.
struct Said {
  Kind kind;
  Type type;
  std::string module = {};
  std::string file = {};
  uint32_t line = 0;
  std::string text = {};
  std::string hex = {};
  std::string from = {};
  uint32_t from_number = 0;
  std::string to = {};
  uint32_t to_number = 0;
  bool is_received = false;
};

void expect_same(const Said& said, const Record& record) {
  EXPECT_EQ(record.kind, said.kind) << record;
  EXPECT_EQ(record.type, said.type) << record;
  EXPECT_EQ(record.module, said.module) << record;
  EXPECT_EQ(record.file, said.file) << record;
  EXPECT_EQ(record.source_line, said.line) << record;
  EXPECT_EQ(record.text, said.text) << record;
  EXPECT_EQ(record.hex, said.hex) << record;
  EXPECT_EQ(record.from, said.from) << record;
  EXPECT_EQ(record.from_number, said.from_number) << record;
  EXPECT_EQ(record.to, said.to) << record;
  EXPECT_EQ(record.to_number, said.to_number) << record;
  EXPECT_EQ(record.is_received, said.is_received) << record;
}

bool is_plain(const Said& said) {
  return said.kind == Kind::kPlainDump || said.kind == Kind::kPlainLocated || said.kind == Kind::kPlainShort;
}

// The time by the library's own clock; time() may lag behind it.
Time now_in_milliseconds() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  return now.tv_sec * kSecond + now.tv_usec / 1000 * 1000;
}

std::string json_string(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    result += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
  }
  return result + "\"";
}

// The line that a log has for a message with this priority and tag.
struct Log {
  const char* name;
  bool keeps_priority;
  std::function<std::string(int priority, const std::string& tag, const std::string& text)> keep;
};

std::string number_between(const std::string& tag, char opening, char closing) {
  const size_t begin = tag.find(opening);
  return begin == std::string::npos ? "" : tag.substr(begin + 1, tag.find(closing) - begin - 1);
}

const std::vector<Log>& logs() {
  static const std::vector<Log> kLogs = {
      {"busybox syslogd", true,
       [](int priority, const std::string& tag, const std::string& text) {
         const char* facility = priority >> 3 == LOG_LOCAL0 >> 3 ? "local0" : "user";
         const char* const severities[] = {"emerg", "alert", "crit", "err", "warning", "notice", "info", "debug"};
         return std::string("Mar  5 09:04:07 box ") + facility + "." + severities[priority & LOG_PRIMASK] + " " + tag +
                text;
       }},
      {"busybox syslogd -S", false,
       [](int, const std::string& tag, const std::string& text) { return "Mar  5 09:04:07 " + tag + text; }},
      {"rsyslog, traditional", false,
       [](int, const std::string& tag, const std::string& text) { return "Mar  5 09:04:07 box " + tag + text; }},
      {"rsyslog", false,
       [](int, const std::string& tag, const std::string& text) {
         return "2026-03-05T10:04:07.042123+01:00 box " + tag + text;
       }},
      {"rsyslog, RFC 5424", true,
       [](int priority, const std::string& tag, const std::string& text) {
         const std::string pid = number_between(tag, '[', ']');
         return "<" + std::to_string(priority) + ">1 2026-03-05T10:04:07.042123+01:00 box " +
                tag.substr(0, tag.find_first_of("[:")) + " " + (pid.empty() ? "-" : pid) + " - - " + text;
       }},
      {"journalctl -o short", false,
       [](int, const std::string& tag, const std::string& text) { return "Mar 05 09:04:07 box " + tag + text; }},
      {"journalctl -o short-precise", false,
       [](int, const std::string& tag, const std::string& text) { return "Mar 05 09:04:07.042123 box " + tag + text; }},
      {"journalctl -o short-iso", false,
       [](int, const std::string& tag, const std::string& text) {
         return "2026-03-05T10:04:07+0100 box " + tag + text;
       }},
      {"journalctl -o json", true,
       [](int priority, const std::string& tag, const std::string& text) {
         const std::string pid = number_between(tag, '[', ']');
         return "{\"__REALTIME_TIMESTAMP\":\"1772701447042123\",\"PRIORITY\":\"" +
                std::to_string(priority & LOG_PRIMASK) + "\",\"SYSLOG_FACILITY\":\"" + std::to_string(priority >> 3) +
                "\",\"SYSLOG_IDENTIFIER\":" + json_string(tag.substr(0, tag.find_first_of("[:"))) +
                (pid.empty() ? "" : ",\"SYSLOG_PID\":\"" + pid + "\"") + ",\"MESSAGE\":" + json_string(text) + "}";
       }},
  };
  return kLogs;
}

class LibraryOutput : public ::testing::Test {
 protected:
  LibraryOutput() {
    const char* zone = getenv("TZ");
    zone_ = zone != nullptr ? zone : "";
    setenv("TZ", "UTC", 1);
    tzset();
    NUV_Assert_setErrorHandler([](uint32_t, const char*, uint32_t, const char*) {});
    NUV_Sysloglevel_construct2("", kIdent);
    NUV_Sysloglevel_changeTracelevelAll(1023);
  }
  ~LibraryOutput() override {
    NUV_Sysloglevel_set(1);
    NUV_Syslog_set(1);
    NUV_Assert_setErrorHandler(nullptr);
    setenv("TZ", zone_.c_str(), 1);
    tzset();
  }

  // Registers a module; the registry has room for 60.
  static int module(const std::string& name) { return NUV_Sysloglevel_registerModul(name.c_str()); }

  // Prints to the console and to the log. Both, the log in all formats, must read back the same.
  static void try_both(const Said& said, const std::function<void()>& say) {
    SCOPED_TRACE("said '" + said.text + "' of '" + said.module + "' in '" + said.file + "'");
    try_console(said, say);
    try_logs(said, say);
  }

  static void try_console(const Said& said, const std::function<void()>& say) {
    support::CapturedStdout console;
    NUV_Sysloglevel_set(0);
    NUV_Syslog_set(0);
    // The plain logger uses the clock of time(), which may be some milliseconds behind.
    const Time before = is_plain(said) ? time(nullptr) * kSecond : now_in_milliseconds();
    say();
    const std::string line = console.take();
    ASSERT_FALSE(line.empty());
    ASSERT_EQ(line.back(), '\n');
    LineParser parser(time(nullptr));
    Record record;
    ASSERT_EQ(parser.parse(std::string_view(line).substr(0, line.find('\n')), record), Verdict::kTrace) << line;
    expect_same(said, record);
    EXPECT_GE(record.time, before) << line;
    EXPECT_LE(record.time, now_in_milliseconds()) << line;
  }

  static void try_logs(const Said& said, const std::function<void()>& say) {
    const auto lines = take_log(is_plain(said), say);
    ASSERT_FALSE(lines.empty());
    for (const Log& log : logs()) {
      SCOPED_TRACE(log.name);
      const support::SyslogLine& line = lines.front();
      const bool has_pid = (line.option & LOG_PID) != 0;
      const std::string tag = has_pid ? kTag : line.ident.value_or(kIdent) + ": ";
      // The priority of the plain logger has no facility: the system's default is user.
      const int priority = is_plain(said) ? line.priority | LOG_USER : line.priority;
      const std::string kept = log.keep(priority, tag, line.text);
      LineParser parser(kNow);
      Record record;
      const Verdict verdict = parser.parse(kept, record);
      EXPECT_EQ(record.ident, tag.substr(0, tag.find_first_of("[:"))) << kept;
      EXPECT_EQ(record.pid, has_pid ? kPid : 0) << kept;
      EXPECT_EQ(record.time / kSecond, kTime / kSecond) << kept;
      // Without its priority, the line looks like a foreign one.
      if (!log.keeps_priority && (said.kind == Kind::kStatus || said.kind == Kind::kPlainDump)) {
        EXPECT_EQ(verdict, Verdict::kForeign) << kept;
        continue;
      }
      ASSERT_EQ(verdict, Verdict::kTrace) << kept;
      expect_same(said, record);
    }
  }

  static std::vector<support::SyslogLine> take_log(bool is_of_plain_logger, const std::function<void()>& say) {
    support::SyslogDouble log(is_of_plain_logger ? support::SyslogDouble::Opening::kNever
                                                 : support::SyslogDouble::Opening::kForEachLine);
    NUV_Sysloglevel_set(1);
    NUV_Syslog_set(1);
    say();
    return log.take();
  }

  std::string zone_;
};

constexpr int kRounds = 100;

TEST_F(LibraryOutput, IsReadBackShort) {
  using Write = void (*)(int, const char*, uint32_t, const char*);
  const std::pair<Type, Write> kWrites[] = {{NUV_SYSLOGLEVEL_INFO, NUV_Sysloglevel_info},
                                            {NUV_SYSLOGLEVEL_TRACE, NUV_Sysloglevel_trace},
                                            {NUV_SYSLOGLEVEL_WARNING, NUV_Sysloglevel_warning}};
  Random random(1);
  const int handle = module("My Mod:1");
  for (int i = 0; i < kRounds; ++i) {
    const std::string text = random.text(kWords, 0, 60);
    for (const auto& [type, write] : kWrites) {
      try_both({.kind = Kind::kShort, .type = type, .module = "My Mod:1", .text = text},
               [&, write = write] { write(handle, "dir/x.c", 7, text.c_str()); });
    }
  }
}

TEST_F(LibraryOutput, IsReadBackLocated) {
  using Write = void (*)(int, const char*, uint32_t, const char*);
  const std::pair<Type, Write> kWrites[] = {{NUV_SYSLOGLEVEL_DEBUG, NUV_Sysloglevel_debug},
                                            {NUV_SYSLOGLEVEL_TRACECT, NUV_Sysloglevel_tracect},
                                            {NUV_SYSLOGLEVEL_TRACEDO, NUV_Sysloglevel_tracedo},
                                            {NUV_SYSLOGLEVEL_ERROR, NUV_Sysloglevel_error}};
  Random random(2);
  const int handle = module("Mod 2");
  for (int i = 0; i < kRounds; ++i) {
    const std::string text = random.text(kWords, 0, 60);
    const std::string file = random.text(kNames, 1, 20);
    const auto line = static_cast<uint32_t>(random.below(2) == 0 ? random.below(5000) : UINT32_MAX - random.below(9));
    for (const auto& [type, write] : kWrites) {
      try_both({.kind = Kind::kLocated, .type = type, .module = "Mod 2", .file = file, .line = line, .text = text},
               [&, write = write] { write(handle, ("some/" + file).c_str(), line, text.c_str()); });
    }
  }
}

TEST_F(LibraryOutput, IsReadBackAsMessage) {
  Random random(3);
  const int handle = module("Mod3");
  for (int i = 0; i < kRounds; ++i) {
    Said said = {.kind = Kind::kMessage, .type = NUV_SYSLOGLEVEL_TRACEMF};
    said.from = random.text("abc :01#", 0, 12);
    said.to = random.text("abc :01#", 0, 12);
    said.text = random.text(kWords, 0, 60);
    said.from_number = static_cast<uint32_t>(random.below(UINT32_MAX));
    said.to_number = static_cast<uint32_t>(random.below(70'000));
    said.is_received = random.below(2) == 0;
    try_both(said, [&] {
      NUV_Sysloglevel_tracemf(handle, said.from.c_str(), said.from_number, said.text.c_str(), said.to.c_str(),
                              said.to_number, said.is_received ? 1 : 0);
    });
  }
}

TEST_F(LibraryOutput, IsReadBackAsDump) {
  Random random(4);
  const int handle = module("Mod4");
  for (int i = 0; i < kRounds; ++i) {
    const std::string data = random.text(kWords, 1, 16);
    Said said = {.kind = Kind::kDump, .type = NUV_SYSLOGLEVEL_DUMP, .module = "Mod4"};
    said.text = random.text(kWords, 0, 30);
    for (const char c : data) {
      char digits[8];
      std::snprintf(digits, sizeof digits, "%s%02X", said.hex.empty() ? "" : " ", static_cast<unsigned>(c));
      said.hex += digits;
    }
    const auto length = static_cast<uint32_t>(data.size());
    try_both(said, [&] { NUV_Sysloglevel_dump(handle, "x.c", 7, said.text.c_str(), data.data(), length); });
    said.kind = Kind::kPlainDump;
    said.module = "";
    // This title looks like the beginning of another kind of line.
    said.text = "title " + said.text;
    try_both(said, [&] { NUV_Syslog_dump("x.c", 7, said.text.c_str(), data.data(), length); });
  }
}

TEST_F(LibraryOutput, IsReadBackAsGuiOutput) {
  Random random(5);
  const int handle = module("Gui_5");
  for (int i = 0; i < kRounds; ++i) {
    const std::string text = random.text(kWords, 0, 60);
    try_both({.kind = Kind::kGuiOutput, .type = NUV_SYSLOGLEVEL_GUIOUTPUT, .module = "Gui_5", .text = text},
             [&] { NUV_Sysloglevel_guioutput(handle, "x.c", 7, text.c_str()); });
  }
}

TEST_F(LibraryOutput, IsReadBackAsReport) {
  Random random(6);
  for (int i = 0; i < kRounds; ++i) {
    // The text of a check ends in a newline, which is not part of the message; nor are blanks before it.
    const std::string text = random.text(kWords, 0, 60) + ".";
    const std::string file = random.text(kNames, 1, 20);
    const auto line = static_cast<uint32_t>(random.below(5000));
    try_both({.kind = Kind::kReport, .type = NUV_SYSLOGLEVEL_ERROR, .file = file, .line = line, .text = text},
             [&] { NUV_Sysloglevel_assert(("a/" + file).c_str(), line, (text + "\n").c_str()); });
  }
}

TEST_F(LibraryOutput, IsReadBackAsStatus) {
  Random random(7);
  for (int i = 0; i < kRounds; ++i) {
    const std::string text = "status " + random.text(kWords, 0, 60);
    try_both({.kind = Kind::kStatus, .type = kNoType, .text = text},
             [&] { NUV_Sysloglevel_statusinfo("boot", text.c_str()); });
  }
}

TEST_F(LibraryOutput, IsReadBackFromThePlainLogger) {
  Random random(8);
  for (int i = 0; i < kRounds; ++i) {
    const std::string file = random.text("abcXYZ_.", 1, 20);
    const auto line = static_cast<uint32_t>(random.below(5000));
    const std::string text = random.text(kWords, 0, 60);
    // Without the priority, a blank in front and three in the middle make it a foreign line.
    const std::string solid = "x" + random.text("abc:XYZ0189->#", 0, 60);
    using Write = void (*)(const char*, uint32_t, const char*);
    const std::pair<Type, Write> kShort[] = {{NUV_SYSLOGLEVEL_INFO, NUV_Syslog_info},
                                             {NUV_SYSLOGLEVEL_TRACE, NUV_Syslog_trace}};
    for (const auto& [type, write] : kShort) {
      try_both({.kind = Kind::kPlainShort, .type = type, .text = solid},
               [&, write = write] { write(file.c_str(), line, solid.c_str()); });
    }
    const std::pair<Type, Write> kLocated[] = {{NUV_SYSLOGLEVEL_DEBUG, NUV_Syslog_debug},
                                               {NUV_SYSLOGLEVEL_WARNING, NUV_Syslog_warning},
                                               {NUV_SYSLOGLEVEL_ERROR, NUV_Syslog_error}};
    for (const auto& [type, write] : kLocated) {
      try_both({.kind = Kind::kPlainLocated, .type = type, .file = file, .line = line, .text = text},
               [&, write = write] { write(file.c_str(), line, text.c_str()); });
    }
  }
}

// The line about an unregistered module always goes to the log, with a time of its own if the log is off.
TEST_F(LibraryOutput, IsReadBackFromModulesThatAreNotRegistered) {
  const std::pair<std::string, std::function<void()>> kCases[] = {
      {"some text", [] { NUV_Sysloglevel_info(-1, "x.c", 7, "some text"); }},
      {"x.c:7   some text", [] { NUV_Sysloglevel_error(-1, "x.c", 7, "some text"); }},
      {"a:1 -->m--> b:2  RX", [] { NUV_Sysloglevel_tracemf(-1, "a", 1, "m", "b", 2, 1); }},
      {"title: 41", [] { NUV_Sysloglevel_dump(-1, "x.c", 7, "title", "A", 1); }},
      {"some text", [] { NUV_Sysloglevel_guioutput(-1, "x.c", 7, "some text"); }},
  };
  for (const auto& [text, say] : kCases) {
    for (const uint32_t to_log : {1U, 0U}) {
      support::SyslogDouble log;
      support::CapturedStdout console;
      NUV_Sysloglevel_set(to_log);
      say();
      console.take();
      std::string kept;
      for (const auto& line : log.take()) {
        kept = line.text.find("not registered") != std::string::npos ? line.text : kept;
      }
      const std::string line = "Mar  5 09:04:07 box " + std::string(kTag) + kept;
      LineParser parser(kNow);
      Record record;
      ASSERT_EQ(parser.parse(line, record), Verdict::kTrace) << kept;
      EXPECT_EQ(record.kind, Kind::kUnregistered) << kept;
      EXPECT_EQ(record.type, static_cast<Type>(NUV_SYSLOGLEVEL_ERROR)) << kept;
      EXPECT_EQ(record.text, text) << kept;
    }
  }
}

}  // namespace
}  // namespace flow_tool
