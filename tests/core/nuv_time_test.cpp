#include "nuv_time.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cerrno>
#include <limits>
#include <optional>
#include <ostream>
#include <string>

#include "doubles/fake_clock.h"
#include "doubles/fault_loop.h"
#include "doubles/time_zone.h"

// Compares both fields without normalising them.
static bool operator==(const timeval& a, const timeval& b) {
  return a.tv_sec == b.tv_sec && a.tv_usec == b.tv_usec;
}

static std::ostream& operator<<(std::ostream& out, const timeval& time) {
  return out << "{" << time.tv_sec << ", " << time.tv_usec << "}";
}

namespace {

using support::each_fault;
using support::FakeClock;
using support::Fault;
using support::TimeZone;

constexpr char kRule[] = "MEZ-1MESZ,M3.5.0,M10.5.0/3";

using Seconds = decltype(timeval::tv_sec);
using Microseconds = decltype(timeval::tv_usec);

constexpr Seconds kMaxSeconds = std::numeric_limits<Seconds>::max();
constexpr Seconds kMinSeconds = std::numeric_limits<Seconds>::min();
constexpr Microseconds kMaxMicroseconds = std::numeric_limits<Microseconds>::max();
constexpr Microseconds kMinMicroseconds = std::numeric_limits<Microseconds>::min();

// Seconds since 1970 of a time of day in UTC.
time_t utc(int year, int month, int day, int hour, int minute, int second) {
  tm date = {};
  date.tm_year = year - 1900;
  date.tm_mon = month - 1;
  date.tm_mday = day;
  date.tm_hour = hour;
  date.tm_min = minute;
  date.tm_sec = second;
  return timegm(&date);
}

std::string text_of(const tm* time) {
  char text[40];
  return strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %Z", time) > 0 ? text : "";
}

TEST(TimeTickCount, IsTheMonotonicClockInMilliseconds) {
  FakeClock clock;
  const struct {
    timeval now;
    uint32_t ticks;
  } kCases[] = {
      {{0, 0}, 0},
      {{0, 999}, 0},
      {{0, 1000}, 1},
      {{0, 999999}, 999},
      {{1, 0}, 1000},
      {{1, 42999}, 1042},
      {{2147483, 647000}, 0x7FFFFFFF},
      {{2147483, 648000}, 0x80000000},
      {{4294967, 295999}, 0xFFFFFFFF},
      {{4294967, 296000}, 0},
      {{4294967, 306000}, 10},
      {{4294968, 0}, 704},
      // The clock is in range, but its product with 1000 wraps.
      {{2000000000, 7000}, 2840207367},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.now);
    clock.set(row.now);
    EXPECT_EQ(NUV_GetTickCount(), row.ticks);
  }
  clock.set({0, 999}, 999);
  EXPECT_EQ(NUV_GetTickCount(), 0U);
  clock.set({0, 999999}, 999);
  EXPECT_EQ(NUV_GetTickCount(), 999U);
}

TEST(TimeTickCount, DifferenceSurvivesTheWrap) {
  FakeClock clock({4294967, 290000});
  const uint32_t before = NUV_GetTickCount();
  clock.advance({0, 10000});
  const uint32_t after = NUV_GetTickCount();
  EXPECT_LT(after, before);
  EXPECT_EQ(after - before, 10U);
}

TEST(TimeAbsolute, IsTheMonotonicClockInMicroseconds) {
  FakeClock clock;
  clock.set_wall({77, 77});
  const struct {
    timeval now;
    long nanoseconds;
  } kCases[] = {
      {{0, 0}, 0},
      {{0, 0}, 999},
      {{0, 1}, 0},
      {{1, 999999}, 999},
      {{2000000000, 123456}, 500},
      {{2147483647, 999999}, 0},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.now);
    clock.set(row.now, row.nanoseconds);
    timeval time = {-1, -1};
    EXPECT_EQ(nuv_gettimeofday_absolute(&time), 0);
    EXPECT_EQ(time, row.now) << "nanoseconds are truncated";
  }
}

