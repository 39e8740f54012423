#include <tvk/process/Singleton.h>
#include <tvk/process/SystemInfo.h>

#include <gmock/gmock.h>
#include <ifaddrs.h>
#include <sys/resource.h>
#include <unistd.h>

#include "support/Support.h"

using tvk::SystemInfo;
using tvk::SystemInfoImpl;

TEST(SystemInfo, MachineAndUser) {
  const auto uname = support::runCommand("echo \"$(uname -srv) - $(uname -m)\"; uname -n").output;
  tvk::StringBase<char> name = "before";
  EXPECT_TRUE(SystemInfo::GetHostName(name, true) && SystemInfo::FillPathConventions());
  EXPECT_EQ(SystemInfo::GetOsDescription() + "\n" + name + "\n", uname);
  EXPECT_EQ(SystemInfo::GetDirectorySeparator() + SystemInfo::GetSearchPathSeparator(), "/:");
  for (const char* value : {"", ":0"}) {
    const support::ScopedVariable display("DISPLAY", value);
    EXPECT_EQ(SystemInfo::HasDisplay(), *value != '\0');
  }
  EXPECT_EQ(SystemInfo::IsAdministrator(), getuid() == 0);
  const auto dropped = support::inChild([] { return setuid(65534) == 0 && SystemInfo::IsAdministrator(); });
  EXPECT_EQ(dropped.status, getuid() == 0) << "kept, whatever became of the privileges";
}

TEST(SystemInfo, TimesAndErrors) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::int64_t milliseconds = now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
  EXPECT_LE(SystemInfo::GetTickCount() - static_cast<std::uint64_t>(milliseconds), 1000u);

  const support::ScopedVariable zone("TZ", "Europe/Berlin");
  std::tm time{};
  time.tm_year = 124, time.tm_mon = 5, time.tm_mday = 31, time.tm_hour = 12;
  for (time.tm_isdst = -1; time.tm_isdst < 2; ++time.tm_isdst) EXPECT_EQ(SystemInfo::ToUtc(time), 1719835200);

  errno = ENOENT;
  EXPECT_EQ(SystemInfo::SetLastError(EIO), ENOENT);
  for (const int code : {0, ENOENT, -1, 4711}) EXPECT_EQ(SystemInfo::GetErrorText(code), strerror(code));
  EXPECT_EQ(SystemInfo::GetLastError(), EIO);
}

TEST(SystemInfo, InterfaceAddresses) {
  std::vector<tvk::HostAddress> expected, list(3), kept(1), fresh(1);
  ifaddrs* found = nullptr;
  ASSERT_EQ(getifaddrs(&found), 0);
  for (const ifaddrs* at = found; at != nullptr; at = at->ifa_next)
    if (at->ifa_addr != nullptr && at->ifa_addr->sa_family == AF_INET)
      expected.emplace_back(std::span(reinterpret_cast<const std::uint8_t*>(at->ifa_addr) + 4, 4));
  freeifaddrs(found);
  const support::DescriptorWatch watch;
  EXPECT_TRUE(SystemInfo::GetInterfaceAddresses(list, false));
  EXPECT_THAT(list, testing::UnorderedElementsAreArray(expected));

  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none{0, limit.rlim_max};  // no sockets any more
  setrlimit(RLIMIT_NOFILE, &none);
  const bool isKept = SystemInfo::GetInterfaceAddresses(kept, true);
  const bool isFresh = SystemInfo::GetInterfaceAddresses(fresh, false);
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_TRUE(kept == list && isKept == !list.empty() && fresh.empty() && !isFresh);
}

TEST(SystemInfo, ServicePublishesOnlyWhenNobodyAskedBefore) {
  const auto child = support::inChild([] {
    tvk::StringBase<char> name;
    tvk::AutoInit<SystemInfoImpl> service;
    const auto works = [&] { return SystemInfo::GetHostName(name) ? &SystemInfoImpl::Get() : nullptr; };
    tvk::Singleton::DestroyAll();
    service.Init();
    const SystemInfoImpl* object = &SystemInfoImpl::Get();
    service.Init();
    tvk::Singleton::DestroyAll();  // owns nothing of the service
    if (works() != object) return 1;
    service.Exit(), service.Exit();
    const auto other = std::make_unique<SystemInfoImpl>();  // in the memory of the one that went
    object = &SystemInfoImpl::Get();
    service.Init();
    if (works() != object || object == other.get()) return 2;
    service.Exit();
    return works() != object ? 3 : 0;
  });
  EXPECT_EQ(child.status, 0) << child.errors;
}
