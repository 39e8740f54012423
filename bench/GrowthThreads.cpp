// What many threads cost: the same work, done by 1 to 64 of them.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <tvk/console/Console.h>
#include <tvk/process/CriticalSection.h>
#include <tvk/process/Thread.h>
#include <tvk/text/ErrorLocation.h>
#include <tvk/text/Exception.h>
#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>

#include "Output.h"
#include "Sides.h"

namespace {

constexpr std::uint32_t s_code = 5999;
std::atomic<int> s_done;

class Worker : public tvk::Thread {
 public:
  Worker(int count, bool (*step)()) : m_count(count), m_step(step) {}
  void* Run(void*) override {
    int done = 0;
    for (int n = 0; n < m_count; ++n) done += m_step();
    s_done += done;
    return nullptr;
  }

 private:
  int m_count;
  bool (*m_step)();
};

// Standard output leads nowhere meanwhile.
void question(const std::string& name, int count, bool (*step)()) {
  static const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  for (int threads = 1; threads <= 64; threads *= 2) {
    bench::Question<int>(name, std::to_string(threads))
        .expect(count / threads * threads)
        .items(count)
        .wall()
        .side("tvk", [=] {
          const bench::Output output(null);
          s_done = 0;
          std::vector<std::unique_ptr<Worker>> workers;
          for (int n = 0; n < threads; ++n) {
            workers.push_back(std::make_unique<Worker>(count / threads, step));
            workers.back()->Start(nullptr, true);
          }
          for (const auto& worker : workers) worker->Join();
          return s_done.load();
        });
  }
}

bool throwOne() {
  try {
    throw tvk::Exception::Of(s_code, "report.txt", "somebody", "permission denied");
  } catch (const tvk::Exception& e) {
    return *e.what() != '\0';
  }
}

bool formatOne() {
  tvk::StringBase<char> text;
  tvk::formatMessage(text, "cannot open %1 for %2: %3", "report.txt", "somebody", "permission denied");
  return !text.empty();
}

bool writeOne() {
  tvk::Console::Get().PrintLine("line %d of %s", 7, "many");
  return true;
}

bool openScope() {
  const tvk::ErrorLocation scope("reading", true);
  return true;
}

tvk::CriticalSection s_lock;
std::uint64_t s_shared = 0;

bool lockOne() {
  s_lock.Lock();
  ++s_shared;
  s_lock.Unlock();
  return true;
}

}  // namespace

void bench::ask() {
  std::fflush(stdout);
  tvk::registerMessage({}, tvk::MessageEntry(s_code, "cannot open %1 for %2: %3"));
  question("grow_throwing", scaled(25'600), throwOne);
  question("grow_formatting", scaled(1'280'000), formatOne);
  question("grow_scopes_of_threads", scaled(512'000), openScope);
  question("grow_locking", scaled(1'280'000), lockOne);
  question("grow_writing", scaled(64'000), writeOne);
}
