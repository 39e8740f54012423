#include <tvk/files/detail/TreeMove.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <tvk/files/detail/FolderChain.h>
#include <tvk/files/detail/TreeCopy.h>
#include <tvk/files/detail/TreeRemoval.h>
#include <tvk/process/Platform.h>

namespace tvk::detail {
namespace {

std::string canonical(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> found(realpath(path.c_str(), nullptr), &std::free);
  return found != nullptr ? found.get() : std::string();
}

// Whether the target is the source by another name, or what the source, a link, leads to: replacing it would
// lose the file. A link may replace another link to the same file.
bool isSameFile(const std::string& source, const struct stat& from, const std::string& target,
                const struct stat& to) {
  if (identityOf(from) == identityOf(to)) return true;
  if (!S_ISLNK(from.st_mode) || S_ISLNK(to.st_mode)) return false;
  const std::string place = canonical(target);
  return !place.empty() && place == canonical(source);
}

// Copies to another device and removes the source. What is in the way goes first, as it does with rename();
// since the way to the target may lead through it, the real way is looked up before.
int moveByCopy(const std::string& source, const struct stat& from, const std::string& target,
               const struct stat* to) {
  const std::string_view name = std::string_view(source).substr(0, source.find_last_not_of('/') + 1);
  if (name.empty() || name.ends_with("/.") || name.ends_with("/..") || name == "." || name == "..")
    return EBUSY;
  const std::size_t slash = target.rfind('/', target.find_last_not_of('/'));
  const std::string folder = canonical(target.substr(0, slash + 1));
  if (folder.empty()) return errno;
  const std::string place = folder + target.substr(slash);
  if (to != nullptr) {
    if (S_ISDIR(from.st_mode) != S_ISDIR(to->st_mode)) return S_ISDIR(to->st_mode) ? EISDIR : ENOTDIR;
    if ((S_ISDIR(to->st_mode) ? rmdir(place.c_str()) : unlink(place.c_str())) != 0) return errno;
  }
  if (const int error = copyTree(source, place, CopyMode::Exact); error != 0) return error;
  struct stat now;  // only what was copied may go
  if (lstat(source.c_str(), &now) != 0) return errno;
  return identityOf(now) == identityOf(from) ? removeTree(source) : ESTALE;
}

}  // namespace

int moveTree(const std::string& source, const std::string& target) {
  if (source.find('\0') != std::string::npos || target.find('\0') != std::string::npos) return EINVAL;
  // What follows is for what is in the way, and for what stands in the way of this.
  if (platform::renameToFresh(AT_FDCWD, source.c_str(), target.c_str())) return 0;
  std::string place = target;
  struct stat from;
  struct stat to;
  // A link is replaced wherever it leads, also where nobody can look.
  const int unknown = resolveTarget(source, place);
  if (unknown != 0 && (lstat(target.c_str(), &to) != 0 || !S_ISLNK(to.st_mode))) return unknown;
  if (lstat(source.c_str(), &from) != 0) return errno;
  const bool exists = lstat(place.c_str(), &to) == 0;
  if (!exists && errno != ENOENT && errno != ENOTDIR) return errno;
  if (exists && isSameFile(source, from, place, to)) return EEXIST;
  if (std::rename(source.c_str(), place.c_str()) == 0) return 0;
  return errno == EXDEV ? moveByCopy(source, from, place, exists ? &to : nullptr) : errno;
}

}  // namespace tvk::detail
