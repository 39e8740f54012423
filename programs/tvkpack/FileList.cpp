#include "FileList.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <span>
#include <unordered_set>

#include <tvk/files/FileException.h>
#include <tvk/files/FileSpecification.h>
#include <tvk/files/FileTreeScan.h>

namespace tvkpack {
namespace {

constexpr std::int64_t codeNoFolder = 1002;

class Collector : public tvk::FileTreeScan {
 public:
  Collector(const tvk::FileSpecification& what, std::vector<Item>& items)
      : FileTreeScan(what, 0, 0), m_root(rootAt(what.folder)), m_items(items) {}

 private:
  // The scan passes over what it cannot read; the work on the folder tells the user. A sub-folder that has gone
  // meanwhile is none of his files.
  void onFolder(const tvk::FileString& folder, std::span<const tvk::FileString>) override {
    if (folderError() != 0 && (folderError() != ENOENT || folder == m_root->path))
      m_items.push_back({m_root, folder, folderError()});
  }
  void onFile(const tvk::FileString& entry) override { m_items.push_back({m_root, entry, 0}); }

  const std::shared_ptr<const Root> m_root;
  std::vector<Item>& m_items;
};

// Whether a target is a folder, also one behind a link. Throws 1002 when there is none, or nobody can tell.
bool isFolder(const Target& target) {
  struct stat status {};
  bool isFolder = false;
  if (stat(target.path.c_str(), &status) == 0) {
    isFolder = S_ISDIR(status.st_mode);
  } else if (lstat(target.path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) {
    throw tvk::FileException(codeNoFolder, target.path, errno);
  }
  if (!isFolder && !target.patterns.empty()) throw tvk::FileException(codeNoFolder, target.path);
  return isFolder;
}

std::vector<Item> itemsOf(const Target& target, bool recurse) {
  tvk::FileSpecification what;
  what.folder = target.path;
  what.recursive = recurse;
  for (const tvk::FileString& pattern : target.patterns) what.add(pattern, false);
  if (target.patterns.empty())
    for (const char* everyFile : {"*", ".*"}) what.add(everyFile, false);
  std::vector<Item> items;
  Collector(what, items).run();
  std::ranges::sort(items, [](const Item& a, const Item& b) {
    return a.path != b.path ? a.path < b.path : a.error > b.error;
  });
  return items;
}

}  // namespace

std::vector<Item> listFiles(const Settings& settings) {
  std::vector<bool> areFolders;
  for (const Target& target : settings.targets) areFolders.push_back(isFolder(target));

  std::vector<Item> items;
  std::unordered_set<tvk::FileString> seen;
  const auto addNew = [&](Item item) {
    // A folder is no file to work on, but an error when it cannot be read: the one does not stand for the other.
    const tvk::FileString key = (item.error != 0 ? "!" : "") + tvk::normalisedCopy(item.path);
    if (seen.insert(key).second) items.push_back(std::move(item));
  };
  for (std::size_t at = 0; at < areFolders.size(); ++at) {
    const Target& target = settings.targets[at];
    if (areFolders[at]) {
      for (Item& item : itemsOf(target, settings.recurse)) addNew(std::move(item));
    } else {
      const bool isInRoot = target.path.rfind('/') == 0;
      addNew({rootAt(isInRoot ? tvk::FileString("/") : tvk::folderPart(target.path, ".")), target.path, 0});
    }
  }
  return items;
}

}  // namespace tvkpack
