// The fixture of the trace facility's tests.
#ifndef TESTS_DOUBLES_TRACE_FIXTURE_H
#define TESTS_DOUBLES_TRACE_FIXTURE_H

#include <gtest/gtest.h>
#include <sys/time.h>

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

// Each test starts with the trace facility in its initial state, which is restored afterwards, at the time of kStamp.
class TraceTest : public ::testing::Test {
 protected:
  static constexpr char kFile[] = "nuv_sysloglevel";
  static constexpr char kStamp[] = "Mar  5 09:04:07:042";

  TraceTest();
  ~TraceTest() override;

  // Puts switches, modules, masks and TraceLevel's handle back into their initial state.
  static void restore_start();

  // The wall clock of kStamp: 2024-03-05 09:04:07.042 UTC.
  static timeval stamp_time();

  enum class Output { kLog, kConsole, kBoth, kNowhere };
  static void use(Output output);

  // The lines that reached the system log since the last call: complete, only their texts, or only the texts other than
  // contract reports. In the texts, "#" replaces line numbers of the library's own sources.
  std::vector<SyslogLine> take_log() { return log_.take(); }
  std::vector<std::string> take_log_texts();
  std::vector<std::string> take_trace_texts();

  // Replaces line numbers of the library's own sources with "#".
  static std::string without_source_lines(const std::string& text);

  // A line with the options that the facility passes to openlog().
  static SyslogLine line(int priority, std::string text, std::optional<std::string> ident = std::nullopt);

  // The text of a contract report, as take_log_texts() returns it.
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
