// What the library asks about the machine and the process.
#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <vector>

#include <tvk/Export.h>
#include <tvk/files/HostAddress.h>
#include <tvk/process/AutoInit.h>
#include <tvk/process/CriticalSection.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// The process-wide object behind SystemInfo: the local host, its interface addresses, and how paths are
// written here. Safe from every thread.
class TVK_EXPORT SystemInfoImpl final {
 public:
  SystemInfoImpl() = default;
  SystemInfoImpl(const SystemInfoImpl&) = delete;
  SystemInfoImpl& operator=(const SystemInfoImpl&) = delete;
  virtual ~SystemInfoImpl();

  // Made by whoever asks first, never destroyed.
  static SystemInfoImpl& Get();

  // Fills the host record and the path conventions.
  void Collect();
  // Drops what was looked up; the next question looks again.
  void Forget();

  bool GetInterfaceAddresses(std::vector<HostAddress>& list, bool useCache);
  bool GetHostName(StringBase<char>& name);
  bool FillPathConventions();
  StringBase<char> GetDirectorySeparator();
  StringBase<char> GetSearchPathSeparator();

 private:
  bool ReadInterfaceAddresses() TVK_REQUIRES(m_lock);

  HostAddress m_localHost TVK_GUARDED_BY(m_lock);
  std::vector<HostAddress> m_interfaceAddresses TVK_GUARDED_BY(m_lock);
  StringBase<char> m_directorySeparator TVK_GUARDED_BY(m_lock);
  StringBase<char> m_searchPathSeparator TVK_GUARDED_BY(m_lock);
  std::uint32_t m_pathConventions TVK_GUARDED_BY(m_lock) = 0;
  // Reserved; zero.
  [[maybe_unused]] std::array<std::uint32_t, 2> m_values{};
  [[maybe_unused]] std::array<std::uint8_t, 5> m_flags{};

  CriticalSection m_lock;
};

// Questions about the machine and the process. Nothing throws but std::bad_alloc; everything is safe from
// every thread.
class TVK_EXPORT SystemInfo {
 public:
  SystemInfo() = delete;

  // Milliseconds of a monotonic clock, or of the wall clock where the host has none. Only the difference of
  // two answers means anything.
  static std::uint64_t GetTickCount() noexcept;

  // The `errno` of the calling thread.
  static int GetLastError() noexcept;
  // Sets it and answers the value before.
  static int SetLastError(int code) noexcept;
  // The system's words for an `errno` value, in the language of the locale; `errno` stays.
  static StringBase<char> GetErrorText(int code);

  // Whether the real user is root. Answered once and kept, also after privileges were dropped: not for
  // decisions about security.
  static bool IsAdministrator() noexcept;
  // Whether "DISPLAY" is set and not empty, read anew every time. A session that has Wayland alone answers
  // false.
  static bool HasDisplay() noexcept;
  // "SYSTEM RELEASE VERSION - MACHINE", kept from the first call on.
  static const StringBase<char>& GetOsDescription();

  // Replaces `list` by the IPv4 addresses of the interfaces. With `useCache` an earlier answer is repeated as
  // long as it was not empty. False when there is no socket to ask through, with an empty list; where the
  // system refuses the question or no interface is configured, true and an empty list.
  static bool GetInterfaceAddresses(std::vector<HostAddress>& list, bool useCache);
  // The name of this machine. False when it has none, with `name` unchanged. The flag has no effect.
  static bool GetHostName(StringBase<char>& name, bool flag = false);

  // Sets the separators below where they are not set yet; true.
  static bool FillPathConventions();
  // "/" between the parts of a path and ":" between the folders of a search path.
  static StringBase<char> GetDirectorySeparator();
  static StringBase<char> GetSearchPathSeparator();

  // The time value of a broken-down time in UTC, which may be out of range ("32 January"). The time zone and
  // the daylight flag have no effect.
  static std::time_t ToUtc(const std::tm& time) noexcept;
};

// Start-up service: fills the process-wide SystemInfoImpl and empties it again.
template <>
TVK_EXPORT void AutoInit<SystemInfoImpl>::Init();
template <>
TVK_EXPORT void AutoInit<SystemInfoImpl>::Exit();

}  // namespace tvk
