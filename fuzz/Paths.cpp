// The functions on paths: the rules written out, and what was put apart gives the path again.
#include <tvk/files/FileStatus.h>
#include <tvk/files/Folders.h>

#include <sstream>
#include <vector>

#include "Input.h"

using tvk::FileString;
using tvk::WithExtension;

static void checkParts(const FileString& path) {
  const std::string name = tvk::fileNamePart(path), stem = tvk::fileName(path, WithExtension::No);
  const std::string dot = stem.size() == name.size() ? "" : ".";
  assert(path == name || tvk::folderPart(path, "?") + "/" + name == path);
  assert(name.find('/') == name.npos && name == stem + dot + tvk::extension(path));
  FileString same = path, other = path;
  for (const WithExtension extension : {WithExtension::No, WithExtension::Yes})
    tvk::replaceName(same, tvk::fileName(path, extension), extension);
  tvk::setExtension(other, tvk::extension(path));
  assert(same == path && other == path + (dot.empty() ? "." : ""));
  FileString parent = path;
  for (std::size_t levels = 1, length = path.size(); length > 0; ++levels, length = parent.size()) {
    parent = tvk::parentFolder(path, levels);
    assert(parent.size() < length && path.starts_with(parent) &&
           (parent.empty() || path[parent.size()] == '/'));
  }
}

static void checkNormalForm(const FileString& path, const FileString& home, std::size_t limit) {
  const bool isHome = path.starts_with('~') && !home.empty();
  std::string wanted = isHome ? tvk::joinedCopy(home, path.substr(1)) : path;
  if (!isHome && !tvk::isAbsolute(path)) wanted = tvk::joinedCopy(tvk::currentFolder(), path);
  // Each "/./" in one pass over the path, then each "/NAME/../" from the left.
  for (std::size_t at = 0; (at = wanted.find("/./", at)) != wanted.npos; ++at) wanted.erase(at, 2);
  for (std::size_t at; (at = wanted.find("/../")) != wanted.npos && at > 0;) {
    const std::size_t begin = wanted.rfind('/', at - 1);
    if (begin == wanted.npos) break;
    wanted.erase(begin, at + 3 - begin);
  }
  assert(tvk::normalisedCopy(path) == wanted && tvk::folderOf(path) == tvk::folderPart(wanted, ""));
  std::vector<tvk::StringBase<char>> components{"before"}, parts = components;
  std::istringstream in(wanted);
  for (std::string part; std::getline(in, part, '/');)
    if (!part.empty()) parts.push_back(part);
  tvk::splitComponents(path, components);
  assert(components == parts);

  const FileString shown = tvk::displayName(path, limit);
  const bool isWhole = wanted.size() <= limit || wanted.find('/', 1) == wanted.npos;
  if (path.empty() || isWhole) return assert(shown == (path.empty() ? "<none>" : wanted));
  assert(shown.substr(1, 4) == ".../" && wanted.ends_with(shown.substr(4)));
  assert(shown.size() <= limit || shown.find('/', 5) == shown.npos);
}

void fuzz::run(Input in) {
  const std::size_t limit = in.Take() + 1u;
  const FileString home = in.Text(), name = in.Text(), path = in.Rest();
  for (const char* variable : {"HOME", "A"}) setenv(variable, home.c_str(), 1);
  checkParts(path);
  checkNormalForm(path, home, limit);

  FileString expanded = path, found = "before";
  try {
    assert(tvk::expandEnvironment(expanded) == (path.find('$') != path.npos));
    assert(expanded == path || (expanded.find('$') == expanded.npos && expanded.size() <= 64 * 1024));
  } catch (const std::exception&) {
    assert(expanded == path);
  }

  const FileString joined = tvk::joinedCopy(path, name);
  const bool isBoth = !path.empty() && !name.empty();
  const int separators = path.ends_with('/') + name.starts_with('/');
  assert(std::ssize(joined) == std::ssize(path) + std::ssize(name) + (isBoth ? 1 - separators : 0));
  assert(joined.starts_with(path) && joined.ends_with(name));
  tvk::findInFolders(found, name, path);
  assert(found == "before" || found.empty() ? tvk::isFile(name) != found.empty() : tvk::isFile(found));
}
