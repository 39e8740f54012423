// The lock of the library and its scoped guard.
#pragma once

#include <pthread.h>

#include <tvk/Export.h>
#include <tvk/process/ThreadAnnotations.h>
#include <tvk/process/detail/Sanitizers.h>

#if TVK_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace tvk {

// A mutual-exclusion lock. Not recursive: a thread that locks it twice waits for ever; in debug builds
// of the library the process aborts with a text on standard error. Copying or assigning never shares or
// copies a lock: the copy is a fresh, unlocked one, and so is the target of an assignment (assigning an
// object to itself does nothing). Nobody may hold a section that is destroyed or assigned to. Works
// with std::lock_guard.
class TVK_EXPORT TVK_CAPABILITY("mutex") CriticalSection {
 public:
  CriticalSection() noexcept;
  CriticalSection(const CriticalSection&) noexcept;
  CriticalSection& operator=(const CriticalSection& other) noexcept;
  ~CriticalSection();

  void Lock() noexcept TVK_ACQUIRE() TVK_NO_THREAD_SAFETY_ANALYSIS {
    if (const int error = pthread_mutex_lock(&m_mutex); error != 0) FailLock(error);
#if TVK_THREAD_SANITIZER
    __tsan_acquire(&m_mutex);  // which overlooks the locks of a thread that is cancelled inside a call
#endif
  }
  void Unlock() noexcept TVK_RELEASE() TVK_NO_THREAD_SAFETY_ANALYSIS {
#if TVK_THREAD_SANITIZER
    __tsan_release(&m_mutex);
#endif
    pthread_mutex_unlock(&m_mutex);
  }

  void lock() noexcept TVK_ACQUIRE() { Lock(); }
  void unlock() noexcept TVK_RELEASE() { Unlock(); }

  // The process-wide lock that guards the thread records; made on first use, never destroyed.
  static CriticalSection& Global();

 private:
  static void FailLock(int error) noexcept;

  pthread_mutex_t m_mutex;
};

// Holds a section until the end of the scope. The section must outlive the guard. A thread that is cancelled
// inside the scope may leave the section locked.
class TVK_SCOPED_CAPABILITY [[nodiscard]] CriticalSectionLock {
 public:
  explicit CriticalSectionLock(CriticalSection& section) noexcept TVK_ACQUIRE(section) : m_section(&section) {
    m_section->Lock();
  }
  ~CriticalSectionLock() TVK_RELEASE() { m_section->Unlock(); }
  CriticalSectionLock(const CriticalSectionLock&) = delete;
  CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

 private:
  CriticalSection* m_section;
};

}  // namespace tvk
