#include <tvk/files/FileString.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include <tvk/process/Platform.h>
#include <tvk/process/Singleton.h>
#include <tvk/text/Exception.h>

namespace tvk {
namespace {

constexpr std::size_t none = FileString::npos;
constexpr std::size_t displayLimit = 512;
constexpr int expansionLimit = 1000;
constexpr std::size_t expandedLengthLimit = 64 * 1024;
// Without "O" and "o": a bare name ends before either.
constexpr std::string_view bareNameCharacters =
    "ABCDEFGHIJKLMNIPQRSTUVWXYZabcdefghijklmnipqrstuvwxyz_0123456789";

// The value, empty when it is unset; no variable has a zero in its name.
std::string_view variable(const std::string& name) {
  const char* const value = name.find('\0') == none ? std::getenv(name.c_str()) : nullptr;
  return value != nullptr ? value : std::string_view();
}

std::size_t lastSeparator(std::string_view text) { return text.find_last_of(separator()); }

bool isSeparator(char c) { return separator().find(c) != none; }

// Where the "." of the last component's extension is, or none.
std::size_t extensionDot(std::string_view path) {
  const std::size_t dot = path.rfind('.');
  const std::size_t slash = lastSeparator(path);
  return dot == none || (slash != none && dot < slash) ? none : dot;
}

// "/./" becomes "/"; what the replacement leaves behind is not looked at again.
std::string withoutDots(std::string_view path) {
  std::string result;
  result.reserve(path.size());
  std::size_t from = 0;
  for (std::size_t at; (at = path.find("/./", from)) != none; from = at + 3) {
    result.append(path, from, at - from).append(1, '/');
  }
  return result.append(path, from);
}

// "/NAME/../" becomes "/", the first one first. All before the one found is free of them, so the search goes
// on from there, with the separator that ended it.
std::string withoutDoubleDots(std::string_view path) {
  std::string result;
  result.reserve(path.size());
  std::size_t from = 0;
  for (std::size_t at; (at = path.find("/../", from)) != none; from = at + 3) {
    const std::size_t length = result.size();
    result.append(path, from, at - from);
    const std::size_t slash = result.rfind('/');
    if (slash == none) {
      result.resize(length);
      break;
    }
    result.resize(slash);
  }
  return result.append(path, from);
}

}  // namespace

FileString::~FileString() = default;

const StringBase<char>& separator() {
  static const Lasting<StringBase<char>> s_separator("/");
  return s_separator.value;
}

void normalise(FileString& path) {
  const std::string_view home = path.starts_with('~') ? variable("HOME") : std::string_view();
  if (path.empty()) {
    path = platform::currentFolder();
  } else if (!home.empty()) {
    path = joinedCopy(home, path.substr(1));
  } else if (!isAbsolute(path)) {
    path = joinedCopy(platform::currentFolder(), path);
  }
  if (path.find("/./") != none) path = withoutDots(path);
  if (path.find("/../") != none) path = withoutDoubleDots(path);
}

FileString normalisedCopy(const FileString& path) {
  FileString result = path;
  normalise(result);
  return result;
}

bool isAbsolute(const FileString& path) { return path.starts_with('/'); }

void join(FileString& folder, const FileString& name) {
  if (folder.empty() || name.empty()) {
    folder.append(name);
    return;
  }
  const bool ends = isSeparator(folder.back());
  const bool begins = isSeparator(name.front());
  const std::size_t length = folder.size();
  folder.append(name, ends && begins ? 1 : 0);
  if (!ends && !begins) folder.insert(length, separator());
}

FileString joinedCopy(const FileString& folder, const FileString& name) {
  FileString result = folder;
  join(result, name);
  return result;
}

FileString fileNamePart(const FileString& path) { return path.substr(lastSeparator(path) + 1); }

FileString fileName(const FileString& path, WithExtension extension) {
  FileString name = fileNamePart(path);
  if (extension == WithExtension::No) removeExtension(name);
  return name;
}

FileString extension(const FileString& path) {
  const std::size_t dot = extensionDot(path);
  return dot == none ? FileString() : path.substr(dot + 1);
}

void removeExtension(FileString& path) {
  if (const std::size_t dot = extensionDot(path); dot != none) path.resize(dot);
}

void setExtension(FileString& path, const FileString& extension) {
  FileString result = path;
  removeExtension(result);
  if (!extension.starts_with('.')) result.append(1, '.');
  path = result.append(extension);
}

void replaceName(FileString& path, const FileString& newName, WithExtension extension) {
  const std::size_t begin = lastSeparator(path) + 1;
  const std::size_t dot = extension == WithExtension::Yes ? none : extensionDot(path);
  path.replace(begin, dot == none ? none : dot - begin, newName);
}

FileString folderOf(const FileString& path) { return folderPart(normalisedCopy(path), FileString()); }

FileString folderPart(const FileString& path, const FileString& fallback) {
  const std::size_t slash = lastSeparator(path);
  return slash == none ? fallback : FileString(path.substr(0, slash));
}

FileString parentFolder(const FileString& path, std::size_t levels) {
  std::string_view rest = path;
  std::size_t slash = rest.empty() ? none : lastSeparator(rest.substr(0, rest.size() - 1));
  for (; levels > 0 && !rest.empty(); --levels) {
    rest = rest.substr(0, slash == none ? 0 : slash);
    slash = lastSeparator(rest);
  }
  return rest;
}

void splitComponents(const FileString& path, std::vector<StringBase<char>>& list) {
  const FileString whole = normalisedCopy(path);
  const StringBase<char>& separators = separator();
  for (std::size_t begin = 0; (begin = whole.find_first_not_of(separators, begin)) != none;) {
    const std::size_t end = std::min(whole.find_first_of(separators, begin), whole.size());
    list.emplace_back(whole.data() + begin, end - begin);
    begin = end;
  }
}

bool expandEnvironment(FileString& path) {
  std::size_t at = path.find('$');
  if (at == none) return false;
  std::string text = path;
  for (int count = 0; at != none; at = text.find('$', at)) {
    if (++count > expansionLimit) throw Exception::Of(1000, "endless expansion of %1", path);
    if (at + 1 == text.size()) throw std::out_of_range("basic_string::at");
    const char bracket = text[at + 1];
    const bool isBare = bracket != '(' && bracket != '{';
    const std::size_t begin = isBare ? at + 1 : at + 2;
    const std::size_t end = isBare ? std::min(text.find_first_not_of(bareNameCharacters, begin), text.size())
                                   : text.find(bracket == '(' ? ')' : '}', begin);
    if (end == none) throw Exception::Of(1000, "closing bracket missing in %1", path);
    const std::string name = text.substr(begin, end - begin);
    text.replace(at, end - at + 1, variable(name));
    if (text.size() > expandedLengthLimit) throw Exception::Of(1000, "endless expansion of %1", path);
  }
  path = std::move(text);
  return true;
}

FileString displayName(const FileString& path, std::size_t maxLength, EmptyPath empty) {
  if (path.empty()) return empty == EmptyPath::AsNone ? "<none>" : "";
  const FileString whole = normalisedCopy(path);
  const std::size_t limit = maxLength != 0 ? maxLength : displayLimit;
  std::size_t kept = 0;  // where the text behind the "..." begins; 0 while nothing was replaced
  for (std::size_t length = whole.size(); length > limit; length = 4 + whole.size() - kept) {
    const std::size_t next = whole.find_first_of(separator(), kept + 1);
    if (next == none) break;
    kept = next;
  }
  return kept == 0 ? whole : FileString(whole.substr(0, 1) + "..." + whole.substr(kept));
}

}  // namespace tvk
