#include "Place.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/random.h>
#include <unistd.h>

#include <tvk/files/FileException.h>

namespace tvkpack {
namespace {

constexpr std::string_view leftoverPrefix = ".tvkpack-";
constexpr int attemptsForAName = 100;

constexpr std::int64_t codeNotFound = 1001;
constexpr std::int64_t codeNoFolder = 1002;
constexpr std::int64_t codeNotOpened = 1003;
constexpr std::int64_t codeNotCreated = 1004;
constexpr std::int64_t codeNotRead = 1009;
constexpr std::int64_t codeNotWritten = 1010;
constexpr std::int64_t codeDiskFull = 1011;
constexpr std::int64_t codeTooManyFiles = 1012;
constexpr std::int64_t codeDenied = 1013;
constexpr std::int64_t codeNoMemory = 1014;
constexpr std::int64_t codeWriteProtected = 1017;
constexpr std::int64_t codeExists = 1029;
constexpr std::int64_t codeNotRemoved = 1008;

std::int64_t codeOf(int error, std::int64_t defaultCode) noexcept {
  switch (error) {
    case ENOENT:
      return codeNotFound;
    case ENOTDIR:
    case ELOOP:
      return codeNoFolder;
    case ENOSPC:
    case EDQUOT:
      return codeDiskFull;
    case EMFILE:
    case ENFILE:
      return codeTooManyFiles;
    case EACCES:
    case EPERM:
      return codeDenied;
    case ENOMEM:
      return codeNoMemory;
    case EROFS:
      return codeWriteProtected;
    case EEXIST:
      return codeExists;
    default:
      return defaultCode;
  }
}

template <class Call>
auto again(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// Answers an empty name when the system has no random bytes.
std::string randomName() {
  constexpr char digits[] = "0123456789abcdefghijklmnopqrstuv";
  std::uint64_t bits = 0;
  if (again([&] { return getrandom(&bits, sizeof bits, 0); }) != sizeof bits) return {};
  std::string name(leftoverPrefix);
  for (int n = 0; n < 12; ++n, bits >>= 5) name += digits[bits & 31];
  return name;
}

}  // namespace

Descriptor::~Descriptor() {
  if (IsOpen()) close(m_number);
}

void throwSystemError(std::int64_t defaultCode, const tvk::FileString& path, int error) {
  const std::int64_t code = codeOf(error, defaultCode);
  const bool concernsDisk = code == codeDiskFull || code == codeWriteProtected;
  throw tvk::FileException(code, concernsDisk ? tvk::folderOf(path) : path, error);
}

std::shared_ptr<const Root> rootAt(const tvk::FileString& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throwSystemError(codeNoFolder, path);
  return std::make_shared<const Root>(Root{path, status.st_dev, status.st_ino});
}

Place::Place(const Root& root, const tvk::FileString& path) : m_path(path), m_name(tvk::fileNamePart(path)) {
  constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  m_folder = Descriptor(again([&] { return open(root.path.c_str(), folderFlags); }));
  if (!m_folder.IsOpen()) throwSystemError(codeNoFolder, root.path);
  struct stat status {};
  if (fstat(Folder(), &status) != 0) throwSystemError(codeNoFolder, root.path);
  if (status.st_dev != root.device || status.st_ino != root.number)
    throwSystemError(codeNoFolder, root.path, ESTALE);
  std::string_view rest = std::string_view(path).substr(root.path.size());
  for (rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));;) {
    const std::size_t end = rest.find('/');
    if (end == rest.npos) break;
    const std::string name(rest.substr(0, end));
    rest.remove_prefix(end);
    rest.remove_prefix(rest.find_first_not_of('/'));
    Descriptor next(again([&] { return openat(m_folder.Number(), name.c_str(), folderFlags | O_NOFOLLOW); }));
    if (!next.IsOpen()) throwSystemError(codeNoFolder, tvk::folderPart(path, "."));
    m_folder = std::move(next);
  }
}

tvk::FileString Place::PathOf(const std::string& name) const {
  tvk::FileString path = m_path;
  tvk::replaceName(path, name, tvk::WithExtension::Yes);
  return path;
}

