#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>

#include <tvk/files/File.h>
#include <tvk/files/FileException.h>
#include <tvk/files/FileImplStream.h>
#include <tvk/files/detail/FolderChain.h>
#include <tvk/process/Platform.h>

namespace tvk {
namespace {

using detail::Descriptor;

// A name in a folder that is removed at the end of the scope, unless it went elsewhere.
struct TemporaryName {
  ~TemporaryName() {
    const int error = errno;
    if (!text.empty()) unlinkat(folder, text.c_str(), 0);
    errno = error;
  }

  int folder;
  std::string text;
};

// Where the contents are in the end: at the end of symbolic links. `old` is filled when there is such a file.
FileString findTarget(const FileString& path, struct stat& old, bool& exists) {
  FileString target = normalisedCopy(path);
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(target.c_str(), nullptr), &std::free);
  exists = real != nullptr && stat(real.get(), &old) == 0;
  if (exists) return real.get();
  if (real == nullptr && errno == ENOENT) {
    if (lstat(target.c_str(), &old) == 0)
      errno = ENOENT;  // a link that leads nowhere
    else if (errno == ENOENT)
      return target;
  }
  throw FileException::OfSystem(1003, path, errno);
}

// A fresh file whose name tells what it was for, should the machine stop before the end.
Descriptor createBeside(TemporaryName& name, const std::string& target, mode_t mode) {
  constexpr char characters[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  constexpr std::size_t longestStem = 120;  // some file systems allow names of only 140 bytes
  const std::string stem = "." + target.substr(0, longestStem) + ".new-";
  Descriptor descriptor;
  for (int attempt = 0; attempt < 100; ++attempt) {
    unsigned char random[6];
    if (getentropy(random, sizeof random) != 0) break;
    std::string text = stem;
    for (const unsigned char byte : random) text += characters[byte % (sizeof characters - 1)];
    descriptor = detail::openAt(name.folder, text.c_str(), O_RDWR | O_CREAT | O_EXCL, mode);
    if (descriptor) name.text = std::move(text);
    if (descriptor || errno != EEXIST) break;
  }
  return descriptor;
}

// Gives the fresh file the owner, the access lists and the mode of the old one. Nobody gets rights that the
// old file did not give: where its group cannot be kept, or its lists cannot be read, its group has no more
// than the others.
bool takeOver(int descriptor, const FileString& target, const struct stat& old) {
  mode_t mode = old.st_mode & 07777;
  bool keepsGroup = true;
  if (fchown(descriptor, old.st_uid, old.st_gid) != 0) {
    mode &= 0777u;
    keepsGroup = fchown(descriptor, static_cast<uid_t>(-1), old.st_gid) == 0;
  }
  const Descriptor previous = detail::openAt(AT_FDCWD, target.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (previous) platform::copyExtendedAttributes(previous.get(), descriptor);
  if (!keepsGroup || !previous) mode &= ~070u | ((mode & 07u) << 3);
  return fchmod(descriptor, mode) == 0 || platform::isRefusal(errno);
}

}  // namespace

void File::replaceContents(const std::function<void(File&)>& write, std::uint32_t mode) {
  const FileString path = name();
  if (path.find('\0') != FileString::npos)
    throw FileException(1016, path);  // the system would see another name
  struct stat old;
  bool exists = false;
  const FileString target = findTarget(path, old, exists);
  const std::string targetName = fileNamePart(target);
  if (targetName.empty() || (exists && !S_ISREG(old.st_mode))) throw FileException(1016, path);
  if (exists && (mode & ModeNoOverwrite) != 0) throw FileException(1029, path);
  if (!exists && (mode & ModeMustExist) != 0) throw FileException(1001, path);

  const auto check = [&](bool succeeded) {
    if (!succeeded) throw FileException::OfSystem(1010, path, errno);
  };
  const FileString folderPath = target.substr(0, target.size() - targetName.size());
  const Descriptor folder =
      detail::openAt(AT_FDCWD, folderPath.empty() ? "." : folderPath.c_str(), O_RDONLY | O_DIRECTORY);
  check(static_cast<bool>(folder));
  TemporaryName fresh{folder.get(), {}};
  Descriptor contents;
  {
    const platform::QuietScope quiet;  // a thread that is cancelled here would leave the file behind
    contents = createBeside(fresh, targetName, exists ? 0600 : 0666);
    check(static_cast<bool>(contents));
  }
  const Descriptor kept(fcntl(contents.get(), F_DUPFD_CLOEXEC, 0));
  check(static_cast<bool>(kept));

  const FileString freshPath = joinedCopy(folderPath, FileString(fresh.text));
  try {
    File file(freshPath);
    file.adopt(contents.release(), ModeRead | ModeWrite);
    write(file);
    file.close();
  } catch (FileException& e) {
    if (e.fileName() == freshPath) e.setFileName(path);
    throw;
  }
  if (exists) check(takeOver(kept.get(), target, old));
  check(FileImplStream::forceToDisk(kept.get()));
  check((mode & ModeNoOverwrite) != 0
            ? platform::renameNoReplace(folder.get(), fresh.text.c_str(), targetName.c_str())
            : renameat(folder.get(), fresh.text.c_str(), folder.get(), targetName.c_str()) == 0);
  fresh.text.clear();
  check(FileImplStream::forceToDisk(folder.get()));
}

void File::replaceContents(const void* data, std::size_t count, std::uint32_t mode) {
  replaceContents([&](File& file) { file.write(data, count); }, mode);
}

}  // namespace tvk
