#include <tvk/time/DateTime.h>

#include <langinfo.h>
#include <time.h>

#include <atomic>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <ratio>
#include <string>
#include <utility>

#include <tvk/process/Singleton.h>
#include <tvk/text/Characters.h>
#include <tvk/text/Exception.h>
#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>

namespace tvk {
namespace {

using TickDuration = std::chrono::duration<std::int64_t, std::ratio<1, DateTimeO::TicksPerSecond>>;

constexpr std::int64_t codeInvalid = 1313;
constexpr std::uint32_t codeDatePattern = 55321;

constexpr int firstYear = 1601;
constexpr int lastYear = 60055;
constexpr std::uint64_t secondsPerDay = 86400;
constexpr std::uint64_t ticksPerDay = secondsPerDay * DateTimeO::TicksPerSecond;
constexpr std::uint64_t ticksPerMillisecond = DateTimeO::TicksPerSecond / 1000;

// --- The calendar. Its years begin in March, so that the leap day is the last day of a year and the lengths
// of the months repeat every five; days count from 1600-03-01, the first day of a cycle of 400 years.

constexpr std::uint32_t yearOfDayZero = 1600;
constexpr std::uint32_t firstDay = 306;  // 1601-01-01
constexpr std::uint32_t daysOf400Years = 146097;

constexpr std::uint32_t dayNumber(std::uint32_t year, std::uint32_t month, std::uint32_t day) noexcept {
  const std::uint32_t isBeforeMarch = month < 3;
  const std::uint32_t years = year - isBeforeMarch - yearOfDayZero;
  const std::uint32_t months = month + 12 * isBeforeMarch - 3;
  const std::uint32_t centuries = years / 100;
  const std::uint32_t daysOfMonths = (979 * months + 18) / 32;  // 30.6 on average
  return years * 1461 / 4 - centuries + centuries / 4 + daysOfMonths + day - 1;
}

struct Date {
  std::uint32_t year;
  std::uint32_t month;
  std::uint32_t day;
};

constexpr Date dateOf(std::uint32_t dayNumber) noexcept {
  // In quarters of a day the mean length of a century is a whole number. The divisions by the length of a
  // year and of a month are multiplications by the inverse, exact for every day of a century and of a year:
  // the integral part is the quotient, the fraction tells the remainder.
  constexpr std::uint64_t inverseOfYear = 2939745;  // 2^32 / 1461
  constexpr std::uint32_t inverseOfMonth = 2141;    // 2^16 / 30.6
  const std::uint32_t quarters = 4 * dayNumber + 3;
  const std::uint32_t century = quarters / daysOf400Years;
  const std::uint64_t years = inverseOfYear * (quarters % daysOf400Years | 3);
  const std::uint32_t dayOfYear = static_cast<std::uint32_t>(years) / (4 * inverseOfYear);
  const std::uint32_t months = inverseOfMonth * dayOfYear + 3 * 65536 + 1305;
  const std::uint32_t isNextYear = dayOfYear >= 306;
  return {yearOfDayZero + 100 * century + static_cast<std::uint32_t>(years >> 32) + isNextYear,
          (months >> 16) - 12 * isNextYear, (months & 65535) / inverseOfMonth + 1};
}

constexpr std::uint64_t lastTick = (dayNumber(lastYear + 1, 1, 1) - firstDay) * ticksPerDay - 1;

// Day 0 was a Wednesday. The remainder is seven times the fraction of weeks, exact for every day.
constexpr std::uint32_t weekdayOf(std::uint32_t dayNumber) noexcept {
  constexpr std::uint32_t inverseOfWeek = 613566757;  // 2^32 / 7
  return static_cast<std::uint32_t>(std::uint64_t{(dayNumber + 3) * inverseOfWeek} * 7 >> 32);
}

constexpr int daysOfMonth(int year, int month) noexcept {
  if (month == 2) return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
  return 30 + ((month + month / 8) & 1);
}

constexpr bool isDate(int year, int month, int day) noexcept {
  return year >= firstYear && year <= lastYear && month >= 1 && month <= 12 && day >= 1 &&
         day <= daysOfMonth(year, month);
}

constexpr bool isTime(int hour, int minute, int second, int millisecond) noexcept {
  return hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59 && second >= 0 && second <= 59 &&
         millisecond >= 0 && millisecond <= 999;
}

// Moves ticks by a zone offset; false, and no change, when the result lies outside the calendar.
bool shift(std::uint64_t& ticks, std::int64_t minutes) noexcept {
  const std::uint64_t distance =
      static_cast<std::uint64_t>(minutes < 0 ? -minutes : minutes) * DateTimeO::TicksPerMinute;
  if (minutes < 0 ? ticks < distance : ticks > lastTick - distance) return false;
  ticks = minutes < 0 ? ticks - distance : ticks + distance;
  return true;
}

// --- Failures.

template <class Value>
[[noreturn]] void raise(const Value& value) {
  throw Exception::Of(codeInvalid, value);
}

template <class... Numbers>
[[noreturn]] void raiseNumbers(const char* pattern, Numbers... numbers) {
  char text[64];
  std::snprintf(text, sizeof(text), pattern, numbers...);
  raise(text);
}

void checkDate(int year, int month, int day) {
  if (!isDate(year, month, day)) raiseNumbers("%04d-%02d-%02d", year, month, day);
}

void checkTime(int hour, int minute, int second, int millisecond) {
  if (!isTime(hour, minute, second, millisecond))
    raiseNumbers("%02d:%02d:%02d.%03d", hour, minute, second, millisecond);
}

// --- The zone of the host.

bool localTime(std::int64_t seconds, std::tm& out) noexcept {
  [[maybe_unused]] static const bool s_zoneIsRead = (tzset(), true);
  const std::time_t time = seconds;
  return localtime_r(&time, &out) != nullptr;
}

// What the calendar reading is as local standard time; false when it is no time.
bool localTime(const CalendarFields& fields, std::tm& out) noexcept {
  out = {};
  out.tm_year = fields.year - 1900;
  out.tm_mon = fields.month - 1;
  out.tm_mday = fields.day;
  out.tm_hour = fields.hour;
  out.tm_min = fields.minute;
  out.tm_sec = fields.second;
  out.tm_wday = -1;  // stays when mktime fails; its answer -1 may be a moment
  mktime(&out);
  return out.tm_wday >= 0;
}

std::int32_t offsetOf(const std::tm& time) noexcept { return static_cast<std::int32_t>(time.tm_gmtoff / 60); }

// The standard offset of the host, kept from the first call until shut-down.
constexpr std::int32_t s_unknownOffset = INT32_MIN;
std::atomic<std::int32_t> s_standardOffset{s_unknownOffset};

struct StandardOffset : Singleton {
  ~StandardOffset() override { s_standardOffset = s_unknownOffset; }
};

std::int32_t standardOffset() {
  std::int32_t offset = s_standardOffset;
  if (offset != s_unknownOffset) return offset;
  std::tm newYear{};
  newYear.tm_year = 100;
  newYear.tm_mday = 1;
  mktime(&newYear);
  tzset();
  offset = static_cast<std::int32_t>(-timezone / 60);
  if (s_standardOffset.exchange(offset) == s_unknownOffset) new StandardOffset;  // owned by the list
  return offset;
}

std::int32_t localOffset(std::int64_t seconds) {
  std::tm time;
  return localTime(seconds, time) ? offsetOf(time) : standardOffset();
}

// Whether the host shows the second of a moment, and keeps its offset for as long before and behind it as
// offsets reach: then the reading of that moment in UTC is there once on the clock of the host too. No zone
// of the world ever changed its offset and took that back within four days.
bool keepsOffset(std::int64_t seconds, int second) noexcept {
  constexpr std::int64_t reach = 16 * 3600;
  std::tm before;
  std::tm after;
  return localTime(seconds - reach, before) && localTime(seconds + reach, after) && before.tm_sec == second &&
         after.tm_sec == second && before.tm_gmtoff == after.tm_gmtoff && before.tm_isdst == after.tm_isdst &&
         std::abs(std::int64_t{before.tm_gmtoff}) <= reach;
}

std::atomic<const DateTimeInit*> s_startValues{nullptr};

// --- Text.

// A number in decimal, zero-terminated.
class Decimal {
 public:
  explicit Decimal(unsigned number) noexcept {
    *std::to_chars(m_text, m_text + sizeof(m_text), number).ptr = '\0';
  }
  operator const char*() const noexcept { return m_text; }

