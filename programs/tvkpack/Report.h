// The lines, the progress and the totals of a run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include <tvk/process/CriticalSection.h>

#include "FileWork.h"
#include "Settings.h"

namespace tvkpack {

// Writes a line and, where the user wants pages, waits for a key when one is full. Ctrl-C throws
// AbortException then, which the console's own pause would leave to the signal.
void printLine(const Settings& settings, const std::string& line);

// Reports outcomes in the order of their files, however they come. Safe from several threads at once.
class Report {
 public:
  Report(const Settings& settings, std::size_t files);

  // Throws what printLine() throws; the outcome counts all the same.
  void Add(std::size_t index, Outcome outcome);
  // The last line. It does not wait for a key.
  void Totals(bool wasInterrupted);
  bool HasFailures() const noexcept { return m_failed != 0; }

 private:
  void Show(const Outcome& outcome) TVK_REQUIRES(m_lock);
  void ShowProgress() TVK_REQUIRES(m_lock);

  const Settings& m_settings;
  const std::size_t m_files;
  tvk::CriticalSection m_lock;
  std::map<std::size_t, Outcome> m_waiting TVK_GUARDED_BY(m_lock);
  std::size_t m_next TVK_GUARDED_BY(m_lock) = 0;
  std::uint64_t m_lastProgress TVK_GUARDED_BY(m_lock) = 0;
  std::uint64_t m_done = 0;
  std::uint64_t m_left = 0;
  std::uint64_t m_failed = 0;
  std::uint64_t m_before = 0;
  std::uint64_t m_after = 0;
};

}  // namespace tvkpack
