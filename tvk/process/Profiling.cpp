#include <tvk/process/Profiling.h>

#include <cinttypes>
#include <cstdio>
#include <utility>

#include <tvk/process/Platform.h>

namespace tvk {

ProfilingImpl::ProfilingImpl(const StringBase<char>& name) : m_name(name) {}

ProfilingImpl::~ProfilingImpl() = default;

ProfilingImpl& ProfilingImpl::Add(std::unique_ptr<ProfilingImpl> child) {
  return *m_children.emplace_back(std::move(child));
}

ProfilingImpl& ProfilingImpl::AddChild(const StringBase<char>& name) {
  return Add(std::make_unique<ProfilingImpl>(name));
}

void ProfilingImpl::Start() noexcept {
  if (std::exchange(m_isRunning, true)) return;
  m_startedAt = platform::tickCount();
}

void ProfilingImpl::Stop() noexcept {
  if (std::exchange(m_isRunning, false)) m_total += platform::tickCount() - m_startedAt;
}

const StringBase<char>& ProfilingImpl::Text() {
  char text[32];
  std::snprintf(text, sizeof text, "%02" PRIu64 ".%02d", m_total / 1000,
                static_cast<int>(m_total % 1000 / 10));
  m_text = text;
  return m_text;
}

StringBase<char> ProfilingImpl::Report() {
  StringBase<char> report;
  AppendReport(report, 0);
  return report;
}

void ProfilingImpl::AppendReport(StringBase<char>& report, std::size_t indent) {
  report.append(indent, ' ').append(m_name).append(" ").append(Text()).append("\n");
  for (const auto& child : m_children) child->AppendReport(report, indent + 2);
}

}  // namespace tvk
