#include <time.h>

#include <array>
#include <clocale>
#include <cstdio>
#include <random>

#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>
#include <tvk/time/DateTime.h>

#include "support/Support.h"

using namespace support;
using namespace tvk;

namespace {

constexpr std::int64_t epochSeconds = 11644473600;  // from 1601 to 1970
constexpr std::int64_t lastSecond = 1833017126399;  // of the year 60055

// What is wrong in the eyes of a call that refuses it.
template <class Work>
std::string refused(Work&& work) {
  const std::string text = thrownMessage(work), front = "Invalid date/time: ";
  return text.starts_with(front) && text.ends_with('.') ? text.substr(19, text.size() - 20) : "not: " + text;
}

std::string text(const DateTimeO& value) { return value.ToRfc3339(); }

}  // namespace

// The calendar and the zones of the host stand in tests/differential.

TEST(DateTime, RefusesWhatIsNoMoment) {
  const ScopedVariable zone("TZ", "Europe/Berlin");
  DateTimeO unset, timeOnly, value(2024, 2, 28, 1, 2, 3, 4, 0);
  timeOnly.SetTime(10, 11, 12, 13);
  int n[4];
  for (const char* bad : {"2200-02-29", "2024-02-30", "2023-04-31", "2024-00-01", "2024-13-01", "2024-12-00",
                          "1600-12-31", "60056-01-01", "2024-65537-01"}) {
    std::sscanf(bad, "%d-%d-%d", &n[0], &n[1], &n[2]);
    EXPECT_EQ(refused([&] { value.SetDate(n[0], n[1], n[2]); }), bad);
    EXPECT_EQ(refused([&] { DateTimeO(n[0], n[1], n[2], 0, 0, 0, 0); }), bad);
  }
  for (const char* bad :
       {"24:00:00.000", "65548:00:00.000", "-1:00:00.000", "00:60:00.000", "23:59:60.000", "00:00:00.1000"}) {
    std::sscanf(bad, "%d:%d:%d.%d", &n[0], &n[1], &n[2], &n[3]);
    EXPECT_EQ(refused([&] { value.SetTime(n[0], n[1], n[2], n[3]); }), bad);
    EXPECT_EQ(refused([&] { value.SetFields(2023, 1, 0, 1, n[0], n[1], n[2], n[3]); }), bad);
  }
  EXPECT_EQ(text(value), "2024-02-28T01:02:03.004Z") << "failures change nothing";
  EXPECT_EQ(refused([&] { unset.Format(true); }), "not set");
  EXPECT_EQ(refused([&] { timeOnly.GetUtcTicks(); }), "0000-00-00");
  EXPECT_EQ(refused([&] { DateTimeO(1601, 1, 1, 0, 59, 0, 0, 60).GetTicks(); }), "1601-01-01");
  EXPECT_EQ(refused([&] { DateTimeO(60055, 12, 31, 23, 0, 0, 0, -60).GetTicks(); }), "60055-12-31");
  EXPECT_EQ(refused([&] { DateTimeO::FromUnixTime(-epochSeconds, -1).GetFields(); }), "0");
  EXPECT_EQ(refused([&] { DateTimeO::FromUnixTime(-epochSeconds - 1); }), "-11644473601");
  EXPECT_EQ(refused([&] { DateTimeO::FromUnixTime(lastSecond + 1); }), "1833017126400");
  EXPECT_EQ(refused([&] { DateTimeO::FromUtcTicks(~std::uint64_t{0}); }), "18446744073709551615");
  EXPECT_EQ(refused([&] { text(DateTimeO(10000, 1, 1, 0, 0, 0, 0, 0)); }), "10000-01-01");
}

TEST(DateTime, HalvesAreReplacedAlone) {
  DateTimeO value(0), dateOnly(0);
  dateOnly.SetDate(2024, 5, 6);
  EXPECT_EQ(text(dateOnly), "2024-05-06T00:00:00Z");
  value.SetTime(10, 11, 12, 13);
  EXPECT_EQ(value.GetFields(), (CalendarFields{0, 0, 0, 0, 10, 11, 12, 13}));
  value.SetDate(2024, 2, 29);
  EXPECT_EQ(text(value), "2024-02-29T10:11:12.013Z");
  value.ConvertToZone(-90);  // leaves ticks alone: each setter has to work the fields out
  value.SetDate(2025, 12, 31);
  EXPECT_EQ(text(value), "2025-12-31T08:41:12.013-01:30");
  value.ConvertToZone(840);
  value.SetTime(1, 2, 3, 4);
  EXPECT_EQ(text(value), "2026-01-01T01:02:03.004+14:00");
  value.SetFields(2024, 3, 6, 15, 4, 5, 6, 7);
  CalendarFields f;
  value.GetFields(f.year, f.month, f.weekday, f.day, f.hour, f.minute, f.second, f.millisecond);
  EXPECT_EQ(f, (CalendarFields{2024, 3, 5, 15, 4, 5, 6, 7})) << "a Friday, whatever was given";
  EXPECT_EQ(text(value), "2024-03-15T04:05:06.007+14:00");
}

