// Dates read and written, and the calendar over its whole range, against the calendar of the C++ library.
#include <tvk/time/DateTime.h>

#include <chrono>

#include "Input.h"

namespace {

using tvk::DateTimeO;

// The fields are those of the standard calendar, whose years end before: a cycle of 400 years repeats them.
void checkFields(const tvk::CalendarFields& fields, std::uint64_t ticks) {
  constexpr std::int64_t daysOfCycle = 146097;
  const std::chrono::sys_days first = std::chrono::year(1601) / 1 / 1;
  const auto day = static_cast<std::int64_t>(ticks / (86400 * DateTimeO::TicksPerSecond));
  const std::chrono::year_month_day date(first + std::chrono::days(day % daysOfCycle));
  REQUIRE(fields.year == int(date.year()) + 400 * (day / daysOfCycle));
  REQUIRE(fields.month == unsigned(date.month()) && fields.day == unsigned(date.day()));
  REQUIRE(fields.weekday == std::chrono::weekday(date).c_encoding());
  const auto seconds = (fields.hour * 60u + fields.minute) * 60 + fields.second;
  REQUIRE(seconds * 1000 + fields.millisecond == ticks / 10000 % 86400000);
}

// Everything that can be made of a moment leads back to it.
void checkMoment(const DateTimeO& moment, std::uint64_t ticks) {
  REQUIRE(DateTimeO::FromUnixTime(moment.ToUnixTime(), 0).GetUtcTicks() == ticks - ticks % 10000000);
  tvk::CalendarFields f;
  if (fuzz::codeOf([&] { f = moment.GetFields(); }) == -1) {
    const std::int32_t zone = moment.ZoneMinutes();
    REQUIRE(moment.GetTicks() == ticks + static_cast<std::uint64_t>(std::int64_t{zone} * 600000000));
    checkFields(f, moment.GetTicks());
    DateTimeO again(zone);
    again.SetFields(f.year, f.month, f.weekday, f.day, f.hour, f.minute, f.second, f.millisecond);
    REQUIRE(again.GetUtcTicks() == ticks - ticks % 10000);
  }
  tvk::StringBase<char> text;
  if (fuzz::codeOf([&] { text = moment.ToRfc3339(); }) == -1) {
    const DateTimeO again = DateTimeO::FromRfc3339(text);
    REQUIRE(again.GetUtcTicks() == ticks && again.ToRfc3339() == text);
  }
  std::chrono::system_clock::time_point point;
  if (fuzz::codeOf([&] { point = moment.ToTimePoint(); }) == -1)
    REQUIRE(DateTimeO::FromTimePoint(point).GetUtcTicks() == ticks);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  [[maybe_unused]] static const int s_zone = setenv("TZ", "America/St_Johns", 1);
  fuzz::Input in(data, size);
  DateTimeO value;
  while (!in.AtEnd()) {
    const auto operation = in.Take();
    const std::int32_t zone = operation & 0x40   ? in.Take<std::int32_t>()
                              : operation & 0x80 ? in.Take<std::int16_t>()
                                                 : DateTimeO::LocalZone;
    const auto number = in.Take<std::uint64_t>();
    const auto part = [number](unsigned shift) { return static_cast<std::int16_t>(number >> shift) % 100; };
    const auto year = static_cast<std::uint16_t>(number);
    const bool wasSet = value.IsSet();
    const std::int64_t code = fuzz::codeOf([&] {
      if (operation % 8 == 0) value = DateTimeO::FromUtcTicks(number, zone);
      if (operation % 8 == 1) value = DateTimeO::FromUnixTime(static_cast<std::int64_t>(number) >> 22, zone);
      if (operation % 8 == 2) value.SetDate(year, part(16), part(32));
      if (operation % 8 == 3) value.SetTime(part(0), part(8), part(16), part(24));
      if (operation % 8 == 4)
        value = DateTimeO(year, part(16), part(24), part(32), part(40), part(48), 0, zone);
      if (operation % 8 == 5) value.ConvertToZone(zone);
      if (operation % 8 == 6) value = DateTimeO::FromRfc3339(in.Text());
      if (operation % 8 == 7) REQUIRE(!value.Format(number & 1).empty());
    });
    REQUIRE(code == -1 || (code == 1313 && value.IsSet() == wasSet));
    std::uint64_t ticks = 0;
    if (fuzz::codeOf([&] { ticks = value.GetUtcTicks(); }) == -1) checkMoment(value, ticks);
  }
  return 0;
}
