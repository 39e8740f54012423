#include <tvk/process/SystemInfo.h>

#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

#include <tvk/files/detail/FolderChain.h>
#include <tvk/process/Platform.h>
#include <tvk/process/Singleton.h>

namespace tvk {
namespace {

StringBase<char> describeSystem() {
  utsname names{};
  uname(&names);
  StringBase<char> text;
  text.append(names.sysname).append(" ").append(names.release).append(" ").append(names.version);
  text.append(" - ").append(names.machine);
  return text;
}

}  // namespace

SystemInfoImpl::~SystemInfoImpl() = default;

SystemInfoImpl& SystemInfoImpl::Get() {
  static Lasting<SystemInfoImpl> s_object;
  return s_object.value;
}

void SystemInfoImpl::Collect() {
  StringBase<char> name;
  GetHostName(name);
  FillPathConventions();
}

void SystemInfoImpl::Forget() {
  const CriticalSectionLock lock(m_lock);
  m_localHost = HostAddress();
  m_interfaceAddresses = {};
}

bool SystemInfoImpl::GetInterfaceAddresses(std::vector<HostAddress>& list, bool useCache) {
  const CriticalSectionLock lock(m_lock);
  if (!useCache) m_interfaceAddresses.clear();
  const bool answered = !m_interfaceAddresses.empty() || ReadInterfaceAddresses();
  list = m_interfaceAddresses;
  return answered;
}

// False when there is no socket to ask through; a question that fails counts as "no addresses".
bool SystemInfoImpl::ReadInterfaceAddresses() {
  const detail::Descriptor socket(platform::openInterfaceSocket());
  if (!socket) return false;
  std::vector<HostAddress> addresses;
  for (const auto& bytes : platform::interfaceAddresses(socket.get())) addresses.emplace_back(bytes);
  m_interfaceAddresses = std::move(addresses);
  return true;
}

bool SystemInfoImpl::GetHostName(StringBase<char>& name) {
  const CriticalSectionLock lock(m_lock);
  if (!m_localHost.AssignLocalHost()) return false;
  name = m_localHost.Name();
  return true;
}

bool SystemInfoImpl::FillPathConventions() {
  const CriticalSectionLock lock(m_lock);
  if (m_directorySeparator.empty()) {
    m_directorySeparator = '/';
    m_searchPathSeparator = ':';
    m_pathConventions = 0;
  }
  return true;
}

StringBase<char> SystemInfoImpl::GetDirectorySeparator() {
  FillPathConventions();
  const CriticalSectionLock lock(m_lock);
  return m_directorySeparator;
}

StringBase<char> SystemInfoImpl::GetSearchPathSeparator() {
  FillPathConventions();
  const CriticalSectionLock lock(m_lock);
  return m_searchPathSeparator;
}

std::uint64_t SystemInfo::GetTickCount() noexcept { return platform::tickCount(); }

int SystemInfo::GetLastError() noexcept { return errno; }

int SystemInfo::SetLastError(int code) noexcept { return std::exchange(errno, code); }

StringBase<char> SystemInfo::GetErrorText(int code) {
  const int before = errno;
  StringBase<char> text = platform::errorText(code);
  errno = before;
  return text;
}

bool SystemInfo::IsAdministrator() noexcept {
  static const bool s_answer = getuid() == 0;
  return s_answer;
}

bool SystemInfo::HasDisplay() noexcept {
  const char* const display = std::getenv("DISPLAY");
  return display != nullptr && *display != '\0';
}

const StringBase<char>& SystemInfo::GetOsDescription() {
  static const Lasting<StringBase<char>> s_text(describeSystem());
  return s_text.value;
}

bool SystemInfo::GetInterfaceAddresses(std::vector<HostAddress>& list, bool useCache) {
  return SystemInfoImpl::Get().GetInterfaceAddresses(list, useCache);
}

bool SystemInfo::GetHostName(StringBase<char>& name, bool) { return SystemInfoImpl::Get().GetHostName(name); }

bool SystemInfo::FillPathConventions() { return SystemInfoImpl::Get().FillPathConventions(); }

StringBase<char> SystemInfo::GetDirectorySeparator() { return SystemInfoImpl::Get().GetDirectorySeparator(); }

StringBase<char> SystemInfo::GetSearchPathSeparator() {
  return SystemInfoImpl::Get().GetSearchPathSeparator();
}

std::time_t SystemInfo::ToUtc(const std::tm& time) noexcept { return platform::utcTime(time); }

template <>
void AutoInit<SystemInfoImpl>::Init() {
  if (m_object != nullptr) return;
  m_object = &SystemInfoImpl::Get();
  m_object->Collect();
}

template <>
void AutoInit<SystemInfoImpl>::Exit() {
  if (m_object != nullptr) std::exchange(m_object, nullptr)->Forget();
}

}  // namespace tvk
