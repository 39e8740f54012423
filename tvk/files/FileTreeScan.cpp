#include <tvk/files/FileTreeScan.h>

#include <dirent.h>
#include <fnmatch.h>
#include <glob.h>
#include <limits.h>
#include <locale.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <clocale>
#include <cstring>
#include <deque>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tvk/files/detail/FolderChain.h>
#include <tvk/process/Platform.h>
#include <tvk/text/Characters.h>
#include <tvk/text/Exception.h>

namespace tvk {
namespace {

using detail::Descriptor;
using detail::Identity;
using detail::identityOf;

constexpr std::string_view wildcards = "*?[\\";
// What glob() may use of the stack, and what a component with wildcards costs it beside the pattern's length
// (measured with glibc 2.36: 1.4 KiB).
constexpr std::size_t globStackLimit = 64 * 1024;
constexpr std::size_t globStackPerComponent = 2 * 1024;

bool holdsZero(std::string_view text) { return text.find('\0') != std::string_view::npos; }

FileString escaped(std::string_view text) {
  FileString result;
  for (const char c : text) {
    if (wildcards.find(c) != std::string_view::npos || c == ']') result.append(1, '\\');
    result.append(1, c);
  }
  return result;
}

// "." and "..", also with separators behind them.
bool isDotName(std::string_view path) {
  path = path.substr(0, path.find_last_not_of('/') + 1);
  path = path.substr(path.rfind('/') + 1);
  return path == "." || path == "..";
}

// Whether strcoll() compares byte by byte.
bool collatesBytes() {
  const char* const locale =
      uselocale(nullptr) == LC_GLOBAL_LOCALE ? std::setlocale(LC_COLLATE, nullptr) : nullptr;
  return locale != nullptr && (std::strcmp(locale, "C") == 0 || std::strcmp(locale, "POSIX") == 0);
}

// A name with the beginning of what tells it from the others, as a number that compares like the bytes.
struct SortedName {
  const char* name;
  std::size_t length;
  std::uint64_t key;
};

// What may be read behind a name to make its key.
constexpr std::size_t keySize = sizeof(std::uint64_t);

std::uint64_t keyOf(const char* text, std::size_t length) {
  std::uint64_t key;
  std::memcpy(&key, text, keySize);
  if constexpr (std::endian::native == std::endian::little) key = __builtin_bswap64(key);
  if (length >= keySize) return key;
  return length == 0 ? 0 : key & ~std::uint64_t{0} << 8 * (keySize - length);
}

void sortByBytes(std::vector<SortedName>& names) {
  if (names.size() < 2) return;
  const char* const first = names.front().name;
  std::size_t common = names.front().length;
  for (const SortedName& each : names) {
    std::size_t same = 0;
    while (same < common && each.name[same] == first[same]) ++same;
    common = same;
  }
  for (SortedName& each : names) each.key = keyOf(each.name + common, each.length - common);
  std::sort(names.begin(), names.end(), [common](const SortedName& a, const SortedName& b) {
    return a.key != b.key ? a.key < b.key : std::strcmp(a.name + common, b.name + common) < 0;
  });
}

struct GlobResult : glob_t {
  GlobResult() : glob_t() {}
  GlobResult(const GlobResult&) = delete;
  GlobResult& operator=(const GlobResult&) = delete;
  ~GlobResult() { globfree(this); }
};

// A folder to look at: its path, and which folder it lies in unless the scan starts with it.
struct Folder {
  FileString path;
  std::optional<Identity> above;
  Identity identity{};  // its own, known when it has sub-folders
  std::string folders;  // names of the sub-folders, each with a zero behind it
};

// Finds what the patterns of a specification match in one folder after the other, each of which is read once.
class Matcher {
 public:
  Matcher(FileSpecification& specification, bool isRecursive)
      : m_isRecursive(isRecursive), m_readsFolders(isRecursive) {
    FileString name;
    for (bool more = specification.first(name); more; more = specification.next(name)) {
      if (holdsZero(name)) continue;  // names nothing
      m_patterns.push_back({name, kindOf(name), {}});
      m_readsFolders |= m_patterns.back().kind == Kind::All || m_patterns.back().kind == Kind::Wildcard;
    }
  }

  // Takes the matches of a folder into entries(), and with a recursive scan its sub-folders into the folder.
  void look(Folder& folder) {
    try {
      find(folder);
      if (m_error == ENOMEM) throw std::bad_alloc();
    } catch (const std::bad_alloc&) {
      throw Exception::Of(1014);
    }
  }

  std::span<const FileString> entries() const { return {m_entries.data(), m_count}; }
  // Why the folder was not read as a whole, or 0.
  int error() const { return m_error; }

