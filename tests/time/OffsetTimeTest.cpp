#include <tvk/time/OffsetTime.h>

#include "support/Support.h"

TEST(OffsetTime, BaseAndClamping) {
  const std::int64_t times[] = {0, 1, 0xFFFFFFFD, 0xFFFFFFFF, -1, INT64_MIN};
  const std::uint32_t offsets[] = {0xFFFFFFFF, 1, 0xFFFFFFFD, 0xFFFFFFFE, 0xFFFFFFFE, 0xFFFFFFFE};
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(tvk::OffsetTime(std::chrono::sys_seconds(std::chrono::seconds(times[i]))).Offset(), offsets[i]);
  EXPECT_EQ(tvk::OffsetTime(0xFFFFFFFFu).Time(), tvk::OffsetTime(0u).Time());
  EXPECT_EQ(tvk::OffsetTime(0xFFFFFFFEu).Time().time_since_epoch().count(), 0xFFFFFFFE);
}
