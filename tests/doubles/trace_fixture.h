// What the tests of the trace facility have in common.
#ifndef TESTS_SUPPORT_TRACE_FIXTURE_H
#define TESTS_SUPPORT_TRACE_FIXTURE_H

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "doubles/captured_stdout.h"
#include "doubles/contract_recorder.h"
#include "doubles/fake_clock.h"
#include "doubles/fake_files.h"
#include "doubles/syslog_double.h"
#include "doubles/time_zone.h"

namespace support {

// Starts with the trace facility as a process finds it, at the time that kStamp shows, and leaves it so.
class TraceTest : public ::testing::Test {
 protected:
  static constexpr char kFile[] = "nuv_sysloglevel";
  static constexpr char kStamp[] = "Mar  5 09:04:07:042";

  TraceTest();
  ~TraceTest() override;

  // The outputs that lines go to.
  enum class Output { kLog, kConsole, kBoth, kNowhere };
  static void use(Output output);

  // What reached the system log since the last call: all of it, the texts alone, or the texts of what is no contract
  // report. Where the texts name a line of the library's own sources, "#" stands for its number.
  std::vector<SyslogLine> take_log() { return log_.take(); }
  std::vector<std::string> take_log_texts();
  std::vector<std::string> take_trace_texts();

  // The text with "#" for each number of a line of the library's own sources.
  static std::string without_source_lines(const std::string& text);

  // A line as the facility opens the log for it.
  static SyslogLine line(int priority, std::string text, std::optional<std::string> ident = std::nullopt);

  // The text of a contract report in the system log, as take_log_texts() has it.
  static std::string report_text(const std::string& message);

  TimeZone zone_;
  FakeClock clock_;
  FakeFiles files_;
  SyslogDouble log_;
  CapturedStdout console_;
  ContractRecorder contracts_;
};

}  // namespace support

#endif