// Uses no double, to prove that this is the system's monotonic clock.
TEST(TimeAbsolute, LiesBetweenTwoReadingsOfTheSystem) {
  timespec before = {};
  timespec after = {};
  timeval time = {};
  ASSERT_EQ(clock_gettime(CLOCK_MONOTONIC, &before), 0);
  EXPECT_EQ(nuv_gettimeofday_absolute(&time), 0);
  ASSERT_EQ(clock_gettime(CLOCK_MONOTONIC, &after), 0);
  const timeval first = {before.tv_sec, before.tv_nsec / 1000};
  const timeval last = {after.tv_sec, after.tv_nsec / 1000};
  EXPECT_TRUE(!timercmp(&time, &first, <) && !timercmp(&time, &last, >)) << first << " " << time << " " << last;
}

TEST(TimeGetTime, IsTheWallClockInMicroseconds) {
  FakeClock clock;
  const struct {
    timeval wall;
    uint32_t stamp;
  } kCases[] = {
      {{0, 0}, 0},         {{0, 999999}, 999999}, {{1, 2}, 1000002},  {{4294, 967295}, 0xFFFFFFFF},
      {{4294, 967296}, 0}, {{4294, 967300}, 4},   {{4295, 0}, 32704}, {{1700000000, 5}, 404635653},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.wall);
    clock.set_wall(row.wall);
    EXPECT_EQ(NUV_Time_getTime(), row.stamp);
  }
}

TEST(TimeGmTime, IsNowInUtcInAnyZone) {
  const TimeZone zone("EST5");
  FakeClock clock;
  clock.set_wall({utc(2024, 7, 1, 12, 30, 59), 999999});
  const tm* time = NUV_getGMTime();
  ASSERT_NE(time, nullptr);
  EXPECT_EQ(time->tm_year, 124);
  EXPECT_EQ(time->tm_mon, 6);
  EXPECT_EQ(time->tm_mday, 1);
  EXPECT_EQ(time->tm_hour, 12);
  EXPECT_EQ(time->tm_min, 30);
  EXPECT_EQ(time->tm_sec, 59);
  EXPECT_EQ(time->tm_wday, 1);
  EXPECT_EQ(time->tm_yday, 182);
  EXPECT_EQ(time->tm_isdst, 0);
  EXPECT_EQ(TimeZone::current(), "EST5") << "UTC does not set the rule";
}

TEST(TimeGmTime, IsTheRecordOfTheCLibrary) {
  const time_t then = 0;
  const tm* record = gmtime(&then);
  EXPECT_EQ(NUV_getGMTime(), record);
}

TEST(TimeLocalTime, IsNowUnderTheRule) {
  const TimeZone zone("EST5");
  FakeClock clock;
  clock.set_wall({utc(2024, 7, 1, 12, 30, 59), 999999});
  const tm* time = NUV_getLocalTime();
  ASSERT_NE(time, nullptr);
  EXPECT_EQ(text_of(time), "2024-07-01 14:30:59 MESZ");
  EXPECT_EQ(time->tm_isdst, 1);
  EXPECT_EQ(TimeZone::current(), kRule);

  clock.set_wall({utc(2024, 12, 31, 23, 0, 0), 0});
  time = NUV_getLocalTime();
  EXPECT_EQ(text_of(time), "2025-01-01 00:00:00 MEZ");
  EXPECT_EQ(time->tm_isdst, 0);
}

TEST(TimeLocalTime, IsTheRecordOfTheCLibrary) {
  const TimeZone zone;
  const time_t then = 0;
  const tm* record = localtime(&then);
  EXPECT_EQ(NUV_getLocalTime(), record);
}

TEST(TimeLocalTime, SetsTheRuleAgainAfterSomebodyChangedIt) {
  const TimeZone zone(nullptr);
  FakeClock clock;
  clock.set_wall({utc(2024, 1, 1, 0, 0, 0), 0});
  NUV_getLocalTime();
  EXPECT_EQ(TimeZone::current(), kRule);
  setenv("TZ", "EST5", 1);
  EXPECT_EQ(text_of(NUV_getLocalTime()), "2024-01-01 01:00:00 MEZ");
  EXPECT_EQ(TimeZone::current(), kRule);
}

