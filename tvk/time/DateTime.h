// A point in time: ticks, calendar fields and a zone.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

#include <tvk/Export.h>
#include <tvk/process/AutoInit.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// The calendar reading of a moment in the zone of its value.
struct CalendarFields {
  std::uint16_t year = 0;         // in full, e.g. 2024
  std::uint16_t month = 0;        // 1 to 12
  std::uint16_t weekday = 0;      // 0 (Sunday) to 6
  std::uint16_t day = 0;          // 1 to 31
  std::uint16_t hour = 0;         // 0 to 23
  std::uint16_t minute = 0;       // 0 to 59
  std::uint16_t second = 0;       // 0 to 59, there are no leap seconds
  std::uint16_t millisecond = 0;  // 0 to 999

  friend bool operator==(const CalendarFields&, const CalendarFields&) = default;
};

// A moment held as ticks, as calendar fields, or as both, with the zone it is shown in. What is missing is
// worked out when asked for. A value that was given neither is "not set".
//
// Units    ticks of 100 ns since 1601-01-01 00:00 UTC; zones in minutes, positive east of Greenwich.
//          LocalZone stands for the zone of the host and is replaced by its offset as soon as that is needed.
// Range    the years 1601 to 60055 of the Gregorian calendar.
// Errors   every failure throws Exception 1313 and leaves the value as it was: "not set" for reading a value
//          that is not set, otherwise with the date, time or number that lies outside the range.
// Threads  a value belongs to one thread at a time, reading included: it keeps what it works out.
//
//   tvk::DateTimeO noon(2024, 3, 15, 12, 0, 0, 0, 60);
//   noon.ConvertToZone(0);                            // the same moment: 11:00 UTC
class TVK_EXPORT DateTimeO {
 public:
  static constexpr std::int32_t LocalZone = -999;
  static constexpr std::uint64_t UnixEpochTicks = 116444736ull * 1000000000ull;  // 1970-01-01 00:00 UTC
  static constexpr std::uint64_t TicksPerSecond = 10000000;
  static constexpr std::uint64_t TicksPerMinute = 600000000;

  explicit DateTimeO(std::int32_t zone = LocalZone) noexcept : m_zoneMinutes(zone) {}
  // LocalZone is replaced at once by the offset of the host on that date.
  DateTimeO(int year, int month, int day, int hour, int minute, int second, int millisecond,
            std::int32_t zone = LocalZone);

  // --- Calendar fields, in the zone of the value. Setting keeps the zone; the parts of a moment below the
  // millisecond are lost by it.

  // The weekday is worked out, whatever is given.
  void SetFields(int year, int month, int weekday, int day, int hour, int minute, int second,
                 int millisecond);
  // Keeps the time of day; midnight when the value was not set.
  void SetDate(int year, int month, int day);
  // Keeps the date. When the value was not set it holds the time alone, with the date 0-0-0: it becomes a
  // moment with SetDate(), and until then everything that needs one throws.
  void SetTime(int hour, int minute, int second, int millisecond);

  CalendarFields GetFields() const {
    MakeFieldsCurrent();
    return m_fields;
  }
  void GetFields(std::uint16_t& year, std::uint16_t& month, std::uint16_t& weekday, std::uint16_t& day,
                 std::uint16_t& hour, std::uint16_t& minute, std::uint16_t& second,
                 std::uint16_t& millisecond) const;

  // --- Ticks and other clocks.

  // The calendar reading as ticks since 1601-01-01 00:00 in the value's own zone: the UTC ticks plus the
  // offset. To compare moments use GetUtcTicks().
  std::uint64_t GetTicks() const;
  std::uint64_t GetUtcTicks() const;
  static DateTimeO FromUtcTicks(std::uint64_t ticks, std::int32_t zone = LocalZone);

  // Whole seconds since 1970-01-01 00:00 UTC, rounded down; negative before.
  std::int64_t ToUnixTime() const;
  static DateTimeO FromUnixTime(std::int64_t seconds, std::int32_t zone = LocalZone);

  // Exact to the tick; finer parts are rounded down. A moment that the clock of the host cannot express
  // throws.
  std::chrono::system_clock::time_point ToTimePoint() const;
  static DateTimeO FromTimePoint(std::chrono::system_clock::time_point moment, std::int32_t zone = LocalZone);

  // The current time to the millisecond, with the offset that the host has at this moment.
  static DateTimeO Now();

  // --- Zones.

  bool IsSet() const noexcept { return m_ticksValid || m_fieldsValid; }
  // The offset, or LocalZone while it has not been needed.
  std::int32_t ZoneMinutes() const noexcept { return m_zoneMinutes; }
  // The same moment in another zone. LocalZone takes the offset that LocalOffset() answers.
  void ConvertToZone(std::int32_t zone);
  // The offset of the host's zone for this value, daylight saving time included; parts of a minute are
  // dropped. Once a value has fields they are read as local time, even when the value is in another zone: in
  // the repeated hour of a change that is standard time, the hour that a change skips counts as daylight
  // saving time.
  std::int32_t LocalOffset() const;

  // --- Text.

  // The date by the pattern of message 55321 ("3/15/2024"), and with `withTime` a blank and the time of day
  // as the locale (LC_TIME) writes it. The date is shown in the value's zone; so is the time of a value in
  // UTC, while in every other zone the time is that of the host.
  StringBase<char> Format(bool withTime) const;

  // "2024-03-15T12:00:00+01:00", with three or seven decimals when the seconds are not whole, "Z" for offset
  // 0. An offset of a day or more is written as UTC. Years from 10000 on throw.
  StringBase<char> ToRfc3339() const;
  // Takes the zone from the text. Digits finer than a tick are dropped; second 60 is refused; an offset of
  // -16:39 gives the same moment in UTC. Throws with the text when it is no date and time.
  static DateTimeO FromRfc3339(std::string_view text);
  static DateTimeO FromRfc3339(const char* text) {
    return FromRfc3339(text != nullptr ? std::string_view(text) : std::string_view());
  }

 private:
  void MakeFieldsCurrent() const;
  void MakeTicksCurrent() const;
  void ResolveZone() const {
    if (m_zoneMinutes == LocalZone) m_zoneMinutes = LocalOffset();
  }

  mutable bool m_ticksValid = false;
  mutable bool m_fieldsValid = false;
  mutable std::int32_t m_zoneMinutes;
  mutable std::uint64_t m_ticks = 0;
  mutable CalendarFields m_fields;
};

// Start-up service: two values that live from the start of the frame to its shut-down. Both may be read by
// every thread.
class TVK_EXPORT DateTimeInit {
 public:
  DateTimeInit();
  DateTimeInit(const DateTimeInit&) = delete;
  DateTimeInit& operator=(const DateTimeInit&) = delete;
  virtual ~DateTimeInit();

  // A value in the local zone that is not set; null outside the life of the service.
  static const DateTimeO* NotSet() noexcept;
  // When the service came up; null outside the life of the service.
  static const DateTimeO* StartTime() noexcept;

 private:
  DateTimeO m_notSet{DateTimeO::LocalZone};
  DateTimeO m_startTime;
};

// The values stay where they are for threads that still read them.
template <>
TVK_EXPORT void AutoInit<DateTimeInit>::Init();
template <>
TVK_EXPORT void AutoInit<DateTimeInit>::Exit();

}  // namespace tvk