 private:
  char m_text[12];
};

// Fills a short pattern in one pass when the result is what formatMessage() answers: every part is named, and
// "%" stands nowhere else. False for all other patterns.
bool fillPlainPattern(StringBase<char>& out, std::string_view pattern, const unsigned (&parts)[3]) {
  constexpr std::ptrdiff_t longestNumber = 10;
  char text[64];
  char* end = text;
  unsigned seen = 0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (std::end(text) - end < longestNumber) return false;
    if (pattern[i] != '%') {
      *end++ = pattern[i];
      continue;
    }
    const char number = ++i < pattern.size() ? pattern[i] : '\0';
    if (number < '1' || number > '3') return false;
    end = std::to_chars(end, std::end(text), parts[number - '1']).ptr;
    seen |= 1u << (number - '1');
  }
  if (seen != 0b111) return false;
  out.assign(text, end);
  return true;
}

void appendDigits(std::string& out, std::uint64_t number, int count) {
  char digits[20];
  for (int i = count; i-- > 0; number /= 10) digits[i] = static_cast<char>('0' + number % 10);
  out.append(digits, static_cast<std::size_t>(count));
}

// Whether the locale writes the time of day in the way of appendTime(), as most do.
bool writesPlainTime() noexcept {
  const std::string_view format = nl_langinfo(T_FMT);
  return format == "%H:%M:%S" || format == "%T";
}

void appendTime(std::string& out, int hour, int minute, int second) {
  char text[] = " 00:00:00";
  char* to = text;
  for (const int part : {hour, minute, second}) {
    to[1] = static_cast<char>('0' + part / 10);
    to[2] = static_cast<char>('0' + part % 10);
    to += 3;
  }
  out.append(text, sizeof(text) - 1);
}

// Reads a text from the left.
class Reader {
 public:
  explicit Reader(std::string_view text) noexcept : m_rest(text) {}

