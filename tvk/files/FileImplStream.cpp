#include <tvk/files/FileImplStream.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include <tvk/files/FileException.h>
#include <tvk/files/FileMode.h>
#include <tvk/files/FileStatus.h>
#include <tvk/process/Platform.h>

// Every operation that asks the stream clears errno first: what the stream refuses by itself sets none, and a value
// left over from elsewhere would pick the wrong code.

namespace tvk {
namespace {

constexpr std::streamoff nowhere = -1;

// The memory of a stream buffer. Small values are copied from and to it without a call into the buffer, which
// costs as much as everything else together.
struct BufferMemory : std::filebuf {
  static bool put(std::filebuf& buffer, const void* data, std::size_t count) {
    char* const next = (buffer.*&BufferMemory::pptr)();
    if (count == 0 || count > static_cast<std::size_t>((buffer.*&BufferMemory::epptr)() - next)) return false;
    copy(next, data, count);
    (buffer.*&BufferMemory::pbump)(static_cast<int>(count));
    return true;
  }

  // Drops what waits to be written.
  static void discard(std::filebuf& buffer) {
    (buffer.*&BufferMemory::pbump)(
        static_cast<int>((buffer.*&BufferMemory::pbase)() - (buffer.*&BufferMemory::pptr)()));
  }

  static bool get(std::filebuf& buffer, void* data, std::size_t count) {
    const char* const next = (buffer.*&BufferMemory::gptr)();
    if (count == 0 || count > static_cast<std::size_t>((buffer.*&BufferMemory::egptr)() - next)) return false;
    copy(data, next, count);
    (buffer.*&BufferMemory::gbump)(static_cast<int>(count));
    return true;
  }

