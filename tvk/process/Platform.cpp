#include <tvk/process/Platform.h>

#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace tvk::platform {

std::string executablePath() {
  std::string path(256, '\0');
  for (;;) {
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    if (length < 0) return {};
    if (static_cast<std::size_t>(length) < path.size()) {
      path.resize(static_cast<std::size_t>(length));
      break;
    }
    path.resize(path.size() * 2);
  }
  constexpr std::string_view deleted = " (deleted)";
  if (path.ends_with(deleted)) path.resize(path.size() - deleted.size());
  return path;
}

std::string currentFolder() {
  std::string path(256, '\0');
  while (getcwd(path.data(), path.size()) == nullptr) {
    if (errno != ERANGE) return {};
    path.resize(path.size() * 2);
  }
  path.resize(path.find('\0'));
  return path;
}

}  // namespace tvk::platform
