#include <tvk/process/CriticalSection.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <tvk/process/Singleton.h>

namespace tvk {
namespace {

void initMutex(pthread_mutex_t& mutex) noexcept {
#ifdef NDEBUG
  pthread_mutex_init(&mutex, nullptr);
#else
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
  pthread_mutex_init(&mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
#endif
}

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

// Only a mutex that checks for errors, that of a debug build, notices.
void CriticalSection::FailLock(int error) noexcept {
  if (error != EDEADLK) return;
  std::fputs("tvk::CriticalSection: locked twice by one thread\n", stderr);
  std::abort();
}

CriticalSection& CriticalSection::Global() {
  static Lasting<CriticalSection> s_global;
  return s_global.value;
}

}  // namespace tvk
