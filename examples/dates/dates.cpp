// Dates and times: zones, other clocks, texts.
#include <chrono>
#include <cstdint>

#include <tvk/console/Console.h>
#include <tvk/process/Application.h>
#include <tvk/text/Exception.h>
#include <tvk/time/DateTime.h>

namespace {

class Dates : public tvk::Application {
 public:
  Dates() : Application("DT", "dates") {}

  std::int32_t Main() override {
    tvk::Console& console = tvk::Console::Get();

    tvk::DateTimeO noon(2024, 3, 15, 12, 0, 0, 0, 60);  // in a zone one hour east
    console << noon.ToRfc3339() << '\n';
    noon.ConvertToZone(0);  // the same moment
    console << noon.ToRfc3339() << '\n';
    console << noon.Format(false) << '\n';  // for people: the order is that of their language

    // Moments are compared by their ticks in UTC, whatever zone they are shown in.
    const tvk::DateTimeO tea = tvk::DateTimeO::FromRfc3339("2024-03-15T17:00:00+01:00");
    const std::uint64_t apart = tea.GetUtcTicks() - noon.GetUtcTicks();
    console.PrintLine("%llu hours later",
                      static_cast<unsigned long long>(apart / tvk::DateTimeO::TicksPerMinute / 60));

    // To and from the other clocks.
    const tvk::DateTimeO file = tvk::DateTimeO::FromUnixTime(1'710'500'400, 0);
    const tvk::DateTimeO next = tvk::DateTimeO::FromTimePoint(file.ToTimePoint() + std::chrono::hours(24), 0);
    console.PrintLine("%d", next.GetFields().day);

    // A day that does not exist is refused.
    try {
      noon.SetDate(2023, 2, 29);
    } catch (const tvk::Exception& e) {
      console.PrintLine("%s", e.what());
    }
    return tvk::ConsoleStreamBuf::Get().WriteError() == 0 ? 0 : 1;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Dates dates;
  return tvk::Application::Main(argc, argv);
}