 private:
  enum class Kind : unsigned char {
    All,       // "*"
    Wildcard,  // one component, matched against the names read
    Name,      // one component without wildcards: it exists or not
    Path,      // several components, or none: glob()'s
  };
  // In m_names, where a zero stands behind it.
  struct Name {
    std::size_t at;
    std::size_t length;
  };
  struct Pattern {
    FileString text;
    Kind kind;
    std::vector<Name> matches;
  };

  static Kind kindOf(const FileString& pattern) {
    if (pattern.empty() || pattern.find('/') != FileString::npos) return Kind::Path;
    if (pattern == "*") return Kind::All;
    return pattern.find_first_of(wildcards) == FileString::npos ? Kind::Name : Kind::Wildcard;
  }

  static bool matches(const Pattern& pattern, const char* name) {
    return pattern.kind == Kind::All
               ? name[0] != '.'
               : pattern.kind == Kind::Wildcard && fnmatch(pattern.text.c_str(), name, FNM_PERIOD) == 0;
  }

  void find(Folder& folder) {
    const FileString& path = folder.path;
    m_count = 0;
    m_error = 0;
    m_names.clear();
    for (Pattern& pattern : m_patterns) pattern.matches.clear();
    if (holdsZero(path)) return fail(ENOENT);
    m_prefix = path == "//" ? "/" : path;  // as glob() has it
    if (!m_prefix.empty() && !m_prefix.ends_with('/')) m_prefix.append(1, '/');
    const bool isReachable = !m_readsFolders || readFolder(folder) || !folder.above;
    for (const Pattern& pattern : m_patterns) {
      switch (pattern.kind) {
        case Kind::All:
        case Kind::Wildcard:
          addMatches(pattern.matches);
          break;
        case Kind::Name:
          if (isReachable) addExisting(pattern.text);
          break;
        case Kind::Path:
          if (isReachable) addGlob(path, pattern.text);
          break;
      }
    }
  }

  void fail(int error) {
    if (m_error == 0) m_error = error;
  }

  // False when there is no such folder any more.
  bool readFolder(Folder& folder) {
    const FileString& path = folder.path;
    const Descriptor descriptor = detail::openAt(AT_FDCWD, path.empty() ? "." : path.c_str(),
                                                 O_RDONLY | O_DIRECTORY | (folder.above ? O_NOFOLLOW : 0));
    if (!descriptor) {
      fail(errno);
      return m_error == EACCES;
    }
    // One that was reached through a link put in the place of a folder above lies elsewhere.
    struct stat status;
    if (folder.above && fstatat(descriptor.get(), "..", &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        identityOf(status) != *folder.above) {
      fail(ESTALE);
      return false;
    }
    m_reader.start(descriptor.get());
    while (const char* const name = m_reader.next()) {
      const std::size_t length = std::strlen(name);
      if (m_isRecursive && !path.empty() && isFolderEntry(descriptor.get(), name)) {
        if (m_prefix.size() + length < PATH_MAX) {
          folder.folders.append(name, length + 1);
        } else {
          fail(ENAMETOOLONG);
        }
      }
      std::size_t at = std::string::npos;
      for (Pattern& pattern : m_patterns) {
        if (!matches(pattern, name)) continue;
        if (at == std::string::npos) {
          at = m_names.size();
          m_names.append(name, length + 1);
        }
        pattern.matches.push_back({at, length});
      }
    }
    m_names.append(keySize, '\0');
    fail(m_reader.error());
    if (folder.folders.empty()) return true;
    if (fstatat(descriptor.get(), ".", &status, 0) == 0) {
      folder.identity = identityOf(status);
    } else {  // the way to them is closed
      fail(errno);
      folder.folders.clear();
    }
    return true;
  }

  bool isFolderEntry(int folder, const char* name) {
    struct stat status;
    if (m_reader.type() != DT_UNKNOWN) return m_reader.type() == DT_DIR;
    if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0) return S_ISDIR(status.st_mode);
    if (errno != ENOENT) fail(errno);
    return false;
  }

  // The next entry, with the memory it has from earlier folders.
  FileString& addEntry() {
    if (m_count == m_entries.size()) m_entries.emplace_back();
    return m_entries[m_count++];
  }

  void addMatches(const std::vector<Name>& matches) {
    m_sorted.clear();
    for (const Name& name : matches) m_sorted.push_back({m_names.data() + name.at, name.length, 0});
    if (m_collatesBytes) sortByBytes(m_sorted);
    const auto first = static_cast<std::ptrdiff_t>(m_count);
    for (const SortedName& each : m_sorted) addEntry().assign(m_prefix).append(each.name, each.length);
    if (m_collatesBytes) return;
    // Other locales look at the whole: what is in front of the name may count.
    std::sort(
        m_entries.begin() + first, m_entries.begin() + static_cast<std::ptrdiff_t>(m_count),
        [](const FileString& a, const FileString& b) { return std::strcoll(a.c_str(), b.c_str()) < 0; });
  }