  bool AtEnd() const noexcept { return m_rest.empty(); }
  bool AtDigit() const noexcept { return !m_rest.empty() && characters::isDigit(m_rest.front()); }

  int Digit() noexcept {
    const int digit = m_rest.front() - '0';
    m_rest.remove_prefix(1);
    return digit;
  }
  bool OneOf(std::string_view choices) noexcept {
    if (m_rest.empty() || choices.find(m_rest.front()) == choices.npos) return false;
    m_rest.remove_prefix(1);
    return true;
  }
  bool Number(int digits, int& out) noexcept {
    for (out = 0; digits > 0; --digits) {
      if (!AtDigit()) return false;
      out = out * 10 + Digit();
    }
    return true;
  }

 private:
  std::string_view m_rest;
};

struct Rfc3339 {
  int year, month, day, hour, minute, second;
  std::uint64_t fraction;  // ticks
  int zone;

  bool Read(std::string_view text) noexcept {
    Reader in(text);
    return in.Number(4, year) && in.OneOf("-") && in.Number(2, month) && in.OneOf("-") && in.Number(2, day) &&
           in.OneOf("Tt ") && in.Number(2, hour) && in.OneOf(":") && in.Number(2, minute) && in.OneOf(":") &&
           in.Number(2, second) && ReadFraction(in) && ReadZone(in) && in.AtEnd() &&
           isDate(year, month, day) && isTime(hour, minute, second, 0);
  }

