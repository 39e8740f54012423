#include <tvk/files/FileStatus.h>

#include <sys/stat.h>

namespace tvk {
namespace {

// The type bits of what the path names; 0 when it names nothing that can be asked. A zero inside the text
// would make the system look at another name.
mode_t typeOf(const FileString& path) noexcept {
  struct stat status;
  if (path.find('\0') != FileString::npos || stat(path.c_str(), &status) != 0) return 0;
  return status.st_mode & S_IFMT;
}

}  // namespace

bool isFolder(const FileString& path) noexcept { return typeOf(path) == S_IFDIR; }

bool isFile(const FileString& path) noexcept {
  const mode_t type = typeOf(path);
  return type == S_IFREG || type == S_IFCHR || type == S_IFBLK;
}

}  // namespace tvk
