// Calendar arithmetic, the current time, and dates as text.
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>
#include <tuple>

#include <tvk/time/DateTime.h>

#include "Sides.h"

#ifdef BENCH_ABSL
#include <absl/time/civil_time.h>
#include <absl/time/time.h>
#endif
#ifdef BENCH_BOOST
#include <boost/date_time/posix_time/posix_time.hpp>
#endif
#ifdef BENCH_POCO
#include <Poco/DateTime.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/LocalDateTime.h>
#endif
#ifdef BENCH_GLIB
#include <glib.h>
#endif

namespace {

using tvk::DateTimeO;

constexpr int s_count = 1000;
constexpr std::int64_t s_step = 12'345'678;  // seconds: a different day, month and time each

// The sum of something over moments from 1970 to 2361.
template <class Each>
auto overMoments(Each each) {
  return [each] {
    std::uint64_t sum = 0;
    for (int i = 0; i < s_count; ++i) sum += static_cast<std::uint64_t>(each(i * s_step));
    return sum;
  };
}

// The same for day, hour and minute, which are part of a date in every year.
template <class Each>
auto overDates(Each each) {
  return [each] {
    std::uint64_t sum = 0;
    for (int i = 0; i < s_count; ++i)
      sum += static_cast<std::uint64_t>(each(1970 + i % 300, 1 + i % 12, 1 + i % 28, i % 24, i % 60));
    return sum;
  };
}

void calendar() {
  bench::Question<std::uint64_t> from("ticks_to_calendar");
  from.items(s_count);
  from.side("tvk", overMoments([](std::int64_t seconds) {
              const auto fields =
                  DateTimeO::FromUtcTicks(DateTimeO::UnixEpochTicks +
                                              static_cast<std::uint64_t>(seconds) * DateTimeO::TicksPerSecond,
                                          0)
                      .GetFields();
              return fields.year + fields.month + fields.day + fields.hour;
            }));
  from.side("gmtime_r", overMoments([](std::int64_t seconds) {
              std::tm fields;
              gmtime_r(&seconds, &fields);
              return fields.tm_year + 1900 + fields.tm_mon + 1 + fields.tm_mday + fields.tm_hour;
            }));
#ifdef BENCH_ABSL
  from.side("Abseil", overMoments([](std::int64_t seconds) {
              const auto fields = absl::ToCivilSecond(absl::FromUnixSeconds(seconds), absl::UTCTimeZone());
              return fields.year() + fields.month() + fields.day() + fields.hour();
            }));
#endif
#ifdef BENCH_BOOST
  from.side("Boost", overMoments([](std::int64_t seconds) {
              static const boost::posix_time::ptime start(boost::gregorian::date(1970, 1, 1));
              const auto moment = start + boost::posix_time::seconds(seconds);
              const auto day = moment.date().year_month_day();
              return day.year + day.month + day.day + moment.time_of_day().hours();
            }));
#endif
#ifdef BENCH_POCO
  from.side("POCO", overMoments([](std::int64_t seconds) {
              const Poco::DateTime fields(Poco::Timestamp(seconds * 1000000));
              return fields.year() + fields.month() + fields.day() + fields.hour();
            }));
#endif

  bench::Question<std::uint64_t> to("calendar_to_ticks");
  to.items(s_count);
  to.side(
      "tvk", overDates([](int year, int month, int day, int hour, int minute) {
        return (DateTimeO(year, month, day, hour, minute, 0, 0, 0).GetTicks() - DateTimeO::UnixEpochTicks) /
               DateTimeO::TicksPerSecond;
      }));
  to.side("timegm", overDates([](int year, int month, int day, int hour, int minute) {
            std::tm fields{};
            fields.tm_year = year - 1900, fields.tm_mon = month - 1, fields.tm_mday = day;
            fields.tm_hour = hour, fields.tm_min = minute;
            return timegm(&fields);
          }));
#ifdef BENCH_ABSL
  to.side("Abseil", overDates([](int year, int month, int day, int hour, int minute) {
            return absl::ToUnixSeconds(
                absl::FromCivil(absl::CivilSecond(year, month, day, hour, minute), absl::UTCTimeZone()));
          }));
#endif
#ifdef BENCH_POCO
  to.side("POCO", overDates([](int year, int month, int day, int hour, int minute) {
            return Poco::DateTime(year, month, day, hour, minute).timestamp().epochTime();
          }));
#endif
}

// The current hour and day of the month in the local zone: every side is asked within the same hour.
void now(const char* name, const char* zone) {
  const auto inZone = [zone](auto work) {
    return [zone, work] {
      if (zone != nullptr) {
        setenv("TZ", zone, 1);
      } else {
        unsetenv("TZ");
      }
      int sum = 0;
      tzset();  // which some sides rely on
      for (int i = 0; i < s_count; ++i) sum += work();
      return sum;
    };
  };
  bench::Question<int> question(name);
  question.items(s_count);
  question.side("tvk", inZone([] {
                  const auto fields = DateTimeO::Now().GetFields();
                  return fields.day * 24 + fields.hour;
                }));
  question.side("clock_gettime + localtime_r", inZone([] {
                  timespec moment;
                  clock_gettime(CLOCK_REALTIME, &moment);
                  std::tm fields;
                  localtime_r(&moment.tv_sec, &fields);
                  return fields.tm_mday * 24 + fields.tm_hour;
                }));
#ifdef BENCH_POCO
  question.side("POCO", inZone([] {
                  const Poco::LocalDateTime fields;
                  return fields.day() * 24 + fields.hour();
                }));
#endif
#ifdef BENCH_BOOST
  question.side("Boost", inZone([] {
                  const auto moment = boost::posix_time::microsec_clock::local_time();
                  return moment.date().day() * 24 + static_cast<int>(moment.time_of_day().hours());
                }));
#endif
#ifdef BENCH_GLIB
  question.side("GLib", inZone([] {
                  GDateTime* const moment = g_date_time_new_now_local();
                  const int sum = g_date_time_get_day_of_month(moment) * 24 + g_date_time_get_hour(moment);
                  g_date_time_unref(moment);
                  return sum;
                }));
#endif
}

void format() {
  constexpr std::int64_t seconds = 1'710'504'000;  // 2024-03-15 12:00 UTC
  static const std::string pattern = "%-m/%-d/%Y %X";
  bench::Question<std::string> question("format_date");
  question.side("tvk", [] { return std::string(DateTimeO::FromUnixTime(seconds, 0).Format(true)); });
  question.side("gmtime_r + strftime", [] {
    const std::time_t moment = seconds;
    std::tm fields;
    gmtime_r(&moment, &fields);
    char text[64];
    return std::string(text, std::strftime(text, sizeof text, pattern.c_str(), &fields));
  });
#ifdef BENCH_ABSL
  question.side("Abseil", [] {
    return absl::FormatTime("%-m/%-d/%Y %H:%M:%S", absl::FromUnixSeconds(seconds), absl::UTCTimeZone());
  });
#endif
#ifdef BENCH_POCO
  question.side("POCO", [] {
    return Poco::DateTimeFormatter::format(Poco::Timestamp(seconds * 1000000), "%n/%e/%Y %H:%M:%S");
  });
#endif
}

}  // namespace

void bench::ask() {
  calendar();
  now("now_with_TZ", "Europe/Berlin");
  now("now_without_TZ", nullptr);
  format();
}