 private:
  bool ReadFraction(Reader& in) noexcept {
    fraction = 0;
    if (!in.OneOf(".")) return true;
    if (!in.AtDigit()) return false;
    for (std::uint64_t unit = DateTimeO::TicksPerSecond / 10; in.AtDigit(); unit /= 10)
      fraction += unit * static_cast<std::uint64_t>(in.Digit());
    return true;
  }
  bool ReadZone(Reader& in) noexcept {
    zone = 0;
    if (in.OneOf("Zz")) return true;
    const bool isWest = in.OneOf("-");
    int hours = 0;
    int minutes = 0;
    if (!(isWest || in.OneOf("+")) || !in.Number(2, hours) || !in.OneOf(":") || !in.Number(2, minutes))
      return false;
    zone = (isWest ? -1 : 1) * (hours * 60 + minutes);
    return isTime(hours, minutes, 0, 0);
  }
};

std::uint64_t readingTicks(std::uint32_t dayNumber, int hour, int minute, int second,
                           int millisecond) noexcept {
  const int millisecondOfDay = ((hour * 60 + minute) * 60 + second) * 1000 + millisecond;
  return (dayNumber - firstDay) * ticksPerDay +
         static_cast<std::uint64_t>(millisecondOfDay) * ticksPerMillisecond;
}

std::uint32_t dayNumber(int year, int month, int day) noexcept {
  return dayNumber(static_cast<std::uint32_t>(year), static_cast<std::uint32_t>(month),
                   static_cast<std::uint32_t>(day));
}

// Answers the number of the day.
std::uint32_t storeDate(CalendarFields& fields, int year, int month, int day) noexcept {
  const std::uint32_t number = dayNumber(year, month, day);
  fields.year = static_cast<std::uint16_t>(year);
  fields.month = static_cast<std::uint16_t>(month);
  fields.day = static_cast<std::uint16_t>(day);
  fields.weekday = static_cast<std::uint16_t>(weekdayOf(number));
  return number;
}

void storeTime(CalendarFields& fields, int hour, int minute, int second, int millisecond) noexcept {
  fields.hour = static_cast<std::uint16_t>(hour);
  fields.minute = static_cast<std::uint16_t>(minute);
  fields.second = static_cast<std::uint16_t>(second);
  fields.millisecond = static_cast<std::uint16_t>(millisecond);
}

// Answers the ticks of the reading.
std::uint64_t store(CalendarFields& fields, int year, int month, int day, int hour, int minute, int second,
                    int millisecond) {
  checkDate(year, month, day);
  checkTime(hour, minute, second, millisecond);
  const std::uint32_t number = storeDate(fields, year, month, day);
  storeTime(fields, hour, minute, second, millisecond);
  return readingTicks(number, hour, minute, second, millisecond);
}

}  // namespace

// --- DateTimeO.

DateTimeO::DateTimeO(int year, int month, int day, int hour, int minute, int second, int millisecond,
                     std::int32_t zone)
    : m_zoneMinutes(zone) {
  m_ticks = store(m_fields, year, month, day, hour, minute, second, millisecond);
  m_fieldsValid = true;
  ResolveZone();
  m_ticksValid = shift(m_ticks, -std::int64_t{m_zoneMinutes});
}

void DateTimeO::SetFields(int year, int month, int, int day, int hour, int minute, int second,
                          int millisecond) {
  store(m_fields, year, month, day, hour, minute, second, millisecond);
  m_fieldsValid = true;
  m_ticksValid = false;
}

