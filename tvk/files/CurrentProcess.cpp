#include <tvk/files/CurrentProcess.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <tvk/process/Platform.h>
#include <tvk/process/Singleton.h>

namespace tvk {
namespace {

std::mutex s_lock;  // held while a record is made
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
  // Records stay for those who still read them, so one that says the same is taken out again.
  static Lasting<std::vector<std::unique_ptr<CurrentProcess>>> s_all;
  std::unique_ptr<CurrentProcess> made(new CurrentProcess);
  auto found = std::ranges::find_if(s_all.value, [&](const auto& kept) { return *kept == *made; });
  if (found == s_all.value.end()) found = s_all.value.insert(found, std::move(made));
  s_record.store(found->get(), std::memory_order_release);
  return **found;
}

void CurrentProcess::Destroy() noexcept { s_record.store(nullptr, std::memory_order_release); }

}  // namespace tvk
