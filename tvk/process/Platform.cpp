#include <tvk/process/Platform.h>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sys/auxv.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <ext/stdio_filebuf.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <limits>
#include <locale>
#include <string_view>

namespace tvk::platform {
namespace {

// The host shows a file that was removed since it was opened as "PATH (deleted)".
void dropDeletedMark(std::string& path) {
  constexpr std::string_view deleted = " (deleted)";
  if (path.ends_with(deleted)) path.resize(path.size() - deleted.size());
}

}  // namespace

std::string executablePath() {
  std::string path(256, '\0');
  for (;;) {
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    if (length < 0) return {};
    if (static_cast<std::size_t>(length) < path.size()) {
      path.resize(static_cast<std::size_t>(length));
      break;
    }
    path.resize(path.size() * 2);
  }
  dropDeletedMark(path);
  return path;
}

std::string currentFolder() {
  std::string path(256, '\0');
  while (getcwd(path.data(), path.size()) == nullptr) {
    if (errno != ERANGE) return {};
    path.resize(path.size() * 2);
  }
  path.resize(path.find('\0'));
  return path;
}

// Nothing is thrown through the loader: it could not be unwound when memory is short.
std::vector<std::string> loadedModulePaths() {
  struct List {
    std::vector<std::string> paths;
    std::exception_ptr failure;
  } list;
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* data) {
        List& all = *static_cast<List*>(data);
        try {
          all.paths.emplace_back(info->dlpi_name != nullptr ? info->dlpi_name : "");
        } catch (const std::exception&) {
          all.failure = std::current_exception();
        }
        return all.failure != nullptr ? 1 : 0;
      },
      &list);
  if (list.failure != nullptr) std::rethrow_exception(list.failure);
  return std::move(list.paths);
}

std::uint64_t loaderState() {
  std::uint64_t state = 0;
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* sum) {
        *static_cast<std::uint64_t*>(sum) = info->dlpi_adds + info->dlpi_subs;
        return 1;  // the first module tells all
      },
      &state);
  return state;
}

void* openIfLoaded(const std::string& path) {
  return dlopen(path.empty() ? nullptr : path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
}

bool liesInModule(const void* address, void* module) {
  Dl_info info;
  void* holder = nullptr;
  void* own = nullptr;
  return dladdr1(address, &info, &holder, RTLD_DL_LINKMAP) != 0 &&
         dlinfo(module, RTLD_DI_LINKMAP, &own) == 0 && holder == own;
}

// Read from the table of mappings: the loader knows a library by the name it was opened with, which may be
// relative to a folder that is not the current one any more.
std::string moduleHolding(const void* address) {
  std::ifstream mappings("/proc/self/maps");
  for (std::string line; std::getline(mappings, line);) {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    // NOLINTNEXTLINE(cert-err34-c): the kernel writes addresses that fit
    if (std::sscanf(line.c_str(), "%" SCNxPTR "-%" SCNxPTR, &begin, &end) != 2) continue;
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    if (wanted < begin || wanted >= end) continue;
    const std::size_t slash = line.find('/');
    std::string path = slash == std::string::npos ? std::string() : line.substr(slash);
    dropDeletedMark(path);
    return path;
  }
  return {};
}

bool hasRaisedRights() noexcept { return getauxval(AT_SECURE) != 0; }

std::uint64_t tickCount() noexcept {
  timespec now;
  if (clock_gettime(CLOCK_MONOTONIC, &now) == 0)
    return static_cast<std::uint64_t>(now.tv_sec) * 1000 +
           static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000;
  timeval wall{};
  gettimeofday(&wall, nullptr);
  return static_cast<std::uint64_t>(wall.tv_sec) * 1000 + static_cast<std::uint64_t>(wall.tv_usec) / 1000;
}

std::time_t utcTime(std::tm time) noexcept { return timegm(&time); }

std::string errorText(int error) {
  char buffer[256];
  return strerror_r(error, buffer, sizeof buffer);
}

int openInterfaceSocket() noexcept { return socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0); }