void DateTimeO::SetDate(int year, int month, int day) {
  checkDate(year, month, day);
  if (IsSet()) MakeFieldsCurrent();  // a value that is not set holds zeros
  storeDate(m_fields, year, month, day);
  m_fieldsValid = true;
  m_ticksValid = false;
}

void DateTimeO::SetTime(int hour, int minute, int second, int millisecond) {
  checkTime(hour, minute, second, millisecond);
  if (IsSet()) MakeFieldsCurrent();  // a value that is not set holds zeros
  storeTime(m_fields, hour, minute, second, millisecond);
  m_fieldsValid = true;
  m_ticksValid = false;
}

void DateTimeO::GetFields(std::uint16_t& year, std::uint16_t& month, std::uint16_t& weekday,
                          std::uint16_t& day, std::uint16_t& hour, std::uint16_t& minute,
                          std::uint16_t& second, std::uint16_t& millisecond) const {
  MakeFieldsCurrent();
  year = m_fields.year;
  month = m_fields.month;
  weekday = m_fields.weekday;
  day = m_fields.day;
  hour = m_fields.hour;
  minute = m_fields.minute;
  second = m_fields.second;
  millisecond = m_fields.millisecond;
}

std::uint64_t DateTimeO::GetTicks() const {
  std::uint64_t ticks = GetUtcTicks();
  ResolveZone();
  if (!shift(ticks, m_zoneMinutes)) raise(ticks);
  return ticks;
}

std::uint64_t DateTimeO::GetUtcTicks() const {
  MakeTicksCurrent();
  return m_ticks;
}

DateTimeO DateTimeO::FromUtcTicks(std::uint64_t ticks, std::int32_t zone) {
  if (ticks > lastTick) raise(ticks);
  DateTimeO value(zone);
  value.m_ticks = ticks;
  value.m_ticksValid = true;
  return value;
}

std::int64_t DateTimeO::ToUnixTime() const {
  constexpr std::int64_t epoch = UnixEpochTicks / TicksPerSecond;
  return static_cast<std::int64_t>(GetUtcTicks() / TicksPerSecond) - epoch;
}

DateTimeO DateTimeO::FromUnixTime(std::int64_t seconds, std::int32_t zone) {
  constexpr std::int64_t epoch = UnixEpochTicks / TicksPerSecond;
  constexpr std::int64_t last = lastTick / TicksPerSecond - epoch;
  if (seconds < -epoch || seconds > last) raise(seconds);
  return FromUtcTicks(static_cast<std::uint64_t>(seconds + epoch) * TicksPerSecond, zone);
}

std::chrono::system_clock::time_point DateTimeO::ToTimePoint() const {
  using Clock = std::chrono::system_clock;
  constexpr auto ticksOf = [](TickDuration sinceEpoch) {
    return UnixEpochTicks + static_cast<std::uint64_t>(sinceEpoch.count());
  };
  constexpr auto earliest = ticksOf(std::chrono::ceil<TickDuration>(Clock::duration::min()));
  constexpr auto latest = ticksOf(std::chrono::floor<TickDuration>(Clock::duration::max()));
  const std::uint64_t ticks = GetUtcTicks();
  if (ticks < earliest || ticks > latest) raise(ticks);
  const TickDuration sinceEpoch(static_cast<std::int64_t>(ticks - UnixEpochTicks));
  return Clock::time_point(std::chrono::duration_cast<Clock::duration>(sinceEpoch));
}

DateTimeO DateTimeO::FromTimePoint(std::chrono::system_clock::time_point moment, std::int32_t zone) {
  const std::int64_t sinceEpoch = std::chrono::floor<TickDuration>(moment.time_since_epoch()).count();
  if (sinceEpoch < -static_cast<std::int64_t>(UnixEpochTicks)) raise(sinceEpoch);
  return FromUtcTicks(UnixEpochTicks + static_cast<std::uint64_t>(sinceEpoch), zone);
}

