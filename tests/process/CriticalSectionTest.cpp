#include <tvk/process/CriticalSection.h>

#include "support/Support.h"

using tvk::CriticalSection;

// That it keeps others out is seen in tests/stress.
TEST(CriticalSection, CopiesAreFree) TVK_NO_THREAD_SAFETY_ANALYSIS {
  CriticalSection held, assigned;
  held.Lock();
  CriticalSection copy(held);
  copy.Lock();
  (assigned = copy).Lock();
  for (CriticalSection* each : {&held, &copy, &assigned}) each->Unlock();
#ifndef NDEBUG
  CriticalSection section;
  const auto lockTwice = [&]() TVK_NO_THREAD_SAFETY_ANALYSIS { return section.Lock(), section.Lock(), 0; };
  EXPECT_NE(support::inChild(lockTwice).errors.find("locked twice"), std::string::npos);
#endif
}
