#include <tvk/process/CriticalSection.h>

#include <tvk/process/Singleton.h>

namespace tvk {
namespace {

std::atomic<CriticalSection*> s_global{nullptr};

}  // namespace

CriticalSection::CriticalSection() noexcept { pthread_mutex_init(&m_mutex, nullptr); }

CriticalSection::CriticalSection(const CriticalSection&) noexcept : CriticalSection() {}

CriticalSection& CriticalSection::operator=(const CriticalSection& other) noexcept {
  if (this != &other) {
    pthread_mutex_destroy(&m_mutex);
    pthread_mutex_init(&m_mutex, nullptr);
  }
  return *this;
}

CriticalSection::~CriticalSection() { pthread_mutex_destroy(&m_mutex); }

void CriticalSection::Lock() noexcept TVK_NO_THREAD_SAFETY_ANALYSIS { pthread_mutex_lock(&m_mutex); }

void CriticalSection::Unlock() noexcept TVK_NO_THREAD_SAFETY_ANALYSIS { pthread_mutex_unlock(&m_mutex); }

CriticalSection& CriticalSection::Global() {
  return ProcessWide(s_global, [] { return std::make_unique<CriticalSection>(); });
}

}  // namespace tvk