TEST(TimeLocalTimeSeconds, AreThoseOfTheWallClock) {
  const TimeZone zone(nullptr);
  FakeClock clock;
  clock.set_wall({1234567890, 999999});
  time_t stored = 0;
  EXPECT_EQ(NUV_localTime(&stored), 1234567890);
  EXPECT_EQ(stored, 1234567890);
  EXPECT_EQ(NUV_localTime(nullptr), 1234567890);
}

TEST(TimeLocalTimeSeconds, PutTheRuleIntoTheEnvironment) {
  for (const char* before : {static_cast<const char*>(nullptr), "", "UTC0", kRule}) {
    SCOPED_TRACE(before != nullptr ? before : "(none)");
    const TimeZone zone(before);
    NUV_localTime(nullptr);
    EXPECT_EQ(TimeZone::current(), kRule);
  }
}

// Summer time begins on the last Sunday of March at 02:00 and ends on the last Sunday of October at 03:00, both 01:00
// UTC.
TEST(TimeLocalTimeSeconds, LetLaterConversionsFollowTheRule) {
  const TimeZone zone("UTC0");
  NUV_localTime(nullptr);
  const struct {
    time_t when;
    const char* local;
    int is_summer;
  } kCases[] = {
      {utc(2024, 1, 15, 12, 0, 0), "2024-01-15 13:00:00 MEZ", 0},
      {utc(2024, 3, 31, 0, 59, 59), "2024-03-31 01:59:59 MEZ", 0},
      {utc(2024, 3, 31, 1, 0, 0), "2024-03-31 03:00:00 MESZ", 1},
      {utc(2024, 7, 15, 12, 0, 0), "2024-07-15 14:00:00 MESZ", 1},
      {utc(2024, 10, 27, 0, 59, 59), "2024-10-27 02:59:59 MESZ", 1},
      {utc(2024, 10, 27, 1, 0, 0), "2024-10-27 02:00:00 MEZ", 0},
      // The last Sunday is the 25th at the earliest and the 31st at the latest.
      {utc(2018, 3, 25, 0, 59, 59), "2018-03-25 01:59:59 MEZ", 0},
      {utc(2018, 3, 25, 1, 0, 0), "2018-03-25 03:00:00 MESZ", 1},
      {utc(2021, 10, 31, 0, 59, 59), "2021-10-31 02:59:59 MESZ", 1},
      {utc(2021, 10, 31, 1, 0, 0), "2021-10-31 02:00:00 MEZ", 0},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.local);
    const tm* local = localtime(&row.when);
    ASSERT_NE(local, nullptr);
    EXPECT_EQ(text_of(local), row.local);
    EXPECT_EQ(local->tm_isdst, row.is_summer);
  }
}

struct Arithmetic {
  const char* name;
  timeval a;
  timeval b;
  timeval result;
};

TEST(TimeTimevalInc, AddsBothParts) {
  const Arithmetic kCases[] = {
      {"nothing", {0, 0}, {0, 0}, {0, 0}},
      {"no carry", {1, 2}, {3, 4}, {4, 6}},
      {"just below a second", {0, 600000}, {0, 399999}, {0, 999999}},
      {"exactly a second stays", {0, 600000}, {0, 400000}, {0, 1000000}},
      {"just above a second", {0, 600000}, {0, 400001}, {1, 1}},
      {"both parts nearly full", {2, 999999}, {3, 999999}, {6, 999998}},
      {"a full part plus nothing stays", {5, 1000000}, {0, 0}, {5, 1000000}},
      {"a full part plus one", {5, 1000000}, {0, 1}, {6, 1}},
      {"two full parts", {0, 1000000}, {0, 1000000}, {2, 0}},
      {"several seconds at once", {0, 2500000}, {0, 2500001}, {5, 1}},
      {"negative seconds", {-3, 500000}, {1, 600000}, {-1, 100000}},
      {"negative microseconds are left", {1, -5}, {1, 3}, {2, -2}},
      {"many negative microseconds are left", {1, -5000000}, {1, 1}, {2, -4999999}},
      {"all seconds", {kMaxSeconds - 1, 999999}, {0, 2}, {kMaxSeconds, 1}},
      {"seconds wrap", {kMaxSeconds, 0}, {1, 0}, {kMinSeconds, 0}},
      {"seconds wrap by the carry", {kMaxSeconds, 999999}, {0, 2}, {kMinSeconds, 1}},
      {"seconds wrap downwards", {kMinSeconds, 0}, {-1, 0}, {kMaxSeconds, 0}},
      {"all microseconds", {0, kMaxMicroseconds}, {0, 0}, {kMaxMicroseconds / 1000000, kMaxMicroseconds % 1000000}},
      {"microseconds wrap", {0, kMaxMicroseconds}, {0, 1}, {0, kMinMicroseconds}},
      {"microseconds wrap downwards",
       {0, kMinMicroseconds},
       {0, -1},
       {kMaxMicroseconds / 1000000, kMaxMicroseconds % 1000000}},
  };
  for (const Arithmetic& row : kCases) {
    SCOPED_TRACE(row.name);
    timeval a = row.a;
    const timeval b = row.b;
    NUV_timeval_inc(&a, &b);
    EXPECT_EQ(a, row.result);
    EXPECT_EQ(b, row.b);
  }
}