 private:
  // A call for each number would cost more than its bytes.
  static void copy(void* to, const void* from, std::size_t count) {
    switch (count) {
      case 4:
        std::memcpy(to, from, 4);
        break;
      case 8:
        std::memcpy(to, from, 8);
        break;
      default:
        std::memcpy(to, from, count);
    }
  }
};

std::streamoff currentOffset(std::filebuf& buffer) { return buffer.pubseekoff(0, std::ios_base::cur); }

}  // namespace

FileImpl::~FileImpl() = default;

void FileImpl::close() {}

FileImplStream::FileImplStream() = default;

FileImplStream::~FileImplStream() {
  const platform::QuietScope quiet;
  release();
}

void FileImplStream::open(const FileString& path, std::uint32_t mode) {
  const CriticalSectionLock hold(m_lock);
  openPath(path, mode, (mode & ModeMustExist) == 0);
}

void FileImplStream::create(const FileString& path, std::uint32_t mode) {
  const CriticalSectionLock hold(m_lock);
  openPath(path, mode | ModeRead | ModeWrite | ModeTruncate | ModeWriteCreate, true);
}

void FileImplStream::adopt(const FileString& path, int descriptor, std::uint32_t mode) {
  const CriticalSectionLock hold(m_lock);
  try {
    prepare(path, mode);
  } catch (...) {
    platform::closeQuietly(descriptor);
    throw;
  }
  attach(descriptor);
}

void FileImplStream::prepare(const FileString& path, std::uint32_t mode) {
  if (rdbuf()->is_open()) throw FileException(1003, normalisedCopy(path));
  m_mode = mode;
  m_reading = (mode & (ModeRead | ModeReadShared)) != 0;
  m_writing = (mode & (ModeWrite | ModeWriteCreate)) != 0;
  m_output = m_writing || (mode & (ModeTruncate | ModeAppend)) != 0;
  m_name = path;
  normalise(m_name);
}

void FileImplStream::openPath(const FileString& path, std::uint32_t mode, bool mayCreate) {
  prepare(path, mode);
  errno = 0;
  int descriptor = -1;
  if (m_name.find('\0') != FileString::npos) {
    errno = EINVAL;  // the system would open another file
  } else if (m_reading || m_output) {
    int flags = O_CLOEXEC | O_NOCTTY;
    flags |= !m_output ? O_RDONLY : m_reading ? O_RDWR : O_WRONLY;
    if ((mode & ModeTruncate) != 0) flags |= O_TRUNC;
    if ((mode & ModeAppend) != 0) flags |= O_APPEND;
    const bool creates = !m_reading || (mode & (ModeTruncate | ModeAppend | ModeWriteCreate)) != 0;
    if (creates && mayCreate) flags |= O_CREAT;
    do {
      descriptor = ::open(m_name.c_str(), flags, 0666);
    } while (descriptor < 0 && errno == EINTR);
  }
  attach(descriptor);
}

void FileImplStream::attach(int descriptor) {
  std::ios_base::openmode way = std::ios_base::binary;
  if (m_reading) way |= std::ios_base::in;
  if (m_output) way |= std::ios_base::out;
  if ((m_mode & ModeAppend) != 0) way |= std::ios_base::app;
  if (descriptor < 0 || !platform::attachDescriptor(*rdbuf(), descriptor, way)) {
    setstate(failbit);
    raise(1003);
  }
  clear();
  m_descriptor = descriptor;
  m_direction = Direction::None;
  if ((m_mode & ModeAppend) != 0 && !m_reading) rdbuf()->pubseekoff(0, end);
}

std::size_t FileImplStream::read(void* buffer, std::size_t count) {
  const CriticalSectionLock hold(m_lock);
  if (m_direction == Direction::Reading && BufferMemory::get(*rdbuf(), buffer, count)) return count;
  return readThrough(buffer, count);
}

std::size_t FileImplStream::readThrough(void* buffer, std::size_t count) {
  errno = 0;
  if (m_direction != Direction::Reading && !startReading()) return 0;
  constexpr std::size_t most = std::numeric_limits<std::streamsize>::max();
  try {
    return static_cast<std::size_t>(
        rdbuf()->sgetn(static_cast<char*>(buffer), static_cast<std::streamsize>(std::min(count, most))));
  } catch (const std::ios_base::failure& e) {
    errno = e.code().category() == std::iostream_category() ? 0 : e.code().value();
  }
  raise(1009);
}

bool FileImplStream::startReading() {
  requireOpen(1009);
  if (!m_reading) return false;
  flushOutput();
  m_direction = Direction::Reading;
  return true;
}

void FileImplStream::write(const void* data, std::size_t count) {
  const CriticalSectionLock hold(m_lock);
  if (m_direction != Direction::Writing || !BufferMemory::put(*rdbuf(), data, count)) {
    writeThrough(data, count);
  }
  m_written += count;
}

void FileImplStream::writeThrough(const void* data, std::size_t count) {
  errno = 0;
  if (m_direction != Direction::Writing) startWriting();
  const std::streamsize put =
      rdbuf()->sputn(static_cast<const char*>(data), static_cast<std::streamsize>(count));
  if (static_cast<std::size_t>(put) != count) failOutput();
}

// The standard wants a positioning between reading and writing.
void FileImplStream::startWriting() {
  requireOpen(1010);
  if (!m_output) raise(1010);
  const std::streamoff here = currentOffset(*rdbuf());
  if (here == nowhere ? m_direction == Direction::Reading || holdsPlace()
                      : m_direction == Direction::Reading && rdbuf()->pubseekpos(here) == nowhere)
    raise(1010);
  m_written = static_cast<std::uint64_t>(here);
  m_direction = Direction::Writing;
  errno = 0;
}

// Whether what is written lies at a place of its own, to which one can go back.
bool FileImplStream::holdsPlace() const {
  const int error = errno;
  struct stat status;
  const bool holds =
      fstat(m_descriptor, &status) == 0 && (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode));
  errno = error;
  return holds;
}

// A part of the data may have reached the file although the stream still holds all of it. Puts the descriptor
// back to where that data belongs; where that is impossible the stream is given up, lest the part is written
// twice.
void FileImplStream::takeBackOutput() {
  const int error = errno;
  const bool canReturn = rdbuf()->is_open() && (m_mode & ModeAppend) == 0 && holdsPlace();
  const std::streamoff reached = lseek(m_descriptor, 0, SEEK_CUR);
  const std::streamoff here = currentOffset(*rdbuf());
  if (!canReturn || reached == nowhere || here == nowhere ||
      lseek(m_descriptor, static_cast<off_t>(m_written) - (here - reached), SEEK_SET) < 0) {
    setstate(badbit);
    m_direction = Direction::None;
  }
  errno = error;
}

void FileImplStream::failOutput() {
  takeBackOutput();
  raise(1010);
}

bool FileImplStream::flushed() {
  if (bad()) return false;
  if (m_direction != Direction::Writing || rdbuf()->pubsync() == 0) return true;
  takeBackOutput();
  return false;
}

void FileImplStream::flushOutput() {
  if (!flushed()) raise(1010);
}

void FileImplStream::requireOpen(std::int64_t code) const {
  if (!rdbuf()->is_open() || bad()) raise(code);
}

bool FileImplStream::isOpen() const {
  const CriticalSectionLock hold(m_lock);
  return rdbuf()->is_open();
}

