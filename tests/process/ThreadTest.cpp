#include <tvk/process/Thread.h>
#include <tvk/process/ThreadGroup.h>
#include <tvk/process/detail/Sanitizers.h>

#include <pthread.h>
#include <sys/resource.h>

#include <atomic>
#include <fstream>
#include <optional>

#include "support/Support.h"

namespace {

using tvk::Thread;

constexpr bool isSanitized = TVK_ADDRESS_SANITIZER || TVK_THREAD_SANITIZER;

// Where threads and their test meet: they wait inside Run() until the gate opens.
struct Gate {
  explicit Gate(bool opened = false) : isOpen(opened) {}
  std::atomic<int> entered{0}, left{0};
  std::atomic<bool> isOpen;
};

void* passGate(void* arg) {
  auto& gate = *static_cast<Gate*>(arg);
  for (++gate.entered; !gate.isOpen;) Thread::Sleep(1);
  ++gate.left;
  return nullptr;
}

// Needs the object only until Run() is entered.
struct Worker : Thread {
  explicit Worker(void* (*work)(void*) = passGate) : m_work(work) {}
  void* Run(void* arg) override { return m_work(arg); }
  void* (*m_work)(void*);
};

template <class Condition>
void waitUntil(Condition condition) {
  while (!condition()) Thread::Yield();
}
void waitForEnd(const Thread& thread) {
  waitUntil([&] { return !thread.IsValid(); });
}

TEST(Thread, FromStartToJoinAndAgain) {
  Worker worker;
  EXPECT_TRUE(worker.Join() && worker.Cancel() && worker.Forget()) << "never started";
  EXPECT_TRUE(!worker.IsValid() && !worker.IsShared() && worker == Thread());
  Thread copy = worker;
  for (const bool isLate : {false, true}) {
    Gate gate;
    ASSERT_TRUE(worker.Start(&gate, true));
    EXPECT_FALSE(worker.Start(&gate, true) || copy.Start(&gate, false)) << "running";
    EXPECT_TRUE(worker.IsValid() && copy.IsShared() && worker == copy && copy > Thread());
    gate.isOpen = true;
    if (isLate) waitForEnd(worker);
    EXPECT_TRUE(copy.Join() && gate.left == 1);
    EXPECT_FALSE(worker.IsValid() || copy.Join() || worker.Join());
  }
  Gate gate;
  ASSERT_TRUE(worker.Start(&gate, false));
  EXPECT_FALSE(worker.Join()) << "detached";
  gate.isOpen = true;
  waitForEnd(worker);
  EXPECT_FALSE(worker.Join()) << "detached and finished";
  EXPECT_TRUE(worker.Start(&gate, true) && worker.Join());
}

TEST(Thread, ForgetAndCancelLeaveTheThreadToTheOthers) {
  for (const bool isCancelled : {false, true}) {
    Gate gate;
    Worker worker;
    Thread copy = worker;
    ASSERT_TRUE(worker.Start(&gate, true));
    waitUntil([&] { return gate.entered == 1; });
    EXPECT_TRUE(isCancelled ? copy.Cancel() : copy.Forget());
    EXPECT_TRUE(!copy.IsValid() && !copy.IsShared() && !worker.IsShared() && copy.Join()) << isCancelled;
    gate.isOpen = !isCancelled;
    EXPECT_TRUE(worker.Join() && gate.left == (isCancelled ? 0 : 1)) << isCancelled;
    EXPECT_TRUE(worker.Forget() && !worker.Join()) << "joined already";
  }
  Gate gate;
  Worker alone;
  ASSERT_TRUE(alone.Start(&gate, true));
  waitUntil([&] { return gate.entered == 1; });
  EXPECT_TRUE(alone.Forget() && !alone.IsValid() && alone.Join());
  EXPECT_TRUE(alone.Start(&gate, true)) << "afresh, while the forgotten one still runs";
  gate.isOpen = true;
  EXPECT_TRUE(alone.Join());
  waitUntil([&] { return gate.left == 2; });
}

// A thread that nobody can join any more gives its stack back, whenever and however it was given up.
TEST(Thread, GivenUpThreadsLeaveNothingBehind) {
  long before = 0, after = 0;
  std::ifstream("/proc/self/statm") >> before;
  for (int i = 0; i < (isSanitized ? 80 : 2000); ++i) {
    Gate gate(true);
    Worker worker;
    ASSERT_TRUE(worker.Start(&gate, true)) << i;
    waitUntil([&] { return gate.left == 1 && (i % 2 == 0 || !worker.IsValid()); });
    if (i % 10 < 2) worker.Forget();
    if (i % 10 / 2 == 1) worker.Cancel();
    if (i % 10 / 2 == 2) static_cast<Thread&>(worker) = Thread();
    if (i % 10 / 2 == 3) worker.Start(&gate, false);
    waitForEnd(worker);
  }
  std::ifstream("/proc/self/statm") >> after;
  EXPECT_TRUE(isSanitized || after - before < 25'000) << "pages; a stack has 32";
}

TEST(Thread, JoinsOfItselfAndThroughItsOwnRecord) {
  static std::optional<Thread> s_self;
  Worker worker([](void* arg) -> void* {
    s_self = Thread::Current();
    auto& itself = *static_cast<Thread*>(arg);
    if (s_self->Join() || itself.Join() || *s_self != itself) std::abort();
    return nullptr;
  });
  ASSERT_TRUE(!Thread::Current().Join() && worker.Start(&worker, true));
  waitForEnd(worker);
  Thread copy = *s_self;
  EXPECT_TRUE(copy.IsValid() && copy.Cancel()) << "ended: there is nothing to cancel";
  EXPECT_TRUE(s_self->Join() && !s_self->IsValid() && !worker.Join());

  if (TVK_THREAD_SANITIZER) return;  // does not bear the end of a thread inside pthread_join
  Gate gate;
  Worker target, waiting([](void*arg) -> void* { return static_cast<Thread*>(arg)->Join() ? arg : nullptr; });
  copy = waiting;
  ASSERT_TRUE(target.Start(&gate, true) && waiting.Start(&target, true));
  Thread::Sleep(20);
  EXPECT_TRUE(waiting.Cancel() && copy.Join());
  gate.isOpen = true;
  EXPECT_TRUE(target.Join()) << "although somebody was about to";
}

TEST(Thread, EveryWayOutEndsTheRecord) {
  static std::atomic<bool> s_spins;
  Worker leaving([](void*) -> void* { Thread::ExitCurrent(); });
  Worker throwing([](void*) -> void* { throw 1; });
  Worker spinning([](void*) __attribute__((no_sanitize("thread")))->void* {
    for (s_spins = true;;) asm volatile("");
  });
  Thread copy = spinning;
  ASSERT_TRUE(leaving.Start(nullptr, true) && spinning.Start(nullptr, true));
  waitForEnd(leaving);
  EXPECT_TRUE(leaving.Join());
  waitUntil([] { return s_spins.load(); });
  EXPECT_TRUE(spinning.Cancel()) << "strikes although nothing is called";
  EXPECT_TRUE(copy.Join() && copy.Cancel());
  EXPECT_EQ(support::inChild([&] { return throwing.Start(nullptr, true) && throwing.Join(); }).status, 134);
}

TEST(Thread, StackAndRefusal) {
  if (isSanitized) GTEST_SKIP() << "needs the real stacks";
  static std::size_t s_size;
  Worker measuring([](void*) -> void* {
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &s_size);
    pthread_attr_destroy(&attributes);
    return nullptr;
  });
  EXPECT_TRUE(measuring.Start(nullptr, true) && measuring.Join() && s_size == 0x20000);
  const auto refused = support::inChild([] {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_AS, &none);
    Gate gate;
    Worker workers[16];  // more than there are stacks kept for reuse
    for (Worker& worker : workers)
      if (!worker.Start(&gate, false)) return worker.IsValid() || !worker.Join() ? 1 : 0;
    return 2;
  });
  EXPECT_EQ(refused.status, 0) << refused.errors;
}

