#include <tvk/process/CriticalSection.h>

#include <thread>

#include "support/Support.h"

using tvk::CriticalSection;

TEST(CriticalSection, KeepsOthersOutAndCopiesAreFree) {
  const auto child = support::inChild([]() TVK_NO_THREAD_SAFETY_ANALYSIS {
    alarm(10);
    CriticalSection held, assigned;
    held.Lock();
    CriticalSection copy(held);
    copy.Lock();
    (assigned = copy).Lock();
    std::thread([&]() TVK_NO_THREAD_SAFETY_ANALYSIS { held.Lock(), _exit(1); }).detach();
    usleep(20'000);
    _exit(0);
    return 0;
  });
  EXPECT_EQ(child.status, 0) << child.errors;
#ifndef NDEBUG
  CriticalSection section;
  const auto lockTwice = [&]() TVK_NO_THREAD_SAFETY_ANALYSIS { return section.Lock(), section.Lock(), 0; };
  EXPECT_NE(support::inChild(lockTwice).errors.find("locked twice"), std::string::npos);
#endif
}
