// Counts prime numbers with a group of threads. The work is handed out in pieces, the results are added up
// under a lock, and the program goes on when the whole group is through.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>

#include <tvk/process/CriticalSection.h>
#include <tvk/process/Thread.h>
#include <tvk/process/ThreadGroup.h>

namespace {

constexpr std::uint32_t limit = 200'000;
constexpr std::uint32_t pieceSize = 5'000;

// What the threads share.
struct Job {
  std::atomic<std::uint32_t> next{0};  // the first number that nobody has taken
  tvk::CriticalSection lock;
  std::uint32_t primes TVK_GUARDED_BY(lock) = 0;
};

bool isPrime(std::uint32_t number) {
  if (number < 2) return false;
  for (std::uint32_t divisor = 2; divisor * divisor <= number; ++divisor)
    if (number % divisor == 0) return false;
  return true;
}

class Counter : public tvk::Thread {
 public:
  void* Run(void* arg) override {
    auto& job = *static_cast<Job*>(arg);
    for (;;) {
      const std::uint32_t begin = job.next.fetch_add(pieceSize);
      if (begin >= limit) return nullptr;
      std::uint32_t found = 0;
      for (std::uint32_t number = begin; number < std::min(begin + pieceSize, limit); ++number)
        found += isPrime(number);
      const tvk::CriticalSectionLock lock(job.lock);
      job.primes += found;
    }
  }
};

}  // namespace

int main() {
  Job job;
  Counter counters[4];  // they outlive their threads: the group is joined below
  tvk::ThreadGroup group;
  for (Counter& counter : counters)
    if (counter.Start(&job, true)) group.Add(counter);
  if (group.Count() == 0) counters[0].Run(&job);  // no threads to be had: do it alone
  if (!group.JoinAll()) return 1;

  const tvk::CriticalSectionLock lock(job.lock);
  std::printf("%u primes below %u\n", job.primes, limit);
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
  std::perror("thread_group");
  return 1;
}