TEST(DateTime, LocalZoneOfMoments) {
  const ScopedVariable zone("TZ", "Europe/Berlin");
  DateTimeO utc(2024, 3, 31, 1, 30, 0, 5, 0);
  EXPECT_EQ(utc.LocalOffset(), 60) << "fields are read as local time";
  EXPECT_EQ(DateTimeO::FromUnixTime(utc.ToUnixTime(), 0).LocalOffset(), 120);
  utc.ConvertToZone(DateTimeO::LocalZone);
  EXPECT_EQ(text(utc), "2024-03-31T02:30:00.005+01:00");

  DateTimeO value;
  value.SetFields(2024, 7, 0, 1, 12, 0, 0, 0);
  EXPECT_EQ(text(value), "2024-07-01T12:00:00+02:00");
  value.SetDate(2024, 1, 1);
  EXPECT_EQ(text(value), "2024-01-01T12:00:00+02:00") << "the zone was settled by the first use";

  const DateTimeO now = DateTimeO::Now();
  EXPECT_LE(std::abs(now.ToUnixTime() - time(nullptr)), 5);
  EXPECT_EQ(now.GetUtcTicks() % 10000, 0u) << "whole milliseconds";
  EXPECT_EQ(now.ZoneMinutes(), DateTimeO::FromUnixTime(now.ToUnixTime()).LocalOffset());
}

TEST(DateTime, FormatFollowsThePattern) {
  const DateTimeO value(2024, 3, 15, 13, 2, 3, 0, 0);
  std::mt19937 random(3);
  for (int i = 0; i < 3000; ++i) {
    std::string pattern(random() % 2 * (random() % 70), '-');  // around the room of one pass
    for (auto parts = random() % 10; parts > 0; --parts)
      pattern += std::array{"%1", "%2", "%3", "%3", "%2", "%", "4.", "%1%2%3"}[random() % 8];
    const TvkMessageEntry entries[] = {{55321, pattern.c_str()}, {0, nullptr}};
    registerTranslations(&value, entries);
    StringBase<char> expected;
    formatMessage(expected, pattern.empty() ? "%1-%2-%3" : pattern.c_str(), "2024", "3", "15");
    ASSERT_EQ(value.Format(false), expected) << pattern;
    dropTranslations(&value);
  }
}

TEST(DateTime, FormatWithTime) {
  const ScopedVariable zone("TZ", "Europe/Berlin");
  EXPECT_EQ(DateTimeO(2024, 7, 15, 13, 2, 3, 0, 0).Format(true), "7/15/2024 13:02:03") << "as UTC";
  EXPECT_EQ(DateTimeO(2024, 3, 15, 2, 2, 3, 0, 300).Format(true), "3/15/2024 22:02:03") << "our time";
  ASSERT_NE(std::setlocale(LC_TIME, "en_US.UTF-8"), nullptr);
  EXPECT_EQ(DateTimeO(2024, 3, 15, 13, 2, 3, 0).Format(true), "3/15/2024 01:02:03 PM");
}

TEST(DateTime, Rfc3339) {
  const ScopedVariable zone("TZ", "Europe/Berlin");
  for (const char* same :
       {"2024-02-29T12:00:00.500+01:00", "1601-01-01T00:00:00-00:01", "2024-03-15T12:00:00Z",
        "9999-12-31T23:59:59.9999999-23:59", "1601-01-01T00:00:00.0000001Z"})
    EXPECT_EQ(text(DateTimeO::FromRfc3339(same)), same);
  EXPECT_EQ(text(DateTimeO::FromRfc3339("2024-03-15 12:00:00.0010-05:30")), "2024-03-15T12:00:00.001-05:30");
  EXPECT_EQ(text(DateTimeO::FromRfc3339("2024-03-15t12:00:00.12345678999z")), "2024-03-15T12:00:00.1234567Z");
  EXPECT_EQ(text(DateTimeO::FromRfc3339("2024-03-15T12:00:00-16:39")), "2024-03-16T04:39:00Z") << "-999";
  EXPECT_EQ(text(DateTimeO(2024, 3, 15, 12, 0, 0, 0, 1440)), "2024-03-14T12:00:00Z");

  for (const char* bad :
       {static_cast<const char*>(nullptr), "2024-03-15T12:00:00Zx", "2024-03-15T12:00:00", "2024-03-15",
        "2024-03-15T12:00Z", "2024-03-15T12:00:60Z", "2024-03-15T24:00:00Z", "2023-02-29T00:00:00Z",
        "2024-03-15T12:00:00.Z", "2024-03-15T12:00:00+0100", "2024-03-15T12:00:00+24:00",
        "2024-03-15T12:00:00+01:60", "2024-3-15T12:00:00Z", "+024-03-15T12:00:00Z", "2024-03-15T12:00:00 Z",
        "1601-01-01T00:00:00+00:01", "1600-12-31T23:59:59-00:01", "2024/03/15T12:00:00Z"})
    EXPECT_EQ(refused([&] { DateTimeO::FromRfc3339(bad); }), bad != nullptr ? bad : "");
}

TEST(DateTime, OtherClocks) {
  using Clock = std::chrono::system_clock;
  const auto ticksAt = [](Clock::time_point at) { return DateTimeO::FromTimePoint(at, 0).GetUtcTicks(); };
  const auto momentAt = [](std::uint64_t ticks) { return DateTimeO::FromUtcTicks(ticks).ToTimePoint(); };
  for (const int nanoseconds : {99, 100, -1, -100, 2100000099}) {
    const Clock::time_point moment{Clock::duration(nanoseconds)};
    EXPECT_EQ((moment - momentAt(ticksAt(moment))).count(), (nanoseconds % 100 + 100) % 100) << nanoseconds;
  }
  const auto first = ticksAt(Clock::time_point::min());  // rounded down, before the clock begins
  const auto last = ticksAt(Clock::time_point::max());
  EXPECT_EQ(thrownCode([&] { momentAt(first); }), 1313);
  EXPECT_EQ(thrownCode([&] { momentAt(last + 1); }), 1313);
  EXPECT_TRUE(ticksAt(momentAt(first + 1)) == first + 1 && ticksAt(momentAt(last)) == last);
}
