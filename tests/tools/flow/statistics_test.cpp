#include "userlib-flow/statistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "phoned/program.h"
#include "userlib-flow/histogram.h"

namespace flow_tool {
namespace {

using support::TemporaryFile;

constexpr time_t kNow = 1'772'701'447;

std::string statistics_of(const std::string& log, LaneBy by = LaneBy::kName) {
  setenv("TZ", "UTC", 1);
  tzset();
  const TemporaryFile file(log);
  Merge merge({file.path()}, kNow);
  Statistics statistics(by);
  while (const Record* record = merge.next(Input::End::kTakeRest)) {
    statistics.take(*record);
  }
  std::string text = statistics.text(merge);
  for (size_t at = text.find(file.path()); at != std::string::npos; at = text.find(file.path(), at)) {
    text.replace(at, file.path().size(), "LOG");
  }
  return text;
}

TEST(Statistics, CountsAndMeasures) {
  EXPECT_EQ(statistics_of("Mar  5 09:04:00:000:tracemf: card:1 -->3 dial 11--> channel:2  RX\n"
                          "Mar  5 09:04:00:001:tracemf: card:1 -->4 dial 1--> channel:2  RX\n"
                          "Mar  5 09:04:00:011:tracemf: channel:2 -->4 more 1--> card:1  TX\n"
                          "Mar  5 09:04:00:100:tracemf: channel:2 -->3 more 11--> card:1  TX\n"
                          "Mar  5 09:04:04:100:tracemf: channel:2 -->3 complete 11 11T--> card:1  TX\n"
                          "Mar  5 09:04:05:000:tracemf: card:1 -->3 onhook--> channel:2  RX\n"
                          "Mar  5 09:04:06:000:info:Line   text\n"
                          "something else\n"),
            "8 lines: 7 traces, 1 foreign, 0 broken, 0 cut\n"
            "from 2026-03-05 09:04:00.000 to 2026-03-05 09:04:06.000\n"
            "\n"
            "type     lines\n"
            "info         1\n"
            "tracemf      6\n"
            "\n"
            "lane     sent  received\n"
            "card        3         3\n"
            "channel     3         3\n"
            "\n"
            "message   from     to       count  answered\n"
            "dial      card     channel      2         2\n"
            "more      channel  card         2\n"
            "complete  channel  card         1\n"
            "onhook    card     channel      1         0\n"
            "\n"
            "request  from  to       answers      p50      p99   worst\n"
            "dial     card  channel        2  10.1 ms  99.3 ms  100 ms\n"
            "1 answer without a request\n"
            "\n"
            "worst dial, card to channel: asked LOG:1, answered LOG:4\n"
            "  Mar  5 09:04:00:100:tracemf: channel:2 -->3 more 11--> card:1  TX\n");
}

TEST(Statistics, TellsLanesApartByNumberIfAsked) {
  const std::string log =
      "Mar  5 09:04:00:000:tracemf: card:1 -->m--> channel:2  RX\nMar  5 09:04:00:000:tracemf: card:3 -->m--> "
      "channel:2  RX\n";
  EXPECT_NE(statistics_of(log).find("card        2"), std::string::npos);
  EXPECT_NE(statistics_of(log, LaneBy::kNumber).find("card:3        1"), std::string::npos);
}

TEST(Statistics, CountsWhatThereIsNoRoomForTogether) {
  std::string log;
  for (size_t i = 0; i < Statistics::kMostLanes + 100; ++i) {
    log += "Mar  5 09:04:00:000:tracemf: from:" + std::to_string(i) + " -->m--> to:1  RX\n";
  }
  const std::string text = statistics_of(log, LaneBy::kNumber);
  EXPECT_NE(text.find("\nothers     101         0\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nothers                     101\n"), std::string::npos) << text;
}

TEST(Statistics, LetsNoAnswerComeBeforeItsRequest) {
  const std::string text = statistics_of(
      "Mar  5 09:04:01:000:tracemf: a:1 -->m--> b:2  RX\nMar  5 09:04:00:000:tracemf: b:2 -->n--> a:1  TX\n");
  EXPECT_NE(text.find("m        a     b         1  0 us  0 us   0 us"), std::string::npos) << text;
}

// Compared with the exact quantiles of the same values.
TEST(Histogram, KeepsItsPromise) {
  uint64_t state = 1;
  for (const unsigned bits : {3U, 6U, 7U, 12U, 20U, 40U}) {
    Histogram histogram;
    std::vector<uint64_t> values;
    for (int i = 0; i < 5000; ++i) {
      state = state * UINT64_C(6364136223846793005) + UINT64_C(1442695040888963407);
      values.push_back(state >> 13 & ((uint64_t{1} << bits) - 1));
      histogram.add(values.back());
    }
    std::sort(values.begin(), values.end());
    for (const double part : {0.001, 0.5, 0.9, 0.99, 1.0}) {
      const auto rank = static_cast<size_t>(part * static_cast<double>(values.size()) + 0.9999) - 1;
      const auto exact = static_cast<double>(values[rank]);
      EXPECT_NEAR(static_cast<double>(histogram.quantile(part)), exact, exact / 64 + (exact < 64 ? 0 : 1))
          << bits << " bits, " << part;
    }
  }
}

TEST(Histogram, HasNoQuantilesWithoutValuesAndBoundsTheGreatest) {
  Histogram histogram;
  EXPECT_EQ(histogram.quantile(0.5), 0U);
  histogram.add(UINT64_MAX);
  EXPECT_GT(histogram.quantile(1), uint64_t{1} << 46);
}

}  // namespace
}  // namespace flow_tool
