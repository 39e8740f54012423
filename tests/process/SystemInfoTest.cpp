#include <tvk/process/SystemInfo.h>
#include <tvk/process/Thread.h>

#include <unistd.h>

#include <algorithm>

#include "support/Support.h"

using tvk::SystemInfo;
using tvk::SystemInfoImpl;

TEST(SystemInfo, MachineAndUser) {
  std::vector<tvk::HostAddress> list(3);
  EXPECT_TRUE(SystemInfo::GetInterfaceAddresses(list, false));
  EXPECT_EQ(std::ranges::count(list, "127.0.0.1", &tvk::HostAddress::ToText), 1);

  const auto uname = support::runCommand("echo \"$(uname -srv) - $(uname -m)\"; uname -n").output;
  tvk::StringBase<char> name = "before";
  EXPECT_TRUE(SystemInfo::GetHostName(name, true));
  EXPECT_EQ(SystemInfo::GetOsDescription() + "\n" + name + "\n", uname);
  EXPECT_EQ(SystemInfo::IsAdministrator(), getuid() == 0);
}

TEST(SystemInfo, TimesAndErrors) {
  const std::uint64_t before = SystemInfo::GetTickCount();
  tvk::Thread::Sleep(20);
  EXPECT_TRUE(SystemInfo::GetTickCount() - before >= 20 && SystemInfo::GetTickCount() - before < 10'000);

  const support::ScopedVariable zone("TZ", "Europe/Berlin");
  std::tm time{};
  time.tm_year = 124, time.tm_mon = 5, time.tm_mday = 31, time.tm_hour = 12;
  for (time.tm_isdst = -1; time.tm_isdst < 2; ++time.tm_isdst) EXPECT_EQ(SystemInfo::ToUtc(time), 1719835200);

  SystemInfo::SetLastError(EIO);
  for (const int code : {0, ENOENT, -1, 4711}) EXPECT_EQ(SystemInfo::GetErrorText(code), strerror(code));
  EXPECT_EQ(SystemInfo::GetLastError(), EIO);
}
