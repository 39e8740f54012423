// What the probe (tests/differential) answers about dates.
#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <tvk/text/Exception.h>
#include <tvk/text/MessageTable.h>
#include <tvk/time/DateTime.h>
#include <tvk/time/OffsetTime.h>

#include "differential/Probe.h"

namespace {

using tvk::DateTimeO, tvk::OffsetTime;
using Clock = std::chrono::system_clock;

tvk::StringBase<char> formatBy(const DateTimeO& value, const std::string& pattern) {
  const TvkMessageEntry entries[] = {{55321, pattern.c_str()}, {0, nullptr}};
  tvk::registerTranslations(&value, entries);
  auto text = value.Format(false);
  tvk::dropTranslations(&value);
  return text;
}

// One letter and what it takes. Small ones make a value or change it, the others tell.
void take(DateTimeO& value, char step, const std::string& text, std::ostream& out) {
  std::istringstream in(text);
  const std::vector<std::int64_t> all{std::istream_iterator<std::int64_t>(in), {}};
  const std::int64_t first = all.empty() ? 0 : all[0];
  int n[8];
  std::fill(std::begin(n), std::end(n), DateTimeO::LocalZone);
  std::transform(all.begin(), all.end(), n, [](std::int64_t each) { return static_cast<int>(each); });

  if (step == 'c') value.ConvertToZone(n[0]);
  if (step == 'd') value.SetDate(n[0], n[1], n[2]);
  if (step == 'k') value = DateTimeO::FromUtcTicks(static_cast<std::uint64_t>(first), n[1]);
  if (step == 'n') value = DateTimeO::Now();
  if (step == 'p') value = DateTimeO::FromTimePoint(Clock::time_point(Clock::duration(first)), n[1]);
  if (step == 'r') value = DateTimeO::FromRfc3339(text.empty() ? nullptr : text.c_str());
  if (step == 's') value.SetFields(n[0], n[1], n[2], n[3], n[4], n[5], n[6], n[7]);
  if (step == 't') value.SetTime(n[0], n[1], n[2], n[3]);
  if (step == 'u') value = DateTimeO::FromUnixTime(first, n[1]);
  if (step == 'v') value = DateTimeO(n[0], n[1], n[2], n[3], n[4], n[5], n[6], n[7]);
  if (step == 'z') value = DateTimeO(n[0]);

  std::uint16_t f[8];
  if (step == 'F') value.GetFields(f[0], f[1], f[7], f[2], f[3], f[4], f[5], f[6]);
  if (step == 'F') std::copy(std::begin(f), std::end(f), std::ostream_iterator<int>(out, " "));
  if (step == 'G') out << value.GetTicks();
  if (step == 'H') out << value.Format(true);
  if (step == 'K') out << value.GetUtcTicks();
  if (step == 'L') out << value.LocalOffset();
  if (step == 'O') out << OffsetTime(std::chrono::sys_seconds(std::chrono::seconds(first))).Offset();
  if (step == 'P') out << value.ToTimePoint().time_since_epoch().count();
  if (step == 'Q') out << formatBy(value, text);
  if (step == 'R') out << value.ToRfc3339();
  if (step == 'T') out << OffsetTime(static_cast<std::uint32_t>(first)).Time().time_since_epoch().count();
  if (step == 'U') out << value.ToUnixTime();
  if (step == 'Z') out << value.ZoneMinutes();
}

}  // namespace

// Takes the steps, one after the other, with a value that is not set at first. Answers what they tell, or what they
// refuse with a "!" in front, each with a bar behind it.
std::string answerDate(const std::string& question) {
  DateTimeO value;
  std::ostringstream out;
  for (const std::string& step : split(question)) {
    const auto before = out.tellp();
    try {
      take(value, step.at(0), step.substr(1), out);
    } catch (const tvk::Exception& e) {
      out << '!' << e.GetCode() << ':' << e.First();
    }
    if (out.tellp() != before) out << '|';
  }
  return out.str();
}
