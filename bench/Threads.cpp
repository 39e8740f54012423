// Locks, alone and with threads; threads that start and are waited for.
#include <pthread.h>

#include <tvk/process/CriticalSection.h>
#include <tvk/process/Thread.h>

#include "Sides.h"

namespace {

constexpr int s_count = 1000;
tvk::CriticalSection s_ours;
pthread_mutex_t s_theirs = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t s_recursive;
int s_shared = 0;

int lockOurs() {
  for (int i = 0; i < s_count; ++i) {
    s_ours.Lock();
    ++s_shared;
    s_ours.Unlock();
  }
  return 0;
}

int lock(pthread_mutex_t& mutex) {
  for (int i = 0; i < s_count; ++i) {
    pthread_mutex_lock(&mutex);
    ++s_shared;
    pthread_mutex_unlock(&mutex);
  }
  return 0;
}

int s_ran = 0;

class Short : public tvk::Thread {
  void* Run(void* arg) override {
    ++s_ran;
    return arg;
  }
};

void locks(const char* name, int threads) {
  bench::Question<int>(name)
      .items(s_count)
      .threads(threads)
      .side("tvk", lockOurs)
      .side("pthread, recursive", [] { return lock(s_recursive); })
      .side("pthread, normal", [] { return lock(s_theirs); });
}

}  // namespace

void bench::ask() {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&s_recursive, &attributes);
  locks("lock", 1);
  Question<bool>("start_and_join")
      .wall()
      .side("tvk",
            [] {
              Short thread;
              return thread.Start(nullptr, true) && thread.Join();
            })
      .side("pthread", [] {
        pthread_t thread;
        const auto run = [](void* arg) -> void* {
          ++s_ran;
          return arg;
        };
        return pthread_create(&thread, nullptr, run, nullptr) == 0 && pthread_join(thread, nullptr) == 0;
      });
  locks("lock_with_threads", 2);
}