TEST(TimeTimevalInc, DoublesATimeAddedToItself) {
  timeval time = {1, 600000};
  NUV_timeval_inc(&time, &time);
  EXPECT_EQ(time, (timeval{3, 200000}));
}

TEST(TimeTimevalDec, SubtractsBothParts) {
  const Arithmetic kCases[] = {
      {"nothing", {0, 0}, {0, 0}, {0, 0}},
      {"no borrow", {5, 7}, {2, 3}, {3, 4}},
      {"equal microseconds", {5, 7}, {2, 7}, {3, 0}},
      {"borrow", {5, 0}, {2, 500000}, {2, 500000}},
      {"borrow of one", {5, 0}, {2, 1}, {2, 999999}},
      {"negative seconds", {1, 0}, {2, 0}, {-1, 0}},
      {"negative by a microsecond", {0, 0}, {0, 1}, {-1, 999999}},
      {"carry", {3, 1500000}, {1, 200000}, {3, 300000}},
      {"exactly a second stays", {1, 1000000}, {0, 0}, {1, 1000000}},
      {"exactly a second by subtraction stays", {1, 1500000}, {0, 500000}, {1, 1000000}},
      {"just above a second", {1, 1000001}, {0, 0}, {2, 1}},
      {"just below a second", {1, 1000000}, {0, 1}, {1, 999999}},
      {"borrow of nearly a second", {0, 0}, {0, 999999}, {-1, 1}},
      {"borrow of exactly a second leaves a full part", {0, 0}, {0, 1000000}, {-2, 1000000}},
      {"borrow of more than a second", {0, 0}, {0, 1000001}, {-2, 999999}},
      {"borrow of exactly two seconds leaves a full part", {0, 0}, {0, 2000000}, {-3, 1000000}},
      {"borrow of several seconds", {0, 5}, {0, 2500000}, {-3, 500005}},
      {"big borrow", {10, 0}, {0, 2000000000}, {-1991, 1000000}},
      {"big borrow with a rest", {10, 0}, {0, 2000000001}, {-1991, 999999}},
      {"big carry", {10, 2000000000}, {0, 1}, {2009, 999999}},
      {"big carry without a rest", {10, 2000000000}, {0, 0}, {2010, 0}},
      {"negative microseconds in the first", {0, -1}, {0, 0}, {-1, 999999}},
      {"negative microseconds in the second", {0, 0}, {0, -1}, {0, 1}},
      {"a full negative part in the second stays", {0, 0}, {0, -1000000}, {0, 1000000}},
      {"many negative microseconds in the second", {0, 0}, {0, -3000000}, {3, 0}},
      {"negative microseconds in both", {0, -7}, {0, -5}, {-1, 999998}},
      {"negative seconds in the second", {1, 0}, {-2, 1}, {2, 999999}},
      {"all seconds", {kMaxSeconds, 1}, {1, 2}, {kMaxSeconds - 2, 999999}},
      {"seconds wrap", {kMinSeconds, 0}, {1, 0}, {kMaxSeconds, 0}},
      {"seconds wrap by the borrow", {kMinSeconds, 0}, {0, 1}, {kMaxSeconds, 999999}},
      {"seconds wrap upwards", {kMaxSeconds, 0}, {-1, 0}, {kMinSeconds, 0}},
      {"borrowed seconds wrap", {0, 0}, {kMaxSeconds, 1}, {kMinSeconds, 999999}},
      {"carried seconds wrap", {0, 1000001}, {kMinSeconds, 0}, {kMinSeconds + 1, 1}},
      {"all microseconds subtracted from zero",
       {0, 0},
       {0, kMaxMicroseconds},
       {-(kMaxMicroseconds / 1000000) - 1, 1000000 - kMaxMicroseconds % 1000000}},
      {"zero subtracted from all microseconds",
       {0, kMaxMicroseconds},
       {0, 0},
       {kMaxMicroseconds / 1000000, kMaxMicroseconds % 1000000}},
      {"difference of microseconds wraps", {0, kMinMicroseconds}, {0, kMaxMicroseconds}, {0, 1}},
      {"difference of microseconds wraps upwards", {0, kMaxMicroseconds}, {0, kMinMicroseconds}, {0, -1}},
  };
  for (const Arithmetic& row : kCases) {
    SCOPED_TRACE(row.name);
    timeval a = row.a;
    const timeval b = row.b;
    NUV_timeval_dec(&a, &b);
    EXPECT_EQ(a, row.result);
    EXPECT_EQ(b, row.b);
  }
}

