// The same question of locks, asked alone and beside other threads.
#pragma once

#include <pthread.h>

#include <tvk/process/CriticalSection.h>

#include "Sides.h"

namespace bench {

class Mutex {
 public:
  explicit Mutex(int type) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, type);
    pthread_mutex_init(&m_mutex, &attributes);
  }
  void Lock() { pthread_mutex_lock(&m_mutex); }
  void Unlock() { pthread_mutex_unlock(&m_mutex); }

 private:
  pthread_mutex_t m_mutex;
};

// All threads count under one lock.
template <class Lock>
auto counting(Lock& lock) {
  return [&lock] {
    static int s_count = 0;
    for (int i = 0; i < 1000; ++i) {
      lock.Lock();
      ++s_count;
      lock.Unlock();
    }
    return 0;
  };
}

inline void locks(const char* name, int threads) {
  static tvk::CriticalSection ours;
  static Mutex normal(PTHREAD_MUTEX_NORMAL), recursive(PTHREAD_MUTEX_RECURSIVE);
  Question<int>(name)
      .items(1000)
      .threads(threads)
      .side("tvk", counting(ours))
      .side("pthread", counting(normal))
      .side("pthread, recursive", counting(recursive));
}

}  // namespace bench
