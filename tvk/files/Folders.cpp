#include <tvk/files/Folders.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include <tvk/files/FileException.h>
#include <tvk/files/FileStatus.h>
#include <tvk/process/Platform.h>

namespace tvk {

FileString tempFolder() { return "/var/tmp/"; }

FileString homeFolder() {
  const char* const home = std::getenv("HOME");
  if (home == nullptr) throw FileException(1002, "$TEMP");
  return home;
}

FileString currentFolder() { return platform::currentFolder(); }

FileString executablePath() { return platform::executablePath(); }

FileString realPath(const FileString& path) {
  if (path.empty()) return path;
  const bool isName = path.find('\0') == FileString::npos;
  const std::unique_ptr<char, decltype(&std::free)> found(
      isName ? realpath(path.c_str(), nullptr) : (errno = ENOENT, nullptr), &std::free);
  if (found == nullptr) throw FileException(1003, path, errno);
  return found.get();
}

void findInFolders(FileString& result, const FileString& name, const FileString& folderList) {
  const std::string_view list = folderList;
  for (std::size_t begin = 0; !list.empty() && begin <= list.size();) {
    const std::size_t end = std::min(list.find(';', begin), list.size());
    FileString candidate = joinedCopy(list.substr(begin, end - begin), name);
    if (isFile(candidate)) {
      result = std::move(candidate);
      return;
    }
    begin = end + 1;
  }
  if (!isFile(name)) result.clear();
}

}  // namespace tvk