TEST(TimeTimevalDec, SubtractsATimeFromItself) {
  timeval time = {7, 999999};
  NUV_timeval_dec(&time, &time);
  EXPECT_EQ(time, (timeval{0, 0}));
}

TEST(TimeTimevalDec, UndoesAnIncrement) {
  const timeval step = {0, 333333};
  timeval time = {1, 1};
  for (int i = 0; i < 100; ++i) {
    NUV_timeval_inc(&time, &step);
  }
  EXPECT_EQ(time, (timeval{34, 333301}));
  for (int i = 0; i < 100; ++i) {
    NUV_timeval_dec(&time, &step);
  }
  EXPECT_EQ(time, (timeval{1, 1}));
}

TEST(TimeTimevalCmp, ComparesSecondsBeforeMicroseconds) {
  const struct {
    timeval a;
    timeval b;
    int32_t result;
  } kCases[] = {
      {{0, 0}, {0, 0}, 0},
      {{1, 5}, {1, 5}, 0},
      {{2, 0}, {1, 999999}, 1},
      {{1, 6}, {1, 5}, 1},
      {{-1, 0}, {0, 0}, -1},
      {{-1, 999999}, {0, 0}, -1},
      {{-2, 0}, {-1, 0}, -1},
      {{0, -1}, {0, 0}, -1},
      // The operands are not normalised.
      {{1, 0}, {0, 1000000}, 1},
      {{1, 0}, {0, 5000000}, 1},
      {{0, 1000000}, {0, 999999}, 1},
      {{kMaxSeconds, 0}, {kMinSeconds, 0}, 1},
      {{kMaxSeconds, 0}, {-1, 0}, 1},
      {{0, kMaxMicroseconds}, {0, kMinMicroseconds}, 1},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.a);
    EXPECT_EQ(NUV_timeval_cmp(&row.a, &row.b), row.result);
    EXPECT_EQ(NUV_timeval_cmp(&row.b, &row.a), -row.result);
  }
}

// --- Calls that fail ---

// Callers cannot tell the error from a count.
TEST(TimeFaults, TickCountOfAFailingClockIsTheError) {
  FakeClock clock;
  const int reads = each_fault("clock_gettime", {EPERM, EINVAL, EINTR}, [](Fault& fault) {
    const uint32_t ticks = fault.during(NUV_GetTickCount);
    EXPECT_EQ(ticks, fault.has_struck() ? static_cast<uint32_t>(fault.error()) : 1000000U);
    EXPECT_EQ(NUV_GetTickCount(), 1000000U);
  });
  EXPECT_EQ(reads, 1);
}