std::vector<std::array<std::uint8_t, 4>> interfaceAddresses(int socket) {
  std::vector<ifreq> records(8192 / sizeof(ifreq));
  ifconf request{};
  for (;;) {
    request.ifc_len = static_cast<int>(records.size() * sizeof(ifreq));
    request.ifc_req = records.data();
    if (ioctl(socket, SIOCGIFCONF, &request) != 0) return {};
    records.resize(static_cast<std::size_t>(request.ifc_len) / sizeof(ifreq));
    if (records.size() < records.capacity()) break;
    records.assign(records.size() * 2, ifreq{});  // full: there may be more
  }
  std::vector<std::array<std::uint8_t, 4>> addresses;
  for (const ifreq& record : records) {
    if (record.ifr_name[0] == '\0') break;
    std::memcpy(addresses.emplace_back().data(),
                &reinterpret_cast<const sockaddr_in&>(record.ifr_addr).sin_addr, 4);
  }
  return addresses;
}

bool terminalSize(int fd, std::uint32_t& columns, std::uint32_t& lines) noexcept {
  winsize size{};
  if (ioctl(fd, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return false;
  columns = size.ws_col;
  lines = size.ws_row;
  return true;
}

int takeReadAhead(std::FILE* file) {
  if (ftrylockfile(file) != 0) return -1;
  // Bytes that were put back stand in an area of their own; what was read ahead before waits behind them.
  constexpr int inPutBackArea = 0x100;
  const bool isAhead = file->_IO_read_ptr < file->_IO_read_end ||
                       ((file->_flags & inPutBackArea) != 0 && file->_IO_save_base < file->_IO_save_end);
  const int byte = isAhead ? getc_unlocked(file) : -1;
  funlockfile(file);
  return byte;
}

bool writeThrough(std::FILE* file, std::string_view text) {
  // The stream drops what cannot be written at once, so it gets only what fails for good and takes note of that.
  const bool isFlushed = fflush_unlocked(file) == 0;
  const int error = errno;
  pollfd output{fileno_unlocked(file), POLLOUT, 0};
  while (!text.empty()) {
    const ssize_t written = write(output.fd, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      poll(&output, 1, -1);
    } else if (errno != EINTR) {
      break;
    }
  }
  if (!text.empty() &&
      (fwrite_unlocked(text.data(), 1, text.size(), file) != text.size() || fflush_unlocked(file) != 0))
    return false;
  errno = error;
  return isFlushed;
}

void occupyStandardDescriptors() noexcept {
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    if (fcntl(number, F_GETFD) >= 0) continue;
    if (open("/dev/null", O_PATH | O_CLOEXEC) < 0) open("/", O_PATH | O_CLOEXEC);
  }
}

// The standard buffer opens by name alone and with modes of its own; the one that takes a descriptor is an
// extension, and what it holds can be moved over. Bytes pass unchanged whatever the global locale is.
bool attachDescriptor(std::filebuf& buffer, int descriptor, std::ios_base::openmode way) {
  buffer = __gnu_cxx::stdio_filebuf<char>(descriptor, way);
  if (!buffer.is_open()) {
    closeQuietly(descriptor);
    return false;
  }
  buffer.pubimbue(std::locale::classic());
  return true;
}

QuietScope::QuietScope() noexcept : m_error(errno) {
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_cancelState);
}

QuietScope::~QuietScope() {
  pthread_setcancelstate(m_cancelState, nullptr);
  errno = m_error;
}

void closeQuietly(int descriptor) noexcept {
  const QuietScope quiet;
  if (descriptor >= 0) close(descriptor);
}

bool renameToFresh(int folder, const char* from, const char* to) noexcept {
  return renameat2(folder, from, folder, to, RENAME_NOREPLACE) == 0;
}

// Not every file system can refuse; a second link refuses everywhere, and the first one then goes.
bool renameNoReplace(int folder, const char* from, const char* to) noexcept {
  if (renameToFresh(folder, from, to)) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  return linkat(folder, from, folder, to, 0) == 0 && unlinkat(folder, from, 0) == 0;
}