TEST(Thread, ObjectThatGoesBeforeItsThread) {
  const auto child = support::inChild([] {
    Gate gate;
    std::optional<Worker> worker(std::in_place);
    Thread copy = *worker;
    worker->Start(&gate, true);
    waitUntil([&] { return gate.entered == 1; });
    worker.reset();
    gate.isOpen = true;
    return copy.Join() && gate.left == 1 ? 0 : 1;
  });
  EXPECT_EQ(child.status, 0);
#ifndef NDEBUG
  EXPECT_EQ(child.errors, "tvk::Thread: the object was destroyed before its Run() had ended\n");
#endif
}

TEST(Thread, OnlyOneOfManyJoins) {
  static std::atomic<int> s_joined;
  const auto join = [](void* arg) -> void* { return s_joined += static_cast<Thread*>(arg)->Join(), nullptr; };
  for (int i = 1; i <= 50; ++i) {
    Gate gate(true);
    Worker worker, hands[2] = {Worker(join), Worker(join)};
    Thread copies[2] = {worker, worker};
    ASSERT_TRUE(worker.Start(&gate, true));
    ASSERT_TRUE(hands[0].Start(&copies[0], true) && hands[1].Start(&copies[1], true));
    EXPECT_TRUE(hands[0].Join() && hands[1].Join() && s_joined == i && gate.left == 1);
  }
}

TEST(ThreadGroup, JoinsAllAndCancelsOne) {
  tvk::ThreadGroup group;
  EXPECT_TRUE(group.JoinAll());
  Gate gate;
  Worker workers[3];
  for (Worker& worker : workers)
    ASSERT_TRUE(worker.Start(&gate, &worker != &workers[0]) && group.Add(worker));
  waitUntil([&] { return gate.entered == 3; });
  EXPECT_TRUE(!group.Cancel(pthread_self()) && group.Cancel(workers[1].GetId()) && group.Count() == 2);
  gate.isOpen = true;
  EXPECT_FALSE(group.JoinAll()) << "the first is detached";
  EXPECT_TRUE(workers[1].Join() && !workers[2].Join()) << "the last was joined all the same";
  waitUntil([&] { return gate.left == 2; });
}

}  // namespace
