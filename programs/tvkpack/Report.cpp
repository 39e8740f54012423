#include "Report.h"

#include <utility>

#include <tvk/console/Console.h>
#include <tvk/process/SystemInfo.h>

#include "Messages.h"

namespace tvkpack {
namespace {

constexpr std::uint64_t progressInterval = 100;  // milliseconds

MessageCode totalsOf(Mode mode) {
  switch (mode) {
    case Mode::Pack:
      return TotalsPacked;
    case Mode::Unpack:
      return TotalsUnpacked;
    case Mode::Test:
      return TotalsTested;
    default:
      return TotalsListed;
  }
}

}  // namespace

void printLine(const Settings& settings, const std::string& line) {
  tvk::Console& console = tvk::Console::Get();
  console.PrintLine("%s", line.c_str());
  const auto page = static_cast<std::int32_t>(console.Height()) - 1;
  if (!settings.page || page < 1 || console.LinesWritten() % page != 0) return;
  console.ShowPausePrompt();
  console.WaitKey(tvk::Console::FlagInterrupt);
  console.ClearLine(true);
}

Report::Report(const Settings& settings, std::size_t files) : m_settings(settings), m_files(files) {
  if (settings.mode == Mode::List && !settings.quiet) printLine(settings, message(ListHeader));
}

void Report::Add(std::size_t index, Outcome outcome) {
  const tvk::CriticalSectionLock lock(m_lock);
  m_waiting.emplace(index, std::move(outcome));
  while (!m_waiting.empty() && m_waiting.begin()->first == m_next) {
    const auto first = m_waiting.extract(m_waiting.begin());
    ++m_next;
    Show(first.mapped());
  }
  ShowProgress();
}

void Report::Show(const Outcome& outcome) {
  switch (outcome.kind) {
    case Outcome::Done:
      ++m_done;
      m_before += outcome.before;
      m_after += outcome.after;
      break;
    case Outcome::Left:
      ++m_left;
      break;
    case Outcome::Failed:
      ++m_failed;
      break;
    default:
      return;
  }
  if (!m_settings.quiet || outcome.kind == Outcome::Failed) printLine(m_settings, outcome.line);
}

void Report::ShowProgress() {
  if (m_settings.quiet || m_settings.ask) return;
  const std::uint64_t now = tvk::SystemInfo::GetTickCount();
  if (now - m_lastProgress < progressInterval) return;
  m_lastProgress = now;
  tvk::Console::Get().Progress("%s",
                               message(Progress, {std::to_string(m_next), std::to_string(m_files)}).c_str());
}

void Report::Totals(bool wasInterrupted) {
  tvk::Console& console = tvk::Console::Get();
  console.ClearProgress();
  if (wasInterrupted) console.PrintLine("%s", message(Interrupted).c_str());
  if (m_settings.quiet) return;
  console.PrintLine("%s", message(totalsOf(m_settings.mode),
                                  {std::to_string(m_done), std::to_string(m_left), std::to_string(m_failed),
                                   std::to_string(m_before), std::to_string(m_after)})
                              .c_str());
}

}  // namespace tvkpack