DateTimeO DateTimeO::Now() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  DateTimeO now = FromUnixTime(time.tv_sec, localOffset(time.tv_sec));
  now.m_ticks += static_cast<std::uint64_t>(time.tv_nsec / 1000000) * ticksPerMillisecond;
  return now;
}

void DateTimeO::ConvertToZone(std::int32_t zone) {
  if (zone == LocalZone) zone = LocalOffset();
  if (zone == m_zoneMinutes) return;
  MakeTicksCurrent();
  m_zoneMinutes = zone;
  m_fieldsValid = false;
}

std::int32_t DateTimeO::LocalOffset() const {
  if (!m_fieldsValid) return localOffset(ToUnixTime());
  std::tm time;
  return localTime(m_fields, time) ? offsetOf(time) : standardOffset();
}

StringBase<char> DateTimeO::Format(bool withTime) const {
  StringBase<char> pattern;
  loadMessage("libkestzvd4j", codeDatePattern, false, pattern);
  MakeFieldsCurrent();
  if (pattern.empty()) pattern = "%1-%2-%3";
  const unsigned parts[] = {m_fields.year, m_fields.month, m_fields.day};
  StringBase<char> text;
  if (!fillPlainPattern(text, pattern, parts))
    formatMessage(text, pattern.c_str(), Decimal(parts[0]), Decimal(parts[1]), Decimal(parts[2]));
  if (!withTime) return text;

  std::int64_t seconds = ToUnixTime();
  const bool isPlain = writesPlainTime();
  if (m_zoneMinutes == 0 && isPlain && keepsOffset(seconds, m_fields.second)) {
    appendTime(text, m_fields.hour, m_fields.minute, m_fields.second);
    return text;
  }
  if (m_zoneMinutes == 0) seconds -= LocalOffset() * 60;
  std::tm time;
  char timeText[64];
  if (!localTime(seconds, time)) return text;
  if (isPlain) {
    appendTime(text, time.tm_hour, time.tm_min, time.tm_sec);
  } else if (std::strftime(timeText, sizeof(timeText), " %X", &time) != 0) {
    text += timeText;
  }
  return text;
}

StringBase<char> DateTimeO::ToRfc3339() const {
  constexpr std::int32_t minutesPerDay = 24 * 60;
  constexpr std::uint32_t lastFourDigitYear = 9999;
  std::uint64_t ticks = GetUtcTicks();
  ResolveZone();
  const std::int32_t zone = std::abs(std::int64_t{m_zoneMinutes}) < minutesPerDay ? m_zoneMinutes : 0;
  if (!shift(ticks, zone)) raise(ticks);
  const Date date = dateOf(static_cast<std::uint32_t>(ticks / ticksPerDay) + firstDay);
  if (date.year > lastFourDigitYear) raiseNumbers("%u-%02u-%02u", date.year, date.month, date.day);

  StringBase<char> text;
  appendDigits(text, date.year, 4);
  appendDigits(text += '-', date.month, 2);
  appendDigits(text += '-', date.day, 2);
  const std::uint64_t second = ticks % ticksPerDay / TicksPerSecond;
  appendDigits(text += 'T', second / 3600, 2);
  appendDigits(text += ':', second / 60 % 60, 2);
  appendDigits(text += ':', second % 60, 2);
  if (const std::uint64_t fraction = ticks % TicksPerSecond; fraction % ticksPerMillisecond != 0) {
    appendDigits(text += '.', fraction, 7);
  } else if (fraction != 0) {
    appendDigits(text += '.', fraction / ticksPerMillisecond, 3);
  }
  if (zone == 0) {
    text += 'Z';
  } else {
    const auto offset = static_cast<std::uint64_t>(std::abs(zone));
    appendDigits(text += zone < 0 ? '-' : '+', offset / 60, 2);
    appendDigits(text += ':', offset % 60, 2);
  }
  return text;
}

