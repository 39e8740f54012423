#include <tvk/files/detail/TreeCopy.h>

#include <dirent.h>
#include <unistd.h>

#include <array>
#include <map>
#include <optional>

#include <tvk/files/detail/FolderChain.h>
#include <tvk/process/Platform.h>

namespace tvk::detail {
namespace {

constexpr mode_t ownerBits = S_IRWXU;
constexpr mode_t accessBits = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr mode_t allBits = accessBits | S_ISUID | S_ISGID | S_ISVTX;

// Nobody is to wait for a FIFO that was put in the place of a file.
int openFlags(const struct stat& expected) { return O_NOCTTY | (S_ISREG(expected.st_mode) ? O_NONBLOCK : 0); }

// 0 when the copy that was made is still all there is, otherwise the error number.
int changeOf(int file, const struct stat& before) {
  struct stat now;
  if (fstat(file, &now) != 0) return errno;
  const bool isSame = now.st_size == before.st_size && now.st_mtim.tv_sec == before.st_mtim.tv_sec &&
                      now.st_mtim.tv_nsec == before.st_mtim.tv_nsec;
  return isSame ? 0 : ESTALE;
}

std::array<timespec, 2> timesOf(const struct stat& status) { return {status.st_atim, status.st_mtim}; }

// One copy. The walk goes down two chains of folders at once. Each level keeps the names of the sub-folders
// yet to copy; everything else is copied while the folder is read. The lowest level holds the source itself.
class TreeCopy {
 public:
  TreeCopy(const std::string& target, CopyMode mode)
      : m_target(target),
        m_isTree(mode == CopyMode::Tree || mode == CopyMode::Exact),
        m_isForced(mode == CopyMode::Forced || mode == CopyMode::Tree),
        m_isExact(mode == CopyMode::Exact) {}

  // `isFresh`: there is nothing at the target.
  int run(const std::string& source, bool isFresh) {
    m_levels.push_back({{}, {}, isFresh, 0});
    copyEntry(source.c_str(), m_target.c_str());
    while (!m_isLost && (m_levels.size() > 1 || !m_levels.back().folders.empty())) {
      if (m_levels.back().folders.empty()) {
        leaveFolder();
      } else {
        enterFolder();
      }
    }
    return m_error;
  }

 private:
  struct Level {
    std::vector<std::string> folders;
    struct stat source;
    bool isFresh;    // the target folder is new: an entry found in it is not ours to touch
    mode_t surplus;  // rights that the target folder has only while it is filled
  };
  struct Copied {
    std::string path;
    Identity identity;
  };

  void fail(int error) {
    if (m_error == 0) m_error = error;
  }

  // Without the way back to the folders above nothing more can be done.
  void lose(int error) {
    fail(error);
    m_isLost = true;
  }

  void copyEntry(const char* name, const char* targetName) {
    struct stat status;
    if (fstatat(m_from.top(), name, &status, m_isTree ? AT_SYMLINK_NOFOLLOW : 0) != 0) {
      fail(errno);
    } else if (!S_ISDIR(status.st_mode)) {
      const bool isShared = m_isExact && status.st_nlink > 1;
      if (isShared && linkEntry(targetName, identityOf(status))) return;
      copyLeaf(name, targetName, status);
      if (isShared) rememberEntry(targetName, identityOf(status));
    } else if (m_isTree) {
      m_levels.back().folders.emplace_back(name);
    } else {
      fail(EISDIR);
    }
  }

