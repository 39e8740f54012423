// Calendar arithmetic, the current time, and dates as text.
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

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
const char* s_pattern = "%-m/%-d/%Y %X";
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

// The same over dates and times of 300 years.
template <class Each>
auto overDates(Each each) {
  struct Date {
    int year, month, day, hour, minute;
  };
  std::vector<Date> dates;
  for (int i = 0; i < s_count; ++i) dates.push_back({1970 + i % 300, 1 + i % 12, 1 + i % 28, i % 24, i % 60});
  return [each, dates] {
    std::uint64_t sum = 0;
    for (const auto& [year, month, day, hour, minute] : dates)
      sum += static_cast<std::uint64_t>(each(year, month, day, hour, minute));
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

// The work with TZ set so, or not set.
template <class Work>
auto inZone(const char* zone, Work work) {
  return [zone, work] {
    if (zone != nullptr) {
      setenv("TZ", zone, 1);
    } else {
      unsetenv("TZ");
    }
    tzset();  // which some sides rely on
    return work();
  };
}

// The current hour and day of the month in the local zone: every side is asked within the same hour.
void now(const char* name, const char* zone) {
  const auto hours = [zone](auto work) {
    return inZone(zone, [work] {
      int sum = 0;
      for (int i = 0; i < s_count; ++i) sum += work();
      return sum;
    });
  };
  bench::Question<int> question(name);
  question.items(s_count);
  question.side("tvk", hours([] {
                  const auto fields = DateTimeO::Now().GetFields();
                  return fields.day * 24 + fields.hour;
                }));
  question.side("clock_gettime + localtime_r", hours([] {
                  timespec moment;
                  clock_gettime(CLOCK_REALTIME, &moment);
                  std::tm fields;
                  localtime_r(&moment.tv_sec, &fields);
                  return fields.tm_mday * 24 + fields.tm_hour;
                }));
#ifdef BENCH_POCO
  question.side("POCO", hours([] {
                  const Poco::LocalDateTime fields;
                  return fields.day() * 24 + fields.hour();
                }));
#endif
#ifdef BENCH_BOOST
  question.side("Boost", hours([] {
                  const auto moment = boost::posix_time::microsec_clock::local_time();
                  return moment.date().day() * 24 + static_cast<int>(moment.time_of_day().hours());
                }));
#endif
#ifdef BENCH_GLIB
  question.side("GLib", hours([] {
                  GDateTime* const moment = g_date_time_new_now_local();
                  const int sum = g_date_time_get_day_of_month(moment) * 24 + g_date_time_get_hour(moment);
                  g_date_time_unref(moment);
                  return sum;
                }));
#endif
}

// Dates and times of 2024 in UTC; that is asked in a local zone too, as it must not matter.
void format(const char* size, const char* zone) {
  const auto texts = [zone](auto formatted) {
    return inZone(zone, [formatted] {
      constexpr std::int64_t start = 1'704'067'200, step = 31'415;
      std::size_t sum = 0;
      for (int i = 0; i < s_count; ++i) {
        const std::string text = formatted(start + i * step);
        sum += text.size() + static_cast<unsigned char>(text[text.size() / 2]);
      }
      return sum;
    });
  };
  bench::Question<std::size_t> question("format_date", size);
  question.items(s_count);
  question.side("tvk",
                texts([](std::int64_t moment) { return DateTimeO::FromUnixTime(moment, 0).Format(true); }));
  question.side("gmtime_r + strftime", texts([](std::int64_t moment) {
                  std::tm fields;
                  gmtime_r(&moment, &fields);
                  char text[64];
                  return std::string(text, std::strftime(text, sizeof text, s_pattern, &fields));
                }));
#ifdef BENCH_ABSL
  question.side("Abseil", texts([](std::int64_t moment) {
                  return absl::FormatTime("%-m/%-d/%Y %H:%M:%S", absl::FromUnixSeconds(moment),
                                          absl::UTCTimeZone());
                }));
#endif
#ifdef BENCH_POCO
  question.side("POCO", texts([](std::int64_t moment) {
                  return Poco::DateTimeFormatter::format(Poco::Timestamp(moment * 1000000),
                                                         "%n/%e/%Y %H:%M:%S");
                }));
#endif
}

}  // namespace

void bench::ask() {
  calendar();
  const char* const zone = "Europe/Berlin";
  now("now_with_TZ", zone);
  now("now_without_TZ", nullptr);
  format("TZ set", zone);
  format("TZ not set", nullptr);
}
