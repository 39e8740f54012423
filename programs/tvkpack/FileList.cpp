#include "FileList.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <span>
#include <unordered_set>

#include <tvk/files/FileException.h>
#include <tvk/files/FileSpecification.h>
#include <tvk/files/FileStatus.h>
#include <tvk/files/FileTreeScan.h>

namespace tvkpack {
namespace {

constexpr std::int64_t codeNoFolder = 1002;

class Collector : public tvk::FileTreeScan {
 public:
  Collector(const tvk::FileSpecification& what, std::vector<tvk::FileString>& paths)
      : FileTreeScan(what, 0, 0), m_paths(paths) {}

 private:
  // The scan passes a folder over that it may not read; the work on it tells the user.
  void onFolder(const tvk::FileString& folder, std::span<const tvk::FileString> files) override {
    if (files.empty() && access(folder.c_str(), R_OK) != 0) m_paths.push_back(folder);
  }
  void onFile(const tvk::FileString& entry) override { m_paths.push_back(entry); }

  std::vector<tvk::FileString>& m_paths;
};

bool exists(const tvk::FileString& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

std::vector<tvk::FileString> filesOf(const Target& target, bool recurse) {
  tvk::FileSpecification what;
  what.folder = target.path;
  what.recursive = recurse;
  for (const tvk::FileString& pattern : target.patterns) what.add(pattern, false);
  if (target.patterns.empty())
    for (const char* everyFile : {"*", ".*"}) what.add(everyFile, false);
  std::vector<tvk::FileString> paths;
  Collector(what, paths).run();
  std::ranges::sort(paths);
  return paths;
}

}  // namespace

std::vector<Item> listFiles(const Settings& settings) {
  for (const Target& target : settings.targets)
    if (target.patterns.empty() ? !exists(target.path) : !tvk::isFolder(target.path))
      throw tvk::FileException(codeNoFolder, target.path);

  std::vector<Item> items;
  std::unordered_set<tvk::FileString> seen;
  const auto isNew = [&seen](const tvk::FileString& path) {
    return seen.insert(tvk::normalisedCopy(path)).second;
  };
  for (const Target& target : settings.targets) {
    if (tvk::isFolder(target.path)) {
      for (const tvk::FileString& path : filesOf(target, settings.recurse))
        if (isNew(path)) items.push_back({target.path, path});
    } else if (isNew(target.path)) {
      const bool isInRoot = target.path.rfind('/') == 0;
      items.push_back({isInRoot ? tvk::FileString("/") : tvk::folderPart(target.path, "."), target.path});
    }
  }
  return items;
}

}  // namespace tvkpack
