#include <tvk/time/OffsetTime.h>

#include "support/Support.h"

TEST(OffsetTime, BaseAndClamping) {
  for (const auto& [time, offset] : std::initializer_list<std::pair<std::int64_t, std::uint32_t>>{
           {0, 0xFFFFFFFF}, {1, 1}, {0xFFFFFFFD, 0xFFFFFFFD}, {0xFFFFFFFF, 0xFFFFFFFE}, {-1, 0xFFFFFFFE}})
    EXPECT_EQ(tvk::OffsetTime(std::chrono::sys_seconds(std::chrono::seconds(time))).Offset(), offset);
  EXPECT_EQ(tvk::OffsetTime(0xFFFFFFFFu).Time(), tvk::OffsetTime(0u).Time());
  EXPECT_EQ(tvk::OffsetTime(0xFFFFFFFEu).Time().time_since_epoch().count(), 0xFFFFFFFE);
}