  // Makes the target a further link to the copy of the same file. False when there is no such copy.
  bool linkEntry(const char* targetName, const Identity& source) {
    const auto copied = m_linked.find(source);
    if (copied == m_linked.end() ||
        linkat(AT_FDCWD, copied->second.path.c_str(), m_to.top(), targetName, 0) != 0) {
      return false;
    }
    struct stat status;
    if (fstatat(m_to.top(), targetName, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        identityOf(status) == copied->second.identity) {
      return true;
    }
    unlinkat(m_to.top(), targetName, 0);
    return false;
  }

  void rememberEntry(const char* targetName, const Identity& source) {
    struct stat status;
    if (fstatat(m_to.top(), targetName, &status, AT_SYMLINK_NOFOLLOW) != 0) return;
    std::string path = m_target;
    for (std::size_t depth = 1; depth < m_levels.size(); ++depth) {
      path.append("/").append(depth + 1 < m_levels.size() ? m_levels[depth].folders.back() : targetName);
    }
    m_linked.insert_or_assign(source, Copied{std::move(path), identityOf(status)});
  }

  void enterFolder() {
    const char* const name = m_levels.back().folders.back().c_str();
    const char* const targetName = m_levels.size() == 1 ? m_target.c_str() : name;
    Level level = {{}, {}, m_levels.back().isFresh, 0};
    Descriptor to;
    Descriptor from = openFolder(m_from.top(), name);
    if (!from || fstat(from.get(), &level.source) != 0) {
      fail(errno);
    } else if (m_root == identityOf(level.source)) {
      fail(EINVAL);
    } else {
      to = openTarget(targetName, level);
    }
    if (!to) {
      m_levels.back().folders.pop_back();
      return;
    }
    if (const int error = m_from.push(std::move(from)); error != 0) return lose(error);
    if (const int error = m_to.push(std::move(to)); error != 0) return lose(error);
    m_levels.push_back(std::move(level));
    m_reader.start(m_from.top());
    while (const char* const entry = m_reader.next()) {
      if (m_reader.type() == DT_DIR) {
        m_levels.back().folders.emplace_back(entry);
      } else {
        copyEntry(entry, entry);
      }
    }
    if (m_reader.error() != 0) fail(m_reader.error());
  }

  // The target's folder, made when it is missing.
  Descriptor openTarget(const char* name, Level& level) {
    struct stat status;
    if (!level.isFresh && fstatat(m_to.top(), name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
      if (!S_ISDIR(status.st_mode)) return failWith(ENOTDIR);
      if (identityOf(status) == identityOf(level.source)) return failWith(EEXIST);
    } else {
      const mode_t mode = m_isExact ? 0 : level.source.st_mode & (accessBits | S_ISVTX);
      if (mkdirat(m_to.top(), name, mode | ownerBits) != 0) return failWith(errno);
      level.isFresh = true;
      level.surplus = ownerBits & ~mode;
    }
    Descriptor folder = openFolder(m_to.top(), name);
    if (!folder || fstat(folder.get(), &status) != 0) return failWith(errno);
    if (!m_root) m_root = identityOf(status);
    return folder;
  }

  Descriptor failWith(int error) {
    fail(error);
    return Descriptor();
  }

  void leaveFolder() {
    const Level& level = m_levels.back();
    struct stat status;
    if (m_isExact) {
      fail(changeOf(m_from.top(), level.source));
      keepAttributes(m_from.top(), m_to.top(), level.source);
    } else if (level.surplus != 0 && (fstat(m_to.top(), &status) != 0 ||
                                      fchmod(m_to.top(), status.st_mode & allBits & ~level.surplus) != 0)) {
      fail(errno);
    }
    m_levels.pop_back();
    m_levels.back().folders.pop_back();
    if (const int error = m_from.pop(); error != 0) return lose(error);
    if (const int error = m_to.pop(); error != 0) return lose(error);
  }

  // An entry that is no folder.
  void copyLeaf(const char* name, const char* targetName, const struct stat& source) {
    const bool hasContents = S_ISREG(source.st_mode) || !m_isTree;
    std::optional<struct stat> existing;
    if (!m_levels.back().isFresh) {
      struct stat status {};
      if (fstatat(m_to.top(), targetName, &status, hasContents ? 0 : AT_SYMLINK_NOFOLLOW) == 0) {
        if (S_ISDIR(status.st_mode)) return fail(EISDIR);
        if (identityOf(status) == identityOf(source)) return fail(EEXIST);
        if (!hasContents && unlinkat(m_to.top(), targetName, 0) != 0) return fail(errno);
        existing = status;
      } else if (errno == ELOOP && m_isForced) {
        existing = status;
      } else if (errno != ENOENT) {
        return fail(errno);
      }
    }
    if (hasContents) {
      copyFile(name, targetName, source, existing);
    } else if (S_ISLNK(source.st_mode)) {
      copyLink(name, targetName, source);
    } else if (mknodat(m_to.top(), targetName, source.st_mode, source.st_rdev) != 0) {
      fail(errno);
    } else if (m_isExact) {
      keepAttributes(targetName, source);
    }
  }

  void copyFile(const char* name, const char* targetName, const struct stat& source,
                const std::optional<struct stat>& existing) {
    const Descriptor from =
        openAt(m_from.top(), name, O_RDONLY | openFlags(source) | (m_isTree ? O_NOFOLLOW : 0));
    struct stat status;
    if (!from || fstat(from.get(), &status) != 0) return fail(errno);
    if (identityOf(status) != identityOf(source)) return fail(ESTALE);
    Descriptor to;
    if (existing) {
      // A FIFO is waited for where it is the target itself, but not where it only lies in the way.
      const int waiting = m_isForced ? O_NONBLOCK : 0;
      to = openAt(m_to.top(), targetName, O_WRONLY | O_TRUNC | openFlags(*existing) | waiting);
      if (!to && (errno == EAGAIN || !m_isForced || unlinkat(m_to.top(), targetName, 0) != 0))
        return fail(errno);
      if (to && fcntl(to.get(), F_SETFL, fcntl(to.get(), F_GETFL) & ~O_NONBLOCK) != 0) return fail(errno);
    }
    if (!to) {
      const mode_t mode = m_isExact ? S_IRUSR | S_IWUSR : status.st_mode & accessBits;
      to = openAt(m_to.top(), targetName, O_WRONLY | O_CREAT | O_EXCL, mode);
      if (!to) return fail(errno);
    }
    if (!platform::copyContents(from.get(), status, to.get())) return fail(errno);
    if (m_isExact) {
      fail(changeOf(from.get(), source));
      keepAttributes(from.get(), to.get(), source);
    }
    if (const int error = to.close(); error != 0) fail(error);
  }

  void copyLink(const char* name, const char* targetName, const struct stat& source) {
    std::string text(static_cast<std::size_t>(source.st_size) + 1, '\0');
    ssize_t length;
    while ((length = readlinkat(m_from.top(), name, text.data(), text.size())) ==
           static_cast<ssize_t>(text.size())) {
      text.resize(text.size() * 2);
    }
    if (length < 0) return fail(errno);
    text.resize(static_cast<std::size_t>(length));
    if (symlinkat(text.c_str(), m_to.top(), targetName) != 0) return fail(errno);
    if (m_isExact) keepAttributes(targetName, source);
  }

  // The attributes that the system or our rights do not allow are left as they are; set-user-id and its like
  // only go with the owner.
  void keepAttributes(int from, int to, const struct stat& source) {
    const bool keepsOwner = isKept(fchown(to, source.st_uid, source.st_gid));
    if (!keepsOwner) isKept(fchown(to, static_cast<uid_t>(-1), source.st_gid));
    platform::copyExtendedAttributes(from, to);
    isKept(fchmod(to, source.st_mode & (keepsOwner ? allBits : accessBits)));
    isKept(futimens(to, timesOf(source).data()));
  }

  // The same for what cannot be opened, by its name.
  void keepAttributes(const char* name, const struct stat& source) {
    const int to = m_to.top();
    const bool keepsOwner = isKept(fchownat(to, name, source.st_uid, source.st_gid, AT_SYMLINK_NOFOLLOW));
    if (!S_ISLNK(source.st_mode)) {
      isKept(fchmodat(to, name, source.st_mode & (keepsOwner ? allBits : accessBits), AT_SYMLINK_NOFOLLOW));
    }
    isKept(utimensat(to, name, timesOf(source).data(), AT_SYMLINK_NOFOLLOW));
  }

  bool isKept(int result) {
    if (result != 0 && !platform::isRefusal(errno)) fail(errno);
    return result == 0;
  }

  const std::string m_target;
  const bool m_isTree;
  const bool m_isForced;
  const bool m_isExact;
  FolderChain m_from;
  FolderChain m_to;
  platform::FolderReader m_reader;
  std::vector<Level> m_levels;
  std::optional<Identity> m_root;  // the target's topmost folder, which a source that holds it must not copy
  std::map<Identity, Copied> m_linked;  // where the files with more links than one went
  int m_error = 0;
  bool m_isLost = false;
};

}  // namespace

int resolveTarget(const std::string& source, std::string& target, bool* isMissing) {
  struct stat status;
  if (stat(target.c_str(), &status) != 0) {
    if (isMissing != nullptr) *isMissing = errno == ENOENT;
    return errno == ENOENT || errno == ENOTDIR || errno == ELOOP ? 0 : errno;
  }
  if (!S_ISDIR(status.st_mode)) return 0;
  const std::string bare = source.substr(0, source.find_last_not_of('/') + 1);
  const std::string name = bare.substr(bare.rfind('/') + 1);
  target.append("/").append(name == ".." ? "." : name);
  return 0;
}

int copyTree(const std::string& source, const std::string& target, CopyMode mode) {
  if (source.find('\0') != std::string::npos || target.find('\0') != std::string::npos) return EINVAL;
  std::string place = target;
  bool isMissing = mode == CopyMode::Exact;
  if (mode != CopyMode::Exact) {
    if (const int error = resolveTarget(source, place, &isMissing); error != 0) return error;
    // A link that leads nowhere may lie in the way of a link or a folder.
    if (mode == CopyMode::Tree) isMissing = false;
  }
  return TreeCopy(place, mode).run(source, isMissing);
}

}  // namespace tvk::detail
