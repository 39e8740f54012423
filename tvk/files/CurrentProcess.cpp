#include <tvk/files/CurrentProcess.h>

#include <unistd.h>

#include <atomic>
#include <mutex>

#include <tvk/process/Platform.h>

namespace tvk {
namespace {

std::mutex s_lock;  // held while the record is made
std::atomic<CurrentProcess*> s_record{nullptr};

}  // namespace

CurrentProcess::CurrentProcess()
    : m_id(getpid()),
      m_executablePath(platform::executablePath()),
      m_folder("/proc/" + std::to_string(m_id)) {}

CurrentProcess& CurrentProcess::Get() {
  const auto current = [] {
    CurrentProcess* const record = s_record.load(std::memory_order_acquire);
    return record != nullptr && record->m_id == getpid() ? record : nullptr;
  };
  if (CurrentProcess* const record = current()) return *record;
  const std::lock_guard lock(s_lock);
  if (CurrentProcess* const record = current()) return *record;
  auto* const made = new CurrentProcess;
  delete s_record.exchange(made, std::memory_order_acq_rel);  // the parent's, in a forked child
  return *made;
}

void CurrentProcess::Destroy() noexcept { delete s_record.exchange(nullptr, std::memory_order_acq_rel); }

}  // namespace tvk
