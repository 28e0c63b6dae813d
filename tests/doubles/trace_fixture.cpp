#include "doubles/trace_fixture.h"

#include <syslog.h>
#include <time.h>

#include <utility>

#include "doubles/pattern.h"
#include "nuv_tracelevelinit.h"
#include "tracing/nuv_sysloglevel_internal.h"

namespace support {
namespace {

// The initial state of the process. Nothing before main() changes it.
const nuv::TraceOutput kOutputAtStart = nuv::g_trace_output;
const nuv::ModuleRegistry kModulesAtStart = nuv::g_modules;
const int kHandleAtStart = gmodulHandleTraceLevelInit;

bool is_report(const std::string& text) {
  return text.starts_with("error: nuv_");
}

}  // namespace

TraceTest::TraceTest() {
  restore_start();
  clock_.set_wall(stamp_time());
}

TraceTest::~TraceTest() {
  restore_start();
}

void TraceTest::restore_start() {
  nuv::g_trace_output = kOutputAtStart;
  nuv::g_modules = kModulesAtStart;
  gmodulHandleTraceLevelInit = kHandleAtStart;
}

timeval TraceTest::stamp_time() {
  tm date = {};
  date.tm_year = 124;
  date.tm_mon = 2;
  date.tm_mday = 5;
  date.tm_hour = 9;
  date.tm_min = 4;
  date.tm_sec = 7;
  return {timegm(&date), 42000};
}

void TraceTest::use(Output output) {
  nuv::g_trace_output.syslog = output == Output::kLog || output == Output::kBoth ? 1 : 0;
  nuv::g_trace_output.console = output == Output::kConsole || output == Output::kBoth ? 1 : 0;
}

std::string TraceTest::without_source_lines(const std::string& text) {
  static const Pattern kSourceLine("(: nuv_[a-z_]+):[0-9]+ ");
  std::string result = text;
  for (auto parts = kSourceLine.find_in(result); !parts.empty(); parts = kSourceLine.find_in(result)) {
    result.replace(result.find(parts[0]), parts[0].size(), parts[1] + ":# ");
  }
  return result;
}

std::vector<std::string> TraceTest::take_log_texts() {
  std::vector<std::string> texts;
  for (const SyslogLine& line : take_log()) {
    texts.push_back(without_source_lines(line.text));
  }
  return texts;
}

std::vector<std::string> TraceTest::take_trace_texts() {
  std::vector<std::string> texts = take_log_texts();
  std::erase_if(texts, is_report);
  return texts;
}

SyslogLine TraceTest::line(int priority, std::string text, std::optional<std::string> ident) {
  return {std::move(ident), LOG_PID, LOG_USER, priority, std::move(text)};
}

std::string TraceTest::report_text(const std::string& message) {
  return "error: " + std::string(kFile) + ":#   :" + message + "\n";
}

}  // namespace support
