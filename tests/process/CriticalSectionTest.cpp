#include <tvk/process/CriticalSection.h>

#include <mutex>
#include <thread>

#include "support/Support.h"

using tvk::CriticalSection;

TEST(CriticalSection, KeepsOthersOutAndCopiesAreFree) {
  const auto child = support::inChild([]() TVK_NO_THREAD_SAFETY_ANALYSIS {
    alarm(10);
    CriticalSection held, assigned;
    const std::lock_guard lock(held);
    CriticalSection copy(held);
    copy.Lock();
    (assigned = copy).Lock();
    held = *&held;  // stays locked
    std::thread([&]() TVK_NO_THREAD_SAFETY_ANALYSIS { held.Lock(), _exit(1); }).detach();
    usleep(20'000);
    _exit(0);
    return 0;
  });
  EXPECT_EQ(child.status, 0) << child.errors;
}

#ifndef NDEBUG
TEST(CriticalSection, LockingTwiceIsTold) {
  CriticalSection section;
  const auto child = support::inChild([&]() TVK_NO_THREAD_SAFETY_ANALYSIS {
    section.Lock(), section.Lock();
    return 0;
  });
  EXPECT_TRUE(child.status == 134 && child.errors.find("locked twice") != std::string::npos) << child.errors;
}
#endif