DateTimeO DateTimeO::FromRfc3339(std::string_view text) {
  Rfc3339 in;
  if (!in.Read(text)) raise(text);
  std::uint64_t ticks =
      readingTicks(dayNumber(in.year, in.month, in.day), in.hour, in.minute, in.second, 0) + in.fraction;
  if (!shift(ticks, -in.zone)) raise(text);
  return FromUtcTicks(ticks, in.zone != LocalZone ? in.zone : 0);
}

void DateTimeO::MakeFieldsCurrent() const {
  if (m_fieldsValid) return;
  if (!m_ticksValid) raise("not set");
  ResolveZone();
  std::uint64_t ticks = m_ticks;
  if (!shift(ticks, m_zoneMinutes)) raise(ticks);
  const auto days = static_cast<std::uint32_t>(ticks / ticksPerDay);
  const Date date = dateOf(days + firstDay);
  m_fields.year = static_cast<std::uint16_t>(date.year);
  m_fields.month = static_cast<std::uint16_t>(date.month);
  m_fields.weekday = static_cast<std::uint16_t>(weekdayOf(days + firstDay));
  m_fields.day = static_cast<std::uint16_t>(date.day);
  const auto milliseconds =
      static_cast<std::uint32_t>(ticks / ticksPerMillisecond - days * (ticksPerDay / ticksPerMillisecond));
  const std::uint32_t seconds = milliseconds / 1000;
  const std::uint32_t minutes = milliseconds / 60000;
  const std::uint32_t hours = milliseconds / 3600000;
  m_fields.hour = static_cast<std::uint16_t>(hours);
  m_fields.minute = static_cast<std::uint16_t>(minutes - hours * 60);
  m_fields.second = static_cast<std::uint16_t>(seconds - minutes * 60);
  m_fields.millisecond = static_cast<std::uint16_t>(milliseconds - seconds * 1000);
  m_fieldsValid = true;
}

void DateTimeO::MakeTicksCurrent() const {
  if (m_ticksValid) return;
  if (!m_fieldsValid) raise("not set");
  const CalendarFields& f = m_fields;
  const auto raiseDate = [&f] { raiseNumbers("%04d-%02d-%02d", f.year, f.month, f.day); };
  if (f.month == 0) raiseDate();  // a time without a date
  ResolveZone();
  std::uint64_t ticks =
      readingTicks(dayNumber(f.year, f.month, f.day), f.hour, f.minute, f.second, f.millisecond);
  if (!shift(ticks, -std::int64_t{m_zoneMinutes})) raiseDate();
  m_ticks = ticks;
  m_ticksValid = true;
}

// --- DateTimeInit.

DateTimeInit::DateTimeInit() : m_startTime(DateTimeO::Now()) {
  m_startTime.GetFields();  // nothing is left to work out, so that reading changes nothing
  s_startValues.store(this, std::memory_order_release);
}

DateTimeInit::~DateTimeInit() {
  const DateTimeInit* mine = this;
  s_startValues.compare_exchange_strong(mine, nullptr);
}

const DateTimeO* DateTimeInit::NotSet() noexcept {
  const DateTimeInit* const values = s_startValues.load(std::memory_order_acquire);
  return values != nullptr ? &values->m_notSet : nullptr;
}

const DateTimeO* DateTimeInit::StartTime() noexcept {
  const DateTimeInit* const values = s_startValues.load(std::memory_order_acquire);
  return values != nullptr ? &values->m_startTime : nullptr;
}

template <>
void AutoInit<DateTimeInit>::Init() {
  if (m_object != nullptr) return;
  static Lasting<DateTimeInit> s_values;
  m_object = &s_values.value;
  s_startValues.store(m_object, std::memory_order_release);
}

template <>
void AutoInit<DateTimeInit>::Exit() {
  const DateTimeInit* mine = std::exchange(m_object, nullptr);
  if (mine != nullptr) s_startValues.compare_exchange_strong(mine, nullptr);
}

}  // namespace tvk
