// A lock that two threads want; threads that start and are waited for.
#include <pthread.h>

#include <tvk/process/Thread.h>

#include "Locks.h"

namespace {

int s_ran = 0;

class Short : public tvk::Thread {
  void* Run(void* arg) override {
    ++s_ran;
    return arg;
  }
};

}  // namespace

void bench::ask() {
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
