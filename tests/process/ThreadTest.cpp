#include <tvk/process/Thread.h>
#include <tvk/process/ThreadGroup.h>
#include <tvk/process/detail/Sanitizers.h>

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <optional>

#include "support/Support.h"

namespace {

using tvk::Thread;

constexpr bool isSanitized = TVK_ADDRESS_SANITIZER || TVK_THREAD_SANITIZER;

// Where threads and their test meet: they wait inside Run() until the gate opens.
struct Gate {
  std::atomic<bool> isOpen{false};
  std::atomic<int> entered{0}, left{0};
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

void waitFor(const std::atomic<int>& count, int wanted = 1) {
  while (count < wanted) Thread::Yield();
}
void waitForEnd(const Thread& thread) {
  while (thread.IsValid()) Thread::Yield();
}

// Inside Run() from the beginning.
struct Running : Worker {
  Running() { Start(&gate, true), waitFor(gate.entered); }
  Gate gate;
};

TEST(Thread, FromStartToJoinAndAgain) {
  Worker worker;
  EXPECT_TRUE(worker.Join() && worker.Cancel() && worker.Forget()) << "never started";
  Thread copy = worker;
  for (const bool isLate : {false, true}) {
    Gate gate;
    ASSERT_TRUE(worker.Start(&gate, true) && worker.IsValid() && copy.IsShared());
    EXPECT_FALSE(worker.Start(&gate, true) || copy.Start(&gate, false) || worker != copy || copy < Thread());
    gate.isOpen = true;
    if (isLate) waitForEnd(worker);
    EXPECT_TRUE(copy.Join() && gate.left == 1);
    EXPECT_FALSE(worker.IsValid() || copy.Join() || worker.Join());
  }
  Gate open{true};
  ASSERT_TRUE(worker.Start(&open, false) && !worker.Join());
  waitForEnd(worker);
  EXPECT_TRUE(!worker.Join() && worker.Start(&open, true) && worker.Join()) << "detached and finished";
}

TEST(Thread, ForgetAndCancelLeaveTheThreadToTheOthers) {
  for (const bool isCancelled : {false, true}) {
    Running worker;
    Thread copy = worker;
    EXPECT_TRUE(isCancelled ? copy.Cancel() : copy.Forget());
    EXPECT_TRUE(!copy.IsValid() && !copy.IsShared() && !worker.IsShared() && copy.Join()) << isCancelled;
    worker.gate.isOpen = !isCancelled;
    EXPECT_TRUE(worker.Join() && worker.gate.left == !isCancelled && worker.Forget() && !worker.Join());
  }
  Running alone;
  Gate second;
  EXPECT_TRUE(alone.Forget() && !alone.IsValid() && alone.Join());
  EXPECT_TRUE(alone.Start(&second, true)) << "afresh, while the forgotten one still runs";
  alone.gate.isOpen = true;
  waitFor(alone.gate.left);
  Thread::Sleep(5);
  second.isOpen = alone.IsValid();
  EXPECT_TRUE(alone.Join() && second.left == 1);
}

// A thread that nobody can join any more gives its stack back, whenever and however it was given up.
TEST(Thread, GivenUpThreadsLeaveNothingBehind) {
  const auto mappings = [] { return std::ranges::count(support::readWhole("/proc/self/maps"), '\n'); };
  const auto before = mappings();
  for (int i = 0; i < (isSanitized ? 80 : 2000); ++i) {
    Gate gate{true};
    Worker worker;
    ASSERT_TRUE(worker.Start(&gate, true)) << i;
    waitFor(gate.left);
    if (i % 2 != 0) waitForEnd(worker);
    if (i % 10 < 2) worker.Forget();
    if (i % 10 / 2 == 1) worker.Cancel();
    if (i % 10 / 2 == 2) static_cast<Thread&>(worker) = Thread();
    if (i % 10 / 2 == 3) worker.Start(&gate, false);
    waitForEnd(worker);
  }
  EXPECT_TRUE(isSanitized || mappings() - before < 100) << "two a stack";
}

TEST(Thread, JoinsOfItselfAndOfOneThatSomebodyWasAboutToJoin) {
  static std::optional<Thread> s_self;
  Worker worker([](void* arg) -> void* {
    s_self = Thread::Current();
    auto& itself = *static_cast<Thread*>(arg);
    if (s_self->Join() || itself.Join() || *s_self != itself) std::abort();
    Thread::ExitCurrent();
  });
  ASSERT_TRUE(!Thread::Current().Join() && worker.Start(&worker, true));
  waitForEnd(worker);
  Thread copy = *s_self;
  EXPECT_TRUE(copy.IsValid() && copy.Cancel()) << "ended: there is nothing to cancel";
  EXPECT_TRUE(s_self->Join() && !s_self->IsValid());
  Running target;
  EXPECT_FALSE(worker.Join()) << "the system may have given its id to the target";

  Worker waiting([](void* arg) -> void* { return static_cast<Thread*>(arg)->Join() ? arg : nullptr; });
  copy = waiting;  // Cancelled inside pthread_join, which the thread sanitizer does not bear.
  if (!TVK_THREAD_SANITIZER && waiting.Start(&target, true)) Thread::Sleep(20);
  EXPECT_TRUE(waiting.Cancel() && copy.Join());
  target.gate.isOpen = true;
  EXPECT_TRUE(target.Join()) << "although somebody was about to";

  Worker throwing([](void*) -> void* { throw 1; });
  EXPECT_EQ(support::inChild([&] { return throwing.Start(nullptr, true) && throwing.Join(); }).status, 134);
}

// It strikes although nothing is called, at first into an endless loop; behind Run() it would end the process.
TEST(Thread, CancelMayComeInALoopAndAtTheVeryEnd) {
  if (TVK_THREAD_SANITIZER) GTEST_SKIP() << "puts something to destroy into every frame";
  static std::atomic<int> s_stage;
  for (int i = -1; i < 200; ++i) {
    Worker worker([](void* arg) -> void* {
      int turns = 10 * *static_cast<int*>(arg);
      for (s_stage = 1; s_stage == 1;) asm volatile("");
      for (; turns != 0; turns -= turns > 0 ? 1 : 0) asm volatile("");
      return nullptr;
    });
    Thread copy = worker;
    ASSERT_TRUE(worker.Start(&i, true));
    waitFor(s_stage);
    s_stage = 2;
    ASSERT_TRUE(worker.Cancel() && copy.Join() && copy.Cancel());
    s_stage = 0;
  }
}

TEST(Thread, ObjectThatGoesBeforeItsThread) {
  Gate gate;
  Thread copy;
  testing::internal::CaptureStderr();
  if (Worker worker; worker.Start(&gate, true)) copy = worker, waitFor(gate.entered);
  gate.isOpen = true;
  EXPECT_TRUE(copy.Join() && gate.left == 1);
  const std::string said = testing::internal::GetCapturedStderr();
#ifndef NDEBUG
  EXPECT_EQ(said, "tvk::Thread: the object was destroyed before its Run() had ended\n");
#endif
}

TEST(ThreadGroup, JoinsAllAndCancelsOne) {
  tvk::ThreadGroup group;
  Gate gate;
  Worker workers[3];
  for (Worker& worker : workers)
    ASSERT_TRUE(worker.Start(&gate, &worker != &workers[0]) && group.Add(worker));
  waitFor(gate.entered, 3);
  EXPECT_TRUE(!group.Cancel(pthread_self()) && group.Cancel(workers[1].GetId()) && group.Count() == 2);
  gate.isOpen = true;
  EXPECT_FALSE(group.JoinAll()) << "the first is detached";
  EXPECT_TRUE(workers[1].Join() && !workers[2].Join()) << "the last was joined all the same";
  waitFor(gate.left, 2);
}

}  // namespace
