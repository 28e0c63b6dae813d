#include "userlib-flow/line_reader.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "phoned/program.h"
#include "userlib-flow/merge.h"

namespace flow_tool {
namespace {

using support::TemporaryFile;

constexpr time_t kNow = 1'772'701'447;

// The lines of an input, with "~" after cut ones.
std::vector<std::string> lines_of(const std::string& content) {
  const TemporaryFile file(content);
  const InputFile input(file.path());
  LineReader reader(input.fd());
  std::vector<std::string> lines;
  const auto keep = [&lines](const Line& line) { lines.push_back(std::string(line.text) + (line.is_cut ? "~" : "")); };
  while (const auto line = reader.next()) {
    keep(*line);
  }
  if (const auto rest = reader.take_rest()) {
    keep(*rest);
  }
  EXPECT_EQ(reader.error(), 0);
  return lines;
}

TEST(LineReader, ReadsLines) {
  EXPECT_EQ(lines_of(""), std::vector<std::string>{});
  EXPECT_EQ(lines_of("a\n\nbc\n"), (std::vector<std::string>{"a", "", "bc"}));
  EXPECT_EQ(lines_of("a\nb"), (std::vector<std::string>{"a", "b~"}));
}

TEST(LineReader, CutsLinesThatAreTooLongAndGoesOnBehindThem) {
  for (const size_t more : {size_t{1}, LineReader::kLongestLine, 10 * LineReader::kLongestLine}) {
    const std::string most(LineReader::kLongestLine, 'x');
    const std::string extra(more, 'y');
    EXPECT_EQ(lines_of("a\n" + most + "\nb\n" + most + extra + "\nc\n" + most + extra),
              (std::vector<std::string>{"a", most, "b", most + "~", "c", most + "~"}));
  }
}

// For pieces of any size, also across the end of the buffer.
TEST(LineReader, FindsLinesAcrossPieces) {
  std::string content;
  std::vector<std::string> expected;
  for (size_t i = 0; i < 20'000; ++i) {
    expected.emplace_back(i * 7 % 200, static_cast<char>('a' + i % 26));
    content += expected.back() + "\n";
  }
  EXPECT_EQ(lines_of(content), expected);
}

TEST(LineReader, WaitsForTheRestOfALine) {
  const TemporaryFile file("whole\nha");
  const InputFile input(file.path());
  LineReader reader(input.fd());
  ASSERT_TRUE(reader.next());
  EXPECT_FALSE(reader.next());
  file.write("whole\nhalf\n");
  const auto line = reader.next();
  ASSERT_TRUE(line);
  EXPECT_EQ(line->text, "half");
}

TEST(LineReader, TellsWhenReadingFails) {
  const InputFile directory("/tmp");
  LineReader reader(directory.fd());
  EXPECT_FALSE(reader.next());
  EXPECT_EQ(reader.error(), EISDIR);
}

std::string texts_of(Merge& merge) {
  std::string texts;
  while (const Record* record = merge.next(Input::End::kTakeRest)) {
    texts += std::string(record->text) + " ";
  }
  return texts;
}

TEST(Merge, PutsLinesOfSeveralFilesInOrderAndKeepsThatOfEach) {
  setenv("TZ", "UTC", 1);
  tzset();
  const TemporaryFile console(
      "Mar  5 09:04:07:100:info:L   1\nnothing\nMar  5 09:04:07:300:info:L   3\n"
      // A clock that was set back does not hold up the other files.
      "Mar  5 08:00:00:000:info:L   4\nMar  5 09:04:07:900:info:L   7\n");
  const TemporaryFile log(
      "2026-03-05T10:04:07.200000+01:00 box p[1]: info:L   2\n2026-03-05T10:04:07.400000+01:00 box p[1]: info:L   5\n"
      "user.notice p[1]: info:L   6\n");
  Merge merge({console.path(), log.path()}, kNow);
  EXPECT_EQ(texts_of(merge), "1 2 3 4 5 6 7 ");
  EXPECT_EQ(merge.counts().text(), "8 lines: 7 traces, 1 foreign, 0 broken, 0 cut");
}

TEST(Merge, PrefersTheFirstFileAtTheSameTime) {
  const TemporaryFile a("Mar  5 09:04:07:100:info:L   a1\nMar  5 09:04:07:100:info:L   a2\n");
  const TemporaryFile b("Mar  5 09:04:07:100:info:L   b1\n");
  Merge merge({a.path(), b.path()}, kNow);
  EXPECT_EQ(texts_of(merge), "a1 a2 b1 ");
}

TEST(Merge, CountsACutLineAndGoesOn) {
  const TemporaryFile a("Mar  5 09:04:07:100:info:L   a1\nMar  5 09:04:07:100:tracemf: ca");
  Merge merge({a.path()}, kNow);
  EXPECT_EQ(texts_of(merge), "a1 ");
  EXPECT_EQ(merge.counts().text(), "2 lines: 1 trace, 0 foreign, 1 broken, 1 cut");
}

}  // namespace
}  // namespace flow_tool