// A stream that was opened only to be truncated tells no position.
bool FileImplStream::hasPosition() const { return m_reading || m_writing || (m_mode & ModeAppend) != 0; }

std::uint64_t FileImplStream::position() {
  if ((m_mode & ModeAppend) != 0) flushOutput();  // only then it is known where the data went
  const std::streamoff here = currentOffset(*rdbuf());
  if (here == nowhere) raise(1009);
  return static_cast<std::uint64_t>(here);
}

std::uint64_t FileImplStream::tell() {
  const CriticalSectionLock hold(m_lock);
  errno = 0;
  requireOpen(1009);
  return hasPosition() ? position() : 0;
}

std::uint64_t FileImplStream::size() {
  const CriticalSectionLock hold(m_lock);
  errno = 0;
  requireOpen(1009);
  if (!hasPosition()) return 0;
  const std::uint64_t here = position();
  flushOutput();
  const std::streamoff result = rdbuf()->pubseekoff(0, end);
  seekTo(static_cast<std::streamoff>(here), beg, 1009);  // also when the end is not told
  if (result == nowhere) raise(1009);
  return static_cast<std::uint64_t>(result);
}

void FileImplStream::seekTo(std::streamoff offset, std::ios_base::seekdir from, std::int64_t code) {
  flushOutput();
  const std::streamoff reached =
      from == beg ? rdbuf()->pubseekpos(offset) : rdbuf()->pubseekoff(offset, from);
  if (reached == nowhere) raise(code);
  m_direction = Direction::None;
}

void FileImplStream::seek(std::uint64_t position) {
  const CriticalSectionLock hold(m_lock);
  errno = 0;
  requireOpen(1009);
  if (hasPosition()) seekTo(static_cast<std::streamoff>(position), beg, 1009);
}

void FileImplStream::seekToEnd() {
  const CriticalSectionLock hold(m_lock);
  errno = 0;
  requireOpen(1009);
  if (hasPosition()) seekTo(0, end, 1009);
}

void FileImplStream::flush() {
  const CriticalSectionLock hold(m_lock);
  errno = 0;
  requireOpen(1010);
  flushOutput();
  if (!forceToDisk(m_descriptor)) raise(1010);
}

bool FileImplStream::forceToDisk(int descriptor) {
  while (fsync(descriptor) != 0) {
    if (errno == EINVAL || errno == EROFS || errno == ENOTSUP) break;
    if (errno != EINTR) return false;
  }
  return true;
}

void FileImplStream::truncate() {
  const CriticalSectionLock hold(m_lock);
  errno = 0;
  requireOpen(1010);
  flushOutput();
  const std::uint64_t length = hasPosition() ? position() : 0;
  int result;
  do {
    result = ftruncate(m_descriptor, static_cast<off_t>(length));
  } while (result != 0 && errno == EINTR);
  if (result != 0) raise(1010);
  m_mode &= ~(ModeTruncate | ModeWriteCreate);
  seekTo(0, end, 1010);
}

void FileImplStream::getTimes(std::int64_t& changeTime, std::int64_t& accessTime,
                              std::int64_t& modificationTime) {
  const CriticalSectionLock hold(m_lock);
  errno = 0;
  if (!readFileTimes(m_name, changeTime, accessTime, modificationTime)) raise(1009);
}

void FileImplStream::setTimes(std::int64_t /*changeTime*/, std::int64_t accessTime,
                              std::int64_t modificationTime) {
  const CriticalSectionLock hold(m_lock);
  errno = 0;
  flushOutput();  // what is written later would change the modification time again
  if (!writeFileTimes(m_name, accessTime, modificationTime)) raise(1010);
}

void FileImplStream::raiseError(std::int64_t defaultCode) const { raise(defaultCode); }

void FileImplStream::raise(std::int64_t defaultCode) const {
  const int error = errno;
  throw FileException::OfSystem(defaultCode, m_name, error);
}

void FileImplStream::close() {
  const CriticalSectionLock hold(m_lock);
  errno = 0;
  if (!rdbuf()->is_open()) return;
  const bool isFlushed = flushed();
  const int error = errno;
  const bool isClosed = release();
  if (!isFlushed) {
    errno = error;
    raise(1010);
  }
  if (!isClosed) raise(1005);
}

// Closes the stream if it is open. One that was given up must not write what it still holds.
bool FileImplStream::release() {
  if (!rdbuf()->is_open()) return true;
  if (bad()) BufferMemory::discard(*rdbuf());
  m_descriptor = -1;
  m_direction = Direction::None;
  clear();
  return rdbuf()->close() != nullptr;
}

}  // namespace tvk
