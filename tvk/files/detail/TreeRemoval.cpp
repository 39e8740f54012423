#include <tvk/files/detail/TreeRemoval.h>

#include <dirent.h>
#include <unistd.h>

#include <string_view>

#include <tvk/files/detail/FolderChain.h>
#include <tvk/process/Platform.h>

namespace tvk::detail {
namespace {

// One removal. Each level of the walk keeps the names of the sub-folders it has yet to remove; everything
// else goes while the folder is read. The lowest level holds the path itself.
class Removal {
 public:
  int run(const std::string& path) {
    m_levels.push_back({path});
    while (!m_isLost && (m_levels.size() > 1 || !m_levels.back().empty())) {
      if (m_levels.back().empty()) {
        leaveFolder();
      } else {
        enterFolder();
      }
    }
    return m_error;
  }

 private:
  void fail(int error) {
    if (m_error == 0) m_error = error;
  }

  void unlinkEntry(const char* name, int flags) {
    if (unlinkat(m_chain.top(), name, flags) != 0 && errno != ENOENT) fail(errno);
  }

  void removeEntry(const char* name, unsigned char type) {
    struct stat status;
    if (type == DT_UNKNOWN && fstatat(m_chain.top(), name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
      type = S_ISDIR(status.st_mode) ? DT_DIR : DT_REG;
    }
    if (type == DT_DIR) {
      m_levels.back().emplace_back(name);
    } else {
      unlinkEntry(name, 0);
    }
  }

  void enterFolder() {
    const char* const name = m_levels.back().back().c_str();
    Descriptor folder = openFolder(m_chain.top(), name);
    if (!folder) {
      const int error = errno;
      // It is no folder any more, or one that cannot be read but may be empty.
      if (unlinkat(m_chain.top(), name, error == ENOTDIR || error == ELOOP ? 0 : AT_REMOVEDIR) != 0 &&
          errno != ENOENT) {
        fail(error);
      }
      m_levels.back().pop_back();
      return;
    }
    if (const int error = m_chain.push(std::move(folder)); error != 0) return lose(error);
    m_levels.emplace_back();
    m_reader.start(m_chain.top());
    while (const char* const entry = m_reader.next()) removeEntry(entry, m_reader.type());
    if (m_reader.error() != 0) fail(m_reader.error());
  }

  void leaveFolder() {
    m_levels.pop_back();
    if (const int error = m_chain.pop(); error != 0) return lose(error);
    unlinkEntry(m_levels.back().back().c_str(), AT_REMOVEDIR);
    m_levels.back().pop_back();
  }

  void lose(int error) {
    fail(error);
    m_isLost = true;
  }

  FolderChain m_chain;
  platform::FolderReader m_reader;
  std::vector<std::vector<std::string>> m_levels;
  int m_error = 0;
  bool m_isLost = false;
};

}  // namespace

int removeTree(const std::string& path) {
  if (path.find('\0') != std::string::npos) return EINVAL;
  const std::string bare = path.substr(0, path.find_last_not_of('/') + 1);
  const std::string_view name = std::string_view(bare).substr(bare.rfind('/') + 1);
  if (name.empty() || name == "." || name == "..") return EINVAL;
  struct stat status;
  struct stat root;
  if (lstat(bare.c_str(), &status) != 0) return errno == ENOENT || errno == ENOTDIR ? 0 : errno;
  if (S_ISLNK(status.st_mode) && bare.size() != path.size()) return ENOTDIR;
  if (!S_ISDIR(status.st_mode)) return unlink(bare.c_str()) == 0 || errno == ENOENT ? 0 : errno;
  if (stat("/", &root) != 0) return errno;
  if (identityOf(status) == identityOf(root)) return EINVAL;
  return Removal().run(bare);
}

}  // namespace tvk::detail
