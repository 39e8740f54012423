#include <tvk/files/FileStatus.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace tvk {
namespace {

// A zero inside the text would make the system look at another name.
bool isName(const FileString& path) noexcept {
  if (path.find('\0') == FileString::npos) return true;
  errno = EINVAL;
  return false;
}

bool ask(const FileString& path, struct stat& status) noexcept {
  return isName(path) && stat(path.c_str(), &status) == 0;
}

// The type bits of what the path names; 0 when it names nothing that can be asked.
mode_t typeOf(const FileString& path) noexcept {
  struct stat status;
  return ask(path, status) ? status.st_mode & S_IFMT : 0;
}

}  // namespace

bool isFolder(const FileString& path) noexcept { return typeOf(path) == S_IFDIR; }

bool isFile(const FileString& path) noexcept {
  const mode_t type = typeOf(path);
  return type == S_IFREG || type == S_IFCHR || type == S_IFBLK;
}

bool readFileTimes(const FileString& path, std::int64_t& changeTime, std::int64_t& accessTime,
                   std::int64_t& modificationTime) noexcept {
  struct stat status;
  if (!ask(path, status)) return false;
  changeTime = status.st_ctime;
  accessTime = status.st_atime;
  modificationTime = status.st_mtime;
  return true;
}

bool writeFileTimes(const FileString& path, std::int64_t accessTime, std::int64_t modificationTime) noexcept {
  const timespec times[2] = {{accessTime, 0}, {modificationTime, 0}};
  return isName(path) && utimensat(AT_FDCWD, path.c_str(), times, 0) == 0;
}

}  // namespace tvk
