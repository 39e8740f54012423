// The one room that knows which host this is. Everything above asks here and works the same on all of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <ios>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct stat;

namespace tvk::platform {

// The absolute path of the running executable; empty when the host does not tell.
std::string executablePath();

// The current folder, however long; empty when the host does not tell.
std::string currentFolder();

// The loader's names of everything the process has loaded, in load order; the main program's is empty.
std::vector<std::string> loadedModulePaths();

// A number that is another one after each loading and unloading; never 0.
std::uint64_t loaderState();

// A handle, to be given to dlclose, on the module that the loader knows by this name; null when it is not
// loaded.
void* openIfLoaded(const std::string& path);

// Whether an address lies in the module behind a handle of dlopen.
bool liesInModule(const void* address, void* module);

// The path of the executable or shared library whose file holds the memory at an address, a virtual table for
// instance; empty when there is none.
std::string moduleHolding(const void* address);

// Whether the process runs with rights that its caller lacks (set-user-id and the like), so that what the
// caller chose, its program name for instance, must not be trusted.
bool hasRaisedRights() noexcept;

// Milliseconds of the monotonic clock; of the wall clock when the host does not tell.
std::uint64_t tickCount() noexcept;

// The time value of a broken-down time in UTC; the time zone and the daylight flag have no effect.
std::time_t utcTime(std::tm time) noexcept;

// The C library's words for an `errno` value, known or not. May change `errno`.
std::string errorText(int error);

// A socket to ask for interfaces through; the caller closes it. Negative when there is none.
int openInterfaceSocket() noexcept;

// The IPv4 addresses of the configured interfaces, in network order; none when the host does not tell.
std::vector<std::array<std::uint8_t, 4>> interfaceAddresses(int socket);

// The columns and lines of the screen behind a descriptor; false, and both untouched, when the host does not
// tell.
bool terminalSize(int fd, std::uint32_t& columns, std::uint32_t& lines) noexcept;

// The next byte of what `file` has read ahead, 0 to 255, or -1 when there is none or another thread reads
// from it. Reads nothing new.
int takeReadAhead(std::FILE* file);

// Writes and flushes, however long that takes where the other end does not wait for it (O_NONBLOCK) or signals
// come; the caller holds the lock of `file`. False with errno set when not everything was written.
bool writeThrough(std::FILE* file, std::string_view text);

// Sees to it that no file opened later becomes standard input, output or error because the process was started
// without: text for the screen would end up in it. Using them fails as before.
void occupyStandardDescriptors() noexcept;

// Makes a closed stream buffer the owner of an open descriptor. False, with errno set, when it cannot; the
// descriptor is then closed.
bool attachDescriptor(std::filebuf& buffer, int descriptor, std::ios_base::openmode way);

// Copies the whole contents of a file just opened into another one, of a regular file what it has by `source`, its
// status; what is a hole stays one where the host can tell. False, with errno, when not everything could be read
// or written.
bool copyContents(int from, const struct stat& source, int to);

// Whether an error number says that owner, mode or times of a file cannot be set here or by us, rather than
// that something broke.
bool isRefusal(int error) noexcept;

// Copies extended attributes, access lists among them, between two open files, as far as the host permits.
void copyExtendedAttributes(int from, int to);

// For clean-up: errno is put back at the end of the scope, and until then the thread is not cancelled, since
// that would unwind out of a destructor.
class QuietScope {
 public:
  QuietScope() noexcept;
  ~QuietScope();
  QuietScope(const QuietScope&) = delete;
  QuietScope& operator=(const QuietScope&) = delete;

 private:
  int m_error;
  int m_cancelState = 0;
};

// Closes a descriptor, if it is one, without a word and as a quiet scope.
void closeQuietly(int descriptor) noexcept;

// Renames in one step what no other file has the new name of. False, with errno, also where the file system
// cannot tell.
bool renameToFresh(int folder, const char* from, const char* to) noexcept;
// Renames within a folder, unless there is a file of the new name already: then false with EEXIST in errno.
bool renameNoReplace(int folder, const char* from, const char* to) noexcept;

// Reads the entries of open folders, one folder after the other, through one buffer.
class FolderReader {
 public:
  FolderReader();
  ~FolderReader();
  FolderReader(const FolderReader&) = delete;
  FolderReader& operator=(const FolderReader&) = delete;

  // Begins with a folder just opened for reading; the descriptor stays the caller's.
  void start(int folder);
  // The next name, or null at the end and after an error, which Error() tells (0 at the end). It lives until
  // the next call. "." and ".." are left out.
  const char* next() noexcept;
  // What the name is, as `dirent` has it: DT_DIR and the like, or DT_UNKNOWN.
  unsigned char type() const noexcept { return m_type; }
  int error() const noexcept { return m_error; }

 private:
  static constexpr std::size_t bufferSize = 32 * 1024;
  std::unique_ptr<char[]> m_buffer;  // made for the first folder
  int m_folder = -1;
  std::size_t m_at = 0;
  std::size_t m_end = 0;
  unsigned char m_type = 0;
  int m_error = 0;
};

}  // namespace tvk::platform
