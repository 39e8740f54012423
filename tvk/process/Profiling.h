// Where the time goes.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <tvk/Export.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// A stop watch with a name that adds up what it is started for, and owns the records of the parts of its
// work. Belongs to one thread at a time.
//
//   tvk::ProfilingImpl run("run");
//   tvk::ProfilingImpl& reading = run.AddChild("reading");
//   { const tvk::ProfilingScope scope(reading); read(); }
//   write(run.Report());                               // "run 00.00\n  reading 01.25\n"
class TVK_EXPORT ProfilingImpl {
 public:
  explicit ProfilingImpl(const StringBase<char>& name);
  ProfilingImpl(const ProfilingImpl&) = delete;
  ProfilingImpl& operator=(const ProfilingImpl&) = delete;
  virtual ~ProfilingImpl();

  // Takes the record as the last child and answers it; it lives as long as this one.
  ProfilingImpl& Add(std::unique_ptr<ProfilingImpl> child);
  ProfilingImpl& AddChild(const StringBase<char>& name);

  // A watch that runs is not started again; one that stands still is not stopped.
  void Start() noexcept;
  void Stop() noexcept;
  // Adds to the total.
  void AddMilliseconds(std::uint64_t milliseconds) noexcept { m_total += milliseconds; }

  const StringBase<char>& Name() const noexcept { return m_name; }
  // The total up to the last Stop().
  std::uint64_t TotalMilliseconds() const noexcept { return m_total; }
  // The total as seconds and hundredths, "01.25"; the part below a hundredth is cut. Holds until the next
  // call.
  const StringBase<char>& Text();
  // A line "NAME TEXT" for this record and for each child, indented by two blanks a level.
  StringBase<char> Report();

 private:
  void AppendReport(StringBase<char>& report, std::size_t indent);

  std::vector<std::unique_ptr<ProfilingImpl>> m_children;
  StringBase<char> m_text;
  StringBase<char> m_name;
  std::uint64_t m_total = 0;
  std::uint64_t m_startedAt = 0;
  bool m_isRunning = false;
};

// Starts a record and stops it at the end of the scope.
class [[nodiscard]] ProfilingScope {
 public:
  explicit ProfilingScope(ProfilingImpl& record) noexcept : m_record(record) { m_record.Start(); }
  ~ProfilingScope() { m_record.Stop(); }
  ProfilingScope(const ProfilingScope&) = delete;
  ProfilingScope& operator=(const ProfilingScope&) = delete;

 private:
  ProfilingImpl& m_record;
};

}  // namespace tvk