namespace {

// Copies up to `count` bytes, or to the end of the file. The kernel does it where it can; what it leaves is
// read and written.
bool copyBytes(int from, int to, off_t count) {
  constexpr off_t largest = off_t{1} << 30;
  while (count > 0) {
    const auto wanted = static_cast<std::size_t>(std::min(count, largest));
    const ssize_t copied = copy_file_range(from, nullptr, to, nullptr, wanted, 0);
    if (copied <= 0) break;
    count -= copied;
  }
  std::vector<char> buffer(count > 0 ? 128 * 1024 : 0);
  while (count > 0) {
    const auto wanted = static_cast<std::size_t>(std::min(count, static_cast<off_t>(buffer.size())));
    const ssize_t got = read(from, buffer.data(), wanted);
    if (got == 0) break;
    if (got < 0 && errno != EINTR) return false;
    for (ssize_t done = 0; done < got;) {
      const ssize_t written = write(to, buffer.data() + done, static_cast<std::size_t>(got - done));
      if (written < 0 && errno != EINTR) return false;
      if (written > 0) done += written;
    }
    if (got > 0) count -= got;
  }
  return true;
}

bool hasHoles(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_blocks < status.st_size / 512;
}

}  // namespace

bool copyContents(int from, const struct stat& source, int to) {
  struct stat target;
  bool bySections = hasHoles(source);
  if (bySections) {
    if (fstat(to, &target) != 0) return false;
    bySections = S_ISREG(target.st_mode);
  }
  // One that grows as fast as it is read is not followed until the disk is full. What the system makes up while
  // it is read has size 0.
  const off_t size =
      S_ISREG(source.st_mode) && source.st_size > 0 ? source.st_size : std::numeric_limits<off_t>::max();
  off_t end = 0;
  for (off_t data; bySections && end < size && (data = lseek(from, end, SEEK_DATA)) >= 0;) {
    const off_t hole = lseek(from, data, SEEK_HOLE);
    if (hole < 0 || lseek(from, data, SEEK_SET) < 0 || lseek(to, data, SEEK_SET) < 0 ||
        !copyBytes(from, to, std::min(hole, size) - data)) {
      return false;
    }
    end = hole;
  }
  if (bySections && (end >= size || errno == ENXIO)) return ftruncate(to, size) == 0;
  return copyBytes(from, to, size);
}

bool isRefusal(int error) noexcept {
  return error == EPERM || error == EACCES || error == EINVAL || error == ENOSYS || error == ENOTSUP;
}

void copyExtendedAttributes(int from, int to) {
  const ssize_t size = flistxattr(from, nullptr, 0);
  if (size <= 0) return;
  std::string names(static_cast<std::size_t>(size), '\0');
  const ssize_t filled = flistxattr(from, names.data(), names.size());
  std::vector<char> value;
  for (std::size_t at = 0; filled > 0 && at < static_cast<std::size_t>(filled);) {
    const char* const name = names.data() + at;
    at += std::strlen(name) + 1;
    const ssize_t length = fgetxattr(from, name, nullptr, 0);
    if (length < 0) continue;
    value.resize(static_cast<std::size_t>(length));
    if (fgetxattr(from, name, value.data(), value.size()) == length) {
      static_cast<void>(fsetxattr(to, name, value.data(), value.size(), 0));
    }
  }
}

FolderReader::FolderReader() = default;

FolderReader::~FolderReader() = default;

void FolderReader::start(int folder) {
  if (m_buffer == nullptr) m_buffer = std::make_unique_for_overwrite<char[]>(bufferSize);
  m_folder = folder;
  m_at = m_end = 0;
  m_error = 0;
}

const char* FolderReader::next() noexcept {
  for (;;) {
    if (m_at == m_end) {
      const ssize_t filled = getdents64(m_folder, m_buffer.get(), bufferSize);
      m_error = filled < 0 ? errno : 0;
      if (filled <= 0) return nullptr;
      m_at = 0;
      m_end = static_cast<std::size_t>(filled);
    }
    const auto* const entry = reinterpret_cast<const dirent64*>(m_buffer.get() + m_at);
    m_at += entry->d_reclen;
    const char* const name = entry->d_name;
    if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;
    m_type = entry->d_type;
    return name;
  }
}

}  // namespace tvk::platform
