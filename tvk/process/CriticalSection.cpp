#include <tvk/process/CriticalSection.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <tvk/process/Singleton.h>
#include <tvk/process/detail/Sanitizers.h>

#if TVK_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace tvk {
namespace {

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

// The thread sanitizer overlooks the locks of a thread that is cancelled inside a call, so it is told.
#if TVK_THREAD_SANITIZER
void noteLocked(pthread_mutex_t& mutex) noexcept { __tsan_acquire(&mutex); }
void noteUnlocking(pthread_mutex_t& mutex) noexcept { __tsan_release(&mutex); }
#else
void noteLocked(pthread_mutex_t&) noexcept {}
void noteUnlocking(pthread_mutex_t&) noexcept {}
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

void CriticalSection::Lock() noexcept TVK_NO_THREAD_SAFETY_ANALYSIS {
  lockMutex(m_mutex);
  noteLocked(m_mutex);
}

void CriticalSection::Unlock() noexcept TVK_NO_THREAD_SAFETY_ANALYSIS {
  noteUnlocking(m_mutex);
  pthread_mutex_unlock(&m_mutex);
}

CriticalSection& CriticalSection::Global() {
  static Lasting<CriticalSection> s_global;
  return s_global.value;
}

}  // namespace tvk