TEST(TimeFaults, AFailingClockLeavesTheTimeUnchanged) {
  FakeClock clock;
  const int reads = each_fault("clock_gettime", {EPERM, EINVAL, EINTR}, [](Fault& fault) {
    timeval time = {-7, 1234567};
    const int32_t result = fault.during([&] { return nuv_gettimeofday_absolute(&time); });
    EXPECT_EQ(result, fault.has_struck() ? fault.error() : 0);
    EXPECT_EQ(time, (fault.has_struck() ? timeval{-7, 1234567} : timeval{1000, 0}));
    EXPECT_EQ(nuv_gettimeofday_absolute(&time), 0);
    EXPECT_EQ(time, (timeval{1000, 0}));
  });
  EXPECT_EQ(reads, 1);
}

TEST(TimeFaults, GetTimeWithAFailingClockReturnsZero) {
  FakeClock clock;
  clock.set_wall({1, 2});
  const int reads = each_fault("gettimeofday", {EFAULT, EPERM}, [](Fault& fault) {
    const uint32_t stamp = fault.during(NUV_Time_getTime);
    EXPECT_EQ(stamp, fault.has_struck() ? 0U : 1000002U);
    EXPECT_EQ(NUV_Time_getTime(), 1000002U);
  });
  EXPECT_EQ(reads, 1);
}

// The C library's name for the zone of gmtime(): GMT or UTC.
std::string name_of_utc() {
  const time_t then = 0;
  char name[8];
  return strftime(name, sizeof name, " %Z", gmtime(&then)) > 0 ? name : "";
}

// A failed time() counts as the time -1; a null pointer from gmtime() or localtime() is returned.
TEST(TimeFaults, PassOnTheResultsOfTheCLibrary) {
  FakeClock clock;
  clock.set_wall({utc(2024, 7, 1, 12, 30, 59), 0});
  const std::string utc_name = name_of_utc();
  const struct {
    const char* function;
    tm* (*now)();
    std::string before;  // result of the call that fails
    std::string after;
  } kCases[] = {
      {"time", NUV_getGMTime, "1969-12-31 23:59:59" + utc_name, "2024-07-01 12:30:59" + utc_name},
      {"gmtime", NUV_getGMTime, "null", "2024-07-01 12:30:59" + utc_name},
      {"time", NUV_getLocalTime, "1970-01-01 00:59:59 MEZ", "2024-07-01 14:30:59 MESZ"},
      {"localtime", NUV_getLocalTime, "null", "2024-07-01 14:30:59 MESZ"},
      // If the rule cannot be set, the former zone stays in force.
      {"putenv", NUV_getLocalTime, "2024-07-01 07:30:59 EST", "2024-07-01 14:30:59 MESZ"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.function);
    const int calls = each_fault(row.function, {EOVERFLOW, ENOMEM}, [&row](Fault& fault) {
      const TimeZone zone("EST5");
      const tm* time = fault.during(row.now);
      const std::string text = time != nullptr ? text_of(time) : "null";
      EXPECT_EQ(text, fault.has_struck() ? row.before : row.after);
      EXPECT_EQ(text_of(row.now()), row.after);
    });
    EXPECT_EQ(calls, 1);
  }
}

TEST(TimeFaults, SecondsOfAFailingClockAreMinusOne) {
  FakeClock clock;
  clock.set_wall({1234567890, 0});
  const int reads = each_fault("time", {EOVERFLOW, EFAULT}, [](Fault& fault) {
    const TimeZone zone(nullptr);
    time_t stored = -7;
    const time_t seconds = fault.during([&] { return NUV_localTime(&stored); });
    EXPECT_EQ(seconds, fault.has_struck() ? -1 : 1234567890);
    EXPECT_EQ(stored, fault.has_struck() ? -7 : 1234567890);
    EXPECT_EQ(TimeZone::current(), kRule) << "the rule is set anyway";
    EXPECT_EQ(NUV_localTime(nullptr), 1234567890);
  });
  EXPECT_EQ(reads, 1);
  const int rules = each_fault("putenv", {ENOMEM}, [](Fault& fault) {
    const TimeZone zone(nullptr);
    const time_t seconds = fault.during([] { return NUV_localTime(nullptr); });
    EXPECT_EQ(seconds, 1234567890);
    EXPECT_EQ(TimeZone::current().has_value(), !fault.has_struck());
    NUV_localTime(nullptr);
    EXPECT_EQ(TimeZone::current(), kRule);
  });
  EXPECT_EQ(rules, 1);
}

}  // namespace
