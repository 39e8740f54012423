// The operations of File that act on names.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string_view>
#include <vector>

#include <tvk/files/File.h>
#include <tvk/files/FileException.h>
#include <tvk/files/FileStatus.h>
#include <tvk/files/Folders.h>
#include <tvk/files/detail/FolderChain.h>
#include <tvk/files/detail/TreeCopy.h>
#include <tvk/files/detail/TreeMove.h>
#include <tvk/files/detail/TreeRemoval.h>
#include <tvk/process/Platform.h>

namespace tvk {
namespace {

using namespace std::string_view_literals;

// A shell would end a word at these, or give them a meaning.
constexpr std::string_view shellCharacters = " \t\n|&;<>()$\\`'\"\0"sv;

bool isPlain(const FileString& path) { return path.find_first_of(shellCharacters) == FileString::npos; }

// The system would see the name before a zero, which is another one.
bool holdsZero(const FileString& path) { return path.find('\0') != FileString::npos; }

bool refuse(int error) {
  errno = error;
  return false;
}

// Runs what answers 0 or an error number, and leaves that number in errno.
template <class Work>
bool succeeds(Work work) {
  try {
    const int error = work();
    return error == 0 || refuse(error);
  } catch (const std::bad_alloc&) {
    return refuse(ENOMEM);
  }
}

}  // namespace

bool File::remove() { return holdsZero(m_name) ? refuse(EINVAL) : std::remove(m_name.c_str()) == 0; }

void File::move(const FileString& target) {
  const FileString& source = name();
  const FileString place = normalisedCopy(target);
  if (!succeeds([&] { return isAbsolute(place) ? detail::moveTree(source, place) : ENOENT; })) {
    throw FileException(1013, source, errno);
  }
  setName(place.c_str());
}

void File::rename(const FileString& newName) {
  const FileString path = normalisedCopy(name());
  if (newName.empty()) throw FileException(1016, newName);
  FileString target = folderPart(path, FileString());
  if (target.empty() && isAbsolute(path)) target = separator();
  join(target, fileName(newName, WithExtension::Yes));
  move(target);
}

bool File::copyFile(const FileString& source, const FileString& target) {
  return succeeds([&] { return detail::copyTree(source, target, detail::CopyMode::File); });
}

bool File::copyTo(const FileString& targetFolder, std::uint32_t flags) {
  const bool exists = isFolder(targetFolder);
  if ((flags & ModeNoOverwrite) != 0) {
    if (exists) throw FileException(1029, m_name);
  } else if ((flags & ModeMustExist) != 0 && !exists) {
    throw FileException(1002, targetFolder);
  }
  const FileString source = normalisedCopy(m_name);
  const FileString target = targetFolder.starts_with('~') ? normalisedCopy(targetFolder) : targetFolder;
  if (!isAbsolute(source) || !isPlain(source) || !isPlain(targetFolder)) return refuse(EINVAL);
  if (!exists) File(targetFolder).createFolder(ModeRecursive);
  m_name = source;
  const auto mode = (flags & ModeRecursive) != 0 ? detail::CopyMode::Tree : detail::CopyMode::Forced;
  return succeeds([&] { return detail::copyTree(source, target, mode); });
}

void File::createFolder(std::uint32_t flags) {
  if ((flags & ModeRecursive) == 0) {
    if (holdsZero(m_name)) throw FileException(1004, m_name, EINVAL);
    if (mkdir(m_name.c_str(), 0777) != 0) throw FileException(1004, m_name, errno);
    return;
  }
  const FileString path = normalisedCopy(m_name);
  if (!isAbsolute(path)) throw FileException(1004, m_name, ENOENT);
  std::vector<StringBase<char>> components;
  splitComponents(path, components);
  FileString prefix = separator();
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

bool File::removeFolder(std::uint32_t flags) {
  if ((flags & ModeRecursive) != 0) return isPlain(normalisedCopy(m_name)) ? removeTree() : refuse(EINVAL);
  return holdsZero(m_name) ? refuse(EINVAL) : rmdir(m_name.c_str()) == 0;
}

bool File::removeTree() {
  const FileString path = normalisedCopy(m_name);
  if (m_name.empty() || !isAbsolute(path)) return refuse(EINVAL);
  return succeeds([&] { return detail::removeTree(path); });
}

bool File::openTemporary(const FileString& folder) {
  const FileString place = folder.empty() ? tempFolder() : folder;
  FileString path = joinedCopy(place, "kestXXXXXX");
  const FileString before = m_name;
  const platform::QuietScope quiet;  // a thread that is cancelled meanwhile would leave the file behind
  detail::Descriptor made(holdsZero(path) ? (errno = EINVAL, -1) : mkostemp(path.data(), O_CLOEXEC));
  if (!made) throw FileException(1006, place, errno);
  try {
    setName(path.c_str());
    adopt(made.release(), ModeRead | ModeWrite);
  } catch (...) {
    unlink(path.c_str());
    m_name = before;
    throw;
  }
  return true;
}

}  // namespace tvk