std::optional<struct stat> Place::Find(const std::string& name) const {
  struct stat status {};
  if (fstatat(Folder(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return status;
  if (errno == ENOENT || errno == ENAMETOOLONG) return std::nullopt;
  throwSystemError(codeNotOpened, PathOf(name));
}

Descriptor Place::Open() const {
  Descriptor file(again([&] {
    return openat(Folder(), m_name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  }));
  if (!file.IsOpen()) throwSystemError(codeNotOpened, m_path);
  return file;
}

void Place::Remove(const std::string& name) const {
  if (unlinkat(Folder(), name.c_str(), 0) != 0) throwSystemError(codeNotRemoved, PathOf(name));
}

void Place::Force() const {
  if (again([&] { return fsync(Folder()); }) != 0 && errno != EINVAL && errno != EROFS)
    throwSystemError(codeNotWritten, m_path);
}

bool isSameState(const struct stat& a, const struct stat& b) noexcept {
  const auto sameTime = [](const timespec& x, const timespec& y) {
    return x.tv_sec == y.tv_sec && x.tv_nsec == y.tv_nsec;
  };
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size && a.st_nlink == b.st_nlink &&
         sameTime(a.st_mtim, b.st_mtim) && sameTime(a.st_ctim, b.st_ctim);
}

bool readWhole(const Descriptor& file, const struct stat& status, const tvk::FileString& path,
               zed::ByteBuffer& out) {
  const auto size = static_cast<std::size_t>(status.st_size);
  out.Resize(size);
  for (std::size_t done = 0; done < size;) {
    const ssize_t count = again([&] { return read(file.Number(), out.Data() + done, size - done); });
    if (count < 0) throwSystemError(codeNotRead, path);
    if (count == 0) return false;
    done += static_cast<std::size_t>(count);
  }
  char more;
  const ssize_t count = again([&] { return read(file.Number(), &more, 1); });
  if (count < 0) throwSystemError(codeNotRead, path);
  return count == 0;
}

NewFile::NewFile(const Place& place, std::string target) : m_place(place), m_target(std::move(target)) {
  for (int attempt = 0; attempt < attemptsForAName && !m_file.IsOpen(); ++attempt) {
    m_name = randomName();
    if (m_name.empty()) break;
    m_file = Descriptor(again([&] {
      return openat(place.Folder(), m_name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW,
                    0600);
    }));
    if (!m_file.IsOpen() && errno != EEXIST) break;
  }
  if (!m_file.IsOpen()) throwSystemError(codeNotCreated, place.PathOf(m_target));
}

NewFile::~NewFile() {
  if (m_isPending) unlinkat(m_place.Folder(), m_name.c_str(), 0);
}

bool NewFile::IsLeftover(std::string_view name) noexcept { return name.starts_with(leftoverPrefix); }

void NewFile::Write(const zed::ByteBuffer& bytes) {
  for (std::size_t done = 0; done < bytes.Size();) {
    const ssize_t count =
        again([&] { return write(m_file.Number(), bytes.Data() + done, bytes.Size() - done); });
    if (count < 0) throwSystemError(codeNotWritten, m_place.PathOf(m_target));
    done += static_cast<std::size_t>(count);
  }
}

void NewFile::Finish(const struct stat& like) {
  const tvk::FileString path = m_place.PathOf(m_target);
  struct stat own {};
  if (fstat(m_file.Number(), &own) != 0) throwSystemError(codeDenied, path);
  const auto isSame = [&] { return own.st_uid == like.st_uid && own.st_gid == like.st_gid; };
  if (!isSame()) {
    const bool isRoot = geteuid() == 0;
    if (fchown(m_file.Number(), isRoot ? like.st_uid : uid_t(-1), like.st_gid) != 0 && isRoot)
      throwSystemError(codeDenied, path);
    if (fstat(m_file.Number(), &own) != 0) throwSystemError(codeDenied, path);
  }
  // The mode last, for a change of owner clears its set-id bits: they go when it is another's file now.
  if (fchmod(m_file.Number(), like.st_mode & (isSame() ? 07777 : 01777)) != 0)
    throwSystemError(codeDenied, path);
  const timespec times[] = {like.st_atim, like.st_mtim};
  if (futimens(m_file.Number(), times) != 0) throwSystemError(codeNotWritten, path);
  if (again([&] { return fsync(m_file.Number()); }) != 0) throwSystemError(codeNotWritten, path);
}

void NewFile::Rename(bool overwrite) {
  const int folder = m_place.Folder();
  int result = -1;
  if (overwrite) {
    result = renameat(folder, m_name.c_str(), folder, m_target.c_str());
  } else {
    result = renameat2(folder, m_name.c_str(), folder, m_target.c_str(), RENAME_NOREPLACE);
    if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {  // a file system without it
      result = linkat(folder, m_name.c_str(), folder, m_target.c_str(), 0);
      if (result == 0) result = unlinkat(folder, m_name.c_str(), 0);
    }
  }
  if (result != 0) throwSystemError(codeNotCreated, m_place.PathOf(m_target));
  m_isPending = false;
}

}  // namespace tvkpack