  void addExisting(const FileString& name) {
    struct stat status;
    const FileString entry = m_prefix + name;
    if (isDotName(name)) return;
    if (lstat(entry.c_str(), &status) == 0) {
      addEntry() = entry;
    } else if (errno != ENOENT && errno != ENOTDIR && name.size() <= NAME_MAX) {
      fail(errno);
    }
  }

  void addGlob(const FileString& path, const FileString& name) {
    const FileString pattern = joinedCopy(escaped(path), name);
    const auto wild = std::min(name.find_first_of(wildcards), name.size());
    const auto components = static_cast<std::size_t>(
        std::count(name.begin() + static_cast<std::ptrdiff_t>(wild), name.end(), '/'));
    if (components * (globStackPerComponent + pattern.size()) > globStackLimit) throw Exception::Of(1014);
    GlobResult found;
    static thread_local int s_error;
    s_error = 0;
    const int result = glob(
        pattern.c_str(), 0,
        [](const char*, int error) {
          // What may not be read is no match, as for glob itself.
          if (s_error == 0 && error != ENOENT && error != ENOTDIR && error != EACCES) s_error = error;
          return 0;
        },
        &found);
    if (result == GLOB_NOSPACE) throw Exception::Of(1014);
    fail(s_error);
    for (std::size_t at = 0; result == 0 && at < found.gl_pathc; ++at) {
      if (!isDotName(found.gl_pathv[at])) addEntry() = found.gl_pathv[at];
    }
  }

  bool m_isRecursive;
  bool m_readsFolders;
  std::vector<Pattern> m_patterns;
  platform::FolderReader m_reader;
  bool m_collatesBytes = collatesBytes();
  std::vector<SortedName> m_sorted;   // the matches of one pattern
  std::string m_prefix;               // of the entries of the folder at hand
  std::string m_names;                // matching names, each with a zero behind it
  std::vector<FileString> m_entries;  // the first m_count of them
  std::size_t m_count = 0;
  int m_error = 0;
};

}  // namespace

FileTreeScan::FileTreeScan(const FileSpecification& specification, std::uint32_t options, std::uint32_t flags)
    : m_options(options),
      m_flags(specification.recursive ? flags | ScanRecursive : flags),
      m_specification(specification) {}

FileTreeScan::~FileTreeScan() = default;

void FileTreeScan::closeIfOpen() {}
void FileTreeScan::onFolder(const FileString&, std::span<const FileString>) {}
void FileTreeScan::onFile(const FileString&) {}
void FileTreeScan::onFolderVisited() {}

void FileTreeScan::run() { scanFolder(m_specification.folder); }

void FileTreeScan::scanFolder(const FileString& path) {
  struct Level {
    Folder folder;
    std::size_t next = 0;  // where the name of the first sub-folder that was not scanned yet begins
  };
  const auto visited = [this](const FileString& folder) {
    setName(folder.c_str());
    onFolderVisited();
  };
  Matcher matcher(m_specification, (m_flags & ScanRecursive) != 0);
  // The first of them, as many as the folder at hand is deep, are in use; the others keep their memory.
  std::deque<Level> levels;
  std::size_t depth = 0;
  const auto enter = [&]() -> Folder& {
    if (depth == levels.size()) levels.emplace_back();
    Level& level = levels[depth++];
    level.next = 0;
    level.folder.folders.clear();
    return level.folder;
  };
  const auto visit = [&](Folder& toVisit) {
    const FileString& folder = toVisit.path;
    matcher.look(toVisit);
    m_fileCount = 0;
    m_folderError = matcher.error();
    setName(folder.c_str());
    onFolder(folder, matcher.entries());
    std::uint64_t count = 0;
    for (const FileString& entry : matcher.entries()) {
      m_fileCount = ++count;
      setName(entry.c_str());
      onFile(entry);
    }
    if ((m_options & ScanFoldersAfter) == 0) visited(folder);
  };
  Folder& start = enter();
  start.path = path;
  visit(start);
  while (depth != 0) {
    Level& level = levels[depth - 1];
    const Folder& folder = level.folder;
    if (level.next < folder.folders.size()) {
      const std::string_view name = folder.folders.data() + level.next;
      level.next += name.size() + 1;
      Folder& below = enter();
      below.path = folder.path;
      if (!below.path.ends_with('/')) below.path.append(1, '/');
      below.path.append(name);
      below.above = folder.identity;
      visit(below);
    } else {
      if ((m_options & ScanFoldersAfter) != 0) visited(folder.path);
      --depth;
    }
  }
}

}  // namespace tvk
