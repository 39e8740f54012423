#include <tvk/files/File.h>
#include <tvk/files/FileException.h>
#include <tvk/files/FileStatus.h>

#include <sys/stat.h>

#include <cerrno>
#include <vector>

namespace tvk {

void File::createFolder(std::uint32_t flags) {
  if ((flags & ModeRecursive) == 0) {
    if (mkdir(m_name.c_str(), 0777) != 0) throw FileException(1004, m_name, errno);
    return;
  }
  std::vector<StringBase<char>> components;
  splitComponents(m_name, components);
  FileString prefix("/");
  for (const StringBase<char>& component : components) {
    join(prefix, component);
    if (isFolder(prefix)) continue;
    try {
      File(prefix).createFolder(flags & ~ModeRecursive);
    } catch (const FileException& e) {
      if (e.systemError() != EEXIST || !isFolder(prefix)) throw;  // another process was faster
    }
  }
}

}  // namespace tvk
