#include <tvk/process/Platform.h>

#include <dlfcn.h>
#include <link.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <string_view>

namespace tvk::platform {
namespace {

// The host shows a file that was removed since it was opened as "PATH (deleted)".
void dropDeletedMark(std::string& path) {
  constexpr std::string_view deleted = " (deleted)";
  if (path.ends_with(deleted)) path.resize(path.size() - deleted.size());
}

}  // namespace

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
  dropDeletedMark(path);
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

std::vector<std::string> loadedModulePaths() {
  std::vector<std::string> paths;
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* list) {
        static_cast<std::vector<std::string>*>(list)->emplace_back(
            info->dlpi_name != nullptr ? info->dlpi_name : "");
        return 0;
      },
      &paths);
  return paths;
}

void* openIfLoaded(const std::string& path) {
  return dlopen(path.empty() ? nullptr : path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
}

bool liesInModule(const void* address, void* module) {
  Dl_info info;
  void* holder = nullptr;
  void* own = nullptr;
  return dladdr1(address, &info, &holder, RTLD_DL_LINKMAP) != 0 &&
         dlinfo(module, RTLD_DI_LINKMAP, &own) == 0 && holder == own;
}

// Read from the table of mappings: the loader knows a library by the name it was opened with, which may be
// relative to a folder that is not the current one any more.
std::string moduleHolding(const void* address) {
  std::ifstream mappings("/proc/self/maps");
  for (std::string line; std::getline(mappings, line);) {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    if (std::sscanf(line.c_str(), "%" SCNxPTR "-%" SCNxPTR, &begin, &end) != 2) continue;
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    if (wanted < begin || wanted >= end) continue;
    const std::size_t slash = line.find('/');
    std::string path = slash == std::string::npos ? std::string() : line.substr(slash);
    dropDeletedMark(path);
    return path;
  }
  return {};
}

bool hasRaisedRights() noexcept { return getauxval(AT_SECURE) != 0; }

}  // namespace tvk::platform
