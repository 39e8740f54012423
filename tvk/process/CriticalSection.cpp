#include <tvk/process/CriticalSection.h>

#include <tvk/process/Singleton.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace tvk {
namespace {

std::atomic<CriticalSection*> s_global{nullptr};

#ifdef NDEBUG

void initMutex(pthread_mutex_t& mutex) noexcept { pthread_mutex_init(&mutex, nullptr); }

void lockMutex(pthread_mutex_t& mutex) noexcept { pthread_mutex_lock(&mutex); }

#else

void initMutex(pthread_mutex_t& mutex) noexcept {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
  pthread_mutex_init(&mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

void lockMutex(pthread_mutex_t& mutex) noexcept {
  if (pthread_mutex_lock(&mutex) != EDEADLK) return;
  std::fputs("tvk::CriticalSection: locked twice by one thread\n", stderr);
  std::abort();
}

#endif

}  // namespace

CriticalSection::CriticalSection() noexcept { initMutex(m_mutex); }

CriticalSection::CriticalSection(const CriticalSection&) noexcept : CriticalSection() {}

CriticalSection& CriticalSection::operator=(const CriticalSection& other) noexcept {
  if (this != &other) {
    pthread_mutex_destroy(&m_mutex);
    initMutex(m_mutex);
  }
  return *this;
}

CriticalSection::~CriticalSection() { pthread_mutex_destroy(&m_mutex); }

void CriticalSection::Lock() noexcept TVK_NO_THREAD_SAFETY_ANALYSIS { lockMutex(m_mutex); }

void CriticalSection::Unlock() noexcept TVK_NO_THREAD_SAFETY_ANALYSIS { pthread_mutex_unlock(&m_mutex); }

CriticalSection& CriticalSection::Global() {
  return ProcessWide(s_global, [] { return std::make_unique<CriticalSection>(); });
}

}  // namespace tvk
