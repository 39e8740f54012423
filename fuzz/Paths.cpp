// The functions on paths: the rules written out, and what was put apart gives the path again.
#include <tvk/files/FileStatus.h>
#include <tvk/files/Folders.h>

#include <algorithm>
#include <stdexcept>

#include "Input.h"

namespace {

using tvk::FileString;
using tvk::WithExtension;

// Each "/./" in one pass over the path, then each "/NAME/../" from the left.
std::string normalForm(std::string path) {
  for (std::size_t at = 0; (at = path.find("/./", at)) != path.npos; ++at) path.erase(at, 2);
  for (std::size_t at; (at = path.find("/../")) != path.npos && at > 0;) {
    const std::size_t begin = path.rfind('/', at - 1);
    if (begin == path.npos) break;
    path.erase(begin, at + 3 - begin);
  }
  return path;
}

void checkParts(const FileString& path) {
  const std::string name = tvk::fileNamePart(path), stem = tvk::fileName(path, WithExtension::No);
  REQUIRE(path == name || tvk::folderPart(path, "?") + "/" + name == path);
  const std::string dot = stem.size() == name.size() ? "" : ".";
  REQUIRE(name.find('/') == name.npos && name == stem + dot + tvk::extension(path));
  FileString same = path, other = path;
  for (const WithExtension extension : {WithExtension::No, WithExtension::Yes})
    tvk::replaceName(same, tvk::fileName(path, extension), extension);
  tvk::setExtension(other, tvk::extension(path));
  REQUIRE(same == path && other == path + (dot.empty() ? "." : ""));
  for (std::size_t levels = 1, length = path.size(); length > 0; ++levels) {
    const FileString parent = tvk::parentFolder(path, levels);
    REQUIRE(parent.size() < length && path.starts_with(parent) &&
            (parent.empty() || path[parent.size()] == '/'));
    length = parent.size();
  }
}

void checkNormalForm(const FileString& path, const FileString& home, std::size_t limit) {
  const FileString whole = tvk::normalisedCopy(path), folder = tvk::currentFolder();
  const bool isHome = path.starts_with('~') && !home.empty();
  const FileString absolute = path.empty() ? folder : tvk::joinedCopy(folder, path);
  REQUIRE(whole == normalForm(tvk::isAbsolute(path) ? path
                              : isHome              ? tvk::joinedCopy(home, path.substr(1))
                                                    : absolute));
  std::vector<tvk::StringBase<char>> components;
  tvk::splitComponents(path, components);
  std::string joined, single = "/" + whole + "/";
  for (const auto& component : components) joined += "/" + component;
  const auto areBoth = [](char a, char b) { return a == '/' && b == '/'; };
  single.erase(std::unique(single.begin(), single.end(), areBoth), single.end());
  REQUIRE(joined + "/" == single && tvk::folderOf(path) == tvk::folderPart(whole, ""));

  const FileString shown = tvk::displayName(path, limit);
  if (path.empty()) return REQUIRE(shown == "<none>");
  if (whole.size() <= limit || whole.find('/', 1) == whole.npos) return REQUIRE(shown == whole);
  REQUIRE(shown.substr(1, 4) == ".../" && whole.ends_with(shown.substr(4)));
  REQUIRE(shown.size() <= limit || shown.find('/', 5) == shown.npos);
}

void checkExpansion(const FileString& path) {
  FileString expanded = path;
  const bool hasVariable = path.find('$') != path.npos;
  try {
    REQUIRE(tvk::expandEnvironment(expanded) == hasVariable && expanded.find('$') == expanded.npos);
    REQUIRE(hasVariable ? expanded.size() <= 64 * 1024 : expanded == path);
  } catch (const std::out_of_range&) {
    REQUIRE(expanded == path);
  } catch (const tvk::Exception& e) {
    REQUIRE(e.GetCode() == 1000 && expanded == path);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input in(data, size);
  const std::size_t limit = in.Take() + 1u;
  const FileString home = in.Text(), name = in.Text();
  for (const char* variable : {"HOME", "A"}) setenv(variable, home.c_str(), 1);
  const FileString path = in.Rest();
  checkParts(path);
  checkNormalForm(path, home, limit);
  checkExpansion(path);

  const FileString joined = tvk::joinedCopy(path, name);
  const bool isBoth = !path.empty() && !name.empty();
  const int separators = path.ends_with('/') + name.starts_with('/');
  REQUIRE(std::ssize(joined) == std::ssize(path) + std::ssize(name) + (isBoth ? 1 - separators : 0));
  REQUIRE(joined.starts_with(path) && joined.ends_with(name));
  FileString found = "before";
  tvk::findInFolders(found, name, path);
  REQUIRE(found == "before" || found.empty() ? tvk::isFile(name) != found.empty() : tvk::isFile(found));
  return 0;
}
