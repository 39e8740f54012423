// The path type of the library, and the path rules that need nothing but text, HOME and the current folder.
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tvk/Export.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// What converts to and from FileString like std::filesystem::path, which this header does not need to know.
template <class Path>
concept NativePath = requires(const Path& path) {
  { path.native() } -> std::same_as<const std::string&>;
};

// A path: a narrow string of bytes as the system takes them, never converted between character sets. Nothing
// is normalised unless a function below says so. A null pointer gives the empty path.
class TVK_EXPORT FileString : public StringBase<char> {
 public:
  FileString() noexcept = default;
  FileString(const char* path) : StringBase(path) {}
  FileString(const StringBase<char>& path) : StringBase(path) {}
  FileString(StringBase<char>&& path) noexcept : StringBase(std::move(path)) {}
  FileString(const Standard& path) : StringBase(path) {}
  FileString(Standard&& path) noexcept : StringBase(std::move(path)) {}
  FileString(View path) : StringBase(path) {}
  template <NativePath Path>
  FileString(const Path& path) : StringBase(path.native()) {}

  FileString(const FileString&) = default;
  FileString(FileString&&) noexcept = default;
  FileString& operator=(const FileString&) = default;
  FileString& operator=(FileString&&) noexcept = default;
  using StringBase::operator=;
  template <NativePath Path>
  FileString& operator=(const Path& path) {
    StringBase::operator=(path.native());
    return *this;
  }
  ~FileString() override;

  template <NativePath Path>
  operator Path() const {
    return Path(static_cast<const Standard&>(*this));
  }
};

// Whether a file name is taken with its extension or without.
enum class WithExtension : bool { No, Yes };

// How displayName() shows an empty path: as nothing, or as "<none>".
enum class EmptyPath : bool { AsEmpty, AsNone };

// The separator of paths, "/": one object from first use until shut-down.
TVK_EXPORT const StringBase<char>& separator();

// --- Normal form

// Makes a path absolute and simpler by its text alone: links are not looked at, so "/a/link/../b" becomes
// "/a/b" wherever the link leads; realPath() is the one to use for checks.
//   - The empty path becomes the current folder. "~" in front stands for HOME, also in "~user" (HOME/user);
//     without HOME, or with an empty one, "~" is a name like any other. What does not begin with "/" or "~"
//     is joined to the current folder.
//   - "/./" becomes "/" in one pass, so that every other one of a run stays: "/a/././b" gives "/a/./b".
//   - "/NAME/../" becomes "/". A "/../" at the very front stays and ends the work. Doubled separators and a
//     "." or ".." at the end stay.
// The result is not absolute only when HOME is not, or when the system does not tell the current folder.
TVK_EXPORT void normalise(FileString& path);
TVK_EXPORT FileString normalisedCopy(const FileString& path);
// True when the path begins with "/".
TVK_EXPORT bool isAbsolute(const FileString& path);

// --- Joining and splitting, on the last separator and the last "."; the path is taken as it is

// Appends `name` with exactly one separator between the two. An empty name changes nothing; an empty folder
// becomes the name.
TVK_EXPORT void join(FileString& folder, const FileString& name);
TVK_EXPORT FileString joinedCopy(const FileString& folder, const FileString& name);
// The text after the last separator; the whole path when there is none.
TVK_EXPORT FileString fileNamePart(const FileString& path);
TVK_EXPORT FileString fileName(const FileString& path, WithExtension extension);
// The text after the last "." of the last component: "gz" of "/a/c.tar.gz", "bashrc" of ".bashrc", empty for
// "/a.b/c".
TVK_EXPORT FileString extension(const FileString& path);
TVK_EXPORT void removeExtension(FileString& path);
// Replaces the extension, given with or without its "."; an empty one leaves a "." at the end.
TVK_EXPORT void setExtension(FileString& path, const FileString& extension);
// Replaces the last component: WithExtension::Yes the whole, No all before its extension, which then stays.
// Behind a separator at the end the name is appended.
TVK_EXPORT void replaceName(FileString& path, const FileString& newName, WithExtension extension);
// The containing folder of the normalised path, without separator at the end; empty for "/x".
TVK_EXPORT FileString folderOf(const FileString& path);
// The text before the last separator, or `fallback` when there is none.
TVK_EXPORT FileString folderPart(const FileString& path, const FileString& fallback);
// The folder `levels` above: each level cuts at the last separator, one at the end not counted for the first.
// Empty once nothing is left to cut; "/a" gives the empty path.
TVK_EXPORT FileString parentFolder(const FileString& path, std::size_t levels = 1);
// Appends the non-empty components of the normalised path to the list.
TVK_EXPORT void splitComponents(const FileString& path, std::vector<StringBase<char>>& list);

// --- Expansion and display

// Replaces $(NAME), ${NAME} and $NAME by the variable's value (unset: empty), in place, and expands a "$" in
// the value again. Answers whether there was any "$". A bare name consists of letters, digits and "_" but for
// "O" and "o", and the character behind it is consumed with it: $NAME/x gives the value followed by x. A "$"
// at the end throws std::out_of_range; a missing closing bracket, more than 1,000 replacements or a text
// above 64 KiB throw Exception 1000. The path is then left as it was.
TVK_EXPORT bool expandEnvironment(FileString& path);

// The path for messages: normalised and, while longer than the limit (0 means 512), with one leading folder
// after the other replaced by "...": "/.../share/file". What has no more folders to drop is shown whole.
TVK_EXPORT FileString displayName(const FileString& path, std::size_t maxLength = 0,
                                  EmptyPath empty = EmptyPath::AsNone);

}  // namespace tvk

template <>
struct std::hash<tvk::FileString> : std::hash<tvk::StringBase<char>> {};
