// Dates read and written, and the calendar over its whole range, against the calendar of the C++ library.
#include <tvk/time/DateTime.h>

#include <chrono>

#include "Input.h"

using tvk::DateTimeO;

// Everything that can be made of a moment leads back to it.
static void check(const DateTimeO& moment, std::uint64_t ticks) {
  assert(DateTimeO::FromUnixTime(moment.ToUnixTime(), 0).GetUtcTicks() == ticks - ticks % 10000000);
  tvk::CalendarFields f;
  if (fuzz::codeOf([&] { f = moment.GetFields(); }) == -1) {
    const std::uint64_t reading = moment.GetTicks();
    assert(reading == ticks + static_cast<std::uint64_t>(std::int64_t{moment.ZoneMinutes()} * 600000000));
    DateTimeO again(moment.ZoneMinutes());
    again.SetFields(f.year, f.month, 0, f.day, f.hour, f.minute, f.second, f.millisecond);
    assert(again.GetUtcTicks() == ticks - ticks % 10000 && again.GetFields() == f);
    // The years of the standard calendar end before; a cycle of 400 of them repeats all.
    const int day = static_cast<int>(reading / 864000000000), cycles = day / 146097;
    const std::chrono::sys_days date(std::chrono::days(day % 146097 - 134774));
    assert(date == std::chrono::sys_days(std::chrono::year(f.year - 400 * cycles) / f.month / f.day));
    assert(f.weekday == std::chrono::weekday(date).c_encoding());
    assert(((f.hour * 60u + f.minute) * 60 + f.second) * 1000 + f.millisecond == reading / 10000 % 86400000);
  }
  tvk::StringBase<char> text;
  if (fuzz::codeOf([&] { text = moment.ToRfc3339(); }) == -1)
    assert(DateTimeO::FromRfc3339(text).GetUtcTicks() == ticks &&
           DateTimeO::FromRfc3339(text).ToRfc3339() == text);
  std::chrono::system_clock::time_point point;
  if (fuzz::codeOf([&] { point = moment.ToTimePoint(); }) == -1)
    assert(DateTimeO::FromTimePoint(point).GetUtcTicks() == ticks);
}

void fuzz::run(Input in) {
  [[maybe_unused]] static const int s_zone = setenv("TZ", "America/St_Johns", 1);
  DateTimeO value;
  while (!in.AtEnd()) {
    const auto operation = in.Take();
    std::int32_t zone = DateTimeO::LocalZone;
    if (operation >= 0x40) zone = operation & 0x40 ? in.Take<std::int32_t>() : in.Take<std::int16_t>();
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
      if (operation % 8 == 7) assert(!value.Format(number & 1).empty());
    });
    assert(code == -1 || (code == 1313 && value.IsSet() == wasSet));
    std::uint64_t ticks = 0;
    if (fuzz::codeOf([&] { ticks = value.GetUtcTicks(); }) == -1) check(value, ticks);
  }
}
